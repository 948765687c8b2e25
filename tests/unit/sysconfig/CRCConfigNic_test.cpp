#include "sysconfig/CRCConfigNic.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <thread>

#include "LogCapture.h"
#include "RcConf.h"
#include "StandIns.h"
#include "host/Programs.h"
#include "sysconfig/CRCConfigNicDefault.h"
#include "sysconfig/CRCConfigNicDhcpcd.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using ZMBSD::CRCConfigNic;
using ZMBSD::CRCConfigNicDefault;
using ZMBSD::CRCConfigNicDhcpcd;

namespace {

using Call = std::vector<std::string>;

class NicSetUpTest : public testing::Test {
protected:
    CLogCapture m_log;
    CStandIns m_standIns;
};

class NicDefaultTest : public NicSetUpTest {
protected:
    CRCConfigNicDefault m_default;
    CRCConfigNic& m_nic = m_default;
};

class NicDhcpcdTest : public NicSetUpTest {
protected:
    static void WriteFlags(const std::string& flags) { WriteRcConf("dhcpcd_flags=\"" + flags + "\"\n"); }

    CRCConfigNicDhcpcd m_dhcpcd;
    CRCConfigNic& m_nic = m_dhcpcd;
};

std::string KindOf(const std::unique_ptr<CRCConfigNic>& nic) {
    if (nic == nullptr) {
        return "none";
    }
    return dynamic_cast<CRCConfigNicDhcpcd*>(nic.get()) != nullptr ? "dhcpcd" : "default";
}

} // namespace

TEST_F(NicSetUpTest, SetUpIsWhatTheFileStatesAtThisMoment) {
    const struct {
        const char* text;
        const char* kind;
    } rows[] = {
        {"ifconfig_DEFAULT=\"DHCP\"\n", "default"},
        {"ifconfig_DEFAULT=\"DHCP\"\ndhcpcd_enable=\"NO\"\n", "default"},
        {"ifconfig_DEFAULT=\"inet 10.0.0.1/8\"\ndhcpcd_enable=\"on\"\n", "default"},
        {"dhcpcd_enable=\"YES\"\n", "dhcpcd"},
        {"dhcpcd_enable=\"yes\"\n", "dhcpcd"},
        {"ifconfig_DEFAULT=\"\"\ndhcpcd_enable=\"YES\"\n", "dhcpcd"},
        {"ifconfig_DEFAULT=DHCP\ndhcpcd_enable=\"YES\"\n", "dhcpcd"},
        {"ifconfig_DEFAULT=\"DHCP\"\ndhcpcd_enable=\"YES\"\n", "none"},
        {"ifconfig_DEFAULT=\"DHCP\"\ndhcpcd_enable=\"yes\"\n", "none"},
        {"ifconfig_em0=\"DHCP\"\n", "none"},
        {"ifconfig_DEFAULT=\"\"\ndhcpcd_enable=\"NO\"\n", "none"},
        {"ifconfig_DEFAULT=DHCP\n", "none"},
        {"", "none"},
    };

    for (const auto& row : rows) {
        WriteRcConf(row.text);
        EXPECT_EQ(KindOf(CRCConfigNic::Create()), row.kind) << row.text;
    }
    std::filesystem::remove("/etc/rc.conf");
    EXPECT_EQ(KindOf(CRCConfigNic::Create()), "none");
}

TEST_F(NicDefaultTest, SettingsAreThoseOfTheAdaptersLine) {
    WriteRcConf(
        "ifconfig_DEFAULT=\"DHCP\"\nifconfig_em1=\"inet 10.0.0.1 netmask 0xff000000\"\ndefaultrouter=\"10.0.0.9\"\n");
    EXPECT_EQ(m_nic.GetNicSettings("em1"), "inet 10.0.0.1 netmask 0xff000000");
    EXPECT_EQ(m_nic.GetNicSettings("em0"), "");
    EXPECT_EQ(m_default.GetNicDefault(), "DHCP");
    EXPECT_EQ(m_nic.GetGateway(), "10.0.0.9");
}

