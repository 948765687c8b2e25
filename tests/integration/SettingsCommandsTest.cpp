// Settings saved from one machine and given to another one, as an integrator does it. Both are this machine, at two
// times between which everything differs.

#include <sys/prctl.h>

#include <filesystem>
#include <fstream>

#include "ServiceTest.h"
#include "ShellCommands.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

// All that differs from the machine as it starts.
constexpr const char* s_other = R"({
  "version": 1,
  "name": "press-7",
  "zone": "Europe/Berlin",
  "ntp": {"server": "ntp.example.net", "refresh": 100},
  "groups": {"panels": ["alice", "bob"], "operators": ["bob"], "staff": ["alice"]},
  "dns": ["9.9.9.9", "1.1.1.1"],
  "gateway": "192.168.20.1",
  "net": {
    "em0": {"dhcp": true},
    "em1": {"address": "192.168.20.20", "mask": "255.255.255.0"}
  }
}
)";

class SettingsCommandsTest : public ServiceTest {
protected:
    void SetUp() override {
        // Daemons that the service starts are reaped by the machine, not by this test, which does not wait for them.
        prctl(PR_SET_CHILD_SUBREAPER, 0);
        ServiceTest::SetUp();
        std::filesystem::create_directories("/tmp/settings");
        std::filesystem::current_path("/tmp/settings");
        std::ofstream("other.json") << s_other;
        for (const char* user : {"alice", "bob"}) {
            ASSERT_EQ(
                Shell(std::string("echo Tr0ub4dor | " SYLVARIN_MDP " user add ") + user + " --password-fd 0").status,
                0);
        }
        ASSERT_EQ(Mdp("group add panels").status, 0);
        ASSERT_EQ(Mdp("group join panels alice").status, 0);
        ASSERT_EQ(Mdp("save first.json").output, "first.json: saved: name, zone, ntp, groups, dns, gateway, net\n");
    }

    // Lets an apply begin, does something when its first change is made, and gives its outcome.
    static Outcome InTheMiddle(const std::string& document, const std::string& deed) {
        return Shell(SYLVARIN_MDP " apply " + document + " >out & apply=$!\n" +
                     "for try in $(seq 600); do grep -q done out && break; sleep 0.02; done\n" + deed +
                     "\nwait $apply; status=$?; cat out; exit $status");
    }
};

} // namespace

TEST_F(SettingsCommandsTest, MachinesThatDifferInEverythingBecomeEqualBothWays) {
    EXPECT_EQ(Mdp("diff first.json").output, "");
    EXPECT_EQ(Mdp("diff first.json").status, 0);
    const Outcome differences = Mdp("diff other.json");
    EXPECT_EQ(differences.status, 1);
    EXPECT_EQ(differences.output, "name: IPC-4711 -> press-7\n"
                                  "zone: UTC -> Europe/Berlin\n"
                                  "ntp.server: none -> ntp.example.net\n"
                                  "ntp.refresh: none -> 64 s\n"
                                  "groups.operators: no such group -> bob\n"
                                  "groups.panels: alice -> alice, bob\n"
                                  "groups.staff: no members -> alice\n"
                                  "dns: none -> 9.9.9.9, 1.1.1.1\n"
                                  "gateway: 192.168.10.1 -> 192.168.20.1\n"
                                  "net.em0: 192.168.10.20 mask 255.255.255.0 -> DHCP\n"
                                  "net.em1: DHCP -> 192.168.20.20 mask 255.255.255.0\n");

    const Outcome applied = Mdp("apply other.json");

    EXPECT_EQ(applied.status, 0);
    EXPECT_THAT(applied.output, EndsWith("11 changes made: the machine has the settings of other.json\n"));
    EXPECT_EQ(Mdp("diff other.json").output, "");
    EXPECT_EQ(Shell("hostname").output, "press-7\n");
    EXPECT_EQ(Content("/var/db/zoneinfo"), "Europe/Berlin\n");
    EXPECT_THAT(Content("/etc/ntp.conf"), HasSubstr("\npool ntp.example.net iburst minpoll 6 maxpoll 7\n"));
    EXPECT_EQ(Shell("id -Gn bob | tr ' ' '\\n' | sort | tr '\\n' ' '").output, "bob operators panels ");
    EXPECT_EQ(Content("/etc/resolvconf/resolv.conf.d/base"), "nameserver 9.9.9.9\nnameserver 1.1.1.1\n");
    for (const char* line : {"\nifconfig_em0=\"DHCP\"\n", "\ndefaultrouter=\"192.168.20.1\"\n",
                             "\nifconfig_em1=\"inet 192.168.20.20 netmask 255.255.255.0\"\n"}) {
        EXPECT_THAT(Content("/etc/rc.conf"), HasSubstr(line));
    }

    // A second time nothing is changed, in words and in files.
    const auto written = std::filesystem::last_write_time("/etc/rc.conf");
    EXPECT_EQ(Mdp("apply other.json").output, "nothing to change: the machine has the settings of other.json\n");
    EXPECT_EQ(std::filesystem::last_write_time("/etc/rc.conf"), written);

    EXPECT_EQ(Mdp("save second.json").status, 0);
    EXPECT_EQ(Shell(SYLVARIN_CHECK_SETTINGS " --document first.json second.json").output, "");
    const Outcome back = Mdp("apply first.json");
    EXPECT_EQ(back.status, 0) << back.output;
    EXPECT_EQ(Mdp("diff first.json").output, "");
    EXPECT_EQ(Shell("id -Gn bob | tr ' ' '\\n' | sort | tr '\\n' ' '").output, "bob operators ");
    // But for the group that it has besides.
    EXPECT_EQ(Mdp("save third.json").status, 0);
    EXPECT_EQ(
        Shell(SYLVARIN_MDP " group del operators && " SYLVARIN_MDP " save third.json && cmp first.json third.json")
            .output,
        "operators: deleted\nthird.json: saved: name, zone, ntp, groups, dns, gateway, net\n");
}

