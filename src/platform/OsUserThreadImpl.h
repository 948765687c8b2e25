#pragma once

#include <pthread.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "platform/OsUserEventImpl.h"
#include "platform/OsUserHandleImpl.h"
#include "platform/OsUserThread.h"

// A thread and its handle in one object, which lives until both the thread has ended and the handle is closed.
class COsThread : public _OsUserHandle {
public:
    COsThread();
    ~COsThread() override;

    bool SupportsAdditionalEvents() override { return true; }

    void Lock() override { pthread_mutex_lock(&m_mutex); }

    void Unlock() override { pthread_mutex_unlock(&m_mutex); }

    bool IsEventSignalled() override { return m_finished.load(std::memory_order_relaxed); }

    // Starts the thread: the result of pthread_create. On failure the object is still the caller's to delete.
    int Create(std::size_t stackSize, OsUserThreadRoutine startRoutine, void* parameter, std::uint32_t flags,
               std::uint32_t affinity, _OsUserHandle** handleOut, pthread_t* threadIdOut, std::int32_t suspended);
    void Resume();
    std::uint32_t WaitForThread(std::uint32_t timeout);
    // Gives up the handle; the object may be gone afterwards.
    void Close();

private:
    static void* ThreadFuncWrapper(void* thread);
    void ThreadFunc();
    void Release();

    pthread_t m_identifier = {};
    std::unique_ptr<_OsEventHandle> m_resumeEvent; // only of a thread that was created suspended
    pthread_mutex_t m_mutex;
    OsUserThreadRoutine m_startRoutine = nullptr;
    void* m_parameter = nullptr;
    std::atomic<std::int32_t> m_references = 1; // the handle's; the running thread has one of its own
    std::atomic<bool> m_finished = false;
    COsUserEvent m_doneEvent;
};
