#include <cstdlib>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "settings/SettingsPlan.h"

using namespace MdpCommand;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr const char* s_mask = "255.255.255.0";

// Three adapters: em0 with the default route, em1 and em2 with nets of their own.
class SettingsPlan : public testing::Test {
protected:
    SettingsPlan() {
        Put("em0", "192.168.10.20");
        Put("em1", "192.168.20.20");
        Put("em2", "192.168.30.20");
        m_machine.gateway = "192.168.10.1";
        m_wanted.net.emplace();
    }

    void Put(const std::string& name, const std::string& address) {
        Adapter adapter;
        adapter.dhcp = address.empty();
        adapter.address = address.empty() ? s_noAddress : address;
        adapter.mask = address.empty() ? s_noAddress : s_mask;
        m_machine.adapters[name] = adapter;
    }

    void Want(const std::string& name, const std::string& address) {
        (*m_wanted.net)[name] = {"", address.empty(), address, address.empty() ? "" : s_mask};
    }

    // The steps as places, with "=GATEWAY" where one sets the gateway, "/ADAPTER" through another.
    std::vector<std::string> Places(const std::string& session = "") const {
        std::vector<std::string> places;
        for (const Step& step : PlanSteps(m_wanted, m_machine, session)) {
            places.push_back(step.differences.front().place +
                             (step.gateway ? "=" + (step.gateway->empty() ? "none" : *step.gateway) : "") +
                             (step.adapter.empty() ? "" : "/" + step.adapter));
        }
        return places;
    }

    MachineSettings m_machine;
    Settings m_wanted;
};

} // namespace

TEST_F(SettingsPlan, WhatIsEqualNeedsNoStep) {
    Want("em0", "192.168.10.20");
    m_wanted.gateway = "192.168.10.1";
    EXPECT_THAT(Places(), IsEmpty());
}

TEST_F(SettingsPlan, NetworkComesLastAndInItTheAdapterWithTheDefaultRoute) {
    m_machine.name = "a";
    m_wanted.name = "b";
    m_wanted.dns = {"9.9.9.9"};
    Want("em0", "192.168.10.21");
    Want("em1", "192.168.20.21");
    Want("em2", "192.168.30.21");
    EXPECT_THAT(Places(), ElementsAre("name", "dns", "net.em1", "net.em2", "net.em0"));
}

TEST_F(SettingsPlan, AdapterOfTheSessionComesLast) {
    Want("em0", "192.168.10.21");
    Want("em1", "192.168.20.21");
    Want("em2", "192.168.30.21");
    EXPECT_THAT(Places("192.168.20.20"), ElementsAre("net.em2", "net.em0", "net.em1"));
    EXPECT_THAT(Places("10.9.8.7"), ElementsAre("net.em1", "net.em2", "net.em0"))
        << "the session is not this machine's";
}

TEST_F(SettingsPlan, GatewayIsSetTogetherWithTheAddressInItsNet) {
    Want("em0", "172.16.0.20");
    Want("em1", "192.168.20.21");
    m_wanted.gateway = "172.16.0.1";
    EXPECT_THAT(Places(), ElementsAre("net.em1", "net.em0=172.16.0.1"));
}

TEST_F(SettingsPlan, GatewayOfAnotherNetComesBeforeTheCarrier) {
    Want("em0", "172.16.0.20");
    m_wanted.gateway = "192.168.30.1";
    EXPECT_THAT(Places(), ElementsAre("gateway=192.168.30.1/em2", "net.em0"));
    m_wanted.net->clear();
    EXPECT_THAT(Places(), ElementsAre("gateway=192.168.30.1/em2"));
    m_wanted.gateway = "";
    EXPECT_THAT(Places(), ElementsAre("gateway=none/em0"));
}

TEST_F(SettingsPlan, NoGatewayIsSetTogetherWithAnAddress) {
    Want("em0", "192.168.10.21");
    m_wanted.gateway = "";
    EXPECT_THAT(Places(), ElementsAre("net.em0=none"));
}

// Turning to DHCP takes the configured gateway away.
TEST_F(SettingsPlan, GatewayIsSetBehindAdaptersThatTurnToDhcp) {
    Want("em0", "");
    Want("em1", "192.168.20.21");
    m_wanted.gateway = "192.168.20.1";
    EXPECT_THAT(Places(), ElementsAre("net.em1", "net.em0", "gateway=192.168.20.1/em1"));
    Put("em0", "");
    Want("em0", "192.168.10.20");
    Want("em1", "");
    m_machine.gateway = "192.168.20.1";
    m_wanted.gateway = "192.168.10.1";
    EXPECT_THAT(Places(), ElementsAre("net.em0", "net.em1", "gateway=192.168.10.1/em0"));
}

TEST_F(SettingsPlan, GatewayThatStaysIsSetAgainWhenAnotherAdapterTurnsToDhcp) {
    Want("em1", "");
    EXPECT_THAT(Places(), ElementsAre("net.em1", "gateway=192.168.10.1/em0")) << "not spoken of";
    EXPECT_EQ(DifferenceWords(PlanSteps(m_wanted, m_machine, "").at(1).differences.at(0)),
              "gateway: 192.168.10.1 again, as turning to DHCP takes it away");
    m_wanted.gateway = "192.168.10.1";
    EXPECT_THAT(Places(), ElementsAre("net.em1", "gateway=192.168.10.1/em0")) << "wanted";
    Want("em0", "192.168.10.21");
    EXPECT_THAT(Places(), ElementsAre("net.em1", "net.em0=192.168.10.1")) << "with an address";
}

