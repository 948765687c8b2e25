#pragma once

#include <cstdint>
#include <ctime>

// Time records and their conversions. Local time is that of the process's time zone, which no lock guards.

// Fields of a calendar time.
struct _SYSTEMTIME {
    std::uint16_t wYear;
    std::uint16_t wMonth;     // 1 to 12
    std::uint16_t wDayOfWeek; // 0 is Sunday
    std::uint16_t wDay;
    std::uint16_t wHour;
    std::uint16_t wMinute;
    std::uint16_t wSecond;
    std::uint16_t wMilliseconds;
};

// Units of 100 nanoseconds since 1601-01-01 00:00 UTC.
using _FILETIME = std::uint64_t;

// 1970-01-01 00:00 UTC.
inline constexpr _FILETIME OSUSER_FILETIME_OF_EPOCH = 116444736000000000;

// Leaves the milliseconds as they are.
void Tm2Systime(const tm* source, _SYSTEMTIME* systemTime);

// Leaves the other fields of the tm as they are.
void Systime2Tm(const _SYSTEMTIME* systemTime, tm* destination);

// Always 0.
std::int32_t Systime2LocalTime(const _SYSTEMTIME* utc, _SYSTEMTIME* local);

// Takes the time as signed 32 bits.
void Timet2FileTime(std::time_t time, _FILETIME* fileTime);

void Timespec2FileTime(const timespec& time, _FILETIME* fileTime);
_FILETIME Timespec2FileTime(const timespec& time);
void FileTime2Timespec(_FILETIME fileTime, timespec* time);

// The present time; always 1.
std::int32_t OsUserGetLocalTime(_SYSTEMTIME* systemTime);
std::int32_t OsUserGetSystemTime(_SYSTEMTIME* systemTime);

// Sets the machine's clock: 1, or 0 with errno.
std::int32_t OsUserSetLocalTime(const _SYSTEMTIME* systemTime);
std::int32_t OsUserSetSystemTime(const _SYSTEMTIME* systemTime);

// From UTC; fields out of range carry over, the day of the week has no effect, and seconds outside the range of a
// signed 32-bit time wrap. Always 1.
std::int32_t OsUserSystemTimeToFileTime(const _SYSTEMTIME* systemTime, _FILETIME* fileTime);

// To local time when `local` is nonzero, else to UTC. Always 1.
std::int32_t OsUserFileTimeToSystemTime(const _FILETIME* fileTime, _SYSTEMTIME* systemTime, std::int32_t local);

// Always to local time.
std::int32_t OsUserFileTimeToSystemTime2(const _FILETIME* fileTime, _SYSTEMTIME* systemTime);
