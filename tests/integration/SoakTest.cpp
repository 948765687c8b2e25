// Everything at once, for as long as SOAK_SECONDS says, on a machine with a board, drives, pools and a runtime: mixed
// frames, all modules read, written, asleep and awake, accounts and settings changed, transfers, clients that die or
// say nothing, descriptors and memory short, devices that go, a log daemon that hangs, stops and kills of the service.
// scripts/soak runs it for long; the suite for a few seconds. At its end it tells what was done and what held.

#include <sys/prctl.h>
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
#include <iterator>
#include <map>
#include <mutex>
#include <random>
#include <set>
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

// What was done how often, and what was true then; any thread.
class Report {
public:
    void Count(const std::string& what, unsigned long times = 1) {
        const std::lock_guard lock(m_mutex);
        m_counts[what] += times;
    }

    // What this build cannot tell, and why.
    void LeaveOut(const std::string& what) {
        const std::lock_guard lock(m_mutex);
        m_leftOut.insert(what);
    }

    // Something that was promised; a failure of the test where it is not so.
    void Hold(const std::string& what, bool holds, const std::string& seen = "") {
        EXPECT_TRUE(holds) << what << "\n" << seen;
        const std::lock_guard lock(m_mutex);
        m_held.emplace_back(what, holds);
    }

    void Print() const {
        std::printf("What was done:\n");
        for (const auto& [what, times] : m_counts) {
            std::printf("%12lu  %s\n", times, what.c_str());
        }
        for (const std::string& what : m_leftOut) {
            std::printf("    left out  %s\n", what.c_str());
        }
        std::printf("What held at the end:\n");
        for (const auto& [what, holds] : m_held) {
            std::printf("%12s  %s\n", holds ? "yes" : "NO", what.c_str());
        }
        std::fflush(stdout);
    }

private:
    std::mutex m_mutex;
    std::map<std::string, unsigned long> m_counts;
    std::set<std::string> m_leftOut;
    std::vector<std::pair<std::string, bool>> m_held;
};

bool Shell(const std::string& script) {
    return std::system(("exec >/dev/null 2>&1; " + script).c_str()) == 0;
}

std::string Output(const std::string& script) {
    Shell("(" + script + ") >/tmp/soak-answer 2>&1");
    std::ifstream file("/tmp/soak-answer");
    return {std::istreambuf_iterator<char>(file), {}};
}

void SetScenario(const std::string& text) {
    std::ofstream("/run/machine/scenario.new") << text;
    fs::rename("/run/machine/scenario.new", "/run/machine/scenario");
}

std::string Board() {
    std::ifstream file(SYLVARIN_BOARD);
    return {std::istreambuf_iterator<char>(file), {}};
}

// What shows all that a module has.
constexpr std::array<const char*, 17> s_readers = {
    "modules", "sensors", "gpio", "ups",  "drives", "discs",        "runtime",    "routes",     "time",
    "zone",    "ntp",     "net",  "user", "group",  "zone list E*", "net --json", "read 0x1008"};

