#pragma once

#include <cstdint>

// A thing that can be closed and, but for files, waited on: file, thread, event, mutex or semaphore. Opaque here; made
// by the OsUserCreate... functions and ended by OsUserCloseHandle. A handle must not be closed while it is waited on.
class _OsUserHandle;

// A wait time-out, in milliseconds, that never passes.
inline constexpr std::uint32_t OSUSER_INFINITE = 0xFFFFFFFF;

// Results of the waits.
inline constexpr std::uint32_t OSUSER_WAIT_OBJECT_0 = 0;
inline constexpr std::uint32_t OSUSER_WAIT_TIMEOUT = 258;
inline constexpr std::uint32_t OSUSER_WAIT_FAILED = 0xFFFFFFFF;

// Ends a handle of any kind: 1, or 0 with errno EINVAL when the kind is unknown. A thread whose handle is closed runs
// on to its end.
std::int32_t OsUserCloseHandle(_OsUserHandle* handle);

// Waits for a thread's end, an event, a mutex or a semaphore: OSUSER_WAIT_OBJECT_0, OSUSER_WAIT_TIMEOUT or
// OSUSER_WAIT_FAILED. Files and unknown kinds fail with errno EINVAL. A semaphore's time-out is a failure too.
std::uint32_t OsUserWaitForSingleObject(_OsUserHandle* handle, std::uint32_t timeout);

// The same; `alertable` has no effect.
std::uint32_t OsUserWaitForSingleObjectEx(_OsUserHandle* handle, std::uint32_t timeout, std::int32_t alertable);
