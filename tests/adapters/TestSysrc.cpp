// sysrc: /etc/rc.conf read and edited.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AdapterRun.h"

using testing::HasSubstr;

namespace {

constexpr char RC_CONF[] = "/etc/rc.conf";

TRun Sysrc(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "/usr/sbin/sysrc");
    return RunAdapter(arguments);
}

// What a shell reads as the value of the setting.
std::string ValueInShell(const std::string& name) {
    return Shell(". /etc/rc.conf; printf %s \"$" + name + "\"");
}

void ExpectRun(const TRun& run, int status, const std::string& output, const std::string& error = "") {
    EXPECT_EQ(output, run.output);
    EXPECT_EQ(error, run.error);
    EXPECT_EQ(status, run.status);
}

// A program that sysrc finds instead of the machine's own.
void Shadow(const std::string& program, const std::string& script) {
    const std::string path = "/usr/local/bin/" + program;
    WriteText(path, "#!/bin/sh\n" + script);
    Shell("chmod +x " + path);
}

void ExpectUntouchedAfter(const std::string& argument) {
    const std::string text = "a=\"1\"\nb=\"2\"\nc=\"3\"";
    WriteText(RC_CONF, text);

    const TRun run = argument == "-x" ? Sysrc({"-x", "b"}) : Sysrc({argument});

    EXPECT_EQ("", run.output) << argument;
    EXPECT_EQ(1, run.status) << argument;
    EXPECT_EQ(text, ReadText(RC_CONF)) << argument;
    EXPECT_EQ("rc.conf", Shell("ls -A /etc | grep rc.conf")) << argument;
}

} // namespace

TEST(Sysrc, WritesASettingBetweenDoubleQuotes) {
    WriteText(RC_CONF, "");

    ExpectRun(Sysrc({"hostname=box-1"}), 0, "hostname:  -> box-1\n");

    EXPECT_EQ("hostname=\"box-1\"\n", ReadText(RC_CONF));
}

TEST(Sysrc, WritesSeveralSettingsAtOnceAndTellsTheirDefaults) {
    WriteText(RC_CONF, "");

    ExpectRun(Sysrc({"defaultrouter=10.0.0.1", "ifconfig_em1=inet 10.0.0.2 netmask 255.255.255.0"}), 0,
              "defaultrouter: NO -> 10.0.0.1\nifconfig_em1:  -> inet 10.0.0.2 netmask 255.255.255.0\n");
    ExpectRun(Sysrc({"ifconfig_em1=DHCP"}), 0, "ifconfig_em1: inet 10.0.0.2 netmask 255.255.255.0 -> DHCP\n");

    EXPECT_EQ("defaultrouter=\"10.0.0.1\"\nifconfig_em1=\"DHCP\"\n", ReadText(RC_CONF));
}

TEST(Sysrc, ReplacesALineInItsPlaceAndKeepsTheOthers) {
    WriteText(RC_CONF, "# comment\nhostname=plain\nifconfig_em0_alias0=\"inet 1.2.3.4\"\n");

    ExpectRun(Sysrc({"hostname=other", "ifconfig_em0=DHCP"}), 0, "hostname: plain -> other\nifconfig_em0:  -> DHCP\n");

    EXPECT_EQ("# comment\nhostname=\"other\"\nifconfig_em0_alias0=\"inet 1.2.3.4\"\nifconfig_em0=\"DHCP\"\n",
              ReadText(RC_CONF));
}

TEST(Sysrc, KeepsTheRestOfTheFileByteForByte) {
    const std::string before = "\t# tab and blanks  \n\n  if true; then\n\tntpd_enable='NO' # why\n  fi\nlast=\"\\$x\"";
    WriteText(RC_CONF, before);

    ExpectRun(Sysrc({"ntpd_enable=YES"}), 0, "ntpd_enable: NO -> YES\n");

    EXPECT_EQ("\t# tab and blanks  \n\n  if true; then\n\tntpd_enable=\"YES\" # why\n  fi\nlast=\"\\$x\"",
              ReadText(RC_CONF));
}

