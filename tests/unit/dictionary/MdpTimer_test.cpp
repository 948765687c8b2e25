#include "dictionary/MdpTimer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <functional>
#include <new>
#include <string>
#include <thread>

#include "../common/LogOf.h"
#include "dictionary/ObjDictionary.h"
#include "log/Logger.h"
#include "platform/OsUserEvent.h"

namespace {

using Clock = std::chrono::steady_clock;

class CCountingCallback : public IMdpTimerCallback {
public:
    void MdpTimerproc(unsigned int timerId, unsigned int parameter, void* pointer) override {
        lastId.store(timerId);
        lastParameter.store(parameter);
        lastPointer.store(pointer);
        if (running.fetch_add(1) != 0) {
            overlapped.store(true);
        }
        if (job) {
            job();
        }
        running.fetch_sub(1);
        count.fetch_add(1);
    }

    void WaitForCount(int wanted) const {
        const auto limit = Clock::now() + std::chrono::seconds(30);
        while (count.load() < wanted && Clock::now() < limit) {
            usleep(1000);
        }
        ASSERT_GE(count.load(), wanted);
    }

    std::function<void()> job;
    std::atomic<int> count{0};
    std::atomic<int> running{0};
    std::atomic<bool> overlapped{false};
    std::atomic<unsigned int> lastId{0};
    std::atomic<unsigned int> lastParameter{0};
    std::atomic<void*> lastPointer{nullptr};
};

class MdpTimer : public ::testing::Test {
protected:
    void SetUp() override {
        static CLogger logger;
        g_pLogger = &logger;
    }
};

double ElapsedMs(Clock::time_point since) {
    return std::chrono::duration<double, std::milli>(Clock::now() - since).count();
}

} // namespace

TEST_F(MdpTimer, FiresFirstOnePeriodLaterAndThenAgain) {
    CCountingCallback callback;
    const auto start = Clock::now();
    const unsigned int timerId = MdpSetTimer(&callback, 300, 0x8010, &callback, 0);
    EXPECT_EQ(callback.count.load(), 0);
    callback.WaitForCount(1);
    EXPECT_GE(ElapsedMs(start), 290);
    callback.WaitForCount(2);
    EXPECT_GE(ElapsedMs(start), 580);
    EXPECT_EQ(callback.lastId.load(), timerId);
    EXPECT_EQ(callback.lastParameter.load(), 0x8010U);
    EXPECT_EQ(callback.lastPointer.load(), &callback);
    MdpKillTimer(timerId);
}

TEST_F(MdpTimer, EntryAndExitAreTraced) {
    CCountingCallback callback;
    MdpKillTimer(0); // the service exists
    unsigned int timerId = 0;
    auto lines = LogOf({LOG_SEVERITY_TRACE}, [&] {
        timerId = MdpSetTimer(&callback, 100000, 0, nullptr, 0);
        MdpKillTimer(timerId);
    });
    // The master thread may begin only now. Those of the timer's own thread fall between the others.
    std::erase(lines, "None:  ==>CMdpTimer::timerThreadProc()");
    const auto own = std::stable_partition(lines.begin(), lines.end(), [](const std::string& line) {
        return line.find("ThreadProc") == std::string::npos;
    });
    EXPECT_THAT(std::vector<std::string>(own, lines.end()),
                testing::ElementsAre("None:  ==>CMdpTimerObject::timerObjectThreadProc()",
                                     "None:  <==CMdpTimerObject::timerObjectThreadProc()"));
    lines.erase(own, lines.end());
    EXPECT_THAT(lines,
                testing::ElementsAre("None:  ==>MdpSetTimer()", "None:  ==>CMdpTimer::AddTimer()",
                                     "None:  <==CMdpTimer::AddTimer()", "None:  <==MdpSetTimer()",
                                     "None:  ==>MdpKillTimer()", "None:  ==>CMdpTimer::RemoveTimer()",
                                     "None:  CMdpTimer::RemoveTimer() timer removed ID=" + std::to_string(timerId),
                                     "None:  CMdpTimer::RemoveTimer() SubWorkerThread closed ",
                                     "None:  <==CMdpTimer::RemoveTimer()", "None:  <==MdpKillTimer()"));
}

