#include "CommandsTest.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

class NetCommands : public CommandsTest {
protected:
    void SetUp() override {
        m_machine.AddModule(0, 2, "Nic", "em0");
        m_machine.objects[0x8001] = {9,
                                     "Adapter",
                                     {CountEntry(8),
                                      {9, "r-", "MAC", Text("00:01:05:12:34:56")},
                                      {9, "rw", "Address", Text("192.168.10.20")},
                                      {9, "rw", "Mask", Text("255.255.255.0")},
                                      {1, "rw", "DHCP", {0}},
                                      {9, "rw", "Gateway", Text("192.168.10.1")},
                                      {9, "rw", "DNS", Text("8.8.8.8,1.1.1.1")},
                                      {9, "rw", "Reserved", {}, 0xECA61000},
                                      {9, "rw", "Active DNS", {}, 0xECA60105}}};
        m_machine.serve = [](std::uint16_t, const TestBytes&) { return FakeResponse{0, {}}; };
    }
};

} // namespace

TEST_F(NetCommands, NetShowsATableOfTheAdapters) {
    EXPECT_EQ(Run({"net"}).out,
              "ADAPTER  ADDRESS        MASK           DHCP  GATEWAY       DNS              ACTIVE DNS  MAC\n"
              "em0      192.168.10.20  255.255.255.0  no    192.168.10.1  8.8.8.8,1.1.1.1  -           "
              "00:01:05:12:34:56\n");
}

TEST_F(NetCommands, SetAddressKeepsTheMaskAndLeavesTheGatewayThatAreNotNamed) {
    const Ran ran = Run({"net", "set", "em0", "--address", "10.0.0.9"});

    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_THAT(m_machine.writes,
                ElementsAre(FakeDictionary::Written{
                    0xB001, 1, Hex("2e000000 08000000 0d000000 09000000") + Text("10.0.0.9255.255.255.0unchanged")}));
}

TEST_F(NetCommands, SetAddressComesBeforeTheGatewayWhichIsWrittenOnItsOwn) {
    EXPECT_EQ(Run({"net", "set", "em0", "--gateway", "10.0.0.1", "--address", "10.0.0.9"}).status, 0);
    EXPECT_EQ(Run({"net", "set", "em0", "--address", "10.0.0.9", "--gateway", "none"}).status, 0);

    const FakeDictionary::Written address{
        0xB001, 1, Hex("2e000000 08000000 0d000000 09000000") + Text("10.0.0.9255.255.255.0unchanged")};
    EXPECT_THAT(m_machine.writes, ElementsAre(address, FakeDictionary::Written{0x8001, 5, Text("10.0.0.1")}, address,
                                              FakeDictionary::Written{0x8001, 5, Text("0.0.0.0")}));
}

TEST_F(NetCommands, AFailureOfTheAddressIsToldAndNothingElseIsSet) {
    m_machine.serve = [](std::uint16_t, const TestBytes&) { return FakeResponse{3, Hex("02 00 a7 ec 00 00 00 00")}; };

    const Ran ran = Run({"net", "set", "em0", "--address", "10.0.0.9", "--gateway", "10.0.0.1", "--dns", "9.9.9.9"});
    EXPECT_EQ(ran.status, 1);
    EXPECT_THAT(ran.err, StartsWith("mdp: em0 address: not changed: address, gateway, DNS: "));
    EXPECT_EQ(m_machine.writes.size(), 1U);
}

TEST_F(NetCommands, AFailureOfTheGatewayIsToldWithWhatWasAcceptedBefore) {
    m_machine.objects[0x8001].entries[5].code = 0xECA70011;

    const std::vector<std::string> words{"net",       "set",      "em0",   "--address", "10.0.0.9",
                                         "--gateway", "10.0.0.1", "--dns", "9.9.9.9"};
    const Ran ran = Run(words);
    EXPECT_EQ(ran.status, 1);
    EXPECT_THAT(ran.err, StartsWith("mdp: em0 gateway: accepted: address; not changed: gateway, DNS: "));
    EXPECT_EQ(m_machine.writes.size(), 2U) << "the DNS servers are not tried";

    std::vector<std::string> json = words;
    json.emplace_back("--json");
    EXPECT_THAT(Run(json).out, HasSubstr("accepted: address; not changed: gateway, DNS"));
}

