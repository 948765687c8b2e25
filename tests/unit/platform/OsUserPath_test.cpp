#include "platform/OsUserPath.h"

#include <gtest/gtest.h>

namespace {

TEST(OsUserPathTest, BackslashesBecomeSlashesAndRunsOfSlashesOne) {
    EXPECT_EQ(OsUserNormalizePath("a\\b//c"), "a/b/c");
    EXPECT_EQ(OsUserNormalizePath("\\\\server\\share"), "/server/share");
    EXPECT_EQ(OsUserNormalizePath("///tmp/\\/x/"), "/tmp/x/");
    EXPECT_EQ(OsUserNormalizePath("name"), "name");
    EXPECT_EQ(OsUserNormalizePath("/"), "/");
    EXPECT_EQ(OsUserNormalizePath(""), "");
}

} // namespace