TEST_F(MdpTimer, AKilledTimerFiresNoMore) {
    CCountingCallback callback;
    const unsigned int timerId = MdpSetTimer(&callback, 20, 0, nullptr, 0);
    callback.WaitForCount(2);
    MdpKillTimer(timerId);
    const int count = callback.count.load();
    usleep(100000);
    EXPECT_EQ(callback.count.load(), count);
}

TEST_F(MdpTimer, KillingWaitsForTheCallbackThatRuns) {
    CCountingCallback callback;
    callback.job = [] { usleep(300000); };
    const unsigned int timerId = MdpSetTimer(&callback, 10, 0, nullptr, 0);
    while (callback.running.load() == 0) {
        usleep(1000);
    }
    MdpKillTimer(timerId);
    EXPECT_EQ(callback.running.load(), 0);
    EXPECT_GE(callback.count.load(), 1);
}

TEST_F(MdpTimer, KillingAnUnknownTimerHasNoEffect) {
    CCountingCallback callback;
    const unsigned int timerId = MdpSetTimer(&callback, 20, 0, nullptr, 0);
    MdpKillTimer(timerId + 1000);
    EXPECT_EQ(CMdpTimer::GetInstance()->RemoveTimer(timerId + 1000), 0);
    callback.WaitForCount(1);
    EXPECT_EQ(CMdpTimer::GetInstance()->RemoveTimer(timerId), 1);
}

TEST_F(MdpTimer, ASlowCallbackFiresBackToBackWithoutPilingUp) {
    CCountingCallback callback;
    callback.job = [] { usleep(100000); };
    const unsigned int timerId = MdpSetTimer(&callback, 20, 0, nullptr, 0);
    callback.WaitForCount(3);
    const auto killed = Clock::now();
    MdpKillTimer(timerId);
    // Ten periods have gone by for each firing: had they piled up, the kill would wait for all of them.
    EXPECT_FALSE(callback.overlapped.load());
    EXPECT_LT(callback.count.load(), 10);
    EXPECT_LT(ElapsedMs(killed), 5000);
}

TEST_F(MdpTimer, ABlockedCallbackDoesNotDelayOtherTimers) {
    CCountingCallback slow;
    CCountingCallback quick;
    CHandle go(OsUserCreateEvent(nullptr, 1, 0, nullptr));
    slow.job = [&] { OsUserWaitForSingleObject(go.get(), OSUSER_INFINITE); };
    const unsigned int slowId = MdpSetTimer(&slow, 10, 0, nullptr, 0);
    const unsigned int quickId = MdpSetTimer(&quick, 10, 0, nullptr, 0);
    quick.WaitForCount(5);
    EXPECT_EQ(slow.count.load(), 0);
    OsUserSetEvent(go.get());
    MdpKillTimer(slowId);
    MdpKillTimer(quickId);
}

TEST_F(MdpTimer, TheMasterFollowsTheShorterOfTwoPeriods) {
    CCountingCallback quick;
    CCountingCallback slow;
    const unsigned int slowId = MdpSetTimer(&slow, 5000, 0, nullptr, 0);
    const unsigned int quickId = MdpSetTimer(&quick, 50, 0, nullptr, 0);
    quick.WaitForCount(4);
    EXPECT_EQ(slow.count.load(), 0);
    MdpKillTimer(quickId);
    MdpKillTimer(slowId);
}

