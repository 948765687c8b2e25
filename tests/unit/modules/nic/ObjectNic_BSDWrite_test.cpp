#include <gmock/gmock.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "NicFixture.h"
#include "RcConf.h"

using NIC::CObject0x8nn1;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace {

constexpr unsigned char ADDRESS = 2;
constexpr unsigned char MASK = 3;
constexpr unsigned char DHCP = 4;
constexpr unsigned char GATEWAY = 5;
constexpr unsigned char DNS = 6;

constexpr const char* BASE = "/etc/resolvconf/resolv.conf.d/base";
constexpr const char* DEFAULT_SET_UP = "ifconfig_DEFAULT=\"DHCP\"\n";

class NicWriteTest : public NicFixture {
protected:
    NicWriteTest() {
        WriteRcConf(DEFAULT_SET_UP);
        std::filesystem::remove(BASE);
        m_log.TakeLines();
    }

    static Call Sysrc(const std::string& setting) { return {"/usr/sbin/sysrc", setting}; }

    static std::string BaseFile() {
        std::ifstream file(BASE);
        return file ? std::string(std::istreambuf_iterator<char>(file), {}) : "absent";
    }

    const Call m_routing{"/etc/rc.d/routing", "restart"};
    const Call m_netif0{"/etc/rc.d/netif", "restart", "em0"};
    const Call m_netif1{"/etc/rc.d/netif", "restart", "em1"};
    const Call m_resolver{"/sbin/resolvconf", "-u"};
};

} // namespace

TEST_F(NicWriteTest, AddressIsConfiguredBeforeTheRestartsRunInTheirOrder) {
    EXPECT_EQ(Write("em1", ADDRESS, "10.0.0.1"), OBJ_E_NOERR);
    EXPECT_THAT(m_standIns.WaitForCalls(3),
                ElementsAre(Sysrc("ifconfig_em1=inet 10.0.0.1 netmask 255.0.0.0"), m_routing, m_netif1));
}

TEST_F(NicWriteTest, AddressKeepsTheMaskThatIsSet) {
    EXPECT_EQ(Read("em0", MASK), "255.255.255.0");
    EXPECT_EQ(Write("em0", ADDRESS, "10.0.0.1"), OBJ_E_NOERR);
    EXPECT_THAT(m_standIns.WaitForCalls(3).front(), Sysrc("ifconfig_em0=inet 10.0.0.1 netmask 255.255.255.0"));
}

TEST_F(NicWriteTest, AddressTakesTheMaskOfItsClassWhereTheSetOneIsOfNoUse) {
    for (const char* mask : {"0.0.0.0", "255.0.255.0", "x"}) {
        m_standIns.ForgetCalls();
        char text[16] = {};
        std::snprintf(text, sizeof text, "%s", mask);
        CInfoItem(Record("em1").GetItem(MASK)).SetStringA(text, 0xFFFFFFFF);
        EXPECT_EQ(Write("em1", ADDRESS, "10.0.0.1"), OBJ_E_NOERR);
        EXPECT_THAT(m_standIns.WaitForCalls(3), Contains(Sysrc("ifconfig_em1=inet 10.0.0.1 netmask 255.0.0.0")))
            << mask;
    }
}

TEST_F(NicWriteTest, DefaultMaskFollowsTheClass) {
    const struct {
        const char* address;
        const char* mask;
    } rows[] = {
        {"10.0.0.1", "255.0.0.0"},
        {"127.0.0.1", "255.0.0.0"},
        {"128.0.0.1", "255.255.0.0"},
        {"172.16.0.1", "255.255.0.0"},
        {"191.255.0.1", "255.255.0.0"},
        {"192.168.0.1", "255.255.255.0"},
        {"223.0.0.1", "255.255.255.0"},
        {"224.0.0.1", ""},
        {"255.255.255.255", ""},
        {"0.0.0.0", ""},
        {"x", ""},
        {"", ""},
    };

    for (const auto& row : rows) {
        EXPECT_EQ(CObject0x8nn1::GetDefaultSubnetMask(row.address), row.mask) << row.address;
    }
}

