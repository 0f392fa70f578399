#include "desktop/BusNames.h"
#include "model/JsonCodec.h"

#include "support/NotificationSession.h"
#include "support/Printers.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDate>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

#include <gtest/gtest.h>

using namespace quillmere;
using namespace Qt::StringLiterals;

namespace {

const QString binary = QStringLiteral(QUILLMERE_BINARY);
// Monday 2024-03-04 in Berlin, a few seconds before nine.
const QString fakeStart = u"@2024-03-04 08:59:40"_s;
const QString today = u"2024-03-04"_s;

using Outcome = test::Session::Outcome;

// The real program and its command line on a private session bus, with data, config and
// runtime folders of their own.
class Scripting : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_NO_FATAL_FAILURE(m_session.start(false));
        m_session.environment().insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
        m_bus = std::make_unique<QDBusConnection>(QDBusConnection::connectToBus(
            QString::fromLatin1(m_session.address()), u"scripting-test"_s));
        ASSERT_TRUE(m_bus->isConnected());
    }
    void TearDown() override {
        m_bus.reset();
        QDBusConnection::disconnectFromBus(u"scripting-test"_s);
    }

    Outcome run(const QStringList& args) const { return m_session.Session::run(binary, args); }
    bool serviceUp() const { // generous: a loaded machine starts slowly
        return QTest::qWaitFor(
            [&] { return m_bus->interface()->isServiceRegistered(bus::serviceName()).value(); },
            30000);
    }
    QByteArray file(const QString& name) const { return m_session.readData(name); }
    std::vector<WorkBlock> blocks() const {
        return json::decodeList<WorkBlock>(file(u"blocks.json"_s))
            .value_or(std::vector<WorkBlock>{});
    }

    test::NotificationSession m_session;
    std::unique_ptr<QDBusConnection> m_bus;
};

} // namespace

TEST_F(Scripting, BadInputChangesNothingAndNoProgramIsSaidPlainly) {
    // Commands run on the real clock: a shallow block fills yesterday, today and tomorrow.
    std::vector<WorkBlock> allDay;
    for (int day = -1; day <= 1; ++day)
        allDay.push_back({QUuid::createUuid(),
                          u"Email"_s,
                          QDate::currentDate().addDays(day).toString(Qt::ISODate),
                          0,
                          1440,
                          WorkKind::shallow,
                          {},
                          {}});
    m_session.writeData(u"blocks.json"_s, json::encodeList(allDay));
    const QByteArray before = file(u"blocks.json"_s);

    // Every usage error is the parser's (app_tests' CommandLine cases); the binary turns one
    // into exit code 2 and one line, before anything else.
    for (const QStringList& args : std::vector<QStringList>{
             {u"bogus"_s}, {u"add"_s, u"x"_s, u"--at"_s, u"23:30"_s, u"--for"_s, u"1h"_s}}) {
        SCOPED_TRACE(args.join(u' ').toStdString());
        const Outcome o = run(args);
        EXPECT_EQ(o.exitCode, 2);
        EXPECT_EQ(o.err.count('\n'), 1) << o.err.toStdString();
        EXPECT_TRUE(o.out.isEmpty());
    }

    // Without the program, changes are refused and status reads the files without writing.
    for (const QStringList& args : std::vector<QStringList>{
             {u"open"_s}, {u"quit"_s}, {u"add"_s, u"Email"_s}, {u"plan"_s, u"Email"_s}}) {
        const Outcome o = run(args);
        EXPECT_EQ(o.exitCode, 1) << args.join(u' ').toStdString();
        EXPECT_TRUE(o.err.contains("not running")) << o.err.toStdString();
    }
    const Outcome status = run({u"status"_s});
    EXPECT_EQ(status.exitCode, 1);
    EXPECT_TRUE(status.out.startsWith("Shallow work: Email, ")) << status.out.toStdString();
    EXPECT_TRUE(status.err.contains("not running"));
    EXPECT_EQ(file(u"blocks.json"_s), before);
    EXPECT_FALSE(QFile::exists(m_session.dataFile(u"planned.json"_s)));
}