TEST_F(NicDefaultTest, DhcpIsOnWhereTheLettersOccur) {
    const struct {
        const char* text;
        bool on;
    } rows[] = {
        {"ifconfig_em0=\"DHCP\"\n", true},
        {"ifconfig_em0=\"SYNCDHCP\"\n", true},
        {"ifconfig_em0=\"up dhcp\"\n", true},
        {"ifconfig_em0=\"inet 10.0.0.1 netmask 255.0.0.0\"\nifconfig_DEFAULT=\"DHCP\"\n", false},
        {"ifconfig_DEFAULT=\"DHCP\"\n", true},
        {"ifconfig_DEFAULT=\"up\"\n", false},
        {"ifconfig_em0=\"\"\nifconfig_DEFAULT=\"DHCP\"\n", true},
        {"ifconfig_em0=DHCP\n", false},
        {"", false},
    };

    for (const auto& row : rows) {
        WriteRcConf(row.text);
        EXPECT_EQ(m_nic.GetDHCPState("em0"), row.on) << row.text;
    }
}

TEST_F(NicDefaultTest, EachChangeRunsItsProgramWithItsArguments) {
    for (const char* path : {"/usr/sbin/sysrc", "/etc/rc.d/netif", "/etc/rc.d/dhclient"}) {
        m_standIns.Add(path, 6);
    }
    EXPECT_EQ(m_nic.SetNicSettings("em0", "10.0.0.1", "255.0.0.0"), 6U);
    EXPECT_EQ(m_nic.SetDHCP("em0"), 6U);
    EXPECT_EQ(m_nic.SetGateway("10.0.0.9"), 6U);
    EXPECT_EQ(m_nic.DeleteDefaultGateway(), 6U);
    EXPECT_EQ(m_nic.RestartAdapter("em0"), 6U);
    EXPECT_EQ(m_nic.RenewIP("em0"), 6U);
    EXPECT_THAT(m_standIns.Calls(),
                ElementsAre(Call{"/usr/sbin/sysrc", "ifconfig_em0=inet 10.0.0.1 netmask 255.0.0.0"},
                            Call{"/usr/sbin/sysrc", "ifconfig_em0=DHCP"},
                            Call{"/usr/sbin/sysrc", "defaultrouter=10.0.0.9"},
                            Call{"/usr/sbin/sysrc", "-x", "defaultrouter"}, Call{"/etc/rc.d/netif", "restart", "em0"},
                            Call{"/etc/rc.d/dhclient", "restart", "em0"}));
}

TEST_F(NicDhcpcdTest, FlagIsFoundWithAndWithoutItsValue) {
    WriteFlags("-b -Z em0,em1  --nogateway");
    EXPECT_EQ(m_dhcpcd.GetFlagOption("-Z"), "-Z em0,em1");
    EXPECT_EQ(m_dhcpcd.GetFlagOptionValue("-Z"), "em0,em1");
    EXPECT_EQ(m_dhcpcd.GetFlagOption("--nogateway"), "--nogateway");
    EXPECT_EQ(m_dhcpcd.GetFlagOptionValue("--nogateway"), "");
    EXPECT_EQ(m_dhcpcd.GetFlagOption("-b"), "-b");
    EXPECT_EQ(m_dhcpcd.GetFlagOptionValue("-b"), "");
    m_log.TakeLines();
    EXPECT_EQ(m_dhcpcd.GetFlagOption("-G"), "");
    EXPECT_THAT(m_log.TakeLines(),
                ElementsAre("None: RcConfig::ReadValue \"dhcpcd_flags\"=-b -Z em0,em1  --nogateway"));
    m_dhcpcd.GetFlagOptionValue("-Z");
    EXPECT_THAT(m_log.TakeLines(), Contains("None: CRCConfigNicDhcpcd::GetFlagOptionValue -Z=em0,em1"));
}

TEST_F(NicDhcpcdTest, OptionWithNothingBehindItHasNoValue) {
    for (const char* flags : {"-Z", "-Z ", "-Z-G", "-Z -G"}) {
        WriteFlags(flags);
        EXPECT_EQ(m_dhcpcd.GetFlagOptionValue("-Z"), "") << flags;
        EXPECT_EQ(m_dhcpcd.GetFlagOption("-Z"), "-Z") << flags;
    }
}

