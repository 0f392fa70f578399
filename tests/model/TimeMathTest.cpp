#include "model/TimeMath.h"

#include "support/Printers.h"
#include "support/TzGuard.h"

#include <gtest/gtest.h>

using namespace quillmere;
using namespace quillmere::TimeMath;

TEST(TimeMath, TimeStringClampsAndShowsMidnightAtTheEnd) {
    const std::pair<Minutes, const char*> cases[] = {
        {0, "12:00 AM"},    {5, "12:05 AM"},   {60, "1:00 AM"},    {545, "9:05 AM"},
        {720, "12:00 PM"},  {779, "12:59 PM"}, {1439, "11:59 PM"}, {1440, "12:00 AM"},
        {2000, "12:00 AM"}, {-1, "12:00 AM"},  {-30, "12:00 AM"}};
    for (const auto& [m, text] : cases)
        EXPECT_EQ(timeString(m), QString::fromLatin1(text)) << m;
}

TEST(TimeMath, DurationStringKeepsSignAndDropsZeroParts) {
    const std::pair<Minutes, const char*> cases[] = {
        {0, "0 m"},       {45, "45 m"}, {59, "59 m"}, {60, "1 h"},    {61, "1 h 1 m"},
        {90, "1 h 30 m"}, {120, "2 h"}, {-5, "-5 m"}, {-90, "-30 m"}, {1440, "24 h"}};
    for (const auto& [m, text] : cases)
        EXPECT_EQ(durationString(m), QString::fromLatin1(text)) << m;
}

TEST(TimeMath, HourLabelsIncludingTheEndOfDayLine) {
    const std::pair<Minutes, const char*> cases[] = {{0, "12 AM"},  {1, "1 AM"},   {9, "9 AM"},
                                                     {11, "11 AM"}, {12, "12 PM"}, {13, "1 PM"},
                                                     {23, "11 PM"}, {24, "12 PM"}};
    for (const auto& [h, text] : cases)
        EXPECT_EQ(hourLabel(h), QString::fromLatin1(text)) << h;
}

TEST(TimeMath, MinutesOfDayTruncatesSeconds) {
    test::TzGuard tz("Europe/Berlin");
    EXPECT_EQ(minutesOfDay(QDateTime(QDate(2024, 3, 4), QTime(9, 59, 59))), 599);
    EXPECT_EQ(minutesOfDay(QDateTime(QDate(2024, 3, 4), QTime(23, 59, 30))), 1439);
    EXPECT_EQ(minutesOfDay(QDateTime(QDate(2024, 3, 4), QTime(0, 0))), 0);
}

TEST(TimeMath, DayKeysAndWeekdays) {
    test::TzGuard tz("UTC");
    const QDateTime monday(QDate(2024, 3, 4), QTime(12, 0));
    EXPECT_EQ(dayKey(monday), QStringLiteral("2024-03-04"));
    EXPECT_EQ(dayKey(QDateTime(QDate(987, 1, 2), QTime(1, 0))), QStringLiteral("0987-01-02"));
    EXPECT_EQ(weekday(monday), 2);
    EXPECT_EQ(weekday(QDate(2024, 3, 3)), 1); // Sunday
    EXPECT_EQ(weekday(QDate(2024, 3, 9)), 7); // Saturday
    EXPECT_EQ(startOfDay(QStringLiteral("2024-03-04")), QDateTime(QDate(2024, 3, 4), QTime(0, 0)));
    EXPECT_FALSE(startOfDay(QStringLiteral("yesterday")));
}

TEST(TimeMath, OnlyRealDatesInTheExactKeyFormParse) {
    const std::pair<const char*, QDate> cases[] = {{"2024-02-29", QDate(2024, 2, 29)},
                                                   {"0987-01-02", QDate(987, 1, 2)},
                                                   {"9999-12-31", QDate(9999, 12, 31)},
                                                   {"2023-02-29", {}},
                                                   {"2024-13-01", {}},
                                                   {"0000-01-01", {}},
                                                   {"2024-3-4", {}},
                                                   {"2024/03/04", {}},
                                                   {"2024-03-04x", {}},
                                                   {"2024-03-0x", {}},
                                                   {"2024-+3-04", {}},
                                                   {"+024-03-04", {}},
                                                   {"2024-03- 4", {}},
                                                   {"", {}}};
    for (const auto& [key, date] : cases)
        EXPECT_EQ(dateFromDayKey(QString::fromLatin1(key)).value_or(QDate()), date) << key;
}

TEST(TimeMath, ZoneChangeBetweenCallsIsSeenAtOnce) {
    test::TzGuard tz("UTC");
    const QDateTime instant = QDateTime::fromSecsSinceEpoch(1709510400 + 23 * 3600 + 30 * 60,
                                                            Qt::UTC); // 2024-03-04 23:30Z
    EXPECT_EQ(dayKey(instant), QStringLiteral("2024-03-04"));
    EXPECT_EQ(minutesOfDay(instant), 23 * 60 + 30);
    test::TzGuard::set("Asia/Tokyo");
    EXPECT_EQ(dayKey(instant), QStringLiteral("2024-03-05"));
    EXPECT_EQ(minutesOfDay(instant), 8 * 60 + 30);
    test::TzGuard::set("America/New_York");
    EXPECT_EQ(dayKey(instant), QStringLiteral("2024-03-04"));
    EXPECT_EQ(minutesOfDay(instant), 18 * 60 + 30);
}
