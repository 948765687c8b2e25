#include "platform/OsUserTime.h"

#include <sys/time.h>

namespace {

constexpr std::uint64_t UNITS_PER_SECOND = 10000000;
constexpr std::uint64_t UNITS_PER_MILLISECOND = 10000;

// Modulo 2^64, as are the times of the files of a strange file system.
_FILETIME FileTimeOfSeconds(std::int64_t seconds) {
    return static_cast<std::uint64_t>(seconds) * UNITS_PER_SECOND + OSUSER_FILETIME_OF_EPOCH;
}

std::int32_t GetTime(_SYSTEMTIME* systemTime, tm* (*convert)(const std::time_t*, tm*)) {
    timeval now;
    gettimeofday(&now, nullptr);
    tm fields = {};
    convert(&now.tv_sec, &fields);
    Tm2Systime(&fields, systemTime);
    systemTime->wMilliseconds = static_cast<std::uint16_t>(now.tv_usec / 1000);
    return 1;
}

std::int32_t SetTime(const _SYSTEMTIME* systemTime, std::time_t (*convert)(tm*)) {
    tm fields = {};
    Systime2Tm(systemTime, &fields);
    // The zone's rules say whether it is summer.
    fields.tm_isdst = -1;
    timeval time = {};
    time.tv_sec = convert(&fields);
    time.tv_usec = systemTime->wMilliseconds * suseconds_t{1000};
    return settimeofday(&time, nullptr) == 0 ? 1 : 0;
}

} // namespace

void Tm2Systime(const tm* source, _SYSTEMTIME* systemTime) {
    systemTime->wYear = static_cast<std::uint16_t>(source->tm_year + 1900);
    systemTime->wMonth = static_cast<std::uint16_t>(source->tm_mon + 1);
    systemTime->wDayOfWeek = static_cast<std::uint16_t>(source->tm_wday);
    systemTime->wDay = static_cast<std::uint16_t>(source->tm_mday);
    systemTime->wHour = static_cast<std::uint16_t>(source->tm_hour);
    systemTime->wMinute = static_cast<std::uint16_t>(source->tm_min);
    systemTime->wSecond = static_cast<std::uint16_t>(source->tm_sec);
}

void Systime2Tm(const _SYSTEMTIME* systemTime, tm* destination) {
    destination->tm_year = systemTime->wYear - 1900;
    destination->tm_mon = systemTime->wMonth - 1;
    destination->tm_wday = systemTime->wDayOfWeek;
    destination->tm_mday = systemTime->wDay;
    destination->tm_hour = systemTime->wHour;
    destination->tm_min = systemTime->wMinute;
    destination->tm_sec = systemTime->wSecond;
}

std::int32_t Systime2LocalTime(const _SYSTEMTIME* utc, _SYSTEMTIME* local) {
    tm fields = {};
    Systime2Tm(utc, &fields);
    const std::time_t time = timegm(&fields);
    localtime_r(&time, &fields);
    Tm2Systime(&fields, local);
    local->wMilliseconds = utc->wMilliseconds;
    return 0;
}

void Timet2FileTime(std::time_t time, _FILETIME* fileTime) {
    // Meant: the times of this system are handled in 32 bits throughout.
    *fileTime = FileTimeOfSeconds(static_cast<std::int32_t>(time));
}

void Timespec2FileTime(const timespec& time, _FILETIME* fileTime) {
    *fileTime = Timespec2FileTime(time);
}

_FILETIME Timespec2FileTime(const timespec& time) {
    return FileTimeOfSeconds(time.tv_sec) + static_cast<std::uint64_t>(time.tv_nsec / 100);
}

void FileTime2Timespec(_FILETIME fileTime, timespec* time) {
    const auto units = static_cast<std::int64_t>(fileTime - OSUSER_FILETIME_OF_EPOCH);
    constexpr auto PER_SECOND = static_cast<std::int64_t>(UNITS_PER_SECOND);
    time->tv_sec = units / PER_SECOND;
    time->tv_nsec = static_cast<long>(units % PER_SECOND * 100);
}

std::int32_t OsUserGetLocalTime(_SYSTEMTIME* systemTime) {
    return GetTime(systemTime, localtime_r);
}

std::int32_t OsUserGetSystemTime(_SYSTEMTIME* systemTime) {
    return GetTime(systemTime, gmtime_r);
}

std::int32_t OsUserSetLocalTime(const _SYSTEMTIME* systemTime) {
    return SetTime(systemTime, timelocal);
}

std::int32_t OsUserSetSystemTime(const _SYSTEMTIME* systemTime) {
    return SetTime(systemTime, timegm);
}

std::int32_t OsUserSystemTimeToFileTime(const _SYSTEMTIME* systemTime, _FILETIME* fileTime) {
    tm fields = {};
    Systime2Tm(systemTime, &fields);
    Timet2FileTime(timegm(&fields), fileTime);
    *fileTime += systemTime->wMilliseconds * UNITS_PER_MILLISECOND;
    return 1;
}

std::int32_t OsUserFileTimeToSystemTime(const _FILETIME* fileTime, _SYSTEMTIME* systemTime, std::int32_t local) {
    timespec time;
    FileTime2Timespec(*fileTime, &time);
    tm fields = {};
    if (local != 0) {
        localtime_r(&time.tv_sec, &fields);
    } else {
        gmtime_r(&time.tv_sec, &fields);
    }
    Tm2Systime(&fields, systemTime);
    systemTime->wMilliseconds = static_cast<std::uint16_t>(time.tv_nsec / 1000000);
    return 1;
}

std::int32_t OsUserFileTimeToSystemTime2(const _FILETIME* fileTime, _SYSTEMTIME* systemTime) {
    return OsUserFileTimeToSystemTime(fileTime, systemTime, 1);
}