TEST_F(NicWriteTest, AddressThatIsNoneIsRefusedAndRunsNothing) {
    for (const char* text : {"", "0.0.0.0", "224.0.0.1", "10.0.0", "10.0.0.1 ", "10.0.0.1; reboot", "::1"}) {
        EXPECT_EQ(Write("em1", ADDRESS, text), OBJ_E_INVALIDARG) << text;
    }
    EXPECT_EQ(Write("em1", ADDRESS, std::string(255, '1')), OBJ_E_INVALIDARG);
    EXPECT_EQ(Write("em1", ADDRESS, std::string("10.0.0.1\0x", 10)), OBJ_E_INVALIDARG);
    EXPECT_THAT(m_standIns.Calls(), IsEmpty());
    EXPECT_EQ(ReadRcConf(), DEFAULT_SET_UP);
    m_log.TakeLines();
    Write("em1", ADDRESS, "224.0.0.1");
    EXPECT_THAT(m_log.TakeLines(),
                ElementsAre("None: CObject0x8nn1::SetIPv4 - IP or netmask format invalid! (224.0.0.1, )",
                            "None: CObject0x8nn1::OnWrite_IPv4 - SetIPv4 failed! Error: ECA60107"));
}

TEST_F(NicWriteTest, TerminatorOfATextIsNoPartOfTheSetting) {
    EXPECT_EQ(Write("em1", ADDRESS, std::string("10.0.0.1\0", 9)), OBJ_E_NOERR);
    EXPECT_THAT(m_standIns.WaitForCalls(3), Contains(Sysrc("ifconfig_em1=inet 10.0.0.1 netmask 255.0.0.0")));
    EXPECT_EQ(Write("em1", MASK, std::string("255.255.0.0\0", 12)), OBJ_E_NOERR);
    EXPECT_THAT(m_standIns.WaitForCalls(6), Contains(Sysrc("ifconfig_em1=inet 10.0.0.1 netmask 255.255.0.0")));
    EXPECT_EQ(Write("em1", GATEWAY, std::string("10.0.0.9\0", 9)), OBJ_E_NOERR);
    EXPECT_THAT(m_standIns.WaitForCalls(9), Contains(Sysrc("defaultrouter=10.0.0.9")));
    EXPECT_EQ(Write("em1", GATEWAY, std::string("\0", 1)), OBJ_E_INVALIDARG);
    EXPECT_EQ(Write("em1", DNS, std::string("10.1.1.1,10.1.1.2\0", 18)), OBJ_E_NOERR);
    EXPECT_EQ(Read("em1", DNS), "10.1.1.1,10.1.1.2");
}

TEST_F(NicWriteTest, TextsAbove255BytesAreRefused) {
    const std::string text(256, '1');
    EXPECT_EQ(Write("em1", ADDRESS, text), OBJ_E_INVALIDARG);
    EXPECT_EQ(Write("em1", MASK, text), OBJ_E_INVALIDARG);
    EXPECT_THAT(m_log.TakeLines(), ElementsAre("None: CObject0x8nn1::OnWrite_IPv4 << (cbData > 255)",
                                               "None: CObject0x8nn1::OnWrite_SubnetMaskv4 << (cbData > 255)"));
    EXPECT_EQ(Write("em1", GATEWAY, text), OBJ_E_INVALIDARG);
    EXPECT_EQ(Write("em1", DNS, text), OBJ_E_INVALIDARG);
    EXPECT_THAT(m_log.TakeLines(), IsEmpty());
}

