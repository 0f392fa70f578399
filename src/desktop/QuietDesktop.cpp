#include "desktop/QuietDesktop.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

namespace quillmere {

namespace {
constexpr QLatin1StringView serverKey("server");
} // namespace

QuietDesktop::QuietDesktop(QString dataFolder, const QDBusConnection& bus)
    : m_dataFolder(std::move(dataFolder)), m_bus(bus) {
    repairLastRun();
}

QuietDesktop::~QuietDesktop() {
    restore();
}

QString QuietDesktop::recordPath() const {
    return QDir(m_dataFolder).filePath(recordName);
}

void QuietDesktop::silence() {
    if (m_session)
        return;
    m_changed = false;
    // Looked up again for each session: the user may have changed servers since the last.
    m_backend = findDoNotDisturb(m_bus);
    // At login the notification server may start after us: the next refresh asks again.
    if (!m_backend)
        return;
    m_session = true;
    // A do-not-disturb the user already had on is theirs: left alone now and afterwards.
    if (m_backend->isOn().value_or(true))
        return;
    if (!writeRecord(m_backend->name()))
        return; // unrecorded changes could not be undone after a crash
    m_changed = m_backend->setOn(true);
    if (!m_changed)
        removeRecord();
}

void QuietDesktop::restore() {
    if (!m_session)
        return;
    m_session = false;
    if (!std::exchange(m_changed, false) || !m_backend)
        return;
    // Switching off what is already off (the user did it during the block) changes nothing.
    // When the server does not answer, the record stays for the next start to try again.
    if (m_backend->setOn(false))
        removeRecord();
}

bool QuietDesktop::isSilenced() {
    if (!m_backend)
        m_backend = findDoNotDisturb(m_bus);
    return m_backend && m_backend->isOn().value_or(false);
}

void QuietDesktop::repairLastRun() {
    QFile file(recordPath());
    if (!file.open(QIODevice::ReadOnly))
        return;
    const QString server =
        QJsonDocument::fromJson(file.readAll()).object().value(serverKey).toString();
    file.close();
    const auto backend = doNotDisturbNamed(server, m_bus);
    // A record naming no server we know cannot be acted on and is dropped; one whose server
    // does not answer now is kept for the next start.
    if (!backend || backend->setOn(false))
        removeRecord();
}

bool QuietDesktop::writeRecord(const QString& server) const {
    QDir().mkpath(m_dataFolder);
    QSaveFile file(recordPath());
    file.setDirectWriteFallback(false);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    const QByteArray bytes = QJsonDocument(QJsonObject{{serverKey, server}}).toJson();
    if (file.write(bytes) != bytes.size()) {
        file.cancelWriting();
        return false;
    }
    return file.commit();
}

void QuietDesktop::removeRecord() const {
    QFile::remove(recordPath());
}

QString doNotDisturbProblemText(const QDBusConnection& bus) {
    if (findDoNotDisturb(bus))
        return {};
    return QStringLiteral("This desktop offers no way to silence notifications.");
}

} // namespace quillmere
