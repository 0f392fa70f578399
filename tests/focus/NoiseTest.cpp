#include "focus/BrownNoise.h"
#include "focus/NoisePlayer.h"
#include "focus/SecureWordPool.h"

#include "support/DiskAudio.h"

#include <QElapsedTimer>
#include <QTest>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <deque>
#include <iterator>
#include <vector>

using namespace quillmere;
using namespace quillmere::noise;
using quillmere::test::DiskAudio;

namespace {

// Hands out the words it was given, then counts how often it was asked past the end.
struct ScriptedWords {
    std::deque<std::uint32_t> words;
    int drawn = 0;
    std::uint32_t operator()() {
        ++drawn;
        const std::uint32_t w = words.empty() ? SecureWordPool::silentWord : words.front();
        if (!words.empty())
            words.pop_front();
        return w;
    }
};

bool rejected(std::uint64_t word) {
    return static_cast<std::uint32_t>(word * whiteSteps) < rejectBelow;
}

} // namespace

TEST(BrownNoise, TenSecondsFromTheSecureSourceStayCentredWithTheExpectedSpread) {
    constexpr std::size_t frames = 480000;
    constexpr std::size_t perCallback = 1024;
    std::vector<float> out(frames, 99.0f);
    BrownNoise noise;
    SecureWordPool pool(perCallback + 80);
    for (std::size_t at = 0; at < frames; at += perCallback) {
        const std::size_t n = std::min(perCallback, frames - at);
        pool.prepare(n + 80);
        noise.render(out.data() + at, n, 1.0f, pool);
    }
    // Any sample left unwritten (99) would wreck both figures. No bound on the peak: at full
    // volume a rare 5-sigma excursion does pass 1.0 within ten seconds now and then.
    double sum = 0;
    double squares = 0;
    for (float x : out) {
        sum += x;
        squares += double{x} * x;
    }
    const double mean = sum / frames;
    EXPECT_NEAR(mean, 0.0, 0.02);
    EXPECT_NEAR(std::sqrt(squares / frames - mean * mean), 0.2, 0.02);
}

TEST(BrownNoise, StateCarriesOverAndVolumeOnlyScales) {
    SecureWordPool pool(4096);
    pool.prepare(4096);
    BrownNoise noise;
    std::vector<float> first(2000);
    noise.render(first.data(), first.size(), 1.0f, pool);
    ASSERT_NE(noise.last, 0.0f);

    // A render of nothing writes nothing and leaves the integrator alone.
    const float before = noise.last;
    float untouched = 42.0f;
    noise.render(&untouched, 0, 1.0f, pool);
    EXPECT_EQ(untouched, 42.0f);
    EXPECT_EQ(noise.last, before);

    // The next sample continues from the stored level: with white noise of exactly 0 (the
    // silent word) the output is the old level leaked once.
    ScriptedWords silent;
    float next = 0;
    noise.render(&next, 1, 0.5f, silent);
    EXPECT_FLOAT_EQ(next, before / 1.02f * 3.5f * 0.5f);

    // Volume scales the output but never the state.
    BrownNoise a;
    BrownNoise b;
    ScriptedWords wa{{1u << 30, 3u << 30, 0x12345678u, 0xdeadbeefu}};
    ScriptedWords wb = wa;
    std::array<float, 4> loud{};
    std::array<float, 4> muted{};
    a.render(loud.data(), 4, 1.0f, wa);
    b.render(muted.data(), 4, 0.0f, wb);
    EXPECT_EQ(a.last, b.last);
    for (float x : muted)
        EXPECT_EQ(x, 0.0f);
}

TEST(BrownNoise, StepsMapOntoTheClosedUnitRangeAndRejectionKeepsThemEquallyLikely) {
    EXPECT_EQ(whiteFromStep(0), -1.0f);
    EXPECT_EQ(whiteFromStep(1u << 24), 1.0f);
    EXPECT_EQ(whiteFromStep(1u << 23), 0.0f);
    EXPECT_EQ(whiteFromStep(1), -1.0f + 0x1p-23f);

    // The extreme words reach both ends.
    ScriptedWords low{{1}};
    EXPECT_EQ(drawStep(low), 0u);
    ScriptedWords high{{0xffffffffu}};
    EXPECT_EQ(drawStep(high), 1u << 24);

    // 2^32 words over 2^24 + 1 steps: an unbiased draw gives each step exactly 255 accepted
    // words. Check the words around a spread of steps, including both ends.
    for (std::uint64_t k : {0u, 1u, 2u, 4095u, 1u << 23, (1u << 24) - 1, 1u << 24}) {
        const std::uint64_t first = (k << 32) / whiteSteps;
        int accepted = 0;
        for (std::uint64_t w = first > 2 ? first - 2 : 0;
             w <= std::min<std::uint64_t>(first + 260, 0xffffffffu); ++w) {
            if (((w * whiteSteps) >> 32) == k && !rejected(w))
                ++accepted;
        }
        EXPECT_EQ(accepted, 255) << "step " << k;
    }

    // A word in the rejected stretch is skipped and the next one decides.
    ASSERT_TRUE(rejected(0));
    ScriptedWords words{{0, 0, 0xffffffffu, 1}};
    EXPECT_EQ(drawStep(words), 1u << 24);
    EXPECT_EQ(words.drawn, 3);
}

