#include "focus/BrownNoise.h"
#include "focus/ChimePlayer.h"
#include "focus/Chimes.h"
#include "focus/NoisePlayer.h"
#include "focus/SecureWordPool.h"

#include "support/DiskAudio.h"

#include <QTest>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <span>
#include <vector>

using namespace quillmere;
using namespace quillmere::noise;
using namespace Qt::StringLiterals;

namespace {

const auto rejected = [](std::uint64_t word) {
    return static_cast<std::uint32_t>(word * whiteSteps) < rejectBelow;
};
const auto peakOf = [](std::span<const float> xs) {
    return std::accumulate(xs.begin(), xs.end(), 0.0f,
                           [](float peak, float x) { return std::max(peak, std::abs(x)); });
};
const auto energyOf = [](std::span<const float> xs) {
    return std::inner_product(xs.begin(), xs.end(), xs.begin(), 0.0);
};

} // namespace

TEST(BrownNoise, TenSecondsFromTheSecureSourceStayCentredWithTheExpectedSpreadAndCarryOn) {
    constexpr std::size_t perCallback = 1024;
    constexpr std::size_t frames = perCallback * 469; // ten seconds at 48 kHz
    std::vector<float> out(frames, 99.0f);
    BrownNoise noise;
    SecureWordPool pool(perCallback + 80);
    for (std::size_t at = 0; at < frames; at += perCallback) {
        pool.prepare(perCallback + 80);
        noise.render(out.data() + at, perCallback, 1.0f, pool);
    }
    // Any sample left unwritten (99) would wreck both figures. No bound on the peak: at full
    // volume a rare 5-sigma excursion does pass 1.0 within ten seconds now and then.
    const double mean = std::accumulate(out.begin(), out.end(), 0.0) / frames;
    EXPECT_NEAR(mean, 0.0, 0.02);
    EXPECT_NEAR(std::sqrt(energyOf(out) / frames - mean * mean), 0.2, 0.02);

    // The next sample continues from the stored level: with white noise of exactly 0 (the
    // silent word) it is the old level leaked once, and the volume scales only the output. That
    // volume zero is silence even right after loud noise is met through the player below.
    const float before = noise.last;
    auto silent = [] { return SecureWordPool::silentWord; };
    float next = 0;
    noise.render(&next, 1, 0.5f, silent);
    EXPECT_FLOAT_EQ(next, before / 1.02f * 3.5f * 0.5f);
}

// The white noise under the brown: words from a secure source, drawn into steps over the closed
// unit range without bias.
TEST(WhiteNoise, SecureWordsNeverRepeatAndDrawIntoEquallyLikelyStepsFromMinusOneToOne) {
    // 64 secure words, sorted, are all distinct but for a one-in-ten-million chance.
    const auto draw64 = [](auto&& p) {
        p.prepare(2);
        std::vector<std::uint32_t> words(64);
        std::ranges::generate(words, std::ref(p));
        std::ranges::sort(words);
        EXPECT_EQ(std::ranges::adjacent_find(words), words.end());
        return words;
    };
    // A second pool keyed by the kernel shares none of them but for a one-in-a-million chance.
    SecureWordPool pool(8);
    const std::vector<std::uint32_t> words = draw64(pool);
    EXPECT_EQ(std::ranges::find_first_of(words, draw64(SecureWordPool(8))), words.end());

    // Past the refills of one kernel key the stream carries on with a new key.
    for (unsigned i = 0; i <= SecureWordPool::refillsPerKernelKey; ++i)
        pool.prepare(8);
    draw64(pool);

    EXPECT_EQ((std::array{whiteFromStep(0), whiteFromStep(1u << 24), whiteFromStep(1u << 23),
                          whiteFromStep(1)}),
              (std::array{-1.0f, 1.0f, 0.0f, -1.0f + 0x1p-23f}));

    // 2^32 words over 2^24 + 1 steps: an unbiased draw gives each step exactly 255 accepted
    // words. Check the words around a spread of steps, including both ends.
    for (std::uint64_t k : {0u, 1u, 2u, 4095u, 1u << 23, (1u << 24) - 1, 1u << 24}) {
        const std::uint64_t first = (k << 32) / whiteSteps;
        int accepted = 0;
        for (std::uint64_t w = first > 2 ? first - 2 : 0;
             w <= std::min<std::uint64_t>(first + 260, 0xffffffffu); ++w)
            accepted += ((w * whiteSteps) >> 32) == k && !rejected(w);
        EXPECT_EQ(accepted, 255) << "step " << k;
    }

    // The extreme words reach both ends; a word in the rejected stretch is skipped and the
    // next one decides.
    using Words = std::vector<std::uint32_t>;
    for (const auto& [words, step, drawn] :
         {std::tuple{Words{1}, 0u, 1u}, std::tuple{Words{0xffffffffu}, 1u << 24, 1u},
          std::tuple{Words{0, 0, 0xffffffffu, 1}, 1u << 24, 3u}}) {
        std::size_t at = 0;
        auto next = [&] { return words.at(at++); };
        EXPECT_EQ(std::pair(drawStep(next), at), std::pair(step, std::size_t{drawn}));
    }
}

