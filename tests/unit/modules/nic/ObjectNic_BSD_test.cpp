#include "modules/nic/ObjectNic_BSD.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "NicFixture.h"
#include "RcConf.h"
#include "host/Programs.h"

using NIC::CObject0x8nn1;
using testing::Contains;
using testing::ElementsAre;
using testing::Not;

namespace {

constexpr unsigned char ADDRESS = 2;
constexpr unsigned char MASK = 3;
constexpr unsigned char DHCP = 4;
constexpr unsigned char GATEWAY = 5;
constexpr unsigned char DNS = 6;
constexpr unsigned char RESERVED = 7;
constexpr unsigned char DNS_ACTIVE = 8;

using NicReadTest = NicFixture;

void Shell(const std::string& command) {
    ASSERT_EQ(std::system(command.c_str()), 0) << command;
}

void WriteText(const std::string& path, const std::string& text) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path) << text;
}

} // namespace

TEST_F(NicReadTest, EachAdapterButTheLoopbackIsAModuleInTheSystemsOrder) {
    EXPECT_EQ(Header("em0"), 0x8000);
    EXPECT_EQ(Header("em1"), 0x8010);
    EXPECT_EQ(Header("lo"), 0);
    const CRef<CObject> header = m_dictionary->GetObjectRef(0x8000);
    std::string type;
    EXPECT_EQ(static_cast<CObj0x8nn0&>(*header).GetType(type), OBJ_E_NOERR);
    EXPECT_EQ(type, "Nic");
    EXPECT_EQ(header->NameId(), 1070);
    const TInfoItem* moduleType = header->GetItem(4);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(moduleType->data), moduleType->size),
              std::string("\x10\x27\x02\x00", 4));
}

TEST(NicWithoutAdapters, LoopbackAloneMakesNoModule) {
    const CLogCapture log;
    for (const char* adapter : {"em0", "em1"}) {
        Shell(std::string("ip link del ") + adapter);
    }
    const CDictionaryRef dictionary;
    EXPECT_EQ(NIC::Create(), OBJ_E_NOERR);
    EXPECT_FALSE(dictionary->GetObjectRef(0x8000));
    EXPECT_FALSE(dictionary->GetObjectRef(0x8001));
    EXPECT_EQ(dictionary->GetNextFree0x8nn0Slot(), 0x8000);
}

TEST(NicWithTooManyAdapters, ThoseBehindTheLastSlotAreLeftOut) {
    const CLogCapture log;
    Shell("for i in $(seq 150); do echo link add a$i type veth peer name b$i; done | ip -batch -");
    const CDictionaryRef dictionary;
    EXPECT_EQ(NIC::Create(), OBJ_E_NOERR);
    EXPECT_EQ(dictionary->GetNextFree0x8nn0Slot(), 0x9000);
    EXPECT_TRUE(dictionary->GetObjectRef(0x8FF0));
    EXPECT_TRUE(dictionary->GetObjectRef(0x8FF1));
    EXPECT_TRUE(dictionary->GetObjectRef(0xBFF1));
    EXPECT_FALSE(dictionary->GetObjectRef(0x9000));
    EXPECT_FALSE(dictionary->GetObjectRef(0x9001));
}

TEST_F(NicReadTest, TriggersOfASlotThatBelongsToAnotherModuleFail) {
    const CRef<CObject> other(new CObjectRecord);
    static_cast<CObjectRecord&>(*other).Init(0x8F01, OBJCODE_RECORD, 0);
    ASSERT_EQ(m_dictionary->AddObject(other.Get()), OBJ_E_NOERR);
    TInfoItem item{};
    EXPECT_EQ(NIC::OnRead_IPv4(&item, 0x8F01, ADDRESS), OBJ_E_UNEXPECTED);
    char address[] = "10.0.0.1";
    EXPECT_EQ(NIC::OnWrite_IPv4(&item, 0x8F01, ADDRESS, address, 8), OBJ_E_UNEXPECTED);
    EXPECT_EQ(m_dictionary->RemoveObject(0x8F01), OBJ_E_NOERR);
}

