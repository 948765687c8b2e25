#include "platform/OsUserDeadline.h"

#include <gtest/gtest.h>

namespace {

TEST(OsUserDeadlineTest, MillisecondsSplitIntoSecondsAndNanoseconds) {
    const timespec later = OsUserAddMilliseconds({100, 5}, 2345);
    EXPECT_EQ(later.tv_sec, 102);
    EXPECT_EQ(later.tv_nsec, 345000005);
}

TEST(OsUserDeadlineTest, NanosecondsCarryIntoSeconds) {
    const timespec exactly = OsUserAddMilliseconds({100, 999000000}, 1);
    EXPECT_EQ(exactly.tv_sec, 101);
    EXPECT_EQ(exactly.tv_nsec, 0);

    const timespec below = OsUserAddMilliseconds({100, 998999999}, 1);
    EXPECT_EQ(below.tv_sec, 100);
    EXPECT_EQ(below.tv_nsec, 999999999);
}

TEST(OsUserDeadlineTest, NegativeMillisecondsTruncateTowardsZeroWithoutABorrow) {
    const timespec earlier = OsUserAddMilliseconds({100, 1000000}, -2500);
    EXPECT_EQ(earlier.tv_sec, 98);
    EXPECT_EQ(earlier.tv_nsec, -499000000);
}

TEST(OsUserDeadlineTest, DeadlineLiesAheadOnTheRealTimeClock) {
    timespec before;
    clock_gettime(CLOCK_REALTIME, &before);
    timespec deadline;
    ASSERT_TRUE(OsUserGetDeadline(3600 * 1000, &deadline));
    timespec after;
    clock_gettime(CLOCK_REALTIME, &after);
    EXPECT_GE(deadline.tv_sec, before.tv_sec + 3600);
    EXPECT_LE(deadline.tv_sec, after.tv_sec + 3601);
}

} // namespace
