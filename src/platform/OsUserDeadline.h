#pragma once

#include <cstdint>
#include <ctime>

// A time later by that many milliseconds. Seconds and nanoseconds are added apart with one carry upward, so a negative
// time-out may leave negative nanoseconds, which the wait calls refuse.
timespec OsUserAddMilliseconds(timespec time, std::int32_t milliseconds);

// The CLOCK_REALTIME moment at which a wait of that many milliseconds ends; a step of the clock moves it. False when
// the clock cannot be read.
bool OsUserGetDeadline(std::int32_t milliseconds, timespec* deadline);
