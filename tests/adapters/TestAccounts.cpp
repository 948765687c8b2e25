// pw: users and groups.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AdapterRun.h"

using testing::HasSubstr;

namespace {

TRun Pw(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "/usr/sbin/pw");
    return RunAdapter(arguments);
}

void ExpectQuiet(const TRun& run) {
    EXPECT_EQ("", run.output);
    EXPECT_EQ("", run.error);
    EXPECT_EQ(0, run.status);
}

void ExpectRefused(const TRun& run, int status, const std::string& error) {
    EXPECT_EQ("", run.output);
    EXPECT_EQ(error + "\n", run.error);
    EXPECT_EQ(status, run.status);
}

} // namespace

TEST(Pw, AddsAUserWithAHomeAndAGroupOfTheSameName) {
    ExpectQuiet(Pw({"user", "add", "-m", "-n", "alice"}));

    EXPECT_EQ("User &:/home/alice:/bin/sh", Shell("getent passwd alice | cut -d: -f5-"));
    EXPECT_EQ("alice", Shell("id -Gn alice"));
    EXPECT_EQ("*", Shell("getent shadow alice | cut -d: -f2"));
    EXPECT_EQ("755 alice:alice", Shell("stat -c '%a %U:%G' /home/alice"));
}

TEST(Pw, AddsNoUserTwice) {
    Pw({"user", "add", "-m", "-n", "alice"});

    ExpectRefused(Pw({"user", "add", "-m", "-n", "alice"}), 65, "pw: login name `alice' already exists");
}

TEST(Pw, GivesAUserTheEmptyGroupOfHisName) {
    Pw({"group", "add", "alice"});

    ExpectQuiet(Pw({"user", "add", "-m", "-n", "alice"}));

    EXPECT_EQ("alice", Shell("id -gn alice"));
}

TEST(Pw, RefusesNamesAsFreeBSDDoes) {
    ExpectRefused(Pw({"user", "add", "-m", "-n", "bad name"}), 65,
                  "pw: invalid character ` ' at position 3 in userid/group name");
    ExpectRefused(Pw({"user", "add", "-m", "-n", "toolongtoolongtoolongtoolongtoolongtoolong"}), 64,
                  "pw: name too long `toolongtoolongtoolongtoolongtoolongtoolong' (max is 32)");
    ExpectRefused(Pw({"user", "add", "-m", "-n", "-x"}), 65,
                  "pw: invalid character `-' at position 0 in userid/group name");
    ExpectRefused(Pw({"user", "add", "-m", "-n", "a\nb"}), 65,
                  "pw: invalid character 0x0a at position 1 in userid/group name");
    ExpectRefused(Pw({"user", "add", "-m", "-n", "\xC3\xBC"}), 65,
                  "pw: invalid character 0xc3 at position 0 in userid/group name");
    for (const char bad : std::string(",:+&#%$^()!@~*?<>=|\\/\";")) {
        ExpectRefused(Pw({"group", "add", std::string("ab") + bad + "c"}), 65,
                      std::string("pw: invalid character `") + bad + "' at position 2 in userid/group name");
    }
    EXPECT_EQ("", Shell("getent group | grep ^ab"));
}

TEST(Pw, TakesNamesUpToTheLimit) {
    const std::string longest(32, 'n');

    ExpectQuiet(Pw({"user", "add", "-m", "-n", longest}));
    ExpectQuiet(Pw({"user", "add", "-m", "-n", "machine$"}));
    ExpectQuiet(Pw({"user", "add", "-m", "-n", "Mixed.Case_1"}));
    ExpectQuiet(Pw({"group", "add", std::string(32, 'g')}));

    EXPECT_EQ(longest, Shell("id -un " + longest));
    ExpectRefused(Pw({"group", "add", std::string(33, 'g')}), 64,
                  "pw: name too long `" + std::string(33, 'g') + "' (max is 32)");
}

TEST(Pw, RunsNothingOfAName) {
    for (const std::string name : {"a`touch /tmp/called`", "$(touch${IFS}/tmp/called)", "a'b", "x;y"}) {
        Pw({"user", "add", "-m", "-n", name});
        Pw({"user", "del", name});
        Pw({"groupmod", name, "-m", name});
        Pw({"group", "del", name});
    }
    EXPECT_EQ("", Shell("ls /tmp/called 2>/dev/null"));
}

