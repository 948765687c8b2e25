// tzsetup: the zone of the machine.
#include <gtest/gtest.h>

#include "AdapterRun.h"

namespace {

TRun SetZone(const std::string& zone) {
    return RunAdapter({"/usr/sbin/tzsetup", zone});
}

} // namespace

TEST(Tzsetup, CopiesTheZonesFileAndNotesItsName) {
    for (const std::string zone : {"Europe/Berlin", "UTC"}) {
        const TRun run = SetZone(zone);

        EXPECT_EQ("", run.output + run.error);
        EXPECT_EQ(0, run.status);
        EXPECT_EQ("regular file 444", Shell("stat -c '%F %a' /etc/localtime"));
        EXPECT_EQ(ReadText("/usr/share/zoneinfo/" + zone), ReadText("/etc/localtime"));
        EXPECT_EQ(zone + "\n", ReadText("/var/db/zoneinfo"));
    }
}

TEST(Tzsetup, LeavesTheZonesFileBehindALinkAlone) {
    Shell("ln -sf /usr/share/zoneinfo/Asia/Tokyo /etc/localtime");
    const std::string before = ReadText("/usr/share/zoneinfo/Asia/Tokyo");

    EXPECT_EQ(0, SetZone("Europe/Berlin").status);

    EXPECT_EQ(before, ReadText("/usr/share/zoneinfo/Asia/Tokyo"));
    EXPECT_EQ("CET", Shell("env -u TZ date -d 2026-01-01 +%Z"));
}

TEST(Tzsetup, KeepsDebiansNoteOfTheZone) {
    WriteText("/etc/timezone", "Etc/UTC\n");

    SetZone("Europe/Berlin");

    EXPECT_EQ("Europe/Berlin\n", ReadText("/etc/timezone"));
}

TEST(Tzsetup, ReplacesItsFilesWholeAndLeavesNoOthers) {
    Shell("rm -rf /var/db/zoneinfo; mkdir /tmp/held; ln -s /tmp/held/note /var/db/zoneinfo");

    EXPECT_EQ(0, SetZone("Asia/Tokyo").status);

    EXPECT_EQ("", Shell("ls /tmp/held"));
    EXPECT_EQ("regular file 644", Shell("stat -c '%F %a' /var/db/zoneinfo"));
    EXPECT_EQ("", Shell("ls -d /etc/.*.new /var/db/.*.new 2>/dev/null"));
}

TEST(Tzsetup, LeavesNothingBehindWhenItIsToldToEnd) {
    SetZone("UTC");
    for (const std::string signal : {"HUP", "INT", "TERM"}) {
        WriteText("/usr/local/bin/chmod",
                  "#!/bin/sh\nls -A /etc | grep localtime >>/tmp/seen\nkill -" + signal + " $PPID\n");
        Shell("/bin/chmod 755 /usr/local/bin/chmod");

        EXPECT_LT(128, SetZone("Asia/Tokyo").status) << signal;

        EXPECT_EQ(ReadText("/usr/share/zoneinfo/UTC"), ReadText("/etc/localtime")) << signal;
        EXPECT_EQ("", Shell("ls -d /etc/.*.new /var/db/.*.new 2>/dev/null")) << signal;
    }
    EXPECT_NE(std::string::npos, ReadText("/tmp/seen").find(".localtime.new\n"));
}

TEST(Tzsetup, TellsThatAFileCannotBeWritten) {
    SetZone("UTC");
    Shell("mount -t tmpfs -o ro none /var/db");

    const TRun run = SetZone("Asia/Tokyo");

    EXPECT_EQ(1, run.status);
    EXPECT_NE("", run.error);
}

TEST(Tzsetup, RefusesAZoneThatIsNotThere) {
    SetZone("UTC");

    const TRun run = SetZone("No/Such");

    EXPECT_EQ("", run.output);
    EXPECT_EQ("Could not open /usr/share/zoneinfo/No/Such: No such file or directory\n", run.error);
    EXPECT_EQ(1, run.status);
    EXPECT_EQ(1, SetZone("Europe").status);
    EXPECT_EQ(1, SetZone("").status);
    EXPECT_EQ(1, SetZone("$(touch /tmp/called)").status);
    EXPECT_EQ("UTC\n", ReadText("/var/db/zoneinfo"));
    EXPECT_EQ("", Shell("ls /tmp/called 2>/dev/null"));
}

TEST(Tzsetup, ShowsItsUsage) {
    const TRun run = RunAdapter({"/usr/sbin/tzsetup"});

    EXPECT_EQ("usage: tzsetup [-nrs] [zoneinfo_name]\n", run.error);
    EXPECT_EQ(1, run.status);
}