// Pairs of which the second takes back what the first has done. The zone stands last: a change of it makes the C
// library replace what it knows of the zone, under a lock that the thread sanitizer does not see.
constexpr std::array<std::array<const char*, 2>, 4> s_changes = {{
    {"gpio set 5 1", "gpio set 5 0"},
    {"ntp set 192.168.10.1", "ntp set off"},
    {"net set em1 --address 192.168.20.77 --mask 255.255.255.0 --dns 9.9.9.9", "net set em1 --dhcp --dns none"},
    {"zone set Europe/Berlin", "zone set UTC"},
}};

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
        // Daemons that the service starts are the machine's to reap: whoever stops them would wait for ever for dead
        // children of this test.
        prctl(PR_SET_CHILD_SUBREAPER, 0);
        // The C library frees what it knows of the zone under a lock that the thread sanitizer does not see.
        setenv("TSAN_OPTIONS", "ignore_noninstrumented_modules=1", 1);
        fs::create_directories("/usr/local/bin");
        for (const char* file : {"mdpmessage.xml", "mdpdrive.xml"}) {
            fs::copy_file(SYLVARIN_DATA + std::string("/") + file, std::string("/usr/local/bin/") + file,
                          fs::copy_options::overwrite_existing);
        }
        fs::copy_file(SYLVARIN_RUNTIME_LIBRARIES "/plain/libZmKorDll.so", "/usr/lib/libZmKorDll.so");
        SetScenario(Board());
        ASSERT_TRUE(Shell(SYLVARIN_ENTER_DRIVES));
        m_settings = Output("grep -vE '^(hostname|ifconfig_em1|defaultrouter|ntpd_)' /etc/rc.conf");
        StartService();
        const std::string modules = Output(SYLVARIN_MDP " modules");
        for (const char* module :
             {"em0", "em1", "Zelmora", "DiskManagement", "CPU0", "Software", "MassStorageMonitoring", "FSO", "UPS0",
              "OperatingSystem", "Memory", "User Management", "Time", "CPU fan", "Case fan", "MAINBOARD", "IO"}) {
            EXPECT_NE(modules.find(module), std::string::npos) << module << "\n" << modules;
        }
    }

    void StartService() {
        const char* path = std::getenv("PATH");
        m_service = std::make_unique<ServiceUnderTest>(
            ServiceStart{{"-nof"},
                         "sylvarin",
                         {"LD_PRELOAD=" SYLVARIN_SIMULATED_DEVICES,
                          "PATH=" SYLVARIN_POOLS ":" + std::string(path != nullptr ? path : "/usr/bin:/bin")}});
        ASSERT_TRUE(m_service->WaitUntilAnswering())
            << (m_service->IsRunning() ? "it still runs\n" : "it has ended\n") << m_service->Output()
            << Output("uptime; ps -ef | grep -v defunct");
    }

    // While one of these lives, something that the service needs is short or gone: it may refuse, but not more.
    class Trouble {
    public:
        explicit Trouble(SoakTest& test) : m_test(test) { ++m_test.m_troubles; }

        ~Trouble() { ++m_test.m_troubles; }

        Trouble(const Trouble&) = delete;
        Trouble& operator=(const Trouble&) = delete;

    private:
        SoakTest& m_test;
    };

    // Whether there has been no trouble since.
    bool IsCalmSince(unsigned troubles) const { return troubles % 2 == 0 && m_troubles == troubles; }

    // A command that must succeed where nothing lacks.
    void Mdp(const std::string& arguments, const std::string& output) { Mdp(arguments, output, m_troubles); }

    // The same where nothing has lacked since that trouble.
    void Mdp(const std::string& arguments, const std::string& output, unsigned troubles) {
        if (!Shell("timeout 100 " SYLVARIN_MDP " " + arguments + " >" + output + " 2>&1") && IsCalmSince(troubles)) {
            std::ifstream file(output);
            ADD_FAILURE() << arguments << "\n" << std::string{std::istreambuf_iterator<char>(file), {}};
        }
    }

    void ReadModules(Random& random) {
        Mdp(s_readers[random() % s_readers.size()], "/tmp/soak-read");
        m_report.Count("modules shown");
        if (random() % 10 == 0) {
            Mdp("tree", "/tmp/soak-read");
            m_report.Count("whole dictionaries shown");
        }
    }

    void ChangeModules(Random& random) {
        const bool isZoneLeft = std::string(SYLVARIN_SANITIZERS).find("thread") != std::string::npos;
        if (isZoneLeft) {
            m_report.LeaveOut("the zone changed: by a lock of the C library that the sanitizer does not see");
        }
        const auto& change = s_changes[random() % (s_changes.size() - (isZoneLeft ? 1 : 0))];
        Mdp(change[0], "/tmp/soak-change");
        Mdp(change[1], "/tmp/soak-change");
        m_report.Count("settings changed", 2);
    }

    void ChangeRoutes(Random& random) {
        const std::string name = "soak" + std::to_string(random() % 100);
        const unsigned troubles = m_troubles;
        Mdp("routes add " + name + " 192.168.10.9 5.8.15.99.1.1", "/tmp/soak-route", troubles);
        Mdp("routes del " + name, "/tmp/soak-route", troubles);
        m_report.Count("routes added and deleted");
    }

    void ChangeAccounts(Random& random) {
        const std::string user = "soak" + std::to_string(random() % 1000);
        const unsigned troubles = m_troubles;
        const std::string passwords = " --password-fd 3 3<<END\nfirst\nsecond\nEND\n";
        for (const std::string& step :
             {"user add " + user + " --password-fd 3 3<<END\nfirst\nEND\n", "user passwd " + user + passwords,
              "group add g" + user, "group join g" + user + " " + user, "group del g" + user, "user del " + user}) {
            // The text behind << ends with the line: the outputs go in front.
            if (!Shell("exec >/tmp/soak-account 2>&1; timeout 100 " SYLVARIN_MDP " " + step) && IsCalmSince(troubles)) {
                ADD_FAILURE() << step << Output("cat /tmp/soak-account");
            }
        }
        Shell("userdel " + user + "; groupdel g" + user + "; rm -rf /home/" + user);
        m_report.Count("accounts made, changed and deleted");
    }

    // Devices and runtime go and come back.
    void TakeDevices() {
        const Trouble trouble(*this);
        SetScenario("[hwapi]\npresent = no\n[runtime]\nrouter = down\n");
        std::this_thread::sleep_for(500ms);
        SetScenario(Board());
        // What has gone is looked for again within a tick of its module.
        std::this_thread::sleep_for(6s);
        m_report.Count("times the devices and the runtime were gone");
    }

    bool IsTimeLeft() const { return Clock::now() < m_end && !HasFailure(); }

    // Repeats the work on a thread until the time is over. While it runs the service is there, but may be short of
    // something; a client that is turned away in a stop is not at fault.
    void Repeat(std::function<void(Random&)> work) {
        const auto seed = static_cast<unsigned>(m_threads.size() + 1);
        m_threads.emplace_back([this, work = std::move(work), seed] {
            Random random(seed);
            while (IsTimeLeft()) {
                while (m_isAbsenceWanted) { // or it would never get its turn
                    std::this_thread::sleep_for(5ms);
                }
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
        static constexpr std::array<unsigned, 5> indexes = {0x1008, 0x1018, 0xF000, 0xF020, 0xF060};
        const unsigned index = random() % 4 == 0 ? indexes[random() % indexes.size()]
                                                 : 0x8000 + static_cast<unsigned>(random() % (24 * 16));
        const unsigned troubles = m_troubles;
        try {
            const Bytes answer =
                WireClient::Transact(ReadOf(index, static_cast<unsigned>(random() % 6), random() % 2 != 0 ? 1 : 0));
            ASSERT_TRUE(IsWholeReply(answer)) << ToHex(answer);
            ASSERT_TRUE(!answer.empty() || !IsCalmSince(troubles));
        } catch (const std::exception& error) {
            FAIL() << "read of " << std::hex << index << ": " << error.what();
        }
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
        const unsigned troubles = m_troubles;
        const Bytes answer = WireClient::Transact(WriteName("box-" + std::to_string(random() % 1000)));
        if (IsCalmSince(troubles)) {
            ASSERT_EQ(answer, "12 00 00 00  00 00  08 10  00  00  00 00 00 00 00 00 00 00  00 00 00 00"_hex);
        }
        m_report.Count("writes");
        std::this_thread::sleep_for(50ms);
    }

    // The file services have one slot each, so all transfers are this thread's. In trouble one may be refused, but what
    // is then under a final name is whole all the same, and what links point to stays as it is.
    void Transfer(Random& random) {
        const std::string size = std::to_string(1 + random() % 3000000);
        ASSERT_TRUE(
            Shell("rm -rf /tmp/t && mkdir -p /tmp/t && cd /tmp/t && head -c " + size +
                  " /dev/urandom >a && echo old >b && mkdir -p d/e kept && touch d/e/f kept/f && mkfifo pipe && "
                  "chmod 600 pipe && ln -s ../kept d/link && ln -s ../pipe d/pipe"));
        Transfer("put a /tmp/t/b", "cmp a b && [ -z \"$(ls -d .*mdp*)\" ]", "cmp a b || [ \"$(cat b)\" = old ]");
        Transfer("get /tmp/t/a c", "cmp a c", "! [ -e c ]");
        // Of /tmp/t/pipe, which nobody writes to: no bytes, and its end. mdp get itself fetches files only.
        Transfer("call 0xB071 --hex 0B00000000000000640000002F746D702F742F70697065",
                 "grep -qx 0x000000000000000001000000 answer", ":");
        Transfer("rm -r /tmp/t/d", "! [ -e d ]", ":");
        ASSERT_TRUE(Shell("cd /tmp/t && [ -e kept/f ] && [ \"$(stat -c %a pipe)\" = 600 ]"));
    }

    // One transfer of those, what holds behind it, and what does where it was refused.
    void Transfer(const std::string& arguments, const std::string& done, const std::string& refused) {
        const unsigned troubles = m_troubles;
        const bool isDone = Shell("cd /tmp/t && timeout 100 " SYLVARIN_MDP " " + arguments + " >answer 2>&1");
        if (!isDone && IsCalmSince(troubles)) {
            ADD_FAILURE() << arguments << "\n" << Output("cat /tmp/t/answer");
        }
        EXPECT_TRUE(Shell("cd /tmp/t && " + (isDone ? done : refused)))
            << arguments << (isDone ? " is done" : " is refused") << "\n"
            << Output("cd /tmp/t; cat answer; ls -laR");
        m_report.Count(isDone ? "files sent and fetched, trees deleted, pipes read"
                              : "of these refused in trouble, with nothing spoiled");
    }

    void KillClients(Random& random) {
        static constexpr std::array<const char*, 6> commands = {"tree",    "modules", "drives",
                                                                "sensors", "user",    "ls /etc"};
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
            m_report.LeaveOut(
                "descriptors short: the sanitizer needs them itself, and calls what it cannot look at broken");
            return;
        }
        const Trouble trouble(*this);
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

    // Address space for the stacks of some threads more, and little else.
    void TakeMemory(Random& random) {
        if (*SYLVARIN_SANITIZERS != '\0') {
            m_report.LeaveOut("memory short: the sanitizers need more address space than there is");
            return;
        }
        const Trouble trouble(*this);
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

    // While it lives nobody asks for anything; clients that were killed may still be on their way out.
    class Absence {
    public:
        explicit Absence(SoakTest& test) : m_test(test) {
            m_test.m_isAbsenceWanted = true;
            m_test.m_present.lock();
        }

        ~Absence() {
            m_test.m_present.unlock();
            m_test.m_isAbsenceWanted = false;
        }

        Absence(const Absence&) = delete;
        Absence& operator=(const Absence&) = delete;

    private:
        SoakTest& m_test;
    };

    void StopAndStart(bool kills) {
        const Absence absence(*this);
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

    void CheckWhatHeld() {
        m_report.Hold("the service answered right",
                      WireClient::Transact(ReadDeviceType) == DeviceTypeAnswer && Shell(SYLVARIN_MDP " tree"));
        const auto eventually = [](const auto& holds) {
            const auto end = Clock::now() + 60s;
            bool hasHeld = holds();
            while (!hasHeld && Clock::now() < end) {
                std::this_thread::sleep_for(100ms);
                hasHeld = holds();
            }
            return hasHeld;
        };
        const auto usage = [this] {
            return std::to_string(m_service->CurrentUsage().threads) + " threads, " +
                   std::to_string(m_service->CurrentUsage().descriptors) + " descriptors";
        };
        m_report.Hold("threads and descriptors of clients went with them", m_service->WaitForUsage({40, 48}), usage());
        m_report.Hold("no program that the service started was left",
                      eventually([&] { return !Shell("pgrep -P " + std::to_string(m_service->Pid())); }),
                      Output("ps -ef"));
        const std::string edits = Output("ls -d /etc/.*.new* /etc/*.lock 2>/dev/null | grep -v pwd.lock");
        m_report.Hold("no file of an edit was left", edits.empty(), edits);
        m_report.Hold("rc.conf has every line that nobody changed",
                      Output("grep -vE '^(hostname|ifconfig_em1|defaultrouter|ntpd_)' /etc/rc.conf") == m_settings,
                      Output("cat /etc/rc.conf"));
        m_report.Hold("the account database is sound", Shell("pwck -rq && grpck -r"), Output("pwck -r; grpck -r"));
        m_report.Hold("the service stopped in good order", m_service->Stop().exitStatus == 0, m_service->Output());
        m_report.Hold("no sanitizer found anything", ServiceUnderTest::SanitizerReports().empty());
    }

    std::unique_ptr<ServiceUnderTest> m_service;
    Report m_report;
    std::atomic<unsigned> m_troubles{0}; // odd while there is one
    std::string m_settings;              // lines of rc.conf that nobody changes
    std::shared_mutex m_present;         // held by those who need the service to stay
    std::atomic<bool> m_isAbsenceWanted{false};
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
    for (int i = 0; i < 2; ++i) {
        Repeat([this](Random& random) { ReadModules(random); });
    }
    Repeat([this](Random& random) { ChangeModules(random); });
    Repeat([this](Random& random) { ChangeRoutes(random); });
    Repeat([this](Random& random) { ChangeAccounts(random); });
    auto nextSleep = Clock::now() + 30s;
    for (unsigned round = 0; IsTimeLeft(); ++round) {
        Random random(round);
        TakeDescriptors();
        HangTheLog();
        TakeMemory(random);
        if (round % 3 == 2) {
            TakeDevices();
        }
        StopAndStart(round % 4 == 3);
        // Long enough for the modules to sleep, now and then.
        if (m_end - Clock::now() > 45s && Clock::now() > nextSleep) {
            const Absence absence(*this);
            std::this_thread::sleep_for(45s);
            m_report.Count("times all modules slept");
            nextSleep = Clock::now() + 180s;
        }
        if (m_service->WaitForEnd(100ms).ended) {
            ADD_FAILURE() << "the service has ended\n" << m_service->Output();
        }
    }
    for (std::thread& thread : m_threads) {
        thread.join();
    }

    CheckWhatHeld();
    m_report.Print();
}
