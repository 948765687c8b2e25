// resolvconf: the servers of the base file reach the resolver, whichever resolvconf the machine has.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "AdapterRun.h"

using testing::HasSubstr;
using testing::Not;

namespace {

constexpr char BASE[] = "/etc/resolvconf/resolv.conf.d/base";
constexpr char RESOLV_CONF[] = "/etc/resolv.conf";
constexpr char DROP_IN[] = "/run/systemd/resolved.conf.d/sylvarin.conf";

TRun Resolvconf(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "/sbin/resolvconf");
    return RunAdapter(arguments);
}

void ExpectRun(const TRun& run, int status, const std::string& output, const std::string& error = "") {
    EXPECT_EQ(output, run.output);
    EXPECT_EQ(error, run.error);
    EXPECT_EQ(status, run.status);
}

void WriteBase(const std::string& text) {
    std::filesystem::create_directories(std::filesystem::path(BASE).parent_path());
    WriteText(BASE, text);
}

// The servers of /etc/resolv.conf in their order.
std::string Servers() {
    return Shell("awk '/^nameserver/ { printf \"%s%s\", (n++ ? \" \" : \"\"), $2 }' /etc/resolv.conf");
}

void WriteProgram(const std::string& path, const std::string& script) {
    WriteText(path, "#!/bin/sh\n" + script);
    Shell("chmod +x " + path);
}

// Another resolvconf than the machine's, which notes how it is called.
void ReplaceResolvconf(const std::string& version, const std::string& rest) {
    WriteProgram("/usr/sbin/resolvconf",
                 "[ \"$*\" != --version ] || { echo '" + version + "'; exit; }\necho \"$*\" >>/tmp/calls\n" + rest);
}

} // namespace

TEST(Resolvconf, PutsTheServersOfTheBaseFileIntoTheResolverFile) {
    ASSERT_TRUE(std::filesystem::exists("/etc/resolvconf.conf")); // as Debian's openresolv installs it
    WriteBase("nameserver 192.168.10.1\nnameserver 10.1.1.1\n");

    EXPECT_EQ(0, Resolvconf({"-u"}).status);
    EXPECT_EQ("192.168.10.1 10.1.1.1", Servers());

    WriteBase("nameserver 10.2.2.2\n");
    EXPECT_EQ(0, Resolvconf({"-u"}).status);
    EXPECT_EQ("10.2.2.2", Servers());
}

TEST(Resolvconf, PutsTheServersOfTheBaseFileBeforeThoseOfAnAdapter) {
    Shell("echo nameserver 192.168.20.1 | /usr/sbin/resolvconf -a em1 2>/dev/null");
    WriteBase("nameserver 10.1.1.1\n");

    EXPECT_EQ(0, Resolvconf({"-u"}).status);
    EXPECT_EQ("10.1.1.1 192.168.20.1", Servers());

    // What the DHCP client does with the next lease.
    Shell("echo nameserver 192.168.20.2 | /usr/sbin/resolvconf -a em1 2>/dev/null");
    EXPECT_EQ("10.1.1.1 192.168.20.2", Servers());
}

TEST(Resolvconf, TakesTheServersAwayWithTheBaseFile) {
    const std::string before = ReadText(RESOLV_CONF);
    for (const bool removed : {true, false}) {
        WriteBase("nameserver 10.1.1.1\n");
        Resolvconf({"-u"});
        ASSERT_EQ("10.1.1.1", Servers());

        WriteBase("");
        if (removed) {
            Shell(std::string("rm ") + BASE);
        }

        EXPECT_EQ(0, Resolvconf({"-u"}).status);
        EXPECT_EQ(before, ReadText(RESOLV_CONF));
    }
}

