#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>

class _OsUserHandle;

// One waiter on several handles. It lives in the frame of the waiting function, between Create and Delete.
class _OsUserAddEvent {
public:
    _OsUserAddEvent() = default;
    _OsUserAddEvent(const _OsUserAddEvent&) = delete;
    _OsUserAddEvent& operator=(const _OsUserAddEvent&) = delete;

    // Enters this waiter into the list of each handle; the array stays the caller's and must outlive the waiter. False,
    // with nothing to delete, when no condition can be made.
    bool Create(std::uint32_t count, _OsUserHandle* const* handles);
    // Leaves the lists: no handle signals this waiter any more afterwards.
    void Delete();

    // The first handle to signal wins, later ones are dropped.
    void Signal(_OsUserHandle* handle);

    // OSUSER_WAIT_OBJECT_0 when a handle has signalled, OSUSER_WAIT_TIMEOUT or OSUSER_WAIT_FAILED.
    std::uint32_t Wait(int milliseconds);
    std::uint32_t Wait();

    // The handle that signalled first, or null.
    _OsUserHandle* GetSignalled() const { return m_signalled.load(std::memory_order_relaxed); }

private:
    pthread_cond_t m_condition;
    std::atomic<_OsUserHandle*> m_signalled = nullptr;
    pthread_mutex_t m_mutex;
    std::uint32_t m_count = 0;
    _OsUserHandle* const* m_handles = nullptr;
};
