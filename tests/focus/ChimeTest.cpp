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
        const double seconds = static_cast<double>(wave.size()) / chimes::sampleRate;
        EXPECT_GT(seconds, 0.3);
        EXPECT_LT(seconds, 1.5);

        const float peak = peakOf(wave);
        EXPECT_GT(peak, 0.3f);
        EXPECT_LE(peak, 1.0f);
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
        const std::span<const float> glass = chimes::samples(QStringLiteral("Glass"));
        const int ms = static_cast<int>(glass.size() * 1000 / chimes::sampleRate);
        // The player pauses its own device once the chime has drained.
        for (int waited = 0; chimes.isPlaying() && waited < ms + 2000; waited += 50)
            QTest::qWait(50);
        EXPECT_FALSE(chimes.isPlaying());
    }
    const std::vector<float> out = disk.samples(QStringLiteral("chime.raw"));
    const std::span<const float> glass = chimes::samples(QStringLiteral("Glass"));
    ASSERT_GE(out.size(), glass.size());
    EXPECT_FLOAT_EQ(peakOf(out), peakOf(glass));
    EXPECT_NEAR(energyOf(out), energyOf(glass), 1e-3 * energyOf(glass));
}
