// rc.d/netif, rc.d/dhclient and rc.d/dhcpcd: what rc.conf says is on the adapters, seen by the kernel and by a peer.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AdapterRun.h"

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr char RC_CONF[] = "/etc/rc.conf";

TRun Netif(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "/etc/rc.d/netif");
    return RunAdapter(arguments);
}

// The IPv4 addresses of an adapter with their prefix lengths, in the kernel's order.
std::string AddressesOf(const std::string& device) {
    return Shell("ip -4 -o addr show dev " + device + " | awk '{ printf \"%s%s\", (NR > 1 ? \" \" : \"\"), $4 }'");
}

bool PeerReaches(const std::string& peer, const std::string& address) {
    return Eventually("ip netns exec " + peer + " ping -c 1 -W 1 " + address);
}

// A DHCP server on the peer of em1: addresses 192.168.20.50 to .60 for two minutes.
class CDhcpServer {
public:
    CDhcpServer() {
        Shell(
            "ip netns exec em1-peer dnsmasq --conf-file=/dev/null --port=0 --interface=em1-peer --bind-interfaces"
            " --dhcp-range=192.168.20.50,192.168.20.60,2m --dhcp-option=3,192.168.20.1 --dhcp-authoritative --log-dhcp"
            " --log-facility=/tmp/dhcp.log --dhcp-leasefile=/tmp/dhcp.leases --pid-file=/tmp/dhcp.pid --user=root"
            " >/dev/null 2>&1");
    }

    static int Acknowledged() { return std::stoi("0" + Shell("grep -c 'DHCPACK(' /tmp/dhcp.log")); }
};

} // namespace

TEST(Netif, PutsAStaticAddressOnTheAdapterWhereAPeerReachesIt) {
    WriteText(RC_CONF, "ifconfig_em0=\"inet 192.168.10.99 netmask 255.255.255.0\"\n");

    const TRun run = Netif({"restart", "em0"});

    EXPECT_EQ(0, run.status);
    EXPECT_EQ("", run.error);
    EXPECT_EQ("192.168.10.99/24", AddressesOf("em0"));
    EXPECT_TRUE(PeerReaches("em0-peer", "192.168.10.99"));
}

TEST(Netif, ShowsTheAdapterBeforeAndAfter) {
    WriteText(RC_CONF, "ifconfig_em0=\"inet 10.9.8.7 netmask 255.255.0.0\"\n");

    EXPECT_EQ("Stopping Network: em0.\n"
              "em0: flags=8802<BROADCAST,SIMPLEX,MULTICAST> metric 0 mtu 1500\n"
              "\tether 02:00:00:00:10:20\n"
              "\tstatus: no carrier\n"
              "Starting Network: em0.\n"
              "em0: flags=8843<UP,BROADCAST,RUNNING,SIMPLEX,MULTICAST> metric 0 mtu 1500\n"
              "\tether 02:00:00:00:10:20\n"
              "\tinet 10.9.8.7 netmask 0xffff0000 broadcast 10.9.255.255\n"
              "\tstatus: active\n",
              Netif({"restart", "em0"}).output);
}

TEST(Netif, UnderstandsEveryFormOfAnAddress) {
    const std::vector<std::pair<std::string, std::string>> forms = {
        {"inet 10.0.0.1 netmask 255.255.240.0", "10.0.0.1/20"},
        {"inet 10.0.0.1 netmask 0xfffffff8", "10.0.0.1/29"},
        {"inet 10.0.0.1 netmask 0xFF000000", "10.0.0.1/8"},
        {"inet 10.0.0.1 netmask 0xffffffff", "10.0.0.1/32"},
        {"inet 10.0.0.1 netmask 255.255.255.255", "10.0.0.1/32"},
        {"inet 10.0.0.1/9", "10.0.0.1/9"},
        {"inet 10.0.0.1/30 up", "10.0.0.1/30"},
        {"10.0.0.1 netmask 255.255.255.0", "10.0.0.1/24"},
        {"inet 10.0.0.1", "10.0.0.1/8"},
        {"inet 172.16.0.1", "172.16.0.1/16"},
        {"inet 192.168.0.1", "192.168.0.1/24"},
        {"up", ""},
    };
    for (const auto& [text, address] : forms) {
        WriteText(RC_CONF, "ifconfig_em0=\"" + text + "\"\n");

        const TRun run = Netif({"restart", "em0"});

        EXPECT_EQ("", run.error) << text;
        EXPECT_EQ(address, AddressesOf("em0")) << text;
        EXPECT_THAT(Shell("ip link show em0"), HasSubstr(",UP,")) << text;
    }
}

