#include "EndToEnd.h"

#include "desktop/BusNames.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDate>
#include <QJsonDocument>
#include <QJsonObject>

using namespace quillmere;
using namespace quillmere::test; // and its string literals

namespace {

const QString binary = QStringLiteral(QUILLMERE_BINARY);
// Monday 2024-03-04 in Berlin, a few seconds before nine.
const QString fakeStart = u"@2024-03-04 08:59:40"_s;

// The real program and its command line on a private session bus, with data, config and
// runtime folders of their own.
class Scripting : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_NO_FATAL_FAILURE(m_session.start(false));
        m_session.environment().insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
        m_bus = QDBusConnection::connectToBus(QString::fromLatin1(m_session.address()),
                                              u"scripting-test"_s);
        ASSERT_TRUE(m_bus.isConnected());
    }
    void TearDown() override { QDBusConnection::disconnectFromBus(u"scripting-test"_s); }

    test::Session::Outcome run(const QStringList& args) const {
        return m_session.Session::run(binary, args);
    }

    test::NotificationSession m_session;
    QDBusConnection m_bus{u"none"_s};
};

} // namespace

TEST_F(Scripting, BadInputChangesNothingAndNoProgramIsSaidPlainly) {
    // Commands run on the real clock: a shallow block fills yesterday, today and tomorrow.
    std::vector<WorkBlock> allDay;
    for (int day = -1; day <= 1; ++day)
        allDay.push_back(block(u"Email"_s, 0, 1440, WorkKind::shallow,
                               QDate::currentDate().addDays(day).toString(Qt::ISODate)));
    test::writeBlocks(m_session, allDay);
    const QByteArray before = m_session.readData(u"blocks.json"_s);

    // Every usage error is the parser's (app_tests' CommandLine cases); the binary turns one
    // into exit code 2 and one line, before anything else.
    for (const QStringList& args : std::vector<QStringList>{
             {u"bogus"_s}, {u"add"_s, u"x"_s, u"--at"_s, u"23:30"_s, u"--for"_s, u"1h"_s}}) {
        SCOPED_TRACE(args.join(u' ').toStdString());
        const auto o = run(args);
        EXPECT_EQ(std::tuple(o.exitCode, o.err.count('\n'), o.out), std::tuple(2, 1, QByteArray()))
            << o.err.toStdString();
    }

    // Without the program, changes are refused and status reads the files without writing.
    for (const QStringList& args : std::vector<QStringList>{
             {u"open"_s}, {u"quit"_s}, {u"add"_s, u"Email"_s}, {u"plan"_s, u"Email"_s}}) {
        const auto o = run(args);
        EXPECT_EQ(o.exitCode, 1) << args.join(u' ').toStdString();
        EXPECT_TRUE(o.err.contains("not running")) << o.err.toStdString();
    }
    const auto status = run({u"status"_s});
    EXPECT_EQ(status.exitCode, 1);
    EXPECT_TRUE(status.out.startsWith("Shallow work: Email, ")) << status.out.toStdString();
    EXPECT_TRUE(status.err.contains("not running"));
    EXPECT_EQ(m_session.readData(u"blocks.json"_s), before);
    EXPECT_FALSE(QFile::exists(m_session.dataFile(u"planned.json"_s)));
}