TEST(Resolvconf, LeavesTheBaseFileToAnOpenresolvThatReadsItByItself) {
    WriteBase("nameserver 10.1.1.1\n");
    Resolvconf({"-u"});
    Shell("rm /etc/resolvconf.conf");

    EXPECT_EQ(0, Resolvconf({"-u"}).status);
    EXPECT_EQ("10.1.1.1", Servers());
    EXPECT_EQ("", Shell("/usr/sbin/resolvconf -l"));

    Shell(std::string("rm ") + BASE);
    EXPECT_EQ(0, Resolvconf({"-u"}).status);
    EXPECT_THAT(ReadText(RESOLV_CONF), Not(HasSubstr("10.1.1.1")));
}

TEST(Resolvconf, LeavesTheBaseFileToDebiansOwnResolvconf) {
    ReplaceResolvconf("Debian resolvconf 1.91", "exit 7\n");
    WriteBase("nameserver 10.1.1.1\n");

    ExpectRun(Resolvconf({"-u"}), 7, "");

    EXPECT_EQ("-u\n", ReadText("/tmp/calls"));
}

TEST(Resolvconf, GivesTheServersToSystemdResolved) {
    ReplaceResolvconf("systemd 252 (252.38-1)", "");
    WriteProgram("/usr/local/sbin/systemctl", "echo \"systemctl $*\" >>/tmp/calls\nexit 3\n");
    WriteBase("nameserver 192.168.10.1\nnameserver 10.1.1.1\n");

    ExpectRun(Resolvconf({"-u"}), 3, "");
    EXPECT_EQ("systemctl reset-failed systemd-resolved.service\n"
              "systemctl try-reload-or-restart systemd-resolved.service\n",
              ReadText("/tmp/calls"));
    EXPECT_EQ("[Resolve]\nDNS=192.168.10.1\nDNS=10.1.1.1\n", ReadText(DROP_IN));
    EXPECT_EQ("644", Shell(std::string("stat -c %a ") + DROP_IN));

    Shell(std::string("rm ") + BASE);
    Resolvconf({"-u"});
    EXPECT_FALSE(std::filesystem::exists(DROP_IN));
}

TEST(Resolvconf, EndsAsTheMachinesOwnDoesIfThatFails) {
    WriteBase("nameserver 10.1.1.1\n");
    for (const std::string failing : {"-a*", "-u"}) {
        ReplaceResolvconf("openresolv 3.12.0", "case $* in " + failing + ") exit 5 ;; esac\n");

        EXPECT_EQ(5, Resolvconf({"-u"}).status) << failing;
    }
    EXPECT_EQ("-a lo.sylvarin\n-a lo.sylvarin\n-u\n", ReadText("/tmp/calls"));
}

TEST(Resolvconf, LeavesEverythingElseToTheMachinesOwn) {
    ReplaceResolvconf("openresolv 3.12.0", "echo out\necho err >&2\nexit 9\n");
    WriteBase("nameserver 10.1.1.1\n");

    ExpectRun(Resolvconf({"-l", "a b"}), 9, "out\n", "err\n");
    ExpectRun(Resolvconf({}), 9, "out\n", "err\n");

    EXPECT_EQ("-l a b\n\n", ReadText("/tmp/calls"));
}

TEST(Resolvconf, UpdatesOneAfterTheOther) {
    WriteBase("nameserver 10.1.1.1\n");
    Shell("flock /run/resolvconf.lock sh -c 'touch /tmp/held; sleep 1; rm /etc/resolvconf/resolv.conf.d/base'"
          " >/dev/null 2>&1 &");
    ASSERT_TRUE(Eventually("test -e /tmp/held"));

    Resolvconf({"-u"});

    EXPECT_THAT(ReadText(RESOLV_CONF), Not(HasSubstr("10.1.1.1")));
}

TEST(Resolvconf, TellsThatTheMachineHasNone) {
    Shell("rm -f /sbin/resolvconf /usr/sbin/resolvconf");

    ExpectRun(Resolvconf({"-u"}), 127, "", "resolvconf: no resolvconf on this machine\n");
}
