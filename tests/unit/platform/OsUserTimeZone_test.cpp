#include "platform/OsUserTimeZone.h"

#include <gtest/gtest.h>

#include "WrappedCalls.h"
#include "ZoneGuard.h"

namespace {

constexpr const char* BERLIN = "CET-1CEST,M3.5.0,M10.5.0/3";

// Moments in UTC.
constexpr std::time_t JANUARY_2026 = 1768435200;  // 2026-01-15
constexpr std::time_t JULY_2026 = 1784073600;     // 2026-07-15
constexpr std::time_t DECEMBER_2026 = 1797292800; // 2026-12-15

struct TAnswer {
    std::uint32_t result;
    _TIME_ZONE_INFORMATION zone;
};

TAnswer AskAt(std::time_t now, const char* zone) {
    ZoneGuard guard(zone);
    WrappedCalls::SetTime(now);
    TAnswer answer;
    answer.result = OsUserGetTimeZoneInformation(&answer.zone);
    WrappedCalls::SetTime(std::nullopt);
    return answer;
}

// Year, month, day of week, week, hour, minute.
void ExpectRule(const _SYSTEMTIME& actual, const _SYSTEMTIME& expected) {
    EXPECT_EQ(actual.wYear, expected.wYear);
    EXPECT_EQ(actual.wMonth, expected.wMonth);
    EXPECT_EQ(actual.wDayOfWeek, expected.wDayOfWeek);
    EXPECT_EQ(actual.wDay, expected.wDay);
    EXPECT_EQ(actual.wHour, expected.wHour);
    EXPECT_EQ(actual.wMinute, expected.wMinute);
    EXPECT_EQ(actual.wSecond, 0);
    EXPECT_EQ(actual.wMilliseconds, 0);
}

TEST(OsUserTimeZoneTest, ZoneWithoutDaylightSavingHasNoDates) {
    const TAnswer answer = AskAt(JULY_2026, "IST-5:30");
    EXPECT_EQ(answer.result, 1u);
    EXPECT_EQ(answer.zone.Bias, -330);
    EXPECT_STREQ(answer.zone.StandardName, "IST");
    EXPECT_STREQ(answer.zone.DaylightName, "");
    EXPECT_EQ(answer.zone.StandardBias, 0);
    EXPECT_EQ(answer.zone.DaylightBias, 0);
    ExpectRule(answer.zone.StandardDate, {});
    ExpectRule(answer.zone.DaylightDate, {});
}

TEST(OsUserTimeZoneTest, YearlyRuleIsToldOnTheOldClockWithoutAYear) {
    const TAnswer answer = AskAt(JANUARY_2026, BERLIN);
    EXPECT_EQ(answer.result, 1u);
    EXPECT_EQ(answer.zone.Bias, -60);
    EXPECT_EQ(answer.zone.StandardBias, 0);
    EXPECT_EQ(answer.zone.DaylightBias, -60);
    EXPECT_STREQ(answer.zone.StandardName, "CET");
    EXPECT_STREQ(answer.zone.DaylightName, "CEST");
    ExpectRule(answer.zone.DaylightDate, {0, 3, 0, 5, 2, 0, 0, 0});
    ExpectRule(answer.zone.StandardDate, {0, 10, 0, 5, 3, 0, 0, 0});
}

TEST(OsUserTimeZoneTest, SameRuleIsToldAtAnyTimeOfTheYear) {
    for (const std::time_t now : {JULY_2026, DECEMBER_2026}) {
        const TAnswer answer = AskAt(now, BERLIN);
        EXPECT_EQ(answer.result, now == JULY_2026 ? 2u : 1u);
        EXPECT_EQ(answer.zone.Bias, -60);
        EXPECT_EQ(answer.zone.DaylightBias, -60);
        ExpectRule(answer.zone.DaylightDate, {0, 3, 0, 5, 2, 0, 0, 0});
        ExpectRule(answer.zone.StandardDate, {0, 10, 0, 5, 3, 0, 0, 0});
    }
}

TEST(OsUserTimeZoneTest, RuleOfAnEarlierWeekTellsTheWeek) {
    const TAnswer answer = AskAt(JANUARY_2026, "EST5EDT,M3.2.0,M11.1.0");
    EXPECT_EQ(answer.zone.Bias, 300);
    EXPECT_EQ(answer.zone.DaylightBias, -60);
    EXPECT_STREQ(answer.zone.StandardName, "EST");
    EXPECT_STREQ(answer.zone.DaylightName, "EDT");
    ExpectRule(answer.zone.DaylightDate, {0, 3, 0, 2, 2, 0, 0, 0});
    ExpectRule(answer.zone.StandardDate, {0, 11, 0, 1, 2, 0, 0, 0});
}

TEST(OsUserTimeZoneTest, SouthernZoneStartsTheYearInDaylightSaving) {
    const TAnswer answer = AskAt(JANUARY_2026, "AEST-10AEDT,M10.1.0,M4.1.0/3");
    EXPECT_EQ(answer.result, 2u);
    EXPECT_EQ(answer.zone.Bias, -600);
    EXPECT_EQ(answer.zone.DaylightBias, -60);
    ExpectRule(answer.zone.StandardDate, {0, 4, 0, 1, 3, 0, 0, 0});
    ExpectRule(answer.zone.DaylightDate, {0, 10, 0, 1, 2, 0, 0, 0});
}

TEST(OsUserTimeZoneTest, RulesThatDifferFromYearToYearKeepTheirYear) {
    // Julian days: the day of the week moves, so 2026 and 2027 have different rules.
    const TAnswer answer = AskAt(JANUARY_2026, "XST0XDT,J100/1:30,J300/2");
    ExpectRule(answer.zone.DaylightDate, {2026, 4, 5, 2, 1, 30, 0, 0});
    ExpectRule(answer.zone.StandardDate, {2026, 10, 2, 5, 2, 0, 0, 0});

    // What lies behind is taken from the next year.
    const TAnswer later = AskAt(JULY_2026, "XST0XDT,J100/1:30,J300/2");
    ExpectRule(later.zone.DaylightDate, {2027, 4, 6, 2, 1, 30, 0, 0});
    ExpectRule(later.zone.StandardDate, {2026, 10, 2, 5, 2, 0, 0, 0});
}

TEST(OsUserTimeZoneTest, ChangeAtMidnightIsToldAsHour24WithTheNewDay) {
    const TAnswer answer = AskAt(JANUARY_2026, "EET-2EEST,M4.5.5/0,M10.5.4/24");
    // On Friday at 00:00, which the old clock's last minute precedes on Thursday.
    ExpectRule(answer.zone.DaylightDate, {0, 4, 5, 5, 24, 0, 0, 0});
    // On Thursday at 24:00, when the new clock still shows Thursday.
    ExpectRule(answer.zone.StandardDate, {0, 10, 4, 5, 24, 0, 0, 0});
}

TEST(OsUserTimeZoneTest, HalfHourOfDaylightSavingIsTold) {
    const TAnswer answer = AskAt(JANUARY_2026, "<+1030>-10:30<+11>-11,M10.1.0,M4.1.0");
    EXPECT_EQ(answer.zone.Bias, -630);
    EXPECT_EQ(answer.zone.DaylightBias, -30);
    EXPECT_STREQ(answer.zone.DaylightName, "+11");
}

TEST(OsUserTimeZoneTest, WeekOfTheMonthIsFiveForTheLastSevenDays) {
    const struct {
        int month;
        int day;
        int week;
    } rows[] = {{0, 1, 1},  {0, 7, 1},  {0, 8, 2},  {0, 14, 2}, {0, 15, 3}, {0, 22, 4},  {0, 24, 4}, {0, 25, 5},
                {0, 31, 5}, {1, 21, 3}, {1, 22, 5}, {3, 23, 4}, {3, 24, 5}, {11, 24, 4}, {11, 25, 5}};

    for (const auto& row : rows) {
        tm moment = {};
        moment.tm_year = 126;
        moment.tm_mon = row.month;
        moment.tm_mday = row.day;
        moment.tm_wday = 4;
        moment.tm_hour = 3;
        moment.tm_min = 7;
        moment.tm_sec = 9;
        _SYSTEMTIME rule = {1, 1, 1, 1, 1, 1, 1, 1};
        Tm2TimeZoneTime(&moment, &rule);
        ExpectRule(rule, {2026, static_cast<std::uint16_t>(row.month + 1), 4, static_cast<std::uint16_t>(row.week), 3,
                          7, 0, 0});
    }
}

} // namespace
