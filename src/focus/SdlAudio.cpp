#include "focus/SdlAudio.h"

#include <SDL2/SDL.h>

namespace quillmere::sdl {

AudioSubsystem::~AudioSubsystem() {
    if (m_held)
        SDL_QuitSubSystem(SDL_INIT_AUDIO);
}

bool AudioSubsystem::acquire() {
    if (m_held)
        return true;
    // Audio brings up SDL's event subsystem, which would turn SIGINT and SIGTERM into quit
    // events nobody reads: the program could then no longer be ended by the session or a
    // plain kill.
    SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
    m_held = SDL_InitSubSystem(SDL_INIT_AUDIO) == 0;
    return m_held;
}

bool keepOpenDevice(SDL_AudioDeviceID& device) {
    if (device != 0 && SDL_GetAudioDeviceStatus(device) == SDL_AUDIO_STOPPED) {
        SDL_CloseAudioDevice(device);
        device = 0;
    }
    return device != 0;
}

int preferredOutputRate() {
    constexpr int fallback = 48000;
    SDL_AudioSpec spec{};
    char* name = nullptr;
    if (SDL_GetDefaultAudioInfo(&name, &spec, 0) == 0) {
        SDL_free(name);
        if (spec.freq > 0)
            return spec.freq;
    }
    if (SDL_GetNumAudioDevices(0) > 0 && SDL_GetAudioDeviceSpec(0, 0, &spec) == 0 && spec.freq > 0)
        return spec.freq;
    return fallback;
}

} // namespace quillmere::sdl
