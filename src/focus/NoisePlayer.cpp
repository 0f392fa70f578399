#include "focus/NoisePlayer.h"

#include <SDL2/SDL.h>

#include <algorithm>
#include <cmath>

namespace quillmere {

namespace {
constexpr Uint16 requestedFrames = 1024;
// Rejections are rare (about 1 word in 256), so a callback's draws fit in a pool a little
// larger than its frames; running out only costs one more refill.
constexpr std::size_t poolWords(std::size_t frames) {
    return frames + frames / 64 + 64;
}
} // namespace

NoisePlayer::NoisePlayer() : m_words(poolWords(requestedFrames)) {}

NoisePlayer::~NoisePlayer() {
    if (m_device != 0)
        sdl::closeAudioDevice(m_device);
}

bool NoisePlayer::openDevice() {
    if (!m_audio.acquire())
        return false;
    // A new or lost device is opened at the rate chosen when the first one was made.
    if (sdl::keepOpenDevice(m_device))
        return true;
    if (m_rate == 0)
        m_rate = sdl::preferredOutputRate();

    SDL_AudioSpec want{};
    want.freq = m_rate;
    want.format = AUDIO_F32SYS;
    want.channels = 1;
    want.samples = requestedFrames;
    want.callback = &NoisePlayer::renderCallback;
    want.userdata = this;
    // No changes allowed: SDL converts our mono float stream to whatever the output takes,
    // and the callback always sees the frames it asked for.
    m_device = sdl::openAudioDevice(want);
    if (m_device == 0)
        return false;
    return true;
}

void NoisePlayer::play(float volume) {
    m_volume.store(std::isfinite(volume) ? std::clamp(volume, 0.0f, 1.0f) : 0.0f,
                   std::memory_order_relaxed);
    if (!openDevice())
        return;
    if (sdl::audioDeviceStatus(m_device) != SDL_AUDIO_PLAYING)
        sdl::pauseAudioDevice(m_device, false);
}

void NoisePlayer::stop() {
    if (m_device == 0)
        return;
    // Closing waits for a callback under way to return, so the integrator is settled after it.
    sdl::closeAudioDevice(m_device);
    m_device = 0;
}

bool NoisePlayer::isRunning() const {
    return m_device != 0 && sdl::audioDeviceStatus(m_device) == SDL_AUDIO_PLAYING;
}

void SDLCALL NoisePlayer::renderCallback(void* self, Uint8* stream, int length) {
    if (self == nullptr || stream == nullptr || length <= 0)
        return;
    static_cast<NoisePlayer*>(self)->render(reinterpret_cast<float*>(stream),
                                            static_cast<std::size_t>(length) / sizeof(float));
}

void NoisePlayer::render(float* out, std::size_t frames) {
    if (frames == 0)
        return;
    m_words.prepare(poolWords(frames));
    m_noise.render(out, frames, m_volume.load(std::memory_order_relaxed), m_words);
}

} // namespace quillmere
