#include "platform/OsUserTime.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <limits>

#include "WrappedCalls.h"
#include "ZoneGuard.h"

namespace {

constexpr const char* BERLIN = "CET-1CEST,M3.5.0,M10.5.0/3";
constexpr std::uint64_t EPOCH = 116444736000000000;

void ExpectTime(const _SYSTEMTIME& actual, const _SYSTEMTIME& expected) {
    EXPECT_EQ(actual.wYear, expected.wYear);
    EXPECT_EQ(actual.wMonth, expected.wMonth);
    EXPECT_EQ(actual.wDayOfWeek, expected.wDayOfWeek);
    EXPECT_EQ(actual.wDay, expected.wDay);
    EXPECT_EQ(actual.wHour, expected.wHour);
    EXPECT_EQ(actual.wMinute, expected.wMinute);
    EXPECT_EQ(actual.wSecond, expected.wSecond);
    EXPECT_EQ(actual.wMilliseconds, expected.wMilliseconds);
}

_FILETIME ToFileTime(const _SYSTEMTIME& systemTime) {
    _FILETIME fileTime = 0;
    EXPECT_EQ(OsUserSystemTimeToFileTime(&systemTime, &fileTime), 1);
    return fileTime;
}

TEST(OsUserTimeTest, TmToSystemTimeLeavesTheMilliseconds) {
    tm source = {};
    source.tm_year = 126;
    source.tm_mon = 10;
    source.tm_wday = 6;
    source.tm_mday = 21;
    source.tm_hour = 13;
    source.tm_min = 14;
    source.tm_sec = 15;
    _SYSTEMTIME systemTime = {};
    systemTime.wMilliseconds = 77;
    Tm2Systime(&source, &systemTime);
    ExpectTime(systemTime, {2026, 11, 6, 21, 13, 14, 15, 77});
}

TEST(OsUserTimeTest, SystemTimeToTmLeavesTheOtherFields) {
    const _SYSTEMTIME systemTime = {2026, 11, 6, 21, 13, 14, 15, 77};
    tm destination = {};
    destination.tm_isdst = -3;
    destination.tm_yday = 99;
    Systime2Tm(&systemTime, &destination);
    EXPECT_EQ(destination.tm_year, 126);
    EXPECT_EQ(destination.tm_mon, 10);
    EXPECT_EQ(destination.tm_wday, 6);
    EXPECT_EQ(destination.tm_mday, 21);
    EXPECT_EQ(destination.tm_hour, 13);
    EXPECT_EQ(destination.tm_min, 14);
    EXPECT_EQ(destination.tm_sec, 15);
    EXPECT_EQ(destination.tm_isdst, -3);
    EXPECT_EQ(destination.tm_yday, 99);
}

TEST(OsUserTimeTest, UtcBecomesLocalTime) {
    ZoneGuard zone(BERLIN);
    const _SYSTEMTIME summer = {2026, 6, 0, 30, 23, 30, 5, 250};
    _SYSTEMTIME local = {};
    EXPECT_EQ(Systime2LocalTime(&summer, &local), 0);
    ExpectTime(local, {2026, 7, 3, 1, 1, 30, 5, 250});
    const _SYSTEMTIME winter = {2026, 1, 0, 1, 12, 0, 0, 0};
    EXPECT_EQ(Systime2LocalTime(&winter, &local), 0);
    ExpectTime(local, {2026, 1, 4, 1, 13, 0, 0, 0});
}

TEST(OsUserTimeTest, SecondsAreReadAsSigned32Bits) {
    _FILETIME fileTime = 0;
    Timet2FileTime(0, &fileTime);
    EXPECT_EQ(fileTime, EPOCH);
    Timet2FileTime(1, &fileTime);
    EXPECT_EQ(fileTime, EPOCH + 10000000);
    Timet2FileTime(-1, &fileTime);
    EXPECT_EQ(fileTime, EPOCH - 10000000);
    Timet2FileTime(0x80000000LL, &fileTime);
    EXPECT_EQ(fileTime, EPOCH - 2147483648ULL * 10000000);
    Timet2FileTime(0x100000001LL, &fileTime);
    EXPECT_EQ(fileTime, EPOCH + 10000000);
}

TEST(OsUserTimeTest, TimespecConvertsBothWays) {
    const timespec time = {0x80000000LL, 123456789};
    _FILETIME fileTime = 0;
    Timespec2FileTime(time, &fileTime);
    EXPECT_EQ(fileTime, EPOCH + 2147483648ULL * 10000000 + 1234567);
    EXPECT_EQ(Timespec2FileTime(time), fileTime);

    timespec back = {};
    FileTime2Timespec(fileTime, &back);
    EXPECT_EQ(back.tv_sec, 0x80000000LL);
    EXPECT_EQ(back.tv_nsec, 123456700);
}

TEST(OsUserTimeTest, TimespecBeforeTheEpochSplitsTowardsZero) {
    timespec time = {};
    FileTime2Timespec(EPOCH - 15000000, &time);
    EXPECT_EQ(time.tv_sec, -1);
    EXPECT_EQ(time.tv_nsec, -500000000);
}

TEST(OsUserTimeTest, ExtremeTimespecsWrap) {
    EXPECT_EQ(Timespec2FileTime({std::numeric_limits<std::time_t>::max(), 999999999}),
              0x7FFFFFFFFFFFFFFFULL * 10000000 + 9999999 + EPOCH);
    timespec time = {};
    FileTime2Timespec(0, &time);
    EXPECT_EQ(time.tv_sec, -11644473600LL);
}

TEST(OsUserTimeTest, SystemTimeOfTheEpochIsTheDistanceOfTheEpochs) {
    EXPECT_EQ(ToFileTime({1970, 1, 4, 1, 0, 0, 0, 0}), 116444736000000000u);
    EXPECT_EQ(OSUSER_FILETIME_OF_EPOCH, 0x19DB1DED53E8000u);
}

TEST(OsUserTimeTest, MillisecondsCountTenThousandUnits) {
    EXPECT_EQ(ToFileTime({2026, 11, 0, 21, 13, 14, 15, 999}), EPOCH + 1795266855ULL * 10000000 + 9990000);
}

TEST(OsUserTimeTest, DayOfWeekHasNoEffectAndFieldsCarryOver) {
    const _FILETIME first = ToFileTime({2027, 1, 0, 1, 0, 0, 0, 0});
    EXPECT_EQ(ToFileTime({2027, 1, 3, 1, 0, 0, 0, 0}), first);
    EXPECT_EQ(ToFileTime({2026, 13, 0, 1, 0, 0, 0, 0}), first);
    EXPECT_EQ(ToFileTime({2026, 12, 0, 31, 23, 59, 60, 0}), first);
}

TEST(OsUserTimeTest, DateBeyondTheSigned32BitTimeWraps) {
    // One second after 2038-01-19 03:14:07 is 1901-12-13 20:45:52.
    EXPECT_EQ(ToFileTime({2038, 1, 0, 19, 3, 14, 7, 0}), EPOCH + 2147483647ULL * 10000000);
    EXPECT_EQ(ToFileTime({2038, 1, 0, 19, 3, 14, 8, 0}), EPOCH - 2147483648ULL * 10000000);
    EXPECT_EQ(ToFileTime({1901, 12, 0, 13, 20, 45, 51, 0}), EPOCH + 2147483647ULL * 10000000);
}

TEST(OsUserTimeTest, FileTimeBecomesUtcOrLocalTime) {
    ZoneGuard zone(BERLIN);
    const _FILETIME epoch = EPOCH;
    _SYSTEMTIME systemTime = {};
    EXPECT_EQ(OsUserFileTimeToSystemTime(&epoch, &systemTime, 0), 1);
    ExpectTime(systemTime, {1970, 1, 4, 1, 0, 0, 0, 0});

    const _FILETIME later = EPOCH + 1795266855ULL * 10000000 + 9999999;
    EXPECT_EQ(OsUserFileTimeToSystemTime(&later, &systemTime, 0), 1);
    ExpectTime(systemTime, {2026, 11, 6, 21, 13, 14, 15, 999});
    EXPECT_EQ(OsUserFileTimeToSystemTime(&later, &systemTime, 1), 1);
    ExpectTime(systemTime, {2026, 11, 6, 21, 14, 14, 15, 999});
    systemTime = {};
    EXPECT_EQ(OsUserFileTimeToSystemTime2(&later, &systemTime), 1);
    ExpectTime(systemTime, {2026, 11, 6, 21, 14, 14, 15, 999});
}

TEST(OsUserTimeTest, PresentTimeIsTheClocks) {
    ZoneGuard zone("XYZ-7");
    timespec before;
    clock_gettime(CLOCK_REALTIME, &before);
    _SYSTEMTIME utc = {};
    _SYSTEMTIME local = {};
    EXPECT_EQ(OsUserGetSystemTime(&utc), 1);
    EXPECT_EQ(OsUserGetLocalTime(&local), 1);
    timespec after;
    clock_gettime(CLOCK_REALTIME, &after);

    // Both are cut to milliseconds.
    const std::uint64_t first = Timespec2FileTime(before) / 10000 * 10000;
    const std::uint64_t last = Timespec2FileTime(after);
    EXPECT_GE(ToFileTime(utc), first);
    EXPECT_LE(ToFileTime(utc), last);
    constexpr std::uint64_t SEVEN_HOURS = 7ULL * 3600 * 10000000;
    EXPECT_GE(ToFileTime(local), first + SEVEN_HOURS);
    EXPECT_LE(ToFileTime(local), last + SEVEN_HOURS);
    EXPECT_LT(utc.wMilliseconds, 1000);
}

TEST(OsUserTimeTest, SystemTimeIsSetInUtc) {
    ZoneGuard zone(BERLIN);
    timeval set = {};
    WrappedCalls::CatchNextSetTimeOfDay(&set, false);
    const _SYSTEMTIME systemTime = {2026, 11, 0, 21, 13, 14, 15, 250};
    EXPECT_EQ(OsUserSetSystemTime(&systemTime), 1);
    EXPECT_EQ(set.tv_sec, 1795266855);
    EXPECT_EQ(set.tv_usec, 250000);
}

TEST(OsUserTimeTest, LocalTimeIsSetInTheZoneInWinterAndSummer) {
    ZoneGuard zone(BERLIN);
    timeval set = {};
    WrappedCalls::CatchNextSetTimeOfDay(&set, false);
    const _SYSTEMTIME winter = {2026, 11, 0, 21, 14, 14, 15, 999};
    EXPECT_EQ(OsUserSetLocalTime(&winter), 1);
    EXPECT_EQ(set.tv_sec, 1795266855);
    EXPECT_EQ(set.tv_usec, 999000);

    WrappedCalls::CatchNextSetTimeOfDay(&set, false);
    const _SYSTEMTIME summer = {2026, 7, 0, 1, 2, 0, 0, 0};
    EXPECT_EQ(OsUserSetLocalTime(&summer), 1);
    EXPECT_EQ(set.tv_sec, 1782864000);
}

TEST(OsUserTimeTest, RefusedClockGivesZeroAndErrno) {
    timeval set = {};
    const _SYSTEMTIME systemTime = {2026, 11, 0, 21, 13, 14, 15, 0};
    WrappedCalls::CatchNextSetTimeOfDay(&set, true);
    errno = 0;
    EXPECT_EQ(OsUserSetSystemTime(&systemTime), 0);
    EXPECT_EQ(errno, EPERM);
    WrappedCalls::CatchNextSetTimeOfDay(&set, true);
    EXPECT_EQ(OsUserSetLocalTime(&systemTime), 0);
}

} // namespace
