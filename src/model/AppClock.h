#pragma once

#include "model/Minutes.h"
#include "model/WallClock.h"

#include <QDateTime>
#include <QObject>
#include <QString>

#include <functional>
#include <optional>

class QTimer;

namespace quillmere {

// Publishes the current minute of day and today's day key, and calls one callback on every
// tick. Ticks come from a coarse heartbeat aligned just after each 30-second mark, from one
// precise one-shot alarm, and from requests that are coalesced into one queued tick.
class AppClock final : public QObject {
    Q_OBJECT

public:
    explicit AppClock(const WallClock& wallClock, QObject* parent = nullptr);
    ~AppClock() override;

    Minutes nowMinutes() const { return m_nowMinutes; }
    QString today() const { return m_today; }
    const WallClock& wallClock() const { return m_wallClock; }

    void setOnTick(std::function<void()> onTick) { m_onTick = std::move(onTick); }

    // Starts the heartbeat once and requests a tick; later calls do nothing.
    void start();
    // Queues one tick after the work under way; repeated requests before it runs coalesce.
    void requestTick();
    // Replaces the pending alarm; nothing clears it.
    void wake(std::optional<QDateTime> at);

    // Reads the wall clock, publishes what changed and calls the callback. The timers and the
    // queued request end here; tests call it directly after moving a fake clock.
    void tick();

    bool hasHeartbeat() const { return m_heartbeat != nullptr; }
    bool tickPending() const { return m_tickPending; }
    std::optional<QDateTime> pendingWake() const;
    // Milliseconds from now to the heartbeat's next firing, as the timer reports it.
    int heartbeatRemainingMs() const;
    // Where the heartbeat aims from the wall clock's now: 0.1 s past the next 30-second mark
    // of the 2001 reference timeline.
    int msUntilNextHeartbeat() const;
    // The heartbeat's firing: a tick when the mark has passed, else a precise wait for it.
    // The timer ends here; tests call it directly after moving a fake clock.
    void heartbeatFired();

Q_SIGNALS:
    void nowMinutesChanged(quillmere::Minutes nowMinutes);
    void todayChanged(const QString& today);

private:
    void aimHeartbeat();

    const WallClock& m_wallClock;
    Minutes m_nowMinutes = 0;
    QString m_today;
    std::function<void()> m_onTick;
    QTimer* m_heartbeat = nullptr;
    QTimer* m_wakeTimer = nullptr;
    QDateTime m_wakeAt;
    bool m_tickPending = false;
};

} // namespace quillmere
