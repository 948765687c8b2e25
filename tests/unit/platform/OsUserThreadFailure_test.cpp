#include <gtest/gtest.h>

#include <cerrno>
#include <new>

#include "WrappedCalls.h"
#include "platform/OsUserThread.h"

namespace {

std::uint32_t NeverRun(void* /*parameter*/) {
    ADD_FAILURE() << "a thread that could not be created runs";
    return 0;
}

TEST(OsUserThreadFailureTest, CreateGivesNullAndANullIdentifier) {
    pthread_t threadId = pthread_self();
    WrappedCalls::FailNextThreadCreation(EAGAIN);
    testing::internal::CaptureStdout();
    EXPECT_EQ(OsUserCreateThread(nullptr, 0, NeverRun, nullptr, 0, &threadId), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(threadId, pthread_t{});

    WrappedCalls::FailNextThreadCreation(EAGAIN);
    EXPECT_EQ(OsUserCreateThread(nullptr, 0, NeverRun, nullptr, OSUSER_CREATE_SUSPENDED, nullptr), nullptr);
}

TEST(OsUserThreadFailureTest, ExtendedCreateGivesTheError) {
    _OsUserHandle* handle = nullptr;
    pthread_t threadId = pthread_self();
    WrappedCalls::FailNextThreadCreation(EAGAIN);
    EXPECT_EQ(OsUserCreateThreadEx(0, NeverRun, nullptr, 0, &handle, &threadId, 1), EAGAIN);
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(threadId, pthread_t{});

    threadId = pthread_self();
    WrappedCalls::FailNextThreadCreation(EPERM);
    EXPECT_EQ(OsUserCreateThreadCpuAffinityEx(0, NeverRun, nullptr, 0, &handle, 1, &threadId, 0), EPERM);
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(threadId, pthread_t{});
}

TEST(OsUserThreadFailureTest, NegativeResultIsTracedOnStandardOutput) {
    WrappedCalls::FailNextThreadCreation(-7);
    testing::internal::CaptureStdout();
    EXPECT_EQ(OsUserCreateThread(nullptr, 0, NeverRun, nullptr, 0, nullptr), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "<3>Creating non real-time thread failed (-7).\n");
}

TEST(OsUserThreadFailureTest, ARoutineThatFindsNoMemoryEndsItsThreadOnly) {
    _OsUserHandle* thread = OsUserCreateThread(
        nullptr, 0, [](void*) -> std::uint32_t { throw std::bad_alloc(); }, nullptr, 0, nullptr);
    ASSERT_NE(thread, nullptr);
    EXPECT_EQ(OsUserWaitForThread(thread, OSUSER_INFINITE), 0U);
    OsUserCloseThreadHandle(thread);
}

} // namespace
