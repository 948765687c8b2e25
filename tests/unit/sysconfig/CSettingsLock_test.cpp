#include "sysconfig/CSettingsLock.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <thread>
#include <vector>

#include "LogCapture.h"
#include "RcConf.h"
#include "StandIns.h"
#include "sysconfig/CRCConfig.h"
#include "sysconfig/CRCConfigNicDhcpcd.h"

using ZMBSD::CRCConfig;
using ZMBSD::CRCConfigNicDhcpcd;
using ZMBSD::CSettingsLock;

namespace {

class SettingsLockTest : public testing::Test {
protected:
    static bool OthersCanLock() { return std::system("flock -n /run/rc.conf.lock true") == 0; }

    CLogCapture m_log;
    CStandIns m_standIns;
};

std::string ForeignLines() {
    std::string lines;
    for (int i = 0; i < 200; ++i) {
        lines += "foreign" + std::to_string(i) + "=\"" + std::string(80, 'x') + "\"\n";
    }
    return lines;
}

} // namespace

TEST_F(SettingsLockTest, KeepsSysrcOutOnlyWhileAnObjectThatAskedForItLives) {
    {
        CSettingsLock outer;
        EXPECT_TRUE(OthersCanLock());
        {
            CSettingsLock inner;
            EXPECT_TRUE(inner.ExcludeSysrc());
            EXPECT_FALSE(OthersCanLock());
            CSettingsLock innermost;
            EXPECT_TRUE(innermost.ExcludeSysrc());
            EXPECT_TRUE(innermost.ExcludeSysrc());
        }
        EXPECT_TRUE(OthersCanLock());
    }
    EXPECT_TRUE(OthersCanLock());
}

TEST_F(SettingsLockTest, NobodyButRootCanOpenTheFileAndSoHoldTheServiceUp) {
    CSettingsLock lock;
    ASSERT_TRUE(lock.ExcludeSysrc());
    EXPECT_EQ(std::filesystem::status("/run/rc.conf.lock").permissions(), std::filesystem::perms(0600));
}

TEST_F(SettingsLockTest, EditWaitsForASysrcThatIsAtWork) {
    WriteRcConf("a=\"1\"\n");
    ASSERT_EQ(std::system("flock /run/rc.conf.lock sh -c 'touch /tmp/held; sleep 0.5; printf \"b=\\\"2\\\"\\n\" "
                          ">>/etc/rc.conf' & while ! [ -e /tmp/held ]; do sleep 0.01; done"),
              0);
    EXPECT_TRUE(CRCConfig::WriteValue("a", "3"));
    EXPECT_EQ(ReadRcConf(), "a=\"3\"\nb=\"2\"\n");
}

TEST_F(SettingsLockTest, EditsOfManyThreadsLoseNothingOfEachOther) {
    WriteRcConf(ForeignLines());
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([i] {
            const std::string key = "own" + std::to_string(i);
            for (int round = 0; round < 50; ++round) {
                EXPECT_TRUE(CRCConfig::WriteValue(key, std::to_string(round)));
                EXPECT_EQ(CRCConfig::ReadValue(key), std::to_string(round));
            }
            EXPECT_TRUE(CRCConfig::RemoveValue(key, ""));
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(ReadRcConf(), ForeignLines());
}

TEST_F(SettingsLockTest, AdaptersThatJoinTheDenyListAtOnceAreAllInIt) {
    m_standIns.Add("/usr/sbin/sysrc");
    WriteRcConf("dhcpcd_flags=\"--noarp\"\n");
    std::vector<std::thread> threads;
    for (const std::string adapter : {"em0", "em1", "em2", "em3"}) {
        threads.emplace_back([adapter] {
            CRCConfigNicDhcpcd nic;
            EXPECT_EQ(nic.SetNicSettings(adapter, "10.0.0.1", "255.0.0.0"), 0U);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    CRCConfigNicDhcpcd nic;
    EXPECT_EQ(nic.GetDeniedInterfaces().size(), 4U) << ReadRcConf();
}

TEST_F(SettingsLockTest, ProgramsThatEditTheFileRunOneAtATime) {
    // Fails when a second one comes while it works.
    m_standIns.Add("/usr/sbin/sysrc", 0, "mkdir /tmp/at-work || exit 9; sleep 0.05; rmdir /tmp/at-work");
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] { EXPECT_EQ(CRCConfig::SetNtpdEnabled(true), 0U); });
        threads.emplace_back([] {
            ZMBSD::CRCConfigNicDefault nic;
            EXPECT_EQ(nic.SetDHCP("em0"), 0U);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}
