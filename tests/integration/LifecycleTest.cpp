#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>
#include <system_error>
#include <thread>

#include "NameOfText.h"
#include "ServiceTest.h"
#include "WireClient.h"

namespace {

namespace fs = std::filesystem;

std::string Contents(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string LinkTarget(const std::string& path) {
    std::error_code error;
    return fs::read_symlink(path, error).string();
}

std::string ProcEntry(pid_t pid, const std::string& name) {
    return "/proc/" + std::to_string(pid) + "/" + name;
}

// Whether another process holds the lock on the pid file.
bool IsPidFileLocked() {
    const int file = open(ServiceUnderTest::PidFile, O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        return false;
    }
    const bool isLocked = flock(file, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    close(file);
    return isLocked;
}

bool CanConnect() {
    try {
        WireClient client;
        return true;
    } catch (const std::system_error&) {
        return false;
    }
}

void Touch(const std::string& path) {
    std::ofstream file(path);
}

bool WaitForFile(const std::string& path) {
    const auto deadline = std::chrono::steady_clock::now() + ServiceUnderTest::TimeLimit;
    while (!fs::exists(path)) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

// Lets the program that the first module runs wait for /tmp/go: the service stays in the middle of its start for as
// long as a test likes.
void HoldStartUntilGo() {
    std::ofstream program(SYLVARIN_ADAPTERS "/bin/kenv");
    program << "#!/bin/sh\n: >/tmp/held\nwhile [ ! -e /tmp/go ]; do sleep 0.01; done\nexit 1\n";
}

using LifecycleTest = LogTest;

class NoForkArgument : public LogTest, public testing::WithParamInterface<const char*> {};

class NotANoForkArgument : public LogTest, public testing::WithParamInterface<const char*> {};

pid_t PidOfStarted(const SyslogSink& log) {
    for (const auto& line : log.Lines()) {
        if (line.text == "Info: Sylvarin started.") {
            return line.pid;
        }
    }
    return -1;
}

} // namespace

TEST_P(NoForkArgument, KeepsTheServiceInTheForegroundWithAnEmptyLockedPidFile) {
    ServiceUnderTest service({{GetParam()}, "sylvarin", {}});
    ASSERT_TRUE(service.WaitUntilAnswering()) << service.Output();
    ASSERT_TRUE(m_log.WaitFor("Info: Sylvarin started."));

    EXPECT_EQ(PidOfStarted(m_log), service.Pid());
    EXPECT_EQ(fs::file_size(ServiceUnderTest::PidFile), 0U);
    EXPECT_TRUE(IsPidFileLocked());

    EXPECT_EQ(service.Stop().exitStatus, 0);
}

INSTANTIATE_TEST_SUITE_P(Arguments, NoForkArgument, testing::Values("/nofork", "/nof", "-nofork", "-nof"), NameOfText);

TEST_P(NotANoForkArgument, IsIgnoredAndTheServiceBecomesADaemon) {
    ServiceUnderTest launched({{GetParam()}, "sylvarin", {}});

    const Ending ending = launched.WaitForEnd();

    EXPECT_EQ(ending.exitStatus, 0) << launched.Output();
    ASSERT_TRUE(m_log.WaitFor("Info: Sylvarin started."));
    ServiceUnderTest daemon(PidOfStarted(m_log));
    EXPECT_TRUE(daemon.WaitUntilAnswering());
    EXPECT_EQ(daemon.Stop().exitStatus, 0);
}

INSTANTIATE_TEST_SUITE_P(Arguments, NotANoForkArgument,
                         testing::Values("-NOF", "--nofork", "-nofor", "-nofork ", "nofork", "-x", ""), NameOfText);

TEST_F(LifecycleTest, WithoutArgumentsTheServiceBecomesADaemonThatWritesItsPidFile) {
    ServiceUnderTest launched({{}, "sylvarin", {}});
    EXPECT_EQ(launched.WaitForEnd().exitStatus, 0) << launched.Output();
    ASSERT_TRUE(m_log.WaitFor("Info: Sylvarin started."));
    const pid_t pid = PidOfStarted(m_log);
    ServiceUnderTest daemon(pid);
    ASSERT_TRUE(daemon.WaitUntilAnswering());

    EXPECT_NE(pid, launched.Pid());
    EXPECT_EQ(getsid(pid), pid);
    EXPECT_EQ(LinkTarget(ProcEntry(pid, "cwd")), "/");
    for (const char* descriptor : {"fd/0", "fd/1", "fd/2"}) {
        EXPECT_EQ(LinkTarget(ProcEntry(pid, descriptor)), "/dev/null");
    }
    EXPECT_EQ(Contents(ServiceUnderTest::PidFile), std::to_string(pid));
    EXPECT_TRUE(IsPidFileLocked());

    EXPECT_EQ(daemon.Stop().exitStatus, 0);
    EXPECT_FALSE(fs::exists(ServiceUnderTest::PidFile));
}

TEST_F(LifecycleTest, ANoForkArgumentInThePlaceOfTheProgramsNameCounts) {
    ServiceUnderTest service({{}, "-nof", {}});
    ASSERT_TRUE(service.WaitUntilAnswering()) << service.Output();
    EXPECT_TRUE(service.IsRunning());
    EXPECT_EQ(fs::file_size(ServiceUnderTest::PidFile), 0U);
    EXPECT_EQ(service.Stop().exitStatus, 0);
}

TEST_F(LifecycleTest, ThePidFileIsForItsOwnerOnly) {
    umask(0);
    ServiceUnderTest service;
    ASSERT_TRUE(service.WaitUntilAnswering()) << service.Output();

    struct stat status {};

    ASSERT_EQ(stat(ServiceUnderTest::PidFile, &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600U);

    service.Stop();
}

TEST_F(LifecycleTest, ASecondInstanceEndsWithStatusOneAndLeavesTheFirstAlone) {
    ServiceUnderTest first;
    ASSERT_TRUE(first.WaitUntilAnswering()) << first.Output();
    ASSERT_TRUE(m_log.WaitFor("Info: Sylvarin started."));
    m_log.Clear();

    ServiceUnderTest second({{"-nof", "-v"}, "sylvarin", {}});
    const Ending ending = second.WaitForEnd();

    EXPECT_EQ(ending.exitStatus, 1) << second.Output();
    ASSERT_TRUE(m_log.WaitForStart("None: CDaemon: pidfile_remove failed: "));
    const auto texts = m_log.Texts();
    ASSERT_EQ(texts.size(), 3U) << testing::PrintToString(texts);
    EXPECT_EQ(texts[0], "None: Main: -Verbose Mode: Enabled");
    EXPECT_EQ(texts[1], "Info: Sylvarin is already running!");
    EXPECT_EQ(m_log.Lines()[1].priority, 5);
    EXPECT_TRUE(first.WaitUntilAnswering());
    EXPECT_TRUE(IsPidFileLocked());

    EXPECT_EQ(first.Stop().exitStatus, 0);
}

TEST_F(LifecycleTest, ASecondInstanceWithoutArgumentsEndsWithStatusOneBeforeItForks) {
    ServiceUnderTest first;
    ASSERT_TRUE(first.WaitUntilAnswering()) << first.Output();

    ServiceUnderTest second({{}, "sylvarin", {}});

    EXPECT_EQ(second.WaitForEnd().exitStatus, 1);
    EXPECT_TRUE(m_log.WaitFor("Info: Sylvarin is already running!"));
    EXPECT_EQ(first.Stop().exitStatus, 0);
}

TEST_F(LifecycleTest, AfterAStopTheServiceStartsAgain) {
    for (int round = 0; round < 3; ++round) {
        ServiceUnderTest service;
        ASSERT_TRUE(service.WaitUntilAnswering()) << service.Output();
        EXPECT_EQ(service.Stop().exitStatus, 0);
    }
}

TEST_F(LifecycleTest, TheLockIsNotKeptByAProgramThatTheServiceRuns) {
    ServiceUnderTest service;
    ASSERT_TRUE(service.WaitUntilAnswering()) << service.Output();

    struct stat pidFile {};

    ASSERT_EQ(stat(ServiceUnderTest::PidFile, &pidFile), 0);
    int count = 0;
    for (const fs::directory_entry& entry : fs::directory_iterator("/proc/" + std::to_string(service.Pid()) + "/fd")) {
        struct stat status {};

        if (stat(entry.path().c_str(), &status) == 0 && status.st_ino == pidFile.st_ino &&
            status.st_dev == pidFile.st_dev) {
            ++count;
            std::ifstream info("/proc/" + std::to_string(service.Pid()) + "/fdinfo/" +
                               entry.path().filename().string());
            const std::string text{std::istreambuf_iterator<char>(info), {}};
            const std::size_t flags = text.find("flags:");
            ASSERT_NE(flags, std::string::npos) << text;
            EXPECT_NE(std::stoul(text.substr(flags + 6), nullptr, 8) & O_CLOEXEC, 0U) << text;
        }
    }
    EXPECT_EQ(count, 1);
    service.Stop();
}

TEST_F(LifecycleTest, APidFileAndSocketLeftByAKilledServiceDoNotStopTheNext) {
    {
        ServiceUnderTest killed;
        ASSERT_TRUE(killed.WaitUntilAnswering()) << killed.Output();
        killed.Signal(SIGKILL);
        EXPECT_EQ(killed.WaitForEnd().signal, SIGKILL);
    }
    ASSERT_TRUE(fs::exists(ServiceUnderTest::PidFile));
    ASSERT_TRUE(fs::exists(WireClient::Path));

    ServiceUnderTest service;

    EXPECT_TRUE(service.WaitUntilAnswering()) << service.Output();
    EXPECT_EQ(service.Stop().exitStatus, 0);
}

TEST_F(LifecycleTest, WithoutAPidFileTheServiceWarnsAndGoesOn) {
    fs::create_directory(ServiceUnderTest::PidFile); // cannot be opened for writing, and not because it is locked
    ServiceUnderTest service({{"-nof", "-v"}, "sylvarin", {}});

    ASSERT_TRUE(service.WaitUntilAnswering()) << service.Output();
    ASSERT_TRUE(m_log.WaitFor("Warning: CDaemon: Cannot create pidfile!"));
    for (const auto& line : m_log.Lines()) {
        if (line.text == "Warning: CDaemon: Cannot create pidfile!") {
            EXPECT_EQ(line.priority, 4);
        }
    }

    EXPECT_EQ(service.Stop().exitStatus, 0);
    EXPECT_TRUE(m_log.WaitForStart("None: CDaemon: pidfile_remove failed: "));
}

TEST_F(LifecycleTest, AStopRemovesThePidFileAndTheSocket) {
    ServiceUnderTest service;
    ASSERT_TRUE(service.WaitUntilAnswering()) << service.Output();
    ASSERT_TRUE(fs::exists(ServiceUnderTest::PidFile));
    ASSERT_TRUE(fs::is_socket(WireClient::Path));

    const Ending ending = service.Stop();

    EXPECT_EQ(ending.exitStatus, 0);
    EXPECT_FALSE(fs::exists(ServiceUnderTest::PidFile));
    EXPECT_FALSE(fs::exists(WireClient::Path));
    EXPECT_FALSE(CanConnect());
}

TEST_F(LifecycleTest, AStopInTheMiddleOfACommandOfTheShellLeavesNoFile) {
    std::ofstream(SYLVARIN_ADAPTERS "/sbin/route")
        << "#!/bin/sh\n: >/tmp/held\nwhile [ ! -e /tmp/go ]; do sleep 0.01; done\n";
    ServiceUnderTest service;
    ASSERT_TRUE(service.WaitUntilAnswering()) << service.Output();
    WireClient client;
    client.Send(Join({Little(24 + 18 + 16, 8), Little(24, 8), Little(24, 8), "00 00  01 80  00  05"_hex, Little(0, 8),
                      Little(16, 4), Bytes(16)})); // the gateway of the first adapter
    ASSERT_TRUE(WaitForFile("/tmp/held"));
    const auto countFiles = [] {
        return std::count_if(fs::directory_iterator("/tmp"), fs::directory_iterator(), [](const auto& entry) {
            return entry.path().filename().string().compare(0, 4, "file") == 0;
        });
    };
    EXPECT_EQ(countFiles(), 1);

    EXPECT_EQ(service.Stop().exitStatus, 0) << service.Output();
    EXPECT_EQ(countFiles(), 0);
    Touch("/tmp/go");
}

TEST_F(LifecycleTest, AStopDoesNotWaitForAClientInTheMiddleOfItsFrame) {
    ServiceUnderTest service;
    ASSERT_TRUE(service.WaitUntilAnswering()) << service.Output();
    WireClient client;
    client.Send("2E 00 00 00"_hex);
    client.WaitUntilTaken();

    EXPECT_EQ(service.Stop().exitStatus, 0);
    EXPECT_EQ(client.ReceiveAll(), Bytes{});
}

TEST_F(LifecycleTest, ManyTerminateSignalsStopTheServiceOnce) {
    ServiceUnderTest service({{"-nof", "-v"}, "sylvarin", {}});
    ASSERT_TRUE(service.WaitUntilAnswering()) << service.Output();

    for (int i = 0; i < 100; ++i) {
        service.Signal(SIGTERM);
    }

    EXPECT_EQ(service.WaitForEnd().exitStatus, 0) << service.Output();
    EXPECT_EQ(m_log.Count("None: ------------- Sylvarin (END) -------------"), 1U);
}

TEST_F(LifecycleTest, AStopDuringTheStartIsHonouredAfterTheModulesAndTheSocketAreThere) {
    HoldStartUntilGo();
    ServiceUnderTest service({{"-nof", "-v"}, "sylvarin", {}});
    ASSERT_TRUE(WaitForFile("/tmp/held"));

    service.Signal(SIGTERM);
    Touch("/tmp/go");

    EXPECT_EQ(service.WaitForEnd().exitStatus, 0) << service.Output();
    for (const char* line : {"None: General created.", "None: Finished.", "Info: Sylvarin started.",
                             "None: Sylvarin->SignalHandlerTerminate: Got terminate signal!",
                             "None: ------------- Sylvarin (END) -------------", "None: Logger is shutting down"}) {
        EXPECT_EQ(m_log.Count(line), 1U) << line;
    }
    EXPECT_FALSE(fs::exists(ServiceUnderTest::PidFile));
    EXPECT_FALSE(fs::exists(WireClient::Path));
}

TEST_F(LifecycleTest, AStopAtAnyMomentOfTheStartEndsTheServiceInGoodOrder) {
    for (const char* moment : {"None: Main: -Verbose Mode: Enabled", "None: CDaemon: Starting Sylvarin-Daemon",
                               "None: CDaemon: Daemon started", "None: Creating MDP modules...",
                               "None: General created.", "None: Finished.", "Info: Sylvarin started."}) {
        m_log.Clear();
        // The last line before the handler is set may let the signal end the process: that one is only sent later.
        m_log.SetWatcher([&](const SyslogLine& line) {
            if (line.text == moment && line.text != "None: Main: -Verbose Mode: Enabled") {
                kill(line.pid, SIGTERM);
            }
        });
        ServiceUnderTest service({{"-nof", "-v"}, "sylvarin", {}});
        if (std::string(moment) == "None: Main: -Verbose Mode: Enabled") {
            ASSERT_TRUE(m_log.WaitFor("None: CDaemon: Starting Sylvarin-Daemon"));
            service.Signal(SIGTERM);
        }

        EXPECT_EQ(service.WaitForEnd().exitStatus, 0) << moment << "\n" << service.Output();
        EXPECT_EQ(m_log.Count("Info: Sylvarin started."), 1U) << moment;
        EXPECT_EQ(m_log.Count("None: ------------- Sylvarin (END) -------------"), 1U) << moment;
        EXPECT_FALSE(fs::exists(WireClient::Path)) << moment;
    }
    m_log.SetWatcher(nullptr);
}

TEST_F(LifecycleTest, OtherSignalsKeepTheirMeaning) {
    for (const int number : {SIGINT, SIGHUP, SIGUSR1}) {
        ServiceUnderTest service;
        ASSERT_TRUE(service.WaitUntilAnswering()) << service.Output();
        service.Signal(number);
        EXPECT_EQ(service.WaitForEnd().signal, number);
    }
}

TEST_F(LifecycleTest, ADirectoryInThePlaceOfTheSocketEndsTheServiceInGoodOrder) {
    fs::create_directories(std::string(WireClient::Path) + "/inside");
    ServiceUnderTest service({{"-nof", "-v"}, "sylvarin", {}});

    EXPECT_EQ(service.WaitForEnd().exitStatus, 2) << service.Output();
    const std::string line = "Error: Create server binding failed: " + std::to_string(EADDRINUSE);
    EXPECT_EQ(m_log.Count(line), 1U);
    EXPECT_EQ(m_log.Count("None: Waiting for client..."), 0U);
    EXPECT_EQ(m_log.Count("None: PipeCommunication::Receiver(): Terminate!"), 0U);
    EXPECT_EQ(m_log.Count("None: ------------- Sylvarin (END) -------------"), 1U);
    EXPECT_EQ(m_log.Texts().back(), "None: Logger is shutting down");
    for (const auto& text : m_log.Lines()) {
        if (text.text.compare(0, 7, "Error: ") == 0) {
            EXPECT_EQ(text.priority, 3) << text.text;
        }
    }
    EXPECT_TRUE(fs::is_directory(WireClient::Path));
    EXPECT_FALSE(fs::exists(ServiceUnderTest::PidFile));
}

TEST_F(LifecycleTest, ASocketThatSomebodyRemovedDoesNotKeepTheServiceFromStopping) {
    ServiceUnderTest service;
    ASSERT_TRUE(service.WaitUntilAnswering()) << service.Output();
    ASSERT_TRUE(fs::remove(WireClient::Path));

    EXPECT_EQ(service.Stop().exitStatus, 0) << service.Output();
}

TEST_F(LifecycleTest, AFileInThePlaceOfTheSocketIsReplaced) {
    Touch(WireClient::Path);
    ServiceUnderTest service;

    EXPECT_TRUE(service.WaitUntilAnswering()) << service.Output();
    EXPECT_TRUE(fs::is_socket(WireClient::Path));
    EXPECT_EQ(service.Stop().exitStatus, 0);
}

namespace {

// Each system call of the start that can fail, made to fail by preloaded test equipment.
class FailingCall : public LogTest {
protected:
    static ServiceStart StartWith(const std::string& failure, std::vector<std::string> arguments) {
        return {std::move(arguments), "sylvarin", {"LD_PRELOAD=" SYLVARIN_FAILING_CALLS, "FAILING_CALL=" + failure}};
    }

    void ExpectEndWithoutSocket(const std::string& failure, const std::string& errorLine) {
        ServiceUnderTest service(StartWith(failure, {"-nof", "-v"}));
        EXPECT_EQ(service.WaitForEnd().exitStatus, 2) << service.Output();
        EXPECT_EQ(m_log.Count(errorLine), 1U) << testing::PrintToString(m_log.Texts());
        EXPECT_EQ(m_log.Count("None: ------------- Sylvarin (END) -------------"), 1U);
        EXPECT_FALSE(fs::exists(WireClient::Path));
        EXPECT_FALSE(fs::exists(ServiceUnderTest::PidFile));
    }
};

} // namespace

TEST_F(FailingCall, SignalForTerminateEndsTheServiceWithStatusZero) {
    ServiceUnderTest service(StartWith("signal:15:22", {"-nof", "-v"}));

    EXPECT_EQ(service.WaitForEnd().exitStatus, 0) << service.Output();
    EXPECT_TRUE(m_log.WaitFor("None: Logger is shutting down"));
    EXPECT_THAT(m_log.Texts(), testing::ElementsAre("None: Main: -Verbose Mode: Enabled",
                                                    "Error: Main: Exception Sylvarin->CDaemon->Start: "
                                                    "Could not initialize Signal: SIGTERM",
                                                    "None: Logger is shutting down"));
    EXPECT_FALSE(fs::exists(ServiceUnderTest::PidFile));
}

TEST_F(FailingCall, SignalForBrokenPipesEndsTheServiceWithStatusZero) {
    ServiceUnderTest service(StartWith("signal:13:22", {"-nof"}));

    EXPECT_EQ(service.WaitForEnd().exitStatus, 0) << service.Output();
    EXPECT_TRUE(m_log.WaitFor("Error: Main: Exception Sylvarin->CDaemon->Start: Could not initialize Signal: SIGPIPE"));
}

TEST_F(FailingCall, DaemonEndsTheServiceWithStatusOneAndWithoutAPidFile) {
    ServiceUnderTest service(StartWith("daemon:0:11", {"-v"}));

    EXPECT_EQ(service.WaitForEnd().exitStatus, 1) << service.Output();
    EXPECT_TRUE(m_log.WaitFor("Error: Could not daemonize!"));
    EXPECT_THAT(m_log.Texts(),
                testing::ElementsAre("None: Main: -Verbose Mode: Enabled", "None: CDaemon: Starting Sylvarin-Daemon",
                                     "None: CDaemon: Do fork", "Error: Could not daemonize!"));
    EXPECT_FALSE(fs::exists(ServiceUnderTest::PidFile));
}

TEST_F(FailingCall, SocketEndsTheService) {
    ExpectEndWithoutSocket("socket:1:24", "Error: Create server socket failed: 24");
}

TEST_F(FailingCall, BindEndsTheService) {
    ExpectEndWithoutSocket("bind:0:13", "Error: Create server binding failed: 13");
}

TEST_F(FailingCall, ListenEndsTheService) {
    ExpectEndWithoutSocket("listen:0:95", "Error: Listen failed: 95");
}

TEST_F(FailingCall, AcceptOnASocketThatIsNoneAnyMoreEndsTheService) {
    ExpectEndWithoutSocket("accept:0:22", "Error: Accept failed: 22");
}

TEST_F(FailingCall, AThreadForTheReceiverEndsTheService) {
    ExpectEndWithoutSocket("thread:0:11", "Error: Create receiver thread failed: 11");
}

TEST_F(FailingCall, SocketForTheWakeUpEndsTheStopWithoutWaitingForTheReceiver) {
    ServiceUnderTest service(StartWith("socket:2:24", {"-nof", "-v"}));
    ASSERT_TRUE(m_log.WaitFor("None: Waiting for client..."));
    ASSERT_TRUE(m_log.WaitFor("Info: Sylvarin started."));

    EXPECT_EQ(service.Stop().exitStatus, 0) << service.Output();
    EXPECT_EQ(m_log.Count("Error: PipeCommunication::Close(): Create client socket failed: 24"), 1U);
    EXPECT_EQ(m_log.Count("None: ------------- Sylvarin (END) -------------"), 1U);
}