TEST(NicWithAnUnsafeName, NeverReachesAShell) {
    const CLogCapture log;
    CStandIns standIns;
    for (const char* path : {"/sbin/route", "/sbin/dhcpcd", "/usr/sbin/service", "/usr/sbin/sysrc", "/etc/rc.d/netif",
                             "/etc/rc.d/dhclient", "/etc/rc.d/routing"}) {
        standIns.Add(path);
    }
    Host::ExtendSearchPath();
    Shell("ip link add 'a;>shell' type veth peer name other");
    std::filesystem::current_path("/tmp");
    const CDictionaryRef dictionary;
    ASSERT_EQ(NIC::Create(), OBJ_E_NOERR);

    WriteRcConf("ifconfig_DEFAULT=\"DHCP\"\ndefaultrouter=\"10.0.0.9\"\n");
    CRef<CObject> object;
    for (unsigned short index = 0x8001; object = dictionary->GetObjectRef(index), object; index += 0x10) {
        if (static_cast<CObject0x8nn1&>(*object).Adapter() == "a;>shell") {
            break;
        }
    }
    ASSERT_TRUE(object);
    auto& record = static_cast<CObject0x8nn1&>(*object);
    EXPECT_EQ(record.UpdateGateway(), OBJ_E_NOERR);
    EXPECT_EQ(record.SetIPv4("10.0.0.1", "255.0.0.0"), 0xECA70016U); // EINVAL
    EXPECT_EQ(record.SetDHCP(true), 0xECA70016U);
    std::string adapter = record.Adapter();
    NIC::RestartNetwork(&adapter);
    NIC::RenewIP(&adapter);
    WriteRcConf("dhcpcd_enable=\"YES\"\n");
    NIC::RenewIP(&adapter);
    EXPECT_EQ(record.SetIPv4("10.0.0.1", "255.0.0.0"), 0xECA70016U);

    // The system's own programs are scripts of a shell, too.
    using Call = std::vector<std::string>;
    EXPECT_THAT(standIns.Calls(), testing::Each(Call{"/etc/rc.d/routing", "restart"}));
    EXPECT_FALSE(std::filesystem::exists("/tmp/shell"));
}

TEST_F(NicReadTest, ObjectsOfAnAdapterHaveTheirItemsNamesAndKinds) {
    const struct {
        std::uint16_t type;
        std::uint16_t access;
        std::int64_t nameId;
    } rows[] = {
        {5, 1, 104},   {9, 5, 10008}, {9, 3, 10009}, {9, 3, 10010}, {1, 3, 10011},
        {9, 3, 20030}, {9, 3, 20031}, {9, 3, 20032}, {9, 3, 20033},
    };

    const CRef<CObject> record = m_dictionary->GetObjectRef(0x8011);
    EXPECT_EQ(record->NameId(), 1071);
    EXPECT_EQ(record->ObjectCode(), 9U);
    ASSERT_EQ(record->GetCoutOfInfoItems(), std::size(rows));
    for (std::size_t row = 0; row < std::size(rows); ++row) {
        const auto i = static_cast<unsigned char>(row);
        EXPECT_EQ(record->GetItem(i)->type, rows[i].type) << int{i};
        EXPECT_EQ(record->GetItem(i)->access, rows[i].access) << int{i};
        EXPECT_EQ(record->GetItem(i)->nameId, rows[i].nameId) << int{i};
    }
    EXPECT_EQ(m_dictionary->GetObjectRef(0xB010)->NameId(), 1072);
    EXPECT_EQ(m_dictionary->GetObjectRef(0xB011)->NameId(), 1073);
    EXPECT_FALSE(m_dictionary->GetObjectRef(0x8012));
    EXPECT_FALSE(m_dictionary->GetObjectRef(0xB012));
}

TEST_F(NicReadTest, MacAddressIsTheHardwareAddressInLowerCase) {
    EXPECT_EQ(Read("em0", 1), "02:00:00:00:10:20");
    EXPECT_EQ(Read("em1", 1), "02:00:00:00:20:20");
    EXPECT_EQ(Write("em0", 1, "02:00:00:00:10:21"), OBJ_E_INVALACCESS);
}

