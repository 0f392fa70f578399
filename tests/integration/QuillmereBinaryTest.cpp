#include "EndToEnd.h"

#include "desktop/ApplicationId.h"

#include <QFileInfo>
#include <QThread>

#include <algorithm>

#include <sys/inotify.h>
#include <unistd.h>

using namespace quillmere;
using namespace quillmere::test; // and its string literals

// Monday 2024-03-04, two seconds before 11:00 in Berlin.
const QString fakeStart = u"@2024-03-04 10:59:58"_s;

TEST(QuillmereBinary, StampsConfirmsAndStaysOne) {
    // Headless and without a bus: the single instance is the runtime folder's to keep.
    test::Session home;
    RepeatRule mondays{QUuid::createUuid(), u"Standup"_s, WorkKind::shallow, 780, 15, {2},
                       u"2024-02-26"_s};
    const WorkBlock ending = test::block(u"Deep morning"_s, 600, 60);
    home.writeData(u"rules.json"_s, json::encodeList(std::vector<RepeatRule>{mondays}));
    test::writeBlocks(home, {ending});

    test::FakeTimeProgram first;
    ASSERT_TRUE(first.start(home.environment(), QStringLiteral(QUILLMERE_BINARY), fakeStart));

    // Start-up stamps Monday's rule onto today and writes both files.
    std::vector<WorkBlock> blocks;
    std::vector<RepeatRule> rules;
    const auto stamped = [&] {
        blocks = json::decodeList<WorkBlock>(home.readData(u"blocks.json"_s)).value_or(blocks);
        rules = json::decodeList<RepeatRule>(home.readData(u"rules.json"_s)).value_or(rules);
        return blocks.size() == 2 && !rules.empty() && rules[0].lastStampedDay == today;
    };
    ASSERT_TRUE(test::waitFor(stamped, 4000)) << first.process().readAll().toStdString();
    EXPECT_EQ(std::tie(blocks[1].repeatRuleID, blocks[1].day, blocks[1].startMinutes),
              std::tuple(mondays.id, today, 780));
    EXPECT_EQ(rules.size(), 1u);

    // The block ends two seconds after start; five seconds after start it is on record.
    QThread::msleep(static_cast<unsigned long>(std::max<qint64>(0, 5000 - first.elapsed())));
    const QStringList query{home.dataFile(u"stats.sqlite"_s),
                            u"SELECT id, day, start_minutes FROM confirmed_blocks"_s};
    EXPECT_EQ(QString::fromUtf8(home.run(u"sqlite3"_s, query).out.trimmed()),
              ending.id.toString(QUuid::WithoutBraces).toUpper() + u"|"_s + today + u"|600"_s);
    ASSERT_EQ(first.process().state(), QProcess::Running);

    // The first start also asks to come back at login, as the program that is running here.
    const QByteArray entry = home.read(u"config/autostart/"_s + applicationId + u".desktop"_s);
    EXPECT_TRUE(entry.contains(
        u"\nExec=%1\n"_s.arg(QFileInfo(QStringLiteral(QUILLMERE_BINARY)).canonicalFilePath())
            .toUtf8()))
        << entry.toStdString();

    // A second start hands over to the first and leaves without touching a data file: no open,
    // read, write, creation or removal inside the folder while it is watched.
    const int watch = inotify_init1(IN_NONBLOCK);
    inotify_add_watch(watch, QFile::encodeName(home.dataFile(QString())).constData(),
                      IN_ALL_EVENTS);
    // The second start runs on the real clock: it must not get as far as reading any file.
    EXPECT_EQ(home.run(QStringLiteral(QUILLMERE_BINARY), {}).exitCode, 0);
    alignas(inotify_event) char event[4096] = {};
    EXPECT_LE(::read(watch, event, sizeof event), 0)
        << "the second start touched " << reinterpret_cast<inotify_event*>(event)->name;
    close(watch);
    EXPECT_EQ(first.process().state(), QProcess::Running);
}
