#include <sys/time.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <limits>

#include "modules/time/ObjectTime_BSD.h"
#include "modules/time/TimeItem.h"
#include "platform/OsUserTime.h"

// The clock in its three forms.
namespace Time {

namespace {

constexpr int SECONDS_PER_MINUTE = 60;
constexpr int MINUTES_PER_HOUR = 60;
constexpr int MINUTES_PER_DAY = 24 * MINUTES_PER_HOUR;

// The text of the local time: the scan takes at most six characters of offset.
constexpr int TIME_FIELDS = 8;
constexpr int OFFSET_FIELDS = 2;

// Local time as fields, after the zone that the process has at this moment.
tm LocalTime(std::time_t time) {
    tzset();
    tm fields = {};
    localtime_r(&time, &fields);
    return fields;
}

ObjResult SetSeconds(TInfoItem* item, std::int64_t seconds) {
    if (seconds > std::numeric_limits<std::uint32_t>::max()) {
        return OBJ_E_OUTOFRANGE;
    }
    if (seconds < 0) {
        return OBJ_E_UNEXPECTED;
    }
    return SetNumber(item, static_cast<std::uint32_t>(seconds));
}

ObjResult SetClock(std::int64_t seconds) {
    timeval time = {};
    time.tv_sec = static_cast<std::time_t>(seconds);
    return settimeofday(&time, nullptr) == 0 ? OBJ_E_NOERR : OsResult(static_cast<std::uint32_t>(errno));
}

// The minutes to add to local time for UTC, out of an offset such as "+01:00". False where it is none.
bool ParseOffset(const char* text, int& minutes) {
    int hours = 0;
    int rest = 0;
    if (text[0] == '\0' || std::sscanf(text + 1, "%02d:%02d", &hours, &rest) != OFFSET_FIELDS) {
        return false;
    }
    minutes = hours * MINUTES_PER_HOUR + rest;
    if (text[0] == '+') {
        minutes = -minutes;
    }
    return text[0] == '+' || text[0] == '-';
}

bool IsWithin(long value, long lowest, long highest) {
    return value >= lowest && value <= highest;
}

// Seconds since 1970 out of a text such as "2026-11-22T14:05:09.250+01:00"; the part of a second is dropped. False
// where it is no time.
bool ParseTime(const std::string& text, std::int64_t& seconds) {
    int year = 0;
    int month = 0;
    int day = 0;
    int hour = 0;
    int minute = 0;
    int second = 0;
    long millisecond = 0; // meant: one with a leading zero is octal
    char offset[7] = {};
    int toUtc = 0;
    if (std::sscanf(text.c_str(), "%4d-%2d-%2dT%2d:%2d:%2d.%li%6s", &year, &month, &day, &hour, &minute, &second,
                    &millisecond, offset) != TIME_FIELDS ||
        !ParseOffset(offset, toUtc)) {
        return false;
    }
    // A day that the month does not have is let pass and carries over.
    if (!IsWithin(year, 1980, 2106) || !IsWithin(month, 1, 12) || !IsWithin(day, 1, 31) || !IsWithin(hour, 0, 23) ||
        !IsWithin(minute, 0, 59) || !IsWithin(second, 0, 59) || !IsWithin(millisecond, 0, 999) ||
        !IsWithin(toUtc, 1 - MINUTES_PER_DAY, MINUTES_PER_DAY - 1)) {
        return false;
    }
    tm fields = {};
    fields.tm_year = year - 1900;
    fields.tm_mon = month - 1;
    fields.tm_mday = day;
    fields.tm_hour = hour;
    fields.tm_min = minute;
    fields.tm_sec = second;
    seconds = std::int64_t{timegm(&fields)} + std::int64_t{toUtc} * SECONDS_PER_MINUTE;
    return true;
}

} // namespace

ObjResult CObj0x8nn1::ReadTimeUtc(TInfoItem* item, unsigned short /*index*/, unsigned char /*subIndex*/) {
    return SetSeconds(item, std::time(nullptr));
}

ObjResult CObj0x8nn1::WriteTimeUtc(TInfoItem* /*item*/, unsigned short /*index*/, unsigned char /*subIndex*/,
                                   void* data, unsigned int size) {
    if (size != sizeof(std::uint32_t)) {
        return OBJ_E_BUFFERTOOSMALL;
    }
    return SetClock(LoadLe<std::uint32_t>(data));
}

ObjResult CObj0x8nn1::ReadTimeLocal(TInfoItem* item, unsigned short /*index*/, unsigned char /*subIndex*/) {
    // The wall clock's time read as if it were UTC.
    tm fields = LocalTime(std::time(nullptr));
    return SetSeconds(item, timegm(&fields));
}

ObjResult CObj0x8nn1::ReadTimeFormat(TInfoItem* item, unsigned short /*index*/, unsigned char /*subIndex*/) {
    const long offset = LocalTime(std::time(nullptr)).tm_gmtoff / SECONDS_PER_MINUTE;
    const long distance = std::labs(offset);
    _SYSTEMTIME now = {};
    OsUserGetLocalTime(&now);
    char text[96];
    // Meant: milliseconds have no leading zeros.
    const int length = std::snprintf(text, sizeof text, "%04i-%02i-%02iT%02i:%02i:%02i.%i%s%02li:%02li", now.wYear,
                                     now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond, now.wMilliseconds,
                                     offset < 0 ? "-" : "+", distance / MINUTES_PER_HOUR, distance % MINUTES_PER_HOUR);
    // A value that cannot be kept reads as no data.
    CInfoItem(item).SetStringA(text, static_cast<unsigned int>(length));
    return OBJ_E_NOERR;
}

ObjResult CObj0x8nn1::WriteTimeFormat(TInfoItem* /*item*/, unsigned short /*index*/, unsigned char /*subIndex*/,
                                      void* data, unsigned int size) {
    if (size == 0) {
        return OBJ_E_INVALIDARG;
    }
    std::int64_t seconds = 0;
    if (!ParseTime(std::string(static_cast<const char*>(data), size), seconds)) {
        return OBJ_E_INVALIDARG;
    }
    return SetClock(seconds);
}

} // namespace Time
