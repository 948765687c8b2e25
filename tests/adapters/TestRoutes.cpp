// route and rc.d/routing: the routes of the machine.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AdapterRun.h"

using testing::HasSubstr;

namespace {

TRun Route(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "/sbin/route");
    return RunAdapter(arguments);
}

TRun Routing(const std::string& verb) {
    return RunAdapter({"/etc/rc.d/routing", verb});
}

void ExpectRun(const TRun& run, int status, const std::string& output, const std::string& error = "") {
    EXPECT_EQ(output, run.output);
    EXPECT_EQ(error, run.error);
    EXPECT_EQ(status, run.status);
}

constexpr char RC_CONF[] = "/etc/rc.conf";

const std::string DEFAULT_ROUTE = "   route to: 0.0.0.0\n"
                                  "destination: 0.0.0.0\n"
                                  "       mask: 0.0.0.0\n"
                                  "    gateway: 192.168.10.1\n"
                                  "        fib: 0\n"
                                  "  interface: em0\n"
                                  "      flags: <UP,GATEWAY,DONE,STATIC>\n"
                                  " recvpipe  sendpipe  ssthresh  rtt,msec    mtu        weight    expire\n"
                                  "       0         0         0         0      1500         1         0 \n";

} // namespace

TEST(Route, ShowsTheDefaultRoute) {
    ExpectRun(Route({"-n", "get", "default"}), 0, DEFAULT_ROUTE);
    ExpectRun(Route({"-n", "get", "default", "-interface", "em0"}), 0, DEFAULT_ROUTE);
}

TEST(Route, ShowsTheOneDefaultRouteWhicheverAdapterIsNamed) {
    ExpectRun(Route({"-n", "get", "default", "-interface", "em1"}), 0, DEFAULT_ROUTE);
    ExpectRun(Route({"-n", "get", "default", "-interface", "lo0"}), 0, DEFAULT_ROUTE);
}

TEST(Route, ShowsTheDefaultRouteOfTheNamedAdapterIfThereAreSeveral) {
    Shell("ip addr add 192.168.20.20/24 dev em1; ip route add default via 192.168.20.1 metric 50");

    EXPECT_THAT(Route({"-n", "get", "default", "-interface", "em1"}).output,
                HasSubstr("gateway: 192.168.20.1\n        fib: 0\n  interface: em1\n"));
    EXPECT_THAT(Route({"-n", "get", "default", "-interface", "em0"}).output,
                HasSubstr("gateway: 192.168.10.1\n        fib: 0\n  interface: em0\n"));
}

TEST(Route, ShowsADefaultRouteWithoutAGatewayWithoutThatLine) {
    Shell("ip route replace default dev em0");

    const TRun run = Route({"-n", "get", "default"});

    EXPECT_THAT(run.output, testing::Not(HasSubstr("gateway")));
    EXPECT_THAT(run.output, HasSubstr("  interface: em0\n      flags: <UP,DONE,STATIC>\n"));
    EXPECT_EQ(0, run.status);
}

TEST(Route, RefusesAnAdapterThatDoesNotExist) {
    ExpectRun(Route({"-n", "get", "default", "-interface", "nosuch0"}), 65, "",
              "route: interface 'nosuch0' does not exist\n");
    for (const std::string name : {"", "..", "a/b", "em0;touch /tmp/called", "$(touch /tmp/called)"}) {
        EXPECT_EQ(65, Route({"-n", "get", "default", "-interface", name}).status) << name;
    }
    EXPECT_EQ("", Shell("ls /tmp/called 2>/dev/null"));
}

TEST(Route, DeletesAndMissesTheDefaultRoute) {
    ExpectRun(Route({"-n", "delete", "default"}), 0, "delete net default\n");
    EXPECT_EQ("", Shell("ip route show default"));

    ExpectRun(Route({"-n", "get", "default"}), 255, "", "route: route has not been found\n");
    ExpectRun(Route({"-n", "get", "default", "-interface", "em0"}), 255, "", "route: route has not been found\n");
    ExpectRun(Route({"-n", "delete", "default"}), 1, "delete net default fib 0: not in table\n",
              "route: route has not been found\n");
}

TEST(Route, AddsRoutes) {
    Route({"-n", "delete", "default"});

    ExpectRun(Route({"-n", "add", "default", "192.168.10.3"}), 0, "add net default: gateway 192.168.10.3\n");
    ExpectRun(Route({"add", "-net", "10.0.0.0/8", "192.168.10.4"}), 0, "add net 10.0.0.0: gateway 192.168.10.4\n");
    ExpectRun(Route({"add", "-net", "172.16.0.0", "192.168.10.4", "-netmask", "0xfff00000"}), 0,
              "add net 172.16.0.0: gateway 192.168.10.4\n");
    ExpectRun(Route({"add", "-host", "10.1.2.3", "192.168.10.5"}), 0, "add host 10.1.2.3: gateway 192.168.10.5\n");

    const std::string routes = Shell("ip route");
    EXPECT_THAT(routes, HasSubstr("default via 192.168.10.3 dev em0"));
    EXPECT_THAT(routes, HasSubstr("10.0.0.0/8 via 192.168.10.4 dev em0"));
    EXPECT_THAT(routes, HasSubstr("172.16.0.0/12 via 192.168.10.4 dev em0"));
    EXPECT_THAT(routes, HasSubstr("10.1.2.3 via 192.168.10.5 dev em0"));
}