TEST_F(Scripting, CommandsReachTheProgramAndTheFeedFollowsTheClock) {
    // A shallow block runs until nine.
    const WorkBlock email{QUuid::createUuid(), u"Email"_s, today, 525, 15,
                          WorkKind::shallow,   {},         {}};
    m_session.writeData(u"blocks.json"_s, json::encodeList(std::vector<WorkBlock>{email}));
    test::FakeTimeProgram program;
    ASSERT_TRUE(program.start(m_session.environment(), binary, fakeStart));
    ASSERT_TRUE(serviceUp()) << program.process().readAll().toStdString();

    // The interface as a script finds it.
    const QDBusMessage introspection = m_bus->call(
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
        QElapsedTimer clock;
        clock.start();
        while (!done() && clock.elapsed() < timeoutMs) {
            follow.waitForReadyRead(200);
            while (follow.canReadLine())
                lines.push_back(QJsonDocument::fromJson(follow.readLine()).object());
        }
        return done();
    };
    const auto classNow = [&] {
        return lines.empty() ? QString() : lines.back().value(u"class"_s).toString();
    };
    ASSERT_TRUE(readLines(5000, [&] { return !lines.empty(); }));
    EXPECT_EQ(classNow(), u"shallow"_s);
    EXPECT_EQ(lines.back().value(u"text"_s).toString(), u"Email · 1 m left"_s);

    // A key binding adds work: the block lands in the file and a taken time is refused.
    EXPECT_EQ(
        run({u"add"_s, u"Write chapter"_s, u"--at"_s, u"9:00"_s, u"--for"_s, u"45m"_s}).exitCode,
        0);
    const Outcome taken = run({u"add"_s, u"Clash"_s, u"--at"_s, u"9:30"_s});
    EXPECT_EQ(taken.exitCode, 2);
    EXPECT_TRUE(taken.err.contains("overlaps")) << taken.err.toStdString();
    EXPECT_EQ(run({u"plan"_s, u" Read paper "_s, u"--shallow"_s}).exitCode, 0);
    std::vector<WorkBlock> now = blocks();
    ASSERT_EQ(now.size(), 2u);
    EXPECT_EQ(now[1].title, u"Write chapter"_s);
    EXPECT_EQ(now[1].kind, WorkKind::deep);
    EXPECT_EQ(now[1].startMinutes, 540);
    EXPECT_EQ(now[1].durationMinutes, 45);
    EXPECT_EQ(now[1].day, today);
    const auto planned = json::decodeList<PlannedBlock>(file(u"planned.json"_s));
    ASSERT_TRUE(planned && planned->size() == 1);
    EXPECT_EQ(planned->front().title, u"Read paper"_s);
    EXPECT_EQ(planned->front().kind, WorkKind::shallow);

    // Nine o'clock: the shallow block ends and the deep one starts, and the feed says so.
    ASSERT_TRUE(readLines(30000, [&] { return classNow() == u"deep"_s; }))
        << "lines seen: " << lines.size();
    EXPECT_EQ(lines.back().value(u"percentage"_s).toInt(), 0);
    const Outcome status = run({u"status"_s});
    EXPECT_EQ(status.out.trimmed(), QByteArray("Deep work: Write chapter, 45 m left"));

    // open hands the panel over; quit ends the program, and the feed goes on without it.
    EXPECT_EQ(run({u"open"_s}).exitCode, 0);
    EXPECT_EQ(run({u"quit"_s}).exitCode, 0);
    EXPECT_TRUE(program.process().waitForFinished(5000));
    EXPECT_EQ(program.process().exitCode(), 0);
    EXPECT_EQ(follow.state(), QProcess::Running);
}

TEST_F(Scripting, TwoStartsAtOnceLeaveOneProgram) {
    QProcess first;
    QProcess second;
    for (QProcess* p : {&first, &second}) {
        p->setProcessEnvironment(m_session.environment());
        p->start(binary, {});
    }
    ASSERT_TRUE(first.waitForStarted(5000) && second.waitForStarted(5000));
    ASSERT_TRUE(serviceUp());
    // One of them hands over and leaves; the other stays and is the one on the bus.
    QElapsedTimer clock;
    clock.start();
    while (first.state() == QProcess::Running && second.state() == QProcess::Running &&
           clock.elapsed() < 10000)
        if (!first.waitForFinished(50))
            second.waitForFinished(50);
    QProcess& gone = first.state() == QProcess::Running ? second : first;
    QProcess& stays = first.state() == QProcess::Running ? first : second;
    EXPECT_EQ(gone.state(), QProcess::NotRunning);
    EXPECT_EQ(gone.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(gone.exitCode(), 0);
    ASSERT_EQ(stays.state(), QProcess::Running);
    EXPECT_EQ(m_bus->interface()->servicePid(bus::serviceName()).value(),
              static_cast<uint>(stays.processId()));
    EXPECT_EQ(run({u"quit"_s}).exitCode, 0);
    EXPECT_TRUE(stays.waitForFinished(5000));
}
