#include "support/StoreHarness.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QRandomGenerator>

#include <csignal>

using namespace quillmere;
using namespace quillmere::test;
using namespace Qt::StringLiterals;

namespace {

// What the killed process last reported as saved, per file.
struct Reported {
    qint64 blocks = 0;
    qint64 planned = 0;
};

// Every file must hold the state before the interrupted save or the one after it.
void checkFiles(const TempDataDir& dir, const Reported& r) {
    const auto blocks = json::decodeList<WorkBlock>(dir.read(u"blocks.json"_s).value_or(""));
    ASSERT_TRUE(blocks) << "blocks.json does not decode";
    const auto n = static_cast<qint64>(blocks->size());
    ASSERT_TRUE(n == r.blocks || n == r.blocks + 1) << n << " blocks, reported " << r.blocks;
    for (qint64 i = 0; i < n; ++i)
        ASSERT_EQ((*blocks)[static_cast<std::size_t>(i)].title, QString::number(i));

    // The other files may not have been written yet.
    const auto planned = json::decodeList<PlannedBlock>(dir.read(u"planned.json"_s).value_or("[]"));
    ASSERT_TRUE(planned) << "planned.json does not decode";
    const auto p = static_cast<qint64>(planned->size());
    ASSERT_TRUE(p == r.planned || p == r.planned + 1) << p << " planned, reported " << r.planned;
    if (const auto rules = dir.read(u"rules.json"_s)) {
        ASSERT_EQ(json::decodeList<RepeatRule>(*rules).value_or(std::vector<RepeatRule>{}).size(),
                  1u);
    }
    if (const auto settings = dir.read(u"settings.json"_s)) {
        ASSERT_TRUE(json::decodeSettingsFile(*settings)) << "settings.json does not decode";
    }
}

} // namespace

TEST(CrashSafety, KillingTheProcessMidSaveNeverLeavesAMixOrAnEmptyFile) {
    TempDataDir dir;
    const QString storm = QCoreApplication::applicationDirPath() + QStringLiteral("/save_storm");
    QRandomGenerator random(20241122);
    Reported reported;
    constexpr int kills = 120;
    for (int run = 0; run < kills; ++run) {
        QProcess process;
        process.start(storm, {dir.path()});
        ASSERT_TRUE(process.waitForStarted(5000));
        ASSERT_TRUE(process.waitForReadyRead(10000));
        const int delayMs = static_cast<int>(random.bounded(2, 60));
        QElapsedTimer timer;
        timer.start();
        while (timer.elapsed() < delayMs)
            process.waitForReadyRead(1);
        ::kill(static_cast<pid_t>(process.processId()), SIGKILL);
        process.waitForFinished(5000);
        // The last complete line of each kind is the last save known to have finished.
        for (const QByteArray& line : process.readAllStandardOutput().split('\n')) {
            const QList<QByteArray> words = line.split(' ');
            if (words.size() != 2)
                continue;
            const qint64 value = words[1].toLongLong();
            if (words[0] == "blocks")
                reported.blocks = value;
            else if (words[0] == "planned")
                reported.planned = value;
        }
        SCOPED_TRACE(run);
        checkFiles(dir, reported);
        if (HasFatalFailure())
            return;
        // The restarted program must find everything the killed one saved.
        reported.blocks = static_cast<qint64>(
            json::decodeList<WorkBlock>(dir.read(QStringLiteral("blocks.json")).value_or("[]"))
                ->size());
        reported.planned = static_cast<qint64>(
            json::decodeList<PlannedBlock>(dir.read(QStringLiteral("planned.json")).value_or("[]"))
                ->size());
    }
    // Kills must land among saves, not only during start-up (a sanitizer build saves slowly).
    EXPECT_GT(reported.blocks, 30) << "the process hardly saved anything before each kill";
    std::printf("[ crash  ] %d kills survived, %lld blocks saved in all\n", kills,
                static_cast<long long>(reported.blocks));
}
