#include "sysconfig/CSystem.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <new>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "LogCapture.h"

using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using ZMBSD::CSystem;

namespace {

// The number of allocations without throwing that still succeed; negative for all.
thread_local int s_allocationsLeft = -1;

} // namespace

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    if (s_allocationsLeft == 0) {
        return nullptr;
    }
    if (s_allocationsLeft > 0) {
        --s_allocationsLeft;
    }
    try {
        return ::operator new[](size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

namespace {

class SystemTest : public testing::Test {
protected:
    SystemTest() {
        char directory[] = "/tmp/system-test-XXXXXX";
        m_directory = mkdtemp(directory);
    }

    ~SystemTest() override { std::filesystem::remove_all(m_directory); }

    std::string Path(const std::string& name) const { return m_directory + "/" + name; }

    std::string Script(const std::string& lines) const {
        std::ofstream(Path("script")) << "#!/bin/sh\n" << lines << '\n';
        std::filesystem::permissions(Path("script"), std::filesystem::perms(0755));
        return Path("script");
    }

    std::string Write(const std::string& bytes) const {
        std::ofstream(Path("file")) << bytes;
        return Path("file");
    }

    std::string Bytes(const std::string& name) const {
        std::ifstream file(Path(name));
        return {std::istreambuf_iterator<char>(file), {}};
    }

    CLogCapture m_log;
    std::string m_directory;
};

} // namespace

TEST_F(SystemTest, ExecuteSecureWithoutAnyArgumentReturnsOneAndStartsNothing) {
    EXPECT_EQ(CSystem::ExecuteSecure(nullptr), 1U);
    EXPECT_EQ(CSystem::ExecuteSecureInternal({}), 1U);
    EXPECT_THAT(m_log.TakeLines(), IsEmpty());
}

TEST_F(SystemTest, ExecuteSecureGivesTheExitCode) {
    const std::string script = Script("exit $1");
    for (const unsigned code : {0U, 1U, 2U, 127U, 255U}) {
        EXPECT_EQ(CSystem::ExecuteSecure(script.c_str(), std::to_string(code).c_str(), nullptr), code);
    }
}

TEST_F(SystemTest, ProgramThatDoesNotExistGivesOne) {
    EXPECT_EQ(CSystem::ExecuteSecure(Path("absent").c_str(), nullptr), 1U);
    EXPECT_EQ(CSystem::ExecuteSecure(Write("not executable").c_str(), nullptr), 1U);
}

TEST_F(SystemTest, ProgramKilledByASignalGivesTheRawWaitStatus) {
    EXPECT_EQ(CSystem::ExecuteSecure(Script("kill -9 $$").c_str(), nullptr), 9U);
}

TEST_F(SystemTest, ArgumentsArriveVerbatimOneByOne) {
    const std::string script = Script("printf '%s\\0' \"$@\" >" + Path("arguments"));
    EXPECT_EQ(CSystem::ExecuteSecure(script.c_str(), "a b", "\"q'", "; touch x", "$(id)", "", "l1\nl2", "*", nullptr),
              0U);
    EXPECT_EQ(Bytes("arguments"), "a b\0\"q'\0; touch x\0$(id)\0\0l1\nl2\0*\0"s);
}

TEST_F(SystemTest, FirstArgumentIsAlsoElementZeroOfTheVector) {
    // A binary, for which the kernel leaves element 0 as it is told.
    EXPECT_EQ(CSystem::ExecuteSecure("/bin/sh", "-c", ("printf %s \"$0\" >" + Path("zero")).c_str(), nullptr), 0U);
    EXPECT_EQ(Bytes("zero"), "/bin/sh");
}

TEST_F(SystemTest, EnvironmentOfTheProgramIsEmpty) {
    setenv("SYSTEM_TEST_VARIABLE", "set", 1);
    EXPECT_EQ(
        CSystem::ExecuteSecure("/bin/sh", "-c", ("cat /proc/$$/environ >" + Path("environment")).c_str(), nullptr), 0U);
    EXPECT_EQ(Bytes("environment"), "");
}

TEST_F(SystemTest, OpenDescriptorsAreInherited) {
    const int descriptor = open(Path("inherited").c_str(), O_CREAT | O_WRONLY, 0600);
    ASSERT_GE(descriptor, 0);
    const std::string script = "echo through >/proc/self/fd/" + std::to_string(descriptor);
    EXPECT_EQ(CSystem::ExecuteSecure("/bin/sh", "-c", script.c_str(), nullptr), 0U);
    close(descriptor);
    EXPECT_EQ(Bytes("inherited"), "through\n");
}

TEST_F(SystemTest, SignalsDoNotEndTheWaitForTheProgram) {
    struct sigaction action = {};
    struct sigaction before = {};
    action.sa_handler = [](int) {};
    sigaction(SIGUSR1, &action, &before);
    const pthread_t caller = pthread_self();
    std::thread interrupter([caller] {
        for (int i = 0; i < 20; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            pthread_kill(caller, SIGUSR1);
        }
    });
    EXPECT_EQ(CSystem::ExecuteSecure(Script("sleep 0.3; exit 7").c_str(), nullptr), 7U);
    interrupter.join();
    sigaction(SIGUSR1, &before, nullptr);
}

TEST_F(SystemTest, ChildReapedElsewhereReadsAsSuccess) {
    struct sigaction action = {};
    struct sigaction before = {};
    action.sa_handler = SIG_IGN; // the kernel reaps every child at once
    sigaction(SIGCHLD, &action, &before);
    EXPECT_EQ(CSystem::ExecuteSecure(Script("exit 3").c_str(), nullptr), 0U);
    sigaction(SIGCHLD, &before, nullptr);
}

TEST_F(SystemTest, LacksOfMemoryAreReportedAndNothingIsRun) {
    const std::vector<std::string> arguments{Script("touch " + Path("ran")), "argument"};
    for (const int left : {0, 1, 2}) {
        s_allocationsLeft = left;
        const std::uint32_t status = CSystem::ExecuteSecureInternal(arguments);
        s_allocationsLeft = -1;
        EXPECT_EQ(status, 0x8007000EU);
    }
    EXPECT_FALSE(std::filesystem::exists(Path("ran")));
}

TEST_F(SystemTest, ExecuteSecureLogsTheArgumentsAndTheResult) {
    const std::string script = Script("exit $1");
    m_log.TakeLines();
    CSystem::ExecuteSecure(script.c_str(), "0", nullptr);
    EXPECT_THAT(m_log.TakeLines(), ElementsAre("None: cmdArray:", "None:   [0]: " + script, "None:   [1]: 0",
                                               "None: WEXITSTATUS returned: 0"));
    errno = 0;
    CSystem::ExecuteSecure(script.c_str(), "5", nullptr);
    EXPECT_THAT(m_log.TakeLines(), ElementsAre("None: cmdArray:", "None:   [0]: " + script, "None:   [1]: 5",
                                               testing::MatchesRegex("None: WEXITSTATUS returned: 5 errno: [0-9]+")));
}

TEST_F(SystemTest, OnlyNamesOfHarmlessCharactersMayStandInACommandOfTheShell) {
    for (const char* name : {"em0", "vlan0.10", "igb_1", "wan@em0", "a-b", "Z"}) {
        EXPECT_TRUE(CSystem::IsShellSafe(name)) << name;
    }
    for (const char* name : {"", "a;id", "a b", "$(id)", "`id`", "a&b", "a|b", "a>b", "a\nb", "a/b", "a'b", "a\"b",
                             "a\\b", "*", "a?", "~", "#a", "a\xC3\xA4"}) {
        EXPECT_FALSE(CSystem::IsShellSafe(name)) << name;
    }
    EXPECT_FALSE(CSystem::IsShellSafe(std::string("a\0b", 3)));
    EXPECT_EQ(CSystem::NetstatGetDefaultGateway("em0; touch " + Path("ran") + "; echo gateway 1.2.3.4"), "");
    EXPECT_FALSE(std::filesystem::exists(Path("ran")));
}

TEST_F(SystemTest, ExecuteGoesThroughTheShell) {
    CSystem::Execute("echo a | tr a b >" + Path("out"));
    EXPECT_EQ(Bytes("out"), "b\n");
}

TEST_F(SystemTest, ExecuteCapturesAllLinesOfStandardOutputOnly) {
    std::vector<std::string> output{"old"};
    EXPECT_EQ(CSystem::Execute("sh -c 'echo one; echo hidden >&2; echo; echo two 2'", output), 0U);
    EXPECT_THAT(output, ElementsAre("one", "", "two 2"));
}

TEST_F(SystemTest, ExecuteGivesTheFirstLine) {
    std::string line = "old";
    EXPECT_EQ(CSystem::Execute("printf 'first\\nsecond\\n'", line), 0U);
    EXPECT_EQ(line, "first");
}

TEST_F(SystemTest, ExecuteThatPrintsNothingGivesMinusOneAndLeavesTheOutput) {
    std::string line = "old";
    unsigned long number = 42;
    EXPECT_EQ(CSystem::Execute("true", line), 0xFFFFFFFFU);
    EXPECT_EQ(CSystem::Execute("true", number), 0xFFFFFFFFU);
    EXPECT_EQ(line, "old");
    EXPECT_EQ(number, 42UL);
}

TEST_F(SystemTest, ExecuteGivesTheFirstLineAsANumber) {
    unsigned long number = 0;
    EXPECT_EQ(CSystem::Execute("echo 2400 MHz", number), 0U);
    EXPECT_EQ(number, 2400UL);
    EXPECT_THROW(CSystem::Execute("echo none", number), std::invalid_argument);
    EXPECT_EQ(number, 2400UL);
}

TEST_F(SystemTest, ReadFileSplitsAtLineFeeds) {
    std::vector<std::string> lines{"old"};
    EXPECT_EQ(CSystem::ReadFile(Write("a\n\nb\r\nc"), lines), 0U);
    EXPECT_THAT(lines, ElementsAre("a", "", "b\r", "c"));
    EXPECT_EQ(CSystem::ReadFile(Write("a\n"), lines), 0U);
    EXPECT_THAT(lines, ElementsAre("a"));
    EXPECT_EQ(CSystem::ReadFile(Write(""), lines), 0U);
    EXPECT_THAT(lines, IsEmpty());
}

TEST_F(SystemTest, ReadFileAsOneTextEndsEveryLineWithALineFeed) {
    std::string text = "old";
    EXPECT_EQ(CSystem::ReadFile(Write("one line"), text), 0U);
    EXPECT_EQ(text, "one line\n");
    EXPECT_EQ(CSystem::ReadFile(Write("a\n\nb\n"), text), 0U);
    EXPECT_EQ(text, "a\n\nb\n");
}

TEST_F(SystemTest, ReadFileGivesTheErrorOfAFileThatCannotBeOpened) {
    std::vector<std::string> lines{"old"};
    std::string text = "old";
    EXPECT_EQ(CSystem::ReadFile(Path("absent"), lines), static_cast<std::uint32_t>(ENOENT));
    EXPECT_EQ(CSystem::ReadFile(Path("absent"), text), static_cast<std::uint32_t>(ENOENT));
    EXPECT_THAT(lines, IsEmpty());
    EXPECT_EQ(text, "");
}

TEST_F(SystemTest, ReadFileFailsWhereAFileCannotBeReadToItsEnd) {
    std::vector<std::string> lines;
    EXPECT_EQ(CSystem::ReadFile(m_directory, lines), static_cast<std::uint32_t>(EIO));
}

TEST_F(SystemTest, WriteFileReplacesTheFileAsAWhole) {
    const std::string path = Write("a much longer old text\n");
    std::ifstream reader(path);
    EXPECT_EQ(CSystem::WriteFile(path, {"a", "", "b"}), 0U);
    EXPECT_EQ(Bytes("file"), "a\n\nb\n");
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(reader), {}), "a much longer old text\n");
    EXPECT_EQ(CSystem::WriteFile(path, {}), 0U);
    EXPECT_EQ(Bytes("file"), "");
}

