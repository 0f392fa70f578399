#pragma once

#include "desktop/StatusReport.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QObject>
#include <QString>

namespace quillmere {

class BlockStore;

// The program on the session bus, for scripts, key bindings, status bars and a second start.
// The properties follow the store: they are worked out again after every refresh and every
// change of the blocks, and PropertiesChanged names those that moved. Blocks and backlog items
// added here pass the same rules as those added in the panel.
class DBusService final : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.quillmere.Quillmere")
    Q_PROPERTY(QString CurrentKind READ currentKind)
    Q_PROPERTY(QString Title READ title)
    Q_PROPERTY(int Start READ start)
    Q_PROPERTY(int End READ end)
    Q_PROPERTY(int MinutesLeft READ minutesLeft)
    Q_PROPERTY(QString NextTitle READ nextTitle)
    Q_PROPERTY(QString NextKind READ nextKind)
    Q_PROPERTY(int NextStart READ nextStart)

public:
    explicit DBusService(BlockStore& store, QObject* parent = nullptr);

    // Exports the object and takes the name; false when either fails (no bus, name taken).
    bool publish(QDBusConnection bus);

    const StatusReport& report() const { return m_report; }
    QString currentKind() const { return m_report.kind; }
    QString title() const { return m_report.title; }
    int start() const { return m_report.start; }
    int end() const { return m_report.end; }
    int minutesLeft() const { return m_report.minutesLeft; }
    QString nextTitle() const { return m_report.nextTitle; }
    QString nextKind() const { return m_report.nextKind; }
    int nextStart() const { return m_report.nextStart; }

public Q_SLOTS:
    Q_SCRIPTABLE void OpenPanel();
    Q_SCRIPTABLE void ClosePanel();
    Q_SCRIPTABLE void Quit();
    // `start` is minutes after midnight and `duration` minutes; a negative start asks for the
    // next free quarter hour, a duration of 0 for the length the add buttons give. Returns the
    // new block's identifier.
    Q_SCRIPTABLE QString AddBlock(const QString& title, const QString& kind, int start,
                                  int duration);
    Q_SCRIPTABLE QString AddBacklogItem(const QString& title, const QString& kind);

Q_SIGNALS:
    void openPanelRequested();
    void closePanelRequested();
    void quitRequested();

private:
    void update();
    // Fills in the trimmed title and the kind; false once it has answered the caller with why not.
    bool checkTitleAndKind(const QString& title, const QString& kind, QString& trimmed,
                           WorkKind& parsed);

    BlockStore& m_store;
    StatusReport m_report;
    QDBusConnection m_bus{QString()};
};

} // namespace quillmere