TEST_F(SettingsPlan, GatewayThatGoesWithItsAdapterIsNotSetAgain) {
    Want("em0", "");
    EXPECT_THAT(Places(), ElementsAre("net.em0"));
    Want("em0", "192.168.10.20");
    Want("em1", "");
    m_machine.gateway = "192.168.20.1";
    m_machine.gatewayIsLeased = true;
    EXPECT_THAT(Places(), ElementsAre("net.em1"));
}

TEST_F(SettingsPlan, LeasedGatewayIsNoConfiguredOne) {
    m_machine.gatewayIsLeased = true;
    m_wanted.gateway = "";
    EXPECT_THAT(CompareSettings(m_wanted, m_machine), IsEmpty());
}

TEST_F(SettingsPlan, AdapterWithoutSettingsIsLeftAsItIs) {
    (*m_wanted.net)["em0"] = {"02:00:00:00:10:20", false, "", ""};
    (*m_wanted.net)["em7"] = {};
    EXPECT_THAT(CompareSettings(m_wanted, m_machine), IsEmpty());
    EXPECT_THAT(FindObstacles(m_wanted, m_machine), IsEmpty());
}

TEST_F(SettingsPlan, RefreshIsComparedAsTheMachineTakesIt) {
    m_machine.ntp = {"a", 64};
    m_wanted.ntp = NtpSettings{"a", 100};
    EXPECT_THAT(CompareSettings(m_wanted, m_machine), IsEmpty());
    m_wanted.ntp->refresh = 128;
    const auto differences = CompareSettings(m_wanted, m_machine);
    ASSERT_EQ(differences.size(), 1U);
    EXPECT_EQ(DifferenceWords(differences[0]), "ntp.refresh: 64 s -> 128 s");
    EXPECT_EQ(RefreshOf(16), 16U);
    EXPECT_EQ(RefreshOf(0xFFFFFFFF), 0x80000000U);
}

TEST_F(SettingsPlan, MembersAreComparedWithoutThoseWhoseGroupItIs) {
    m_machine.groups = {"alice", "panels", "ops"};
    m_machine.accounts = {{"alice", {"alice", "panels"}}, {"bob", {"panels"}}, {"carol", {"users", "panels"}}};
    m_wanted.groups.emplace();
    auto& panels = (*m_wanted.groups)["panels"];
    for (const std::vector<std::string>& equal :
         {std::vector<std::string>{"carol", "alice"}, {"alice", "bob", "carol"}}) {
        panels = equal;
        EXPECT_THAT(CompareSettings(m_wanted, m_machine), IsEmpty());
    }
    panels = {{"alice"}};
    (*m_wanted.groups)["new"] = std::vector<std::string>();
    (*m_wanted.groups)["ops"] = std::nullopt;
    (*m_wanted.groups)["none"] = std::nullopt;
    std::vector<std::string> words;
    for (const Difference& difference : CompareSettings(m_wanted, m_machine)) {
        words.push_back(DifferenceWords(difference));
    }
    EXPECT_THAT(words, ElementsAre("groups.new: no such group -> no members", "groups.ops: no members -> no such group",
                                   "groups.panels: alice, carol -> alice"));
}

// The machine leaves a group out of a user's text where the text holds a group that ends like it.
TEST_F(SettingsPlan, MembershipThatTheMachineHidesIsNoDifference) {
    m_machine.groups = {"xpanels", "panels"};
    m_machine.accounts = {{"alice", {"alice", "xpanels"}}};
    EXPECT_EQ(m_machine.MembershipOf("alice", "panels"), Membership::Hidden);
    m_wanted.groups = {{"panels", {{"alice"}}}};
    EXPECT_THAT(CompareSettings(m_wanted, m_machine), IsEmpty());
    m_wanted.groups = {{"panels", std::vector<std::string>()}};
    EXPECT_THAT(CompareSettings(m_wanted, m_machine), IsEmpty());
}

TEST_F(SettingsPlan, ObstaclesAreToldTogetherWithWhatToDo) {
    m_machine.zones = {"UTC"};
    m_wanted.zone = "No/Such";
    m_wanted.groups = {{"panels", {{"alice"}}}};
    Want("em7", "");
    std::vector<std::string> lines;
    for (const Fault& fault : FindObstacles(m_wanted, m_machine)) {
        lines.push_back(FaultText(fault));
    }
    EXPECT_THAT(
        lines, ElementsAre("zone: this machine has no zone No/Such; mdp zone list shows them",
                           "groups.panels: this machine has no user alice; add it (mdp user add alice) or leave the "
                           "groups out by --only",
                           "net.em7: this machine has no such adapter; there are: em0, em1, em2; choose those that are "
                           "to be set by --only, as in net=em0"));
    m_machine.notOffered[Section::Zone] = "this machine offers no clock";
    EXPECT_EQ(FaultText(FindObstacles(m_wanted, m_machine).at(0)),
              "zone: this machine offers no clock; leave it out by --only");
}

TEST(SessionAddress, IsThatOfThisSide) {
    setenv("SSH_CONNECTION", "10.0.0.5 50000 192.168.10.20 22", 1);
    EXPECT_EQ(SessionAddress(), "192.168.10.20");
    setenv("SSH_CONNECTION", "nonsense", 1);
    EXPECT_EQ(SessionAddress(), "");
    unsetenv("SSH_CONNECTION");
    EXPECT_EQ(SessionAddress(), "");
}
