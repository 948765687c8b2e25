#pragma once

#include <pthread.h>

#include <cstddef>
#include <cstdint>

#include "platform/OsUserHandle.h"

// Threads as handles that can be waited on. A handle is signalled from the thread's end on; closing it detaches a
// thread that still runs. Stack size, flags and affinity have no effect: every thread has the default attributes and
// priority.

// What a thread runs; its result is discarded. An exception that leaves it ends the thread only.
using OsUserThreadRoutine = std::uint32_t (*)(void* parameter);

// Bit of the creation flags: the thread waits for OsUserThreadResume before it runs its routine.
inline constexpr std::uint32_t OSUSER_CREATE_SUSPENDED = 4;

// A handle, or null when no thread can be made. `threadIdOut` may be null.
_OsUserHandle* OsUserCreateThread(const void* security, std::size_t stackSize, OsUserThreadRoutine startRoutine,
                                  void* parameter, std::uint32_t creationFlags, pthread_t* threadIdOut);

// These give 0 and a handle in `handleOut`, or the error of pthread_create.
int OsUserCreateThreadEx(std::size_t stackSize, OsUserThreadRoutine startRoutine, void* parameter, std::uint32_t flags,
                         _OsUserHandle** handleOut, pthread_t* threadIdOut, std::int32_t suspended);
int OsUserCreateThreadCpuAffinityEx(std::size_t stackSize, OsUserThreadRoutine startRoutine, void* parameter,
                                    std::uint32_t flags, _OsUserHandle** handleOut, std::uint32_t affinity,
                                    pthread_t* threadIdOut, std::int32_t suspended);

// The following take thread handles only.

// Lets a thread that was created suspended run. Always 0.
std::uint32_t OsUserThreadResume(_OsUserHandle* handle);

// Always 1.
std::int32_t OsUserCloseThreadHandle(_OsUserHandle* handle);

// Waits for the thread's end: OSUSER_WAIT_OBJECT_0, OSUSER_WAIT_TIMEOUT or OSUSER_WAIT_FAILED.
std::uint32_t OsUserWaitForThread(_OsUserHandle* handle, std::uint32_t timeout);

pthread_t OsUserGetCurrentThreadId();

// Nonzero when `thread` is the calling thread; 0 for a null identifier.
std::int32_t OsUserIsCurrentThreadEqual(pthread_t thread);

// Does nothing and gives 0.
std::int32_t OsUserSetCurrentThreadPrio(int priority);
