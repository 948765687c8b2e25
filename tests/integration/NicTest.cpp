// The network adapters over the socket, for real: what is written is in rc.conf, on the adapter and seen by its peer.

#include <sys/prctl.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "ServiceTest.h"

namespace {

// The machine's adapters are the first modules.
constexpr std::uint16_t Em0 = 0x8001;
constexpr std::uint16_t Em1 = 0x8011;
constexpr std::uint16_t RenewEm0 = 0xB000;
constexpr std::uint16_t SetAllEm0 = 0xB001;
constexpr std::uint16_t RenewEm1 = 0xB010;

constexpr std::uint8_t Address = 2;
constexpr std::uint8_t Mask = 3;
constexpr std::uint8_t Dhcp = 4;
constexpr std::uint8_t Gateway = 5;
constexpr std::uint8_t Dns = 6;
constexpr std::uint8_t DnsActive = 8;

constexpr const char* RcConf = "/etc/rc.conf";

const std::string s_startRcConf = "# The machine's settings.\n"
                                  "hostname=\"IPC-4711\"\n"
                                  "ifconfig_DEFAULT=\"DHCP\"\n"
                                  "ifconfig_em0=\"inet 192.168.10.20 netmask 255.255.255.0\"\n"
                                  "ifconfig_em1=\"inet 192.168.20.20 netmask 255.255.255.0\"\n"
                                  "defaultrouter=\"192.168.10.1\"\n"
                                  "dumpdev=\"AUTO\"\n";

void WriteText(const std::string& path, const std::string& text) {
    std::ofstream(path) << text;
}

std::string ReadText(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string Shell(const std::string& command) {
    std::FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) {
        throw std::runtime_error("no shell");
    }
    std::string output;
    for (int character = std::fgetc(pipe); character != EOF; character = std::fgetc(pipe)) {
        output.push_back(static_cast<char>(character));
    }
    pclose(pipe);
    return output;
}

bool Eventually(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return true;
}

std::string AddressesOf(const std::string& adapter) {
    return Shell("ip -4 -o addr show dev " + adapter + " | awk '{ print $4 }'");
}

bool PeerReaches(const std::string& peer, const std::string& address) {
    return Eventually([&] {
        return Shell("ip netns exec " + peer + " ping -c 1 -W 1 " + address + " >/dev/null 2>&1 && echo yes") ==
               "yes\n";
    });
}

Bytes Text(const std::string& text) {
    return {text.begin(), text.end()};
}

// A record that is written, and the whole frame around it.
Bytes WriteFrame(std::uint16_t index, std::uint8_t flags, std::uint8_t subIndex, const Bytes& value) {
    const std::size_t end = 24 + 18 + value.size();
    return Join({Little(end, 8),
                 Little(24, 8),
                 Little(end, 8),
                 "00 00"_hex,
                 Little(index, 2),
                 {flags, subIndex},
                 "00 00 00 00 00 00 00 00"_hex,
                 Little(value.size(), 4),
                 value});
}

Bytes ReadFrame(std::uint16_t index, std::uint8_t flags, std::uint8_t subIndex) {
    constexpr std::size_t room = 512;
    return Join({Little(24 + 18 + room, 8),
                 Little(24, 8),
                 Little(24, 8),
                 "00 00"_hex,
                 Little(index, 2),
                 {flags, subIndex},
                 "00 00 00 00 00 00 00 00"_hex,
                 Little(room, 4),
                 Bytes(room)});
}

std::uint32_t CodeOf(const Bytes& answer) {
    if (answer.size() < 22) {
        return 0xFFFFFFFF;
    }
    std::uint32_t code = 0;
    for (std::size_t at = 13; at >= 10; --at) {
        code = code << 8 | answer[at];
    }
    return code;
}

std::uint32_t Write(std::uint16_t index, std::uint8_t subIndex, const std::string& value) {
    return CodeOf(WireClient::Transact(WriteFrame(index, 0, subIndex, Text(value))));
}

// The value, or the code in the form of a text.
std::string Read(std::uint16_t index, std::uint8_t subIndex) {
    const Bytes answer = WireClient::Transact(ReadFrame(index, 0, subIndex));
    if (CodeOf(answer) != 0) {
        return "code " + std::to_string(CodeOf(answer));
    }
    return {answer.begin() + 22, answer.end()};
}

// Runs a service to its end, as the service flag asks for, and gives its response.
Bytes RunService(std::uint16_t index, const Bytes& request) {
    EXPECT_EQ(CodeOf(WireClient::Transact(WriteFrame(index, 2, 1, request))), 0U);
    const Bytes answer = WireClient::Transact(ReadFrame(index, 2, 1));
    EXPECT_EQ(CodeOf(answer), 0U);
    return {answer.begin() + 22, answer.end()};
}

class NicTest : public ServiceTest {
protected:
    void SetUp() override {
        // Daemons that the service starts are to be reaped by the machine: as dead children of this test, which does
        // not wait for them, they would seem to whoever stops them to live on.
        prctl(PR_SET_CHILD_SUBREAPER, 0);
        WriteText(RcConf, RcConfText());
        Shell("ip addr replace 192.168.20.20/24 dev em1");
        ServiceTest::SetUp();
    }

