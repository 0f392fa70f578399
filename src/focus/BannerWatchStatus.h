#pragma once

#include <QString>

namespace quillmere::bannerWatch {

// How the watch on the session bus last fared, for the whole process.
enum class BusState { untried, monitoring, unreachable, refused };

void setBusState(BusState state);
BusState busState();

// Why notification banners cannot be watched, for the help text of the "Focus Nudges" menu
// item; empty while watching works or has not been found wanting.
QString problemText();

} // namespace quillmere::bannerWatch
