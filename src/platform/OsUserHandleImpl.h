#pragma once

#include <pthread.h>

#include <cstdint>
#include <list>

#include "platform/OsUserHandle.h"

class _OsUserAddEvent;

// Kinds of handles.
inline constexpr std::uint32_t OSUSER_KIND_FILE = 1;
inline constexpr std::uint32_t OSUSER_KIND_THREAD = 2;
inline constexpr std::uint32_t OSUSER_KIND_EVENT = 3;
inline constexpr std::uint32_t OSUSER_KIND_MUTEX = 4;
inline constexpr std::uint32_t OSUSER_KIND_SEMA = 5;

// Base of all handles. It keeps the waiters on several handles that this one has to tell when it becomes signalled.
// Lock order, outward to inward: the event's mutex, this list's mutex, the mutex of an _OsUserAddEvent.
class _OsUserHandle {
public:
    _OsUserHandle();
    // The waiters that are still listed are not touched.
    virtual ~_OsUserHandle();
    _OsUserHandle(const _OsUserHandle&) = delete;
    _OsUserHandle& operator=(const _OsUserHandle&) = delete;

    // True for the kinds that can wake a waiter on several handles; the others have to be polled.
    virtual bool SupportsAdditionalEvents() { return false; }

    virtual void Lock() {}

    virtual void Unlock() {}

    // Any thread may ask, without a lock.
    virtual bool IsEventSignalled() { return false; }

    // Tells every listed waiter, in the order of adding, that this handle is signalled.
    virtual void SignalAdditionalEventsCritical();

    // Lists a waiter, and tells it at once when this handle is signalled already. False where that is not supported.
    virtual bool AddAdditionalEvent(_OsUserAddEvent* add);
    virtual bool RemoveAdditionalEvent(_OsUserAddEvent* add);

    std::uint32_t m_kind = 0;

private:
    std::list<_OsUserAddEvent*> m_additionalEvents;
    pthread_mutex_t m_listMutex;
};
