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

namespace {

const QString binary = QStringLiteral(QUILLMERE_BINARY);
// Monday 2024-03-04 in Berlin, a few seconds before nine.
const QString fakeStart = QStringLiteral("@2024-03-04 08:59:40");
const QString today = QStringLiteral("2024-03-04");

using Outcome = test::Session::Outcome;

// The real program and its command line on a private session bus, with data, config and
// runtime folders of their own.
class Scripting : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_NO_FATAL_FAILURE(m_session.start(false));
        m_session.environment().insert(QStringLiteral("QT_QPA_PLATFORM"),
                                       QStringLiteral("offscreen"));
        m_bus = std::make_unique<QDBusConnection>(QDBusConnection::connectToBus(
            QString::fromLatin1(m_session.address()), QStringLiteral("scripting-test")));
        ASSERT_TRUE(m_bus->isConnected());
    }
    void TearDown() override {
        m_bus.reset();
        QDBusConnection::disconnectFromBus(QStringLiteral("scripting-test"));
    }

    Outcome run(const QStringList& args) const { return m_session.Session::run(binary, args); }
    bool serviceUp() const { // generous: a loaded machine starts slowly
        return QTest::qWaitFor(
            [&] { return m_bus->interface()->isServiceRegistered(bus::serviceName()).value(); },
            30000);
    }
    QByteArray file(const QString& name) const { return m_session.readData(name); }
    std::vector<WorkBlock> blocks() const {
        return json::decodeList<WorkBlock>(file(QStringLiteral("blocks.json")))
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
                          QStringLiteral("Email"),
                          QDate::currentDate().addDays(day).toString(Qt::ISODate),
                          0,
                          1440,
                          WorkKind::shallow,
                          {},
                          {}});
    m_session.writeData(QStringLiteral("blocks.json"), json::encodeList(allDay));
    const QByteArray before = file(QStringLiteral("blocks.json"));

    for (const QStringList& args : std::vector<QStringList>{
             {QStringLiteral("bogus")},
             {QStringLiteral("status"), QStringLiteral("--verbose")},
             {QStringLiteral("add")},
             {QStringLiteral("add"), QStringLiteral(" ")},
             {QStringLiteral("add"), QStringLiteral("x"), QStringLiteral("--at"),
              QStringLiteral("25:00")},
             {QStringLiteral("add"), QStringLiteral("x"), QStringLiteral("--for"),
              QStringLiteral("90")},
             {QStringLiteral("add"), QStringLiteral("x"), QStringLiteral("--at"),
              QStringLiteral("23:30"), QStringLiteral("--for"), QStringLiteral("1h")},
             {QStringLiteral("plan"), QStringLiteral("--deep")}}) {
        SCOPED_TRACE(args.join(u' ').toStdString());
        const Outcome o = run(args);
        EXPECT_EQ(o.exitCode, 2);
        EXPECT_EQ(o.err.count('\n'), 1) << o.err.toStdString();
        EXPECT_TRUE(o.out.isEmpty());
    }

    // Without the program, changes are refused and status reads the files without writing.
    for (const QStringList& args :
         std::vector<QStringList>{{QStringLiteral("open")},
                                  {QStringLiteral("quit")},
                                  {QStringLiteral("add"), QStringLiteral("Email")},
                                  {QStringLiteral("plan"), QStringLiteral("Email")}}) {
        const Outcome o = run(args);
        EXPECT_EQ(o.exitCode, 1) << args.join(u' ').toStdString();
        EXPECT_TRUE(o.err.contains("not running")) << o.err.toStdString();
    }
    const Outcome status = run({QStringLiteral("status")});
    EXPECT_EQ(status.exitCode, 1);
    EXPECT_TRUE(status.out.startsWith("Shallow work: Email, ")) << status.out.toStdString();
    EXPECT_TRUE(status.err.contains("not running"));
    EXPECT_EQ(file(QStringLiteral("blocks.json")), before);
    EXPECT_FALSE(QFile::exists(m_session.dataFile(QStringLiteral("planned.json"))));
}