TEST(Netif, SetsBroadcastAddressAndFrameLength) {
    WriteText(RC_CONF, "ifconfig_em0=\"inet 192.168.10.5/24 broadcast 192.168.10.254 mtu 1400\"\n");

    EXPECT_THAT(
        Netif({"restart", "em0"}).output,
        AllOf(HasSubstr("mtu 1400\n"), HasSubstr("inet 192.168.10.5 netmask 0xffffff00 broadcast 192.168.10.254\n")));
    EXPECT_THAT(Shell("ip addr show em0"), AllOf(HasSubstr("mtu 1400"), HasSubstr("brd 192.168.10.254")));
}

TEST(Netif, TellsWhatIsWrongWithASetting) {
    const std::vector<std::pair<std::string, std::string>> wrongs = {
        {"inet 10.0.0", "ifconfig: 10.0.0: bad value\n"},
        {"inet 10.0.0.256/8", "ifconfig: 10.0.0.256/8: bad value\n"},
        {"inet 10.0.0.1/33", "ifconfig: 10.0.0.1/33: bad value\n"},
        {"inet 10.0.0.1 netmask 255.0.255.0", "ifconfig: 255.0.255.0: bad value\n"},
        {"inet 10.0.0.1 netmask 0xfffffff00", "ifconfig: 0xfffffff00: bad value\n"},
        {"inet 10.0.0.1 netmask", "ifconfig: 'netmask' requires argument\n"},
        {"inet $(touch /tmp/called)", "ifconfig: $(touch: bad value\n"},
        {"inet * ; touch /tmp/called", "ifconfig: *: bad value\n"},
    };
    for (const auto& [text, error] : wrongs) {
        WriteText(RC_CONF, "ifconfig_em0='" + text + "'\n");

        const TRun run = Netif({"restart", "em0"});

        EXPECT_EQ(error, run.error);
        EXPECT_EQ(0, run.status); // as FreeBSD's ends
        EXPECT_EQ("", AddressesOf("em0"));
    }
    EXPECT_EQ("", Shell("ls /tmp/called 2>/dev/null"));
}

TEST(Netif, AddsAliases) {
    WriteText(RC_CONF, "ifconfig_em0=\"inet 192.168.10.20/24\"\n"
                       "ifconfig_em0_alias10=\"inet 192.168.10.30 netmask 0xffffffff\"\n"
                       "ifconfig_em0_alias2=\"inet 10.2.0.1/16\"\n"
                       "ifconfig_em0_alias0=\"inet 10.1.0.1 netmask 255.255.0.0\"\n"
                       "ifconfig_em0_aliases=\"inet 10.3.0.1/16 inet 10.4.0.1/16\"\n"
                       "ipv4_addrs_em0=\"10.5.0.1/16\"\n");

    const TRun run = Netif({"restart", "em0"});

    EXPECT_EQ("", run.error);
    EXPECT_EQ("192.168.10.20/24 10.3.0.1/16 10.4.0.1/16 10.1.0.1/16 10.2.0.1/16 192.168.10.30/32 10.5.0.1/16",
              AddressesOf("em0"));
    EXPECT_TRUE(PeerReaches("em0-peer", "192.168.10.30"));
}

TEST(Netif, TakesTheDefaultLineForAnAdapterWithoutItsOwn) {
    WriteText(RC_CONF, "ifconfig_DEFAULT=\"inet 192.168.20.7/24\"\nifconfig_em0=\"inet 192.168.10.7/24\"\n");

    Netif({"restart", "em0", "em1"});

    EXPECT_EQ("192.168.10.7/24", AddressesOf("em0"));
    EXPECT_EQ("192.168.20.7/24", AddressesOf("em1"));
}

TEST(Netif, StopTakesAddressesAwayAndTheAdapterDown) {
    EXPECT_EQ(0, Netif({"stop", "em0"}).status);

    EXPECT_EQ("", AddressesOf("em0"));
    EXPECT_THAT(Shell("ip link show em0"), Not(HasSubstr("UP")));
}

