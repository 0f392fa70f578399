// The focus aids as a user meets them: the real program, started on a faked wall clock inside
// a deep block, plays its noise into SDL's disk driver, and puts up its card on a real X
// server when a real notification daemon shows a banner.

#include "model/JsonCodec.h"

#include "support/DiskAudio.h"
#include "support/NotificationSession.h"

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTest>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>

using namespace quillmere;
using namespace Qt::StringLiterals;

namespace {

// The program on a session's data folder, under a wall clock faked to start at `fakeStart` on
// Monday 2024-03-04 in Berlin.
struct Program : test::FakeTimeProgram {
    Program(const test::Session& session, const std::vector<WorkBlock>& blocks,
            const Settings& settings, const QString& fakeStart,
            QProcessEnvironment env = QProcessEnvironment())
        : m_session(session), m_env(env.isEmpty() ? session.environment() : env) {
        session.writeData(QStringLiteral("blocks.json"), json::encodeList(blocks));
        session.writeData(QStringLiteral("settings.json"),
                          json::encodeStateFile(json::encode(settings)));
        startAt(fakeStart);
    }
    // Again on the same folder, as the next login would.
    void startAt(const QString& fakeStart) {
        EXPECT_TRUE(start(m_env, QStringLiteral(QUILLMERE_BINARY),
                          QStringLiteral("@2024-03-04 ") + fakeStart, {},
                          QProcess::ForwardedChannels));
    }
    bool recorded() const {
        return QFile::exists(m_session.dataFile(QStringLiteral("do-not-disturb.json")));
    }

    const test::Session& m_session;
    QProcessEnvironment m_env;
};

// A headless session's environment with SDL's disk driver as DiskAudio set it here.
QProcessEnvironment withDiskAudio(const test::Session& session) {
    QProcessEnvironment env = session.environment();
    for (const char* name : {"SDL_AUDIODRIVER", "SDL_DISKAUDIOFILE"})
        env.insert(QString::fromLatin1(name), qEnvironmentVariable(name));
    return env;
}

WorkBlock deepBlock(const QString& title, Minutes start, Minutes duration) {
    return {QUuid::createUuid(),
            title,
            QStringLiteral("2024-03-04"),
            start,
            duration,
            WorkKind::deep,
            {},
            {}};
}

bool waitFor(const std::function<bool()>& condition, int timeoutMs) {
    return QTest::qWaitFor(condition, timeoutMs);
}

} // namespace

TEST(FocusAidsEndToEnd, NoiseIsPlayedAtTheSetVolumeAndNotWhenOff) {
    test::DiskAudio audio;
    test::Session loudHome;
    test::Session silentHome;
    // Half an hour into the block: far from both of its chimes, which would share the output.
    const std::vector<WorkBlock> blocks{deepBlock(QStringLiteral("Write"), 600, 60)};
    Settings loud;
    loud.noiseVolume = 0.5;
    Settings off;
    off.deepWorkNoise = DeepWorkNoise::off;

    // Side by side, so the program without noise has had as long as the other has played.
    audio.use(QStringLiteral("loud.raw"));
    Program playing(loudHome, blocks, loud, QStringLiteral("10:30:00"), withDiskAudio(loudHome));
    audio.use(QStringLiteral("off.raw"));
    Program silent(silentHome, blocks, off, QStringLiteral("10:30:00"), withDiskAudio(silentHome));

    // The output's rate, as SDL's disk driver reports none; it plays in real time.
    constexpr double rate = 48000;
    auto played = [&] { return audio.samples(QStringLiteral("loud.raw")).size(); };
    ASSERT_TRUE(waitFor([&] { return played() >= rate / 2; }, 20000)) << "no noise was played";
    const std::size_t before = played();
    QElapsedTimer span;
    span.start();
    QTest::qWait(2500);
    const double perSecond = double(played() - before) * 1000.0 / double(span.elapsed());
    EXPECT_GT(perSecond, 0.6 * rate);
    EXPECT_LT(perSecond, 1.05 * rate);

    // Mono float samples as the generator made them: finite, unclamped yet inside ±1, at a
    // level of 0.2 × volume, and with the generator's own step from one frame to the next
    // (about a fifth of the level), which channel copies or resampling would change.
    const std::vector<float> s = audio.samples(QStringLiteral("loud.raw"));
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

    for (float x : audio.samples(QStringLiteral("off.raw")))
        ASSERT_EQ(x, 0.0f) << "noise played while turned off";
    EXPECT_TRUE(silent.running());
    EXPECT_TRUE(playing.terminate()) << "SIGTERM no longer ends the program once it has played";
}

