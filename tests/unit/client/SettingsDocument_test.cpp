#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "settings/SettingsDocument.h"

using namespace MdpCommand;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const std::string s_whole = R"({
  "version": 1,
  "name": "press-7",
  "zone": "Europe/Berlin",
  "ntp": {
    "server": "ntp.example.net",
    "refresh": 64
  },
  "groups": {
    "gone": null,
    "operators": [],
    "panels": [
      "alice",
      "bob"
    ]
  },
  "dns": [
    "9.9.9.9"
  ],
  "gateway": "192.168.10.1",
  "net": {
    "em0": {
      "mac": "02:00:00:00:10:20",
      "dhcp": false,
      "address": "192.168.10.20",
      "mask": "255.255.255.0"
    },
    "em1": {
      "dhcp": true
    },
    "eth0.5": {}
  }
}
)";

// All that is wrong with a document or its values, a line each.
std::vector<std::string> FaultsOf(const std::string& text) {
    std::vector<Fault> faults;
    if (const auto settings = ParseDocument(text, faults)) {
        faults = CheckSettings(*settings);
    }
    std::vector<std::string> lines;
    for (const Fault& fault : faults) {
        lines.push_back(FaultText(fault));
    }
    return lines;
}

std::string FaultsWith(const std::string& members) {
    std::string all;
    for (const std::string& line : FaultsOf("{\"version\": 1, " + members + "}")) {
        all += (all.empty() ? "" : "\n") + line;
    }
    return all;
}

Settings Whole() {
    std::vector<Fault> faults;
    return ParseDocument(s_whole, faults).value_or(Settings());
}

} // namespace

TEST(SettingsDocument, ComesBackAsItWasWritten) {
    EXPECT_THAT(FaultsOf(s_whole), IsEmpty());
    EXPECT_EQ(DocumentText(Whole()), s_whole);
    EXPECT_EQ(DocumentText(Settings()), "{\n  \"version\": 1\n}\n");
}

TEST(SettingsDocument, NoneIsNullInIt) {
    std::vector<Fault> faults;
    const std::string text = R"({"version": 1, "ntp": {"server": null}, "gateway": null, "dns": []})";
    const auto settings = ParseDocument(text, faults);
    ASSERT_TRUE(settings);
    EXPECT_EQ(settings->ntp->server, "");
    EXPECT_EQ(settings->gateway, "");
    EXPECT_THAT(*settings->dns, IsEmpty());
    EXPECT_EQ(DocumentText(*settings),
              "{\n  \"version\": 1,\n  \"ntp\": {\n    \"server\": null\n  },\n  \"dns\": [],\n"
              "  \"gateway\": null\n}\n");
}

TEST(SettingsDocument, BrokenJsonIsToldWithItsPlace) {
    EXPECT_THAT(FaultsOf("{\n  \"version\" 1\n}"),
                ElementsAre(testing::StartsWith("this is no JSON: line 2, column 13: syntax error")));
    EXPECT_THAT(FaultsOf(""), ElementsAre(testing::StartsWith("this is no JSON: line 1, column 1: syntax error")));
    EXPECT_THAT(FaultsOf(R"({"version": 1, "name": "a", "name": "b"})"),
                ElementsAre("this is no JSON: \"name\" is there twice"));
    EXPECT_THAT(FaultsOf("[]"), ElementsAre("this is no document of settings, which is an object: {...}; mdp save "
                                            "writes one"));
}

TEST(SettingsDocument, OtherVersionsAreRefused) {
    const std::string other = "version: this mdp reads version 1; a newer one may read others";
    EXPECT_THAT(FaultsOf(R"({"version": 2, "new": 1})"), ElementsAre(other));
    EXPECT_THAT(FaultsOf(R"({"version": "1"})"), ElementsAre(other));
    EXPECT_THAT(FaultsOf(R"({"version": 1.5})"), ElementsAre(other));
    EXPECT_THAT(FaultsOf("{}"), ElementsAre("version: this is missing; mdp save writes version 1"));
}

TEST(SettingsDocument, AllFaultsAreToldWithTheirPlaces) {
    EXPECT_THAT(
        FaultsOf(R"({"version": 1, "colour": "red", "name": 5, "net": {"em0": {"adress": "10.0.0.1"}}})"),
        ElementsAre("colour: there is no such setting; there are: version, name, zone, ntp, groups, dns, gateway "
                    "and net",
                    "name: this must be a text",
                    "net.em0.adress: there is no such setting; there are: dhcp, address, mask and mac"));
}

