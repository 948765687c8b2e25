#include "platform/OsUserProcess.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>

#include "TemporaryDirectory.h"
#include "WrappedCalls.h"

namespace {

constexpr int LONG_TIME = 60000;
constexpr std::uint32_t UNWRITTEN = 0xABCD;

// Runs a directory's path through realpath, as the launches do.
std::string RealPath(const std::string& path) {
    return std::filesystem::canonical(path).string();
}

// A child that has ended and waits to be reaped.
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

TEST(OsUserProcessTest, LaunchWithATimeOutGivesTheExitCode) {
    TemporaryDirectory directory;
    const std::string program = directory.WriteProgram("tool", "exit 42\n");
    std::uint32_t exitCode = UNWRITTEN;
    EXPECT_EQ(OsUserLaunchProcess(program.c_str(), 0, LONG_TIME, &exitCode), 0u);
    EXPECT_EQ(exitCode, 42u);
    EXPECT_EQ(OsUserLaunchProcess(program.c_str(), 1, LONG_TIME, nullptr), 0u);
}

TEST(OsUserProcessTest, ArgumentsAreShellText) {
    TemporaryDirectory directory;
    const std::string program = directory.WriteProgram("tool", "printf '%s.' \"$0\" \"$@\"\n");
    const std::string command = program + " one 'two  three' >" + directory.Path() + "/out; exit 5";
    std::uint32_t exitCode = UNWRITTEN;
    EXPECT_EQ(OsUserLaunchProcess(command.c_str(), 0, LONG_TIME, &exitCode), 0u);
    EXPECT_EQ(exitCode, 5u);
    EXPECT_EQ(directory.Read("out"), RealPath(program) + ".one.two  three.");
}

TEST(OsUserProcessTest, ProgramThatDoesNotExistGives2AndWritesNothing) {
    std::uint32_t exitCode = UNWRITTEN;
    pid_t process = -5;
    EXPECT_EQ(OsUserLaunchProcess("/no/such/program", 0, LONG_TIME, &exitCode), 2u);
    EXPECT_EQ(OsUserLaunchProcess("", 0, LONG_TIME, &exitCode), 2u);
    EXPECT_EQ(OsUserLaunchProcessInternal("/no/such/program", nullptr, 0, 0, &exitCode, &process), 2u);
    EXPECT_EQ(exitCode, UNWRITTEN);
    EXPECT_EQ(process, -5);
}

TEST(OsUserProcessTest, ProgramIsNotLookedForOnTheSearchPath) {
    EXPECT_EQ(OsUserLaunchProcess("sh -c true", 0, LONG_TIME, nullptr), 2u);
}

TEST(OsUserProcessTest, FileThatIsNotExecutableGives1) {
    TemporaryDirectory directory;
    const std::string file = directory.Write("file", "text");
    std::uint32_t exitCode = UNWRITTEN;
    EXPECT_EQ(OsUserLaunchProcess(file.c_str(), 0, LONG_TIME, &exitCode), 1u);
    EXPECT_EQ(exitCode, UNWRITTEN);
}

TEST(OsUserProcessTest, ProgramThatTheShellCannotStartShowsAsItsExitCode) {
    TemporaryDirectory directory;
    std::uint32_t exitCode = UNWRITTEN;
    EXPECT_EQ(OsUserLaunchProcess(directory.Path().c_str(), 0, LONG_TIME, &exitCode), 0u);
    EXPECT_EQ(exitCode, 126u);
}

TEST(OsUserProcessTest, ProgramKilledByASignalGives1) {
    std::uint32_t exitCode = UNWRITTEN;
    EXPECT_EQ(OsUserLaunchProcess("/bin/sh -c : ; kill -KILL $$", 0, LONG_TIME, &exitCode), 1u);
    EXPECT_EQ(exitCode, UNWRITTEN);
}

TEST(OsUserProcessTest, ProgramThatOverrunsItsTimeGives1AndGoesOnRunning) {
    TemporaryDirectory directory;
    const std::string program =
        directory.WriteProgram("tool", "while [ ! -e " + directory.Path() + "/go ]; do sleep 0.02; done; exit 9\n");
    std::uint32_t exitCode = UNWRITTEN;
    pid_t process = 0;
    EXPECT_EQ(OsUserLaunchProcessInternal(program.c_str(), nullptr, 0, 20, &exitCode, &process), 1u);
    EXPECT_EQ(exitCode, UNWRITTEN);
    ASSERT_GT(process, 0);
    EXPECT_EQ(kill(process, 0), 0);

    directory.Write("go", "");
    int status = 0;
    ASSERT_EQ(waitpid(process, &status, 0), process);
    EXPECT_EQ(WEXITSTATUS(status), 9);
}

TEST(OsUserProcessTest, TimeOutOfZeroOrBelowGivesSuccessAtOnce) {
    TemporaryDirectory directory;
    const std::string program =
        directory.WriteProgram("tool", "while [ ! -e " + directory.Path() + "/go ]; do sleep 0.02; done; exit 9\n");
    pid_t processes[2] = {0, 0};
    std::uint32_t exitCode = UNWRITTEN;
    EXPECT_EQ(OsUserLaunchProcessInternal(program.c_str(), nullptr, 0, 0, &exitCode, &processes[0]), 0u);
    EXPECT_EQ(exitCode, 0u);
    exitCode = UNWRITTEN;
    EXPECT_EQ(OsUserLaunchProcessInternal(program.c_str(), nullptr, 0, -1, &exitCode, &processes[1]), 0u);
    EXPECT_EQ(exitCode, 0u);

    directory.Write("go", "");
    for (const pid_t process : processes) {
        int status = 0;
        ASSERT_EQ(waitpid(process, &status, 0), process);
        EXPECT_EQ(WEXITSTATUS(status), 9);
    }
}

TEST(OsUserProcessTest, WorkingDirectoryIsPutBeforeAProgramWithoutSlashOnly) {
    TemporaryDirectory directory;
    directory.WriteProgram("tool", "pwd >out; printf %s \"$*\" >>out\n");
    EXPECT_EQ(OsUserLaunchProcessInternal("tool a b", directory.Path().c_str(), 0, LONG_TIME, nullptr, nullptr), 0u);
    EXPECT_EQ(directory.Read("out"), RealPath(directory.Path()) + "\na b");
    EXPECT_EQ(OsUserLaunchProcessInternal("tool", (directory.Path() + "/").c_str(), 0, LONG_TIME, nullptr, nullptr),
              0u);

    EXPECT_EQ(OsUserLaunchProcessInternal("./tool", directory.Path().c_str(), 0, LONG_TIME, nullptr, nullptr), 2u);
    EXPECT_EQ(OsUserLaunchProcessInternal("tool", "", 0, LONG_TIME, nullptr, nullptr), 2u);
    EXPECT_EQ(OsUserLaunchProcessInternal("tool", nullptr, 0, LONG_TIME, nullptr, nullptr), 2u);
}

TEST(OsUserProcessTest, SlashInTheArgumentsDoesNotCountForThePrefix) {
    TemporaryDirectory directory;
    directory.WriteProgram("tool", "exit 3\n");
    std::uint32_t exitCode = UNWRITTEN;
    EXPECT_EQ(OsUserLaunchProcessInternal("tool /x", directory.Path().c_str(), 0, LONG_TIME, &exitCode, nullptr), 0u);
    EXPECT_EQ(exitCode, 3u);
}

TEST(OsUserProcessTest, WorkingDirectoryThatCannotBeEnteredIsNotChecked) {
    std::uint32_t exitCode = UNWRITTEN;
    EXPECT_EQ(OsUserLaunchProcessEx("/bin/sh", "/no/such/directory", "-c 'exit 4'", 0, LONG_TIME, &exitCode), 0u);
    EXPECT_EQ(exitCode, 4u);
}

TEST(OsUserProcessTest, ExtendedLaunchNormalisesTheExecutableAndAppendsArguments) {
    TemporaryDirectory directory;
    directory.WriteProgram("tool", "pwd >out; printf %s \"$*\" >>out; exit 6\n");
    std::string executable = directory.Path() + "//tool";
    std::replace(executable.begin(), executable.end(), '/', '\\');
    std::uint32_t exitCode = UNWRITTEN;
    EXPECT_EQ(OsUserLaunchProcessEx(executable.c_str(), directory.Path().c_str(), "a\\\\b  c", 0, LONG_TIME, &exitCode),
              0u);
    EXPECT_EQ(exitCode, 6u);
    EXPECT_EQ(directory.Read("out"), RealPath(directory.Path()) + "\na\\b c");

    EXPECT_EQ(OsUserLaunchProcessEx("tool", directory.Path().c_str(), nullptr, 0, LONG_TIME, &exitCode), 0u);
    EXPECT_EQ(directory.Read("out"), RealPath(directory.Path()) + "\n");
}

TEST(OsUserProcessTest, EnvironmentIsEmpty) {
    TemporaryDirectory directory;
    setenv("SYLVARIN_PROCESS_TEST", "set", 1);
    const std::string command =
        "/bin/sh -c 'printf %s \"[$SYLVARIN_PROCESS_TEST][$HOME]\"' >" + directory.Path() + "/out";
    EXPECT_EQ(OsUserLaunchProcess(command.c_str(), 0, LONG_TIME, nullptr), 0u);
    unsetenv("SYLVARIN_PROCESS_TEST");
    EXPECT_EQ(directory.Read("out"), "[][]");
}

TEST(OsUserProcessTest, OnlyTheStandardDescriptorsReachTheChild) {
    const int null = open("/dev/null", O_WRONLY);
    ASSERT_EQ(dup2(null, 9), 9);
    std::uint32_t exitCode = UNWRITTEN;
    EXPECT_EQ(OsUserLaunchProcess("/bin/sh -c 'if (echo x >&9) 2>/dev/null; then exit 5; else exit 6; fi'", 0,
                                  LONG_TIME, &exitCode),
              0u);
    EXPECT_EQ(exitCode, 6u);
    close(9);
    close(null);
}

TEST(OsUserProcessTest, CreatedProcessRunsUntilItIsTerminated) {
    int marker = 0;
    _OS_USER_PROC_INFO info = {&marker, &marker, 0, 7};
    // Not for long: the shell may have made a child for it by the end, which is not ended with the shell.
    ASSERT_EQ(OsUserCreateProcess("/bin/sleep 5", "ignored", &info), 0u);
    EXPECT_GT(info.dwProcessId, 0);
    EXPECT_EQ(info.hProcess, nullptr);
    EXPECT_EQ(info.hThread, nullptr);
    EXPECT_EQ(info.dwThreadId, 0u);
    EXPECT_EQ(kill(info.dwProcessId, 0), 0);
    EXPECT_EQ(OsUserReleaseProcessHandle(&info), 0u);
    EXPECT_EQ(OsUserTerminateProcess(&info, 3), 0u);
    EXPECT_FALSE(IsChild(info.dwProcessId));
}

TEST(OsUserProcessTest, CreateProcessPassesFailuresOn) {
    int marker = 0;
    _OS_USER_PROC_INFO info = {&marker, &marker, 0, 7};
    EXPECT_EQ(OsUserCreateProcess("/no/such/program", nullptr, &info), 2u);
    EXPECT_EQ(info.hProcess, &marker);
    EXPECT_EQ(info.dwThreadId, 7u);
    EXPECT_EQ(OsUserCreateProcess("/bin/sh", nullptr, nullptr), 2u);
}

TEST(OsUserProcessTest, TerminateOfWhatIsNoChildFails) {
    EXPECT_EQ(OsUserTerminateProcess(nullptr, 0), 2u);
    // Beyond what the systems give out.
    const _OS_USER_PROC_INFO none = {nullptr, nullptr, 0x7FFFFFF0, 0};
    EXPECT_EQ(OsUserTerminateProcess(&none, 0), 1u);
    const _OS_USER_PROC_INFO everybody = {nullptr, nullptr, -1, 0};
    EXPECT_EQ(OsUserTerminateProcess(&everybody, 0), 1u);
}

TEST(OsUserProcessTest, RemoveZombiesReapsAllEndedChildren) {
    const pid_t first = MakeZombie();
    const pid_t second = MakeZombie();
    OsUserRemoveProcessZombies();
    EXPECT_FALSE(IsChild(first));
    EXPECT_FALSE(IsChild(second));
    OsUserRemoveProcessZombies();
}

// In a process of its own, since the reaping stays held off in it.
TEST(OsUserProcessDeathTest, FailedForkGives1168AndLeavesTheReapingHeldOff) {
    const auto run = [] {
        std::uint32_t exitCode = UNWRITTEN;
        pid_t process = 0;
        WrappedCalls::FailNextFork();
        if (OsUserLaunchProcessInternal("/bin/sh -c true", nullptr, 0, LONG_TIME, &exitCode, &process) != 1168u) {
            _exit(1);
        }
        if (process != -1 || exitCode != UNWRITTEN) {
            _exit(2);
        }
        const pid_t zombie = MakeZombie();
        OsUserRemoveProcessZombies();
        _exit(IsChild(zombie) ? 0 : 3);
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
}

TEST(OsUserProcessDeathTest, FailedForkWithoutATimeOutHoldsNothingOff) {
    const auto run = [] {
        pid_t process = 0;
        WrappedCalls::FailNextFork();
        if (OsUserLaunchProcessInternal("/bin/sh -c true", nullptr, 0, 0, nullptr, &process) != 1168u ||
            process != -1) {
            _exit(1);
        }
        const pid_t zombie = MakeZombie();
        OsUserRemoveProcessZombies();
        _exit(IsChild(zombie) ? 3 : 0);
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
}

} // namespace
