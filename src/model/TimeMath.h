#pragma once

#include "model/Minutes.h"

#include <QDateTime>
#include <QString>

#include <optional>

// Conversions between instants, minutes of day and the short texts the views show. Every
// function reads the local zone afresh, so a change of the system's zone is seen at once.
namespace quillmere::TimeMath {

Minutes minutesOfDay(const QDateTime& instant);
QString timeString(Minutes m);                   // "9:05 AM"; 1440 and beyond is "12:00 AM"
QString durationString(Minutes m);               // "1 h 30 m"
QString rangeString(Minutes start, Minutes end); // "9:00 AM – 10:30 AM"
QString hourLabel(Minutes h);                    // "9 AM"; 24 is "12 PM"

// The day key: the local calendar date as "yyyy-MM-dd" with ASCII digits.
QString dayKey(const QDateTime& instant);
std::optional<QDate> dateFromDayKey(const QString& key);
// Local midnight at the start of the day the key names; nothing when it does not parse.
std::optional<QDateTime> startOfDay(const QString& key);
QDateTime startOfDay(const QDateTime& instant);

// Weekday numbers of the Gregorian calendar, independent of the locale: 1 Sunday … 7 Saturday.
int weekday(const QDate& date);
int weekday(const QDateTime& instant);

// Instants in the files are seconds since 2001-01-01 00:00:00 UTC.
inline constexpr qint64 referenceEpochOffsetSeconds = 978307200;
double referenceSeconds(const QDateTime& instant);

} // namespace quillmere::TimeMath