TEST(SettingsDocument, ValuesOfOtherKindsAreRefused) {
    EXPECT_EQ(FaultsWith(R"("ntp": {"server": "x", "refresh": "64"})"), "ntp.refresh: this must be a whole number");
    EXPECT_EQ(FaultsWith(R"("ntp": {"server": "x", "refresh": 64.5})"), "ntp.refresh: this must be a whole number");
    EXPECT_EQ(FaultsWith(R"("ntp": {"refresh": 64})"), "ntp: server is missing; null stands for none");
    EXPECT_EQ(FaultsWith(R"("ntp": "x")"), "ntp: this must be an object: {...}");
    EXPECT_EQ(FaultsWith(R"("dns": "9.9.9.9")"), "dns: this must be a list: [\"...\", \"...\"]");
    EXPECT_EQ(FaultsWith(R"("dns": ["9.9.9.9", null])"), "dns[1]: this must be a text");
    EXPECT_EQ(FaultsWith(R"("gateway": "")"), "gateway: an empty text is nothing; null stands for none");
    EXPECT_EQ(FaultsWith(R"("net": {"em0": {"dhcp": "yes"}})"), "net.em0.dhcp: this must be true or false");
    EXPECT_EQ(FaultsWith(R"("net": {"em0": {"dhcp": false}})"),
              "net.em0: without DHCP there must be an address and a mask");
}

TEST(SettingsDocument, NamesThatTheMachineRefusesAreRefused) {
    for (const char* name : {"", "-a", ".a", "a b", "qr_a", "QR-a", "LM_x", "tv-1", "wn-1", "ä", "a\\u0000"}) {
        EXPECT_THAT(FaultsWith(std::string("\"name\": \"") + name + "\""), testing::StartsWith("name: ")) << name;
    }
    EXPECT_NE(FaultsWith("\"name\": \"" + std::string(256, 'a') + "\""), "");
    for (const char* name : {"a", "a.b_c-d", "7", "tv_1", "wn_1", "qra"}) {
        EXPECT_EQ(FaultsWith(std::string("\"name\": \"") + name + "\""), "") << name;
    }
}

TEST(SettingsDocument, AddressesAndMasksOutOfTheirRangeAreRefused) {
    for (const char* address : {"0.0.0.0", "0.1.2.3", "224.0.0.1", "10.0.0", "10.0.0.256", "10.0.0.01", "x", ""}) {
        const std::string em0 =
            std::string(R"("net": {"em0": {"address": ")") + address + R"(", "mask": "255.0.0.0"}})";
        EXPECT_THAT(FaultsWith(em0), testing::StartsWith("net.em0")) << address;
    }
    for (const char* mask : {"0.0.0.0", "255.0.255.0", "255.255.255", "", "24"}) {
        const std::string em0 = std::string(R"("net": {"em0": {"address": "10.0.0.1", "mask": ")") + mask + "\"}}";
        EXPECT_THAT(FaultsWith(em0), testing::StartsWith("net.em0.mask: ")) << mask;
    }
    EXPECT_EQ(FaultsWith(R"("net": {"em0": {"address": "10.0.0.1"}})"),
              "net.em0.mask: an address needs a mask such as 255.255.255.0");
    EXPECT_EQ(FaultsWith(R"("net": {"em0": {"mask": "255.0.0.0"}})"), "net.em0: a mask needs an address");
    EXPECT_EQ(FaultsWith(R"("net": {"em0": {"dhcp": true, "address": "10.0.0.1", "mask": "255.0.0.0"}})"),
              "net.em0: with DHCP there is no address and no mask; leave out either dhcp or them");
    EXPECT_EQ(FaultsWith(R"("net": {"em0": {"address": "10.0.0.1", "mask": "255.0.0.0"},
                                    "em1": {"address": "10.0.0.1", "mask": "255.0.0.0"}})"),
              "net.em1.address: 10.0.0.1 is the address of em0 too");
    EXPECT_EQ(
        FaultsWith(R"("net": {"eth0.5": {"dhcp": true}})"),
        "net.eth0.5: rc.conf holds no address for an adapter whose name has other characters than letters, digits "
        "and _");
    EXPECT_EQ(FaultsWith(R"("gateway": "256.1.1.1")"),
              "gateway: \"256.1.1.1\" is no IPv4 address of a router; null stands for none");
    EXPECT_EQ(FaultsWith(R"("dns": ["1.1.1.1", "2001:db8::1"])"),
              "dns[1]: \"2001:db8::1\" is no IPv4 address of a DNS server");
    EXPECT_EQ(FaultsWith(R"("dns": ["1.1.1.1", "2.2.2.2", "3.3.3.3", "4.4.4.4"])"),
              "dns: a machine takes at most three DNS servers");
}