TEST_F(NicReadTest, ItemHasNoValueBeforeItsFirstRead) {
    EXPECT_EQ(Record("em0").GetItem(ADDRESS)->data, nullptr);
    EXPECT_EQ(Record("em0").GetItem(DHCP)->data, nullptr);
}

TEST_F(NicReadTest, RunningAddressAndMaskAreReadTogether) {
    WriteRcConf("ifconfig_DEFAULT=\"DHCP\"\nifconfig_em0=\"inet 1.2.3.4 netmask 255.0.0.0\"\n");
    EXPECT_EQ(Read("em0", ADDRESS), "192.168.10.20");
    const TInfoItem* mask = Record("em0").GetItem(MASK);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(mask->data), mask->size), "255.255.255.0");
}

TEST_F(NicReadTest, LastOfSeveralAddressesIsTheOneThatIsRead) {
    Shell("ip addr add 10.20.30.40/12 dev em0 && ip addr add 172.16.0.9/30 dev em0");
    EXPECT_EQ(Read("em0", ADDRESS), "172.16.0.9");
    EXPECT_EQ(Read("em0", MASK), "255.255.255.252");
}

TEST_F(NicReadTest, AddressIsAskedAnewAtEachRead) {
    EXPECT_EQ(Read("em1", ADDRESS), "0.0.0.0");
    Shell("ip addr add 10.20.30.40/8 dev em1");
    EXPECT_EQ(Read("em1", ADDRESS), "10.20.30.40");
    Shell("ip addr flush dev em1");
    EXPECT_EQ(Read("em1", ADDRESS), "0.0.0.0");
}

TEST_F(NicReadTest, WithoutARunningAddressTheConfiguredOneIsRead) {
    const struct {
        const char* text;
        const char* address;
        const char* mask;
    } rows[] = {
        {"ifconfig_DEFAULT=\"DHCP\"\nifconfig_em1=\"inet 10.0.0.1 netmask 255.0.0.0\"\n", "10.0.0.1", "255.0.0.0"},
        {"ifconfig_DEFAULT=\"DHCP\"\nifconfig_em1=\"inet 10.0.0.1 netmask 0xff000000\"\n", "10.0.0.1", "0xff000000"},
        {"ifconfig_DEFAULT=\"DHCP\"\nifconfig_em1=\"up inet 10.0.0.1 netmask 255.0.0.0 mtu 9000\"\n", "10.0.0.1",
         "255.0.0.0 mtu 9000"},
        {"dhcpcd_enable=\"YES\"\nifconfig_em1=\"inet 10.0.0.1 netmask 255.0.0.0\"\n", "10.0.0.1", "255.0.0.0"},
        {"ifconfig_DEFAULT=\"DHCP\"\nifconfig_em1=\"inet 10.0.0.1/8\"\n", "0.0.0.0", "0.0.0.0"},
        {"ifconfig_DEFAULT=\"DHCP\"\nifconfig_em1=\"inet 10.0.0.1 netmask \"\n", "0.0.0.0", "0.0.0.0"},
        {"ifconfig_DEFAULT=\"DHCP\"\nifconfig_em1=\"DHCP\"\n", "0.0.0.0", "0.0.0.0"},
        {"ifconfig_DEFAULT=\"DHCP\"\n", "0.0.0.0", "0.0.0.0"},
        // No set-up is stated, so the setting counts for nothing.
        {"ifconfig_em1=\"inet 10.0.0.1 netmask 255.0.0.0\"\n", "0.0.0.0", "0.0.0.0"},
        {"", "0.0.0.0", "0.0.0.0"},
    };

    for (const auto& row : rows) {
        WriteRcConf(row.text);
        EXPECT_EQ(Read("em1", ADDRESS), row.address) << row.text;
        EXPECT_EQ(Read("em1", MASK), row.mask) << row.text;
    }
}