TEST_F(NicWriteTest, NullDataIsRefused) {
    TInfoItem item;
    EXPECT_EQ(NIC::OnWrite_IPv4(&item, 0x8001, ADDRESS, nullptr, 0), OBJ_E_INVALIDARG);
    EXPECT_EQ(NIC::OnWrite_SubnetMaskv4(&item, 0x8001, MASK, nullptr, 0), OBJ_E_INVALIDARG);
    EXPECT_EQ(NIC::OnWrite_DHCP(&item, 0x8001, DHCP, nullptr, 1), OBJ_E_INVALIDARG);
    EXPECT_EQ(NIC::OnWrite_Gateway(&item, 0x8001, GATEWAY, nullptr, 0), OBJ_E_INVALIDARG);
    EXPECT_EQ(NIC::OnWrite_DNS(&item, 0x8001, DNS, nullptr, 0), OBJ_E_INVALIDARG);
}

TEST_F(NicWriteTest, TriggersOfAnUnknownSlotFail) {
    TInfoItem item;
    char text[] = "10.0.0.1";
    EXPECT_EQ(NIC::OnWrite_IPv4(&item, 0x8FF1, ADDRESS, text, 8), OBJ_E_UNEXPECTED);
    EXPECT_EQ(NIC::OnWrite_SubnetMaskv4(&item, 0x8FF1, MASK, text, 8), OBJ_E_UNEXPECTED);
    EXPECT_EQ(NIC::OnWrite_DHCP(&item, 0x8FF1, DHCP, text, 1), OBJ_E_UNEXPECTED);
    EXPECT_EQ(NIC::OnWrite_Gateway(&item, 0x8FF1, GATEWAY, text, 8), OBJ_E_UNEXPECTED);
    EXPECT_EQ(NIC::OnWrite_DNS(&item, 0x8FF1, DNS, text, 8), OBJ_E_UNEXPECTED);
}

TEST_F(NicWriteTest, ValueThatWasJustReadChangesNothingWhateverIsConfigured) {
    WriteRcConf("ifconfig_DEFAULT=\"DHCP\"\nifconfig_em0=\"inet 1.2.3.4 netmask 255.0.0.0\"\n");
    for (const unsigned char subIndex : {ADDRESS, MASK, DHCP, GATEWAY, DNS}) {
        const std::string value = Read("em0", subIndex);
        m_standIns.ForgetCalls();
        m_log.TakeLines();
        EXPECT_EQ(Write("em0", subIndex, value), OBJ_E_NOERR) << int{subIndex};
        EXPECT_THAT(m_standIns.Calls(), IsEmpty()) << int{subIndex};
    }
    Read("em0", ADDRESS);
    Read("em0", DHCP);
    m_log.TakeLines();
    Write("em0", ADDRESS, "192.168.10.20");
    Read("em0", MASK);
    m_log.TakeLines();
    Write("em0", MASK, "255.255.255.0");
    EXPECT_THAT(m_log.TakeLines(), ElementsAre("None: CObject0x8nn1::OnWrite_SubnetMaskv4 << (memcmp == 0)"));
    Read("em0", ADDRESS);
    m_log.TakeLines();
    Write("em0", ADDRESS, "192.168.10.20");
    EXPECT_THAT(m_log.TakeLines(), ElementsAre("None: CObject0x8nn1::OnWrite_IPv4 << (memcmp == 0)"));
    Read("em0", DHCP);
    m_log.TakeLines();
    Write("em0", DHCP, std::string("\0", 1));
    EXPECT_THAT(m_log.TakeLines(), ElementsAre("None: CObject0x8nn1::OnWrite_DHCP << (memcmp == 0)"));
    EXPECT_THAT(m_standIns.Calls(), IsEmpty());
}

