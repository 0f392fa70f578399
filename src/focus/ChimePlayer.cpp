#include "focus/ChimePlayer.h"

#include "focus/Chimes.h"

#include <SDL2/SDL.h>

namespace quillmere {

namespace {
// What the output may still hold after the queue is empty.
constexpr int drainMarginMs = 250;
} // namespace

ChimePlayer::ChimePlayer() {
    m_drain.setSingleShot(true);
    QObject::connect(&m_drain, &QTimer::timeout, &m_drain, [this] { closeWhenDrained(); });
}

ChimePlayer::~ChimePlayer() {
    if (m_device != 0)
        sdl::closeAudioDevice(m_device);
}

bool ChimePlayer::openDevice() {
    if (!m_audio.acquire())
        return false;
    if (sdl::keepOpenDevice(m_device))
        return true;
    SDL_AudioSpec want{};
    want.freq = chimes::sampleRate;
    want.format = AUDIO_F32SYS;
    want.channels = 1;
    want.samples = 1024;
    // No callback: the chimes are queued whole and SDL converts them to the output's format.
    m_device = sdl::openAudioDevice(want);
    return m_device != 0;
}

void ChimePlayer::play(const QString& name) {
    const std::span<const float> wave = chimes::samples(name);
    if (wave.empty() || !openDevice())
        return;
    if (sdl::queueAudio(m_device, wave.data(), static_cast<Uint32>(wave.size_bytes())) != 0)
        return;
    sdl::pauseAudioDevice(m_device, false);
    closeWhenDrained();
}

void ChimePlayer::closeWhenDrained() {
    if (m_device == 0)
        return;
    const Uint32 queued = sdl::queuedAudioSize(m_device);
    if (queued == 0) {
        // Paused, the device would go on streaming silence; the next chime opens a new one.
        sdl::closeAudioDevice(m_device);
        m_device = 0;
        return;
    }
    const auto queuedMs =
        static_cast<int>(Uint64{queued} * 1000 / (sizeof(float) * chimes::sampleRate));
    m_drain.start(queuedMs + drainMarginMs);
}

bool ChimePlayer::isPlaying() const {
    return m_device != 0 && sdl::audioDeviceStatus(m_device) == SDL_AUDIO_PLAYING;
}

} // namespace quillmere