TEST(Sysrc, EndsALastLineThatHasNoEndBeforeItAppends) {
    WriteText(RC_CONF, "a=1");

    Sysrc({"b=2"});

    EXPECT_EQ("a=1\nb=\"2\"\n", ReadText(RC_CONF));
}

TEST(Sysrc, ReplacesTheLastOfSeveralLinesOfANameForThatOneCounts) {
    WriteText(RC_CONF, "a=1\na=2\n");

    ExpectRun(Sysrc({"a=3"}), 0, "a: 2 -> 3\n");

    EXPECT_EQ("a=1\na=\"3\"\n", ReadText(RC_CONF));
}

TEST(Sysrc, TakesALineInsideAQuotedValueForNoSetting) {
    WriteText(RC_CONF, "a=\"one\nntpd_enable=NO\ntwo\"\n");

    ExpectRun(Sysrc({"ntpd_enable=YES"}), 0, "ntpd_enable: NO -> YES\n");
    EXPECT_EQ("a=\"one\nntpd_enable=NO\ntwo\"\nntpd_enable=\"YES\"\n", ReadText(RC_CONF));

    ExpectRun(Sysrc({"a=three"}), 0, "a: one\nntpd_enable=NO\ntwo -> three\n");
    EXPECT_EQ("a=\"three\"\nntpd_enable=\"YES\"\n", ReadText(RC_CONF));
}

TEST(Sysrc, KeepsTheModeAndOwnerOfTheFileAndALinkToIt) {
    WriteText("/etc/rc.conf.real", "a=1\n");
    Shell("chmod 640 /etc/rc.conf.real; chown 7:9 /etc/rc.conf.real; ln -sf rc.conf.real /etc/rc.conf");

    Sysrc({"a=2"});

    EXPECT_EQ("640 7:9", Shell("stat -c '%a %u:%g' /etc/rc.conf.real"));
    EXPECT_EQ("rc.conf.real", Shell("readlink /etc/rc.conf"));
    EXPECT_EQ("a=\"2\"\n", ReadText("/etc/rc.conf.real"));
    EXPECT_EQ("rc.conf\nrc.conf.real", Shell("ls -A /etc | grep rc.conf"));
}

TEST(Sysrc, MakesAFileThatIsNotThereYet) {
    Shell("rm -f /etc/rc.conf /tmp/other.conf");

    ExpectRun(Sysrc({"-f", "/tmp/other.conf", "a=1", "b=2"}), 0, "a:  -> 1\nb:  -> 2\n");
    EXPECT_EQ("a=\"1\"\nb=\"2\"\n", ReadText("/tmp/other.conf"));
    EXPECT_EQ("644", Shell("stat -c %a /tmp/other.conf"));

    ExpectRun(Sysrc({"hostname=new"}), 0, "hostname:  -> new\n");
    EXPECT_EQ("hostname=\"new\"\n", ReadText(RC_CONF));
}

TEST(Sysrc, AddsAndTakesAwayWords) {
    WriteText(RC_CONF, "");

    ExpectRun(Sysrc({"foo+=bar", "foo+=baz"}), 0, "foo:  -> bar\nfoo: bar -> bar baz\n");
    ExpectRun(Sysrc({"foo+=bar"}), 0, "foo: bar baz -> bar baz\n");
    ExpectRun(Sysrc({"foo-=bar"}), 0, "foo: bar baz -> baz\n");
    ExpectRun(Sysrc({"list=a,b"}), 0, "list:  -> a,b\n");
    ExpectRun(Sysrc({"list+=,c"}), 0, "list: a,b -> a,b,c\n");
    ExpectRun(Sysrc({"list-=,a,c"}), 0, "list: a,b,c -> b\n");
}

