#include "focus/Chimes.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

namespace quillmere::chimes {

namespace {

constexpr double twoPi = 2.0 * std::numbers::pi;

struct Partial {
    double frequency; // Hz
    double amplitude;
    double decay; // seconds for the amplitude to fall by e
};

// Sums decaying sine partials behind a short attack, so the onset clicks no more than a real
// strike would.
std::vector<double> strike(double seconds, double attack, std::initializer_list<Partial> partials) {
    const auto count = static_cast<std::size_t>(seconds * sampleRate);
    std::vector<double> out(count, 0.0);
    for (std::size_t i = 0; i < count; ++i) {
        const double t = static_cast<double>(i) / sampleRate;
        const double onset = 1.0 - std::exp(-t / attack);
        double sum = 0.0;
        for (const Partial& p : partials)
            sum += p.amplitude * std::exp(-t / p.decay) * std::sin(twoPi * p.frequency * t);
        out[i] = onset * sum;
    }
    return out;
}

// Scales to the given peak and lets the tail fall to exactly zero over its last stretch, so
// the chime neither clips nor ends on a click.
std::vector<float> finish(std::vector<double> wave, double peak, double fadeSeconds) {
    double loudest = 0.0;
    for (double x : wave)
        loudest = std::max(loudest, std::abs(x));
    const double gain = loudest > 0.0 ? peak / loudest : 0.0;
    const auto fade = std::min(wave.size(), static_cast<std::size_t>(fadeSeconds * sampleRate));
    std::vector<float> out(wave.size());
    for (std::size_t i = 0; i < wave.size(); ++i) {
        double x = wave[i] * gain;
        const std::size_t fromEnd = wave.size() - 1 - i;
        if (fromEnd < fade)
            x *= 0.5 - 0.5 * std::cos(std::numbers::pi * static_cast<double>(fromEnd) /
                                      static_cast<double>(fade));
        out[i] = static_cast<float>(x);
    }
    return out;
}

std::vector<float> submarine() {
    // A round low ping with a slow ring, and a faint echo as if off a distant hull.
    std::vector<double> ping =
        strike(1.3, 0.006, {{466.0, 1.0, 0.30}, {932.0, 0.18, 0.09}, {1398.0, 0.05, 0.05}});
    const auto delay = static_cast<std::size_t>(0.32 * sampleRate);
    for (std::size_t i = ping.size(); i-- > delay;)
        ping[i] += 0.22 * ping[i - delay];
    return finish(std::move(ping), 0.6, 0.15);
}

std::vector<float> glass() {
    // Inharmonic partials that die fast, highest first: the bright "tink" of a struck glass.
    std::vector<double> tap = strike(
        0.9, 0.0015,
        {{1760.0, 1.0, 0.22}, {4083.0, 0.45, 0.11}, {7480.0, 0.2, 0.06}, {11669.0, 0.08, 0.03}});
    return finish(std::move(tap), 0.5, 0.12);
}

} // namespace

std::span<const float> samples(const QString& name) {
    if (name == QLatin1String("Submarine")) {
        static const std::vector<float> wave = submarine();
        return wave;
    }
    if (name == QLatin1String("Glass")) {
        static const std::vector<float> wave = glass();
        return wave;
    }
    return {};
}

} // namespace quillmere::chimes
