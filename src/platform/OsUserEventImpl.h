#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>

#include "platform/OsUserHandleImpl.h"

// Bit of the flags of an event; without it the event resets itself.
inline constexpr unsigned OSUSER_EVENT_MANUAL_RESET = 1;

// The event proper.
class COsUserEvent {
public:
    // Makes the condition only when `create` is true; Create can make it later. Without it every operation is idle.
    COsUserEvent(bool create, unsigned flags);
    virtual ~COsUserEvent();
    COsUserEvent(const COsUserEvent&) = delete;
    COsUserEvent& operator=(const COsUserEvent&) = delete;

    // Called by Set, with the event's mutex held.
    virtual void SignalAdditionalEventsCritical() {}

    // Sets the kind of reset, and makes the condition if there is none yet. True when there is one now.
    bool Create(unsigned flags);

    void Set();
    void Reset();

    // One wait on the condition at most, without a look at the flag afterwards: a wake-up of any kind is success.
    std::uint32_t Wait(int milliseconds);
    std::uint32_t Wait();

    void Lock() { pthread_mutex_lock(&m_mutex); }

    void Unlock() { pthread_mutex_unlock(&m_mutex); }

    bool IsConditionValid() const { return m_conditionValid; }

    // Needs no lock.
    bool IsSignalled() const { return m_signalled.load(std::memory_order_relaxed); }

private:
    // Needs the mutex. The condition stays as it is: whoever was blocked when the event was set has been woken for
    // good, and a thread that blocked since must not lose the condition under its feet.
    void ClearCritical() { m_signalled.store(false, std::memory_order_relaxed); }

    pthread_mutex_t m_mutex;
    pthread_cond_t m_condition;
    bool m_conditionValid = false;
    bool m_autoReset = false;
    std::atomic<bool> m_signalled = false; // written under the mutex, read by anyone
};

// An event inside a handle: setting it reaches the waiters in the handle's list.
class COsUserEventInternal : public COsUserEvent {
public:
    COsUserEventInternal(bool create, unsigned flags, _OsUserHandle* owner)
        : COsUserEvent(create, flags), m_owner(owner) {}

    void SignalAdditionalEventsCritical() override { m_owner->SignalAdditionalEventsCritical(); }

private:
    _OsUserHandle* m_owner;
};

class _OsEventHandle : public _OsUserHandle {
public:
    _OsEventHandle(bool create, unsigned flags) : m_event(create, flags, this) {}

    bool SupportsAdditionalEvents() override { return true; }

    void Lock() override { m_event.Lock(); }

    void Unlock() override { m_event.Unlock(); }

    bool IsEventSignalled() override { return m_event.IsSignalled(); }

    COsUserEventInternal m_event;
};
