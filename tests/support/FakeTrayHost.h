#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QStringList>

namespace quillmere::test {

using namespace Qt::StringLiterals;

// The part of a desktop's StatusNotifierItem host that the program talks to: the watcher that
// items register with, and the host's ear for an item's tooltip, which it redraws on each
// NewToolTip.
class FakeWatcher final : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(bool IsStatusNotifierHostRegistered READ hostRegistered)
    Q_PROPERTY(int ProtocolVersion READ protocolVersion)
    Q_PROPERTY(QStringList RegisteredStatusNotifierItems READ items)

public:
    bool hostRegistered() const { return true; }
    int protocolVersion() const { return 0; }
    QStringList items() const { return m_items; }

    // Takes the watcher's name on `bus`, as a tray host does when it starts.
    bool publish(QDBusConnection& bus) {
        return bus.registerObject(u"/StatusNotifierWatcher"_s, this,
                                  QDBusConnection::ExportAllContents) &&
               bus.registerService(u"org.kde.StatusNotifierWatcher"_s);
    }

    bool countToolTips(QDBusConnection& bus, const QString& item) {
        return bus.connect(item, u"/StatusNotifierItem"_s, u"org.kde.StatusNotifierItem"_s,
                           u"NewToolTip"_s, this, SLOT(toolTipChanged()));
    }
    int toolTipChanges = 0;

public Q_SLOTS:
    void RegisterStatusNotifierItem(const QString& service) { m_items << service; }

private Q_SLOTS:
    void toolTipChanged() { ++toolTipChanges; }

private:
    QStringList m_items;
};

} // namespace quillmere::test
