#include "app/SingleInstance.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QSocketNotifier>
#include <QStandardPaths>
#include <QThread>

#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
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

// The socket's address; none when the path is longer than a socket address holds.
std::optional<sockaddr_un> addressOf(const QString& path) {
    const QByteArray bytes = QFile::encodeName(path);
    sockaddr_un address{};
    if (bytes.size() >= static_cast<qsizetype>(sizeof(address.sun_path)))
        return std::nullopt;
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, bytes.constData(), static_cast<std::size_t>(bytes.size()));
    return address;
}

int unixSocket() {
    return ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
}

// One connected start: it sends its line and hangs up. Lines are gathered until then, however
// the bytes arrive.
class Caller final : public QObject {
public:
    Caller(int fd, SingleInstance& owner)
        : QObject(&owner), m_fd(fd), m_notifier(fd, QSocketNotifier::Read, this) {
        connect(&m_notifier, &QSocketNotifier::activated, this, [this, &owner] { read(owner); });
    }
    ~Caller() override {
        // The notifier lets go of the descriptor before it is closed.
        m_notifier.setEnabled(false);
        ::close(m_fd);
    }
    Caller(const Caller&) = delete;
    Caller& operator=(const Caller&) = delete;

private:
    void read(SingleInstance& owner) {
        char chunk[256];
        for (;;) {
            const ssize_t n = ::read(m_fd, chunk, sizeof chunk);
            if (n > 0) {
                m_pending.append(chunk, n);
                continue;
            }
            if (n < 0 && errno == EINTR)
                continue;
            const bool hungUp = n == 0 || (errno != EAGAIN && errno != EWOULDBLOCK);
            for (qsizetype end; (end = m_pending.indexOf('\n')) >= 0;) {
                if (m_pending.first(end + 1) == openRequest)
                    Q_EMIT owner.openRequested();
                m_pending.remove(0, end + 1);
            }
            // A caller that never ends its line cannot fill memory.
            if (hungUp || m_pending.size() > 4096) {
                m_notifier.setEnabled(false);
                deleteLater();
            }
            return;
        }
    }

    int m_fd;
    QSocketNotifier m_notifier;
    QByteArray m_pending;
};

} // namespace

SingleInstance::SingleInstance(QString folder, QObject* parent)
    : QObject(parent), m_folder(folder.isEmpty() ? defaultFolder() : std::move(folder)) {}

SingleInstance::~SingleInstance() {
    delete m_listening;
    if (m_listener >= 0) {
        ::close(m_listener);
        // The socket goes with the program that listened on it, before its lock is let go.
        QFile::remove(socketPath());
    }
}

QString SingleInstance::lockPath() const {
    return m_folder + QStringLiteral("/quillmere.lock");
}

QString SingleInstance::socketPath() const {
    return m_folder + QStringLiteral("/quillmere.socket");
}

bool SingleInstance::tryBecomePrimary() {
    if (m_lock)
        return true;
    auto lock = std::make_unique<QLockFile>(lockPath());
    // Never stale by age (a long-running instance keeps its lock); a lock whose process has
    // died is still taken over, as QLockFile checks the process behind it.
    lock->setStaleLockTime(0);
    if (!lock->tryLock(0))
        return false;
    m_lock = std::move(lock);

    // Without a socket this start still runs alone; later starts then reach it over the bus.
    const std::optional<sockaddr_un> address = addressOf(socketPath());
    if (!address || (m_listener = unixSocket()) < 0)
        return true;
    // The lock is ours, so a socket file left here belongs to a program that has died.
    ::unlink(address->sun_path);
    // Only this user may ask: the file is created without rights for anyone else.
    const mode_t mask = ::umask(0077);
    const bool bound =
        ::bind(m_listener, reinterpret_cast<const sockaddr*>(&*address), sizeof *address) == 0;
    ::umask(mask);
    if (!bound || ::listen(m_listener, 8) != 0) {
        ::close(std::exchange(m_listener, -1));
        return true;
    }
    m_listening = new QSocketNotifier(m_listener, QSocketNotifier::Read);
    connect(m_listening, &QSocketNotifier::activated, this, &SingleInstance::acceptPending);
    return true;
}

void SingleInstance::acceptPending() {
    for (int fd; (fd = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK)) >= 0;)
        new Caller(fd, *this);
}

bool SingleInstance::askPrimaryToOpen(int timeoutMs) {
    const std::optional<sockaddr_un> address = addressOf(socketPath());
    if (!address)
        return false;
    const QDeadlineTimer deadline(timeoutMs);
    // The first instance takes its lock just before it listens; give it that moment.
    while (!deadline.hasExpired()) {
        const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (fd < 0)
            return false;
        const bool connected =
            ::connect(fd, reinterpret_cast<const sockaddr*>(&*address), sizeof *address) == 0;
        // The line is far shorter than any socket buffer, so the write is whole or fails.
        const bool sent = connected && ::write(fd, openRequest.constData(),
                                               static_cast<std::size_t>(openRequest.size())) ==
                                           openRequest.size();
        ::close(fd);
        if (connected)
            return sent;
        QThread::msleep(50);
    }
    return false;
}

} // namespace quillmere
