#include "support/StoreHarness.h"

#include <QDeadlineTimer>
#include <QProcess>
#include <QRandomGenerator>

#include <csignal>

using namespace quillmere;
using namespace quillmere::test;
using namespace Qt::StringLiterals;

TEST(CrashSafety, KillingTheProcessMidSaveNeverLeavesAMixOrAnEmptyFile) {
    TempDataDir dir;
    QRandomGenerator random(20241122);
    // How many items each list holds after the last save known to have finished.
    std::map<QByteArray, qint64> saved{{"blocks", 0}, {"planned", 0}};
    for (int run = 0; run < 120 && !::testing::Test::HasFatalFailure(); ++run) {
        SCOPED_TRACE(run);
        QProcess process;
        process.start(QCoreApplication::applicationDirPath() + u"/save_storm"_s, {dir.path()});
        ASSERT_TRUE(process.waitForStarted(5000) && process.waitForReadyRead(10000));
        for (const QDeadlineTimer until(random.bounded(2, 60)); !until.hasExpired();)
            process.waitForReadyRead(1);
        ::kill(static_cast<pid_t>(process.processId()), SIGKILL);
        process.waitForFinished(5000);
        for (const QByteArray& line : process.readAllStandardOutput().split('\n'))
            if (const auto words = line.split(' '); words.size() == 2 && saved.contains(words[0]))
                saved[words[0]] = words[1].toLongLong();

        // Every file holds the state before the interrupted save or the one after it; the lists
        // other than blocks may not have been written yet.
        const auto blocks = json::decodeList<WorkBlock>(dir.read(u"blocks.json"_s).value_or(""));
        const auto planned =
            json::decodeList<PlannedBlock>(dir.read(u"planned.json"_s).value_or("[]"));
        const auto rules = json::decodeList<RepeatRule>(dir.read(u"rules.json"_s).value_or("[]"));
        const auto settings = json::decodeSettingsFile(dir.read(u"settings.json"_s).value_or("{}"));
        ASSERT_TRUE(blocks && planned && rules && settings) << "a file does not decode";
        ASSERT_EQ(rules->size(), dir.exists(u"rules.json"_s) ? 1u : 0u);
        for (std::size_t i = 0; i < blocks->size(); ++i)
            ASSERT_EQ((*blocks)[i].title, QString::number(i));
        for (const auto& [list, size] :
             {std::pair{"blocks", blocks->size()}, std::pair{"planned", planned->size()}}) {
            const auto n = static_cast<qint64>(size);
            ASSERT_TRUE(n == saved[list] || n == saved[list] + 1)
                << n << " " << list << ", reported " << saved[list];
            saved[list] = n; // what the next start finds
        }
    }
    // Kills must land among saves, not only during start-up (a sanitizer build saves slowly).
    EXPECT_GT(saved["blocks"], 30) << "the process hardly saved anything before each kill";
}
