#include "host/UptimeClock.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <ctime>

namespace {

TEST(UptimeClock, CountsSecondsSinceTheStartOfTheSystem) {
    timespec sinceStart = {};
    ASSERT_EQ(clock_gettime(CLOCK_MONOTONIC, &sinceStart), 0);
    unsigned long seconds = 0;
    ASSERT_EQ(Host::GetUptime(seconds), 0);
    // Time in which the system slept counts on some systems and not on others.
    EXPECT_GE(seconds, static_cast<unsigned long>(sinceStart.tv_sec));
    EXPECT_LE(seconds, static_cast<unsigned long>(std::time(nullptr)));
}

TEST(UptimeClock, Advances) {
    unsigned long first = 0;
    unsigned long second = 0;
    ASSERT_EQ(Host::GetUptime(first), 0);
    usleep(1100000);
    ASSERT_EQ(Host::GetUptime(second), 0);
    EXPECT_GT(second, first);
}

} // namespace
