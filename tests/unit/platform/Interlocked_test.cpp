#include "platform/Interlocked.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <thread>
#include <vector>

namespace {

TEST(InterlockedTest, IncrementAndDecrementReturnTheNewValue) {
    std::atomic<std::int32_t> counter = 5;
    EXPECT_EQ(InterlockedIncrement(&counter), 6);
    EXPECT_EQ(InterlockedDecrement(&counter), 5);
    EXPECT_EQ(counter, 5);
}

TEST(InterlockedTest, UnsignedCounterWraps) {
    std::atomic<std::uint32_t> counter = 0;
    EXPECT_EQ(InterlockedDecrement(&counter), 0xFFFFFFFFu);
    EXPECT_EQ(InterlockedIncrement(&counter), 0u);
}

TEST(InterlockedTest, ExchangeReturnsTheOldValue) {
    std::atomic<std::int32_t> target = 1;
    EXPECT_EQ(InterlockedExchange(&target, 2), 1);
    EXPECT_EQ(target, 2);
}

TEST(InterlockedTest, CompareExchangeStoresOnlyOnEqualityAndReturnsTheOldValue) {
    std::atomic<std::int32_t> target = 1;
    EXPECT_EQ(InterlockedCompareExchange(&target, 9, 7), 1);
    EXPECT_EQ(target, 1);
    EXPECT_EQ(InterlockedCompareExchange(&target, 9, 1), 1);
    EXPECT_EQ(target, 9);
}

TEST(InterlockedTest, ExchangePointerReturnsTheOldPointer) {
    int first = 0;
    int second = 0;
    std::atomic<int*> target = &first;
    EXPECT_EQ(InterlockedExchangePointer(&target, &second), &first);
    EXPECT_EQ(target, &second);
}

TEST(InterlockedTest, OrAndAndReturnTheNewValue) {
    std::atomic<std::uint32_t> target = 0x0F;
    EXPECT_EQ(InterlockedOr(&target, 0xF0u), 0xFFu);
    EXPECT_EQ(target, 0xFFu);
    EXPECT_EQ(InterlockedAnd(&target, 0x3Cu), 0x3Cu);
    EXPECT_EQ(target, 0x3Cu);
}

TEST(InterlockedTest, NoChangeIsLostBetweenThreads) {
    std::atomic<std::int32_t> counter = 0;
    std::atomic<std::uint32_t> bits = 0;
    std::vector<std::thread> threads;
    for (unsigned bit = 0; bit < 4; ++bit) {
        threads.emplace_back([&, bit] {
            for (int i = 0; i < 10000; ++i) {
                InterlockedIncrement(&counter);
                InterlockedAnd(&bits, ~(1u << bit));
                InterlockedOr(&bits, 1u << bit);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(counter, 40000);
    EXPECT_EQ(bits, 0xFu);
}

} // namespace
