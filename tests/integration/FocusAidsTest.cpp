// The focus aids as a user meets them: the real program, started on a faked wall clock inside
// a deep block, plays its noise into SDL's disk driver, and puts up its card on a real X
// server when a real notification daemon shows a banner.

#include "EndToEnd.h"

#include "support/DiskAudio.h"

#include <algorithm>
#include <cmath>

using namespace quillmere;
using namespace quillmere::test; // and its string literals

namespace {

// The program on a session's data folder, under a wall clock faked to start at `fakeStart` on
// Monday 2024-03-04 in Berlin, with SDL's disk driver where a DiskAudio set it here.
struct Program : test::FakeTimeProgram {
    Program(const test::Session& session, const std::vector<WorkBlock>& blocks,
            const Settings& settings, const QString& fakeStart)
        : m_env(session.environment()) {
        for (const char* name : {"SDL_AUDIODRIVER", "SDL_DISKAUDIOFILE"})
            if (qEnvironmentVariableIsSet(name))
                m_env.insert(QString::fromLatin1(name), qEnvironmentVariable(name));
        test::writeBlocks(session, blocks);
        session.writeData(u"settings.json"_s, json::encodeStateFile(json::encode(settings)));
        startAt(fakeStart);
    }
    // Again on the same folder, as the next login would.
    void startAt(const QString& fakeStart) {
        EXPECT_TRUE(start(m_env, QStringLiteral(QUILLMERE_BINARY), u"@2024-03-04 "_s + fakeStart,
                          {}, QProcess::ForwardedChannels));
    }

    QProcessEnvironment m_env;
};

} // namespace

// Noise is played at the set volume while deep work runs and not when it is off; it stops with
// its block, and the next block carries on from its level.
TEST(FocusAidsEndToEnd, NoisePlaysAtItsVolumeStopsWithItsBlockAndCarriesOnInTheNext) {
    test::DiskAudio audio;
    test::Session loudHome;
    test::Session silentHome;
    // "Write" ends twenty seconds after the start; "Edit" begins a minute later. The chimes
    // would open a second device on the same file.
    const std::vector<WorkBlock> blocks{block(u"Write"_s, 600, 60), block(u"Edit"_s, 661, 30)};
    const Settings loud{.chimesEnabled = false, .noiseVolume = 0.5};
    const Settings off{.chimesEnabled = false, .deepWorkNoise = DeepWorkNoise::off};

    // Side by side, so the program without noise has had as long as the other has played.
    audio.use(u"loud.raw"_s);
    Program playing(loudHome, blocks, loud, u"10:59:40"_s);
    audio.use(u"off.raw"_s);
    Program silent(silentHome, blocks, off, u"10:59:40"_s);

    // The output's rate, as SDL's disk driver reports none; it plays in real time.
    constexpr double rate = 48000;
    auto samples = [&] { return audio.samples(u"loud.raw"_s); };
    auto played = [&] { return samples().size(); };
    ASSERT_TRUE(waitFor([&] { return played() >= rate / 2; }, 15000)) << "no noise was played";
    const std::size_t before = played();
    const qint64 since = playing.elapsed();
    QTest::qWait(2500);
    const double perSecond = double(played() - before) * 1000.0 / double(playing.elapsed() - since);
    EXPECT_GT(perSecond, 0.6 * rate);
    EXPECT_LT(perSecond, 1.05 * rate);

    // Mono float samples as the generator made them: finite, unclamped yet inside ±1, at a
    // level of 0.2 × volume, and with the generator's own step from one frame to the next
    // (about a fifth of the level), which channel copies or resampling would change.
    const std::vector<float> s = samples();
    ASSERT_GT(s.size(), 2000u);
    double squares = 0;
    double steps = 0;
    for (std::size_t i = 1000; i < s.size(); ++i) {
        ASSERT_TRUE(std::isfinite(s[i]) && std::abs(s[i]) < 1.0f) << "sample " << i;
        squares += double{s[i]} * s[i];
        steps += double(s[i] - s[i - 1]) * double(s[i] - s[i - 1]);
    }
    const double level = std::sqrt(squares / double(s.size() - 1000));
    EXPECT_NEAR(level, 0.2 * 0.5, 0.03);
    EXPECT_NEAR(std::sqrt(steps / double(s.size() - 1000)) / level, 0.2, 0.04);

    // The faked clock began no earlier than the program, so the block has ended by 20.1 s.
    ASSERT_TRUE(waitFor([&] { return playing.elapsed() > 22000; }, 30000));
    const std::vector<float> first = samples();
    QTest::qWait(2000);
    EXPECT_EQ(played(), first.size()) << "the output went on after the block";
    // Nor did it run on for more than a second past the end.
    EXPECT_LT(double(first.size()), rate * 21.1 + 2048);
    for (float x : audio.samples(u"off.raw"_s))
        ASSERT_EQ(x, 0.0f) << "noise played while turned off";

    // The next block opens the output anew (the disk driver starts its file again) and the
    // noise carries on from its last sample, one leaky step away.
    const auto sounding = [](float x) { return x != 0; };
    std::vector<float> second;
    const auto secondBlockPlays = [&] {
        second = samples();
        return playing.elapsed() > 80000 && second.size() < first.size() &&
               std::ranges::any_of(second, sounding);
    };
    ASSERT_TRUE(waitFor(secondBlockPlays, 100000)) << "no noise in the second block";
    // A device opens paused and may write a little silence before it plays.
    const auto sound = std::ranges::find_if(second, sounding); // there is one, as waited for
    const float gain = 3.5f * 0.5f;
    EXPECT_NEAR(*sound / gain, first.back() / gain / 1.02f, 0.02f / 1.02f + 1e-5f);
    EXPECT_TRUE(silent.running());
    EXPECT_TRUE(playing.end()) << "SIGTERM no longer ends the program once it has played";
}

