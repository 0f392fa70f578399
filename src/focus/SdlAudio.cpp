#include "focus/SdlAudio.h"

#include <SDL2/SDL.h>

#include <dlfcn.h>

namespace quillmere::sdl {

namespace {

// The part of SDL the program uses, looked up once in the loaded library.
struct Api {
    decltype(&SDL_SetHint) setHint = nullptr;
    decltype(&SDL_InitSubSystem) initSubSystem = nullptr;
    decltype(&SDL_QuitSubSystem) quitSubSystem = nullptr;
    decltype(&SDL_free) free = nullptr;
    decltype(&SDL_GetDefaultAudioInfo) getDefaultAudioInfo = nullptr;
    decltype(&SDL_GetNumAudioDevices) getNumAudioDevices = nullptr;
    decltype(&SDL_GetAudioDeviceSpec) getAudioDeviceSpec = nullptr;
    decltype(&SDL_OpenAudioDevice) openAudioDevice = nullptr;
    decltype(&SDL_CloseAudioDevice) closeAudioDevice = nullptr;
    decltype(&SDL_GetAudioDeviceStatus) getAudioDeviceStatus = nullptr;
    decltype(&SDL_PauseAudioDevice) pauseAudioDevice = nullptr;
    decltype(&SDL_QueueAudio) queueAudio = nullptr;
    decltype(&SDL_GetQueuedAudioSize) getQueuedAudioSize = nullptr;
    bool complete = false;
};

template <typename F> bool resolve(void* library, const char* name, F& function) {
    function = reinterpret_cast<F>(dlsym(library, name));
    return function != nullptr;
}

Api load() {
    Api api;
    // Never unloaded: SDL's threads and atexit handlers may outlive any holder.
    void* library = dlopen("libSDL2-2.0.so.0", RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr)
        return api;
    api.complete = resolve(library, "SDL_SetHint", api.setHint) &&
                   resolve(library, "SDL_InitSubSystem", api.initSubSystem) &&
                   resolve(library, "SDL_QuitSubSystem", api.quitSubSystem) &&
                   resolve(library, "SDL_free", api.free) &&
                   resolve(library, "SDL_GetDefaultAudioInfo", api.getDefaultAudioInfo) &&
                   resolve(library, "SDL_GetNumAudioDevices", api.getNumAudioDevices) &&
                   resolve(library, "SDL_GetAudioDeviceSpec", api.getAudioDeviceSpec) &&
                   resolve(library, "SDL_OpenAudioDevice", api.openAudioDevice) &&
                   resolve(library, "SDL_CloseAudioDevice", api.closeAudioDevice) &&
                   resolve(library, "SDL_GetAudioDeviceStatus", api.getAudioDeviceStatus) &&
                   resolve(library, "SDL_PauseAudioDevice", api.pauseAudioDevice) &&
                   resolve(library, "SDL_QueueAudio", api.queueAudio) &&
                   resolve(library, "SDL_GetQueuedAudioSize", api.getQueuedAudioSize);
    return api;
}

// Loaded on first use, from the thread that first wants audio (the audio callbacks never
// call SDL themselves).
const Api* sdl() {
    static const Api api = load();
    return api.complete ? &api : nullptr;
}

// Only what an acquired subsystem has loaded; never loads SDL just to find nothing open.
const Api* loadedSdl(SDL_AudioDeviceID device) {
    return device != 0 ? sdl() : nullptr;
}

} // namespace

AudioSubsystem::~AudioSubsystem() {
    if (m_held)
        sdl()->quitSubSystem(SDL_INIT_AUDIO);
}

bool AudioSubsystem::acquire() {
    if (m_held)
        return true;
    const Api* api = sdl();
    if (api == nullptr)
        return false;
    // Audio brings up SDL's event subsystem, which would turn SIGINT and SIGTERM into quit
    // events nobody reads: the program could then no longer be ended by the session or a
    // plain kill.
    api->setHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
    m_held = api->initSubSystem(SDL_INIT_AUDIO) == 0;
    return m_held;
}

bool keepOpenDevice(SDL_AudioDeviceID& device) {
    if (device != 0 && audioDeviceStatus(device) == SDL_AUDIO_STOPPED) {
        closeAudioDevice(device);
        device = 0;
    }
    return device != 0;
}

int preferredOutputRate() {
    constexpr int fallback = 48000;
    const Api* api = sdl();
    if (api == nullptr)
        return fallback;
    SDL_AudioSpec spec{};
    char* name = nullptr;
    if (api->getDefaultAudioInfo(&name, &spec, 0) == 0) {
        api->free(name);
        if (spec.freq > 0)
            return spec.freq;
    }
    if (api->getNumAudioDevices(0) > 0 && api->getAudioDeviceSpec(0, 0, &spec) == 0 &&
        spec.freq > 0)
        return spec.freq;
    return fallback;
}

SDL_AudioDeviceID openAudioDevice(const SDL_AudioSpec& want) {
    const Api* api = sdl();
    return api == nullptr ? 0 : api->openAudioDevice(nullptr, 0, &want, nullptr, 0);
}

void closeAudioDevice(SDL_AudioDeviceID device) {
    if (const Api* api = loadedSdl(device))
        api->closeAudioDevice(device);
}

SDL_AudioStatus audioDeviceStatus(SDL_AudioDeviceID device) {
    const Api* api = loadedSdl(device);
    return api == nullptr ? SDL_AUDIO_STOPPED : api->getAudioDeviceStatus(device);
}

void pauseAudioDevice(SDL_AudioDeviceID device, bool pause) {
    if (const Api* api = loadedSdl(device))
        api->pauseAudioDevice(device, pause ? 1 : 0);
}

int queueAudio(SDL_AudioDeviceID device, const void* data, Uint32 bytes) {
    const Api* api = loadedSdl(device);
    return api == nullptr ? -1 : api->queueAudio(device, data, bytes);
}

Uint32 queuedAudioSize(SDL_AudioDeviceID device) {
    const Api* api = loadedSdl(device);
    return api == nullptr ? 0 : api->getQueuedAudioSize(device);
}

} // namespace quillmere::sdl