TEST_F(NicWriteTest, SameAddressWrittenTwiceIsConfiguredTwiceUntilARead) {
    // The stored text has a NUL behind it, so its size is not that of the text.
    EXPECT_EQ(Write("em0", ADDRESS, "192.168.10.20"), OBJ_E_NOERR);
    EXPECT_EQ(Write("em0", ADDRESS, "192.168.10.20"), OBJ_E_NOERR);
    const Call edit = Sysrc("ifconfig_em0=inet 192.168.10.20 netmask 255.255.255.0");
    EXPECT_THAT(m_standIns.WaitForCalls(6), UnorderedElementsAre(edit, edit, m_routing, m_routing, m_netif0, m_netif0));
    Read("em0", ADDRESS);
    EXPECT_EQ(Write("em0", ADDRESS, "192.168.10.20"), OBJ_E_NOERR);
    EXPECT_EQ(m_standIns.Calls().size(), 6U);
}

TEST_F(NicWriteTest, MaskNeedsAnAddressFirst) {
    EXPECT_EQ(Write("em0", MASK, "255.0.0.0"), OBJ_E_INVALACCESS);
    EXPECT_THAT(m_log.TakeLines(),
                ElementsAre("None: CObject0x8nn1::OnWrite_SubnetMaskv4 - IP is not set yet!Error: ECA60101"));
    EXPECT_THAT(m_standIns.Calls(), IsEmpty());
}

TEST_F(NicWriteTest, MaskIsSetWithTheStoredAddress) {
    Read("em0", ADDRESS);
    EXPECT_EQ(Write("em0", MASK, "255.255.0.0"), OBJ_E_NOERR);
    EXPECT_THAT(m_standIns.WaitForCalls(3),
                ElementsAre(Sysrc("ifconfig_em0=inet 192.168.10.20 netmask 255.255.0.0"), m_routing, m_netif0));
}

TEST_F(NicWriteTest, MaskIsSetWithAnAddressThatWasOnlyWritten) {
    EXPECT_EQ(Write("em1", ADDRESS, "10.0.0.1"), OBJ_E_NOERR);
    EXPECT_EQ(Write("em1", MASK, "255.255.0.0"), OBJ_E_NOERR);
    EXPECT_THAT(m_standIns.WaitForCalls(6), Contains(Sysrc("ifconfig_em1=inet 10.0.0.1 netmask 255.255.0.0")));
}

TEST_F(NicWriteTest, MaskWithGapsIsLetPassAndOneThatIsNoneIsNot) {
    Read("em0", ADDRESS);
    EXPECT_EQ(Write("em0", MASK, "255.0.255.0"), OBJ_E_NOERR);
    EXPECT_THAT(m_standIns.WaitForCalls(3).front(), Sysrc("ifconfig_em0=inet 192.168.10.20 netmask 255.0.255.0"));
    m_log.TakeLines();
    for (const char* text : {"", "0.0.0.0", "/24", "0xffffff00", "255.255.255.0 up"}) {
        EXPECT_EQ(Write("em0", MASK, text), OBJ_E_INVALIDARG) << text;
        EXPECT_THAT(m_log.TakeLines(),
                    Contains("None: CObject0x8nn1::OnWrite_SubnetMaskv4 - SetIPv4 failed! Error: ECA60107"));
    }
    EXPECT_EQ(m_standIns.Calls().size(), 3U);
}

TEST_F(NicWriteTest, MaskIsRefusedForAStoredAddressThatIsNone) {
    char text[] = "not an address";
    CInfoItem(Record("em0").GetItem(ADDRESS)).SetStringA(text, 0xFFFFFFFF);
    EXPECT_EQ(Write("em0", MASK, "255.0.0.0"), OBJ_E_INVALIDDATA);
    EXPECT_THAT(m_log.TakeLines(),
                ElementsAre("None: CObject0x8nn1::OnWrite_SubnetMaskv4 - Configured IP is not valid! Error: ECA60106"));
    Read("em1", ADDRESS);
    EXPECT_EQ(Write("em1", MASK, "255.0.0.0"), OBJ_E_INVALIDARG); // 0.0.0.0 has the form of an address
}

