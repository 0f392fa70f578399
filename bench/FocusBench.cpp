#include "focus/BrownNoise.h"
#include "focus/SecureWordPool.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
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

// Prints the usual table, then the figures that matter: the secure source's cost next to the
// baseline, and what the noise costs one core at the output rate.
class SummaryReporter final : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            const auto it = run.counters.find("s_per_sample");
            if (it != run.counters.end() && !run.error_occurred)
                m_perSample[run.run_name.function_name] = it->second.value;
        }
    }
    void Finalize() override {
        ConsoleReporter::Finalize();
        const double secure = m_perSample["BM_NoiseCallbackSecure"];
        const double baseline = m_perSample["BM_NoiseCallbackXorshift"];
        if (secure <= 0 || baseline <= 0)
            return;
        std::printf("\nnoise per sample: secure %.2f ns, xorshift baseline %.2f ns, ratio %.2f\n",
                    secure * 1e9, baseline * 1e9, secure / baseline);
        std::printf("noise at %.0f Hz: %.3f%% of one core (baseline %.3f%%)\n", outputRate,
                    secure * outputRate * 100.0, baseline * outputRate * 100.0);
    }

private:
    std::map<std::string, double> m_perSample;
};

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    SummaryReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