TEST(Netif, StartReplacesTheFirstAddressWithoutAStop) {
    WriteText(RC_CONF, "ifconfig_em0=\"inet 192.168.10.44/24\"\n");

    Netif({"start", "em0"});
    EXPECT_EQ("192.168.10.44/24", AddressesOf("em0"));

    Netif({"start", "em0"});
    EXPECT_EQ("192.168.10.44/24", AddressesOf("em0"));
}

TEST(Netif, TakesAllAdaptersIfNoneIsNamed) {
    WriteText(RC_CONF, "ifconfig_em0=\"inet 192.168.10.8/24\"\nifconfig_em1=\"inet 192.168.20.8/24\"\n");

    const TRun run = Netif({"restart"});

    EXPECT_THAT(run.output,
                AllOf(HasSubstr("Stopping Network: lo0 em0 em1.\n"), HasSubstr("Starting Network: lo0 em0 em1.\n"),
                      HasSubstr("\tinet 127.0.0.1 netmask 0xff000000\n")));
    EXPECT_EQ("", run.error);
    EXPECT_EQ("127.0.0.1/8", AddressesOf("lo"));
    EXPECT_EQ("192.168.10.8/24", AddressesOf("em0"));
    EXPECT_EQ("192.168.20.8/24", AddressesOf("em1"));

    WriteText(RC_CONF, "network_interfaces=\"em1\"\nifconfig_em1=\"inet 192.168.20.9/24\"\n");
    EXPECT_THAT(Netif({"restart"}).output, HasSubstr("Starting Network: em1.\n"));
    EXPECT_EQ("192.168.10.8/24", AddressesOf("em0"));
}

TEST(Netif, KnowsTheLoopbackAdapterByFreeBSDsName) {
    WriteText(RC_CONF, "ifconfig_lo0_alias0=\"inet 127.0.0.254 netmask 0xffffffff\"\n");

    EXPECT_EQ(0, Netif({"restart", "lo0"}).status);

    EXPECT_EQ("127.0.0.1/8 127.0.0.254/32", AddressesOf("lo"));
}

TEST(Netif, PassesOverAnAdapterThatDoesNotExist) {
    WriteText(RC_CONF, "ifconfig_em0=\"DHCP\"\n");

    const TRun run = Netif({"restart", "nosuch0"});

    EXPECT_EQ("Starting Network: nosuch0.\n", run.output);
    EXPECT_EQ("/etc/rc.d/netif: WARNING: nosuch0 does not exist.  Skipped.\n"
              "ifconfig: interface nosuch0 does not exist\n",
              run.error);
    EXPECT_EQ(0, run.status);

    for (const std::string name : {"em0;touch /tmp/called", "$(touch /tmp/called)", "../em0", "a b"}) {
        EXPECT_EQ(0, Netif({"restart", name}).status);
    }
    EXPECT_EQ("", Shell("ls /tmp/called 2>/dev/null"));
}

TEST(Netif, LeavesTheDefaultRouteThatTheAdapterTookAlongToRouting) {
    WriteText(RC_CONF, "ifconfig_em0=\"inet 192.168.10.20/24\"\ndefaultrouter=\"192.168.10.1\"\n");

    Netif({"restart", "em0"});
    EXPECT_EQ("", Shell("ip route show default"));

    RunAdapter({"/etc/rc.d/routing", "restart"});
    EXPECT_THAT(Shell("ip route show default"), HasSubstr("via 192.168.10.1 dev em0"));
}

TEST(Netif, SetsNoDefaultRouteWhereRcConfHasNone) {
    WriteText(RC_CONF, "ifconfig_em0=\"inet 192.168.10.20/24\"\ndefaultrouter=\"NO\"\n");

    Netif({"restart", "em0"});

    EXPECT_EQ("", Shell("ip route show default"));
}

TEST(Netif, WaitsForAnotherRestartThatIsStillAtWork) {
    WriteText(RC_CONF, "ifconfig_em0=\"inet 192.168.10.21/24\"\n");
    Shell("flock /run/netif.lock sh -c 'touch /tmp/held; sleep 1; ip -4 -o addr show dev em0 >/tmp/seen'"
          " >/dev/null 2>&1 &");
    ASSERT_TRUE(Eventually("test -e /tmp/held"));

    Netif({"restart", "em0"});

    EXPECT_THAT(ReadText("/tmp/seen"), HasSubstr("192.168.10.20/24"));
    EXPECT_EQ("192.168.10.21/24", AddressesOf("em0"));
}

