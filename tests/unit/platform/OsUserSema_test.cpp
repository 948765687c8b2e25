#include "platform/OsUserSema.h"

#include <gtest/gtest.h>
#include <semaphore.h>

#include <climits>
#include <thread>

#include "platform/CHandle.h"
#include "platform/OsUserHandleImpl.h"

namespace {

TEST(OsUserSemaTest, CreateGivesASemaphoreOfKindSemaWithItsCount) {
    const int security = 0;
    // The maximum count has no effect.
    const CHandle sema(OsUserCreateSema(&security, 2, 1, nullptr));
    ASSERT_TRUE(sema);
    EXPECT_EQ(sema->m_kind, 5u);
    EXPECT_FALSE(sema->SupportsAdditionalEvents());
    EXPECT_FALSE(sema->IsEventSignalled());
    EXPECT_EQ(OsUserWaitForSingleObject(sema.get(), 5000), OSUSER_WAIT_OBJECT_0);
    EXPECT_EQ(OsUserWaitForSingleObject(sema.get(), OSUSER_INFINITE), OSUSER_WAIT_OBJECT_0);
    EXPECT_EQ(OsUserWaitForSingleObject(sema.get(), 0), OSUSER_WAIT_FAILED);
}

TEST(OsUserSemaTest, ExpiredWaitIsAFailureAndNoTimeOut) {
    const CHandle sema(OsUserCreateSema(nullptr, 0, 1, nullptr));
    EXPECT_EQ(OsUserWaitForSema(sema.get(), 5), OSUSER_WAIT_FAILED);
    EXPECT_EQ(OsUserWaitForSemaEx(sema.get(), 5, 0), OSUSER_WAIT_FAILED);
    EXPECT_EQ(OsUserWaitForSingleObject(sema.get(), 5), OSUSER_WAIT_FAILED);
}

TEST(OsUserSemaTest, ReleaseAddsItsCountBeyondTheMaximum) {
    const CHandle sema(OsUserCreateSema(nullptr, 0, 1, nullptr));
    EXPECT_EQ(OsUserReleaseSema(sema.get(), 3, nullptr), 1);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(OsUserWaitForSema(sema.get(), 0), OSUSER_WAIT_OBJECT_0);
    }
    EXPECT_EQ(OsUserWaitForSema(sema.get(), 0), OSUSER_WAIT_FAILED);
}

TEST(OsUserSemaTest, ReleaseOfACountBelowOnePostsNothing) {
    const CHandle sema(OsUserCreateSema(nullptr, 0, 1, nullptr));
    EXPECT_EQ(OsUserReleaseSema(sema.get(), 0, nullptr), 1);
    EXPECT_EQ(OsUserReleaseSema(sema.get(), -4, nullptr), 1);
    EXPECT_EQ(OsUserWaitForSema(sema.get(), 0), OSUSER_WAIT_FAILED);
}

TEST(OsUserSemaTest, ReleaseStopsAtTheFirstFailure) {
    const CHandle sema(OsUserCreateSema(nullptr, INT_MAX - 1, 1, nullptr));
    ASSERT_TRUE(sema);
    EXPECT_EQ(OsUserReleaseSema(sema.get(), 2, nullptr), 0);
    EXPECT_EQ(OsUserWaitForSema(sema.get(), 0), OSUSER_WAIT_OBJECT_0);
    EXPECT_EQ(OsUserReleaseSema(sema.get(), 1, nullptr), 1);
    EXPECT_EQ(OsUserReleaseSema(sema.get(), 1, nullptr), 0);
}

TEST(OsUserSemaTest, InitialCountThatTheSystemRefusesGivesNull) {
    EXPECT_EQ(OsUserCreateSema(nullptr, -1, 1, nullptr), nullptr);
}

TEST(OsUserSemaTest, PreviousCountIsNeverWritten) {
    const CHandle sema(OsUserCreateSema(nullptr, 0, 1, nullptr));
    std::int32_t previous = 77;
    testing::internal::CaptureStderr();
    EXPECT_EQ(OsUserReleaseSema(sema.get(), 1, &previous), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "BOOL OsUserReleaseSema(OS_USER_MUTEX_HANDLE, LONG, LPLONG): lpPreviousCount != NULL not supported");
    EXPECT_EQ(previous, 77);
    EXPECT_EQ(OsUserWaitForSema(sema.get(), 0), OSUSER_WAIT_OBJECT_0);
}

TEST(OsUserSemaTest, AlertableWaitSaysSoAndGoesOn) {
    const CHandle sema(OsUserCreateSema(nullptr, 1, 1, nullptr));
    testing::internal::CaptureStderr();
    EXPECT_EQ(OsUserWaitForSemaEx(sema.get(), OSUSER_INFINITE, 1), OSUSER_WAIT_OBJECT_0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "DWORD OsUserWaitForSemaEx(OS_USER_MUTEX_HANDLE, DWORD, BOOL): bAlertable == TRUE not supported");
}

TEST(OsUserSemaTest, NameIsRefusedWithAMessage) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(OsUserCreateSema(nullptr, 0, 1, "name"), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "OS_USER_SEMA_HANDLE OsUserCreateSema(PVOID, LONG, LONG, LPCTSTR): named sema not supported");
}

TEST(OsUserSemaTest, ReleaseWakesABlockedThread) {
    const CHandle sema(OsUserCreateSema(nullptr, 0, 1, nullptr));
    std::uint32_t result = OSUSER_WAIT_FAILED;
    std::thread waiter([&] { result = OsUserWaitForSingleObject(sema.get(), OSUSER_INFINITE); });
    OsUserReleaseSema(sema.get(), 1, nullptr);
    waiter.join();
    EXPECT_EQ(result, OSUSER_WAIT_OBJECT_0);
    EXPECT_EQ(OsUserWaitForSema(sema.get(), 0), OSUSER_WAIT_FAILED);
}

TEST(OsUserSemaTest, DeleteAndCloseEndASemaphore) {
    EXPECT_EQ(OsUserDeleteSema(nullptr), 0);
    EXPECT_EQ(OsUserDeleteSema(OsUserCreateSema(nullptr, 0, 1, nullptr)), 1);
    EXPECT_EQ(OsUserCloseHandle(OsUserCreateSema(nullptr, 0, 1, nullptr)), 1);
}

} // namespace
