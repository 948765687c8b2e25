// Everything at once, for as long as SOAK_SECONDS says: mixed frames, writes, modules asleep and awake, transfers,
// clients that die or say nothing, descriptors and threads short, a log daemon that hangs, stops and kills of the
// service. scripts/soak runs it for long; the suite for a few seconds. At its end it tells what was done.

#include <sys/resource.h>

#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <mutex>
#include <random>
#include <shared_mutex>
#include <system_error>
#include <thread>

#include "BrokenFrames.h"
#include "DeviceType.h"
#include "HangingLog.h"
#include "ServiceTest.h"

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

std::chrono::seconds SoakTime() {
    const char* seconds = std::getenv("SOAK_SECONDS");
    return std::chrono::seconds(seconds != nullptr ? std::atoi(seconds) : 8);
}

// What was done how often; any thread.
class Report {
public:
    void Count(const std::string& what, unsigned long times = 1) {
        const std::lock_guard lock(m_mutex);
        m_counts[what] += times;
    }

    void Print() const {
        std::printf("What was done:\n");
        for (const auto& [what, times] : m_counts) {
            std::printf("%12lu  %s\n", times, what.c_str());
        }
        std::fflush(stdout);
    }

private:
    std::mutex m_mutex;
    std::map<std::string, unsigned long> m_counts;
};

bool Shell(const std::string& script) {
    return std::system(("exec >/dev/null 2>&1; " + script).c_str()) == 0;
}

Bytes ReadOf(unsigned index, unsigned subIndex, unsigned flags) {
    constexpr std::size_t room = 4096;
    return Join({Little(24 + 18 + room, 8), Little(24, 8), Little(24, 8), Little(0, 2), Little(index, 2),
                 Little(flags, 1), Little(subIndex, 1), Little(0, 8), Little(room, 4), Bytes(room)});
}

Bytes WriteName(const std::string& name) {
    const std::size_t size = 24 + 18 + name.size();
    return Join({Little(size, 8), Little(24, 8), Little(size, 8), "00 00  08 10  00  00  00 00 00 00 00 00 00 00"_hex,
                 Little(name.size(), 4), Bytes(name.begin(), name.end())});
}

class SoakTest : public LogTest {
protected:
    using Random = std::mt19937_64;

    void SetUp() override {
        fs::create_directories("/usr/local/bin");
        fs::copy_file(SYLVARIN_MESSAGES, "/usr/local/bin/mdpmessage.xml", fs::copy_options::overwrite_existing);
        StartService();
    }

    void StartService() {
        m_service = std::make_unique<ServiceUnderTest>();
        ASSERT_TRUE(m_service->WaitUntilAnswering()) << m_service->Output();
    }

    bool IsTimeLeft() const { return Clock::now() < m_end && !HasFailure(); }

    // Repeats the work on a thread until the time is over. While it runs the service is there, but may be short of
    // something; a client that is turned away in a stop is not at fault.
    void Repeat(std::function<void(Random&)> work) {
        const auto seed = static_cast<unsigned>(m_threads.size() + 1);
        m_threads.emplace_back([this, work = std::move(work), seed] {
            Random random(seed);
            while (IsTimeLeft()) {
                const std::shared_lock present(m_present);
                try {
                    work(random);
                } catch (const std::exception& error) {
                    ADD_FAILURE() << error.what();
                }
            }
        });
    }

    void ReadAndDescribe(Random& random) {
        ASSERT_EQ(WireClient::Transact(ReadDeviceType), DeviceTypeAnswer);
        static constexpr std::array<unsigned, 10> indexes = {0x1008, 0x1018, 0xF000, 0xF020, 0xF060,
                                                             0x8001, 0x8011, 0x8021, 0x8051, 0x8061};
        const Bytes answer = WireClient::Transact(
            ReadOf(indexes[random() % indexes.size()], static_cast<unsigned>(random() % 6), random() % 2 != 0 ? 1 : 0));
        ASSERT_TRUE(IsWholeReply(answer)) << ToHex(answer);
        ASSERT_FALSE(answer.empty());
        m_report.Count("reads", 2);
    }

