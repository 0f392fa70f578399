#pragma once

#include <SDL2/SDL_audio.h>

namespace quillmere::sdl {

// SDL is loaded when audio is first wanted, not with the program: it brings some thirty
// libraries (sound servers, codecs, Wayland) whose loading alone would cost start-up as much
// as the whole Qt tray icon does, and their pages stay resident. Every call below goes
// through the loaded library; until it is loaded (or when it cannot be) none does anything.

// A reference on SDL's audio subsystem. Each audio object holds one, so the subsystem lives
// exactly as long as something plays, and nothing else of SDL is ever started.
class AudioSubsystem final {
public:
    AudioSubsystem() = default;
    ~AudioSubsystem();
    AudioSubsystem(const AudioSubsystem&) = delete;
    AudioSubsystem& operator=(const AudioSubsystem&) = delete;

    // Loads SDL and starts the subsystem if this holder has not yet; false when SDL cannot be
    // loaded or has no audio here. A failure to start is retried on the next call, so a sound
    // server that appears later is found.
    bool acquire();

private:
    bool m_held = false;
};

// Closes a device SDL has marked lost (unplugged, sound server gone) so that it is opened
// afresh; true when a usable device is still open.
bool keepOpenDevice(SDL_AudioDeviceID& device);

// The rate the default output prefers, or 48 kHz when SDL cannot tell.
int preferredOutputRate();

// SDL's own functions of the same names, for an acquired subsystem. Without SDL a device
// never opens, reads as stopped and queues nothing.
SDL_AudioDeviceID openAudioDevice(const SDL_AudioSpec& want);
void closeAudioDevice(SDL_AudioDeviceID device);
SDL_AudioStatus audioDeviceStatus(SDL_AudioDeviceID device);
void pauseAudioDevice(SDL_AudioDeviceID device, bool pause);
int queueAudio(SDL_AudioDeviceID device, const void* data, Uint32 bytes);
Uint32 queuedAudioSize(SDL_AudioDeviceID device);

} // namespace quillmere::sdl
