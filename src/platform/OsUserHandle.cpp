#include "platform/OsUserHandle.h"

#include <cerrno>

#include "platform/OsUserAddEvent.h"
#include "platform/OsUserEvent.h"
#include "platform/OsUserFileHandle.h"
#include "platform/OsUserHandleImpl.h"
#include "platform/OsUserMutex.h"
#include "platform/OsUserMutexLock.h"
#include "platform/OsUserSema.h"
#include "platform/OsUserThread.h"

_OsUserHandle::_OsUserHandle() {
    pthread_mutex_init(&m_listMutex, nullptr);
}

_OsUserHandle::~_OsUserHandle() {
    pthread_mutex_destroy(&m_listMutex);
}

void _OsUserHandle::SignalAdditionalEventsCritical() {
    CMutexLock lock(m_listMutex);
    for (_OsUserAddEvent* add : m_additionalEvents) {
        add->Signal(this);
    }
}

bool _OsUserHandle::AddAdditionalEvent(_OsUserAddEvent* add) {
    if (!SupportsAdditionalEvents()) {
        return false;
    }
    CMutexLock lock(m_listMutex);
    m_additionalEvents.push_back(add);
    // Closes the gap between a waiter's poll and its registration.
    if (IsEventSignalled()) {
        add->Signal(this);
    }
    return true;
}

bool _OsUserHandle::RemoveAdditionalEvent(_OsUserAddEvent* add) {
    CMutexLock lock(m_listMutex);
    m_additionalEvents.remove(add);
    return true;
}

std::int32_t OsUserCloseHandle(_OsUserHandle* handle) {
    switch (handle != nullptr ? handle->m_kind : 0) {
    case OSUSER_KIND_FILE:
        return OsUserCloseFile(handle);
    case OSUSER_KIND_THREAD:
        return OsUserCloseThreadHandle(handle);
    case OSUSER_KIND_EVENT:
        return OsUserDeleteEvent(handle);
    case OSUSER_KIND_MUTEX:
        return OsUserDeleteMutex(handle);
    case OSUSER_KIND_SEMA:
        return OsUserDeleteSema(handle);
    default:
        errno = EINVAL;
        return 0;
    }
}

std::uint32_t OsUserWaitForSingleObject(_OsUserHandle* handle, std::uint32_t timeout) {
    switch (handle != nullptr ? handle->m_kind : 0) {
    case OSUSER_KIND_THREAD:
        return OsUserWaitForThread(handle, timeout);
    case OSUSER_KIND_EVENT:
        return OsUserWaitForEvent(handle, timeout);
    case OSUSER_KIND_MUTEX:
        return OsUserWaitForMutex(handle, timeout);
    case OSUSER_KIND_SEMA:
        return OsUserWaitForSema(handle, timeout);
    default:
        errno = EINVAL;
        return OSUSER_WAIT_FAILED;
    }
}

std::uint32_t OsUserWaitForSingleObjectEx(_OsUserHandle* handle, std::uint32_t timeout, std::int32_t /*alertable*/) {
    return OsUserWaitForSingleObject(handle, timeout);
}