TEST_F(NetCommands, SetDhcpComesBeforeTheGatewayAndDnsLast) {
    const Ran ran = Run({"net", "set", "em0", "--dns", "9.9.9.9", "--gateway", "10.0.0.1", "--dhcp"});

    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_THAT(m_machine.writes, ElementsAre(FakeDictionary::Written{0x8001, 4, {1}},
                                              FakeDictionary::Written{0x8001, 5, Text("10.0.0.1")},
                                              FakeDictionary::Written{0x8001, 6, Text("9.9.9.9")}));
}

TEST_F(NetCommands, NoneRemovesGatewayAndDns) {
    EXPECT_EQ(Run({"net", "set", "em0", "--gateway", "none", "--dns", "none"}).status, 0);

    EXPECT_THAT(m_machine.writes, ElementsAre(FakeDictionary::Written{0x8001, 5, Text("0.0.0.0")},
                                              FakeDictionary::Written{0x8001, 6, Text("NO")}));
}

TEST_F(NetCommands, WrongSettingsAreRefusedBeforeAnythingIsWritten) {
    for (const std::vector<std::string>& options : {std::vector<std::string>{},
                                                    {"--address", "10.0.0"},
                                                    {"--address", "0.0.0.0"},
                                                    {"--mask", "255.0.0.0"},
                                                    {"--address", "10.0.0.1", "--mask", "255.0.255.0"},
                                                    {"--address", "10.0.0.1", "--dhcp"},
                                                    {"--gateway", "x"},
                                                    {"--dns", "1.1.1.1;2.2.2.2"},
                                                    {"--dns", "1.1.1.1,,2.2.2.2"},
                                                    {"--dns", "1.1.1.1,"},
                                                    {"--dns", "1.1.1.1,2.2.2.2,3.3.3.3,4.4.4.4"}}) {
        std::vector<std::string> words{"net", "set", "em0"};
        words.insert(words.end(), options.begin(), options.end());
        EXPECT_EQ(Run(words).status, 2) << testing::PrintToString(options);
    }
    EXPECT_TRUE(m_machine.writes.empty());
}

TEST_F(NetCommands, AcceptedIsNotMoreThanTheServiceTells) {
    EXPECT_EQ(Run({"net", "set", "em0", "--gateway", "192.168.10.1"}).out,
              "em0: accepted; the machine stores what changes and applies it in the background\n");
}

TEST_F(NetCommands, AddressOfAnAdapterWhoseNameRcConfCannotHoldIsRefused) {
    m_machine.AddModule(1, 2, "Nic", "eth0.100");
    m_machine.objects[0x8011] = m_machine.objects[0x8001];

    const Ran ran = Run({"net", "set", "eth0.100", "--address", "10.0.0.9"});
    EXPECT_EQ(ran.status, 2);
    EXPECT_EQ(ran.err, "mdp: eth0.100: rc.conf holds no address for an adapter whose name has other characters than "
                       "letters, digits and _\n");
    EXPECT_EQ(Run({"net", "set", "eth0.100", "--dhcp"}).status, 2);
    EXPECT_TRUE(m_machine.writes.empty());
    EXPECT_EQ(Run({"net", "set", "eth0.100", "--dns", "9.9.9.9"}).status, 0) << "the machine's, not the adapter's";
}

TEST_F(NetCommands, AddressThatIsStillBeingSetEndsWithFive) {
    m_machine.serve = [](std::uint16_t, const TestBytes&) { return FakeResponse{255, {}}; };

    EXPECT_EQ(Run({"net", "set", "em0", "--address", "10.0.0.9", "--timeout", "0.05"}).status, 5);
}

TEST_F(NetCommands, UnknownAdapterIsToldTogetherWithTheOnesThereAre) {
    const Ran ran = Run({"net", "set", "em7", "--dhcp"});

    EXPECT_EQ(ran.status, 2);
    EXPECT_EQ(ran.err, "mdp: there is no adapter em7; there are: em0\n");
}
