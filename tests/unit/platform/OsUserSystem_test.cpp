#include "platform/OsUserSystem.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <ctime>

namespace {

TEST(OsUserSystemTest, LastErrorIsErrno) {
    errno = ENOENT;
    EXPECT_EQ(OsUserGetLastError(), ENOENT);
}

TEST(OsUserSystemTest, LastWin32ErrorTranslatesErrno) {
    const struct {
        int error;
        std::uint32_t win32;
    } rows[] = {
        {ENOMEM, 14}, {EACCES, 5},       {EEXIST, 183},
        {EINVAL, 13}, {ETIMEDOUT, 1460}, {ENOENT, 10000 + static_cast<std::uint32_t>(ENOENT)},
        {0, 10000},
    };

    for (const auto& row : rows) {
        errno = row.error;
        EXPECT_EQ(OsUserGetLastWin32Error(), row.win32) << row.error;
    }
}

TEST(OsUserSystemTest, TickCountIsTheMonotonicClockInMilliseconds) {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    const std::uint64_t milliseconds =
        static_cast<std::uint64_t>(now.tv_sec) * 1000 + static_cast<std::uint64_t>(now.tv_nsec) / 1000000;
    const std::uint32_t elapsed = OsUserGetTickCount() - static_cast<std::uint32_t>(milliseconds);
    EXPECT_LT(elapsed, 10000u);
}

TEST(OsUserSystemTest, SleepLastsAtLeastItsTime) {
    const std::uint32_t start = OsUserGetTickCount();
    OsUserSleep(20);
    // The tick count cuts fractions off at both ends.
    EXPECT_GE(OsUserGetTickCount() - start, 19u);
}

TEST(OsUserSystemTest, SleepTakesMicrosecondsIn32Bits) {
    // 4294968 * 1000 is 704 above 2^32.
    const std::uint32_t start = OsUserGetTickCount();
    OsUserSleep(4294968);
    EXPECT_LT(OsUserGetTickCount() - start, 60000u);
}

} // namespace
