#include <gmock/gmock.h>

#include <new>

#include "NicFixture.h"
#include "RcConf.h"
#include "dictionary/ModuleObjects.h"

using namespace std::string_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr unsigned int RENEW = 0;
constexpr unsigned int SET_ALL = 1;

// Status, a zero byte, and a code of eight bytes for a failure.
const std::string SUCCESS = "\0\0"s;
const std::string INVALID_DATA = "\3\0\x06\x01\xA6\xEC\0\0\0\0"s;
const std::string INVALID_ARGUMENT = "\3\0\x07\x01\xA6\xEC\0\0\0\0"s;
const std::string OUT_OF_MEMORY = "\3\0\x04\x01\xA6\xEC\0\0\0\0"s;
const std::string UNEXPECTED = "\3\0\xFF\x0F\xA6\xEC\0\0\0\0"s;

class NicServiceTest : public NicFixture {
protected:
    NicServiceTest() { WriteRcConf("ifconfig_DEFAULT=\"DHCP\"\n"); }

    const Call m_routing{"/etc/rc.d/routing", "restart"};
    const Call m_netif1{"/etc/rc.d/netif", "restart", "em1"};
};

class CForgetful : public NIC::CObjNicService {
    ObjResult Run() override { throw std::bad_alloc(); }
};

} // namespace

TEST_F(NicServiceTest, RenewAsksTheDhcpClientOfAnAdapterOnDhcp) {
    EXPECT_EQ(Run("em1", RENEW, ""), SUCCESS);
    EXPECT_THAT(m_standIns.WaitForCalls(1), ElementsAre(Call{"/etc/rc.d/dhclient", "restart", "em1"}));
}

TEST_F(NicServiceTest, RenewAsksTheDhcpClientOfTheOtherSetUp) {
    WriteRcConf("dhcpcd_enable=\"YES\"\n");
    EXPECT_EQ(Run("em1", RENEW, "whatever"), SUCCESS);
    EXPECT_THAT(m_standIns.WaitForCalls(2),
                ElementsAre(Call{"/sbin/dhcpcd", "-k", "em1"}, Call{"/sbin/dhcpcd", "em1"}));
}

TEST_F(NicServiceTest, RenewOfAStaticAdapterSucceedsAndDoesNothing) {
    WriteRcConf("ifconfig_DEFAULT=\"DHCP\"\nifconfig_em1=\"inet 10.0.0.1 netmask 255.0.0.0\"\n");
    EXPECT_EQ(Run("em1", RENEW, ""), SUCCESS);
    EXPECT_THAT(m_standIns.Calls(), IsEmpty());
}

TEST_F(NicServiceTest, RenewWithoutASetUpFailsWithACodeOfEightBytes) {
    WriteRcConf("");
    EXPECT_EQ(Run("em1", RENEW, ""), INVALID_DATA);
}

TEST_F(NicServiceTest, ServiceThatFindsNoMemoryFailsWithACodeOfEightBytes) {
    constexpr unsigned int behind = 2;
    AddModuleObject<CForgetful>(*m_dictionary.Get(), 0, ServiceIndex(Header("em1"), behind));
    EXPECT_EQ(Run("em1", behind, ""), OUT_OF_MEMORY);
}

TEST_F(NicServiceTest, ServicesWithoutTheirRecordFail) {
    const unsigned short header = Header("em1");
    EXPECT_EQ(m_dictionary->RemoveObject(DataIndex(header, 1)), OBJ_E_NOERR);
    EXPECT_EQ(Run("em1", RENEW, ""), UNEXPECTED);
    EXPECT_EQ(Run("em1", SET_ALL, "\x08\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0"s), UNEXPECTED);
}

TEST_F(NicServiceTest, SetAllSetsAddressMaskAndGatewayAndRestarts) {
    EXPECT_EQ(Run("em1", SET_ALL,
                  "\x29\0\0\0\x08\0\0\0\x09\0\0\0\x08\0\0\0"
                  "10.0.0.1255.0.0.010.0.0.9"s),
              SUCCESS);
    EXPECT_THAT(m_standIns.WaitForCalls(4),
                ElementsAre(Call{"/usr/sbin/sysrc", "ifconfig_em1=inet 10.0.0.1 netmask 255.0.0.0"},
                            Call{"/usr/sbin/sysrc", "defaultrouter=10.0.0.9"}, m_routing, m_netif1));
}

TEST_F(NicServiceTest, SetAllTakesTextsWithATerminator) {
    EXPECT_EQ(Run("em1", SET_ALL,
                  "\x2B\0\0\0\x09\0\0\0\x0A\0\0\0\x08\0\0\0"
                  "10.0.0.1\0"
                  "255.0.0.0\0"
                  "10.0.0.9"s),
              SUCCESS);
    EXPECT_THAT(m_standIns.WaitForCalls(4),
                Contains(Call{"/usr/sbin/sysrc", "ifconfig_em1=inet 10.0.0.1 netmask 255.0.0.0"}));
}

