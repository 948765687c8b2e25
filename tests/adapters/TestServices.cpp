// service: the programs of /etc/rc.d, and Debian's services under FreeBSD's names.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "AdapterRun.h"

using testing::HasSubstr;

namespace {

TRun Service(const std::string& name, const std::string& verb) {
    return RunAdapter({"/usr/sbin/service", name, verb});
}

void ExpectRun(const TRun& run, int status, const std::string& output, const std::string& error = "") {
    EXPECT_EQ(output, run.output);
    EXPECT_EQ(error, run.error);
    EXPECT_EQ(status, run.status);
}

// A service of Debian's with a start script and a process that does nothing.
void InstallService(const std::string& script, const std::string& process) {
    Shell("cp /bin/sleep /usr/sbin/" + process);
    WriteText("/etc/init.d/" + script, "#!/bin/sh\n"
                                       "case $1 in\n"
                                       "start) echo noise; start-stop-daemon --start --background --exec /usr/sbin/" +
                                           process +
                                           " -- 1000 ;;\n"
                                           "stop) echo noise >&2; start-stop-daemon --stop --exec /usr/sbin/" +
                                           process +
                                           " ;;\n"
                                           "esac\n");
    Shell("chmod +x /etc/init.d/" + script);
}

std::string PidOf(const std::string& process) {
    return Shell("pgrep -x " + process);
}

} // namespace

TEST(Service, TellsThatAServiceDoesNotExist) {
    const std::string error = " does not exist in /etc/rc.d or the local startup\n"
                              "directories (/usr/local/etc/rc.d), or is not executable\n";

    ExpectRun(Service("nosuchservice", "start"), 1, "", "nosuchservice" + error);
    for (const std::string name :
         {"../../../bin/kenv", "", ".", "a b", "x;touch /tmp/called", "$(touch /tmp/called)"}) {
        ExpectRun(Service(name, "start"), 1, "", name + error);
    }
    Shell("rm -f /usr/sbin/dhcpcd /sbin/dhcpcd");
    ExpectRun(Service("dhcpcd", "restart"), 1, "", "dhcpcd" + error);
    EXPECT_EQ("", Shell("ls /tmp/called 2>/dev/null"));
}

TEST(Service, DoesNothingWithAServiceThatIsNotEnabled) {
    WriteText("/etc/rc.conf", "ntpd_enable=\"NO\"\n");

    for (const std::string verb : {"start", "stop", "restart"}) {
        ExpectRun(Service("ntpd", verb), 0,
                  "Cannot '" + verb + "' ntpd. Set ntpd_enable to YES in /etc/rc.conf or use 'one" + verb +
                      "' instead of '" + verb + "'.\n");
    }
    ExpectRun(Service("ntpd", "quietstart"), 0, "");
    EXPECT_EQ(1, Service("ntpd", "enabled").status);
}

TEST(Service, StartsRestartsAndStopsAService) {
    InstallService("ntpsec", "ntpd");
    WriteText("/etc/rc.conf", "ntpd_enable=\"YES\"\n");

    ExpectRun(Service("ntpd", "status"), 1, "ntpd is not running.\n");
    ExpectRun(Service("ntpd", "start"), 0, "Starting ntpd.\n");
    ASSERT_TRUE(Eventually("pgrep -x ntpd"));
    const std::string first = PidOf("ntpd");
    ExpectRun(Service("ntpd", "status"), 0, "ntpd is running as pid " + first + ".\n");
    ExpectRun(Service("ntpd", "start"), 1, "", "ntpd already running?  (pid=" + first + ").\n");

    ExpectRun(Service("ntpd", "restart"), 0, "Stopping ntpd.\nWaiting for PIDS: " + first + ".\nStarting ntpd.\n");
    ASSERT_TRUE(Eventually("pgrep -x ntpd"));
    const std::string second = PidOf("ntpd");
    EXPECT_NE(first, second);

    ExpectRun(Service("ntpd", "stop"), 0, "Stopping ntpd.\nWaiting for PIDS: " + second + ".\n");
    EXPECT_EQ("", PidOf("ntpd"));
    ExpectRun(Service("ntpd", "status"), 1, "ntpd is not running.\n");
    ExpectRun(Service("ntpd", "stop"), 1, "", "ntpd not running?\n");
}

TEST(Service, KnowsTheOtherNamesOfNtpdOnDebian) {
    InstallService("chrony", "chronyd");
    WriteText("/etc/rc.conf", "ntpd_enable=\"YES\"\n");

    ExpectRun(Service("ntpd", "start"), 0, "Starting ntpd.\n");

    EXPECT_TRUE(Eventually("pgrep -x chronyd"));
}

TEST(Service, StartsWhatIsBeingStoppedOnlyWhenItHasStopped) {
    InstallService("ntpsec", "ntpd");
    Shell("sed -i 's/^stop)/stop) touch \\/tmp\\/stopping; sleep 1;/' /etc/init.d/ntpsec");
    WriteText("/etc/rc.conf", "ntpd_enable=\"YES\"\n");
    Service("ntpd", "start");
    ASSERT_TRUE(Eventually("pgrep -x ntpd"));
    const std::string first = PidOf("ntpd");

    std::thread stop([] { Service("ntpd", "stop"); });
    ASSERT_TRUE(Eventually("test -e /tmp/stopping"));
    ExpectRun(Service("ntpd", "start"), 0, "Starting ntpd.\n");
    stop.join();

    ASSERT_TRUE(Eventually("pgrep -x ntpd"));
    EXPECT_NE(first, PidOf("ntpd"));
}

