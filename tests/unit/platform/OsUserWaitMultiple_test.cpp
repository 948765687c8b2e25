#include "platform/OsUserWaitMultiple.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <thread>
#include <vector>

#include "platform/CHandle.h"
#include "platform/OsUserAddEvent.h"
#include "platform/OsUserEvent.h"
#include "platform/OsUserEventImpl.h"
#include "platform/OsUserMutex.h"
#include "platform/OsUserSema.h"
#include "platform/OsUserThread.h"

namespace {

constexpr std::uint32_t LONG_TIME = 60000;

CHandle AutoResetEvent(bool set = false) {
    return CHandle(OsUserCreateEvent(nullptr, 0, set ? 1 : 0, nullptr));
}

CHandle ManualResetEvent(bool set = false) {
    return CHandle(OsUserCreateEvent(nullptr, 1, set ? 1 : 0, nullptr));
}

bool IsSet(const CHandle& handle) {
    return handle->IsEventSignalled();
}

std::future<std::uint32_t> WaitInAnotherThread(std::vector<_OsUserHandle*> handles, std::uint32_t timeout) {
    return std::async(std::launch::async, [handles = std::move(handles), timeout] {
        return OsUserWaitForMultipleObjects(static_cast<std::uint32_t>(handles.size()), handles.data(), 0, timeout);
    });
}

bool IsStillBlocked(std::future<std::uint32_t>& wait) {
    return wait.wait_for(std::chrono::milliseconds(200)) == std::future_status::timeout;
}

// An auto-reset event that notes waiters, and can announce itself to them without being set.
class AnnouncingEvent : public _OsEventHandle {
public:
    explicit AnnouncingEvent(bool announce) : _OsEventHandle(true, 0), m_announce(announce) {
        m_kind = OSUSER_KIND_EVENT;
    }

    bool AddAdditionalEvent(_OsUserAddEvent* add) override {
        ++m_waiters;
        const bool added = _OsUserHandle::AddAdditionalEvent(add);
        if (m_announce) {
            add->Signal(this);
        }
        return added;
    }

    std::atomic<int> m_waiters = 0;

private:
    bool m_announce;
};

TEST(OsUserWaitMultipleTest, LowestIndexOfThoseAlreadySetWinsAndAloneIsConsumed) {
    const CHandle first = AutoResetEvent();
    const CHandle second = AutoResetEvent(true);
    const CHandle third = AutoResetEvent(true);
    _OsUserHandle* handles[] = {first.get(), second.get(), third.get()};
    EXPECT_EQ(OsUserWaitForMultipleObjects(3, handles, 0, 0), 1u);
    EXPECT_FALSE(IsSet(second));
    EXPECT_TRUE(IsSet(third));
    EXPECT_EQ(OsUserWaitForMultipleObjects(3, handles, 0, OSUSER_INFINITE), 2u);
    EXPECT_EQ(OsUserWaitForMultipleObjects(3, handles, 0, 0), OSUSER_WAIT_TIMEOUT);
}

TEST(OsUserWaitMultipleTest, EventSetDuringTheWaitEndsItWithItsIndex) {
    const CHandle stop = ManualResetEvent();
    const CHandle work = AutoResetEvent();
    for (const std::uint32_t timeout : {LONG_TIME, OSUSER_INFINITE}) {
        auto wait = WaitInAnotherThread({stop.get(), work.get()}, timeout);
        EXPECT_TRUE(IsStillBlocked(wait));
        OsUserSetEvent(work.get());
        EXPECT_EQ(wait.get(), 1u);
        EXPECT_FALSE(IsSet(work));
    }
    auto wait = WaitInAnotherThread({stop.get(), work.get()}, OSUSER_INFINITE);
    OsUserSetEvent(stop.get());
    EXPECT_EQ(wait.get(), 0u);
    EXPECT_TRUE(IsSet(stop));
}

TEST(OsUserWaitMultipleTest, EveryWaiterOnAManualResetEventIsReleased) {
    const CHandle stop = ManualResetEvent();
    const CHandle work = AutoResetEvent();
    std::vector<std::future<std::uint32_t>> waits;
    for (int i = 0; i < 4; ++i) {
        waits.push_back(WaitInAnotherThread({work.get(), stop.get()}, OSUSER_INFINITE));
    }
    OsUserSetEvent(stop.get());
    for (auto& wait : waits) {
        EXPECT_EQ(wait.get(), 1u);
    }
}

TEST(OsUserWaitMultipleTest, TimeOutWithNothingSetGives258) {
    const CHandle first = AutoResetEvent();
    const CHandle second = ManualResetEvent();
    _OsUserHandle* handles[] = {first.get(), second.get()};
    EXPECT_EQ(OsUserWaitForMultipleObjects(2, handles, 0, 20), OSUSER_WAIT_TIMEOUT);
}

TEST(OsUserWaitMultipleTest, TimeOutOfZeroLastsAMillisecond) {
    const CHandle event = AutoResetEvent();
    _OsUserHandle* handles[] = {event.get()};
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(OsUserWaitForMultipleObjects(1, handles, 0, 0), OSUSER_WAIT_TIMEOUT);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1));
}

