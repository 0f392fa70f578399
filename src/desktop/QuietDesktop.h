#pragma once

#include "desktop/DoNotDisturb.h"
#include "store/NotificationSilencer.h"

#include <QDBusConnection>
#include <QString>

#include <memory>

namespace quillmere {

// Turns the desktop's do-not-disturb on for deep work and puts it back afterwards. Before it
// changes anything it writes which server it changed into the data folder, and removes that
// record once the server is back as it was; a record found at start means the last run ended
// without putting it back (a crash, a kill, a power cut), and the desktop is repaired then.
class QuietDesktop final : public NotificationSilencer {
public:
    static constexpr QLatin1StringView recordName{"do-not-disturb.json"};

    explicit QuietDesktop(QString dataFolder,
                          const QDBusConnection& bus = QDBusConnection::sessionBus());
    // Whatever it changed is put back when it goes, which covers every orderly way out.
    ~QuietDesktop() override;
    QuietDesktop(const QuietDesktop&) = delete;
    QuietDesktop& operator=(const QuietDesktop&) = delete;

    void silence() override;
    void restore() override;
    bool isSilenced() override;

    QString recordPath() const;

private:
    void repairLastRun();
    bool writeRecord(const QString& server) const;
    void removeRecord() const;

    QString m_dataFolder;
    QDBusConnection m_bus;
    std::unique_ptr<DoNotDisturb> m_backend;
    bool m_session = false; // between a silence() and its restore()
    bool m_changed = false; // this session switched the desktop's do-not-disturb on
};

// The help text of the toggle: why this desktop cannot be silenced, or empty when it can.
QString doNotDisturbProblemText(const QDBusConnection& bus = QDBusConnection::sessionBus());

} // namespace quillmere
