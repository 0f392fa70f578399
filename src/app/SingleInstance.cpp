#include "app/SingleInstance.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QLocalServer>
#include <QLocalSocket>
#include <QStandardPaths>
#include <QThread>

#include <unistd.h>

namespace quillmere {

namespace {

const QByteArray openRequest = QByteArrayLiteral("open\n");

QString defaultFolder() {
    QString dir = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    if (dir.isEmpty())
        dir = QDir::tempPath() + QStringLiteral("/quillmere-") + QString::number(getuid());
    QDir().mkpath(dir);
    return dir;
}

} // namespace

SingleInstance::SingleInstance(QString folder, QObject* parent)
    : QObject(parent), m_folder(folder.isEmpty() ? defaultFolder() : std::move(folder)) {}

SingleInstance::~SingleInstance() = default;

QString SingleInstance::lockPath() const {
    return m_folder + QStringLiteral("/quillmere.lock");
}

QString SingleInstance::socketPath() const {
    return m_folder + QStringLiteral("/quillmere.socket");
}

bool SingleInstance::tryBecomePrimary() {
    if (m_server)
        return true;
    m_lock = std::make_unique<QLockFile>(lockPath());
    // Never stale by age (a long-running instance keeps its lock); a lock whose process has
    // died is still taken over, as QLockFile checks the process behind it.
    m_lock->setStaleLockTime(0);
    if (!m_lock->tryLock(0)) {
        m_lock.reset();
        return false;
    }
    m_server = new QLocalServer(this);
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    QLocalServer::removeServer(socketPath());
    m_server->listen(socketPath());
    connect(m_server, &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket* socket = m_server->nextPendingConnection()) {
            connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
            connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
                while (socket->canReadLine()) {
                    if (socket->readLine() == openRequest)
                        Q_EMIT openRequested();
                }
            });
        }
    });
    return true;
}

bool SingleInstance::askPrimaryToOpen(int timeoutMs) {
    const QDeadlineTimer deadline(timeoutMs);
    // The first instance takes its lock just before it listens; give it that moment.
    while (!deadline.hasExpired()) {
        QLocalSocket socket;
        socket.connectToServer(socketPath());
        if (socket.waitForConnected(static_cast<int>(deadline.remainingTime()))) {
            socket.write(openRequest);
            const bool sent =
                socket.waitForBytesWritten(static_cast<int>(deadline.remainingTime()));
            socket.disconnectFromServer();
            return sent;
        }
        QThread::msleep(50);
    }
    return false;
}

} // namespace quillmere