TEST_F(Scripting, CommandsReachTheProgramAndTheFeedFollowsTheClock) {
    // A shallow block runs until nine.
    const WorkBlock email{
        QUuid::createUuid(), QStringLiteral("Email"), today, 525, 15, WorkKind::shallow, {}, {}};
    m_session.writeData(QStringLiteral("blocks.json"),
                        json::encodeList(std::vector<WorkBlock>{email}));
    test::FakeTimeProgram program;
    ASSERT_TRUE(program.start(m_session.environment(), binary, fakeStart));
    ASSERT_TRUE(serviceUp()) << program.process().readAll().toStdString();

    // The interface as a script finds it.
    const QDBusMessage introspection = m_bus->call(QDBusMessage::createMethodCall(
        bus::serviceName(), bus::objectPath(),
        QStringLiteral("org.freedesktop.DBus.Introspectable"), QStringLiteral("Introspect")));
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
    ASSERT_TRUE(
        feed.start(m_session.environment(), binary, fakeStart,
                   {QStringLiteral("status"), QStringLiteral("--json"), QStringLiteral("--follow")},
                   QProcess::SeparateChannels));
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
        return lines.empty() ? QString() : lines.back().value(QStringLiteral("class")).toString();
    };
    ASSERT_TRUE(readLines(5000, [&] { return !lines.empty(); }));
    EXPECT_EQ(classNow(), QStringLiteral("shallow"));
    EXPECT_EQ(lines.back().value(QStringLiteral("text")).toString(),
              QStringLiteral("Email · 1 m left"));

    // A key binding adds work: the block lands in the file and a taken time is refused.
    EXPECT_EQ(run({QStringLiteral("add"), QStringLiteral("Write chapter"), QStringLiteral("--at"),
                   QStringLiteral("9:00"), QStringLiteral("--for"), QStringLiteral("45m")})
                  .exitCode,
              0);
    const Outcome taken = run({QStringLiteral("add"), QStringLiteral("Clash"),
                               QStringLiteral("--at"), QStringLiteral("9:30")});
    EXPECT_EQ(taken.exitCode, 2);
    EXPECT_TRUE(taken.err.contains("overlaps")) << taken.err.toStdString();
    EXPECT_EQ(
        run({QStringLiteral("plan"), QStringLiteral(" Read paper "), QStringLiteral("--shallow")})
            .exitCode,
        0);
    std::vector<WorkBlock> now = blocks();
    ASSERT_EQ(now.size(), 2u);
    EXPECT_EQ(now[1].title, QStringLiteral("Write chapter"));
    EXPECT_EQ(now[1].kind, WorkKind::deep);
    EXPECT_EQ(now[1].startMinutes, 540);
    EXPECT_EQ(now[1].durationMinutes, 45);
    EXPECT_EQ(now[1].day, today);
    const auto planned = json::decodeList<PlannedBlock>(file(QStringLiteral("planned.json")));
    ASSERT_TRUE(planned && planned->size() == 1);
    EXPECT_EQ(planned->front().title, QStringLiteral("Read paper"));
    EXPECT_EQ(planned->front().kind, WorkKind::shallow);

    // Nine o'clock: the shallow block ends and the deep one starts, and the feed says so.
    ASSERT_TRUE(readLines(30000, [&] { return classNow() == QStringLiteral("deep"); }))
        << "lines seen: " << lines.size();
    EXPECT_EQ(lines.back().value(QStringLiteral("percentage")).toInt(), 0);
    const Outcome status = run({QStringLiteral("status")});
    EXPECT_EQ(status.out.trimmed(), QByteArray("Deep work: Write chapter, 45 m left"));

    // open hands the panel over; quit ends the program, and the feed goes on without it.
    EXPECT_EQ(run({QStringLiteral("open")}).exitCode, 0);
    EXPECT_EQ(run({QStringLiteral("quit")}).exitCode, 0);
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
    EXPECT_EQ(run({QStringLiteral("quit")}).exitCode, 0);
    EXPECT_TRUE(stays.waitForFinished(5000));
}