TEST(Pw, DeletesAUserButNotHisHome) {
    Pw({"user", "add", "-m", "-n", "alice"});
    const std::string number = Shell("id -u alice");

    ExpectQuiet(Pw({"user", "del", "alice"}));

    EXPECT_EQ("", Shell("getent passwd alice; getent group alice"));
    EXPECT_EQ("755 " + number, Shell("stat -c '%a %u' /home/alice"));
    ExpectRefused(Pw({"user", "del", "alice"}), 67, "pw: no such user `alice'");
}

TEST(Pw, DeletesAUserWhoIsAtWork) {
    Pw({"user", "add", "-m", "-n", "alice"});
    Shell("setpriv --reuid alice --regid alice --clear-groups sleep 60 >/dev/null 2>&1 &");

    ExpectQuiet(Pw({"user", "del", "alice"}));

    EXPECT_EQ("", Shell("getent passwd alice"));
}

TEST(Pw, GivesAUserTheHomeThatAnEarlierOneLeft) {
    Pw({"user", "add", "-m", "-n", "alice"});
    Shell("echo kept >/home/alice/file; chown 4711:4711 /home/alice");
    Pw({"user", "del", "alice"});

    ExpectQuiet(Pw({"user", "add", "-m", "-n", "alice"}));

    EXPECT_EQ("alice:alice", Shell("stat -c '%U:%G' /home/alice"));
    EXPECT_EQ("kept", Shell("cat /home/alice/file"));
}

TEST(Pw, GivesNobodyAHomeThatIsNoneOfHis) {
    const std::string owners = Shell("stat -c '%u:%g' / /home");
    Shell("ln -s / /home/link");
    ExpectQuiet(Pw({"user", "add", "-m", "-n", "."}));
    ExpectQuiet(Pw({"user", "add", "-m", "-n", ".."}));
    ExpectQuiet(Pw({"user", "add", "-m", "-n", "link"}));
    EXPECT_EQ(owners, Shell("stat -c '%u:%g' / /home"));
}

TEST(Pw, TakesNumbersForNumbersWhereTheOtherSystemDoes) {
    ExpectQuiet(Pw({"user", "add", "-m", "-n", "1234"}));
    const std::string number = Shell("id -u 1234");
    ExpectRefused(Pw({"user", "del", "1234"}), 67, "pw: no such uid `1234'");
    ExpectRefused(Pw({"group", "add", "777"}), 65, "pw: group name required");
    ExpectQuiet(Pw({"group", "add", "-n", "777"}));
    ExpectQuiet(Pw({"group", "add", "machines"}));
    ExpectQuiet(Pw({"groupmod", "machines", "-m", number}));
    EXPECT_EQ("1234", Shell("getent group machines | cut -d: -f4"));
    ExpectRefused(Pw({"groupmod", "98765", "-m", "1234"}), 65, "pw: unknown gid `98765'");
    ExpectRefused(Pw({"group", "del", Shell("id -g 1234")}), 65, "pw: unknown group `" + Shell("id -g 1234") + "'");
    ExpectQuiet(Pw({"group", "del", "777"}));
    ExpectQuiet(Pw({"user", "del", number}));
}

TEST(Pw, KeepsTheGroupOfADeletedUserForItsOtherMembers) {
    Pw({"user", "add", "-m", "-n", "alice"});
    Pw({"user", "add", "-m", "-n", "bert"});
    Pw({"groupmod", "bert", "-m", "alice"});
    Pw({"groupmod", "alice", "-m", "bert"});

    ExpectQuiet(Pw({"user", "del", "bert"}));

    EXPECT_EQ("alice", Shell("getent group bert | cut -d: -f4"));
    EXPECT_EQ("", Shell("getent group alice | cut -d: -f4"));
}

TEST(Pw, NeverDeletesRoot) {
    ExpectRefused(Pw({"user", "del", "root"}), 65, "pw: cannot remove user 'root'");
    ExpectRefused(Pw({"user", "del", "0"}), 65, "pw: cannot remove user 'root'");
    ExpectRefused(Pw({"user", "del", "54321"}), 67, "pw: no such uid `54321'");
    EXPECT_EQ("0", Shell("id -u root"));
}

