#include "model/TimeMath.h"

#include "support/Printers.h"
#include "support/TzGuard.h"

#include <gtest/gtest.h>

#include <span>

using namespace quillmere;
using namespace quillmere::TimeMath;
using namespace Qt::StringLiterals;

TEST(TimeMath, TextsOfTimesDurationsAndHoursIncludingTheEndsOfTheDay) {
    using Case = std::pair<Minutes, const char*>;
    // Times clamp, and the end of the day shows as midnight.
    const Case times[] = {{0, "12:00 AM"},    {5, "12:05 AM"},    {60, "1:00 AM"},
                          {545, "9:05 AM"},   {720, "12:00 PM"},  {779, "12:59 PM"},
                          {1439, "11:59 PM"}, {1440, "12:00 AM"}, {2000, "12:00 AM"},
                          {-1, "12:00 AM"},   {-30, "12:00 AM"}};
    // Durations keep their sign and drop zero parts.
    const Case durations[] = {{0, "0 m"},      {45, "45 m"},     {59, "59 m"}, {60, "1 h"},
                              {61, "1 h 1 m"}, {90, "1 h 30 m"}, {120, "2 h"}, {-5, "-5 m"},
                              {-90, "-30 m"},  {1440, "24 h"}};
    const Case hours[] = {{0, "12 AM"},  {1, "1 AM"},  {9, "9 AM"},   {11, "11 AM"},
                          {12, "12 PM"}, {13, "1 PM"}, {23, "11 PM"}, {24, "12 PM"}};
    const std::pair<QString (*)(Minutes), std::span<const Case>> tables[] = {
        {timeString, times}, {durationString, durations}, {hourLabel, hours}};
    for (const auto& [text, cases] : tables)
        for (const auto& [m, expected] : cases)
            EXPECT_EQ(text(m), QString::fromLatin1(expected)) << m;
    EXPECT_EQ(rangeString(540, 630), u"9:00 AM – 10:30 AM"_s);
}

TEST(TimeMath, DayKeysRoundTripWeekdaysCountFromSundayAndOnlyRealDatesInTheKeyFormParse) {
    test::TzGuard tz("UTC");
    // Weekdays count from Sunday: 2024-03-03 is one, 2024-03-09 a Saturday.
    const std::tuple<const char*, QDate, int> days[] = {{"2024-02-29", QDate(2024, 2, 29), 5},
                                                        {"0987-01-02", QDate(987, 1, 2), 3},
                                                        {"9999-12-31", QDate(9999, 12, 31), 6},
                                                        {"2024-03-03", QDate(2024, 3, 3), 1},
                                                        {"2024-03-09", QDate(2024, 3, 9), 7}};
    for (const auto& [key, date, day] : days) {
        const QDateTime instant(date, QTime(1, 0));
        EXPECT_EQ(std::tuple(dayKey(instant), dateFromDayKey(QString::fromLatin1(key)),
                             weekday(date), weekday(instant)),
                  std::tuple(QString::fromLatin1(key), std::optional(date), day, day));
    }
    EXPECT_EQ(startOfDay(u"2024-03-04"_s), QDateTime(QDate(2024, 3, 4), QTime(0, 0)));
    EXPECT_FALSE(startOfDay(u"yesterday"_s));
    for (const char* key :
         {"2023-02-29", "2024-13-01", "0000-01-01", "2024-3-4", "2024/03/04", "2024-03-04x",
          "2024-03-0x", "2024-+3-04", "+024-03-04", "2024-03- 4", ""})
        EXPECT_FALSE(dateFromDayKey(QString::fromLatin1(key))) << key;
}
