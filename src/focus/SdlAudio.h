#pragma once

#include <SDL2/SDL_audio.h>

namespace quillmere::sdl {

// A reference on SDL's audio subsystem. Each audio object holds one, so the subsystem lives
// exactly as long as something plays, and nothing else of SDL is ever started.
class AudioSubsystem final {
public:
    AudioSubsystem() = default;
    ~AudioSubsystem();
    AudioSubsystem(const AudioSubsystem&) = delete;
    AudioSubsystem& operator=(const AudioSubsystem&) = delete;

    // Starts the subsystem if this holder has not yet; false when SDL has no audio here. A
    // failure is retried on the next call, so a sound server that appears later is found.
    bool acquire();

private:
    bool m_held = false;
};

// Closes a device SDL has marked lost (unplugged, sound server gone) so that it is opened
// afresh; true when a usable device is still open.
bool keepOpenDevice(SDL_AudioDeviceID& device);

// The rate the default output prefers, or 48 kHz when SDL cannot tell.
int preferredOutputRate();

} // namespace quillmere::sdl
