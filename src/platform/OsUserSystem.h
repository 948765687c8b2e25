#pragma once

#include <cstdint>

// errno of the calling thread.
int OsUserGetLastError();

// errno as a Win32 error code; one without a counterpart gives 10000 plus errno.
std::uint32_t OsUserGetLastWin32Error();

// Milliseconds of the monotonic clock; wraps after 49.7 days.
std::uint32_t OsUserGetTickCount();

// Sleeps; the time in microseconds is taken in 32 bits.
void OsUserSleep(std::uint32_t milliseconds);