TEST_F(NicDhcpcdTest, DenyListIsReadInEveryForm) {
    const struct {
        const char* flags;
        std::vector<std::string> denied;
    } rows[] = {
        {"-Z em0,em1", {"em0", "em1"}},
        {"-Z em0 em1", {"em0", "em1"}},
        {"--denyinterfaces em0", {"em0"}},
        {"-b --denyinterfaces em0 em1 -G", {"em0", "em1"}},
        {"--denyinterfaces em1 -Z em0", {"em0"}},
        {"-Z em-0", {"em"}}, // the hyphen ends the list: an accepted limit of the format
        {"-b", {}},
        {"", {}},
    };

    for (const auto& row : rows) {
        WriteFlags(row.flags);
        EXPECT_EQ(m_dhcpcd.GetDeniedInterfaces(), row.denied) << row.flags;
    }
}

TEST_F(NicDhcpcdTest, DhcpIsOnForEveryAdapterThatIsNotDeniedByItsExactName) {
    WriteFlags("-Z em0,em10");
    EXPECT_FALSE(m_nic.GetDHCPState("em0"));
    EXPECT_TRUE(m_nic.GetDHCPState("em1"));
    EXPECT_TRUE(m_nic.GetDHCPState("EM0"));
    WriteRcConf("");
    EXPECT_TRUE(m_nic.GetDHCPState("em0"));
}

TEST_F(NicDhcpcdTest, AdapterJoinsTheDenyListInTheOptionsOwnForm) {
    const struct {
        const char* flags;
        const char* result;
    } rows[] = {
        {"--denyinterfaces em0 em1", "--denyinterfaces em0,em1,em2"},
        {"-Z em0", "-Z em0,em2"},
        {"-Z em0,em2", "-Z em0,em2"},
        {"-b", "-b --denyinterfaces em2"},
        {"", "--denyinterfaces em2"},
        // The blank in front of the next option is taken for a part of the list.
        {"-Z em0 --nogateway", "-Z em0,em2 --nogateway"},
        {"-Z em0  -b", "-Z em0,em2  -b"},
    };

    for (const auto& row : rows) {
        WriteFlags(row.flags);
        EXPECT_EQ(m_dhcpcd.GetDhcpcdDeniedInterfacesString("em2", true), row.result) << row.flags;
    }
}

TEST_F(NicDhcpcdTest, AdapterLeavesTheDenyListAndTheOptionGoesWithTheLast) {
    const struct {
        const char* flags;
        const char* result;
    } rows[] = {
        {"-Z em0,em1", "-Z em1"},
        {"-Z em0", ""},
        {"-b -Z em0 -G", "-b  -G"}, // inner double blanks stay
        {"-b -Z em0", "-b"},
        {"--denyinterfaces em0 em1 em0", "--denyinterfaces em1"},
        {"-Z em1", "-Z em1"},
        {"-b", "-b"},
        {"", ""},
    };

    for (const auto& row : rows) {
        WriteFlags(row.flags);
        EXPECT_EQ(m_dhcpcd.GetDhcpcdDeniedInterfacesString("em0", false), row.result) << row.flags;
    }
}

TEST_F(NicDhcpcdTest, NoGatewayOptionJoinsAndLeavesTheFlags) {
    const struct {
        const char* flags;
        const char* added;
        const char* removed;
    } rows[] = {
        {"", "--nogateway", ""},
        {"-b", "-b --nogateway", "-b"},
        {"-G", "-G", ""},
        {"-b -G -Z em0", "-b -G -Z em0", "-b  -Z em0"},
        {"--nogateway -b", "--nogateway -b", "-b"},
        {"--nogateway -G", "--nogateway -G", "--nogateway"}, // the short one first
    };

    for (const auto& row : rows) {
        WriteFlags(row.flags);
        EXPECT_EQ(m_dhcpcd.GetGatewayString(true), row.added) << row.flags;
        EXPECT_EQ(m_dhcpcd.GetGatewayString(false), row.removed) << row.flags;
    }
}

TEST_F(NicDhcpcdTest, StaticAddressIsALineAndAPlaceInTheDenyList) {
    m_standIns.Add("/usr/sbin/sysrc");
    WriteRcConf("dhcpcd_enable=\"YES\"\n# end\n");
    EXPECT_EQ(m_nic.SetNicSettings("em0", "10.0.0.1", "255.0.0.0"), 0U);
    EXPECT_THAT(m_standIns.Calls(),
                ElementsAre(Call{"/usr/sbin/sysrc", "ifconfig_em0=inet 10.0.0.1 netmask 255.0.0.0"}));
    EXPECT_EQ(ReadRcConf(), "dhcpcd_enable=\"YES\"\n# end\ndhcpcd_flags=\"--denyinterfaces em0\"\n");
}

