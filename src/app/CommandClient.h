#pragma once

#include "app/CommandLine.h"

namespace quillmere {

// Exit statuses of the command line.
inline constexpr int exitDone = 0;
inline constexpr int exitNotRunning = 1;
inline constexpr int exitBadInput = 2;

// Carries out a command against the running program over the session bus and returns the exit
// status. `status --follow` runs until the process is ended; it needs an event loop.
int runCommand(const Command& command);

// A second start asks the running program over the bus to open its panel; false when the bus
// or the program's name on it is not there (the caller then tries the local socket).
bool askRunningToOpen(int timeoutMs = 3000);

} // namespace quillmere
