#include "platform/OsUserEvent.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <utility>

#include "platform/CHandle.h"
#include "platform/OsUserEventImpl.h"

namespace {

CHandle MakeEvent(bool manualReset, bool initialState) {
    return CHandle(OsUserCreateEvent(nullptr, manualReset ? 1 : 0, initialState ? 1 : 0, nullptr));
}

TEST(OsUserEventTest, CreateGivesAHandleOfKindEvent) {
    const CHandle event = MakeEvent(true, false);
    ASSERT_TRUE(event);
    EXPECT_EQ(event->m_kind, 3u);
}

TEST(OsUserEventTest, CreateRefusesASecurityDescriptorAndAName) {
    const int security = 0;
    testing::internal::CaptureStderr();
    EXPECT_EQ(OsUserCreateEvent(&security, 1, 0, nullptr), nullptr);
    EXPECT_EQ(OsUserCreateEvent(nullptr, 1, 0, "name"), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(OsUserEventTest, ManualResetEventStaysSetUntilItIsReset) {
    const CHandle event = MakeEvent(true, false);
    EXPECT_EQ(OsUserSetEvent(event.get()), 1);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(OsUserWaitForSingleObject(event.get(), OSUSER_INFINITE), OSUSER_WAIT_OBJECT_0);
        EXPECT_EQ(OsUserWaitForSingleObject(event.get(), 0), OSUSER_WAIT_OBJECT_0);
    }
    EXPECT_EQ(OsUserResetEvent(event.get()), 1);
    EXPECT_EQ(OsUserWaitForSingleObject(event.get(), 0), OSUSER_WAIT_TIMEOUT);
}

TEST(OsUserEventTest, AutoResetEventLetsOneWaitThrough) {
    const CHandle event = MakeEvent(false, false);
    OsUserSetEvent(event.get());
    OsUserSetEvent(event.get());
    EXPECT_EQ(OsUserWaitForSingleObject(event.get(), 5000), OSUSER_WAIT_OBJECT_0);
    EXPECT_EQ(OsUserWaitForSingleObject(event.get(), 0), OSUSER_WAIT_TIMEOUT);

    OsUserSetEvent(event.get());
    EXPECT_EQ(OsUserWaitForSingleObject(event.get(), OSUSER_INFINITE), OSUSER_WAIT_OBJECT_0);
    EXPECT_EQ(OsUserWaitForSingleObject(event.get(), 1), OSUSER_WAIT_TIMEOUT);
}

TEST(OsUserEventTest, InitialStateIsKept) {
    const CHandle set = MakeEvent(false, true);
    const CHandle unset = MakeEvent(false, false);
    EXPECT_EQ(OsUserWaitForSingleObject(set.get(), 0), OSUSER_WAIT_OBJECT_0);
    EXPECT_EQ(OsUserWaitForSingleObject(set.get(), 0), OSUSER_WAIT_TIMEOUT);
    EXPECT_EQ(OsUserWaitForSingleObject(unset.get(), 0), OSUSER_WAIT_TIMEOUT);
}

TEST(OsUserEventTest, ResetOfAnUnsignalledEventLeavesItUsable) {
    const CHandle event = MakeEvent(false, false);
    EXPECT_EQ(OsUserResetEvent(event.get()), 1);
    OsUserSetEvent(event.get());
    EXPECT_EQ(OsUserWaitForSingleObject(event.get(), 0), OSUSER_WAIT_OBJECT_0);
}

TEST(OsUserEventTest, TimeOutsAboveTheSignedRangeHavePassedAlready) {
    // Taken as a negative number of whole seconds, so that the deadline is a legal time.
    const CHandle event = MakeEvent(false, false);
    EXPECT_EQ(OsUserWaitForEvent(event.get(), static_cast<std::uint32_t>(-5000)), OSUSER_WAIT_TIMEOUT);
}

TEST(OsUserEventTest, AlertableEventWaitSaysSoAndGoesOn) {
    const CHandle event = MakeEvent(true, true);
    testing::internal::CaptureStderr();
    EXPECT_EQ(OsUserWaitForEventEx(event.get(), 0, 1), OSUSER_WAIT_OBJECT_0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "DWORD OsUserWaitForEventEx(OS_USER_EVENT_HANDLE, DWORD, BOOL): bAlertable == TRUE not supported");

    testing::internal::CaptureStderr();
    EXPECT_EQ(OsUserWaitForEventEx(event.get(), 0, 0), OSUSER_WAIT_OBJECT_0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(OsUserEventTest, AlertableWaitOnAnyHandleIsSilent) {
    const CHandle event = MakeEvent(true, true);
    testing::internal::CaptureStderr();
    EXPECT_EQ(OsUserWaitForSingleObjectEx(event.get(), 0, 1), OSUSER_WAIT_OBJECT_0);
    OsUserResetEvent(event.get());
    EXPECT_EQ(OsUserWaitForSingleObjectEx(event.get(), 0, 1), OSUSER_WAIT_TIMEOUT);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(OsUserEventTest, DeleteRefusesNull) {
    EXPECT_EQ(OsUserDeleteEvent(nullptr), 0);
    EXPECT_EQ(OsUserDeleteEvent(OsUserCreateEvent(nullptr, 0, 0, nullptr)), 1);
}

TEST(OsUserEventTest, CloseHandleEndsAnEvent) {
    EXPECT_EQ(OsUserCloseHandle(OsUserCreateEvent(nullptr, 0, 0, nullptr)), 1);
}

TEST(OsUserEventTest, UnknownKindFailsWithEinval) {
    _OsUserHandle unknown;
    unknown.m_kind = 6;
    errno = 0;
    EXPECT_EQ(OsUserWaitForSingleObject(&unknown, 0), OSUSER_WAIT_FAILED);
    EXPECT_EQ(errno, EINVAL);
    errno = 0;
    EXPECT_EQ(OsUserCloseHandle(&unknown), 0);
    EXPECT_EQ(errno, EINVAL);
    errno = 0;
    EXPECT_EQ(OsUserCloseHandle(nullptr), 0);
    EXPECT_EQ(errno, EINVAL);
}

TEST(COsUserEventTest, WithoutAConditionNothingHappensAndWaitsFail) {
    COsUserEvent event(false, 0);
    EXPECT_FALSE(event.IsConditionValid());
    event.Set();
    event.Reset();
    EXPECT_FALSE(event.IsSignalled());
    EXPECT_EQ(event.Wait(0), OSUSER_WAIT_FAILED);
    EXPECT_EQ(event.Wait(), OSUSER_WAIT_FAILED);
}

TEST(COsUserEventTest, CreateMakesTheConditionLaterAndChoosesTheReset) {
    COsUserEvent event(false, 0);
    EXPECT_TRUE(event.Create(1));
    event.Set();
    EXPECT_EQ(event.Wait(0), OSUSER_WAIT_OBJECT_0);
    EXPECT_TRUE(event.IsSignalled());

    EXPECT_TRUE(event.Create(2));
    EXPECT_EQ(event.Wait(0), OSUSER_WAIT_OBJECT_0);
    EXPECT_FALSE(event.IsSignalled());
}

TEST(OsEventHandleTest, ShowsItsFlagAndSupportsAdditionalEvents) {
    _OsEventHandle handle(true, OSUSER_EVENT_MANUAL_RESET);
    EXPECT_TRUE(handle.SupportsAdditionalEvents());
    EXPECT_FALSE(handle.IsEventSignalled());
    OsUserSetEvent(&handle);
    EXPECT_TRUE(handle.IsEventSignalled());
}

TEST(CHandleTest, OwnsOneHandle) {
    CHandle first = MakeEvent(true, false);
    CHandle second = std::move(first);
    EXPECT_FALSE(first);
    EXPECT_TRUE(second);
}

} // namespace