TEST_F(NicReadTest, DhcpFollowsTheSetUp) {
    const std::string on("\1", 1);
    const std::string off("\0", 1);
    WriteRcConf("ifconfig_DEFAULT=\"DHCP\"\nifconfig_em0=\"inet 10.0.0.1 netmask 255.0.0.0\"\n");
    EXPECT_EQ(Read("em0", DHCP), off);
    EXPECT_EQ(Read("em1", DHCP), on);
    WriteRcConf("dhcpcd_enable=\"YES\"\ndhcpcd_flags=\"-Z em1\"\n");
    EXPECT_EQ(Read("em0", DHCP), on);
    EXPECT_EQ(Read("em1", DHCP), off);
}

TEST_F(NicReadTest, DhcpWithoutASetUpFails) {
    WriteRcConf("");
    EXPECT_EQ(Read("em0", DHCP), "ECA60106");
    EXPECT_THAT(m_log.TakeLines(), Contains("None: CObject0x8nn1::OnRead_DHCP - UpdateDHCP failed! Error: ECA60106"));
}

TEST_F(NicReadTest, GatewayComesFromTheRoutingTableFirst) {
    WriteRcConf("ifconfig_DEFAULT=\"DHCP\"\ndefaultrouter=\"10.0.0.9\"\n");
    m_standIns.Add("/sbin/route", 0, "echo '    gateway: 192.168.10.1'");
    EXPECT_EQ(Read("em0", GATEWAY), "192.168.10.1");
    EXPECT_THAT(m_standIns.Calls(), ElementsAre(Call{"/sbin/route", "-n", "get", "default", "-interface", "em0"}));
}

TEST_F(NicReadTest, GatewayThatTheRoutingTableDoesNotKnowIsTheConfiguredOne) {
    WriteRcConf("ifconfig_DEFAULT=\"DHCP\"\ndefaultrouter=\"10.0.0.9\"\n");
    EXPECT_EQ(Read("em0", GATEWAY), "10.0.0.9");
    WriteRcConf("ifconfig_DEFAULT=\"DHCP\"\n");
    EXPECT_EQ(Read("em0", GATEWAY), "0.0.0.0");
    WriteRcConf("defaultrouter=\"10.0.0.9\"\n");
    EXPECT_EQ(Read("em0", GATEWAY), "0.0.0.0");
}

TEST_F(NicReadTest, DnsServersAreThoseOfTheBaseFileAndActiveOnesThoseOfTheResolver) {
    WriteText("/etc/resolvconf/resolv.conf.d/base", "nameserver 10.0.0.1\nsearch x\nnameserver   10.0.0.2 \n");
    WriteText("/etc/resolv.conf", "# nameserver 10.0.0.3\noptions x\nnameserver 10.0.0.4 # four\nnameserver \n");
    EXPECT_EQ(Read("em0", DNS), "10.0.0.1,10.0.0.2 ");
    // A commented entry counts too, and text behind an address stays.
    EXPECT_EQ(Read("em0", DNS_ACTIVE), "10.0.0.3,10.0.0.4 # four");
}

TEST_F(NicReadTest, DnsServersOfAMissingFileReadAsAnEmptyText) {
    std::filesystem::remove_all("/etc/resolvconf");
    std::filesystem::remove("/etc/resolv.conf");
    std::string value = "old";
    EXPECT_EQ(Read("em0", DNS, value), OBJ_E_NOERR);
    EXPECT_EQ(value, "");
    value = "old";
    EXPECT_EQ(Read("em0", DNS_ACTIVE, value), OBJ_E_NOERR);
    EXPECT_EQ(value, "");
}

TEST_F(NicReadTest, ServersAreReadFromAnyFileOrTheErrorIsTold) {
    std::vector<std::string> servers{"old"};
    EXPECT_EQ(Record("em0").ReadDnsServersFromResolvConfig("/tmp/absent", servers), 0xECA70002U);
    EXPECT_THAT(servers, ElementsAre());
    WriteText("/tmp/servers", "nameserver 1.1.1.1\n");
    EXPECT_EQ(Record("em0").ReadDnsServersFromResolvConfig("/tmp/servers", servers), OBJ_E_NOERR);
    EXPECT_THAT(servers, ElementsAre("1.1.1.1"));
}

