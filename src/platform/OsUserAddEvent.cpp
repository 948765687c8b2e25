#include "platform/OsUserAddEvent.h"

#include <cerrno>
#include <span>

#include "platform/OsUserDeadline.h"
#include "platform/OsUserHandleImpl.h"
#include "platform/OsUserMutexLock.h"

bool _OsUserAddEvent::Create(std::uint32_t count, _OsUserHandle* const* handles) {
    if (pthread_cond_init(&m_condition, nullptr) != 0) {
        return false;
    }
    pthread_mutex_init(&m_mutex, nullptr);
    m_signalled.store(nullptr, std::memory_order_relaxed);
    m_count = count;
    m_handles = handles;
    for (_OsUserHandle* handle : std::span(m_handles, m_count)) {
        handle->AddAdditionalEvent(this);
    }
    return true;
}

void _OsUserAddEvent::Delete() {
    for (_OsUserHandle* handle : std::span(m_handles, m_count)) {
        handle->RemoveAdditionalEvent(this);
    }
    pthread_cond_destroy(&m_condition);
    pthread_mutex_destroy(&m_mutex);
}

void _OsUserAddEvent::Signal(_OsUserHandle* handle) {
    // A peek that spares the lock; it is repeated under the lock.
    if (GetSignalled() != nullptr) {
        return;
    }
    CMutexLock lock(m_mutex);
    if (GetSignalled() == nullptr) {
        m_signalled.store(handle, std::memory_order_relaxed);
        pthread_cond_broadcast(&m_condition);
    }
}

std::uint32_t _OsUserAddEvent::Wait(int milliseconds) {
    timespec deadline;
    if (!OsUserGetDeadline(milliseconds, &deadline)) {
        return OSUSER_WAIT_FAILED;
    }
    CMutexLock lock(m_mutex);
    if (GetSignalled() != nullptr) {
        return OSUSER_WAIT_OBJECT_0;
    }
    switch (pthread_cond_timedwait(&m_condition, &m_mutex, &deadline)) {
    case 0:
        return OSUSER_WAIT_OBJECT_0;
    case ETIMEDOUT:
        return OSUSER_WAIT_TIMEOUT;
    default:
        return OSUSER_WAIT_FAILED;
    }
}

std::uint32_t _OsUserAddEvent::Wait() {
    CMutexLock lock(m_mutex);
    if (GetSignalled() == nullptr && pthread_cond_wait(&m_condition, &m_mutex) != 0) {
        return OSUSER_WAIT_FAILED;
    }
    return OSUSER_WAIT_OBJECT_0;
}