TEST(Sysrc, RemovesASettingAndIsContentWithADefaultThatIsLeft) {
    WriteText(RC_CONF, "a=1\nhostname=\"box\"\nb=2\nhostname=\"again\nand again\" # c\n");

    ExpectRun(Sysrc({"-x", "hostname"}), 0, "");
    EXPECT_EQ("a=1\nb=2\n", ReadText(RC_CONF));
    ExpectRun(Sysrc({"-x", "hostname"}), 0, "");
    ExpectRun(Sysrc({"-x", "defaultrouter"}), 0, "");
    ExpectRun(Sysrc({"-n", "hostname"}), 0, "\n");
    EXPECT_EQ("a=1\nb=2\n", ReadText(RC_CONF));
}

TEST(Sysrc, ShowsValuesWithAndWithoutNames) {
    WriteText(RC_CONF, "hostname=\"box\"\nother=\"$hostname.example\"\n");

    ExpectRun(Sysrc({"hostname"}), 0, "hostname: box\n");
    ExpectRun(Sysrc({"-n", "hostname", "other"}), 0, "box\nbox.example\n");
    ExpectRun(Sysrc({"defaultrouter"}), 0, "defaultrouter: NO\n");
    ExpectRun(Sysrc({"-a"}), 0, "hostname: box\nother: box.example\n");
}

TEST(Sysrc, DoesNotKnowANameThatNothingSets) {
    WriteText(RC_CONF, "");

    ExpectRun(Sysrc({"nosuch"}), 1, "", "sysrc: unknown variable 'nosuch'\n");
    ExpectRun(Sysrc({"-x", "nosuch"}), 1, "", "sysrc: unknown variable 'nosuch'\n");
    ExpectRun(Sysrc({"-i", "nosuch"}), 0, "");
    ExpectRun(Sysrc({"nosuch", "hostname"}), 1, "hostname: \n", "sysrc: unknown variable 'nosuch'\n");
}

TEST(Sysrc, ChecksWithoutAWrite) {
    WriteText(RC_CONF, "a=1\n");

    ExpectRun(Sysrc({"-c", "a=1"}), 0, "");
    ExpectRun(Sysrc({"-c", "a=2"}), 1, "");
    EXPECT_EQ("a=1\n", ReadText(RC_CONF));
}

TEST(Sysrc, RefusesAFileThatNoShellCanRead) {
    const std::string text = "a=1\n\nhostname=\"box\n";
    WriteText(RC_CONF, text);

    for (const std::string argument : {"hostname", "a=2"}) {
        ExpectRun(Sysrc({"-n", argument}), 1, "",
                  "/etc/rc.conf: 4: Syntax error: Unterminated quoted string\n"
                  "sysrc: Exiting due to previous syntax errors\n");
    }
    EXPECT_EQ(text, ReadText(RC_CONF));
}

TEST(Sysrc, LeavesTheFileAloneIfTheEditorDiesInTheMiddle) {
    Shadow("awk", "case $action in\n"
                  "find) ;;\n"
                  "*) echo 'a=\"1\"'; kill -KILL $$ ;;\n"
                  "esac\n"
                  "exec /usr/bin/awk \"$@\"\n");

    ExpectUntouchedAfter("b=4");
    ExpectUntouchedAfter("b+=4");
    ExpectUntouchedAfter("-x");
}

TEST(Sysrc, LeavesTheFileAloneIfItCannotBeReadToItsEnd) {
    Shadow("cat", "[ $# -gt 0 ] || exec /bin/cat\nhead -c 12 \"$1\"\nexit 1\n");

    ExpectUntouchedAfter("b=4");
    ExpectUntouchedAfter("-x");
}

TEST(Sysrc, LeavesNothingBehindIfTheNewFileCannotBeMadeOrTakeItsPlace) {
    for (const std::string program : {"cp", "mv"}) {
        Shadow(program, "exit 1\n");

        ExpectUntouchedAfter("b=4");
        ExpectUntouchedAfter("-x");

        Shell("rm /usr/local/bin/" + program);
    }
}