    virtual std::string RcConfText() { return s_startRcConf; }

    // Lines of the start configuration with one of them replaced, or left out for an empty text.
    static std::string With(const std::string& start, const std::string& replacement) {
        std::string text = s_startRcConf;
        const std::size_t at = text.find("\n" + start) + 1;
        text.replace(at, text.find('\n', at) + 1 - at, replacement);
        return text;
    }

    // A DHCP server on the peer of em1 that gives 192.168.20.50 to .60 and itself as the gateway.
    static void StartDhcpServer() {
        Shell("ip netns exec em1-peer dnsmasq --conf-file=/dev/null --port=0 --interface=em1-peer --bind-interfaces"
              " --dhcp-range=192.168.20.50,192.168.20.60,2m --dhcp-option=3,192.168.20.1 --dhcp-authoritative"
              " --log-dhcp --log-facility=/tmp/dhcp.log --dhcp-leasefile=/tmp/dhcp.leases --pid-file=/tmp/dhcp.pid"
              " --user=root >/dev/null 2>&1");
    }

    static int Leases() { return std::stoi("0" + Shell("grep -c 'DHCPACK(' /tmp/dhcp.log 2>/dev/null")); }

    static bool HasLease() {
        return Eventually([] { return Read(Em1, Address).starts_with("192.168.20.5"); });
    }
};

class NicDhcpcdTest : public NicTest {
protected:
    std::string RcConfText() override {
        return "dhcpcd_enable=\"YES\"\n"
               "dhcpcd_flags=\"-Z em0,em1\"\n"
               "ifconfig_em0=\"inet 192.168.10.20 netmask 255.255.255.0\"\n"
               "ifconfig_em1=\"inet 192.168.20.20 netmask 255.255.255.0\"\n"
               "defaultrouter=\"192.168.10.1\"\n";
    }
};

} // namespace

TEST_F(NicTest, AddressWrittenIsOnTheAdapterAndAnswersItsPeer) {
    // 0x8001:2 = "192.168.10.77"
    EXPECT_EQ(WireClient::Transact("37 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  37 00 00 00 00 00 00 00"
                                   "00 00  01 80  00  02  00 00 00 00 00 00 00 00  0D 00 00 00"
                                   "31 39 32 2E 31 36 38 2E 31 30 2E 37 37"_hex),
              "12 00 00 00  00 00  01 80  00  02  00 00 00 00 00 00 00 00  00 00 00 00"_hex);
    EXPECT_EQ(ReadText(RcConf), With("ifconfig_em0", "ifconfig_em0=\"inet 192.168.10.77 netmask 255.255.255.0\"\n"));
    EXPECT_TRUE(Eventually([] { return AddressesOf("em0") == "192.168.10.77/24\n"; })) << AddressesOf("em0");
    EXPECT_TRUE(PeerReaches("em0-peer", "192.168.10.77"));
    // 0x8001:2 read back.
    EXPECT_EQ(WireClient::Transact("3A 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"
                                   "00 00  01 80  00  02  00 00 00 00 00 00 00 00  10 00 00 00"
                                   "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"_hex),
              "1F 00 00 00  00 00  01 80  00  02  00 00 00 00 00 00 00 00  0D 00 00 00"
              "31 39 32 2E 31 36 38 2E 31 30 2E 37 37"_hex);
}