TEST(SettingsDocument, TimeServersAndGroupsOutOfTheirRangeAreRefused) {
    EXPECT_EQ(FaultsWith(R"("ntp": {"server": "x", "refresh": 15})"), "ntp.refresh: the fewest seconds are 16");
    EXPECT_EQ(FaultsWith(R"("ntp": {"server": "x", "refresh": 4294967296})"),
              "ntp.refresh: the most seconds are 4294967295");
    EXPECT_EQ(FaultsWith(R"("ntp": {"server": null, "refresh": 64})"),
              "ntp.refresh: without a server there is no refresh; leave it out");
    for (const char* server : {"a b", "NoSync", "a/b"}) {
        EXPECT_THAT(FaultsWith(std::string(R"("ntp": {"server": ")") + server + "\"}"),
                    testing::StartsWith("ntp.server: "))
            << server;
    }
    for (const char* group : {"", "-a", "a b", "a:b", "a$b", "$"}) {
        EXPECT_THAT(FaultsWith(std::string("\"groups\": {\"") + group + "\": []}"), testing::StartsWith("groups."))
            << group;
    }
    EXPECT_EQ(FaultsWith(R"("groups": {"panels": ["alice", "a b"]})"), "groups.panels: \"a b\" is no name of a user");
    EXPECT_EQ(FaultsWith(R"("groups": {"panels": ["alice", "alice"]})"), "groups.panels: alice is there twice");
    EXPECT_EQ(FaultsWith(R"("groups": {"pc$": ["alice"]})"), "");
}

TEST(SettingsDocument, ValuesArePutInTheirPlaces) {
    Settings settings = Whole();
    const std::pair<const char*, const char*> values[] = {
        {"name", "press-8"},          {"zone", "UTC"},
        {"ntp.server", "a"},          {"ntp.refresh", "128"},
        {"dns", "1.1.1.1,8.8.8.8"},   {"gateway", "none"},
        {"groups.panels", "carol"},   {"net.em0.address", "192.168.10.77"},
        {"net.em1.dhcp", "false"},    {"net.em1.address", "10.0.0.1"},
        {"net.em1.mask", "255.0.0.0"}};
    for (const auto& [place, value] : values) {
        EXPECT_EQ(SetValue(settings, place, value), "") << place;
    }
    EXPECT_THAT(CheckSettings(settings), IsEmpty());
    EXPECT_EQ(settings.name, "press-8");
    EXPECT_EQ(settings.zone, "UTC");
    EXPECT_EQ(settings.ntp->server, "a");
    EXPECT_EQ(settings.ntp->refresh, 128U);
    EXPECT_THAT(*settings.dns, ElementsAre("1.1.1.1", "8.8.8.8"));
    EXPECT_EQ(settings.gateway, "");
    EXPECT_THAT(*settings.groups->at("panels"), ElementsAre("carol"));
    EXPECT_EQ(settings.net->at("em0").address, "192.168.10.77");
    EXPECT_EQ(settings.net->at("em0").mask, "255.255.255.0");
    EXPECT_EQ(settings.net->at("em1"), (AdapterSettings{"", false, "10.0.0.1", "255.0.0.0"}));
}

TEST(SettingsDocument, AnAddressEndsDhcpAndTheOtherWayRound) {
    Settings settings = Whole();
    EXPECT_EQ(SetValue(settings, "net.em0.dhcp", "true"), "");
    EXPECT_EQ(SetValue(settings, "net.em1.address", "10.0.0.1"), "");
    EXPECT_EQ(settings.net->at("em0"), (AdapterSettings{"02:00:00:00:10:20", true, "", ""}));
    EXPECT_EQ(settings.net->at("em1"), (AdapterSettings{"", false, "10.0.0.1", ""}));
    EXPECT_EQ(SetValue(settings, "ntp.server", "none"), "");
    EXPECT_FALSE(settings.ntp->refresh) << "without a server there is none";
}

TEST(SettingsDocument, PlacesThatAreNoneAreRefused) {
    for (const char* place : {"", "colour", "name.x", "ntp", "ntp.x", "groups", "groups.", "net", "net.em0",
                              "net.em0.x", "version", "net.em0.mac"}) {
        Settings settings = Whole();
        EXPECT_NE(SetValue(settings, place, "1"), "") << place;
    }
    Settings settings = Whole();
    EXPECT_NE(SetValue(settings, "name", ""), "");
    EXPECT_NE(SetValue(settings, "net.em0.dhcp", "yes"), "");
    EXPECT_NE(SetValue(settings, "ntp.refresh", "4294967296"), "");
}
