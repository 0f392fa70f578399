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

Command command(Verb verb, const char* title = "", WorkKind kind = WorkKind::deep,
                std::optional<Minutes> at = {}, std::optional<Minutes> duration = {}) {
    return {verb, false, false, QString::fromUtf8(title), kind, at, duration};
}

} // namespace

TEST(CommandLine, ParsesEveryCommandAndItsOptions) {
    using enum WorkKind;
    // The arguments, separated by '|', and the command they make. (status, open, quit, plan and
    // a start without any are parsed in integration_tests' scripting scenarios.)
    for (const auto& [args, expected] : std::initializer_list<std::pair<const char*, Command>>{
             {"--help", command(Verb::help)},
             {"--version", command(Verb::version)},
             {"add|Write chapter", command(Verb::add, "Write chapter")},
             {"add|Email|--shallow|--for|30m", command(Verb::add, "Email", shallow, {}, 30)},
             {"add|--at|9:30|--for|1h30m| Email |--deep",
              command(Verb::add, "Email", deep, 570, 90)},
             {"add|Late|--at|23:00|--for|1h", command(Verb::add, "Late", deep, 1380, 60)}}) {
        SCOPED_TRACE(args);
        const auto parsed =
            parseCommandLine(QString::fromUtf8(args).split(u'|', Qt::SkipEmptyParts));
        ASSERT_TRUE(std::holds_alternative<Command>(parsed))
            << std::get<UsageError>(parsed).message.toStdString();
        EXPECT_EQ(std::get<Command>(parsed), expected);
    }
}

TEST(CommandLine, RefusesBadInputWithOneLine) {
    // The cases are separated by ';', a case's arguments by '|': options a command does not
    // take, titles missing or blank, lengths and times that do not parse or fit a day.
    const QStringList bad =
        u"status|--verbose;open|now;quit|--json;add|Email|--json;plan|--shallow;plan|x|--at|9:00;"
        "add|Email|Extra;-platform|xcb;add;add|   ;add|Email|--for;add|Email|--for|20;"
        "add|Email|--for|0m;add|Email|--for|25h;add|Email|--for|1h30;add|Email|--at|25:00;"
        "add|Email|--at|9.30;add|Email|--at"_s.split(u';');
    for (const QString& args : bad) {
        SCOPED_TRACE(args.toStdString());
        const auto parsed = parseCommandLine(args.split(u'|', Qt::SkipEmptyParts));
        ASSERT_TRUE(std::holds_alternative<UsageError>(parsed));
        const QString message = std::get<UsageError>(parsed).message;
        EXPECT_TRUE(!message.isEmpty() && !message.contains(u'\n')) << message.toStdString();
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
    EXPECT_EQ(statusBarLine(running),
              R"({"class":"deep","percentage":41,"text":"Write chapter · 35 m left","tooltip":)"
              R"("Deep work: Write chapter, 9:15 AM – 10:15 AM\nNext: Shallow Work at 11:00 AM"})");

    // Between blocks, and after the last one.
    EXPECT_EQ(statusLine(statusAt(today, 630)), u"Idle, next: Shallow Work at 11:00 AM"_s);
    const StatusReport evening = statusAt(today, 1200);
    EXPECT_EQ(statusLine(evening), u"Idle"_s);
    EXPECT_EQ(statusBarLine(evening),
              R"({"class":"idle","percentage":0,"text":"Idle","tooltip":"Idle"})");

    // What the bus carries comes back as the same report, and a partial change merges.
    StatusReport copy;
    applyStatusProperties(copy, statusProperties(running));
    EXPECT_EQ(copy, running);
    applyStatusProperties(copy, {{u"MinutesLeft"_s, 5}});
    EXPECT_EQ(statusLine(copy), u"Deep work: Write chapter, 5 m left"_s);
}
