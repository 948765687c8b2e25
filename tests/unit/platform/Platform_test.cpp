#include "platform/Platform.h"

#include <gtest/gtest.h>

#include "host/KernelEnvironment.h"
#include "host/UptimeClock.h"

namespace {

TEST(Platform, UptimeIsThatOfTheSystem) {
    unsigned long expected = 0;
    ASSERT_EQ(Host::GetUptime(expected), 0);
    unsigned long seconds = 0;
    EXPECT_EQ(Platform::UptimeInSeconds(seconds), 0U);
    EXPECT_GE(seconds, expected);
    EXPECT_LE(seconds, expected + 60);
}

TEST(Platform, BiosVersionIsThatOfTheKernelEnvironment) {
    EXPECT_EQ(Platform::GetBiosVersionFull(), Host::GetKernelEnvironment("smbios.bios.version"));
    EXPECT_LE(Platform::GetBiosVersionFull().size(), 254U);
}

TEST(Platform, NoDriveHasPartitionLetters) {
    unsigned int drive = 0;
    EXPECT_EQ(Platform::GetPartitionLettersByDriveIndex(drive), "");
    EXPECT_EQ(drive, 0U);
}

} // namespace
