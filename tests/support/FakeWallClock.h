#pragma once

#include "model/WallClock.h"

#include <QDate>
#include <QDateTime>
#include <QTime>

namespace quillmere::test {

// A wall clock the test moves by hand.
class FakeWallClock final : public WallClock {
public:
    explicit FakeWallClock(QDateTime now = QDateTime(QDate(2024, 3, 4), QTime(9, 0)))
        : m_now(std::move(now)) {}

    QDateTime now() const override { return m_now; }
    void set(QDateTime now) { m_now = std::move(now); }
    // Local wall time on a given date.
    void set(QDate date, QTime time) { m_now = QDateTime(date, time); }
    void advanceSecs(qint64 seconds) { m_now = m_now.addSecs(seconds); }
    void advanceMSecs(qint64 ms) { m_now = m_now.addMSecs(ms); }

private:
    QDateTime m_now;
};

} // namespace quillmere::test