TEST_F(NicTest, MaskWrittenIsOnTheAdapter) {
    EXPECT_EQ(Read(Em0, Address), "192.168.10.20");
    EXPECT_EQ(Write(Em0, Mask, "255.255.0.0"), 0U);
    EXPECT_EQ(ReadText(RcConf), With("ifconfig_em0", "ifconfig_em0=\"inet 192.168.10.20 netmask 255.255.0.0\"\n"));
    EXPECT_TRUE(Eventually([] { return AddressesOf("em0") == "192.168.10.20/16\n"; }));
    EXPECT_TRUE(Eventually([] { return Read(Em0, Mask) == "255.255.0.0"; }));
}

TEST_F(NicTest, GatewayWrittenIsInTheRoutingTable) {
    EXPECT_EQ(Read(Em0, Gateway), "192.168.10.1");
    EXPECT_EQ(Write(Em0, Gateway, "192.168.10.2"), 0U);
    EXPECT_EQ(ReadText(RcConf), With("defaultrouter", "defaultrouter=\"192.168.10.2\"\n"));
    EXPECT_TRUE(Eventually(
        [] { return Shell("ip -4 route show default").find("via 192.168.10.2 dev em0") != std::string::npos; }));
    EXPECT_TRUE(Eventually([] { return Read(Em0, Gateway) == "192.168.10.2"; }));
}

TEST_F(NicTest, GatewayRemovedIsNoLongerInTheRoutingTable) {
    EXPECT_EQ(Write(Em0, Gateway, "0.0.0.0"), 0U);
    EXPECT_EQ(ReadText(RcConf), With("defaultrouter", ""));
    EXPECT_TRUE(Eventually([] { return Shell("ip -4 route show default").empty(); }));
    EXPECT_TRUE(Eventually([] { return Read(Em0, Gateway) == "0.0.0.0"; }));
}

TEST_F(NicTest, DhcpGetsALeaseAndRenewingAsksTheServerAgain) {
    StartDhcpServer();
    // 0x8011:4 = true
    EXPECT_EQ(WireClient::Transact("2B 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  2B 00 00 00 00 00 00 00"
                                   "00 00  11 80  00  04  00 00 00 00 00 00 00 00  01 00 00 00  01"_hex),
              "12 00 00 00  00 00  11 80  00  04  00 00 00 00 00 00 00 00  00 00 00 00"_hex);
    std::string expected = With("ifconfig_em1", "ifconfig_em1=\"DHCP\"\n");
    expected.erase(expected.find("defaultrouter"), std::string("defaultrouter=\"192.168.10.1\"\n").size());
    EXPECT_EQ(ReadText(RcConf), expected);
    ASSERT_TRUE(HasLease()) << AddressesOf("em1") << ReadText("/tmp/dhcp.log");
    EXPECT_EQ(Read(Em1, Dhcp), std::string("\1", 1));
    EXPECT_TRUE(Eventually([] { return Read(Em1, Gateway) == "192.168.20.1"; }));
    EXPECT_TRUE(PeerReaches("em1-peer", Read(Em1, Address)));

    const int before = Leases();
    // Service 0xB010, with the wait for its end; then its response: no error, no data.
    EXPECT_EQ(WireClient::Transact("2A 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  2A 00 00 00 00 00 00 00"
                                   "00 00  10 B0  02  01  00 00 00 00 00 00 00 00  00 00 00 00"_hex),
              "12 00 00 00  00 00  10 B0  02  01  00 00 00 00 00 00 00 00  00 00 00 00"_hex);
    EXPECT_EQ(WireClient::Transact("2C 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"
                                   "00 00  10 B0  02  01  00 00 00 00 00 00 00 00  02 00 00 00  FF FF"_hex),
              "14 00 00 00  00 00  10 B0  02  01  00 00 00 00 00 00 00 00  02 00 00 00  00 00"_hex);
    EXPECT_TRUE(Eventually([before] { return Leases() > before; })) << ReadText("/tmp/dhcp.log");
}

