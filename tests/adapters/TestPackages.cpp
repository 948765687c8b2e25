// pkg: the installed packages in a format of the caller's.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AdapterRun.h"

using testing::HasSubstr;
using testing::Not;

TEST(Pkg, ListsEveryInstalledPackageWithNameVersionAndOrigin) {
    const TRun run = RunAdapter({"/usr/sbin/pkg", "query", "-a", "%n;%v;%o"});

    EXPECT_EQ(0, run.status);
    EXPECT_EQ("", run.error);
    EXPECT_EQ(Shell("dpkg-query -W -f '${db:Status-Abbrev}${Package};${Version};${Section}/${Package}\\n' |"
                    " sed -n 's/^ii //p'") +
                  "\n",
              run.output);
    EXPECT_THAT(run.output, HasSubstr("\nbash;" + Shell("dpkg-query -W -f '${Version}' bash") + ";shells/bash\n"));
}

TEST(Pkg, LeavesOutPackagesOfWhichOnlySettingsAreLeft) {
    WriteText("/var/lib/dpkg/status",
              "Package: here\nStatus: install ok installed\nSection: vth\nArchitecture: all\n"
              "Maintainer: A\nDescription: text\nVersion: 1.2-3\n\n"
              "Package: gone\nStatus: deinstall ok config-files\nSection: vth\nArchitecture: all\n"
              "Maintainer: A\nDescription: text\nVersion: 1.0\nConfig-Version: 1.0\n");

    const TRun run = RunAdapter({"/usr/sbin/pkg", "query", "-a", "%n;%v;%o"});

    EXPECT_EQ("here;1.2-3;vth/here\n", run.output);
    EXPECT_EQ(0, run.status);
}

TEST(Pkg, TakesTheFormatLiterallyButForItsKeys) {
    EXPECT_EQ("bash\t100% ${Package} $n `id` \\ \"bash'\n",
              RunAdapter({"/usr/sbin/pkg", "query", "%n\\t100%% ${Package} $n `id` \\\\ \"%n'", "bash"}).output);
    EXPECT_EQ("bash\nbash\n", RunAdapter({"/usr/sbin/pkg", "query", "%n\n%n", "bash"}).output);
}

TEST(Pkg, RefusesWhatItDoesNotKnow) {
    const TRun key = RunAdapter({"/usr/sbin/pkg", "query", "-a", "%n %Z"});
    EXPECT_EQ("Unknown query format key: '%Z'\n", key.error);
    EXPECT_EQ("", key.output);
    EXPECT_EQ(1, key.status);

    const TRun command = RunAdapter({"/usr/sbin/pkg", "frobnicate"});
    EXPECT_THAT(command.error, HasSubstr("pkg: unknown command: frobnicate\n"));
    EXPECT_EQ(1, command.status);

    EXPECT_THAT(RunAdapter({"/usr/sbin/pkg"}).error, HasSubstr("Usage: pkg "));
    EXPECT_EQ(1, RunAdapter({"/usr/sbin/pkg"}).status);
    EXPECT_THAT(RunAdapter({"/usr/sbin/pkg", "query", "-a"}).error, HasSubstr("Usage: pkg query"));
    EXPECT_EQ(1, RunAdapter({"/usr/sbin/pkg", "query", "-a"}).status);
    EXPECT_EQ(1, RunAdapter({"/usr/sbin/pkg", "query", "%n", "no-such-package"}).status);
}
