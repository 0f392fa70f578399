#pragma once

#include "focus/BrownNoise.h"
#include "focus/SdlAudio.h"
#include "focus/SecureWordPool.h"

#include <SDL2/SDL_audio.h>

#include <atomic>

namespace quillmere {

// Brown noise on the default audio output. The device exists only while the noise plays:
// a paused SDL device keeps its thread streaming silence, which keeps the sound server (and
// this process) awake for nothing. Playing again opens a new device at the rate chosen the
// first time, and the noise carries on from the level it had.
class NoisePlayer final {
public:
    NoisePlayer();
    ~NoisePlayer();
    NoisePlayer(const NoisePlayer&) = delete;
    NoisePlayer& operator=(const NoisePlayer&) = delete;

    // Sets the volume (every call) and starts the output if it is not running. Without an
    // audio device nothing happens; the next call tries again.
    void play(float volume);
    // Closes the output; the integrator keeps its level for the next play.
    void stop();

    bool isRunning() const;
    bool hasDevice() const { return m_device != 0; }
    // The rate chosen when the first device was opened; 0 before that.
    int sampleRate() const { return m_rate; }
    // The integrator's level; only meaningful while no device is open.
    float integratorState() const { return m_noise.last; }

private:
    static void SDLCALL renderCallback(void* self, Uint8* stream, int length);
    void render(float* out, std::size_t frames);
    bool openDevice();

    sdl::AudioSubsystem m_audio;
    SDL_AudioDeviceID m_device = 0;
    int m_rate = 0;
    std::atomic<float> m_volume{0.0f};
    // Touched only by the audio thread while a device is open.
    noise::BrownNoise m_noise;
    noise::SecureWordPool m_words;
};

} // namespace quillmere
