#pragma once

#include <cstdint>

#include "platform/OsUserHandle.h"

// An event is signalled or not. A manual-reset event stays signalled until it is reset; an auto-reset event is reset by
// each wait that succeeds. Setting an event releases every thread that is blocked on it at that moment, on an
// auto-reset event too: nobody may count on one release at a time.

// A new event, or null. A security descriptor or a name is refused.
_OsUserHandle* OsUserCreateEvent(const void* security, std::int32_t manualReset, std::int32_t initialState,
                                 const char* name);

// The following take event handles only. Set and reset always give 1.
std::int32_t OsUserSetEvent(_OsUserHandle* handle);
std::int32_t OsUserResetEvent(_OsUserHandle* handle);

// Waits at most `timeout` milliseconds: OSUSER_WAIT_OBJECT_0, OSUSER_WAIT_TIMEOUT or OSUSER_WAIT_FAILED.
std::uint32_t OsUserWaitForEvent(_OsUserHandle* handle, std::uint32_t timeout);

// The same; an alertable wait is not supported, which is said on standard error.
std::uint32_t OsUserWaitForEventEx(_OsUserHandle* handle, std::uint32_t timeout, std::int32_t alertable);

// 0 for null, else 1.
std::int32_t OsUserDeleteEvent(_OsUserHandle* handle);
