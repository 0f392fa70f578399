#include "Figures.h"
#include "focus/BrownNoise.h"
#include "focus/SecureWordPool.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <vector>

using namespace quillmere::noise;

namespace {

// One callback's worth of frames, as the player asks SDL for.
constexpr std::size_t frames = 1024;
constexpr double outputRate = 48000.0;

// The non-cryptographic baseline: Marsaglia's xorshift32.
struct Xorshift32 {
    std::uint32_t state = 2463534242u;
    std::uint32_t operator()() {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        return state;
    }
};

void setPerSample(benchmark::State& state) {
    state.counters["s_per_sample"] =
        benchmark::Counter(static_cast<double>(state.iterations()) * frames,
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

// Exactly what the player's callback does: one refill of the pool, then the samples.
void BM_NoiseCallbackSecure(benchmark::State& state) {
    std::vector<float> out(frames);
    SecureWordPool pool(frames + frames / 64 + 64);
    BrownNoise noise;
    for (auto _ : state) {
        pool.prepare(frames + frames / 64 + 64);
        noise.render(out.data(), frames, 0.5f, pool);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    setPerSample(state);
}
BENCHMARK(BM_NoiseCallbackSecure);

void BM_NoiseCallbackXorshift(benchmark::State& state) {
    std::vector<float> out(frames);
    Xorshift32 words;
    BrownNoise noise;
    for (auto _ : state) {
        noise.render(out.data(), frames, 0.5f, words);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    setPerSample(state);
}
BENCHMARK(BM_NoiseCallbackXorshift);

} // namespace

// After the table: the secure source's cost next to the baseline, and what the noise costs
// one core at the output rate.
int main(int argc, char** argv) {
    return runWithFigures(argc, argv, [](const FigureReporter& r) {
        const double secure = r.counter("BM_NoiseCallbackSecure", "s_per_sample");
        const double baseline = r.counter("BM_NoiseCallbackXorshift", "s_per_sample");
        if (secure <= 0 || baseline <= 0)
            return;
        std::printf("noise per sample: secure %.2f ns, xorshift baseline %.2f ns, ratio %.2f\n",
                    secure * 1e9, baseline * 1e9, secure / baseline);
        std::printf("noise at %.0f Hz: %.3f%% of one core (baseline %.3f%%)\n", outputRate,
                    secure * outputRate * 100.0, baseline * outputRate * 100.0);
        FigureReporter::print("noise_vs_xorshift", secure / baseline, 2);
    });
}
