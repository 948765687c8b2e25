#include "platform/OsUserMutex.h"

#include <gtest/gtest.h>

#include <thread>

#include "platform/CHandle.h"
#include "platform/OsUserHandleImpl.h"

namespace {

// What a wait of another thread gives; a mutex that it got is released.
std::uint32_t WaitInAnotherThread(_OsUserHandle* mutex, std::uint32_t timeout) {
    std::uint32_t result = OSUSER_WAIT_FAILED;
    std::thread other([&] {
        result = OsUserWaitForSingleObject(mutex, timeout);
        if (result == OSUSER_WAIT_OBJECT_0) {
            EXPECT_EQ(OsUserReleaseMutex(mutex), 1);
        }
    });
    other.join();
    return result;
}

TEST(OsUserMutexTest, CreateGivesAFreeMutexOfKindMutex) {
    const int security = 0;
    const CHandle mutex(OsUserCreateMutex(&security, 0, nullptr));
    ASSERT_TRUE(mutex);
    EXPECT_EQ(mutex->m_kind, 4u);
    EXPECT_FALSE(mutex->SupportsAdditionalEvents());
    EXPECT_FALSE(mutex->IsEventSignalled());
    EXPECT_EQ(WaitInAnotherThread(mutex.get(), 0), OSUSER_WAIT_OBJECT_0);
}

TEST(OsUserMutexTest, InitialOwnerHoldsTheMutexUntilItIsReleased) {
    const CHandle mutex(OsUserCreateMutex(nullptr, 1, nullptr));
    EXPECT_EQ(WaitInAnotherThread(mutex.get(), 0), OSUSER_WAIT_TIMEOUT);
    EXPECT_EQ(WaitInAnotherThread(mutex.get(), 20), OSUSER_WAIT_TIMEOUT);
    EXPECT_EQ(OsUserReleaseMutex(mutex.get()), 1);
    EXPECT_EQ(WaitInAnotherThread(mutex.get(), OSUSER_INFINITE), OSUSER_WAIT_OBJECT_0);
}

TEST(OsUserMutexTest, WaitTakesTheMutex) {
    const CHandle mutex(OsUserCreateMutex(nullptr, 0, nullptr));
    EXPECT_EQ(OsUserWaitForMutex(mutex.get(), OSUSER_INFINITE), OSUSER_WAIT_OBJECT_0);
    EXPECT_EQ(WaitInAnotherThread(mutex.get(), 0), OSUSER_WAIT_TIMEOUT);
    EXPECT_EQ(OsUserReleaseMutex(mutex.get()), 1);

    EXPECT_EQ(OsUserWaitForMutex(mutex.get(), 5000), OSUSER_WAIT_OBJECT_0);
    EXPECT_EQ(WaitInAnotherThread(mutex.get(), 0), OSUSER_WAIT_TIMEOUT);
    EXPECT_EQ(OsUserReleaseMutex(mutex.get()), 1);
}

TEST(OsUserMutexTest, NameIsRefusedWithAMessage) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(OsUserCreateMutex(nullptr, 0, "name"), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "OS_USER_MUTEX_HANDLE OsUserCreateMutex(PVOID, BOOL, LPCTSTR): named mutex not supported");
}

TEST(OsUserMutexTest, DeleteAndCloseEndAMutex) {
    EXPECT_EQ(OsUserDeleteMutex(nullptr), 0);
    EXPECT_EQ(OsUserDeleteMutex(OsUserCreateMutex(nullptr, 0, nullptr)), 1);
    EXPECT_EQ(OsUserCloseHandle(OsUserCreateMutex(nullptr, 0, nullptr)), 1);
}

} // namespace
