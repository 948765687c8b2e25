// Descriptors, threads and memory run out, clients say nothing, the log daemon hangs: the service goes on.

#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <sstream>
#include <thread>

#include "DeviceType.h"
#include "HangingLog.h"
#include "ServiceTest.h"

namespace {

namespace fs = std::filesystem;

constexpr const char* FAILING = "/tmp/failing";

// While it lives the calls that were chosen fail.
class Failing {
public:
    Failing() { std::ofstream file(FAILING); }

    ~Failing() { fs::remove(FAILING); }

    Failing(const Failing&) = delete;
    Failing& operator=(const Failing&) = delete;
};

ServiceStart FailingStart(const std::string& call) {
    return {{"-nof"},
            "sylvarin",
            {"LD_PRELOAD=" SYLVARIN_FAILING_CALLS, "FAILING_CALL=" + call, std::string("FAILING_WHILE=") + FAILING}};
}

using SilentClients = std::vector<std::unique_ptr<WireClient>>;

// The soft and the hard limit of open files.
std::pair<std::string, std::string> DescriptorLimits(pid_t pid) {
    std::ifstream limits("/proc/" + std::to_string(pid) + "/limits");
    for (std::string line; std::getline(limits, line);) {
        if (line.compare(0, 14, "Max open files") == 0) {
            std::istringstream values(line.substr(14));
            std::pair<std::string, std::string> both;
            values >> both.first >> both.second;
            return both;
        }
    }
    return {};
}

// How often the threads of a process have gone to sleep so far.
std::size_t TimesAsleep(pid_t pid) {
    std::size_t sum = 0;
    for (const auto& task : fs::directory_iterator("/proc/" + std::to_string(pid) + "/task")) {
        std::ifstream status(task.path() / "status");
        for (std::string word; status >> word;) {
            if (word == "voluntary_ctxt_switches:") {
                std::size_t count = 0;
                status >> count;
                sum += count;
            }
        }
    }
    return sum;
}

// Refused with a line in the log.
const Bytes s_refused = "2E 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"
                        "05 00  00 10  00  00  00 00 00 00 00 00 00 00  04 00 00 00  00 00 00 00"_hex;
const std::string s_refusedLine = "Error: PipeCommunication: ExtractPipeTransactionPackage failed: -324661248";

// More lines than the sockets between the service and a log daemon hold.
constexpr std::size_t s_manyLines = 3000;

// So that whoever logs next waits.
void FillTheLog(HangingLog& hanging) {
    const int filler = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, "/dev/log");
    const auto send = [&] {
        return sendto(filler, "x", 1, 0, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 1;
    };
    send();
    hanging.WaitUntilItHangs();
    while (send()) {
    }
    close(filler);
}

// The process that the pid file names, once it does.
pid_t WaitForDaemon() {
    pid_t pid = 0;
    for (int i = 0; i < 30000 && !(std::ifstream(ServiceUnderTest::PidFile) >> pid); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return pid;
}

using ShortageTest = LogTest;

} // namespace

TEST_F(ShortageTest, TheServiceTakesAsManyDescriptorsAsItMayHave) {
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    rlimit limit = before;
    limit.rlim_cur = 64;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    ServiceUnderTest service;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    ASSERT_TRUE(service.WaitUntilAnswering()) << service.Output();

    const auto [soft, hard] = DescriptorLimits(service.Pid());
    EXPECT_EQ(soft, hard);
    EXPECT_NE(soft, "64");
    // Twice as many clients as the limit that it was started with.
    SilentClients silent;
    for (int i = 0; i < 128; ++i) {
        silent.push_back(std::make_unique<WireClient>());
    }
    EXPECT_EQ(WireClient::Transact(ReadDeviceType), DeviceTypeAnswer);
    EXPECT_EQ(service.Stop().exitStatus, 0) << service.Output();
}

TEST_F(ShortageTest, OutOfDescriptorsTheServiceWaitsAndSaysSoOnce) {
    ServiceUnderTest service;
    ASSERT_TRUE(service.WaitUntilAnswering()) << service.Output();
    SilentClients silent;
    const Usage idle = service.WaitUntilSteady();
    // The sanitizers look at a type when it is used first, or not lately, and need a descriptor for that: the start of
    // a thread is such a use.
    for (std::size_t i = 0; i < idle.threads; ++i) {
        silent.push_back(std::make_unique<WireClient>());
    }
    ASSERT_EQ(WireClient::Transact(ReadDeviceType), DeviceTypeAnswer);
    silent.clear();
    ASSERT_TRUE(service.WaitForUsage(idle));
    const rlimit limit{idle.descriptors + 8, idle.descriptors + 8};
    ASSERT_EQ(prlimit(service.Pid(), RLIMIT_NOFILE, &limit, nullptr), 0);

    for (int i = 0; i < 16; ++i) { // some of them wait in the queue
        silent.push_back(std::make_unique<WireClient>());
    }
    ASSERT_TRUE(m_log.WaitFor("Error: Accept failed: 24"));
    EXPECT_FALSE(silent.back()->HasAnswerWithin(200));
    silent.clear();

    EXPECT_EQ(WireClient::Transact(ReadDeviceType), DeviceTypeAnswer);
    EXPECT_TRUE(m_log.WaitFor("Info: Accept works again."));
    EXPECT_EQ(m_log.Count("Error: Accept failed: 24"), 1U);
    EXPECT_EQ(service.Stop().exitStatus, 0) << service.Output();
}

TEST_F(ShortageTest, OutOfDescriptorsTheServiceStopsInGoodOrder) {
    const Failing failing;
    ServiceStart start = FailingStart("accept:0:24");
    start.arguments.emplace_back("-v");
    ServiceUnderTest service(start);
    ASSERT_TRUE(m_log.WaitFor("Error: Accept failed: 24"));
    ASSERT_TRUE(m_log.WaitFor("Info: Sylvarin started."));

    EXPECT_EQ(service.Stop().exitStatus, 0) << service.Output();
    EXPECT_EQ(m_log.Count("Error: Accept failed: 24"), 1U);
    EXPECT_EQ(m_log.Count("None: PipeCommunication::Receiver(): Terminate!"), 1U);
    EXPECT_EQ(m_log.Count("None: ------------- Sylvarin (END) -------------"), 1U);
    EXPECT_FALSE(fs::exists(WireClient::Path));
}

TEST_F(ShortageTest, OutOfThreadsClientsAreServedOneAfterTheOtherAndNoneIsTurnedAway) {
    ServiceUnderTest service(FailingStart("thread:0:11"));
    ASSERT_TRUE(service.WaitUntilAnswering()) << service.Output();
    const std::size_t threads = service.WaitUntilSteady().threads;
    {
        const Failing failing;
        // More than there are threads.
        SilentClients silent;
        for (std::size_t i = 0; i < threads + 2; ++i) {
            silent.push_back(std::make_unique<WireClient>());
            silent.back()->Send(Bytes(ReadDeviceType.begin(), ReadDeviceType.begin() + 30));
        }
        ASSERT_TRUE(m_log.WaitFor("Error: Create client thread failed: 11"));
        for (const auto& client : silent) {
            client->Send(Bytes(ReadDeviceType.begin() + 30, ReadDeviceType.end()));
        }
        for (const auto& client : silent) {
            EXPECT_EQ(client->ReceiveAll(), DeviceTypeAnswer);
        }
        EXPECT_EQ(m_log.Count("Error: Create client thread failed: 11"), 1U);
    }
    EXPECT_TRUE(m_log.WaitFor("Info: Create client thread works again."));
    EXPECT_EQ(service.Stop().exitStatus, 0) << service.Output();
}

TEST_F(ShortageTest, ThreadsThatCanBeHadAgainServeThoseWhoWaited) {
    ServiceUnderTest service(FailingStart("thread:0:11"));
    ASSERT_TRUE(service.WaitUntilAnswering()) << service.Output();
    const std::size_t threads = service.WaitUntilSteady().threads;
    SilentClients silent;
    {
        const Failing failing;
        for (std::size_t i = 0; i < threads; ++i) {
            silent.push_back(std::make_unique<WireClient>());
        }
        ASSERT_TRUE(m_log.WaitFor("Error: Create client thread failed: 11"));
    }
    // The silent ones still hold their threads.
    EXPECT_EQ(WireClient::Transact(ReadDeviceType), DeviceTypeAnswer);
    EXPECT_EQ(service.Stop().exitStatus, 0) << service.Output();
}

TEST_F(ShortageTest, ALogDaemonThatHangsHoldsUpNeitherRequestsNorTheStop) {
    ServiceUnderTest service;
    ASSERT_TRUE(service.WaitUntilAnswering()) << service.Output();
    ASSERT_TRUE(m_log.WaitFor("Info: Sylvarin started."));
    {
        const HangingLog hanging(m_log);
        for (std::size_t i = 0; i < s_manyLines; ++i) {
            ASSERT_EQ(WireClient::Transact(s_refused), Bytes{});
        }
        EXPECT_EQ(WireClient::Transact(ReadDeviceType), DeviceTypeAnswer);
        EXPECT_EQ(service.Stop().exitStatus, 0) << service.Output();
    }
    EXPECT_FALSE(fs::exists(WireClient::Path));
}

TEST_F(ShortageTest, WhatALogDaemonDidNotTakeInTimeArrivesInItsOrder) {
    ServiceUnderTest service;
    ASSERT_TRUE(service.WaitUntilAnswering()) << service.Output();
    {
        const HangingLog hanging(m_log);
        for (std::size_t i = 0; i < s_manyLines; ++i) {
            ASSERT_EQ(WireClient::Transact(s_refused), Bytes{});
        }
    }
    EXPECT_EQ(service.Stop().exitStatus, 0) << service.Output();
    EXPECT_EQ(m_log.Count(s_refusedLine), s_manyLines);
    const std::vector<std::string> texts = m_log.Texts();
    EXPECT_LT(std::find(texts.begin(), texts.end(), "Info: Sylvarin started."),
              std::find(texts.begin(), texts.end(), s_refusedLine));
}

TEST_F(ShortageTest, ALogDaemonThatHangsDoesNotHoldUpTheStart) {
    HangingLog hanging(m_log);
    FillTheLog(hanging);
    ServiceUnderTest service({{"-nof", "-v"}, "sylvarin", {}});
    EXPECT_TRUE(service.WaitUntilAnswering()) << service.Output();
    EXPECT_EQ(service.Stop().exitStatus, 0) << service.Output();
}

TEST_F(ShortageTest, ALogDaemonThatHangsHoldsUpNoDaemonAndWhatItMissedIsCounted) {
    std::unique_ptr<ServiceUnderTest> daemon;
    {
        HangingLog hanging(m_log);
        FillTheLog(hanging);
        ServiceUnderTest launched({{"-v"}, "sylvarin", {}});
        ASSERT_EQ(launched.WaitForEnd().exitStatus, 0) << launched.Output();
        daemon = std::make_unique<ServiceUnderTest>(WaitForDaemon());
        EXPECT_TRUE(daemon->WaitUntilAnswering());
    }
    EXPECT_TRUE(m_log.WaitFor("Warning: Logger: 3 lines were dropped while the system log took none"));
    EXPECT_EQ(m_log.Count("None: CDaemon: Do fork"), 0U);
    EXPECT_EQ(m_log.Count("None: CDaemon: Daemon started"), 1U);
    EXPECT_EQ(daemon->Stop().exitStatus, 0);
}

TEST_F(ShortageTest, WithASlowLogDaemonTheLinesBeforeTheForkComeFirstAll) {
    std::unique_ptr<ServiceUnderTest> daemon;
    std::unique_ptr<ServiceUnderTest> launched;
    {
        HangingLog hanging(m_log);
        FillTheLog(hanging);
        launched = std::make_unique<ServiceUnderTest>(ServiceStart{{"-v"}, "sylvarin", {}});
        daemon = std::make_unique<ServiceUnderTest>(WaitForDaemon());
    }
    ASSERT_EQ(launched->WaitForEnd().exitStatus, 0);
    ASSERT_TRUE(m_log.WaitFor("Info: Sylvarin started."));
    bool isDaemons = false;
    for (const SyslogLine& line : m_log.Lines()) {
        isDaemons = isDaemons || line.pid == daemon->Pid();
        EXPECT_FALSE(isDaemons && line.pid == launched->Pid()) << line.text;
    }
    EXPECT_TRUE(isDaemons);
    EXPECT_EQ(daemon->Stop().exitStatus, 0);
}

TEST_F(ShortageTest, AnIdleServiceSleeps) {
    ServiceUnderTest service;
    ASSERT_TRUE(service.WaitUntilAnswering()) << service.Output();
    ASSERT_TRUE(m_log.WaitFor("Info: Sylvarin started."));
    service.WaitUntilSteady();
    const std::size_t before = TimesAsleep(service.Pid());
    std::this_thread::sleep_for(std::chrono::seconds(3));
    // A look every 50 ms would be 60 times. Load makes them fewer, not more.
    EXPECT_LE(TimesAsleep(service.Pid()) - before, 12U);
    EXPECT_EQ(service.Stop().exitStatus, 0) << service.Output();
}
