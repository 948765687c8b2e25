#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>

#include "TemporaryDirectory.h"
#include "platform/OsUserProcess.h"

namespace {

constexpr int LONG_TIME = 60000;

pid_t MakeZombie() {
    const pid_t child = fork();
    if (child == 0) {
        _exit(0);
    }
    siginfo_t info;
    EXPECT_EQ(waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT), 0);
    return child;
}

bool IsChild(pid_t process) {
    siginfo_t info;
    return waitid(P_PID, static_cast<id_t>(process), &info, WEXITED | WNOWAIT | WNOHANG) == 0;
}

TEST(OsUserProcessConcurrencyTest, ReapingDuringALaunchWaitsForItsEnd) {
    TemporaryDirectory directory;
    const std::string program = directory.WriteProgram(
        "tool", "cd " + directory.Path() + "; : >started; while [ ! -e go ]; do sleep 0.02; done; exit 7\n");
    std::uint32_t result = 99;
    std::uint32_t exitCode = 99;
    std::thread launcher([&] { result = OsUserLaunchProcess(program.c_str(), 0, LONG_TIME, &exitCode); });
    while (!directory.Exists("started")) {
        usleep(1000);
    }
    const pid_t zombie = MakeZombie();
    OsUserRemoveProcessZombies();
    EXPECT_TRUE(IsChild(zombie));

    directory.Write("go", "");
    launcher.join();
    EXPECT_EQ(result, 0u);
    EXPECT_EQ(exitCode, 7u);
    EXPECT_FALSE(IsChild(zombie));
}

TEST(OsUserProcessConcurrencyTest, LaunchKeepsItsExitCodeUnderConstantReaping) {
    std::atomic<bool> running = true;
    std::thread launcher([&running] {
        for (std::uint32_t expected = 0; expected < 20; ++expected) {
            const std::string command = "/bin/sh -c 'exit " + std::to_string(expected) + "'";
            std::uint32_t exitCode = 99;
            EXPECT_EQ(OsUserLaunchProcess(command.c_str(), 0, LONG_TIME, &exitCode), 0u);
            EXPECT_EQ(exitCode, expected);
        }
        running = false;
    });
    while (running) {
        OsUserRemoveProcessZombies();
        usleep(500);
    }
    launcher.join();
}

// Meant: the end of any launch makes up for a reaping that was put off, so only one launch at a time is safe from it.
TEST(OsUserProcessConcurrencyTest, EndOfOneLaunchReapsThoughAnotherStillWaits) {
    TemporaryDirectory directory;
    const auto toolThatWaitsFor = [&directory](const std::string& name) {
        return directory.WriteProgram(name, "cd " + directory.Path() + "; : >started-" + name + "; while [ ! -e go-" +
                                                name + " ]; do sleep 0.02; done; exit 7\n");
    };
    const auto launch = [](const std::string& program) {
        std::uint32_t exitCode = 99;
        EXPECT_EQ(OsUserLaunchProcess(program.c_str(), 0, LONG_TIME, &exitCode), 0u);
        EXPECT_EQ(exitCode, 7u);
    };
    std::thread first(launch, toolThatWaitsFor("first"));
    std::thread second(launch, toolThatWaitsFor("second"));
    while (!directory.Exists("started-first") || !directory.Exists("started-second")) {
        usleep(1000);
    }
    const pid_t zombie = MakeZombie();
    OsUserRemoveProcessZombies();
    EXPECT_TRUE(IsChild(zombie));

    directory.Write("go-first", "");
    first.join();
    EXPECT_FALSE(IsChild(zombie));

    directory.Write("go-second", "");
    second.join();
}

} // namespace
