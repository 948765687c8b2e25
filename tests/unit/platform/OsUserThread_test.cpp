#include "platform/OsUserThread.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>

#include "platform/CHandle.h"
#include "platform/OsUserEvent.h"
#include "platform/OsUserThreadImpl.h"

namespace {

constexpr std::uint32_t LONG_TIME = 60000;

// A thread that says that it runs and then waits for leave to end.
struct TWorker {
    CHandle started{OsUserCreateEvent(nullptr, 1, 0, nullptr)};
    CHandle mayEnd{OsUserCreateEvent(nullptr, 1, 0, nullptr)};
    CHandle ending{OsUserCreateEvent(nullptr, 1, 0, nullptr)};
    pthread_t identifier = {};

    static std::uint32_t Run(void* parameter) {
        auto* worker = static_cast<TWorker*>(parameter);
        worker->identifier = OsUserGetCurrentThreadId();
        OsUserSetEvent(worker->started.get());
        OsUserWaitForSingleObject(worker->mayEnd.get(), OSUSER_INFINITE);
        OsUserSetEvent(worker->ending.get());
        return 5;
    }
};

TEST(OsUserThreadTest, WaitGivesTimeOutWhileItRunsAndSuccessEverAfter) {
    TWorker worker;
    const CHandle thread(OsUserCreateThread(nullptr, 0, TWorker::Run, &worker, 0, nullptr));
    ASSERT_TRUE(thread);
    EXPECT_EQ(thread->m_kind, 2u);
    EXPECT_EQ(OsUserWaitForSingleObject(thread.get(), 0), OSUSER_WAIT_TIMEOUT);
    EXPECT_EQ(OsUserWaitForThread(thread.get(), 20), OSUSER_WAIT_TIMEOUT);
    EXPECT_FALSE(thread->IsEventSignalled());

    OsUserSetEvent(worker.mayEnd.get());
    EXPECT_EQ(OsUserWaitForSingleObject(thread.get(), LONG_TIME), OSUSER_WAIT_OBJECT_0);
    EXPECT_EQ(OsUserWaitForSingleObject(thread.get(), 0), OSUSER_WAIT_OBJECT_0);
    EXPECT_EQ(OsUserWaitForThread(thread.get(), OSUSER_INFINITE), OSUSER_WAIT_OBJECT_0);
    EXPECT_EQ(OsUserWaitForThread(thread.get(), 0), OSUSER_WAIT_OBJECT_0);
    EXPECT_TRUE(thread->IsEventSignalled());
}

TEST(OsUserThreadTest, IdentifierIsTheThreadsOwn) {
    TWorker worker;
    pthread_t identifier = {};
    const CHandle thread(OsUserCreateThread(nullptr, 0, TWorker::Run, &worker, 0, &identifier));
    OsUserSetEvent(worker.mayEnd.get());
    OsUserWaitForSingleObject(thread.get(), OSUSER_INFINITE);
    EXPECT_NE(pthread_equal(identifier, worker.identifier), 0);
    EXPECT_EQ(OsUserIsCurrentThreadEqual(identifier), 0);
    EXPECT_NE(OsUserIsCurrentThreadEqual(OsUserGetCurrentThreadId()), 0);
    EXPECT_EQ(OsUserIsCurrentThreadEqual(pthread_t{}), 0);
}

TEST(OsUserThreadTest, SuspendedThreadRunsOnlyAfterItsResume) {
    TWorker worker;
    const CHandle thread(OsUserCreateThread(nullptr, 0, TWorker::Run, &worker, OSUSER_CREATE_SUSPENDED | 1, nullptr));
    EXPECT_EQ(OsUserWaitForSingleObject(worker.started.get(), 100), OSUSER_WAIT_TIMEOUT);
    EXPECT_EQ(OsUserThreadResume(thread.get()), 0u);
    EXPECT_EQ(OsUserWaitForSingleObject(worker.started.get(), LONG_TIME), OSUSER_WAIT_OBJECT_0);
    OsUserSetEvent(worker.mayEnd.get());
    EXPECT_EQ(OsUserWaitForSingleObject(thread.get(), LONG_TIME), OSUSER_WAIT_OBJECT_0);
    EXPECT_EQ(OsUserThreadResume(thread.get()), 0u);
}

TEST(OsUserThreadTest, OnlyBitTwoOfTheFlagsSuspends) {
    TWorker worker;
    OsUserSetEvent(worker.mayEnd.get());
    const CHandle thread(OsUserCreateThread(nullptr, 0, TWorker::Run, &worker, ~OSUSER_CREATE_SUSPENDED, nullptr));
    EXPECT_EQ(OsUserWaitForSingleObject(thread.get(), LONG_TIME), OSUSER_WAIT_OBJECT_0);
}

TEST(OsUserThreadTest, SuspendedThreadWhoseHandleIsClosedStaysBlocked) {
    static std::atomic<bool> s_ran = false;
    const auto routine = [](void*) -> std::uint32_t {
        s_ran = true;
        return 0;
    };
    _OsUserHandle* thread = OsUserCreateThread(nullptr, 0, routine, nullptr, OSUSER_CREATE_SUSPENDED, nullptr);
    EXPECT_EQ(OsUserCloseHandle(thread), 1);
    usleep(100 * 1000);
    EXPECT_FALSE(s_ran);
}

TEST(OsUserThreadTest, ResumeOfARunningThreadDoesNothing) {
    TWorker worker;
    const CHandle thread(OsUserCreateThread(nullptr, 0, TWorker::Run, &worker, 0, nullptr));
    EXPECT_EQ(OsUserThreadResume(thread.get()), 0u);
    EXPECT_EQ(OsUserWaitForSingleObject(thread.get(), 0), OSUSER_WAIT_TIMEOUT);
    OsUserSetEvent(worker.mayEnd.get());
    EXPECT_EQ(OsUserWaitForSingleObject(thread.get(), LONG_TIME), OSUSER_WAIT_OBJECT_0);
}

TEST(OsUserThreadTest, ThreadWhoseHandleIsClosedRunsToItsEnd) {
    TWorker worker;
    _OsUserHandle* thread = OsUserCreateThread(nullptr, 0, TWorker::Run, &worker, 0, nullptr);
    EXPECT_EQ(OsUserWaitForSingleObject(worker.started.get(), LONG_TIME), OSUSER_WAIT_OBJECT_0);
    EXPECT_EQ(OsUserCloseThreadHandle(thread), 1);
    OsUserSetEvent(worker.mayEnd.get());
    EXPECT_EQ(OsUserWaitForSingleObject(worker.ending.get(), LONG_TIME), OSUSER_WAIT_OBJECT_0);
}

TEST(OsUserThreadTest, ExtendedFormsTakeSuspensionAsAnArgument) {
    TWorker worker;
    _OsUserHandle* handle = nullptr;
    pthread_t identifier = {};
    ASSERT_EQ(OsUserCreateThreadEx(1, TWorker::Run, &worker, 0, &handle, &identifier, 1), 0);
    const CHandle suspended(handle);
    EXPECT_EQ(OsUserWaitForSingleObject(worker.started.get(), 50), OSUSER_WAIT_TIMEOUT);
    OsUserThreadResume(suspended.get());
    OsUserSetEvent(worker.mayEnd.get());
    EXPECT_EQ(OsUserWaitForSingleObject(suspended.get(), LONG_TIME), OSUSER_WAIT_OBJECT_0);
    EXPECT_NE(pthread_equal(identifier, worker.identifier), 0);

    TWorker second;
    OsUserSetEvent(second.mayEnd.get());
    // The flags of this form suspend nothing.
    ASSERT_EQ(
        OsUserCreateThreadCpuAffinityEx(0, TWorker::Run, &second, OSUSER_CREATE_SUSPENDED, &handle, 1, nullptr, 0), 0);
    const CHandle running(handle);
    EXPECT_EQ(OsUserWaitForSingleObject(running.get(), LONG_TIME), OSUSER_WAIT_OBJECT_0);
}

TEST(OsUserThreadTest, HandlesClosedAtAnyMomentOfTheThreadsEndAreSafe) {
    std::atomic<int> runs = 0;
    const auto routine = [](void* parameter) -> std::uint32_t {
        ++*static_cast<std::atomic<int>*>(parameter);
        return 0;
    };
    for (int i = 0; i < 200; ++i) {
        const CHandle thread(OsUserCreateThread(nullptr, 0, routine, &runs, 0, nullptr));
        if (i % 2 == 0) {
            OsUserWaitForSingleObject(thread.get(), OSUSER_INFINITE);
        }
    }
    while (runs < 200) {
        usleep(1000);
    }
    EXPECT_EQ(runs, 200);
}

TEST(OsUserThreadTest, LockIsTheThreadsOwnMutex) {
    COsThread thread;
    EXPECT_TRUE(thread.SupportsAdditionalEvents());
    thread.Lock();
    thread.Unlock();
    thread.Lock();
    thread.Unlock();
    EXPECT_EQ(thread.WaitForThread(0), OSUSER_WAIT_TIMEOUT);
}

TEST(OsUserThreadTest, PriorityIsNotChanged) {
    EXPECT_EQ(OsUserSetCurrentThreadPrio(99), 0);
}

} // namespace