TEST(Netif, AppliesTheSettingsAsTheyAreAfterItsWait) {
    WriteText(RC_CONF, "ifconfig_em0=\"inet 192.168.10.21/24\"\n");
    WriteText("/tmp/new.conf", "ifconfig_em0=\"inet 192.168.10.22/24\"\n");
    Shell("flock /run/netif.lock sh -c 'touch /tmp/held; sleep 1; cp /tmp/new.conf /etc/rc.conf' >/dev/null 2>&1 &");
    ASSERT_TRUE(Eventually("test -e /tmp/held"));

    Netif({"restart", "em0"});

    EXPECT_EQ("192.168.10.22/24", AddressesOf("em0"));
}

TEST(Netif, GetsAnAddressFromADhcpServerInTheBackground) {
    const CDhcpServer server;
    WriteText(RC_CONF, "ifconfig_em1=\"DHCP\"\n");
    Shell("ip route del default");

    EXPECT_EQ(0, Netif({"restart", "em1"}).status);

    EXPECT_TRUE(Eventually("ip -4 -o addr show dev em1 | grep 192.168.20."));
    EXPECT_TRUE(PeerReaches("em1-peer", AddressesOf("em1").substr(0, 13)));
    EXPECT_TRUE(Eventually("ip route show default | grep 'via 192.168.20.1 dev em1'"));
}

TEST(Netif, StartsTheClientInTheBackgroundWithTheAdaptersOwnFlags) {
    WriteText(RC_CONF, "ifconfig_em1=\"DHCP\"\ndhclient_flags=\"-D LL\"\ndhclient_flags_em1=\"-D LLT\"\n");

    EXPECT_EQ(0, Netif({"restart", "em1"}).status);

    EXPECT_THAT(Shell("pgrep -a -x dhclient"), AllOf(HasSubstr(" -D LLT -nw -pf "), Not(HasSubstr("-D LL "))));

    WriteText(RC_CONF, "ifconfig_em1=\"DHCP\"\ndhclient_flags=\"-D LL\"\n");
    EXPECT_EQ(0, Netif({"restart", "em1"}).status);

    EXPECT_THAT(Shell("pgrep -a -x dhclient"), HasSubstr(" -D LL -nw -pf "));
}

TEST(Netif, WaitsForTheAddressWithSyncdhcp) {
    const CDhcpServer server;
    WriteText(RC_CONF, "ifconfig_em1=\"SYNCDHCP\"\n");

    const TRun run = Netif({"restart", "em1"});

    EXPECT_THAT(run.output, HasSubstr("Starting dhclient.\nStarting Network: em1.\n"));
    EXPECT_THAT(run.output, HasSubstr("\tinet 192.168.20.5"));
}

TEST(Netif, AStaticAddressEndsTheDhcpClient) {
    const CDhcpServer server;
    WriteText(RC_CONF, "ifconfig_em1=\"SYNCDHCP\"\n");
    Netif({"restart", "em1"});
    ASSERT_NE("", Shell("pgrep -x dhclient"));

    WriteText(RC_CONF, "ifconfig_em1=\"inet 192.168.20.99 netmask 255.255.255.0\"\n");
    Netif({"restart", "em1"});

    EXPECT_EQ("", Shell("pgrep -x dhclient"));
    EXPECT_EQ("192.168.20.99/24", AddressesOf("em1"));
}

TEST(Dhclient, RestartAsksTheServerAgain) {
    const CDhcpServer server;
    WriteText(RC_CONF, "ifconfig_em1=\"SYNCDHCP\"\n");
    Netif({"restart", "em1"});
    const int before = CDhcpServer::Acknowledged();
    const std::string pid = Shell("pgrep -x dhclient");
    const std::string address = AddressesOf("em1");

    const TRun run = RunAdapter({"/etc/rc.d/dhclient", "restart", "em1"});

    EXPECT_EQ("Stopping dhclient.\nWaiting for PIDS: " + pid + ".\nStarting dhclient.\n", run.output);
    EXPECT_EQ("", run.error);
    EXPECT_EQ(0, run.status);
    EXPECT_EQ(before + 1, CDhcpServer::Acknowledged());
    EXPECT_EQ(address, AddressesOf("em1"));
    EXPECT_EQ(0, RunAdapter({"/etc/rc.d/dhclient", "status", "em1"}).status);
}