TEST(FocusAidsEndToEnd, BannerBringsTheCardUntilTheBlockEnds) {
    test::NotificationSession session;
    ASSERT_NO_FATAL_FAILURE(session.start());
    // "Write" ends ten seconds after the program starts, one minute of it left until then.
    Program program(session, {deepBlock(QStringLiteral("Write"), 635, 25)}, Settings{},
                    QStringLiteral("10:59:50"));
    auto cardShown = [&](const QString& name) { return session.shows(name); };
    const QString card = QStringLiteral("^Stay focused .* 1 m left in Write$");
    auto banner = [&] {
        session.run(QStringLiteral("notify-send"),
                    {QStringLiteral("-t"), QStringLiteral("1000"), QStringLiteral("Mail"),
                     QStringLiteral("A new message")});
    };

    // Banners that come before the program watches go unseen, so they come until one is seen.
    bool shown = false;
    while (!shown && program.elapsed() < 8000) {
        banner();
        shown = waitFor([&] { return cardShown(card); }, 2500);
    }
    ASSERT_TRUE(shown) << "no card for a banner during the block";

    // The faked clock began no earlier than program.elapsed(), so at 12 s the block is over.
    const QString anyCard = QStringLiteral("^Stay focused");
    ASSERT_TRUE(waitFor([&] { return program.elapsed() > 12000 && !cardShown(anyCard); }, 15000));
    banner();
    EXPECT_FALSE(waitFor([&] { return cardShown(anyCard); }, 4000)) << "a card after the block";
    EXPECT_TRUE(program.running());
}

TEST(FocusAidsEndToEnd, NoiseStopsWithItsBlockAndTheNextCarriesOnFromItsLevel) {
    test::DiskAudio audio;
    test::Session home;
    // The chimes would open a second device on the same file.
    Settings settings;
    settings.noiseVolume = 0.5;
    settings.chimesEnabled = false;
    // "Write" ends four seconds after the start; "Edit" begins a minute later.
    Program program(
        home,
        {deepBlock(QStringLiteral("Write"), 600, 60), deepBlock(QStringLiteral("Edit"), 661, 30)},
        settings, QStringLiteral("10:59:56"), withDiskAudio(home));
    constexpr double rate = 48000;
    auto played = [&] { return audio.samples().size(); };
    ASSERT_TRUE(waitFor([&] { return played() > 0; }, 20000)) << "no noise was played";

    // The faked clock began no earlier than the program, so the block has ended by 4.1 s.
    ASSERT_TRUE(waitFor([&] { return program.elapsed() > 6000; }, 20000));
    const std::vector<float> first = audio.samples();
    QTest::qWait(2000);
    EXPECT_EQ(played(), first.size()) << "the output went on after the block";
    // Nor did it run on for more than a second past the end.
    EXPECT_LT(double(first.size()), rate * 5.1 + 2048);

    // The next block opens the output anew (the disk driver starts its file again) and the
    // noise carries on from its last sample, one leaky step away.
    ASSERT_TRUE(waitFor(
        [&] {
            const std::vector<float> now = audio.samples();
            return program.elapsed() > 64000 && now.size() < first.size() &&
                   std::any_of(now.begin(), now.end(), [](float x) { return x != 0; });
        },
        90000))
        << "no noise in the second block";
    // A device opens paused and may write a little silence before it plays.
    const std::vector<float> second = audio.samples();
    const auto sound = std::find_if(second.begin(), second.end(), [](float x) { return x != 0; });
    ASSERT_NE(sound, second.end());
    const float gain = 3.5f * 0.5f;
    EXPECT_NEAR(*sound / gain, first.back() / gain / 1.02f, 0.02f / 1.02f + 1e-5f);
    EXPECT_TRUE(program.running());
}