TEST(SecureWordPool, RefillsWhenADrawOutrunsThePreparedWordsAndEachPoolHasItsOwnKey) {
    SecureWordPool pool(8);
    SecureWordPool other(8);
    const auto draw64 = [](SecureWordPool& p) {
        p.prepare(2);
        std::vector<std::uint32_t> words;
        for (int i = 0; i < 64; ++i)
            words.push_back(p());
        std::sort(words.begin(), words.end());
        return words;
    };
    // 64 secure words are all distinct but for a one-in-ten-million chance; a second pool
    // keyed by the kernel shares none of them but for a one-in-a-million chance.
    const std::vector<std::uint32_t> words = draw64(pool);
    EXPECT_EQ(std::adjacent_find(words.begin(), words.end()), words.end());
    std::vector<std::uint32_t> shared;
    const std::vector<std::uint32_t> others = draw64(other);
    std::set_intersection(words.begin(), words.end(), others.begin(), others.end(),
                          std::back_inserter(shared));
    EXPECT_TRUE(shared.empty());

    // Past the refills of one kernel key the stream carries on with a new key.
    for (unsigned i = 0; i <= SecureWordPool::refillsPerKernelKey; ++i)
        pool.prepare(8);
    const std::vector<std::uint32_t> later = draw64(pool);
    EXPECT_EQ(std::adjacent_find(later.begin(), later.end()), later.end());
}

namespace {

double rmsOfSound(const std::vector<float>& xs) {
    // The paused device writes exact zeros; the noise itself never is exactly zero.
    double squares = 0;
    std::size_t n = 0;
    for (float x : xs) {
        if (x != 0.0f) {
            squares += double{x} * x;
            ++n;
        }
    }
    return n ? std::sqrt(squares / static_cast<double>(n)) : 0.0;
}

// A device opens paused and may write a little silence before it plays.
float firstSound(const std::vector<float>& xs) {
    const auto sound = std::find_if(xs.begin(), xs.end(), [](float x) { return x != 0.0f; });
    return sound == xs.end() ? 0.0f : *sound;
}

} // namespace

TEST(NoisePlayer, PlaysAtTheVolumeClosesOnStopAndResumesFromItsLevel) {
    DiskAudio disk;
    NoisePlayer player;
    player.stop(); // nothing to stop yet
    EXPECT_FALSE(player.hasDevice());

    QElapsedTimer playing;
    playing.start();
    player.play(0.5f);
    ASSERT_TRUE(player.isRunning());
    EXPECT_EQ(player.sampleRate(), 48000);
    QTest::qWait(150);
    player.play(0.5f); // a repeat changes nothing
    EXPECT_TRUE(player.isRunning());
    QTest::qWait(150);
    player.stop();
    const qint64 playedMs = playing.elapsed();
    EXPECT_FALSE(player.isRunning());
    EXPECT_FALSE(player.hasDevice());

    // The disk driver plays in real time, in whole callbacks of mono float: bounded by the
    // time that really passed, however slow the machine. Once closed, nothing more is written.
    const std::vector<float> out = disk.samples();
    EXPECT_GT(out.size(), 4096u);
    EXPECT_LT(out.size(), static_cast<std::size_t>((playedMs + 500) * 48));
    for (float x : out)
        ASSERT_TRUE(std::isfinite(x) && std::abs(x) < 1.0f);
    EXPECT_NEAR(rmsOfSound(out), 0.2 * 0.5, 0.05);
    QTest::qWait(200);
    EXPECT_EQ(disk.samples().size(), out.size());

    // The last sample played is the stored level; the next device carries on from it, one
    // leaky step away, at the rate chosen first.
    const float level = player.integratorState();
    EXPECT_EQ(out.back(), level * 3.5f * 0.5f);
    disk.use(QStringLiteral("again.raw"));
    player.play(0.25f);
    ASSERT_TRUE(player.isRunning());
    EXPECT_EQ(player.sampleRate(), 48000);
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return rmsOfSound(disk.samples(QStringLiteral("again.raw"))) > 0; }, 10000));
    player.stop();
    const float first = firstSound(disk.samples(QStringLiteral("again.raw"))) / (3.5f * 0.25f);
    EXPECT_NEAR(first, level / 1.02f, 0.02f / 1.02f + 1e-6f);
}

TEST(NoisePlayer, SilentAtVolumeZeroAndRetriedWithoutAnOutput) {
    {
        DiskAudio disk;
        {
            NoisePlayer player;
            player.play(0.0f);
            QTest::qWait(100);
            player.stop();
            player.play(std::nanf("")); // nonsense volume plays silence rather than garbage
            EXPECT_TRUE(player.isRunning());
            QTest::qWait(100);
        }
        const std::vector<float> out = disk.samples();
        EXPECT_GT(out.size(), 2048u);
        EXPECT_EQ(rmsOfSound(out), 0.0);
    }
    qputenv("SDL_AUDIODRIVER", "no-such-driver");
    NoisePlayer player;
    player.play(0.5f);
    EXPECT_FALSE(player.hasDevice());
    EXPECT_FALSE(player.isRunning());
    DiskAudio disk;
    player.play(0.5f);
    EXPECT_TRUE(player.isRunning());
}