TEST(Sysrc, PutsTheNewFileOnTheDiskBeforeAndAfterItTakesItsPlace) {
    WriteText(RC_CONF, "a=1\n");
    Shadow("sync", "echo \"sync $*\" >>/tmp/calls\n");
    Shadow("mv", "echo mv >>/tmp/calls\nexec /bin/mv \"$@\"\n");

    EXPECT_EQ(0, Sysrc({"a=2"}).status);

    EXPECT_EQ("sync -- /etc/.rc.conf.new\nmv\nsync -- /etc/\n", ReadText("/tmp/calls"));

    Shadow("sync", "exit 1\n");
    ExpectUntouchedAfter("b=4");
}

TEST(Sysrc, LeavesNothingBehindWhenItIsToldToEnd) {
    for (const std::string signal : {"HUP", "INT", "TERM"}) {
        for (const std::string program :
             {"cp", "sync"}) { // right behind the making of the file, and behind its writing
            WriteText(RC_CONF, "a=1\n");
            Shadow(program, "kill -" + signal + " $PPID\n");

            EXPECT_LT(128, Sysrc({"a=2"}).status) << signal;

            EXPECT_EQ("a=1\n", ReadText(RC_CONF)) << signal;
            EXPECT_EQ("rc.conf", Shell("ls -A /etc | grep rc.conf")) << signal;
            Shell("rm /usr/local/bin/" + program);
        }
    }
}

TEST(Sysrc, WritesOverWhatAKilledOneLeftBehind) {
    WriteText(RC_CONF, "a=1\n");
    Shadow("sync", "kill -KILL $PPID\n");
    EXPECT_EQ(137, Sysrc({"a=2"}).status);
    EXPECT_EQ("a=1\n", ReadText(RC_CONF));

    Shell("rm /usr/local/bin/sync");
    ExpectRun(Sysrc({"a=3"}), 0, "a: 1 -> 3\n");

    EXPECT_EQ("a=\"3\"\n", ReadText(RC_CONF));
    EXPECT_EQ("rc.conf", Shell("ls -A /etc | grep rc.conf"));
}

TEST(Sysrc, ManyAtOnceLoseNothingOfEachOther) {
    std::string foreign;
    for (int i = 0; i < 100; ++i) {
        foreign += "foreign" + std::to_string(i) + "=\"1\"\n";
    }
    WriteText(RC_CONF, foreign);
    const std::string sysrc = AdapterPath("/usr/sbin/sysrc");

    Shell("for k in 1 2 3 4; do (for v in 1 2 3 4 5 6; do " + sysrc + " own$k=$v; done; " + sysrc +
          " -x own$k) & done >/dev/null; wait");

    EXPECT_EQ(foreign, ReadText(RC_CONF));
}

TEST(Sysrc, WaitsForAnotherOneAndReadsTheFileAfterwards) {
    WriteText(RC_CONF, "list=\"a\"\n");
    Shell("flock /run/rc.conf.lock sh -c 'touch /tmp/held; sleep 0.5; echo list=\\\"a b\\\" >/etc/rc.conf'"
          " >/dev/null 2>&1 &");
    ASSERT_TRUE(Eventually("test -e /tmp/held"));

    ExpectRun(Sysrc({"list"}), 0, "list: a\n");
    ExpectRun(Sysrc({"list+=c"}), 0, "list: a b -> a b c\n");
}

TEST(Sysrc, LetsNobodyElseOpenItsLock) {
    WriteText(RC_CONF, "");

    Sysrc({"a=1"});

    EXPECT_EQ("600", Shell("stat -c %a /run/rc.conf.lock"));
}

TEST(Sysrc, DeletesNothingOfAFileIfItCannotTellWhatIsInIt) {
    Shadow("awk", "kill -KILL $$\n");

    ExpectUntouchedAfter("-x");
    EXPECT_THAT(Sysrc({"-x", "b"}).error, HasSubstr("sysrc: cannot read /etc/rc.conf\n"));
}