TEST_F(NicTest, AddressEndsDhcp) {
    StartDhcpServer();
    EXPECT_EQ(Write(Em1, Dhcp, "\1"), 0U);
    ASSERT_TRUE(HasLease()) << ReadText("/tmp/dhcp.log");
    EXPECT_EQ(Write(Em1, Address, "192.168.20.99"), 0U);
    EXPECT_TRUE(Eventually([] { return AddressesOf("em1") == "192.168.20.99/24\n"; })) << AddressesOf("em1");
    EXPECT_TRUE(PeerReaches("em1-peer", "192.168.20.99"));
    EXPECT_EQ(Read(Em1, Dhcp), std::string("\0", 1));
}

TEST_F(NicTest, DnsServersReachTheResolver) {
    ASSERT_TRUE(std::filesystem::exists("/etc/resolvconf.conf")); // as Debian's openresolv installs it
    // 0x8001:6 = "192.168.10.1,10.1.1.1"
    EXPECT_EQ(WireClient::Transact("3F 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  3F 00 00 00 00 00 00 00"
                                   "00 00  01 80  00  06  00 00 00 00 00 00 00 00  15 00 00 00"
                                   "31 39 32 2E 31 36 38 2E 31 30 2E 31 2C 31 30 2E 31 2E 31 2E 31"_hex),
              "12 00 00 00  00 00  01 80  00  06  00 00 00 00 00 00 00 00  00 00 00 00"_hex);
    EXPECT_EQ(ReadText("/etc/resolvconf/resolv.conf.d/base"), "nameserver 192.168.10.1\nnameserver 10.1.1.1\n");
    EXPECT_TRUE(Eventually([] {
        return ReadText("/etc/resolv.conf").find("nameserver 192.168.10.1\nnameserver 10.1.1.1\n") != std::string::npos;
    })) << ReadText("/etc/resolv.conf");
    EXPECT_EQ(Read(Em0, Dns), "192.168.10.1,10.1.1.1");
    EXPECT_EQ(Read(Em0, DnsActive), "192.168.10.1,10.1.1.1");
    EXPECT_EQ(ReadText(RcConf), s_startRcConf);
}

TEST_F(NicTest, AllAtOnceIsOnTheAdapterAndInTheRoutingTable) {
    // Service 0xB001 with 54 bytes: total size, three lengths, "192.168.10.88", "255.255.255.0", "192.168.10.3".
    EXPECT_EQ(WireClient::Transact("60 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  60 00 00 00 00 00 00 00"
                                   "00 00  01 B0  02  01  00 00 00 00 00 00 00 00  36 00 00 00"
                                   "36 00 00 00  0D 00 00 00  0D 00 00 00  0C 00 00 00"
                                   "31 39 32 2E 31 36 38 2E 31 30 2E 38 38"
                                   "32 35 35 2E 32 35 35 2E 32 35 35 2E 30"
                                   "31 39 32 2E 31 36 38 2E 31 30 2E 33"_hex),
              "12 00 00 00  00 00  01 B0  02  01  00 00 00 00 00 00 00 00  00 00 00 00"_hex);
    EXPECT_EQ(WireClient::Transact("2C 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"
                                   "00 00  01 B0  02  01  00 00 00 00 00 00 00 00  02 00 00 00  FF FF"_hex),
              "14 00 00 00  00 00  01 B0  02  01  00 00 00 00 00 00 00 00  02 00 00 00  00 00"_hex);
    EXPECT_TRUE(Eventually([] { return AddressesOf("em0") == "192.168.10.88/24\n"; })) << AddressesOf("em0");
    EXPECT_TRUE(Eventually(
        [] { return Shell("ip -4 route show default").find("via 192.168.10.3 dev em0") != std::string::npos; }));
    EXPECT_TRUE(PeerReaches("em0-peer", "192.168.10.88"));
}