TEST(Route, TellsWhyARouteCannotBeAdded) {
    ExpectRun(Route({"add", "default", "192.168.10.3"}), 1,
              "add net default: gateway 192.168.10.3 fib 0: route already in table\n");
    ExpectRun(Route({"add", "10.0.0.0/8", "99.9.9.9"}), 1,
              "add net 10.0.0.0: gateway 99.9.9.9 fib 0: Network is unreachable\n",
              "route: writing to routing socket: Network is unreachable\n");
    ExpectRun(Route({"add", "default", "1.2.3"}), 68, "", "route: bad address: 1.2.3\n");
}

TEST(Route, ShowsItsUsage) {
    ExpectRun(Route({}), 64, "", "usage: route [-nqv] command [[modifiers] args]\n");
    EXPECT_EQ(64, Route({"frobnicate"}).status);
    EXPECT_EQ(64, Route({"get"}).status);
}

TEST(Routing, SetsTheDefaultRouteOfRcConf) {
    WriteText(RC_CONF, "defaultrouter=\"192.168.10.77\"\n");

    ExpectRun(Routing("restart"), 0,
              "delete net default: gateway 192.168.10.77 fib 0: not in table\n"
              "default              192.168.10.1         done\n"
              "add net default: gateway 192.168.10.77\n",
              "route: route has not been found\n");

    EXPECT_THAT(Shell("ip route show default"), HasSubstr("via 192.168.10.77 dev em0"));
    ExpectRun(Routing("restart"), 0,
              "delete net default: gateway 192.168.10.77\nadd net default: gateway 192.168.10.77\n");
}

TEST(Routing, TakesTheDefaultRouteAwayWhereRcConfHasNone) {
    for (const std::string text : {"", "defaultrouter=\"NO\"\n", "defaultrouter=no\n", "defaultrouter=\"\"\n"}) {
        Shell("ip route replace default via 192.168.10.1");
        WriteText(RC_CONF, text);

        EXPECT_EQ(0, Routing("restart").status);

        EXPECT_EQ("", Shell("ip route show default")) << text;
    }
}

TEST(Routing, SetsStaticRoutes) {
    WriteText(RC_CONF, "static_routes=\"office plant:em0 missing\"\n"
                       "route_office=\"-net 10.1.0.0/16 192.168.10.5\"\n"
                       "route_plant='10.2.0.0/16 192.168.10.6'\n");

    const TRun run = Routing("start");

    EXPECT_EQ("add net 10.1.0.0: gateway 192.168.10.5\nadd net 10.2.0.0: gateway 192.168.10.6\n", run.output);
    EXPECT_EQ("/etc/rc.d/routing: WARNING: route_missing not found.\n", run.error);
    EXPECT_THAT(Shell("ip route"), HasSubstr("10.1.0.0/16 via 192.168.10.5"));

    Routing("stop");
    EXPECT_EQ("192.168.10.0/24 dev em0 proto kernel scope link src 192.168.10.20", Shell("ip route | sed 's/ *$//'"));

    // With an adapter only the routes that are marked with it.
    RunAdapter({"/etc/rc.d/routing", "static", "any", "em0"});
    EXPECT_EQ("10.2.0.0/16 via 192.168.10.6 dev em0", Shell("ip route | grep via | sed 's/ *$//'"));
}

TEST(Routing, WaitsForNetifAndAppliesTheSettingsAsTheyAreThen) {
    WriteText(RC_CONF, "defaultrouter=\"192.168.10.77\"\n");
    WriteText("/tmp/new.conf", "defaultrouter=\"192.168.10.78\"\n");
    Shell("flock /run/netif.lock sh -c 'touch /tmp/held; sleep 1; ip route show default >/tmp/seen;"
          " cp /tmp/new.conf /etc/rc.conf' >/dev/null 2>&1 &");
    ASSERT_TRUE(Eventually("test -e /tmp/held"));

    Routing("restart");

    EXPECT_THAT(ReadText("/tmp/seen"), HasSubstr("via 192.168.10.1 dev em0"));
    EXPECT_THAT(Shell("ip route show default"), HasSubstr("via 192.168.10.78 dev em0"));
}

TEST(Routing, SetsTheRoutesOfAnAdapterThatNetifBringsUp) {
    WriteText(RC_CONF, "ifconfig_em0=\"inet 192.168.10.20/24\"\nstatic_routes=\"plant:em0\"\n"
                       "route_plant=\"10.2.0.0/16 192.168.10.6\"\n");

    EXPECT_EQ(0, RunAdapter({"/etc/rc.d/netif", "restart", "em0"}).status);

    EXPECT_THAT(Shell("ip route"), HasSubstr("10.2.0.0/16 via 192.168.10.6 dev em0"));
}

TEST(Routing, FailsIfTheDefaultRouteCannotBeSet) {
    WriteText(RC_CONF, "defaultrouter=\"99.9.9.9\"\n");

    const TRun run = Routing("restart");

    EXPECT_THAT(run.output, HasSubstr("add net default: gateway 99.9.9.9 fib 0: Network is unreachable\n"));
    EXPECT_EQ(1, run.status);
}

TEST(Routing, RunsNothingOfASetting) {
    WriteText(RC_CONF, "defaultrouter='$(touch /tmp/called)'\nstatic_routes='a;b $(touch${IFS}/tmp/called)'\n");

    Routing("restart");

    EXPECT_EQ("", Shell("ls /tmp/called 2>/dev/null"));
}