TEST(Sysrc, ShowsItsUsage) {
    const std::string usage = "Usage: sysrc [OPTIONS] {name[[+|-]=value] ... | -a | -A | -l | -L [name ...]}\n"
                              "Try `sysrc --help' for more information.\n";
    ExpectRun(Sysrc({}), 1, "", usage);
    ExpectRun(Sysrc({"-Z", "a"}), 1, "", "sysrc: illegal option -- Z\n" + usage);
    EXPECT_THAT(Sysrc({"--help"}).output, HasSubstr("Remove variable"));
}

TEST(Sysrc, WritesAnyValueSoThatAShellReadsItBackAndRunsNothing) {
    const std::vector<std::string> values = {
        "",
        " blanks  at both ends ",
        "a\"b",
        "\"",
        "'",
        "a'b\"c",
        "$(touch /tmp/called)",
        "`touch /tmp/called`",
        "$HOME ${HOME} $$",
        "\\",
        "a\\\\b\\",
        "\\\"; touch /tmp/called; \"",
        "x; touch /tmp/called",
        "x\ntouch /tmp/called\ny",
        "x\"\ntouch /tmp/called #",
        "a & touch /tmp/called | b > /tmp/called",
        "# no comment",
        "* ? [a]",
        "tab\tand %s %n \\n",
        "-n",
        "a=b=c",
        "\xC3\xA4\xFF",
        std::string(255, '"'),
        std::string(4096, 'x'),
    };
    for (const std::string& value : values) {
        WriteText(RC_CONF, "before=\"1\"\nkey=\"old\"\nafter=\"2\"\n");

        const TRun run = Sysrc({"key=" + value});

        EXPECT_EQ("key: old -> " + value + "\n", run.output);
        EXPECT_EQ("", run.error);
        EXPECT_EQ(0, run.status);
        EXPECT_EQ(value, ValueInShell("key"));
        EXPECT_EQ("2", ValueInShell("after"));
        EXPECT_THAT(ReadText(RC_CONF), testing::StartsWith("before=\"1\"\nkey=\""));
        EXPECT_THAT(ReadText(RC_CONF), testing::EndsWith("\"\nafter=\"2\"\n"));

        // What was written can be replaced and removed again as a whole.
        EXPECT_EQ(0, Sysrc({"key=new"}).status);
        EXPECT_EQ("before=\"1\"\nkey=\"new\"\nafter=\"2\"\n", ReadText(RC_CONF)) << value;
        Sysrc({"key=" + value});
        Sysrc({"-x", "key"});
        EXPECT_EQ("before=\"1\"\nafter=\"2\"\n", ReadText(RC_CONF)) << value;
    }
    EXPECT_EQ("", Shell("ls /tmp/called 2>/dev/null"));
}

TEST(Sysrc, EscapesWhatAShellWouldExpand) {
    WriteText(RC_CONF, "");

    Sysrc({"a=x\"y$z`w\\v'u;t"});

    EXPECT_EQ("a=\"x\\\"y\\$z\\`w\\\\v'u;t\"\n", ReadText(RC_CONF));
}

TEST(Sysrc, RefusesNamesThatNoVariableCanHave) {
    const std::string text = "a=\"1\"\n";
    WriteText(RC_CONF, text);

    for (const std::string name :
         {"a b", "a;touch /tmp/called", "$(touch /tmp/called)", "1a", "", "a-b", "a\nb", "a.b"}) {
        ExpectRun(Sysrc({name + "=x"}), 1, "", "sysrc: " + name + ": name contains characters not allowed in shell\n");
        EXPECT_EQ(text, ReadText(RC_CONF));
    }
    EXPECT_EQ(1, Sysrc({"a}$(touch /tmp/called)"}).status);
    EXPECT_EQ("", Shell("ls /tmp/called 2>/dev/null"));
}

TEST(Sysrc, DoesNotTakeSettingsFromTheEnvironmentOfItsOwnShell) {
    WriteText(RC_CONF, "");

    for (const std::string name : {"name", "file", "files", "value", "status", "LC_ALL"}) {
        ExpectRun(Sysrc({name}), 1, "", "sysrc: unknown variable '" + name + "'\n");
        ExpectRun(Sysrc({name + "=x"}), 0, name + ":  -> x\n");
    }
}