TEST(Service, GivesNtpsecTheConfigurationThatWasWrittenForFreeBsd) {
    InstallService("ntpsec", "ntpd");
    WriteText("/etc/rc.conf", "ntpd_enable=\"YES\"\n");
    Shell("mkdir -p /etc/ntpsec /run/ntpsec");
    WriteText("/etc/ntpsec/ntp.conf", "# the package's\n");
    WriteText("/run/ntpsec/ntp.conf.dhcp", "# made of the package's\n");
    WriteText("/etc/ntp.conf", "pool a.example.org\n");

    ExpectRun(Service("ntpd", "start"), 0, "Starting ntpd.\n");
    EXPECT_EQ("pool a.example.org\n", ReadText("/etc/ntpsec/ntp.conf"));
    EXPECT_EQ("644", Shell("stat -c %a /etc/ntpsec/ntp.conf"));
    EXPECT_EQ("", Shell("ls /run/ntpsec"));

    ASSERT_TRUE(Eventually("pgrep -x ntpd"));
    WriteText("/etc/ntp.conf", "pool b.example.org\n");
    EXPECT_EQ(0, Service("ntpd", "restart").status);
    EXPECT_EQ("pool b.example.org\n", ReadText("/etc/ntpsec/ntp.conf"));
    EXPECT_EQ("# the package's\n", ReadText("/etc/ntpsec/ntp.conf.orig"));
    EXPECT_EQ("ntp.conf\nntp.conf.orig", Shell("ls /etc/ntpsec"));
}

TEST(Service, LeavesTheConfigurationOfNtpsecAloneWhereThereIsNoOther) {
    InstallService("ntpsec", "ntpd");
    WriteText("/etc/rc.conf", "ntpd_enable=\"YES\"\n");
    Shell("mkdir -p /etc/ntpsec; rm -f /etc/ntp.conf");
    WriteText("/etc/ntpsec/ntp.conf", "# the package's\n");

    ExpectRun(Service("ntpd", "start"), 0, "Starting ntpd.\n");
    EXPECT_EQ("# the package's\n", ReadText("/etc/ntpsec/ntp.conf"));
}

TEST(Service, ForcesAServiceThatIsNotEnabledWithOne) {
    InstallService("something", "something");
    WriteText("/etc/rc.conf", "");

    EXPECT_THAT(Service("something", "start").output,
                HasSubstr("Cannot 'start' something. Set something_enable to YES"));
    ExpectRun(Service("something", "onestart"), 0, "Starting something.\n");
    EXPECT_TRUE(Eventually("pgrep -x something"));
    // A running service can be stopped without being enabled.
    EXPECT_EQ(0, Service("something", "stop").status);
    EXPECT_EQ("", PidOf("something"));
}

TEST(Service, TellsThatTheProgramOfABaseServiceIsMissing) {
    WriteText("/etc/rc.conf", "ntpd_enable=\"YES\"\n");
    Shell("rm -f /etc/init.d/ntp* /etc/init.d/chrony /etc/init.d/openntpd");

    ExpectRun(Service("ntpd", "start"), 1, "", "/etc/rc.d/ntpd: WARNING: run_rc_command: cannot run /usr/sbin/ntpd\n");
}

TEST(Service, TellsThatAStartFailed) {
    WriteText("/etc/init.d/broken", "#!/bin/sh\nexit 3\n");
    Shell("chmod +x /etc/init.d/broken");

    ExpectRun(Service("broken", "onestart"), 1, "Starting broken.\n",
              "/etc/rc.d/broken: WARNING: failed to start broken\n");
}

TEST(Service, EnablesAServiceInRcConf) {
    InstallService("something", "something");
    WriteText("/etc/rc.conf", "# mine\n");

    EXPECT_EQ(0, Service("something", "enable").status);
    EXPECT_EQ("# mine\nsomething_enable=\"YES\"\n", ReadText("/etc/rc.conf"));
    EXPECT_EQ(0, Service("something", "enabled").status);
}

TEST(Service, HandsOnToTheProgramsOfRcD) {
    WriteText("/etc/rc.conf", "");

    EXPECT_THAT(Service("netif", "restart").output, HasSubstr("Starting Network: lo0 em0 em1.\n"));
    ExpectRun(RunAdapter({"/usr/sbin/service", "dhclient", "restart", "nosuch0"}), 1,
              "'nosuch0' is not a DHCP-enabled interface\n",
              "dhclient not running? (check /var/run/dhclient/dhclient.nosuch0.pid).\n");
}

TEST(Service, ShowsItsUsage) {
    EXPECT_THAT(RunAdapter({"/usr/sbin/service"}).output, HasSubstr("\nUsage:\n"));
    EXPECT_EQ(1, RunAdapter({"/usr/sbin/service"}).status);
    EXPECT_EQ(1, RunAdapter({"/usr/sbin/service", "-Z"}).status);
    EXPECT_THAT(RunAdapter({"/usr/sbin/service", "-l"}).output, HasSubstr("netif\nrouting\n"));

    const TRun verb = Service("netif", "frobnicate");
    EXPECT_THAT(verb.error, testing::StartsWith("/etc/rc.d/netif: unknown directive 'frobnicate'.\n"
                                                "Usage: /etc/rc.d/netif [fast|force|one|quiet](start|stop|restart|"));
    EXPECT_EQ(1, verb.status);
}