TEST_F(SystemTest, WriteFileReportsNoFailure) {
    EXPECT_EQ(CSystem::WriteFile(Path("absent/file"), {"a"}), 0U);
    EXPECT_FALSE(std::filesystem::exists(Path("absent")));
    std::filesystem::create_directory(Path("directory"));
    EXPECT_EQ(CSystem::WriteFile(Path("directory"), {"a"}), 0U);
}

TEST_F(SystemTest, ParseValueGivesWhatFollowsTheKey) {
    EXPECT_EQ(CSystem::ParseValue("nameserver  10.0.0.1 ", "nameserver"), "10.0.0.1 ");
    EXPECT_EQ(CSystem::ParseValue("inet 10.0.0.1 netmask 255.0.0.0", "netmask "), "255.0.0.0");
    EXPECT_EQ(CSystem::ParseValue("a key in mid-line", "key"), "in mid-line");
    EXPECT_EQ(CSystem::ParseValue("key key value", "key"), "key value");
    EXPECT_EQ(CSystem::ParseValue("key \t\r\nvalue\t", "key"), "value\t");
    EXPECT_EQ(CSystem::ParseValue("  text", ""), "text");
    EXPECT_EQ(CSystem::ParseValue("text", "absent"), "");
    EXPECT_EQ(CSystem::ParseValue("key", "key"), "");
    EXPECT_EQ(CSystem::ParseValue("", "key"), "");
}

TEST_F(SystemTest, CreateDirectoriesMakesTheWholePathAndGivesTheStatus) {
    EXPECT_EQ(CSystem::CreateDirectories(Path("a/b/c")), 0);
    EXPECT_TRUE(std::filesystem::is_directory(Path("a/b/c")));
    EXPECT_NE(CSystem::CreateDirectories(Write("") + "/below"), 0);
}