    void SendBrokenFrames(Random& random, const std::vector<Bytes>& seeds) {
        FrameMutator mutator(seeds, static_cast<unsigned>(random()));
        for (int i = 0; i < 50; ++i) {
            const Bytes frame = mutator.Next();
            const Bytes reply = SendBroken(frame, mutator.OneIn(2) || !IsWholeFrame(frame), mutator.OneIn(10));
            ASSERT_TRUE(IsWholeReply(reply)) << ToHex(frame);
        }
        m_report.Count("broken frames", 50);
    }

    void WriteNames(Random& random) {
        const Bytes answer = WireClient::Transact(WriteName("box-" + std::to_string(random() % 1000)));
        ASSERT_EQ(answer, "12 00 00 00  00 00  08 10  00  00  00 00 00 00 00 00 00 00  00 00 00 00"_hex);
        m_report.Count("writes");
        std::this_thread::sleep_for(50ms);
    }

    // The file services have one slot each, so all transfers are this thread's.
    void Transfer(Random& random) {
        const std::string size = std::to_string(1 + random() % 3000000);
        ASSERT_TRUE(Shell("mkdir -p /tmp/t && cd /tmp/t && head -c " + size +
                          " /dev/urandom >a && " SYLVARIN_MDP " put a /tmp/t/b && " SYLVARIN_MDP
                          " get /tmp/t/b c && cmp a c"));
        m_report.Count("files sent, fetched and compared");
        ASSERT_TRUE(Shell("cd /tmp/t && mkdir -p d/e kept && touch d/e/f kept/f && mkfifo pipe && chmod 600 pipe && "
                          "ln -s ../kept d/link && ln -s ../pipe d/pipe && " SYLVARIN_MDP " rm -r /tmp/t/d && "
                          "[ ! -e d ] && [ -e kept/f ] && [ \"$(stat -c %a pipe)\" = 600 ] && "
                          "[ -z \"$(" SYLVARIN_MDP " get --any-length /tmp/t/pipe -)\" ] && rm -r /tmp/t"));
        m_report.Count("trees with links deleted");
    }

    void KillClients(Random& random) {
        static constexpr std::array<const char*, 2> commands = {"tree", "modules"};
        Shell(std::string("timeout -s KILL 0.0") + std::to_string(1 + random() % 9) + " " SYLVARIN_MDP " " +
              commands[random() % commands.size()]);
        m_report.Count("clients killed or done");
    }

    void SaySilent(Random& random) {
        std::vector<std::unique_ptr<WireClient>> silent;
        for (std::size_t i = 0; i < 1 + random() % 40; ++i) {
            silent.push_back(std::make_unique<WireClient>());
            silent.back()->TrySend(Bytes(random() % 24));
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(random() % 500));
        m_report.Count("silent clients", silent.size());
    }

    void TakeDescriptors() {
        if (std::string(SYLVARIN_SANITIZERS).find("undefined") != std::string::npos) {
            return; // it needs descriptors itself, and calls what it cannot look at broken
        }
        rlimit before{};
        ASSERT_EQ(prlimit(m_service->Pid(), RLIMIT_NOFILE, nullptr, &before), 0);
        rlimit few = before;
        few.rlim_cur = m_service->CurrentUsage().descriptors + 2;
        ASSERT_EQ(prlimit(m_service->Pid(), RLIMIT_NOFILE, &few, nullptr), 0);
        std::vector<std::unique_ptr<WireClient>> silent;
        for (int i = 0; i < 8; ++i) {
            silent.push_back(std::make_unique<WireClient>());
        }
        std::this_thread::sleep_for(200ms);
        silent.clear();
        ASSERT_EQ(prlimit(m_service->Pid(), RLIMIT_NOFILE, &before, nullptr), 0);
        ASSERT_EQ(WireClient::Transact(ReadDeviceType), DeviceTypeAnswer);
        m_report.Count("times out of descriptors");
    }