TEST(FocusAidsEndToEnd, AReminderStaysUpItsTimeThroughHeartbeatsAndBoundaries) {
    test::NotificationSession session;
    ASSERT_NO_FATAL_FAILURE(session.start(false));
    // At 13:55 the reminder for "Write" comes with the heartbeat's minute and the end of a
    // shallow block: three reasons to refresh within the card's six seconds.
    WorkBlock inbox = deepBlock(QStringLiteral("Inbox"), 810, 25);
    inbox.kind = WorkKind::shallow;
    Program program(session, {inbox, deepBlock(QStringLiteral("Write"), 840, 60)}, Settings{},
                    QStringLiteral("13:54:57"));
    auto cardShown = [&] { return session.shows(QStringLiteral("^Deep Work in 5 m")); };

    ASSERT_TRUE(waitFor(cardShown, 20000)) << "no reminder";
    QElapsedTimer up;
    up.start();
    // Up for its six seconds, less what finding it and a slow machine may cost.
    while (up.elapsed() < 4500)
        ASSERT_TRUE(cardShown()) << "the reminder went after " << up.elapsed() << " ms";
    EXPECT_TRUE(waitFor([&] { return !cardShown(); }, 10000)) << "the reminder stayed";
    EXPECT_TRUE(program.running());
}

// The desktop's do-not-disturb (here dunst's pause, as `dunstctl` reports it) is on during deep
// work with the setting on, and is as the user had it after the block, after SIGTERM, SIGINT or
// SIGHUP, and after a SIGKILL once the program starts again. A pause the user made is theirs and
// stays.
TEST(FocusAidsEndToEnd, DunstIsPausedDuringDeepWorkAndPutBackAfterEveryKindOfExit) {
    test::NotificationSession session;
    ASSERT_NO_FATAL_FAILURE(session.start());
    QProcessEnvironment env = session.environment();
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    Settings quiet;
    quiet.silenceNotifications = true;
    quiet.deepWorkNoise = DeepWorkNoise::off;
    auto paused = [&] { return session.run(QStringLiteral("dunstctl"), {u"is-paused"_s}); };
    auto userPauses = [&](bool on) {
        session.run(QStringLiteral("dunstctl"), {u"set-paused"_s, on ? u"true"_s : u"false"_s});
    };
    auto pausedWithin = [&](const char* state, int ms) {
        return waitFor([&] { return paused() == state; }, ms);
    };

    struct Case {
        const char* name;
        bool userPaused;
        QString start;
        std::function<void(Program&)> end;
    };
    const std::vector<Case> cases{
        {"the block ends", false, u"10:59:30"_s,
         [&](Program& p) { EXPECT_TRUE(waitFor([&] { return p.elapsed() > 32000; }, 40000)); }},
        {"SIGTERM", false, u"10:30:00"_s, [](Program& p) { EXPECT_TRUE(p.terminate()); }},
        {"SIGKILL, then the next start", false, u"10:30:00"_s,
         [&](Program& p) {
             EXPECT_TRUE(p.end(SIGKILL));
             EXPECT_EQ(paused(), "true") << "nothing should have run after the kill";
             EXPECT_TRUE(p.recorded());
             p.startAt(u"11:30:00"_s);
             EXPECT_TRUE(pausedWithin("false", 20000)) << "the next start did not repair";
             EXPECT_FALSE(p.recorded());
         }},
        {"SIGINT", false, u"10:30:00"_s, [](Program& p) { EXPECT_TRUE(p.end(SIGINT)); }},
        {"SIGHUP", false, u"10:30:00"_s, [](Program& p) { EXPECT_TRUE(p.end(SIGHUP)); }},
        {"SIGTERM with the user's own pause", true, u"10:30:00"_s,
         [](Program& p) { EXPECT_TRUE(p.terminate()); }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        userPauses(c.userPaused);
        Program program(session, {deepBlock(QStringLiteral("Write"), 600, 60)}, quiet, c.start,
                        env);
        EXPECT_TRUE(pausedWithin("true", 20000)) << "not paused during the block";
        c.end(program);
        EXPECT_TRUE(pausedWithin(c.userPaused ? "true" : "false", 10000));
    }
}
