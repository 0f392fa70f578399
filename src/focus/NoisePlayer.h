#pragma once

#include "focus/BrownNoise.h"
#include "focus/SdlAudio.h"
#include "focus/SecureWordPool.h"

#include <SDL2/SDL_audio.h>

#include <atomic>

namespace quillmere {

// Brown noise on the default audio output. The device is opened on the first play and kept:
// stopping pauses it, so playing again resumes the same stream at the same rate and the noise
// carries on from the level it had.
class NoisePlayer final {
public:
    NoisePlayer();
    ~NoisePlayer();
    NoisePlayer(const NoisePlayer&) = delete;
    NoisePlayer& operator=(const NoisePlayer&) = delete;

    // Sets the volume (every call) and starts the output if it is not running. Without an
    // audio device nothing happens; the next call tries again.
    void play(float volume);
    void stop();

    bool isRunning() const;
    bool hasDevice() const { return m_device != 0; }
    // The rate chosen when the device was opened; 0 before that.
    int sampleRate() const { return m_rate; }

private:
    static void SDLCALL renderCallback(void* self, Uint8* stream, int length);
    void render(float* out, std::size_t frames);
    bool openDevice();

    sdl::AudioSubsystem m_audio;
    SDL_AudioDeviceID m_device = 0;
    int m_rate = 0;
    std::atomic<float> m_volume{0.0f};
    // Touched only by the audio thread once the device exists.
    noise::BrownNoise m_noise;
    noise::SecureWordPool m_words;
};

} // namespace quillmere
