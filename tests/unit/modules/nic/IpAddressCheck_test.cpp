#include "modules/nic/IpAddressCheck.h"

#include <gtest/gtest.h>

TEST(IpAddressCheck, AddressIsFourNumbersOfAtMost255WithDotsBetween) {
    for (const char* text : {"10.0.0.1", "0.0.0.0", "255.255.255.255", "010.001.0.1"}) {
        EXPECT_TRUE(IsValidIPAddress(text)) << text;
    }
    for (const char* text : {"", "10.0.0", "10.0.0.", "10.0.0.1.", "10.0.0.1.2", ".10.0.0.1", "10..0.1", "256.0.0.1",
                             "10.0.0.256", "4294967296.0.0.1", "99999999999999999999.0.0.1", "10.0.0.1 ", " 10.0.0.1",
                             "10.0.0.-1", "+10.0.0.1", "10.0.0.1\n", "10.0.0.a", "1,0.0.1"}) {
        EXPECT_FALSE(IsValidIPAddress(text)) << text;
    }
    EXPECT_FALSE(IsValidIPAddress(nullptr));
}

TEST(IpAddressCheck, NetmaskIsARunOfOnesFollowedByZeros) {
    for (const char* text : {"255.255.255.0", "255.255.255.255", "128.0.0.0", "255.254.0.0", "0.0.0.0"}) {
        EXPECT_TRUE(IsValidNetmask(text)) << text;
    }
    for (const char* text : {"255.0.255.0", "0.0.0.255", "255.255.255.1", "127.0.0.0", "255.255.255", "", "/24"}) {
        EXPECT_FALSE(IsValidNetmask(text)) << text;
    }
    EXPECT_FALSE(IsValidNetmask(nullptr));
}

TEST(IpAddressCheck, OneCallDoesBoth) {
    EXPECT_TRUE(IsValidIPAddressNetmask("10.0.0.1", 0));
    EXPECT_TRUE(IsValidIPAddressNetmask("10.0.0.1", 2));
    EXPECT_FALSE(IsValidIPAddressNetmask("10.0.0.1", 1));
    EXPECT_TRUE(IsValidIPAddressNetmask("255.0.0.0", 1));
    EXPECT_FALSE(IsValidIPAddressNetmask("x", 0));
}