TEST_F(NicServiceTest, SetAllWithoutAGatewayRemovesIt) {
    EXPECT_EQ(Run("em1", SET_ALL,
                  "\x21\0\0\0\x08\0\0\0\x09\0\0\0\0\0\0\0"
                  "10.0.0.1255.0.0.0"s),
              SUCCESS);
    EXPECT_THAT(m_standIns.WaitForCalls(4), Contains(Call{"/usr/sbin/sysrc", "-x", "defaultrouter"}));
}

TEST_F(NicServiceTest, SetAllSucceedsWhereTheAddressOrTheGatewayDoes) {
    EXPECT_EQ(Run("em1", SET_ALL,
                  "\x19\0\0\0\x01\0\0\0\0\0\0\0\x08\0\0\0"
                  "y10.0.0.9"s),
              SUCCESS);
    EXPECT_THAT(m_standIns.WaitForCalls(3),
                ElementsAre(Call{"/usr/sbin/sysrc", "defaultrouter=10.0.0.9"}, m_routing, m_netif1));
    m_standIns.ForgetCalls();
    EXPECT_EQ(Run("em1", SET_ALL,
                  "\x22\0\0\0\x08\0\0\0\x09\0\0\0\x01\0\0\0"
                  "10.0.0.1255.0.0.0x"s),
              SUCCESS);
    EXPECT_THAT(
        m_standIns.WaitForCalls(3),
        ElementsAre(Call{"/usr/sbin/sysrc", "ifconfig_em1=inet 10.0.0.1 netmask 255.0.0.0"}, m_routing, m_netif1));
}

TEST_F(NicServiceTest, SetAllThatFailsInBothTellsTheAddressesFailureAndRestartsAllTheSame) {
    m_log.TakeLines();
    EXPECT_EQ(Run("em1", SET_ALL,
                  "\x12\0\0\0\x01\0\0\0\0\0\0\0\x01\0\0\0"
                  "xy"s),
              INVALID_ARGUMENT);
    EXPECT_THAT(m_standIns.WaitForCalls(2), ElementsAre(m_routing, m_netif1));
    const std::vector<std::string> lines = m_log.TakeLines();
    EXPECT_THAT(lines, Contains("None: SetIPv4 failed: 3970302215"));
    EXPECT_THAT(lines, Contains("None: SetGateway: 3970302215"));
}

TEST_F(NicServiceTest, SetAllRefusesBrokenRequests) {
    const struct {
        const char* what;
        std::string request;
    } rows[] = {
        {"nothing", ""},
        {"less than eight bytes with the NUL behind them", "\x06\0\0\0\0\0"s},
        {"total above the data", "\x12\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0"s},
        {"total below the counted header", "\x07\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0"s},
        {"lengths above the total", "\x10\0\0\0\x03\0\0\0\x03\0\0\0\x03\0\0\0"s},
        {"address of 17 bytes", "\x29\0\0\0\x11\0\0\0\0\0\0\0\0\0\0\0"s + std::string(32, '1')},
        {"mask of 17 bytes", "\x29\0\0\0\0\0\0\0\x11\0\0\0\0\0\0\0"s + std::string(32, '1')},
        {"gateway of 17 bytes", "\x29\0\0\0\0\0\0\0\0\0\0\0\x11\0\0\0"s + std::string(32, '1')},
        {"sum above 32 bits", "\x10\0\0\0\xF8\xFF\xFF\xFF\x08\0\0\0\0\0\0\0"s},
    };

    for (const auto& row : rows) {
        EXPECT_EQ(Run("em1", SET_ALL, row.request), INVALID_DATA) << row.what;
    }
    EXPECT_THAT(m_standIns.Calls(), IsEmpty());
}

TEST_F(NicServiceTest, SetAllTakesTextsThatLieBehindTheStatedTotal) {
    // The total counts a header of eight bytes, as clients do: the last eight bytes of text lie behind it.
    EXPECT_EQ(Run("em1", SET_ALL,
                  "\x21\0\0\0\x08\0\0\0\x09\0\0\0\x08\0\0\0"
                  "10.0.0.1255.0.0.010.0.0.9"s),
              SUCCESS);
    EXPECT_THAT(m_standIns.WaitForCalls(4), Contains(Call{"/usr/sbin/sysrc", "defaultrouter=10.0.0.9"}));
}

TEST_F(NicServiceTest, SetAllNeverReadsBehindTheData) {
    // The texts are cut where the data end.
    EXPECT_EQ(Run("em1", SET_ALL,
                  "\x20\0\0\0\x10\0\0\0\x08\0\0\0\0\0\0\0"
                  "10.0.0.1\0\0\0\0\0\0\0"s),
              SUCCESS);
    EXPECT_THAT(m_standIns.WaitForCalls(3),
                ElementsAre(Call{"/usr/sbin/sysrc", "-x", "defaultrouter"}, m_routing, m_netif1));
}

TEST_F(NicServiceTest, RequestStaysWithANulBehindIt) {
    Run("em1", RENEW, "abc");
    const CRef<CObject> service = m_dictionary->GetObjectRef(ServiceIndex(Header("em1"), RENEW));
    EXPECT_EQ(service->GetItem(1)->size, 4U);
}