TEST_F(NicDhcpcdTest, DhcpTakesTheAdapterFromTheDenyListAndItsLineAway) {
    WriteRcConf("ifconfig_em0=\"inet 10.0.0.1 netmask 255.0.0.0\"\ndhcpcd_flags=\"-Z em0,em1\"\n");
    EXPECT_EQ(m_nic.SetDHCP("em0"), 0U);
    EXPECT_EQ(ReadRcConf(), "dhcpcd_flags=\"-Z em1\"\n");
    EXPECT_THAT(m_standIns.Calls(), IsEmpty());
}

TEST_F(NicDhcpcdTest, DhcpThatIsOnAlreadyChangesNothing) {
    WriteRcConf("ifconfig_em0=\"up\"\ndhcpcd_flags=\"-Z em1\"");
    EXPECT_EQ(m_nic.SetDHCP("em0"), 0U);
    EXPECT_EQ(ReadRcConf(), "ifconfig_em0=\"up\"\ndhcpcd_flags=\"-Z em1\"");
    EXPECT_THAT(m_log.TakeLines(), Contains("None: DHCP already turned on for adapter ifa_name"));
}

TEST_F(NicDhcpcdTest, GatewayIsASettingAndAnOption) {
    m_standIns.Add("/usr/sbin/sysrc");
    WriteRcConf("dhcpcd_flags=\"-b\"\n");
    EXPECT_EQ(m_nic.SetGateway("10.0.0.9"), 0U);
    EXPECT_EQ(ReadRcConf(), "dhcpcd_flags=\"-b --nogateway\"\n");
    EXPECT_EQ(m_nic.DeleteDefaultGateway(), 0U);
    EXPECT_EQ(ReadRcConf(), "dhcpcd_flags=\"-b\"\n");
    EXPECT_THAT(m_standIns.Calls(), ElementsAre(Call{"/usr/sbin/sysrc", "defaultrouter=10.0.0.9"},
                                                Call{"/usr/sbin/sysrc", "-x", "defaultrouter"}));
}

TEST_F(NicDhcpcdTest, FailureOfTheToolIsReturnedAndLeavesTheFlags) {
    m_standIns.Add("/usr/sbin/sysrc", 17);
    WriteRcConf("dhcpcd_flags=\"-G\"\n");
    m_log.TakeLines();
    EXPECT_EQ(m_nic.SetNicSettings("em0", "10.0.0.1", "255.0.0.0"), 17U);
    EXPECT_THAT(
        m_log.TakeLines(),
        Contains("Error: CRCConfigNicDhcpcd::SetNicSettings -> CRCConfigNicDefault::SetNicSettings failed: 0x11"));
    EXPECT_EQ(m_nic.SetGateway("10.0.0.9"), 17U);
    EXPECT_THAT(m_log.TakeLines(),
                Contains("Error: CRCConfigNicDhcpcd::SetGateway -> CRCConfigNicDefault::SetGateway failed: 0x11"));
    EXPECT_EQ(m_nic.DeleteDefaultGateway(), 17U);
    EXPECT_THAT(m_log.TakeLines(), Contains("Error: CRCConfigNicDhcpcd::DeleteDefaultGateway -> "
                                            "CRCConfigNicDefault::DeleteDefaultGateway failed: 0x11"));
    EXPECT_EQ(ReadRcConf(), "dhcpcd_flags=\"-G\"\n");
}

TEST_F(NicDhcpcdTest, FileThatCannotBeReadFailsTheEdit) {
    m_standIns.Add("/usr/sbin/sysrc");
    std::filesystem::remove("/etc/rc.conf");
    EXPECT_EQ(m_nic.SetNicSettings("em0", "10.0.0.1", "255.0.0.0"), 0xECA60001U);
    EXPECT_THAT(m_log.TakeLines(), Contains("Error: CRCConfigNicDhcpcd::SetDHCP -> WriteValue  failed: 0xECA60001"));
    EXPECT_EQ(m_nic.SetGateway("10.0.0.9"), 0xECA60001U);
    EXPECT_THAT(m_log.TakeLines(), Contains("Error: CRCConfigNicDhcpcd::SetDHCP -> WriteValue failed: 0xECA60001"));
    EXPECT_EQ(m_nic.DeleteDefaultGateway(), 0xECA60001U);
    EXPECT_THAT(m_log.TakeLines(),
                Contains("Error: CRCConfigNicDhcpcd::DeleteDefaultGateway -> WriteValue failed: 0xECA60001"));
}

