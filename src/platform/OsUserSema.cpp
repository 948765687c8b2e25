#include "platform/OsUserSema.h"

#include <semaphore.h>

#include <cstdio>
#include <memory>

#include "platform/OsUserDeadline.h"
#include "platform/OsUserHandleImpl.h"

namespace {

// The member is made and destroyed by the functions below.
class _SemaHandle : public _OsUserHandle {
public:
    sem_t m_semaphore;
};

sem_t* SemaphoreOf(_OsUserHandle* handle) {
    return &static_cast<_SemaHandle*>(handle)->m_semaphore;
}

} // namespace

_OsUserHandle* OsUserCreateSema(const void* /*security*/, std::int32_t initialCount, std::int32_t /*maximumCount*/,
                                const char* name) {
    if (name != nullptr) {
        std::fprintf(stderr, "%s: named sema not supported",
                     "OS_USER_SEMA_HANDLE OsUserCreateSema(PVOID, LONG, LONG, LPCTSTR)");
        return nullptr;
    }
    auto handle = std::make_unique<_SemaHandle>();
    if (sem_init(&handle->m_semaphore, 0, static_cast<unsigned>(initialCount)) != 0) {
        return nullptr;
    }
    handle->m_kind = OSUSER_KIND_SEMA;
    return handle.release();
}

std::uint32_t OsUserWaitForSema(_OsUserHandle* handle, std::uint32_t timeout) {
    if (timeout == OSUSER_INFINITE) {
        sem_wait(SemaphoreOf(handle));
        return OSUSER_WAIT_OBJECT_0;
    }
    timespec deadline;
    if (!OsUserGetDeadline(static_cast<std::int32_t>(timeout), &deadline)) {
        return OSUSER_WAIT_FAILED;
    }
    // Meant: a time-out is a failure like any other here, unlike with mutexes and events.
    return sem_timedwait(SemaphoreOf(handle), &deadline) == 0 ? OSUSER_WAIT_OBJECT_0 : OSUSER_WAIT_FAILED;
}

std::uint32_t OsUserWaitForSemaEx(_OsUserHandle* handle, std::uint32_t timeout, std::int32_t alertable) {
    if (alertable != 0) {
        std::fprintf(stderr, "%s: bAlertable == TRUE not supported",
                     "DWORD OsUserWaitForSemaEx(OS_USER_MUTEX_HANDLE, DWORD, BOOL)");
    }
    return OsUserWaitForSema(handle, timeout);
}

std::int32_t OsUserReleaseSema(_OsUserHandle* handle, std::int32_t count, std::int32_t* previousCount) {
    if (previousCount != nullptr) {
        std::fprintf(stderr, "%s: lpPreviousCount != NULL not supported",
                     "BOOL OsUserReleaseSema(OS_USER_MUTEX_HANDLE, LONG, LPLONG)");
    }
    for (std::int32_t i = 0; i < count; ++i) {
        if (sem_post(SemaphoreOf(handle)) != 0) {
            return 0;
        }
    }
    return 1;
}

std::int32_t OsUserDeleteSema(_OsUserHandle* handle) {
    if (handle == nullptr) {
        return 0;
    }
    sem_destroy(SemaphoreOf(handle));
    delete handle;
    return 1;
}
