#include "app/CommandLine.h"
#include "desktop/StatusReport.h"

#include "support/StoreHarness.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

using namespace quillmere;
using namespace Qt::StringLiterals;
using Verb = Command::Verb;

namespace {

QStringList words(const char* line) {
    return QString::fromUtf8(line).split(QLatin1Char('|'), Qt::SkipEmptyParts);
}

Command command(Verb verb, const char* title = "", WorkKind kind = WorkKind::deep,
                std::optional<Minutes> at = {}, std::optional<Minutes> duration = {}) {
    return {verb, false, false, QString::fromUtf8(title), kind, at, duration};
}

} // namespace

TEST(CommandLine, ParsesEveryCommandAndItsOptions) {
    const WorkKind deep = WorkKind::deep;
    const WorkKind shallow = WorkKind::shallow;
    // The arguments, separated by '|', and the command they make. (status, open, quit, plan and
    // a start without any are parsed in integration_tests' scripting scenarios.)
    for (const auto& [args, expected] : std::initializer_list<std::pair<const char*, Command>>{
             {"--help", command(Verb::help)},
             {"--version", command(Verb::version)},
             {"add|Write chapter", command(Verb::add, "Write chapter")},
             {"add|Email|--shallow|--for|30m", command(Verb::add, "Email", shallow, {}, 30)},
             {"add|--at|9:30|--for|1h30m| Email |--deep",
              command(Verb::add, "Email", deep, 570, 90)},
             {"add|Late|--at|23:00|--for|1h", command(Verb::add, "Late", deep, 1380, 60)},
         }) {
        SCOPED_TRACE(args);
        const auto parsed = parseCommandLine(words(args));
        ASSERT_TRUE(std::holds_alternative<Command>(parsed))
            << std::get<UsageError>(parsed).message.toStdString();
        EXPECT_EQ(std::get<Command>(parsed), expected);
    }
}

TEST(CommandLine, RefusesBadInputWithOneLine) {
    const char* const bad[] = {"status|--verbose",
                               "open|now",
                               "quit|--json",
                               "add",
                               "add|   ",
                               "add|Email|--for",
                               "add|Email|--for|20",
                               "add|Email|--for|0m",
                               "add|Email|--for|25h",
                               "add|Email|--for|1h30",
                               "add|Email|--at|25:00",
                               "add|Email|--at|9.30",
                               "add|Email|--at",
                               "add|Email|Extra",
                               "add|Email|--json",
                               "plan|--shallow",
                               "plan|x|--at|9:00",
                               "-platform|xcb"};
    for (const char* args : bad) {
        SCOPED_TRACE(args);
        const auto parsed = parseCommandLine(words(args));
        ASSERT_TRUE(std::holds_alternative<UsageError>(parsed));
        const QString message = std::get<UsageError>(parsed).message;
        EXPECT_FALSE(message.isEmpty());
        EXPECT_FALSE(message.contains(QLatin1Char('\n')));
    }
}

TEST(StatusReport, PicksTheRunningBlockAndWritesItForPeopleAndBars) {
    const QString day = u"2024-03-04"_s;
    const std::vector<WorkBlock> today{
        test::makeBlock(u"Email"_s, day, 540, 60, WorkKind::shallow),
        test::makeBlock(u"Write chapter"_s, day, 555, 60, WorkKind::deep),
        test::makeBlock(u"  "_s, day, 660, 30, WorkKind::shallow)};

    // 9:40: the deep block wins over the shallow one, 35 minutes of its hour are left.
    const StatusReport running = statusAt(today, 580);
    EXPECT_EQ(statusLine(running), u"Deep work: Write chapter, 35 m left"_s);
    // (Its class, and one line per report, are what integration_tests' feed reads.)
    const QJsonObject bar = QJsonDocument::fromJson(statusBarLine(running)).object();
    EXPECT_EQ(bar.value(u"percentage"_s).toInt(), 41);
    EXPECT_TRUE(bar.value(u"tooltip"_s).toString().contains(u"Next: Shallow Work at 11:00 AM"_s));

    // Between blocks, and after the last one.
    EXPECT_EQ(statusLine(statusAt(today, 630)), u"Idle, next: Shallow Work at 11:00 AM"_s);
    const StatusReport evening = statusAt(today, 1200);
    EXPECT_EQ(statusLine(evening), u"Idle"_s);
    EXPECT_TRUE(statusBarLine(evening).contains(R"("class":"idle")"))
        << statusBarLine(evening).toStdString();

    // What the bus carries comes back as the same report, and a partial change merges.
    StatusReport copy;
    applyStatusProperties(copy, statusProperties(running));
    EXPECT_EQ(copy, running);
    applyStatusProperties(copy, {{u"MinutesLeft"_s, 5}});
    EXPECT_EQ(statusLine(copy), u"Deep work: Write chapter, 5 m left"_s);
}