TEST(OsUserWaitMultipleTest, ThreadsEndEndsTheWait) {
    const CHandle mayEnd = ManualResetEvent();
    const auto routine = [](void* event) -> std::uint32_t {
        return OsUserWaitForSingleObject(static_cast<_OsUserHandle*>(event), OSUSER_INFINITE);
    };
    const CHandle thread(OsUserCreateThread(nullptr, 0, routine, mayEnd.get(), 0, nullptr));
    const CHandle event = AutoResetEvent();
    auto wait = WaitInAnotherThread({event.get(), thread.get()}, LONG_TIME);
    EXPECT_TRUE(IsStillBlocked(wait));
    OsUserSetEvent(mayEnd.get());
    EXPECT_EQ(wait.get(), 1u);

    _OsUserHandle* handles[] = {thread.get()};
    EXPECT_EQ(OsUserWaitForMultipleObjects(1, handles, 0, 0), 0u);
}

TEST(OsUserWaitMultipleTest, MixWithAMutexIsPolledWithoutEventPath) {
    AnnouncingEvent event(true);
    const CHandle mutex(OsUserCreateMutex(nullptr, 1, nullptr));
    auto wait = WaitInAnotherThread({mutex.get(), &event}, OSUSER_INFINITE);
    EXPECT_TRUE(IsStillBlocked(wait));
    OsUserSetEvent(&event);
    EXPECT_EQ(wait.get(), 1u);
    EXPECT_EQ(event.m_waiters, 0);
    OsUserReleaseMutex(mutex.get());

    _OsUserHandle* handles[] = {&event, mutex.get()};
    EXPECT_EQ(OsUserWaitForMultipleObjects(2, handles, 0, 0), 1u);
    std::thread other([&] { EXPECT_EQ(OsUserWaitForSingleObject(mutex.get(), 0), OSUSER_WAIT_TIMEOUT); });
    other.join();
    OsUserReleaseMutex(mutex.get());
}

TEST(OsUserWaitMultipleTest, EventsAloneAreWaitedForOnTheEventPath) {
    AnnouncingEvent event(false);
    _OsUserHandle* handles[] = {&event};
    EXPECT_EQ(OsUserWaitForMultipleObjects(1, handles, 0, 10), OSUSER_WAIT_TIMEOUT);
    EXPECT_EQ(event.m_waiters, 1);
    // Already set: found by the first poll.
    OsUserSetEvent(&event);
    EXPECT_EQ(OsUserWaitForMultipleObjects(1, handles, 0, 10), 0u);
    EXPECT_EQ(event.m_waiters, 1);
}

TEST(OsUserWaitMultipleTest, SemaphoreIsPolledAndConsumed) {
    const CHandle sema(OsUserCreateSema(nullptr, 0, 1, nullptr));
    const CHandle event = AutoResetEvent();
    auto wait = WaitInAnotherThread({event.get(), sema.get()}, OSUSER_INFINITE);
    EXPECT_TRUE(IsStillBlocked(wait));
    OsUserReleaseSema(sema.get(), 1, nullptr);
    EXPECT_EQ(wait.get(), 1u);
    EXPECT_EQ(OsUserWaitForSema(sema.get(), 0), OSUSER_WAIT_FAILED);
}