TEST_F(NicTest, RefusedValuesHaveTheirCodesOnTheWire) {
    // 0x8001:4 = false
    EXPECT_EQ(WireClient::Transact("2B 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  2B 00 00 00 00 00 00 00"
                                   "00 00  01 80  00  04  00 00 00 00 00 00 00 00  01 00 00 00  00"_hex),
              "12 00 00 00  00 00  01 80  00  04  00 10 A6 EC FF FF FF FF  00 00 00 00"_hex);
    EXPECT_EQ(Write(Em0, Mask, "255.0.0.0"), 0xECA60101U);
    EXPECT_EQ(Write(Em0, Address, "224.0.0.1"), 0xECA60107U);
    EXPECT_EQ(Write(Em0, Gateway, "x"), 0xECA60107U);
    EXPECT_EQ(Write(Em0, Dns, "x"), 0xECA60106U);
    // 0xB001 with nothing: an error with data, the code in eight bytes.
    EXPECT_EQ(RunService(SetAllEm0, {}), "03 00  06 01 A6 EC 00 00 00 00"_hex);
    EXPECT_EQ(ReadText(RcConf), s_startRcConf);
}

TEST_F(NicTest, WithoutASetUpOnlyTheDnsServersCanBeWritten) {
    const std::string both = s_startRcConf + "dhcpcd_enable=\"YES\"\n";
    WriteText(RcConf, both);
    EXPECT_EQ(Write(Em0, Address, "192.168.10.77"), 0xECA60106U);
    EXPECT_EQ(Write(Em0, Dhcp, "\1"), 0xECA60106U);
    EXPECT_EQ(Write(Em0, Gateway, "192.168.10.2"), 0xECA60106U);
    EXPECT_EQ(RunService(RenewEm0, {}), "03 00  06 01 A6 EC 00 00 00 00"_hex);
    EXPECT_EQ(Write(Em0, Dns, "10.1.1.1"), 0U);
    EXPECT_EQ(ReadText(RcConf), both);
}

TEST_F(NicTest, TextOfAClientIsNeverMoreThanAText) {
    const std::vector<std::string> texts = {
        "\"",
        "'",
        "\"; touch /tmp/owned; \"",
        "192.168.10.9; touch /tmp/owned",
        "192.168.10.9 $(touch /tmp/owned)",
        "`touch /tmp/owned`",
        "192.168.10.9\nsshd_enable=\"NO\"",
        "192.168.10.9\"\nsshd_enable=\"NO",
        " 192.168.10.9",
        "192.168.10.9 netmask 255.0.0.0 up",
        "-x",
        "../../etc/passwd",
        std::string("192.168.10.9\0; touch /tmp/owned", 31),
        std::string(255, '\''),
        std::string(255, '1'),
    };
    Read(Em0, Address);
    for (const std::string& text : texts) {
        for (const std::uint8_t subIndex : {Address, Mask, Gateway, Dns}) {
            Read(Em0, Address);
            EXPECT_NE(Write(Em0, subIndex, text), 0U) << int{subIndex} << ": " << text;
        }
        const std::string field = text.substr(0, 16);
        const Bytes request = Join({Little(16 + 3 * field.size(), 4), Little(field.size(), 4), Little(field.size(), 4),
                                    Little(field.size(), 4), Text(field), Text(field), Text(field)});
        // Where sixteen bytes are a valid text by themselves there is no such text here.
        const Bytes response = RunService(SetAllEm0, request);
        if (field.find('\0') == std::string::npos) {
            EXPECT_EQ(response, "03 00  07 01 A6 EC 00 00 00 00"_hex) << text;
        }
        EXPECT_EQ(RunService(RenewEm0, Text(text)), "00 00"_hex);
    }
    EXPECT_FALSE(std::filesystem::exists("/tmp/owned"));
    EXPECT_FALSE(std::filesystem::exists("/etc/resolvconf/resolv.conf.d/base"));
}

