#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <thread>
#include <vector>

#include "platform/CHandle.h"
#include "platform/OsUserEvent.h"
#include "platform/OsUserEventImpl.h"

namespace {

// Generous: only a broken event lets it pass.
constexpr std::uint32_t LONG_TIME = 60000;

// Threads in a wait cannot be told from threads just before it; this lets them get there.
void LetOthersBlock() {
    usleep(200 * 1000);
}

TEST(OsUserEventConcurrencyTest, OneSetReleasesAllThreadsBlockedOnAnAutoResetEvent) {
    const CHandle event(OsUserCreateEvent(nullptr, 0, 0, nullptr));
    std::array<std::uint32_t, 4> results = {};
    std::atomic<std::size_t> arrived = 0;
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < results.size(); ++i) {
        // Both kinds of wait.
        threads.emplace_back([&results, &event, &arrived, i] {
            ++arrived;
            results[i] = OsUserWaitForSingleObject(event.get(), i % 2 == 0 ? OSUSER_INFINITE : LONG_TIME);
        });
    }
    while (arrived < results.size()) {
        usleep(1000);
    }
    LetOthersBlock();
    OsUserSetEvent(event.get());
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const std::uint32_t result : results) {
        EXPECT_EQ(result, OSUSER_WAIT_OBJECT_0);
    }
    EXPECT_EQ(OsUserWaitForSingleObject(event.get(), 0), OSUSER_WAIT_TIMEOUT);
}

TEST(OsUserEventConcurrencyTest, OneSetReleasesAllThreadsBlockedOnAManualResetEvent) {
    const CHandle event(OsUserCreateEvent(nullptr, 1, 0, nullptr));
    std::atomic<int> released = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            if (OsUserWaitForSingleObject(event.get(), LONG_TIME) == OSUSER_WAIT_OBJECT_0) {
                ++released;
            }
        });
    }
    OsUserSetEvent(event.get());
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(released, 4);
    EXPECT_EQ(OsUserWaitForSingleObject(event.get(), 0), OSUSER_WAIT_OBJECT_0);
}

TEST(OsUserEventConcurrencyTest, ResetFollowedByANewWaiterWhileWokenThreadsLeaveLosesNobody) {
    // Waiters that arrive while others that were woken are still leaving, again and again.
    const CHandle event(OsUserCreateEvent(nullptr, 0, 0, nullptr));
    std::atomic<int> running = 4;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 300; ++round) {
                EXPECT_EQ(OsUserWaitForSingleObject(event.get(), OSUSER_INFINITE), OSUSER_WAIT_OBJECT_0);
            }
            --running;
        });
    }
    while (running > 0) {
        OsUserSetEvent(event.get());
        OsUserResetEvent(event.get());
        usleep(50);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(OsUserWaitForSingleObject(event.get(), 0), OSUSER_WAIT_TIMEOUT);
}

TEST(OsUserEventConcurrencyTest, SignalledFlagMayBeReadDuringChanges) {
    _OsEventHandle handle(true, OSUSER_EVENT_MANUAL_RESET);
    std::atomic<bool> stop = false;
    bool seen = false;
    std::thread reader([&] {
        while (!stop) {
            seen = handle.IsEventSignalled() || seen;
            std::this_thread::yield();
        }
        seen = handle.IsEventSignalled() || seen;
    });
    for (int i = 0; i < 1000; ++i) {
        OsUserSetEvent(&handle);
        OsUserResetEvent(&handle);
    }
    OsUserSetEvent(&handle);
    stop = true;
    reader.join();
    EXPECT_TRUE(seen);
}

TEST(OsUserEventConcurrencyTest, LockKeepsOthersFromSettingTheEvent) {
    _OsEventHandle handle(true, OSUSER_EVENT_MANUAL_RESET);
    handle.Lock();
    std::thread setter([&] { OsUserSetEvent(&handle); });
    LetOthersBlock();
    EXPECT_FALSE(handle.IsEventSignalled());
    handle.Unlock();
    setter.join();
    EXPECT_TRUE(handle.IsEventSignalled());
}

} // namespace