TEST_F(NicWriteTest, DhcpOnIsConfiguredRemovesTheGatewayAndRestarts) {
    EXPECT_EQ(Write("em0", DHCP, "\1"), OBJ_E_NOERR);
    EXPECT_THAT(
        m_standIns.WaitForCalls(4),
        ElementsAre(Sysrc("ifconfig_em0=DHCP"), Call{"/usr/sbin/sysrc", "-x", "defaultrouter"}, m_routing, m_netif0));
}

TEST_F(NicWriteTest, DhcpOnSucceedsThoughTheGatewayCannotBeRemoved) {
    m_standIns.Add("/usr/sbin/sysrc", 0, "test \"$1\" != -x || exit 1");
    EXPECT_EQ(Write("em0", DHCP, "\1"), OBJ_E_NOERR);
    EXPECT_EQ(m_standIns.WaitForCalls(4).size(), 4U);
}

TEST_F(NicWriteTest, DhcpOffIsNotSupportedAndLeavesTheConfiguration) {
    EXPECT_EQ(Write("em0", DHCP, std::string("\0", 1)), OBJ_E_NOTSUPPORTED);
    EXPECT_THAT(m_standIns.Calls(), IsEmpty());
    EXPECT_EQ(ReadRcConf(), DEFAULT_SET_UP);
    EXPECT_THAT(m_log.TakeLines(), Contains("None: CObject0x8nn1::OnWrite_DHCP - SetDHCP failed! Error: ECA61000"));
}

TEST_F(NicWriteTest, DhcpNeedsAByte) {
    EXPECT_EQ(Write("em0", DHCP, ""), OBJ_E_INVALIDARG);
    EXPECT_THAT(m_log.TakeLines(), Contains("None: CObject0x8nn1::OnWrite_DHCP << (cbData < 1byte)"));
}

TEST_F(NicWriteTest, GatewayIsConfiguredAndRestarts) {
    EXPECT_EQ(Write("em0", GATEWAY, "10.0.0.9"), OBJ_E_NOERR);
    EXPECT_THAT(m_standIns.WaitForCalls(3), ElementsAre(Sysrc("defaultrouter=10.0.0.9"), m_routing, m_netif0));
}

TEST_F(NicWriteTest, EmptyOrZeroGatewayIsRemovedAndRestarts) {
    for (const char* text : {"", "0.0.0.0", "0.0.0.0x"}) {
        m_standIns.ForgetCalls();
        EXPECT_EQ(Write("em0", GATEWAY, text), OBJ_E_NOERR);
        EXPECT_THAT(m_standIns.WaitForCalls(3),
                    ElementsAre(Call{"/usr/sbin/sysrc", "-x", "defaultrouter"}, m_routing, m_netif0))
            << text;
    }
}

TEST_F(NicWriteTest, GatewayThatIsNoneIsRefused) {
    for (const char* text : {"x", "10.0.0", "10.0.0.1,10.0.0.2", " "}) {
        EXPECT_EQ(Write("em0", GATEWAY, text), OBJ_E_INVALIDARG) << text;
        EXPECT_THAT(m_log.TakeLines(),
                    Contains("None: CObject0x8nn1::SetGateway - Invalid gateway format! Error: ECA60107"));
    }
    EXPECT_THAT(m_standIns.Calls(), IsEmpty());
}

TEST_F(NicWriteTest, FailureOfTheToolIsToldAndRestartsNothing) {
    m_standIns.Add("/usr/sbin/sysrc", 42);
    EXPECT_EQ(Write("em1", ADDRESS, "10.0.0.1"), 0xECA7002AU);
    EXPECT_THAT(m_log.TakeLines(), Contains("None: CObject0x8nn1::SetIPv4 - SetNicSettings failed! Error: ECA7002A"));
    EXPECT_EQ(Write("em1", DHCP, "\1"), 0xECA7002AU);
    EXPECT_THAT(m_log.TakeLines(), Contains("None: CObject0x8nn1::SetDHCP - SetDHCP failed! Error: ECA7002A"));
    // A gateway's failure has the error of the system in its low half, whatever the tool's status was.
    const ObjResult set = Write("em1", GATEWAY, "10.0.0.9");
    EXPECT_EQ(set & 0xFFFF0000U, 0xECA70000U);
    EXPECT_NE(set, 0xECA7002AU);
    EXPECT_THAT(m_log.TakeLines(),
                Contains(testing::StartsWith("None: CObject0x8nn1::SetGateway - SetGateway failed! Error: ECA7")));
    EXPECT_EQ(Write("em1", GATEWAY, "") & 0xFFFF0000U, 0xECA70000U);
    EXPECT_THAT(m_log.TakeLines(), Contains(testing::StartsWith(
                                       "None: CObject0x8nn1::SetGateway - DeleteDefaultGateway failed! Error: ECA7")));
    EXPECT_EQ(m_standIns.Calls().size(), 4U); // no restart
}

