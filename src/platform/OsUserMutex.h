#pragma once

#include <cstdint>

#include "platform/OsUserHandle.h"

// Mutexes as handles, not recursive.

// A new mutex, held by the caller when `initialOwner` is nonzero, or null. `security` has no effect; a name is refused
// with a message on standard error.
_OsUserHandle* OsUserCreateMutex(const void* security, std::int32_t initialOwner, const char* name);

// The following take mutex handles only.

// Takes the mutex within `timeout` milliseconds: OSUSER_WAIT_OBJECT_0, OSUSER_WAIT_TIMEOUT or OSUSER_WAIT_FAILED.
std::uint32_t OsUserWaitForMutex(_OsUserHandle* handle, std::uint32_t timeout);

// 1, or 0 when the mutex could not be released.
std::int32_t OsUserReleaseMutex(_OsUserHandle* handle);

// 0 for null, else 1.
std::int32_t OsUserDeleteMutex(_OsUserHandle* handle);
