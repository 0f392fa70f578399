#include "focus/ChimePlayer.h"
#include "focus/Chimes.h"
#include "focus/NoisePlayer.h"

#include "support/DiskAudio.h"

#include <QTest>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>

using namespace quillmere;
using quillmere::test::DiskAudio;

namespace {

float peakOf(std::span<const float> xs) {
    float peak = 0;
    for (float x : xs)
        peak = std::max(peak, std::abs(x));
    return peak;
}

double energyOf(std::span<const float> xs) {
    return std::accumulate(xs.begin(), xs.end(), 0.0,
                           [](double sum, float x) { return sum + double{x} * x; });
}

} // namespace

TEST(Chimes, EachIsMadeOnceAudibleNeverClippingAndEndsInSilence) {
    for (const char* name : {"Submarine", "Glass"}) {
        SCOPED_TRACE(name);
        const std::span<const float> wave = chimes::samples(QString::fromLatin1(name));
        EXPECT_EQ(chimes::samples(QString::fromLatin1(name)).data(), wave.data());
        EXPECT_GT(wave.size(), std::size_t{chimes::sampleRate} * 3 / 10);
        EXPECT_LT(wave.size(), std::size_t{chimes::sampleRate} * 3 / 2);

        EXPECT_GT(peakOf(wave), 0.3f);
        EXPECT_LE(peakOf(wave), 1.0f);
        // Most of the sound is in its first half: a strike that rings away.
        const std::size_t half = wave.size() / 2;
        const double total = energyOf(wave);
        EXPECT_GT(energyOf(wave.first(half)), 0.8 * total);
        EXPECT_GT(total / static_cast<double>(wave.size()), 1e-3); // mean square: clearly audible

        EXPECT_EQ(wave.back(), 0.0f);
        EXPECT_LT(peakOf(wave.last(chimes::sampleRate / 100)), 1e-3f);
    }
    // The two are different sounds: the glass is brighter (crosses zero more often).
    const auto crossings = [](std::span<const float> xs) {
        int n = 0;
        for (std::size_t i = 1; i < xs.size(); ++i)
            n += (xs[i - 1] < 0) != (xs[i] < 0);
        return n / static_cast<double>(xs.size());
    };
    EXPECT_GT(crossings(chimes::samples(QStringLiteral("Glass"))),
              2 * crossings(chimes::samples(QStringLiteral("Submarine"))));
    EXPECT_TRUE(chimes::samples(QStringLiteral("Basso")).empty());
    EXPECT_TRUE(chimes::samples(QStringLiteral("glass")).empty());
}

TEST(ChimePlayer, AChimePlaysWhollyEvenWhenTheNoiseStops) {
    DiskAudio disk;
    NoisePlayer noise;
    noise.play(0.5f);
    ASSERT_TRUE(noise.isRunning());
    disk.use(QStringLiteral("chime.raw"));
    {
        ChimePlayer chimes;
        chimes.play(QStringLiteral("Nope"));
        EXPECT_FALSE(chimes.isPlaying());
        chimes.play(QStringLiteral("Glass"));
        EXPECT_TRUE(chimes.isPlaying());
        noise.stop();
        // The player closes its own device once the chime has drained: nothing streams on.
        EXPECT_TRUE(QTest::qWaitFor([&] { return !chimes.hasDevice(); }, 30000));
        EXPECT_FALSE(chimes.isPlaying());
    }
    const std::vector<float> out = disk.samples(QStringLiteral("chime.raw"));
    const std::span<const float> glass = chimes::samples(QStringLiteral("Glass"));
    ASSERT_GE(out.size(), glass.size());
    EXPECT_FLOAT_EQ(peakOf(out), peakOf(glass));
    EXPECT_NEAR(energyOf(out), energyOf(glass), 1e-3 * energyOf(glass));
}