TEST_F(NicWriteTest, ServersAreWrittenToTheBaseFileAndTheResolverIsUpdated) {
    EXPECT_EQ(Write("em0", DNS, "10.0.0.1,10.0.0.2"), OBJ_E_NOERR);
    EXPECT_EQ(BaseFile(), "nameserver 10.0.0.1\nnameserver 10.0.0.2\n");
    EXPECT_THAT(m_standIns.WaitForCalls(1), ElementsAre(m_resolver));
    EXPECT_EQ(Read("em0", DNS), "10.0.0.1,10.0.0.2");
}

TEST_F(NicWriteTest, ThreeServersAreKept) {
    EXPECT_EQ(Write("em0", DNS, "10.0.0.1,10.0.0.2,10.0.0.3,10.0.0.4,10.0.0.5"), OBJ_E_NOERR);
    EXPECT_EQ(BaseFile(), "nameserver 10.0.0.1\nnameserver 10.0.0.2\nnameserver 10.0.0.3\n");
}

TEST_F(NicWriteTest, NoServersRemoveTheBaseFile) {
    for (const char* text : {"", "no", "NO", "0.0.0.0"}) {
        EXPECT_EQ(Write("em0", DNS, "10.0.0.1"), OBJ_E_NOERR);
        EXPECT_EQ(BaseFile(), "nameserver 10.0.0.1\n");
        EXPECT_EQ(Write("em0", DNS, text), OBJ_E_NOERR) << text;
        EXPECT_EQ(BaseFile(), "absent") << text;
    }
    EXPECT_THAT(m_standIns.WaitForCalls(1), testing::Each(m_resolver));
    EXPECT_EQ(Write("em0", DNS, "No"), OBJ_E_INVALIDDATA);
}

TEST_F(NicWriteTest, OneWrongServerLeavesTheFileAsItWas) {
    EXPECT_EQ(Write("em0", DNS, "10.0.0.1"), OBJ_E_NOERR);
    m_standIns.WaitForCalls(1);
    for (const char* text : {"10.0.0.2,x", "x,10.0.0.2", "10.0.0.2,,10.0.0.3", ",", "10.0.0.2, 10.0.0.3",
                             "10.0.0.2,0.0.0.0", "10.0.0.2;reboot", "10.0.0.2\nnameserver 10.0.0.3"}) {
        EXPECT_EQ(Write("em0", DNS, text), OBJ_E_INVALIDDATA) << text;
        EXPECT_EQ(BaseFile(), "nameserver 10.0.0.1\n") << text;
    }
    EXPECT_EQ(m_standIns.Calls().size(), 1U);
    m_log.TakeLines();
    Write("em0", DNS, "a,10.0.0.2,b,c");
    EXPECT_THAT(m_log.TakeLines(),
                ElementsAre("None: CObject0x8nn1::SetGateway - Error: ECA60FFF - Invalid DNS format \"a\"",
                            "None: CObject0x8nn1::SetGateway - Error: ECA60106 - Invalid DNS format \"b\"",
                            "None: CObject0x8nn1::SetGateway - Error: ECA60106 - Invalid DNS format \"c\""));
}