TEST_F(SettingsCommandsTest, WhatDiesInTheMiddleIsBroughtToTheEndByTheSameCommand) {
    InTheMiddle("other.json", "kill -9 $apply");
    const Outcome again = Mdp("apply other.json");
    EXPECT_EQ(again.status, 0) << again.output;
    EXPECT_EQ(Mdp("diff other.json").output, "");

    // A service that is killed is waited for.
    const std::string service = std::to_string(m_service->Pid());
    const Outcome killed =
        InTheMiddle("first.json", "kill -9 " + service + "; sleep 0.3; rm -f /tmp/MDP0; " SYLVARIN_SERVICE " &");
    EXPECT_EQ(killed.status, 0) << killed.output;
    EXPECT_EQ(Mdp("diff first.json").output, "");
    m_service.reset();
    Shell("kill $(cat /var/run/Sylvarin.pid)");
}

TEST_F(SettingsCommandsTest, TheAdapterOfTheSessionComesLastAndWhatDoesNotFitIsRefused) {
    std::ofstream("nets.json") << R"({"version": 1, "gateway": "192.168.10.254", "net": {
        "em0": {"address": "192.168.10.77", "mask": "255.255.255.0"},
        "em1": {"address": "192.168.20.77", "mask": "255.255.255.0"}}})";
    const std::string em0 = "net.em0: 192.168.10.20 mask 255.255.255.0 -> 192.168.10.77 mask 255.255.255.0";
    const std::string em1 = "net.em1: DHCP -> 192.168.20.77 mask 255.255.255.0";
    const std::string order = "these would be changed, in this order:\n";
    const std::string gateway = "gateway: 192.168.10.1 -> 192.168.10.254";
    EXPECT_EQ(Mdp("apply --dry-run nets.json").output, order + em1 + "\n" + em0 + "\n" + gateway + "\n");
    const Outcome session =
        Shell("SSH_CONNECTION='192.168.10.1 40000 192.168.10.20 22' " SYLVARIN_MDP " apply nets.json --set "
              "net.em0.address=192.168.10.78");
    EXPECT_EQ(session.status, 0) << session.output;
    EXPECT_EQ(session.output, em1 +
                                  " ... done\nnet.em0: 192.168.10.20 mask 255.255.255.0 -> 192.168.10.78 mask "
                                  "255.255.255.0, " +
                                  gateway + " ... done\n2 changes made: the machine has the settings of nets.json\n");
    EXPECT_EQ(Mdp("diff nets.json").status, 1);

    const std::string before = Content("/etc/rc.conf");
    std::ofstream("more.json")
        << R"({"version": 1, "name": "a", "net": {"em0": {"dhcp": true}, "em7": {"dhcp": true}}})";
    const Outcome refused = Mdp("apply more.json");
    EXPECT_EQ(refused.status, 2);
    EXPECT_THAT(refused.output,
                StartsWith("mdp: more.json: net.em7: this machine has no such adapter; there are: em0, em1"));
    EXPECT_EQ(Mdp("apply other.json --set groups.panels=carol").status, 2);
    EXPECT_EQ(Content("/etc/rc.conf"), before);
    EXPECT_EQ(Mdp("apply more.json --only name").status, 0);
    EXPECT_EQ(Shell("hostname").output, "a\n");
    EXPECT_THAT(Mdp("save").output, Not(HasSubstr("Tr0ub4dor")));
}