    // Address space for the stacks of some threads more, and little else. The sanitizers need more than there is.
    void TakeMemory(Random& random) {
        if (*SYLVARIN_SANITIZERS != '\0') {
            return;
        }
        rlimit before{};
        ASSERT_EQ(prlimit(m_service->Pid(), RLIMIT_AS, nullptr, &before), 0);
        std::ifstream statm("/proc/" + std::to_string(m_service->Pid()) + "/statm");
        rlim_t pages = 0;
        statm >> pages;
        rlimit few = before;
        few.rlim_cur = pages * 4096 + random() % (64U << 20);
        ASSERT_EQ(prlimit(m_service->Pid(), RLIMIT_AS, &few, nullptr), 0);
        const auto end = Clock::now() + 300ms;
        while (Clock::now() < end) {
            // Refused or answered.
            ASSERT_TRUE(IsWholeReply(WireClient::Transact(ReadOf(0xF060, 0, 1))));
            Shell("timeout 5 " SYLVARIN_MDP " ls /tmp");
        }
        ASSERT_EQ(prlimit(m_service->Pid(), RLIMIT_AS, &before, nullptr), 0);
        ASSERT_EQ(WireClient::Transact(ReadDeviceType), DeviceTypeAnswer);
        m_report.Count("times out of memory");
    }

    void HangTheLog() {
        const HangingLog hanging(m_log);
        for (int i = 0; i < 700; ++i) {
            ASSERT_EQ(
                WireClient::Transact("2E 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"
                                     "05 00  00 10  00  00  00 00 00 00 00 00 00 00  04 00 00 00  00 00 00 00"_hex),
                Bytes{});
        }
        m_report.Count("times the log daemon hung");
    }

    // With nobody asking for anything; clients that were killed may still be on their way out.
    void StopAndStart(bool kills) {
        const std::unique_lock absent(m_present);
        if (kills) {
            m_service->Signal(SIGKILL);
            ASSERT_EQ(m_service->WaitForEnd().signal, SIGKILL);
            m_report.Count("kills and starts of the service");
        } else {
            // Somebody in the middle of a frame does not hold it up.
            WireClient client;
            client.Send("2E 00 00 00"_hex);
            ASSERT_EQ(m_service->Stop().exitStatus, 0) << m_service->Output();
            m_report.Count("stops and starts of the service");
        }
        StartService();
    }

    std::unique_ptr<ServiceUnderTest> m_service;
    Report m_report;
    std::shared_mutex m_present; // held by those who need the service to stay
    Clock::time_point m_end = Clock::now() + SoakTime();
    std::vector<std::thread> m_threads;
};

} // namespace

TEST_F(SoakTest, AllAtOnceTheServiceAnswersRightAndGoesOn) {
    const std::vector<Bytes> seeds = SeedFrames();
    for (int i = 0; i < 3; ++i) {
        Repeat([this](Random& random) { ReadAndDescribe(random); });
    }
    Repeat([&](Random& random) { SendBrokenFrames(random, seeds); });
    Repeat([this](Random& random) { WriteNames(random); });
    Repeat([this](Random& random) { Transfer(random); });
    Repeat([this](Random& random) { KillClients(random); });
    Repeat([this](Random& random) { SaySilent(random); });
    for (unsigned round = 0; IsTimeLeft(); ++round) {
        Random random(round);
        TakeDescriptors();
        HangTheLog();
        TakeMemory(random);
        StopAndStart(round % 4 == 3);
        // Long enough for the modules to sleep, now and then.
        if (round % 50 == 49) {
            const std::unique_lock absent(m_present);
            std::this_thread::sleep_for(std::min<Clock::duration>(45s, m_end - Clock::now()));
            m_report.Count("times all modules slept");
        }
        if (m_service->WaitForEnd(100ms).ended) {
            ADD_FAILURE() << "the service has ended\n" << m_service->Output();
        }
    }
    for (std::thread& thread : m_threads) {
        thread.join();
    }

    EXPECT_EQ(WireClient::Transact(ReadDeviceType), DeviceTypeAnswer);
    EXPECT_TRUE(m_service->WaitForUsage({12, 24}))
        << m_service->CurrentUsage().threads << " threads, " << m_service->CurrentUsage().descriptors << " descriptors";
    EXPECT_EQ(m_service->Stop().exitStatus, 0) << m_service->Output();
    m_report.Print();
}
