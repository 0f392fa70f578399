#pragma once

#include "focus/BannerLedger.h"
#include "focus/BannerSource.h"
#include "focus/BannerWatchStatus.h"
#include "focus/SessionBus.h"

#include <QByteArray>

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <thread>

struct DBusConnection;
struct DBusMessage;

namespace quillmere {

// Sees notification banners by watching the session bus as a monitor: every server's traffic
// passes the bus, on X11 and Wayland alike. The connection lives in a thread of its own and
// never sends anything once it is a monitor (the bus would drop it). When there is no bus, the
// bus refuses monitoring or the connection drops, the thread tries again after a while, but
// only while someone watches; until then no banner is ever present.
class NotificationMonitor final : public BannerSource {
public:
    using BusFinder = std::function<QByteArray()>;
    static constexpr std::chrono::milliseconds defaultRetry{60000};

    explicit NotificationMonitor(BusFinder findBus = sessionBusAddress,
                                 std::chrono::milliseconds retry = defaultRetry);
    ~NotificationMonitor() override;
    NotificationMonitor(const NotificationMonitor&) = delete;
    NotificationMonitor& operator=(const NotificationMonitor&) = delete;

    bool bannerPresent() override;
    void setWatching(bool watching) override;
    QStringList takeArrivals() override;
    // True once the bus accepted us as a monitor, until the connection ends.
    bool isMonitoring() const { return m_state.load() == bannerWatch::BusState::monitoring; }
    bannerWatch::BusState state() const { return m_state.load(); }

private:
    void run();
    DBusConnection* becomeMonitor(const QByteArray& address, bool& refused);
    void listen(DBusConnection* connection);
    void handle(DBusMessage* message);
    void noteArrival(const QString& application);
    void report(bannerWatch::BusState state);
    // Waits for the retry time, or for ever while nobody watches; false when told to finish.
    bool waitToRetry();
    void wakeThread();

    BusFinder m_findBus;
    std::chrono::milliseconds m_retry;
    std::mutex m_mutex;
    BannerLedger m_ledger;  // guarded by m_mutex
    QStringList m_arrivals; // guarded by m_mutex
    std::atomic<bannerWatch::BusState> m_state{bannerWatch::BusState::untried};
    std::atomic<bool> m_watching{true};
    std::atomic<bool> m_finish{false};
    int m_wake = -1; // an eventfd that wakes the thread
    std::thread m_thread;
};

} // namespace quillmere
