#include "model/TimeMath.h"

#include <QTimeZone>

#include <algorithm>

namespace quillmere::TimeMath {

Minutes minutesOfDay(const QDateTime& instant) {
    const QTime t = instant.toLocalTime().time();
    if (!t.isValid())
        return 0;
    return t.hour() * 60 + t.minute();
}

QString rangeString(Minutes start, Minutes end) {
    return timeString(start) + QStringLiteral(" – ") + timeString(end);
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
    // Qt's ISO form is locale-free, so the digits are always ASCII.
    return instant.toLocalTime().date().toString(Qt::ISODate);
}

std::optional<QDate> dateFromDayKey(const QString& key) {
    // Qt's ISO reader also takes other separators and trailing text; a key is exactly one form.
    if (key.size() != 10 || key.at(4) != u'-' || key.at(7) != u'-')
        return std::nullopt;
    const QDate date = QDate::fromString(key, Qt::ISODate);
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

} // namespace quillmere::TimeMath
