#pragma once

#include "focus/BannerLedger.h"
#include "focus/BannerSource.h"

#include <QByteArray>

#include <atomic>
#include <mutex>
#include <thread>

struct DBusConnection;
struct DBusMessage;

namespace quillmere {

// Sees notification banners by watching the session bus as a monitor: every daemon's traffic
// passes the bus, on X11 and Wayland alike. The connection lives in a thread of its own and
// never sends anything once it is a monitor (the bus would drop it). Without a session bus no
// banner is ever present.
class NotificationMonitor final : public BannerSource {
public:
    // The bus address; by default the session bus of the environment.
    explicit NotificationMonitor(QByteArray address = qgetenv("DBUS_SESSION_BUS_ADDRESS"));
    ~NotificationMonitor() override;
    NotificationMonitor(const NotificationMonitor&) = delete;
    NotificationMonitor& operator=(const NotificationMonitor&) = delete;

    bool bannerPresent() override;
    // True once the bus accepted us as a monitor, until the connection ends.
    bool isMonitoring() const { return m_monitoring.load(); }

private:
    void run(QByteArray address);
    DBusConnection* becomeMonitor(const QByteArray& address);
    void listen(DBusConnection* connection);
    void handle(DBusMessage* message);

    std::mutex m_mutex;
    BannerLedger m_ledger; // guarded by m_mutex
    std::atomic<bool> m_monitoring{false};
    int m_wake = -1; // an eventfd that tells the thread to finish
    std::thread m_thread;
};

} // namespace quillmere
