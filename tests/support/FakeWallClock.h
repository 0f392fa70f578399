#pragma once

#include "model/WallClock.h"

#include <QCoreApplication>
#include <QDate>
#include <QDateTime>
#include <QTime>

namespace quillmere::test {

// Enough passes for a queued tick and the work it queues in turn.
inline void processEvents() {
    for (int i = 0; i < 3; ++i)
        QCoreApplication::processEvents();
}

// A wall clock the test moves by hand. It holds an instant (kept in UTC), so a change of the
// process's time zone shows the same instant in the new zone, as the system clock would.
class FakeWallClock final : public WallClock {
public:
    explicit FakeWallClock(const QDateTime& now = QDateTime(QDate(2024, 3, 4), QTime(9, 0)))
        : m_now(now.toUTC()) {}

    QDateTime now() const override { return m_now; }
    void set(const QDateTime& now) { m_now = now.toUTC(); }
    // Local wall time on a given date, in the zone in force now.
    void set(QDate date, QTime time) { m_now = QDateTime(date, time).toUTC(); }
    void advanceSecs(qint64 seconds) { m_now = m_now.addSecs(seconds); }

private:
    QDateTime m_now;
};

} // namespace quillmere::test
