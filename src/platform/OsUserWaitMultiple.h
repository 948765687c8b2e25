#pragma once

#include <cstdint>

#include "platform/OsUserHandle.h"

// Waits for any of the handles, or with a nonzero `waitAll` until each has been signalled at some time, and consumes
// what it saw. Any number of handles of all kinds; where one cannot wake the waiter they are polled each millisecond.
// Gives the index of the handle (0 with `waitAll`) or OSUSER_WAIT_TIMEOUT. Of several handles that are signalled
// already the lowest index wins, else the first to signal.
//
// A finite wait that was woken but lost an auto-reset event to another thread ends in OSUSER_WAIT_TIMEOUT; an infinite
// one goes on waiting for that handle alone.
std::uint32_t OsUserWaitForMultipleObjects(std::uint32_t count, _OsUserHandle* const* handles, std::int32_t waitAll,
                                           std::uint32_t timeout);