TEST(Chimes, EachIsMadeOnceAudibleNeverClippingAndEndsInSilence) {
    for (const QString& name : {u"Submarine"_s, u"Glass"_s}) {
        SCOPED_TRACE(name.toStdString());
        const std::span<const float> wave = chimes::samples(name);
        EXPECT_EQ(chimes::samples(name).data(), wave.data());
        EXPECT_GT(wave.size(), std::size_t{chimes::sampleRate} * 3 / 10);
        EXPECT_LT(wave.size(), std::size_t{chimes::sampleRate} * 3 / 2);

        EXPECT_GT(peakOf(wave), 0.3f);
        EXPECT_LE(peakOf(wave), 1.0f);
        // Most of the sound is in its first half: a strike that rings away.
        EXPECT_GT(energyOf(wave.first(wave.size() / 2)), 0.8 * energyOf(wave));
        // Mean square: clearly audible.
        EXPECT_GT(energyOf(wave) / static_cast<double>(wave.size()), 1e-3);

        EXPECT_EQ(wave.back(), 0.0f);
        EXPECT_LT(peakOf(wave.last(chimes::sampleRate / 100)), 1e-3f);
    }
    // The two are different sounds: the glass is brighter (crosses zero more often).
    const auto crossings = [](std::span<const float> xs) {
        return std::transform_reduce(xs.begin() + 1, xs.end(), xs.begin(), 0.0, std::plus<>(),
                                     [](float x, float prev) { return (x < 0) != (prev < 0); }) /
               static_cast<double>(xs.size());
    };
    EXPECT_GT(crossings(chimes::samples(u"Glass"_s)),
              2 * crossings(chimes::samples(u"Submarine"_s)));
}

// One walk through the players on SDL's disk driver, which writes what a device plays into a
// file in real time. How loud the noise is, that nothing more is written once it stops, and how
// it carries on in the next block are measured on the real program (FocusAidsEndToEnd).
TEST(NoisePlayer, PlaysOnlyWhileOnNeverGarbageAndAChimeOutlastsIt) {
    // Without an output nothing plays; the next play tries again.
    qputenv("SDL_AUDIODRIVER", "no-such-driver");
    NoisePlayer player;
    player.play(0.5f);
    EXPECT_FALSE(player.hasDevice());
    test::DiskAudio disk;
    player.stop(); // nothing to stop yet

    player.play(0.5f);
    ASSERT_TRUE(player.isRunning());
    EXPECT_EQ(player.sampleRate(), 48000);
    QTest::qWait(150);
    // A repeat changes nothing: the same device plays on (a new one would start the file anew).
    const std::size_t before = disk.samples().size();
    player.play(0.5f);
    EXPECT_TRUE(player.isRunning());
    EXPECT_GE(disk.samples().size(), before);
    QTest::qWait(150);
    player.stop();
    EXPECT_EQ(std::pair(player.hasDevice(), player.isRunning()), std::pair(false, false));
    const std::vector<float> out = disk.samples();
    EXPECT_GT(out.size(), 4096u);
    // The last sample played is the level kept for the next device.
    EXPECT_EQ(out.back(), player.integratorState() * 3.5f * 0.5f);

    // A chime has a device of its own and plays wholly even when the noise stops under it;
    // once drained, the device is closed and nothing streams on.
    player.play(0.5f);
    disk.use(u"chime.raw"_s);
    ChimePlayer bell;
    bell.play(u"glass"_s); // names are exact
    EXPECT_FALSE(bell.isPlaying());
    bell.play(u"Glass"_s);
    EXPECT_TRUE(bell.isPlaying());
    player.stop();
    EXPECT_TRUE(QTest::qWaitFor([&] { return !bell.hasDevice(); }, 30000));
    const std::vector<float> chime = disk.samples(u"chime.raw"_s);
    const std::span<const float> glass = chimes::samples(u"Glass"_s);
    ASSERT_GE(chime.size(), glass.size());
    EXPECT_FLOAT_EQ(peakOf(chime), peakOf(glass));
    EXPECT_NEAR(energyOf(chime), energyOf(glass), 1e-3 * energyOf(glass));

    // At volume zero, or a nonsense one, it plays silence rather than garbage.
    for (const float volume : {0.0f, std::nanf("")}) {
        SCOPED_TRACE(volume);
        disk.use(u"quiet.raw"_s);
        player.play(volume);
        QTest::qWait(100);
        player.stop();
        const std::vector<float> quiet = disk.samples(u"quiet.raw"_s);
        EXPECT_GT(quiet.size(), 2048u);
        EXPECT_TRUE(std::all_of(quiet.begin(), quiet.end(), [](float x) { return x == 0.0f; }));
    }
}
