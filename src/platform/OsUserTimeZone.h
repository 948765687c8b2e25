#pragma once

#include <cstdint>
#include <ctime>

#include "platform/OsUserTime.h"

// The rules of a time zone. A date of change whose year is 0 repeats every year: then wDay is the week in the month, 5
// meaning the last. Texts end with a zero.
struct _TIME_ZONE_INFORMATION {
    std::int32_t Bias; // minutes west of UTC
    char StandardName[32];
    _SYSTEMTIME StandardDate; // the change to standard time, on the old clock
    std::int32_t StandardBias;
    char DaylightName[32];
    _SYSTEMTIME DaylightDate;  // the change to daylight saving time, on the old clock
    std::int32_t DaylightBias; // what daylight saving adds to Bias
};

static_assert(sizeof(_TIME_ZONE_INFORMATION) == 108);

// Results of OsUserGetTimeZoneInformation.
inline constexpr std::uint32_t OSUSER_TIME_ZONE_STANDARD = 1;
inline constexpr std::uint32_t OSUSER_TIME_ZONE_DAYLIGHT = 2;

// A moment of change as a rule: the week in the month instead of the date; seconds stay 0.
void Tm2TimeZoneTime(const tm* moment, _SYSTEMTIME* rule);

// The next changes of the process's time zone. Tells whether daylight saving is in force now.
std::uint32_t OsUserGetTimeZoneInformation(_TIME_ZONE_INFORMATION* information);
