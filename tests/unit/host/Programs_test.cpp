#include "host/Programs.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "StandIns.h"

namespace {

const std::string s_tree =
    std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path() / "libexec/sylvarin/adapters";

} // namespace

TEST(Programs, PathThatTheTreeHasGoesThroughIt) {
    CStandIns standIns;
    standIns.Add("/usr/sbin/pw");
    EXPECT_EQ(Host::FindProgram("/usr/sbin/pw"), s_tree + "/usr/sbin/pw");
    EXPECT_EQ(Host::FindProgram("/usr/sbin/sysrc"), "/usr/sbin/sysrc");
    EXPECT_EQ(Host::FindProgram("usr/sbin/pw"), "usr/sbin/pw");
    EXPECT_EQ(Host::FindProgram(""), "");
}

TEST(Programs, FileThatCannotBeExecutedIsNotAProgram) {
    CStandIns standIns;
    standIns.Add("/usr/sbin/pw");
    std::filesystem::permissions(s_tree + "/usr/sbin/pw", std::filesystem::perms(0644));
    EXPECT_EQ(Host::FindProgram("/usr/sbin/pw"), "/usr/sbin/pw");
}

TEST(Programs, DirectoriesOfTheTreeComeFirstInTheSearchPath) {
    CStandIns standIns;
    standIns.Add("/sbin/route");
    standIns.Add("/usr/bin/top");
    setenv("PATH", "/first:/second", 1);
    Host::ExtendSearchPath();
    EXPECT_STREQ(std::getenv("PATH"), (s_tree + "/sbin:" + s_tree + "/usr/bin:/first:/second").c_str());
}

TEST(Programs, SearchPathIsUsableWithoutOneInTheEnvironment) {
    CStandIns standIns;
    standIns.Add("/sbin/route");
    unsetenv("PATH");
    Host::ExtendSearchPath();
    EXPECT_STREQ(std::getenv("PATH"), (s_tree + "/sbin:/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin").c_str());
}