TEST(OsUserWaitMultipleTest, FiniteWaitThatLosesTheEventEndsIn258) {
    AnnouncingEvent lost(true);
    const CHandle other = AutoResetEvent();
    auto wait = WaitInAnotherThread({other.get(), &lost}, 1000);
    // It was woken, and now waits for that one handle alone: the other one does not end it.
    while (lost.m_waiters == 0) {
        usleep(1000);
    }
    usleep(100 * 1000);
    OsUserSetEvent(other.get());
    EXPECT_EQ(wait.get(), OSUSER_WAIT_TIMEOUT);
    EXPECT_TRUE(IsSet(other));
}

TEST(OsUserWaitMultipleTest, InfiniteWaitThatLosesTheEventGoesOnBlockingOnIt) {
    AnnouncingEvent lost(true);
    const CHandle other = AutoResetEvent();
    auto wait = WaitInAnotherThread({other.get(), &lost}, OSUSER_INFINITE);
    while (lost.m_waiters == 0) {
        usleep(1000);
    }
    usleep(100 * 1000);
    OsUserSetEvent(other.get());
    EXPECT_TRUE(IsStillBlocked(wait));
    OsUserSetEvent(&lost);
    EXPECT_EQ(wait.get(), 1u);
    EXPECT_TRUE(IsSet(other));
}

TEST(OsUserWaitMultipleTest, NoHandlesAndAFiniteTimeOutGive258) {
    EXPECT_EQ(OsUserWaitForMultipleObjects(0, nullptr, 0, 5), OSUSER_WAIT_TIMEOUT);
    EXPECT_EQ(OsUserWaitForMultipleObjects(0, nullptr, 0, 0), OSUSER_WAIT_TIMEOUT);
}

TEST(OsUserWaitMultipleTest, NoHandlesAndNoTimeOutBlockForEver) {
    static std::atomic<bool> s_returned = false;
    std::thread([] {
        OsUserWaitForMultipleObjects(0, nullptr, 0, OSUSER_INFINITE);
        s_returned = true;
    }).detach();
    usleep(200 * 1000);
    EXPECT_FALSE(s_returned);
}

TEST(OsUserWaitMultipleTest, WaitForAllCountsAHandleFromTheMomentItWasSeen) {
    const CHandle first = AutoResetEvent(true);
    const CHandle second = AutoResetEvent();
    auto wait = std::async(std::launch::async, [&] {
        _OsUserHandle* handles[] = {first.get(), second.get()};
        return OsUserWaitForMultipleObjects(2, handles, 1, OSUSER_INFINITE);
    });
    EXPECT_TRUE(IsStillBlocked(wait));
    EXPECT_FALSE(IsSet(first));
    OsUserSetEvent(second.get());
    EXPECT_EQ(wait.get(), 0u);
}

TEST(OsUserWaitMultipleTest, WaitForAllThatTimesOutHasConsumedWhatItSaw) {
    const CHandle first = AutoResetEvent(true);
    const CHandle second = AutoResetEvent();
    _OsUserHandle* handles[] = {first.get(), second.get()};
    EXPECT_EQ(OsUserWaitForMultipleObjects(2, handles, 1, 10), OSUSER_WAIT_TIMEOUT);
    EXPECT_FALSE(IsSet(first));
}

TEST(OsUserWaitMultipleTest, WaitForAllOfSignalledHandlesGivesZero) {
    const CHandle first = AutoResetEvent(true);
    const CHandle second = ManualResetEvent(true);
    _OsUserHandle* handles[] = {first.get(), second.get()};
    EXPECT_EQ(OsUserWaitForMultipleObjects(2, handles, 1, 0), 0u);
    EXPECT_EQ(OsUserWaitForMultipleObjects(0, nullptr, 1, OSUSER_INFINITE), 0u);
}