TEST_F(MdpTimer, AOneShotTimerFiresOnceAndIsGone) {
    CCountingCallback callback;
    const unsigned int timerId = MdpSetTimer(&callback, 20, 0, nullptr, MDP_TIMER_ONE_SHOT);
    callback.WaitForCount(1);
    usleep(100000);
    EXPECT_EQ(callback.count.load(), 1);
    EXPECT_EQ(CMdpTimer::GetInstance()->RemoveTimer(timerId), 0);
}

TEST_F(MdpTimer, IdsAreNeverZeroAndKeepGrowing) {
    CCountingCallback callback;
    const unsigned int first = MdpSetTimer(&callback, 10000, 0, nullptr, 0);
    const unsigned int second = MdpSetTimer(&callback, 10000, 0, nullptr, 0);
    EXPECT_GE(first, 1U);
    EXPECT_EQ(second, first + 1);
    MdpKillTimer(second);
    MdpKillTimer(first);
    const unsigned int third = MdpSetTimer(&callback, 10000, 0, nullptr, 0);
    EXPECT_EQ(third, second + 1);
    MdpKillTimer(third);
    EXPECT_TRUE(CMdpTimer::GetHasInstance());
}

TEST_F(MdpTimer, IsDueOncePeriodMillisecondsHaveGoneBy) {
    EXPECT_TRUE(CMdpTimer::RunCallback(2000, 1000, 1000));
    EXPECT_FALSE(CMdpTimer::RunCallback(1999.9, 1000, 1000));
    // A clock that was set back delays the timer.
    EXPECT_FALSE(CMdpTimer::RunCallback(500, 1000, 1000));
}

TEST_F(MdpTimer, TheWaitIsWhatIsLeftOfThePeriod) {
    const auto wait = CMdpTimer::GetNextCallbackProcessingMinimalWaitTime;
    EXPECT_EQ(wait(700, 5000, 5000), 700U);
    EXPECT_EQ(wait(700, 5100.5, 5000), 599U);
    EXPECT_EQ(wait(700, 5700, 5000), 0U);
    EXPECT_EQ(wait(700, 5701, 5000), 10U);
    EXPECT_EQ(wait(700, std::nan(""), 5000), 1000U);
}

TEST_F(MdpTimer, TimersComeAndGoFromManyThreads) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            for (int round = 0; round < 25; ++round) {
                CCountingCallback callback;
                const unsigned int timerId = MdpSetTimer(&callback, 1, 0, nullptr, 0);
                usleep(3000);
                MdpKillTimer(timerId);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

// The cleanup pass kills a module's timer under the dictionary's exclusive hold while its callback waits for a shared
// one: the kill gives up after its ten seconds, and the callback goes on afterwards.
TEST_F(MdpTimer, KillingUnderTheExclusiveHoldGivesUpOnACallbackThatWaitsForTheDictionary) {
    CObjDictionary* dictionary = CObjDictionary::QueryDictionary();
    CCountingCallback callback;
    std::atomic<bool> entered{false};
    callback.job = [&] {
        entered.store(true);
        const CRef<CObject> object = dictionary->GetObjectRef(0xF000);
    };
    dictionary->AccessExcl();
    const unsigned int timerId = MdpSetTimer(&callback, 10, 0, nullptr, 0);
    while (!entered.load()) {
        usleep(1000);
    }
    MdpKillTimer(timerId);
    EXPECT_EQ(callback.count.load(), 0);
    dictionary->UnaccessExcl();
    callback.WaitForCount(1);
    usleep(50000); // the timer's thread ends
    CObjDictionary::ReleaseDictionary(dictionary);
}

TEST_F(MdpTimer, ACallbackThatFindsNoMemoryIsCalledAgain) {
    CCountingCallback callback;
    std::atomic<int> calls{0};
    callback.job = [&] {
        callback.running = 0;
        if (++calls == 1) {
            throw std::bad_alloc();
        }
    };
    const unsigned int timerId = MdpSetTimer(&callback, 20, 0, nullptr, 0);
    callback.WaitForCount(1);
    MdpKillTimer(timerId);
    EXPECT_GE(calls.load(), 2);
}