TEST(Dhclient, RestartsAtOnceLeaveOneClient) {
    const CDhcpServer server;
    WriteText(RC_CONF, "ifconfig_em1=\"DHCP\"\n");
    Netif({"restart", "em1"});

    const std::string dhclient = AdapterPath("/etc/rc.d/dhclient");
    Shell("for i in 1 2 3 4 5; do " + dhclient + " restart em1 >/dev/null 2>&1 & done; wait");

    EXPECT_EQ("1", Shell("pgrep -c -f '^/sbin/dhclient .* em1$'"));
    EXPECT_TRUE(Eventually("ip -4 -o addr show dev em1 | grep 192.168.20."));
}

TEST(Dhclient, RestartTakesThePlaceOfOneThatStillWaitsForAServer) {
    WriteText(RC_CONF, "ifconfig_em1=\"DHCP\"\n");
    Shell("ip link set em1 up; " + AdapterPath("/etc/rc.d/dhclient") + " restart em1 >/dev/null 2>&1 &");
    ASSERT_TRUE(Eventually("pgrep -f '^/sbin/dhclient .* em1$'"));

    // Nobody holds the lock while it waits.
    EXPECT_EQ("", Shell("flock -n /run/netif.lock true || echo held"));
    EXPECT_EQ(0, Netif({"restart", "em1"}).status);

    EXPECT_EQ("1", Shell("pgrep -c -f '^/sbin/dhclient .* em1$'"));
}

TEST(Dhclient, StaticAdapterHasNoClientWhoeverStartedIt) {
    const CDhcpServer server;
    WriteText(RC_CONF, "ifconfig_em1=\"DHCP\"\n");
    Shell("ip link set em1 up");
    Shell("dhclient -nw -pf /tmp/own.pid -lf /tmp/own.leases em1 >/dev/null 2>&1");
    Shell("dhclient -nw -pf /tmp/other.pid -lf /tmp/other.leases em0 >/dev/null 2>&1");
    Netif({"start", "em1"});
    ASSERT_TRUE(Eventually("ip -4 -o addr show dev em1 | grep 192.168.20."));

    WriteText(RC_CONF, "ifconfig_em1=\"inet 192.168.20.99/24\"\n");
    Netif({"restart", "em1"});

    EXPECT_EQ(" em0", Shell("pgrep -a -x dhclient | grep -o ' em[01]$'"));
    EXPECT_EQ("192.168.20.99/24", AddressesOf("em1"));
}

TEST(Dhclient, ClientsOfOtherNetworksAreLeftAlone) {
    WriteText(RC_CONF, "ifconfig_em1=\"inet 192.168.20.99/24\"\n");
    Shell("ip -netns em1-peer link add em1 type veth peer name other && ip -netns em1-peer link set em1 up");
    Shell("ip netns exec em1-peer dhclient -nw -pf /tmp/own.pid -lf /tmp/own.leases em1 >/dev/null 2>&1");
    ASSERT_EQ("1", Shell("pgrep -c -x dhclient"));

    Netif({"restart", "em1"});

    EXPECT_EQ("1", Shell("pgrep -c -x dhclient"));
}

TEST(Dhclient, WaitsForARestartOfTheAdapterAndTakesItsSettings) {
    WriteText(RC_CONF, "ifconfig_em1=\"DHCP\"\n");
    WriteText("/tmp/new.conf", "ifconfig_em1=\"inet 192.168.20.99/24\"\n");
    Shell("flock /run/netif.lock sh -c 'touch /tmp/held; sleep 0.5; cp /tmp/new.conf /etc/rc.conf' >/dev/null 2>&1 &");
    ASSERT_TRUE(Eventually("test -e /tmp/held"));

    EXPECT_EQ("'em1' is not a DHCP-enabled interface\n", RunAdapter({"/etc/rc.d/dhclient", "restart", "em1"}).output);
    EXPECT_EQ("", Shell("pgrep -x -f '/sbin/dhclient .*'"));
}

