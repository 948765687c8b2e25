#pragma once

#include <cstdint>

#include "platform/OsUserHandle.h"

// Counting semaphores as handles, private to the process.

// A new semaphore, or null. `security` and `maximumCount` have no effect; a name is refused with a message on standard
// error.
_OsUserHandle* OsUserCreateSema(const void* security, std::int32_t initialCount, std::int32_t maximumCount,
                                const char* name);

// The following take semaphore handles only.

// Takes one count within `timeout` milliseconds: OSUSER_WAIT_OBJECT_0, or OSUSER_WAIT_FAILED also when the time has
// passed.
std::uint32_t OsUserWaitForSema(_OsUserHandle* handle, std::uint32_t timeout);

// The same; an alertable wait is not supported, which is said on standard error.
std::uint32_t OsUserWaitForSemaEx(_OsUserHandle* handle, std::uint32_t timeout, std::int32_t alertable);

// Adds `count`; a count below 1 adds nothing. 1 when all were added, else 0. A previous count is never written; asking
// for it is answered on standard error.
std::int32_t OsUserReleaseSema(_OsUserHandle* handle, std::int32_t count, std::int32_t* previousCount);

// 0 for null, else 1.
std::int32_t OsUserDeleteSema(_OsUserHandle* handle);