TEST_F(NicDhcpcdTest, RestartAndRenewGoThroughTheShellAndGiveNoFailure) {
    for (const char* path : {"/usr/sbin/service", "/sbin/dhcpcd"}) {
        m_standIns.Add(path, 1);
    }
    Host::ExtendSearchPath();
    EXPECT_EQ(m_nic.RestartAdapter("em0"), 0U);
    EXPECT_EQ(m_nic.RenewIP("em1"), 0U);
    EXPECT_THAT(m_standIns.Calls(), ElementsAre(Call{"/usr/sbin/service", "netif", "restart"},
                                                Call{"/usr/sbin/service", "dhcpcd", "restart"},
                                                Call{"/sbin/dhcpcd", "-k", "em1"}, Call{"/sbin/dhcpcd", "em1"}));
}

TEST_F(NicDhcpcdTest, RenewDeniesTheStaticAdaptersAgain) {
    m_standIns.Add("/sbin/dhcpcd");
    Host::ExtendSearchPath();
    for (const char* flags : {"-Z em0 em2 -G", "--noarp --denyinterfaces em0,em2"}) {
        WriteFlags(flags);
        EXPECT_EQ(m_nic.RenewIP("em1"), 0U);
        EXPECT_THAT(m_standIns.Calls(),
                    ElementsAre(Call{"/sbin/dhcpcd", "-k", "em1"}, Call{"/sbin/dhcpcd", "-Z", "em0,em2", "em1"}))
            << flags;
        m_standIns.ForgetCalls();
    }
}

TEST_F(NicDhcpcdTest, RenewStartsNoClientForAStaticAdapterNorForANameThatIsNotSafe) {
    m_standIns.Add("/sbin/dhcpcd");
    Host::ExtendSearchPath();
    WriteFlags("-Z em0,em1");
    EXPECT_EQ(m_nic.RenewIP("em1"), 0U);
    EXPECT_EQ(m_nic.RenewIP("a;dhcpcd em2"), 0U);
    WriteFlags("-Z em0,x;dhcpcd");
    EXPECT_EQ(m_nic.RenewIP("em1"), 0U);
    EXPECT_THAT(m_standIns.Calls(), IsEmpty());
}

TEST_F(NicDhcpcdTest, RenewWaitsForARestartAndSeesWhetherTheAdapterIsStaticThen) {
    m_standIns.Add("/sbin/dhcpcd");
    m_standIns.Add("/usr/sbin/service", 0, "while [ ! -e /tmp/go-on ]; do sleep 0.01; done");
    Host::ExtendSearchPath();
    WriteFlags("-Z em0");
    std::thread restart([this] { m_nic.RestartAdapter("em0"); });
    m_standIns.WaitForCalls(1);
    std::thread renewal([] { CRCConfigNicDhcpcd().RenewIP("em1"); });
    // Nothing to wait for: a client that does not wait is started within this time, or the test passes for once.
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    WriteFlags("-Z em0,em1");
    std::ofstream("/tmp/go-on").flush();
    restart.join();
    renewal.join();
    EXPECT_THAT(m_standIns.Calls(), ElementsAre(Call{"/usr/sbin/service", "netif", "restart"},
                                                Call{"/usr/sbin/service", "dhcpcd", "restart"}));
}

TEST_F(NicDhcpcdTest, WhatTheDefaultSetUpReadsIsInherited) {
    WriteRcConf("ifconfig_em0=\"inet 10.0.0.1 netmask 255.0.0.0\"\ndefaultrouter=\"10.0.0.9\"\n");
    EXPECT_EQ(m_nic.GetNicSettings("em0"), "inet 10.0.0.1 netmask 255.0.0.0");
    EXPECT_EQ(m_nic.GetGateway(), "10.0.0.9");
}