TEST(Pw, AddsAndDeletesGroups) {
    ExpectQuiet(Pw({"group", "add", "machines"}));
    EXPECT_EQ("machines", Shell("getent group machines | cut -d: -f1"));
    ExpectRefused(Pw({"group", "add", "machines"}), 65, "pw: group name `machines' already exists");

    ExpectQuiet(Pw({"group", "del", "machines"}));
    EXPECT_EQ("", Shell("getent group machines"));
    ExpectRefused(Pw({"group", "del", "machines"}), 65, "pw: unknown group `machines'");
}

TEST(Pw, DeletesTheGroupOfAUserToo) {
    Pw({"user", "add", "-m", "-n", "alice"});

    ExpectQuiet(Pw({"group", "del", "alice"}));

    EXPECT_EQ("", Shell("getent group alice"));
}

TEST(Pw, ChangesTheMembersOfAGroup) {
    Pw({"user", "add", "-m", "-n", "alice"});
    Pw({"user", "add", "-m", "-n", "bert"});
    Pw({"group", "add", "machines"});

    ExpectQuiet(Pw({"groupmod", "machines", "-m", "alice"}));
    ExpectQuiet(Pw({"groupmod", "machines", "-m", "alice"}));
    EXPECT_EQ("alice", Shell("getent group machines | cut -d: -f4"));
    ExpectQuiet(Pw({"group", "mod", "machines", "-m", "alice,bert"}));
    EXPECT_EQ("alice,bert", Shell("getent group machines | cut -d: -f4"));

    ExpectQuiet(Pw({"groupmod", "machines", "-d", "alice"}));
    EXPECT_EQ("bert", Shell("getent group machines | cut -d: -f4"));
    ExpectQuiet(Pw({"groupmod", "machines", "-d", "alice"}));
    ExpectQuiet(Pw({"groupmod", "machines", "-d", "nobodyhere"}));
    EXPECT_EQ("bert", Shell("getent group machines | cut -d: -f4"));
}

TEST(Pw, TellsWhichUserOrGroupIsUnknown) {
    Pw({"user", "add", "-m", "-n", "alice"});
    Pw({"group", "add", "machines"});

    ExpectRefused(Pw({"groupmod", "machines", "-m", "nobodyhere"}), 67, "pw: user `nobodyhere' does not exist");
    ExpectRefused(Pw({"groupmod", "machines", "-m", "alice,nobodyhere"}), 67, "pw: user `nobodyhere' does not exist");
    EXPECT_EQ("", Shell("getent group machines | cut -d: -f4"));
    ExpectRefused(Pw({"groupmod", "nosuchgroup", "-m", "alice"}), 65, "pw: unknown group `nosuchgroup'");
    ExpectRefused(Pw({"groupmod", "nosuchgroup", "-d", "alice"}), 65, "pw: unknown group `nosuchgroup'");
    ExpectRefused(Pw({"group", "del", "nosuchgroup"}), 65, "pw: unknown group `nosuchgroup'");
    ExpectRefused(Pw({"user", "del", "bob"}), 67, "pw: no such user `bob'");
}

TEST(Pw, ShowsItsUsage) {
    const TRun keyword = Pw({"frobnicate"});
    EXPECT_THAT(keyword.error, HasSubstr("pw: Unknown keyword `frobnicate'\nusage:\n"));
    EXPECT_EQ(64, keyword.status);
    EXPECT_EQ(64, Pw({}).status);
    EXPECT_EQ(64, Pw({"user", "add", "-Z"}).status);
    EXPECT_EQ(64, Pw({"user", "add", "-n"}).status);
    EXPECT_EQ(65, Pw({"user", "add", "-m", "-n", ""}).status);
}

TEST(Pw, TellsThatTheDatabaseCannotBeWritten) {
    Shell("mount --bind -o ro /etc /etc");

    const TRun run = Pw({"group", "add", "machines"});

    EXPECT_THAT(run.error, testing::StartsWith("pw: "));
    EXPECT_EQ(74, run.status);
}
