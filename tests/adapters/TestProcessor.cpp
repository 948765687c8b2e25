// sysctl and top: the processor's rate, and what it did in two seconds.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <regex>

#include "AdapterRun.h"

namespace {

// Puts a kernel's files in the place of the machine's own.
void SetCpuInfo(const std::string& text) {
    WriteText("/tmp/cpuinfo", text);
    ASSERT_EQ(0, std::system("mount --bind /tmp/cpuinfo /proc/cpuinfo"));
}

void HideFrequencies() {
    ASSERT_EQ(0, std::system("mount -t tmpfs test /sys/devices/system/cpu"));
}

} // namespace

TEST(Sysctl, TellsTheRateThatTheKernelTakesForTheBase) {
    HideFrequencies();
    ASSERT_EQ(0, std::system("mkdir -p /sys/devices/system/cpu/cpu0/cpufreq"));
    WriteText("/sys/devices/system/cpu/cpu0/cpufreq/cpuinfo_max_freq", "4200000\n");
    EXPECT_EQ("4200\n", RunAdapter({"/sbin/sysctl", "-n", "hw.clockrate"}).output);
    WriteText("/sys/devices/system/cpu/cpu0/cpufreq/base_frequency", "2400000\n");
    EXPECT_EQ("2400\n", RunAdapter({"/sbin/sysctl", "-n", "hw.clockrate"}).output);
}

TEST(Sysctl, TellsTheRateThatStandsBehindTheModel) {
    HideFrequencies();
    SetCpuInfo("processor\t: 0\nmodel name\t: A Processor 4711 @ 1.60GHz\ncpu MHz\t\t: 799.123\n");
    const TRun run = RunAdapter({"/sbin/sysctl", "-n", "hw.clockrate"});
    EXPECT_EQ("1600\n", run.output);
    EXPECT_EQ("", run.error);
    EXPECT_EQ(0, run.status);
}

TEST(Sysctl, TellsThePresentRateWhereThereIsNoOther) {
    HideFrequencies();
    SetCpuInfo(
        "processor\t: 0\nmodel name\t: A Processor\ncpu MHz\t\t: 2596.122\nprocessor\t: 1\ncpu MHz\t\t: 800.0\n");
    EXPECT_EQ("2596\n", RunAdapter({"/sbin/sysctl", "-n", "hw.clockrate"}).output);
    EXPECT_EQ("hw.clockrate: 2596\n", RunAdapter({"/sbin/sysctl", "hw.clockrate"}).output);
}

TEST(Sysctl, FailsWhereTheKernelTellsNoRate) {
    HideFrequencies();
    SetCpuInfo("processor\t: 0\n");
    const TRun run = RunAdapter({"/sbin/sysctl", "-n", "hw.clockrate"});
    EXPECT_EQ("", run.output);
    EXPECT_EQ("sysctl: unknown oid 'hw.clockrate'\n", run.error);
    EXPECT_EQ(1, run.status);
}

TEST(Top, ShowsTheProcessorsShareAsOftenAsAsked) {
    const TRun run = RunAdapter({"/usr/bin/top", "-Cn", "-d", "2"});
    const std::regex display("CPU: +[0-9.]+% user, +[0-9.]+% nice, +[0-9.]+% system, +[0-9.]+% interrupt, "
                             "+[0-9.]+% idle\n");
    EXPECT_EQ(
        2, std::distance(std::sregex_iterator(run.output.begin(), run.output.end(), display), std::sregex_iterator()));
    EXPECT_EQ("", run.error);
    EXPECT_EQ(0, run.status);
}

TEST(Top, IdlePercentageIsTheWordBeforeTheLast) {
    const TRun run = RunAdapter({"/usr/bin/top", "-Cn", "-d", "1"});
    WriteText("/tmp/top", run.output);
    EXPECT_THAT(Shell("awk '/^CPU/ {print $(NF-1)}' /tmp/top"), testing::MatchesRegex("[0-9]+\\.[0-9]%"));
}

TEST(Top, SecondDisplayTellsOfTheTimeSinceTheFirst) {
    // The times of the machine's processors, and two seconds later those of another one: 75 of 100 steps idle.
    WriteText("/tmp/stat-1", "cpu  1000 0 0 0 0 0 0 0 0 0\n");
    WriteText("/tmp/stat-2", "cpu  1010 5 7 70 5 1 2 0 0 0\n");
    ASSERT_EQ(0, std::system("mount --bind /tmp/stat-1 /proc/stat"));
    ASSERT_EQ(0, std::system("{ sleep 1; cat /tmp/stat-2 >/tmp/stat-1; } &"));
    EXPECT_EQ("CPU: 100.0% user,  0.0% nice,  0.0% system,  0.0% interrupt,  0.0% idle\n\n"
              "CPU: 10.0% user,  5.0% nice,  7.0% system,  3.0% interrupt, 75.0% idle\n",
              RunAdapter({"/usr/bin/top", "-Cn", "-d", "2"}).output);
}

TEST(Top, KnowsNoOtherUse) {
    const std::vector<std::vector<std::string>> uses = {
        {}, {"-Cn"}, {"-d", "2"}, {"-Cn", "-d", "x"}, {"-Cn", "-d", "0"}, {"-Cn", "-d", "2", "more"}, {"-x"}};
    for (std::vector<std::string> arguments : uses) {
        arguments.insert(arguments.begin(), "/usr/bin/top");
        const TRun run = RunAdapter(arguments);
        EXPECT_EQ(1, run.status);
        EXPECT_EQ("", run.output);
    }
}
