#include "model/TimeMath.h"

#include <QTimeZone>

#include <algorithm>
#include <cmath>

namespace quillmere::TimeMath {

Minutes minutesOfDay(const QDateTime& instant) {
    const QTime t = instant.toLocalTime().time();
    if (!t.isValid())
        return 0;
    return t.hour() * 60 + t.minute();
}

QString timeString(Minutes m) {
    if (m >= minutesPerDay)
        return QStringLiteral("12:00 AM");
    const Minutes clamped = std::clamp<Minutes>(m, 0, minutesPerDay);
    const Minutes hour = clamped / 60;
    const Minutes minute = clamped - hour * 60;
    Minutes hour12 = hour % 12;
    if (hour12 == 0)
        hour12 = 12;
    const QString suffix = hour < 12 ? QStringLiteral("AM") : QStringLiteral("PM");
    return QStringLiteral("%1:%2 %3").arg(hour12).arg(minute, 2, 10, QLatin1Char('0')).arg(suffix);
}

QString durationString(Minutes m) {
    const Minutes hours = m / 60; // C++ division truncates toward zero
    const Minutes rest = m - hours * 60;
    if (m < 60)
        return QStringLiteral("%1 m").arg(rest);
    if (rest == 0)
        return QStringLiteral("%1 h").arg(hours);
    return QStringLiteral("%1 h %2 m").arg(hours).arg(rest);
}

QString hourLabel(Minutes h) {
    if (h == 0)
        return QStringLiteral("12 AM");
    if (h >= 1 && h <= 11)
        return QStringLiteral("%1 AM").arg(h);
    if (h == 12)
        return QStringLiteral("12 PM");
    return QStringLiteral("%1 PM").arg(h - 12);
}

QString dayKey(const QDateTime& instant) {
    const QDate date = instant.toLocalTime().date();
    // Built by hand rather than through a locale so the digits are always ASCII.
    return QStringLiteral("%1-%2-%3")
        .arg(date.year(), 4, 10, QLatin1Char('0'))
        .arg(date.month(), 2, 10, QLatin1Char('0'))
        .arg(date.day(), 2, 10, QLatin1Char('0'));
}

std::optional<QDate> dateFromDayKey(const QString& key) {
    // Read by hand: the refresh looks at every stored block's day, and a general date parser
    // costs microseconds a call.
    if (key.size() != 10 || key.at(4) != u'-' || key.at(7) != u'-')
        return std::nullopt;
    int fields[3] = {0, 0, 0};
    const int starts[3] = {0, 5, 8};
    const int lengths[3] = {4, 2, 2};
    for (int f = 0; f < 3; ++f) {
        for (int i = 0; i < lengths[f]; ++i) {
            const QChar c = key.at(starts[f] + i);
            if (c < u'0' || c > u'9')
                return std::nullopt;
            fields[f] = fields[f] * 10 + (c.unicode() - u'0');
        }
    }
    const QDate date(fields[0], fields[1], fields[2]);
    if (!date.isValid())
        return std::nullopt;
    return date;
}

std::optional<QDateTime> startOfDay(const QString& key) {
    const std::optional<QDate> date = dateFromDayKey(key);
    if (!date)
        return std::nullopt;
    const QDateTime start = date->startOfDay();
    if (!start.isValid())
        return std::nullopt;
    return start;
}

QDateTime startOfDay(const QDateTime& instant) {
    return instant.toLocalTime().date().startOfDay();
}

int weekday(const QDate& date) {
    // Qt counts Monday 1 … Sunday 7; the calendar weekday counts Sunday 1 … Saturday 7.
    return date.dayOfWeek() % 7 + 1;
}

int weekday(const QDateTime& instant) {
    return weekday(instant.toLocalTime().date());
}

double referenceSeconds(const QDateTime& instant) {
    return static_cast<double>(instant.toMSecsSinceEpoch()) / 1000.0 -
           static_cast<double>(referenceEpochOffsetSeconds);
}

QDateTime fromReferenceSeconds(double seconds) {
    const double ms =
        std::round((seconds + static_cast<double>(referenceEpochOffsetSeconds)) * 1000.0);
    return QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(ms));
}

} // namespace quillmere::TimeMath