TEST(Dhclient, RefusesAnAdapterWithoutDhcp) {
    WriteText(RC_CONF, "ifconfig_em0=\"inet 192.168.10.20/24\"\n");

    const TRun run = RunAdapter({"/etc/rc.d/dhclient", "restart", "nosuch0"});

    EXPECT_EQ("'nosuch0' is not a DHCP-enabled interface\n", run.output);
    EXPECT_EQ("dhclient not running? (check /var/run/dhclient/dhclient.nosuch0.pid).\n", run.error);
    EXPECT_EQ(1, run.status);

    EXPECT_EQ("'em0' is not a DHCP-enabled interface\n", RunAdapter({"/etc/rc.d/dhclient", "start", "em0"}).output);
    EXPECT_EQ(1, RunAdapter({"/etc/rc.d/dhclient", "start", "em0"}).status);
}

TEST(Dhclient, NeedsAnAdapter) {
    const TRun run = RunAdapter({"/etc/rc.d/dhclient", "restart"});

    EXPECT_EQ("/etc/rc.d/dhclient: ERROR: /etc/rc.d/dhclient: no interface specified\n", run.error);
    EXPECT_EQ(1, run.status);
}

TEST(Dhcpcd, ServesAllAdaptersButTheDeniedOnes) {
    const CDhcpServer server;
    WriteText(RC_CONF, "dhcpcd_enable=\"YES\"\ndhcpcd_flags=\"--denyinterfaces em0 --noarp\"\n"
                       "ifconfig_em0=\"inet 192.168.10.20/24\"\n");

    Netif({"restart"});
    EXPECT_EQ("", AddressesOf("em1"));
    EXPECT_THAT(RunAdapter({"/usr/sbin/service", "dhcpcd", "restart"}).output, HasSubstr("Starting dhcpcd.\n"));

    EXPECT_TRUE(Eventually("ip -4 -o addr show dev em1 | grep 192.168.20.5"));
    EXPECT_EQ("192.168.10.20/24", AddressesOf("em0"));
    EXPECT_EQ(0, RunAdapter({"/usr/sbin/service", "dhcpcd", "status"}).status);

    WriteText(RC_CONF, "dhcpcd_enable=\"YES\"\ndhcpcd_flags=\"--denyinterfaces em0,em1\"\n"
                       "ifconfig_em0=\"inet 192.168.10.20/24\"\nifconfig_em1=\"inet 192.168.20.98/24\"\n");
    RunAdapter({"/usr/sbin/service", "netif", "restart"});
    EXPECT_EQ(0, RunAdapter({"/usr/sbin/service", "dhcpcd", "restart"}).status);
    EXPECT_EQ("192.168.20.98/24", AddressesOf("em1"));

    EXPECT_EQ(0, RunAdapter({"/usr/sbin/service", "dhcpcd", "stop"}).status);
    EXPECT_EQ("", Shell("pgrep -x dhcpcd"));
}

TEST(Dhcpcd, RestartEndsClientsOfSingleAdaptersToo) {
    const CDhcpServer server;
    WriteText(RC_CONF, "dhcpcd_enable=\"YES\"\ndhcpcd_flags=\"--denyinterfaces em0,em1 --noarp\"\n"
                       "ifconfig_em1=\"inet 192.168.20.98/24\"\n");
    Shell("ip link set em1 up");
    Shell("dhcpcd --noarp --nodev -b em1 >/dev/null 2>&1");
    ASSERT_TRUE(Eventually("ip -4 -o addr show dev em1 | grep 192.168.20.5"));

    RunAdapter({"/usr/sbin/service", "netif", "restart"});
    // Its adapter has come up: it takes its lease there again.
    EXPECT_TRUE(Eventually("ip -4 -o addr show dev em1 | grep 192.168.20.5"));
    EXPECT_EQ(0, RunAdapter({"/usr/sbin/service", "dhcpcd", "restart"}).status);

    EXPECT_EQ("", Shell("pgrep -a dhcpcd | grep em1$"));
    EXPECT_EQ("192.168.20.98/24", AddressesOf("em1"));
}

TEST(Dhcpcd, IsLeftAloneUnlessEnabled) {
    WriteText(RC_CONF, "");

    EXPECT_EQ("Cannot 'restart' dhcpcd. Set dhcpcd_enable to YES in /etc/rc.conf or use 'onerestart' instead of "
              "'restart'.\n",
              RunAdapter({"/usr/sbin/service", "dhcpcd", "restart"}).output);
    EXPECT_EQ("", Shell("pgrep -x dhcpcd"));
}
