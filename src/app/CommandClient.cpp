#include "app/CommandClient.h"

#include "desktop/BusNames.h"
#include "desktop/StatusReport.h"
#include "store/BlockStore.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QDateTime>
#include <QVariantList>

#include <cstdio>

namespace quillmere {

namespace {

const QString propertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");

void printLine(FILE* to, const QString& line) {
    std::fputs(line.toLocal8Bit().constData(), to);
    std::fputc('\n', to);
    std::fflush(to);
}

void printError(const QString& message) {
    printLine(stderr, QStringLiteral("quillmere: ") + message);
}

QDBusMessage call(const QString& method, const QVariantList& args = {},
                  const QString& interface = bus::interfaceName()) {
    QDBusMessage message =
        QDBusMessage::createMethodCall(bus::serviceName(), bus::objectPath(), interface, method);
    message.setArguments(args);
    return QDBusConnection::sessionBus().call(message, QDBus::Block, 5000);
}

bool isAbsent(const QDBusMessage& reply) {
    const QString name = reply.errorName();
    return name == QDBusError::errorString(QDBusError::ServiceUnknown) ||
           name == QDBusError::errorString(QDBusError::Disconnected) ||
           name == QStringLiteral("org.freedesktop.DBus.Error.NameHasNoOwner") ||
           name == QDBusError::errorString(QDBusError::UnknownObject);
}

// What the service said no to is the caller's input: nothing changed.
int finish(const QDBusMessage& reply) {
    if (reply.type() != QDBusMessage::ErrorMessage)
        return exitDone;
    if (isAbsent(reply)) {
        printError(QStringLiteral("Quillmere is not running (start it with \"quillmere\")"));
        return exitNotRunning;
    }
    if (reply.errorName() == QDBusError::errorString(QDBusError::NoReply)) {
        printError(QStringLiteral("Quillmere did not answer"));
        return exitNotRunning;
    }
    printError(reply.errorMessage());
    return exitBadInput;
}

std::optional<StatusReport> fetchStatus() {
    const QDBusMessage reply =
        call(QStringLiteral("GetAll"), {bus::interfaceName()}, propertiesInterface);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return std::nullopt;
    StatusReport report;
    applyStatusProperties(report, qdbus_cast<QVariantMap>(reply.arguments().constFirst()));
    return report;
}

StatusReport statusFromDisk() {
    return statusFromFiles(BlockStore::defaultFolder(), QDateTime::currentDateTime());
}

// Prints a line whenever the running program's status moves, and the files' status while it
// is not running, so a status bar keeps its module across restarts of the program.
class StatusFollower final : public QObject {
    Q_OBJECT

public:
    explicit StatusFollower(bool json) : m_json(json) {
        QDBusConnection bus = QDBusConnection::sessionBus();
        bus.connect(bus::serviceName(), bus::objectPath(), propertiesInterface,
                    QStringLiteral("PropertiesChanged"), this,
                    SLOT(onPropertiesChanged(QString, QVariantMap, QStringList)));
        m_watcher.setConnection(bus);
        m_watcher.addWatchedService(bus::serviceName());
        connect(&m_watcher, &QDBusServiceWatcher::serviceRegistered, this, [this] { refetch(); });
        connect(&m_watcher, &QDBusServiceWatcher::serviceUnregistered, this, [this] {
            m_report = statusFromDisk();
            print();
        });
        refetch();
    }

private Q_SLOTS:
    void onPropertiesChanged(const QString& interface, const QVariantMap& changed,
                             const QStringList&) {
        if (interface != bus::interfaceName())
            return;
        applyStatusProperties(m_report, changed);
        print();
    }

private:
    void refetch() {
        if (const std::optional<StatusReport> report = fetchStatus()) {
            m_report = *report;
        } else {
            m_report = statusFromDisk();
            printError(QStringLiteral("Quillmere is not running; waiting for it to start"));
        }
        print();
    }

    void print() {
        const QString line =
            m_json ? QString::fromUtf8(statusBarLine(m_report)) : statusLine(m_report);
        if (line == m_lastLine)
            return;
        m_lastLine = line;
        printLine(stdout, line);
    }

    bool m_json;
    StatusReport m_report;
    QString m_lastLine;
    QDBusServiceWatcher m_watcher;
};

int runStatus(const Command& command) {
    if (command.follow) {
        if (!QDBusConnection::sessionBus().isConnected()) {
            printError(QStringLiteral("There is no session bus to follow Quillmere on"));
            return exitNotRunning;
        }
        StatusFollower follower(command.json);
        return QCoreApplication::exec();
    }
    // Without the program the files still tell what the plan says now, read without writing;
    // the exit status says that nobody is recording it.
    std::optional<StatusReport> report = fetchStatus();
    const bool running = report.has_value();
    if (!running) {
        printError(QStringLiteral("Quillmere is not running; this is the plan in its files"));
        report = statusFromDisk();
    }
    printLine(stdout,
              command.json ? QString::fromUtf8(statusBarLine(*report)) : statusLine(*report));
    return running ? exitDone : exitNotRunning;
}

} // namespace

int runCommand(const Command& command) {
    switch (command.verb) {
    case Command::Verb::tray:
        break;
    case Command::Verb::help:
        std::fputs(usageText().toLocal8Bit().constData(), stdout);
        return exitDone;
    case Command::Verb::version:
        printLine(stdout, QStringLiteral("quillmere ") + QCoreApplication::applicationVersion());
        return exitDone;
    case Command::Verb::status:
        return runStatus(command);
    case Command::Verb::open:
        return finish(call(QStringLiteral("OpenPanel")));
    case Command::Verb::quit: {
        const QDBusMessage reply = call(QStringLiteral("Quit"));
        // The program may be gone before its answer is out: that is what was asked.
        if (reply.errorName() == QDBusError::errorString(QDBusError::NoReply))
            return exitDone;
        return finish(reply);
    }
    case Command::Verb::add:
        return finish(
            call(QStringLiteral("AddBlock"),
                 {command.title, rawValue(command.kind), static_cast<int>(command.at.value_or(-1)),
                  static_cast<int>(command.duration.value_or(0))}));
    case Command::Verb::plan:
        return finish(
            call(QStringLiteral("AddBacklogItem"), {command.title, rawValue(command.kind)}));
    }
    return exitBadInput;
}

bool askRunningToOpen(int timeoutMs) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return false;
    const QDBusMessage message = QDBusMessage::createMethodCall(
        bus::serviceName(), bus::objectPath(), bus::interfaceName(), QStringLiteral("OpenPanel"));
    return bus.call(message, QDBus::Block, timeoutMs).type() == QDBusMessage::ReplyMessage;
}

} // namespace quillmere

#include "CommandClient.moc"