// On a desktop with a real notification daemon (dunst): a banner during deep work brings the
// card until the block ends; a reminder stays up its time; do-not-disturb (dunst's pause, as
// `dunstctl` reports it) is on during deep work with the setting on, and is as the user had it
// after the block, after SIGTERM, SIGINT or SIGHUP, and after a SIGKILL once the program starts
// again. A pause the user made is theirs and stays.
TEST(FocusAidsEndToEnd, CardsAndDoNotDisturbOnADesktopWithDunst) {
    test::NotificationSession session;
    ASSERT_NO_FATAL_FAILURE(session.start());
    {
        SCOPED_TRACE("a banner during the block");
        // "Write" ends ten seconds after the program starts, one minute of it left until then.
        Program program(session, {block(u"Write"_s, 635, 25)}, Settings{}, u"10:59:50"_s);
        const QString card = u"^Stay focused"_s;
        auto banner = [&] {
            session.run(u"notify-send"_s, {u"-t"_s, u"1000"_s, u"Mail"_s, u"A new message"_s});
        };
        // Banners that come before the program watches go unseen, so they come until one is.
        bool shown = false;
        while (!shown && program.elapsed() < 8000) {
            banner();
            shown = waitFor([&] { return session.shows(u"^Stay focused .* 1 m left in Write$"_s); },
                            2500);
        }
        ASSERT_TRUE(shown) << "no card for a banner during the block";
        // The faked clock began no earlier than program.elapsed(), so at 12 s the block is over.
        ASSERT_TRUE(
            waitFor([&] { return program.elapsed() > 12000 && !session.shows(card); }, 15000));
        banner();
        EXPECT_FALSE(waitFor([&] { return session.shows(card); }, 4000)) << "card after block";
        EXPECT_TRUE(program.running());
    }
    {
        SCOPED_TRACE("a reminder through heartbeats and boundaries");
        // At 13:55 the reminder for "Write" comes with the heartbeat's minute and the end of a
        // shallow block: three reasons to refresh within the card's six seconds.
        Program program(session,
                        {block(u"Inbox"_s, 810, 25, WorkKind::shallow), block(u"Write"_s, 840, 60)},
                        Settings{}, u"13:54:57"_s);
        auto cardShown = [&] { return session.shows(u"^Deep Work in 5 m"_s); };
        ASSERT_TRUE(waitFor(cardShown, 20000)) << "no reminder";
        // Up for its six seconds, less what finding it and a slow machine may cost.
        for (const qint64 shownAt = program.elapsed(); program.elapsed() - shownAt < 4500;)
            ASSERT_TRUE(cardShown()) << "the reminder went at ms " << program.elapsed() - shownAt;
        EXPECT_TRUE(waitFor([&] { return !cardShown(); }, 10000)) << "the reminder stayed";
        EXPECT_TRUE(program.running());
    }

    session.environment().insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
    const Settings quiet{.deepWorkNoise = DeepWorkNoise::off, .silenceNotifications = true};
    auto paused = [&] { return session.run(u"dunstctl"_s, {u"is-paused"_s}); };
    auto pausedWithin = [&](const char* state, int ms) {
        return waitFor([&] { return paused() == state; }, ms);
    };
    // Each run, with or without the user's own pause, ends as named: by its block ending
    // (signal 0) or by a signal.
    using Case = std::tuple<const char*, bool, int>;
    const Case cases[] = {
        {"the block ends", false, 0},
        {"SIGTERM", false, SIGTERM},
        {"SIGKILL, then the next start", false, SIGKILL},
        {"SIGINT", false, SIGINT},
        {"SIGHUP", false, SIGHUP},
        {"SIGTERM with the user's own pause", true, SIGTERM},
    };
    for (const auto& [name, userPaused, signal] : cases) {
        SCOPED_TRACE(name);
        session.run(u"dunstctl"_s, {u"set-paused"_s, userPaused ? u"true"_s : u"false"_s});
        Program program(session, {block(u"Write"_s, 600, 60)}, quiet,
                        signal ? u"10:30:00"_s : u"10:59:30"_s);
        EXPECT_TRUE(pausedWithin("true", 20000)) << "not paused during the block";
        EXPECT_TRUE(signal ? program.end(signal)
                           : waitFor([&] { return program.elapsed() > 32000; }, 40000));
        if (signal == SIGKILL) {
            EXPECT_EQ(paused(), "true") << "nothing should have run after the kill";
            EXPECT_TRUE(QFile::exists(session.dataFile(u"do-not-disturb.json"_s)));
            program.startAt(u"11:30:00"_s);
            EXPECT_TRUE(pausedWithin("false", 20000)) << "the next start did not repair";
            EXPECT_FALSE(QFile::exists(session.dataFile(u"do-not-disturb.json"_s)));
        }
        EXPECT_TRUE(pausedWithin(userPaused ? "true" : "false", 10000));
    }
}
