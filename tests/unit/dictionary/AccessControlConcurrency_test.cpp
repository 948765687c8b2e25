#include "dictionary/AccessControl.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>
#include <vector>

using namespace std::chrono_literals;

namespace {

// Whether the action on a thread of its own ends within the time; it is waited for at the end of the object.
class CBackground {
public:
    explicit CBackground(std::function<void()> action)
        : m_thread([this, action = std::move(action)] {
              action();
              m_done = true;
          }) {}

    ~CBackground() { m_thread.join(); }

    CBackground(const CBackground&) = delete;
    CBackground& operator=(const CBackground&) = delete;

    bool IsDoneWithin(std::chrono::milliseconds time) const {
        const auto deadline = std::chrono::steady_clock::now() + time;
        while (!m_done && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(1ms);
        }
        return m_done;
    }

private:
    std::atomic<bool> m_done{false};
    std::thread m_thread;
};

} // namespace

TEST(AccessControl, AnyNumberOfReadersHoldAtOnce) {
    CAccessControl control;
    const CSharedHold first(control);
    const CSharedHold again(control);
    const CBackground other([&] { const CSharedHold hold(control); });
    EXPECT_TRUE(other.IsDoneWithin(20s));
}

TEST(AccessControl, AnExclusiveHoldWaitsForTheLastReader) {
    CAccessControl control;
    control.Access();
    control.Access();
    const CBackground writer([&] { const CExclusiveHold hold(control); });
    EXPECT_FALSE(writer.IsDoneWithin(30ms));
    control.Unaccess();
    EXPECT_FALSE(writer.IsDoneWithin(30ms));
    control.Unaccess();
    EXPECT_TRUE(writer.IsDoneWithin(20s));
}

TEST(AccessControl, AnExclusiveHoldKeepsReadersAndWritersOut) {
    CAccessControl control;
    control.AccessExcl();
    const CBackground reader([&] { const CSharedHold hold(control); });
    const CBackground writer([&] { const CExclusiveHold hold(control); });
    EXPECT_FALSE(reader.IsDoneWithin(30ms));
    EXPECT_FALSE(writer.IsDoneWithin(1ms));
    control.UnaccessExcl();
    EXPECT_TRUE(reader.IsDoneWithin(20s));
    EXPECT_TRUE(writer.IsDoneWithin(20s));
}

TEST(AccessControl, TheExclusiveHolderMayTakeEitherHoldAgain) {
    CAccessControl control;
    const CBackground holder([&] {
        const CExclusiveHold outer(control);
        { const CSharedHold hold(control); }
        { const CExclusiveHold inner(control); }
        { const CSharedHold hold(control); }
    });
    EXPECT_TRUE(holder.IsDoneWithin(20s));
    const CBackground next([&] { const CExclusiveHold hold(control); });
    EXPECT_TRUE(next.IsDoneWithin(20s));
}

TEST(AccessControl, AWaitingWriterHoldsNoReaderUp) {
    CAccessControl control;
    control.Access();
    const CBackground writer([&] { const CExclusiveHold hold(control); });
    EXPECT_FALSE(writer.IsDoneWithin(20ms));
    {
        const CBackground reader([&] { const CSharedHold hold(control); });
        EXPECT_TRUE(reader.IsDoneWithin(20s));
    }
    control.Unaccess();
}

// The value is plain: the thread sanitizer sees every access that the gate does not order.
TEST(AccessControl, ReadersAndWritersOfPlainDataNeverMeet) {
    CAccessControl control;
    long value = 0;
    std::vector<std::thread> threads;
    for (int reader = 0; reader < 6; ++reader) {
        threads.emplace_back([&] {
            for (int i = 0; i < 2000; ++i) {
                const CSharedHold hold(control);
                EXPECT_EQ(value % 2, 0);
            }
        });
    }
    for (int writer = 0; writer < 2; ++writer) {
        threads.emplace_back([&] {
            for (int i = 0; i < 200; ++i) {
                const CExclusiveHold hold(control);
                ++value;
                ++value;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(value, 800);
}
