#include "platform/OsUserMutex.h"

#include <cerrno>
#include <cstdio>
#include <memory>

#include "platform/OsUserDeadline.h"
#include "platform/OsUserHandleImpl.h"

namespace {

// The member is made and destroyed by the functions below.
class _MutexHandle : public _OsUserHandle {
public:
    pthread_mutex_t m_mutex;
};

pthread_mutex_t* MutexOf(_OsUserHandle* handle) {
    return &static_cast<_MutexHandle*>(handle)->m_mutex;
}

} // namespace

_OsUserHandle* OsUserCreateMutex(const void* /*security*/, std::int32_t initialOwner, const char* name) {
    if (name != nullptr) {
        std::fprintf(stderr, "%s: named mutex not supported",
                     "OS_USER_MUTEX_HANDLE OsUserCreateMutex(PVOID, BOOL, LPCTSTR)");
        return nullptr;
    }
    auto handle = std::make_unique<_MutexHandle>();
    if (pthread_mutex_init(&handle->m_mutex, nullptr) != 0) {
        return nullptr;
    }
    if (initialOwner != 0) {
        pthread_mutex_lock(&handle->m_mutex);
    }
    handle->m_kind = OSUSER_KIND_MUTEX;
    return handle.release();
}

std::uint32_t OsUserWaitForMutex(_OsUserHandle* handle, std::uint32_t timeout) {
    if (timeout == OSUSER_INFINITE) {
        pthread_mutex_lock(MutexOf(handle));
        return OSUSER_WAIT_OBJECT_0;
    }
    timespec deadline;
    if (!OsUserGetDeadline(static_cast<std::int32_t>(timeout), &deadline)) {
        return OSUSER_WAIT_FAILED;
    }
    switch (pthread_mutex_timedlock(MutexOf(handle), &deadline)) {
    case 0:
        return OSUSER_WAIT_OBJECT_0;
    case ETIMEDOUT:
        return OSUSER_WAIT_TIMEOUT;
    default:
        return OSUSER_WAIT_FAILED;
    }
}

std::int32_t OsUserReleaseMutex(_OsUserHandle* handle) {
    return pthread_mutex_unlock(MutexOf(handle)) == 0 ? 1 : 0;
}

std::int32_t OsUserDeleteMutex(_OsUserHandle* handle) {
    if (handle == nullptr) {
        return 0;
    }
    pthread_mutex_destroy(MutexOf(handle));
    delete handle;
    return 1;
}
