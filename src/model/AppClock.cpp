#include "model/AppClock.h"

#include "model/TimeMath.h"

#include <QTimer>

#include <cmath>
#include <limits>

namespace quillmere {

namespace {
constexpr qint64 heartbeatMs = 30000;
// Landing just after the mark means a new minute is never seen a moment before it begins.
constexpr qint64 heartbeatLagMs = 100;
// Qt turns a coarse timer of 20 s or more into whole seconds of its own monotonic clock, which
// can bring a firing up to a second before its deadline; aiming that much later keeps every
// firing after the mark, within the heartbeat's two seconds of slack.
constexpr qint64 coarseEarlyMs = 1000;

// Milliseconds of the wall clock since the last 30-second mark of the 2001 reference timeline;
// whole milliseconds, so that a mark is found exactly rather than a rounding error away.
qint64 msSinceMark(const QDateTime& now) {
    const qint64 sinceReference =
        now.toMSecsSinceEpoch() - TimeMath::referenceEpochOffsetSeconds * 1000;
    return ((sinceReference % heartbeatMs) + heartbeatMs) % heartbeatMs;
}
} // namespace

AppClock::AppClock(const WallClock& wallClock, QObject* parent)
    : QObject(parent), m_wallClock(wallClock) {
    const QDateTime now = m_wallClock.now();
    m_nowMinutes = TimeMath::minutesOfDay(now);
    m_today = TimeMath::dayKey(now);
}

// The timers are children of the clock and die with it, so neither can fire afterwards; the
// queued tick is bound to the clock as its context and is dropped with it.
AppClock::~AppClock() = default;

int AppClock::msUntilNextHeartbeat() const {
    return static_cast<int>(heartbeatMs - msSinceMark(m_wallClock.now()) + heartbeatLagMs);
}

void AppClock::start() {
    if (m_heartbeat)
        return;
    m_heartbeat = new QTimer(this);
    m_heartbeat->setSingleShot(true);
    connect(m_heartbeat, &QTimer::timeout, this, &AppClock::heartbeatFired);
    aimHeartbeat();
    requestTick();
}

void AppClock::aimHeartbeat() {
    // A coarse timer may be batched with other wake-ups, which keeps the program from waking
    // the machine on its own schedule.
    m_heartbeat->setTimerType(Qt::CoarseTimer);
    m_heartbeat->start(msUntilNextHeartbeat() + static_cast<int>(coarseEarlyMs));
}

void AppClock::heartbeatFired() {
    if (!m_heartbeat)
        return;
    // A firing that still lands before its mark (the wall clock was slewed, or the timer was
    // rounded early after all) waits for the mark precisely instead of ticking twice around it.
    const qint64 since = msSinceMark(m_wallClock.now());
    const qint64 early = since < heartbeatLagMs    ? heartbeatLagMs - since
                         : since > heartbeatMs / 2 ? heartbeatMs - since + heartbeatLagMs
                                                   : 0;
    if (early > 0) {
        m_heartbeat->setTimerType(Qt::PreciseTimer);
        m_heartbeat->start(static_cast<int>(early));
        return;
    }
    // Re-aimed at the next mark from the wall clock on every firing instead of repeating a
    // fixed interval, so that a suspend or a clock change never leaves it misaligned.
    aimHeartbeat();
    tick();
}

int AppClock::heartbeatRemainingMs() const {
    return m_heartbeat ? m_heartbeat->remainingTime() : -1;
}

void AppClock::requestTick() {
    if (m_tickPending)
        return;
    m_tickPending = true;
    QMetaObject::invokeMethod(
        this,
        [this] {
            m_tickPending = false;
            tick();
        },
        Qt::QueuedConnection);
}

void AppClock::wake(std::optional<QDateTime> at) {
    if (!m_wakeTimer) {
        // One timer serves every alarm: it is re-aimed, never reallocated, so a long-running
        // process does not pile up timers.
        m_wakeTimer = new QTimer(this);
        m_wakeTimer->setSingleShot(true);
        m_wakeTimer->setTimerType(Qt::PreciseTimer);
        connect(m_wakeTimer, &QTimer::timeout, this, [this] {
            m_wakeAt = {};
            tick();
        });
    }
    m_wakeTimer->stop();
    m_wakeAt = {};
    if (!at)
        return;
    const qint64 ms = std::max<qint64>(0, m_wallClock.now().msecsTo(*at));
    m_wakeAt = *at;
    // A QTimer counts in int milliseconds; an alarm further out than that is re-armed by the
    // refresh long before it matters, so the cap only keeps the interval valid.
    m_wakeTimer->start(static_cast<int>(std::min<qint64>(ms, std::numeric_limits<int>::max())));
}

std::optional<QDateTime> AppClock::pendingWake() const {
    if (!m_wakeTimer || !m_wakeTimer->isActive())
        return std::nullopt;
    return m_wakeAt;
}

void AppClock::tick() {
    const QDateTime now = m_wallClock.now();
    const Minutes minutes = TimeMath::minutesOfDay(now);
    const QString key = TimeMath::dayKey(now);
    if (minutes != m_nowMinutes) {
        m_nowMinutes = minutes;
        Q_EMIT nowMinutesChanged(m_nowMinutes);
    }
    if (key != m_today) {
        m_today = key;
        Q_EMIT todayChanged(m_today);
    }
    if (m_onTick)
        m_onTick();
}

} // namespace quillmere