TEST_F(NicReadTest, ReservedItemIsNotSupported) {
    EXPECT_EQ(Read("em0", RESERVED), "ECA61000");
    EXPECT_EQ(Write("em0", RESERVED, "x"), OBJ_E_NOTSUPPORTED);
}

TEST_F(NicReadTest, WriteToTheActiveServersLastsUntilTheNextRead) {
    WriteText("/etc/resolv.conf", "nameserver 10.0.0.4\n");
    EXPECT_EQ(Write("em0", DNS_ACTIVE, "x"), OBJ_E_NOERR);
    const TInfoItem* item = Record("em0").GetItem(DNS_ACTIVE);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(item->data), item->size), std::string("x\0", 2));
    EXPECT_EQ(Read("em0", DNS_ACTIVE), "10.0.0.4");
    EXPECT_THAT(m_standIns.Calls(), ElementsAre());
}

TEST_F(NicReadTest, UpdatesWithoutTheirItemsFail) {
    CObject0x8nn1& record = Record("em0");
    record.RemoveAllItems();
    EXPECT_EQ(record.UpdateIPv4(), OBJ_E_UNEXPECTED);
    EXPECT_EQ(record.UpdateDHCP(), OBJ_E_UNEXPECTED);
    EXPECT_EQ(record.UpdateGateway(), OBJ_E_UNEXPECTED);
    m_log.TakeLines();
    EXPECT_EQ(record.UpdateDNS(), OBJ_E_UNEXPECTED);
    EXPECT_EQ(record.UpdateDNSActive(), OBJ_E_UNEXPECTED);
    EXPECT_EQ(record.SetDNS(""), OBJ_E_UNEXPECTED);
    EXPECT_THAT(m_log.TakeLines(), ElementsAre("Error: CObject0x8nn1::UpdateDNS - ItemDNS is nullptr",
                                               "Error: CObject0x8nn1::UpdateDNSActive - ItemDNS is nullptr",
                                               "Error: CObject0x8nn1::SetDNS - ItemDNS is nullptr"));
}

TEST_F(NicReadTest, TriggersOfAnUnknownSlotFail) {
    TInfoItem item;
    EXPECT_EQ(NIC::OnRead_IPv4(&item, 0x8FF1, 2), OBJ_E_UNEXPECTED);
    EXPECT_EQ(NIC::OnRead_DHCP(&item, 0x8FF1, 4), OBJ_E_UNEXPECTED);
    EXPECT_EQ(NIC::OnRead_Gateway(&item, 0x8FF1, 5), OBJ_E_UNEXPECTED);
    EXPECT_EQ(NIC::OnRead_DNS(&item, 0x8FF1, 6), OBJ_E_UNEXPECTED);
    EXPECT_EQ(NIC::OnRead_DNSActive(&item, 0x8FF1, 8), OBJ_E_UNEXPECTED);
}

TEST_F(NicReadTest, ParsesTheAddressOfASettingWithAMask) {
    EXPECT_EQ(CObject0x8nn1::ParseIPv4("inet 10.0.0.1 netmask 255.0.0.0"), "10.0.0.1");
    EXPECT_EQ(CObject0x8nn1::ParseIPv4("inet   10.0.0.1 netmask"), "10.0.0.1");
    EXPECT_EQ(CObject0x8nn1::ParseIPv4("inet 10.0.0.1/8"), "");
    EXPECT_EQ(CObject0x8nn1::ParseIPv4("inet  netmask 255.0.0.0"), "");
    EXPECT_EQ(CObject0x8nn1::ParseIPv4("DHCP"), "");
    EXPECT_EQ(CObject0x8nn1::ParseIPv4(""), "");
}

TEST_F(NicReadTest, ParsesTheMaskOfASetting) {
    EXPECT_EQ(CObject0x8nn1::ParseIPv4Mask("inet 10.0.0.1 netmask 255.0.0.0"), "255.0.0.0");
    EXPECT_EQ(CObject0x8nn1::ParseIPv4Mask(" netmask x y"), "x y");
    EXPECT_EQ(CObject0x8nn1::ParseIPv4Mask("inet 10.0.0.1 netmask"), "");
    EXPECT_EQ(CObject0x8nn1::ParseIPv4Mask(" netmas"), "");
    EXPECT_EQ(CObject0x8nn1::ParseIPv4Mask(""), "");
}