TEST_F(NicTest, TextOfAClientLeavesTheConfigurationByteForByte) {
    for (const std::string& text : {std::string("\""), std::string("'; reboot; '"), std::string("a b"),
                                    std::string("1.2.3.4\nx=\"y\""), std::string(255, '"')}) {
        Read(Em0, Address);
        EXPECT_EQ(Write(Em0, Address, text), 0xECA60107U);
        EXPECT_EQ(Write(Em0, Mask, text), 0xECA60107U);
        EXPECT_EQ(Write(Em0, Gateway, text), 0xECA60107U);
        EXPECT_EQ(Write(Em0, Dns, text), 0xECA60106U);
        const std::string field = text.substr(0, 16);
        EXPECT_EQ(RunService(SetAllEm0,
                             Join({Little(16 + 3 * field.size(), 4), Little(field.size(), 4), Little(field.size(), 4),
                                   Little(field.size(), 4), Text(field), Text(field), Text(field)})),
                  "03 00  07 01 A6 EC 00 00 00 00"_hex);
        EXPECT_EQ(RunService(RenewEm0, Text(text)), "00 00"_hex);
        EXPECT_EQ(ReadText(RcConf), s_startRcConf) << text;
    }
    // What begins as an address that there is not removes the gateway, whatever follows.
    EXPECT_EQ(Write(Em0, Gateway, "0.0.0.0\"; touch /tmp/owned"), 0U);
    EXPECT_EQ(ReadText(RcConf), With("defaultrouter", ""));
    EXPECT_FALSE(std::filesystem::exists("/tmp/owned"));
    EXPECT_EQ(ReadText("/etc/resolv.conf"), "nameserver 192.168.10.1\n");
}

TEST_F(NicTest, ClientHasItsAnswerWhileTheRestartHangsForAMinute) {
    WriteText(SYLVARIN_ADAPTERS "/etc/rc.d/routing", "#!/bin/sh\necho >>/tmp/hanging\nexec sleep 60\n");
    const auto start = std::chrono::steady_clock::now();
    // Transact waits for the end of the connection, which a program that inherited it would keep open.
    EXPECT_EQ(Write(Em0, Address, "192.168.10.77"), 0U);
    EXPECT_TRUE(Eventually([] { return ReadText("/tmp/hanging") == "\n"; }));
    EXPECT_EQ(Read(Em0, Address), "192.168.10.20");
    EXPECT_EQ(Write(Em0, Address, "192.168.10.78"), 0U);
    EXPECT_EQ(Read(Em1, Address), "192.168.20.20");
    EXPECT_EQ(Write(Em1, Address, "192.168.20.78"), 0U);
    // The other adapter has a restart of its own.
    EXPECT_TRUE(Eventually([] { return ReadText("/tmp/hanging") == "\n\n"; }));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
    EXPECT_NE(ReadText(RcConf).find("ifconfig_em0=\"inet 192.168.10.78 netmask 255.255.255.0\"\n"), std::string::npos);
}

TEST_F(NicTest, ManyWritesMakeOneRestartThatRunsAndOneThatWaits) {
    WriteText(SYLVARIN_ADAPTERS "/etc/rc.d/routing",
              "#!/bin/sh\n[ $1 != restart ] || echo >>/tmp/restarts\nwhile ! [ -e /tmp/go-on ]; do sleep 0.1; done\n");
    const auto countThreads = [] { return std::stoi(Shell("ls /proc/$(pidof sylvarin)/task | wc -l")); };
    const auto countPrograms = [] { return std::stoi(Shell("pgrep -c -P $(pidof sylvarin)") + "0") / 10; };
    const int threads = countThreads();
    for (int i = 0; i < 150; ++i) {
        EXPECT_EQ(Write(Em0, Address, "192.168.10." + std::to_string(50 + i)), 0U);
    }
    EXPECT_LE(countThreads(), threads + 1);
    EXPECT_LE(countPrograms(), 1);
    WriteText("/tmp/go-on", "");
    // The last one that was written is the one in force.
    EXPECT_TRUE(Eventually([] { return AddressesOf("em0") == "192.168.10.199/24\n"; })) << AddressesOf("em0");
    EXPECT_TRUE(Eventually([&] { return countThreads() <= threads; }));
    // Two runs, and one more each where the adapter came up without the default route.
    EXPECT_LE(ReadText("/tmp/restarts").size(), 4U);
}

TEST_F(NicTest, AddressChangeKeepsTheDefaultRoute) {
    EXPECT_EQ(Write(Em0, Address, "192.168.10.77"), 0U);
    EXPECT_TRUE(Eventually([] { return AddressesOf("em0") == "192.168.10.77/24\n"; })) << AddressesOf("em0");
    EXPECT_TRUE(Eventually(
        [] { return Shell("ip -4 route show default").find("via 192.168.10.1 dev em0") != std::string::npos; }));
}