TEST_F(NicWriteTest, ServersWithoutAPlaceForTheirFileFail) {
    std::filesystem::remove_all("/etc/resolvconf");
    std::ofstream("/etc/resolvconf") << "a file";
    EXPECT_EQ(Write("em0", DNS, "10.0.0.1"), 0xECA70100U); // mkdir's exit status 1 as the shell tells it
    EXPECT_THAT(m_log.TakeLines(),
                ElementsAre("None: CObject0x8nn1::SetGateway - WriteDnsServersToResolvConfig failed! Error: ECA70100"));
    EXPECT_THAT(m_standIns.Calls(), IsEmpty());
    std::filesystem::remove("/etc/resolvconf");
}

TEST_F(NicWriteTest, WithoutASetUpOnlyTheServersCanBeWritten) {
    for (const char* text : {"", "ifconfig_DEFAULT=\"DHCP\"\ndhcpcd_enable=\"YES\"\n"}) {
        WriteRcConf(text);
        EXPECT_EQ(Write("em1", ADDRESS, "10.0.0.1"), OBJ_E_INVALIDDATA);
        EXPECT_EQ(Write("em1", DHCP, "\1"), OBJ_E_INVALIDDATA);
        EXPECT_EQ(Write("em1", GATEWAY, "10.0.0.9"), OBJ_E_INVALIDDATA);
        EXPECT_THAT(m_standIns.Calls(), IsEmpty());
        EXPECT_EQ(ReadRcConf(), text);
    }
    EXPECT_EQ(Write("em1", DNS, "10.0.0.1"), OBJ_E_NOERR);
    EXPECT_THAT(m_standIns.WaitForCalls(1), ElementsAre(m_resolver));
}

TEST_F(NicWriteTest, WriteReturnsAtOnceHoweverLongTheRestartTakes) {
    m_standIns.Add("/etc/rc.d/routing", 0, "while test ! -e /tmp/go-on; do sleep 0.05; done");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(Write("em1", ADDRESS, "10.0.0.1"), OBJ_E_NOERR);
    EXPECT_EQ(Write("em1", GATEWAY, "10.0.0.9"), OBJ_E_NOERR);
    EXPECT_EQ(Read("em1", ADDRESS), "0.0.0.0");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    EXPECT_THAT(m_standIns.WaitForCalls(4), testing::Not(Contains(m_netif1)));
    std::ofstream("/tmp/go-on") << "";
    EXPECT_THAT(m_standIns.WaitForCalls(6), Contains(m_netif1).Times(2));
    std::filesystem::remove("/tmp/go-on");
}

TEST_F(NicWriteTest, FailedRoutingRestartDoesNotKeepTheAdapterFromRestarting) {
    m_standIns.Add("/etc/rc.d/routing", 1);
    EXPECT_EQ(Write("em0", GATEWAY, "10.0.0.9"), OBJ_E_NOERR);
    EXPECT_THAT(m_standIns.WaitForCalls(3), Contains(m_netif0));
}

TEST_F(NicWriteTest, RoutingIsRestartedOnceMoreWhereTheAdapterTookTheDefaultRouteAlong) {
    WriteRcConf("ifconfig_DEFAULT=\"DHCP\"\ndefaultrouter=\"10.0.0.9\"\n");
    std::string adapter = "em0";
    const Call route{"/sbin/route", "-n", "get", "default", "-interface", "em0"};
    NIC::RestartNetwork(&adapter);
    EXPECT_THAT(m_standIns.Calls(), ElementsAre(m_routing, m_netif0, route, m_routing));

    m_standIns.ForgetCalls();
    m_standIns.Add("/sbin/route", 0, "echo '    gateway: 10.0.0.9'");
    NIC::RestartNetwork(&adapter);
    EXPECT_THAT(m_standIns.Calls(), ElementsAre(m_routing, m_netif0, route));

    for (const char* router : {"NO", "no", ""}) {
        m_standIns.ForgetCalls();
        WriteRcConf(std::string("ifconfig_DEFAULT=\"DHCP\"\ndefaultrouter=\"") + router + "\"\n");
        NIC::RestartNetwork(&adapter);
        EXPECT_THAT(m_standIns.Calls(), ElementsAre(m_routing, m_netif0)) << router;
    }
}