TEST_F(NicReadTest, ParsesThePrefixLengthOfASetting) {
    const struct {
        const char* setting;
        const char* mask;
    } rows[] = {
        {"inet 10.0.0.1/0", "0.0.0.0"},
        {"inet 10.0.0.1/1", "128.0.0.0"},
        {"inet 10.0.0.1/8", "255.0.0.0"},
        {"inet 10.0.0.1/20", "255.255.240.0"},
        {"inet 10.0.0.1/32", "255.255.255.255"},
        {"inet 10.0.0.1/33", ""},
        {"inet 10.0.0.1/-1", ""},
        {"inet 10.0.0.1/24 up", "255.255.255.0"},
        {"inet 10.0.0.1", ""},
        {"/ 16", "255.255.0.0"},
    };

    for (const auto& row : rows) {
        EXPECT_EQ(CObject0x8nn1::ParseIPv4MaskCIDR(row.setting), row.mask) << row.setting;
    }
    EXPECT_THAT(m_log.TakeLines(), Not(Contains(testing::HasSubstr("ParseIPv4MaskCIDR"))));
    EXPECT_EQ(CObject0x8nn1::ParseIPv4MaskCIDR("10.0.0.1/x"), "");
    EXPECT_EQ(CObject0x8nn1::ParseIPv4MaskCIDR("10.0.0.1/99999999999"), "");
    EXPECT_THAT(m_log.TakeLines(), ElementsAre(testing::StartsWith("None: CObject0x8nn1::ParseIPv4MaskCIDR: "),
                                               testing::StartsWith("None: CObject0x8nn1::ParseIPv4MaskCIDR: ")));
}

TEST_F(NicReadTest, ParsesTheFirstOctet) {
    EXPECT_EQ(CObject0x8nn1::ParseIPv4Class("10.0.0.1"), 10U);
    EXPECT_EQ(CObject0x8nn1::ParseIPv4Class("224."), 224U);
    EXPECT_EQ(CObject0x8nn1::ParseIPv4Class("10"), 0xFFFFFFFFU);
    EXPECT_EQ(CObject0x8nn1::ParseIPv4Class(""), 0xFFFFFFFFU);
    m_log.TakeLines();
    EXPECT_EQ(CObject0x8nn1::ParseIPv4Class("x.1"), 0xFFFFFFFFU);
    EXPECT_EQ(CObject0x8nn1::ParseIPv4Class(".1"), 0xFFFFFFFFU);
    EXPECT_THAT(m_log.TakeLines(), ElementsAre(testing::StartsWith("None: CObject0x8nn1::ParseIPv4Class: "),
                                               testing::StartsWith("None: CObject0x8nn1::ParseIPv4Class: ")));
}

TEST_F(NicReadTest, AddressIsValidInDottedFormAndNotAllZeroes) {
    EXPECT_TRUE(CObject0x8nn1::IsValidIPv4("10.0.0.1"));
    EXPECT_TRUE(CObject0x8nn1::IsValidIPv4("255.255.255.255"));
    EXPECT_TRUE(CObject0x8nn1::IsValidIPv4("0.0.1.0"));
    for (const char* text : {"0.0.0.0", "0.0.0.05", "", "10.0.0", "10.0.0.256", "10.0.0.1 ", " 10.0.0.1", "::1",
                             "10.0.0.1\n", "10.0.0.1/8"}) {
        EXPECT_FALSE(CObject0x8nn1::IsValidIPv4(text)) << text;
    }
    EXPECT_TRUE(CObject0x8nn1::IsValidIPv4(std::string("10.0.0.1\0\0", 10)));
    EXPECT_FALSE(CObject0x8nn1::IsValidIPv4(std::string("10.0.0.1\0x", 10)));
    EXPECT_FALSE(CObject0x8nn1::IsValidIPv4(std::string("\0", 1)));
}
