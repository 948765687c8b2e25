#include "platform/OsUserWaitMultiple.h"

#include <unistd.h>

#include <algorithm>
#include <optional>
#include <span>
#include <vector>

#include "platform/OsUserAddEvent.h"
#include "platform/OsUserHandleImpl.h"
#include "platform/OsUserSystem.h"

namespace {

using HandleSpan = std::span<_OsUserHandle* const>;

bool TryConsume(_OsUserHandle* handle) {
    return OsUserWaitForSingleObject(handle, 0) == OSUSER_WAIT_OBJECT_0;
}

std::optional<std::uint32_t> PollAny(HandleSpan handles) {
    const auto found = std::find_if(handles.begin(), handles.end(), TryConsume);
    if (found == handles.end()) {
        return std::nullopt;
    }
    return static_cast<std::uint32_t>(found - handles.begin());
}

// Consumes the handles not yet seen; true when all have been seen.
bool PollAll(HandleSpan handles, std::vector<char>& seen) {
    for (std::size_t i = 0; i < handles.size(); ++i) {
        if (seen[i] == 0 && TryConsume(handles[i])) {
            seen[i] = 1;
        }
    }
    return std::find(seen.begin(), seen.end(), 0) == seen.end();
}

// Sleeps until a handle announces itself, and consumes that one. Nothing when the waiter could not be made or no handle
// announced itself: then only polling is left.
std::optional<std::uint32_t> WaitForAnnouncement(HandleSpan handles, std::uint32_t timeout, std::uint32_t start) {
    _OsUserAddEvent add;
    if (!add.Create(static_cast<std::uint32_t>(handles.size()), handles.data())) {
        return std::nullopt;
    }
    if (timeout == OSUSER_INFINITE) {
        add.Wait();
    } else {
        add.Wait(static_cast<int>(timeout));
    }
    add.Delete();

    const auto found = std::find(handles.begin(), handles.end(), add.GetSignalled());
    if (add.GetSignalled() == nullptr || found == handles.end()) {
        return std::nullopt;
    }
    std::uint32_t rest = OSUSER_INFINITE;
    if (timeout != OSUSER_INFINITE) {
        const std::uint32_t elapsed = OsUserGetTickCount() - start;
        rest = elapsed < timeout ? timeout - elapsed : 0;
    }
    if (OsUserWaitForSingleObject(*found, rest) != OSUSER_WAIT_OBJECT_0) {
        return OSUSER_WAIT_TIMEOUT;
    }
    return static_cast<std::uint32_t>(found - handles.begin());
}

bool CanAnnounceItself(_OsUserHandle* handle) {
    return handle != nullptr && handle->SupportsAdditionalEvents();
}

} // namespace

std::uint32_t OsUserWaitForMultipleObjects(std::uint32_t count, _OsUserHandle* const* handles, std::int32_t waitAll,
                                           std::uint32_t timeout) {
    const HandleSpan all(handles, count);
    std::vector<char> seen(waitAll != 0 ? count : 0);
    if (waitAll == 0) {
        if (const auto index = PollAny(all)) {
            return *index;
        }
    }
    const std::uint32_t start = OsUserGetTickCount();
    if (waitAll == 0 && std::all_of(all.begin(), all.end(), CanAnnounceItself)) {
        if (const auto result = WaitForAnnouncement(all, timeout, start)) {
            return *result;
        }
    }
    // Also how a time-out ends: after one more look and a millisecond, even when the time-out is 0.
    for (;;) {
        if (waitAll == 0) {
            if (const auto index = PollAny(all)) {
                return *index;
            }
        } else if (PollAll(all, seen)) {
            return 0;
        }
        usleep(1000);
        if (timeout != OSUSER_INFINITE && OsUserGetTickCount() - start >= timeout) {
            return OSUSER_WAIT_TIMEOUT;
        }
    }
}
