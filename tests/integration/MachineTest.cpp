// What the throw-away machine promises to the tests that run in it.
#include <gtest/gtest.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

namespace {

namespace fs = std::filesystem;

std::string Contents(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

int Shell(const std::string& command) {
    return std::system((command + " >/dev/null 2>&1").c_str());
}

} // namespace

TEST(MachineTest, HasAHostNameThatItsFilesTellToo) {
    char name[256] = {};
    ASSERT_EQ(gethostname(name, sizeof name), 0);
    EXPECT_STREQ(name, "IPC-4711");
    EXPECT_EQ(Contents("/etc/hostname"), "IPC-4711\n");
    EXPECT_NE(Contents("/etc/rc.conf").find("hostname=\"IPC-4711\"\n"), std::string::npos);
}

TEST(MachineTest, HasTheAdaptersThatItsSettingsTell) {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator("/sys/class/net")) {
        names.insert(entry.path().filename());
    }
    EXPECT_EQ(names, (std::set<std::string>{"lo", "em0", "em1"}));
    EXPECT_EQ(Contents("/sys/class/net/em0/address"), "02:00:00:00:10:20\n");
    EXPECT_NE(Contents("/etc/rc.conf").find("ifconfig_em0=\"inet 192.168.10.20 netmask 255.255.255.0\"\n"),
              std::string::npos);
    EXPECT_EQ(Shell("ip -4 address show dev em0 | grep -q 'inet 192.168.10.20/24'"), 0);
    EXPECT_EQ(Shell("ip route show default | grep -q 'via 192.168.10.1 dev em0'"), 0);
}

TEST(MachineTest, HasPeersThatAnswer) {
    EXPECT_EQ(Shell("ping -c 1 -W 10 192.168.10.1"), 0);
    EXPECT_EQ(Shell("ip netns exec em0-peer ping -c 1 -W 10 192.168.10.20"), 0);
    EXPECT_EQ(Shell("ip netns exec em1-peer ip -4 address show dev em1-peer | grep -q 192.168.20.1/24"), 0);
}

TEST(MachineTest, HasTheSmbiosStringsOfAnIndustrialPc) {
    const std::string id = "/sys/class/dmi/id/";
    EXPECT_EQ(Contents(id + "product_name"), "IPC-4711\n");
    EXPECT_EQ(Contents(id + "product_version"), "1.4\n");
    EXPECT_EQ(Contents(id + "product_serial"), "SN-0815-4711\n");
    EXPECT_EQ(Contents(id + "chassis_asset_tag"), "2026-03-17\n");
    EXPECT_EQ(Contents(id + "bios_version"), "V1.23.4\n");
}

TEST(MachineTest, RefusesToSetTheClock) {
    timeval now{};
    ASSERT_EQ(gettimeofday(&now, nullptr), 0);
    EXPECT_EQ(settimeofday(&now, nullptr), -1);
    EXPECT_EQ(errno, EPERM);
}

TEST(MachineTest, LetsAccountsAndSystemFilesChange) {
    EXPECT_EQ(Shell("useradd --create-home tester && id tester"), 0);
    EXPECT_EQ(Shell("touch /usr/local/bin/tester /etc/tester"), 0);
}

TEST(MachineTest, RefusesChangesOfKernelSettingsThatAreTheHosts) {
    EXPECT_NE(Shell("echo 1 >/proc/sys/kernel/panic"), 0);
    EXPECT_EQ(Shell("echo 1 >/proc/sys/net/ipv4/ip_forward"), 0);
}

TEST(MachineTest, ShowsNoBlockDeviceOfTheHost) {
    for (const auto& entry : fs::recursive_directory_iterator("/dev")) {
        EXPECT_FALSE(fs::is_block_file(entry.path())) << entry.path();
    }
    EXPECT_FALSE(fs::exists("/dev/log"));
}
