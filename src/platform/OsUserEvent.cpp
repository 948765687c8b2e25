#include "platform/OsUserEvent.h"

#include <cerrno>
#include <cstdio>

#include "platform/OsUserDeadline.h"
#include "platform/OsUserEventImpl.h"
#include "platform/OsUserMutexLock.h"

namespace {

COsUserEvent& EventOf(_OsUserHandle* handle) {
    return static_cast<_OsEventHandle*>(handle)->m_event;
}

} // namespace

COsUserEvent::COsUserEvent(bool create, unsigned flags) {
    pthread_mutex_init(&m_mutex, nullptr);
    if (create) {
        Create(flags);
    }
}

COsUserEvent::~COsUserEvent() {
    if (m_conditionValid) {
        pthread_cond_destroy(&m_condition);
    }
    pthread_mutex_destroy(&m_mutex);
}

bool COsUserEvent::Create(unsigned flags) {
    m_autoReset = (flags & OSUSER_EVENT_MANUAL_RESET) == 0;
    if (!m_conditionValid) {
        m_conditionValid = pthread_cond_init(&m_condition, nullptr) == 0;
    }
    return m_conditionValid;
}

void COsUserEvent::Set() {
    if (!m_conditionValid) {
        return;
    }
    CMutexLock lock(m_mutex);
    m_signalled.store(true, std::memory_order_relaxed);
    SignalAdditionalEventsCritical();
    pthread_cond_broadcast(&m_condition);
}

void COsUserEvent::Reset() {
    if (!m_conditionValid) {
        return;
    }
    CMutexLock lock(m_mutex);
    ClearCritical();
}

std::uint32_t COsUserEvent::Wait(int milliseconds) {
    timespec deadline;
    if (!m_conditionValid || !OsUserGetDeadline(milliseconds, &deadline)) {
        return OSUSER_WAIT_FAILED;
    }
    CMutexLock lock(m_mutex);
    int result = 0;
    if (!IsSignalled()) {
        result = pthread_cond_timedwait(&m_condition, &m_mutex, &deadline);
    }
    if (result == ETIMEDOUT) {
        return OSUSER_WAIT_TIMEOUT;
    }
    if (result != 0) {
        return OSUSER_WAIT_FAILED;
    }
    if (m_autoReset) {
        ClearCritical();
    }
    return OSUSER_WAIT_OBJECT_0;
}

std::uint32_t COsUserEvent::Wait() {
    if (!m_conditionValid) {
        return OSUSER_WAIT_FAILED;
    }
    CMutexLock lock(m_mutex);
    int result = 0;
    if (!IsSignalled()) {
        result = pthread_cond_wait(&m_condition, &m_mutex);
    }
    // Whatever the wait returned, unlike the timed wait.
    if (m_autoReset) {
        ClearCritical();
    }
    return result == 0 ? OSUSER_WAIT_OBJECT_0 : OSUSER_WAIT_FAILED;
}

_OsUserHandle* OsUserCreateEvent(const void* security, std::int32_t manualReset, std::int32_t initialState,
                                 const char* name) {
    if (security != nullptr || name != nullptr) {
        return nullptr;
    }
    auto* handle = new _OsEventHandle(true, manualReset != 0 ? OSUSER_EVENT_MANUAL_RESET : 0);
    handle->m_kind = OSUSER_KIND_EVENT;
    if (initialState != 0) {
        handle->m_event.Set();
    }
    return handle;
}

std::int32_t OsUserSetEvent(_OsUserHandle* handle) {
    EventOf(handle).Set();
    return 1;
}

std::int32_t OsUserResetEvent(_OsUserHandle* handle) {
    EventOf(handle).Reset();
    return 1;
}

std::uint32_t OsUserWaitForEvent(_OsUserHandle* handle, std::uint32_t timeout) {
    if (timeout == OSUSER_INFINITE) {
        return EventOf(handle).Wait();
    }
    return EventOf(handle).Wait(static_cast<int>(timeout));
}

std::uint32_t OsUserWaitForEventEx(_OsUserHandle* handle, std::uint32_t timeout, std::int32_t alertable) {
    if (alertable != 0) {
        std::fprintf(stderr, "%s: bAlertable == TRUE not supported",
                     "DWORD OsUserWaitForEventEx(OS_USER_EVENT_HANDLE, DWORD, BOOL)");
    }
    return OsUserWaitForEvent(handle, timeout);
}

std::int32_t OsUserDeleteEvent(_OsUserHandle* handle) {
    if (handle == nullptr) {
        return 0;
    }
    delete handle;
    return 1;
}