TEST_F(Scripting, OfTwoStartsOneStaysThatCommandsReachAndTheFeedFollowsTheClock) {
    // A shallow block runs until nine.
    test::writeBlocks(m_session, {block(u"Email"_s, 525, 15, WorkKind::shallow)});
    // Two starts at once: one hands over and leaves, the other stays and is the one on the bus.
    test::FakeTimeProgram starts[2];
    for (test::FakeTimeProgram& start : starts)
        ASSERT_TRUE(start.start(m_session.environment(), binary, fakeStart));
    ASSERT_TRUE(test::waitFor( // generous: a loaded machine starts slowly
        [&] { return m_bus.interface()->isServiceRegistered(bus::serviceName()).value(); }, 30000))
        << starts[0].process().readAll().toStdString();
    ASSERT_TRUE(test::waitFor([&] { return !starts[0].running() || !starts[1].running(); }, 10000));
    test::FakeTimeProgram& program = starts[0].running() ? starts[0] : starts[1];
    const QProcess& gone = (starts[0].running() ? starts[1] : starts[0]).process();
    EXPECT_EQ(std::tuple(gone.exitStatus(), gone.exitCode()), std::tuple(QProcess::NormalExit, 0));
    ASSERT_TRUE(program.running());
    EXPECT_EQ(m_bus.interface()->servicePid(bus::serviceName()).value(),
              static_cast<uint>(program.pid()));

    // The interface as a script finds it.
    const QDBusMessage introspection = m_bus.call(
        QDBusMessage::createMethodCall(bus::serviceName(), bus::objectPath(),
                                       u"org.freedesktop.DBus.Introspectable"_s, u"Introspect"_s));
    const QString xml = introspection.arguments().value(0).toString();
    for (const char* part :
         {"<method name=\"AddBlock\">", "<method name=\"AddBacklogItem\">",
          "<method name=\"OpenPanel\"", "<method name=\"ClosePanel\"", "<method name=\"Quit\"",
          "<property name=\"CurrentKind\" type=\"s\" access=\"read\"/>",
          "<property name=\"MinutesLeft\" type=\"i\" access=\"read\"/>",
          "<property name=\"NextStart\" type=\"i\" access=\"read\"/>"})
        EXPECT_TRUE(xml.contains(QString::fromLatin1(part))) << part << '\n' << xml.toStdString();

    // The feed a bar reads, on the same faked clock.
    test::FakeTimeProgram feed;
    ASSERT_TRUE(feed.start(m_session.environment(), binary, fakeStart,
                           {u"status"_s, u"--json"_s, u"--follow"_s}, QProcess::SeparateChannels));
    QProcess& follow = feed.process();
    std::vector<QJsonObject> lines;
    const auto readLines = [&](int timeoutMs, auto done) {
        const auto caughtUp = [&] {
            follow.waitForReadyRead(200);
            while (follow.canReadLine())
                lines.push_back(QJsonDocument::fromJson(follow.readLine()).object());
            return done();
        };
        return test::waitFor(caughtUp, timeoutMs);
    };
    const auto classNow = [&] {
        return lines.empty() ? QString() : lines.back().value(u"class"_s).toString();
    };
    ASSERT_TRUE(readLines(5000, [&] { return !lines.empty(); }));
    EXPECT_EQ(classNow(), u"shallow"_s);
    EXPECT_EQ(lines.back().value(u"text"_s).toString(), u"Email · 1 m left"_s);

    // A key binding adds work: the block lands in the file and a taken time is refused.
    m_session.run(binary,
                  {u"add"_s, u"Write chapter"_s, u"--at"_s, u"9:00"_s, u"--for"_s, u"45m"_s});
    const auto taken = run({u"add"_s, u"Clash"_s, u"--at"_s, u"9:30"_s});
    EXPECT_EQ(std::pair(taken.exitCode, taken.err.contains("overlaps")), std::pair(2, true))
        << taken.err.toStdString();
    m_session.run(binary, {u"plan"_s, u" Read paper "_s, u"--shallow"_s});
    const auto now = json::decodeList<WorkBlock>(m_session.readData(u"blocks.json"_s));
    ASSERT_TRUE(now && now->size() == 2u);
    WorkBlock added = block(u"Write chapter"_s, 540, 45);
    added.id = (*now)[1].id;
    added.createdAt = (*now)[1].createdAt;
    EXPECT_EQ((*now)[1], added);
    const auto planned = json::decodeList<PlannedBlock>(m_session.readData(u"planned.json"_s));
    ASSERT_TRUE(planned && planned->size() == 1);
    EXPECT_EQ(std::tuple(planned->front().title, planned->front().kind),
              std::tuple(u"Read paper"_s, WorkKind::shallow));

    // Nine o'clock: the shallow block ends and the deep one starts, and the feed says so.
    ASSERT_TRUE(readLines(30000, [&] { return classNow() == u"deep"_s; }))
        << "lines seen: " << lines.size();
    EXPECT_EQ(lines.back().value(u"percentage"_s).toInt(), 0);
    EXPECT_EQ(run({u"status"_s}).out.trimmed(), QByteArray("Deep work: Write chapter, 45 m left"));

    // open hands the panel over; quit ends the program, and the feed goes on without it.
    EXPECT_EQ(run({u"open"_s}).exitCode, 0);
    EXPECT_EQ(run({u"quit"_s}).exitCode, 0);
    EXPECT_TRUE(program.process().waitForFinished(5000));
    EXPECT_EQ(program.process().exitCode(), 0);
    EXPECT_EQ(follow.state(), QProcess::Running);
}