TEST_F(NicWriteTest, OneRestartOfAnAdapterRunsAndOneWaitsHoweverManyAreAskedFor) {
    m_standIns.Add("/etc/rc.d/routing", 0, "while ! [ -e /tmp/go-on ]; do sleep 0.05; done");
    auto& record = Record("em0");
    for (int i = 0; i < 50; ++i) {
        record.RestartNetworkAsync();
    }
    Record("em1").RestartNetworkAsync();
    EXPECT_THAT(m_standIns.WaitForCalls(2), ElementsAre(m_routing, m_routing));
    std::ofstream("/tmp/go-on").flush();
    EXPECT_THAT(m_standIns.WaitForCalls(6),
                UnorderedElementsAre(m_routing, m_routing, m_routing, m_netif0, m_netif0, m_netif1));
    std::filesystem::remove("/tmp/go-on");
}

TEST_F(NicWriteTest, RecordThatIsGoneBeforeItsRestartHasEndedHarmsNobody) {
    m_standIns.Add("/etc/rc.d/routing", 0, "while ! [ -e /tmp/go-on ]; do sleep 0.05; done");
    Record("em1").RestartNetworkAsync();
    m_standIns.WaitForCalls(1);
    EXPECT_EQ(m_dictionary->RemoveObject(Settings("em1")), OBJ_E_NOERR);
    std::ofstream("/tmp/go-on").flush();
    EXPECT_THAT(m_standIns.WaitForCalls(2), ElementsAre(m_routing, m_netif1));
    std::filesystem::remove("/tmp/go-on");
}

TEST_F(NicWriteTest, ServersThatCannotBeWrittenAreToldAndTheOldOnesStay) {
    EXPECT_EQ(Write("em0", DNS, "10.0.0.1"), OBJ_E_NOERR);
    ASSERT_EQ(std::system((std::string("mount --bind ") + BASE + " " + BASE).c_str()), 0);
    EXPECT_EQ(Write("em0", DNS, "10.0.0.2"), 0xECA70010U); // EBUSY
    EXPECT_EQ(BaseFile(), "nameserver 10.0.0.1\n");
    ASSERT_EQ(std::system((std::string("umount ") + BASE).c_str()), 0);
}

TEST_F(NicWriteTest, RestartWithoutASetUpStopsAtTheRouting) {
    // The file loses its set-up between the edit and the restart.
    m_standIns.Add("/etc/rc.d/routing", 0, ": >/etc/rc.conf");
    EXPECT_EQ(Write("em0", GATEWAY, "10.0.0.9"), OBJ_E_NOERR);
    m_standIns.WaitForCalls(2);
    EXPECT_THAT(m_standIns.Calls(), ElementsAre(Sysrc("defaultrouter=10.0.0.9"), m_routing));
}

TEST_F(NicWriteTest, OtherSetUpEditsItsFlagsAndRestartsAllAdapters) {
    WriteRcConf("dhcpcd_enable=\"YES\"\n");
    EXPECT_EQ(Write("em1", ADDRESS, "10.0.0.1"), OBJ_E_NOERR);
    EXPECT_EQ(ReadRcConf(), "dhcpcd_enable=\"YES\"\ndhcpcd_flags=\"--denyinterfaces em1\"\n");
    EXPECT_THAT(m_standIns.WaitForCalls(4), ElementsAre(Sysrc("ifconfig_em1=inet 10.0.0.1 netmask 255.0.0.0"),
                                                        m_routing, Call{"/usr/sbin/service", "netif", "restart"},
                                                        Call{"/usr/sbin/service", "dhcpcd", "restart"}));
}
