#include "host/Uuid.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

TEST(UuidTest, CreatedIdentifierSurvivesTheWayThroughItsText) {
    unsigned char created[16] = {};
    ASSERT_TRUE(Host::CreateUuid(created));
    std::string text;
    ASSERT_TRUE(Host::UuidToString(created, text));
    EXPECT_EQ(text.size(), 36u);
    EXPECT_EQ(text.find_first_not_of("0123456789abcdef-"), std::string::npos);
    unsigned char parsed[16] = {};
    ASSERT_TRUE(Host::UuidFromString(text.c_str(), parsed));
    EXPECT_EQ(std::memcmp(created, parsed, sizeof parsed), 0);
}

TEST(UuidTest, TwoIdentifiersDiffer) {
    unsigned char first[16] = {};
    unsigned char second[16] = {};
    ASSERT_TRUE(Host::CreateUuid(first));
    ASSERT_TRUE(Host::CreateUuid(second));
    EXPECT_NE(std::memcmp(first, second, sizeof first), 0);
}

TEST(UuidTest, CapitalLettersAreReadAndSmallOnesWritten) {
    unsigned char uuid[16] = {};
    ASSERT_TRUE(Host::UuidFromString("0F8FAD5B-D9CB-469F-A165-70867728950E", uuid));
    std::string text;
    ASSERT_TRUE(Host::UuidToString(uuid, text));
    EXPECT_EQ(text, "0f8fad5b-d9cb-469f-a165-70867728950e");
}

TEST(UuidTest, TextOfAnotherFormFails) {
    unsigned char uuid[16] = {};
    EXPECT_FALSE(Host::UuidFromString("0f8fad5bd9cb469fa16570867728950e", uuid));
    EXPECT_FALSE(Host::UuidFromString("{0f8fad5b-d9cb-469f-a165-70867728950e}", uuid));
    EXPECT_FALSE(Host::UuidFromString("0f8fad5b-d9cb-469f-a165-7086772895", uuid));
}

} // namespace
