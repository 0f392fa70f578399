#pragma once

#include <cstddef>
#include <cstdint>

// The arithmetic of the brown noise, kept apart from any audio device so it can be checked
// sample by sample. Everything here runs on the audio thread: no allocation, no locks.
namespace quillmere::noise {

// White samples come from integers k in 0 … 2^24 inclusive, so that −1 and 1 are both reachable
// and every step between them is exactly representable in a float.
inline constexpr std::uint32_t whiteSteps = (1u << 24) + 1;

// Lemire's multiply-and-reject: the high half of word × range is the draw; the low half tells
// whether the word fell into the short stretch that would favour some results over others.
inline constexpr std::uint32_t rejectBelow = (0u - whiteSteps) % whiteSteps;

template <class NextWord> std::uint32_t drawStep(NextWord& next) {
    std::uint64_t m = std::uint64_t{next()} * whiteSteps;
    auto low = static_cast<std::uint32_t>(m);
    if (low < whiteSteps) {
        while (low < rejectBelow) {
            m = std::uint64_t{next()} * whiteSteps;
            low = static_cast<std::uint32_t>(m);
        }
    }
    return static_cast<std::uint32_t>(m >> 32);
}

inline float whiteFromStep(std::uint32_t k) {
    return static_cast<float>(k) * 0x1p-24f * 2.0f - 1.0f;
}

// A leaky integrator over white noise. The leak of 1/1.02 keeps the walk centred on zero; the
// gain of 3.5 brings its spread (about 0.057) up to about 0.2. Samples stay unclamped: a
// five-sigma excursion past ±1 is rare and only reaches the output at full volume, where the
// audio system's own conversion limits it.
struct BrownNoise {
    float last = 0.0f;

    template <class NextWord>
    void render(float* out, std::size_t frames, float volume, NextWord& next) {
        for (std::size_t i = 0; i < frames; ++i) {
            const float white = whiteFromStep(drawStep(next));
            last = (last + 0.02f * white) / 1.02f;
            out[i] = last * 3.5f * volume;
        }
    }
};

} // namespace quillmere::noise