TEST(OsUserWaitMultipleTest, ManySettersAndWaitersLoseNothing) {
    // Each of the two events is set again only after its last setting was consumed, so the indices must add up.
    constexpr int ROUNDS = 200;
    std::array<CHandle, 2> events = {AutoResetEvent(), AutoResetEvent()};
    const CHandle consumed = AutoResetEvent();
    std::array<std::atomic<int>, 2> counts = {0, 0};
    std::thread waiter([&] {
        _OsUserHandle* handles[] = {events[0].get(), events[1].get()};
        for (int i = 0; i < 2 * ROUNDS; ++i) {
            const std::uint32_t index = OsUserWaitForMultipleObjects(2, handles, 0, LONG_TIME);
            ASSERT_LT(index, 2u);
            ++counts[index];
            OsUserSetEvent(consumed.get());
        }
    });
    for (int i = 0; i < 2 * ROUNDS; ++i) {
        OsUserSetEvent(events[static_cast<std::size_t>(i % 2)].get());
        ASSERT_EQ(OsUserWaitForSingleObject(consumed.get(), LONG_TIME), OSUSER_WAIT_OBJECT_0);
    }
    waiter.join();
    EXPECT_EQ(counts[0], ROUNDS);
    EXPECT_EQ(counts[1], ROUNDS);
}

TEST(OsUserAddEventTest, FirstHandleToSignalWins) {
    const CHandle first = ManualResetEvent();
    const CHandle second = ManualResetEvent();
    _OsUserHandle* handles[] = {first.get(), second.get()};
    _OsUserAddEvent add;
    ASSERT_TRUE(add.Create(2, handles));
    EXPECT_EQ(add.GetSignalled(), nullptr);
    EXPECT_EQ(add.Wait(0), OSUSER_WAIT_TIMEOUT);
    OsUserSetEvent(second.get());
    OsUserSetEvent(first.get());
    EXPECT_EQ(add.GetSignalled(), second.get());
    EXPECT_EQ(add.Wait(0), OSUSER_WAIT_OBJECT_0);
    EXPECT_EQ(add.Wait(), OSUSER_WAIT_OBJECT_0);
    add.Delete();
}

TEST(OsUserAddEventTest, HandleThatIsAlreadySetSignalsAtRegistration) {
    const CHandle first = ManualResetEvent();
    const CHandle second = ManualResetEvent(true);
    _OsUserHandle* handles[] = {first.get(), second.get()};
    _OsUserAddEvent add;
    ASSERT_TRUE(add.Create(2, handles));
    EXPECT_EQ(add.GetSignalled(), second.get());
    add.Delete();
}

TEST(OsUserAddEventTest, DeletedWaiterIsNotSignalledAgain) {
    const CHandle event = ManualResetEvent();
    // Listed twice, and removed wholly.
    _OsUserHandle* handles[] = {event.get(), event.get()};
    _OsUserAddEvent add;
    ASSERT_TRUE(add.Create(2, handles));
    add.Delete();
    OsUserSetEvent(event.get());
    EXPECT_EQ(add.GetSignalled(), nullptr);
}

TEST(OsUserAddEventTest, EveryWaiterInTheListIsSignalled) {
    const CHandle event = AutoResetEvent();
    _OsUserHandle* handles[] = {event.get()};
    _OsUserAddEvent first;
    _OsUserAddEvent second;
    ASSERT_TRUE(first.Create(1, handles));
    ASSERT_TRUE(second.Create(1, handles));
    OsUserSetEvent(event.get());
    EXPECT_EQ(first.GetSignalled(), event.get());
    EXPECT_EQ(second.GetSignalled(), event.get());
    first.Delete();
    second.Delete();
}

TEST(OsUserAddEventTest, HandleDestroyedWithWaitersListedDoesNotTouchThem) {
    CHandle event = AutoResetEvent();
    _OsUserAddEvent add;
    ASSERT_TRUE(add.Create(0, nullptr));
    EXPECT_TRUE(event->AddAdditionalEvent(&add));
    event.reset();
    EXPECT_EQ(add.GetSignalled(), nullptr);
    add.Delete();
}

TEST(OsUserAddEventTest, HandlesWithoutSupportRefuseAWaiter) {
    const CHandle mutex(OsUserCreateMutex(nullptr, 0, nullptr));
    _OsUserAddEvent add;
    EXPECT_FALSE(mutex->AddAdditionalEvent(&add));
    EXPECT_TRUE(mutex->RemoveAdditionalEvent(&add));
}

} // namespace
