#include "platform/OsUserThread.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <exception>
#include <new>

#include "platform/Interlocked.h"
#include "platform/OsUserThreadImpl.h"

namespace {

COsThread* ThreadOf(_OsUserHandle* handle) {
    return static_cast<COsThread*>(handle);
}

__attribute__((format(printf, 1, 2))) void LTrace(const char* format, ...) {
    std::printf("%s", "<3>");
    va_list arguments;
    va_start(arguments, format);
    std::vprintf(format, arguments);
    va_end(arguments);
}

} // namespace

COsThread::COsThread() : m_doneEvent(true, OSUSER_EVENT_MANUAL_RESET) {
    pthread_mutex_init(&m_mutex, nullptr);
}

COsThread::~COsThread() {
    pthread_mutex_destroy(&m_mutex);
}

int COsThread::Create(std::size_t /*stackSize*/, OsUserThreadRoutine startRoutine, void* parameter,
                      std::uint32_t /*flags*/, std::uint32_t /*affinity*/, _OsUserHandle** handleOut,
                      pthread_t* threadIdOut, std::int32_t suspended) {
    m_kind = OSUSER_KIND_THREAD;
    m_startRoutine = startRoutine;
    m_parameter = parameter;
    m_finished.store(false, std::memory_order_relaxed);
    if (suspended != 0) {
        m_resumeEvent = std::make_unique<_OsEventHandle>(true, OSUSER_EVENT_MANUAL_RESET);
        m_resumeEvent->m_kind = OSUSER_KIND_EVENT;
    }
    InterlockedIncrement(&m_references);
    const int result = pthread_create(&m_identifier, nullptr, ThreadFuncWrapper, this);
    if (result == 0) {
        if (threadIdOut != nullptr) {
            *threadIdOut = m_identifier;
        }
        *handleOut = this;
        return 0;
    }
    // Meant: pthread_create reports positive values, so this line stays for systems that do otherwise.
    if (result < 0) {
        LTrace("Creating non real-time thread failed (%d).\n", result);
    }
    InterlockedDecrement(&m_references);
    m_identifier = {};
    if (threadIdOut != nullptr) {
        *threadIdOut = {};
    }
    return result;
}

void* COsThread::ThreadFuncWrapper(void* thread) {
    static_cast<COsThread*>(thread)->ThreadFunc();
    return nullptr;
}

void COsThread::ThreadFunc() {
    if (m_resumeEvent) {
        m_resumeEvent->m_event.Wait();
    }
    try {
        m_startRoutine(m_parameter);
    } catch (const std::exception&) {
        // For want of memory, mostly: it ends this thread's work, not the process.
    }
    m_finished.store(true, std::memory_order_relaxed);
    SignalAdditionalEventsCritical();
    m_doneEvent.Set();
    Release();
}

void COsThread::Release() {
    if (InterlockedDecrement(&m_references) == 0) {
        delete this;
    }
}

void COsThread::Resume() {
    if (m_resumeEvent) {
        m_resumeEvent->m_event.Set();
    }
}

std::uint32_t COsThread::WaitForThread(std::uint32_t timeout) {
    if (timeout == OSUSER_INFINITE) {
        return m_doneEvent.Wait();
    }
    return m_doneEvent.Wait(static_cast<int>(timeout));
}

void COsThread::Close() {
    if (m_identifier != pthread_t{}) {
        pthread_detach(m_identifier);
        m_identifier = {};
    }
    Release();
}

_OsUserHandle* OsUserCreateThread(const void* /*security*/, std::size_t stackSize, OsUserThreadRoutine startRoutine,
                                  void* parameter, std::uint32_t creationFlags, pthread_t* threadIdOut) {
    _OsUserHandle* handle = nullptr;
    const std::int32_t suspended = (creationFlags & OSUSER_CREATE_SUSPENDED) != 0 ? 1 : 0;
    OsUserCreateThreadEx(stackSize, startRoutine, parameter, creationFlags, &handle, threadIdOut, suspended);
    return handle;
}

int OsUserCreateThreadEx(std::size_t stackSize, OsUserThreadRoutine startRoutine, void* parameter, std::uint32_t flags,
                         _OsUserHandle** handleOut, pthread_t* threadIdOut, std::int32_t suspended) {
    return OsUserCreateThreadCpuAffinityEx(stackSize, startRoutine, parameter, flags, handleOut, 0, threadIdOut,
                                           suspended);
}

int OsUserCreateThreadCpuAffinityEx(std::size_t stackSize, OsUserThreadRoutine startRoutine, void* parameter,
                                    std::uint32_t flags, _OsUserHandle** handleOut, std::uint32_t affinity,
                                    pthread_t* threadIdOut, std::int32_t suspended) {
    try {
        auto thread = std::make_unique<COsThread>();
        const int result =
            thread->Create(stackSize, startRoutine, parameter, flags, affinity, handleOut, threadIdOut, suspended);
        if (result == 0) {
            // From here on the handle and the running thread hold it.
            static_cast<void>(thread.release());
        }
        return result;
    } catch (const std::bad_alloc&) {
        if (threadIdOut != nullptr) {
            *threadIdOut = {};
        }
        return ENOMEM;
    }
}

std::uint32_t OsUserThreadResume(_OsUserHandle* handle) {
    ThreadOf(handle)->Resume();
    return 0;
}

std::int32_t OsUserCloseThreadHandle(_OsUserHandle* handle) {
    ThreadOf(handle)->Close();
    return 1;
}

std::uint32_t OsUserWaitForThread(_OsUserHandle* handle, std::uint32_t timeout) {
    return ThreadOf(handle)->WaitForThread(timeout);
}

pthread_t OsUserGetCurrentThreadId() {
    return pthread_self();
}

std::int32_t OsUserIsCurrentThreadEqual(pthread_t thread) {
    if (thread == pthread_t{}) {
        return 0;
    }
    return pthread_equal(thread, pthread_self()) != 0 ? 1 : 0;
}

std::int32_t OsUserSetCurrentThreadPrio(int /*priority*/) {
    return 0;
}