TEST_F(NicTest, RenewalsLeaveOneClientAndAStaticAdapterNone) {
    StartDhcpServer();
    EXPECT_EQ(Write(Em1, Dhcp, "\1"), 0U);
    ASSERT_TRUE(HasLease()) << ReadText("/tmp/dhcp.log");
    for (int i = 0; i < 9; ++i) {
        EXPECT_EQ(RunService(RenewEm1, {}), "00 00"_hex);
    }
    const auto countClients = [] { return Shell("pgrep -c -f '^/sbin/dhclient .* em1$'"); };
    EXPECT_TRUE(Eventually([&] {
        return Shell("pgrep -f '[r]c.d/dhclient'").empty() && HasLease() && countClients() == "1\n";
    })) << Shell("pgrep -a dhclient");
    EXPECT_EQ(RunService(RenewEm1, {}), "00 00"_hex);
    EXPECT_EQ(Write(Em1, Address, "192.168.20.99"), 0U);
    EXPECT_TRUE(Eventually([&] {
        return Shell("pgrep -f '[r]c.d/(netif|dhclient)'").empty() && AddressesOf("em1") == "192.168.20.99/24\n" &&
               countClients() == "0\n";
    })) << Shell("pgrep -a dhclient")
        << AddressesOf("em1");
}

TEST_F(NicDhcpcdTest, AddressIsALineAndTheAdapterStaysInTheDenyList) {
    EXPECT_EQ(Write(Em1, Address, "192.168.20.99"), 0U);
    EXPECT_EQ(ReadText(RcConf), "dhcpcd_enable=\"YES\"\n"
                                "dhcpcd_flags=\"-Z em0,em1\"\n"
                                "ifconfig_em0=\"inet 192.168.10.20 netmask 255.255.255.0\"\n"
                                "ifconfig_em1=\"inet 192.168.20.99 netmask 255.255.255.0\"\n"
                                "defaultrouter=\"192.168.10.1\"\n");
    EXPECT_TRUE(Eventually([] { return AddressesOf("em1") == "192.168.20.99/24\n"; })) << AddressesOf("em1");
    EXPECT_TRUE(PeerReaches("em1-peer", "192.168.20.99"));
}

TEST_F(NicDhcpcdTest, DhcpTakesTheAdapterFromTheDenyListAndGetsALease) {
    StartDhcpServer();
    EXPECT_EQ(Write(Em1, Dhcp, "\1"), 0U);
    EXPECT_EQ(ReadText(RcConf), "dhcpcd_enable=\"YES\"\n"
                                "dhcpcd_flags=\"-Z em0\"\n"
                                "ifconfig_em0=\"inet 192.168.10.20 netmask 255.255.255.0\"\n");
    ASSERT_TRUE(HasLease()) << AddressesOf("em1") << ReadText("/tmp/dhcp.log");
    EXPECT_EQ(Read(Em1, Dhcp), std::string("\1", 1));
    // A dhcpcd that serves all adapters goes on with its lease when it is told to take one up again, and with no other
    // adapter. It would have asked for one within this time.
    for (int i = 0; i < 9; ++i) {
        EXPECT_EQ(RunService(RenewEm1, {}), "00 00"_hex);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    EXPECT_TRUE(HasLease());
    EXPECT_EQ(Shell("pgrep -c -f '^dhcpcd: .manager'"), "1\n");
    EXPECT_EQ(Shell("pgrep -a -f '^dhcpcd: .* em0'"), "");

    EXPECT_EQ(RunService(RenewEm1, {}), "00 00"_hex);
    EXPECT_EQ(Write(Em1, Address, "192.168.20.99"), 0U);
    EXPECT_TRUE(Eventually([] {
        return Shell("pgrep -f '[r]c.d/(netif|dhcpcd)'").empty() && AddressesOf("em1") == "192.168.20.99/24\n" &&
               Shell("pgrep -f '^dhcpcd: .* em1'").empty();
    })) << Shell("pgrep -a dhcpcd")
        << AddressesOf("em1");
}
