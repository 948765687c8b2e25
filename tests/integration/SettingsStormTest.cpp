// Four adapters, the host name and an administrator's sysrc written at once, with the real programs, while sysrc and
// the service itself are killed in between: no line of anybody is lost, and what was answered with success is in the
// file. SYLVARIN_STORM_SECONDS makes it longer; scripts/settings-storm does.

#include <sys/prctl.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <random>
#include <sstream>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "ServiceTest.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* RcConf = "/etc/rc.conf";
constexpr const char* Sysrc = SYLVARIN_ADAPTERS "/usr/sbin/sysrc";

constexpr std::uint16_t HostName = 0x1008;
constexpr std::uint16_t AdapterRecords[] = {0x8001, 0x8011, 0x8021, 0x8031};

constexpr std::uint8_t Address = 2;
constexpr std::uint8_t Dhcp = 4;

std::string ReadRcConf() {
    std::ifstream file(RcConf);
    return {std::istreambuf_iterator<char>(file), {}};
}

bool Holds(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

std::string ForeignLines() {
    std::string lines;
    for (int i = 0; i < 200; ++i) {
        lines += "foreign" + std::to_string(i) + "=\"" + std::string(40, static_cast<char>('a' + i % 26)) + "\"\n";
    }
    return lines;
}

// The code of the answer. A service that was killed meanwhile gives no answer: 0xFFFFFFFF, and a moment to come back.
std::uint32_t Write(std::uint16_t index, std::uint8_t subIndex, const std::string& value) {
    const std::size_t end = 24 + 18 + value.size();
    try {
        const Bytes answer = WireClient::Transact(
            Join({Little(end, 8), Little(24, 8), Little(end, 8), "00 00"_hex, Little(index, 2), Bytes{0, subIndex},
                  "00 00 00 00 00 00 00 00"_hex, Little(value.size(), 4), Bytes(value.begin(), value.end())}));
        if (answer.size() == 22) {
            return static_cast<std::uint32_t>(answer[10] | answer[11] << 8 | answer[12] << 16) |
                   static_cast<std::uint32_t>(answer[13]) << 24;
        }
    } catch (const std::system_error&) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return 0xFFFFFFFF;
}

// A value that is already there is not written again; what the service takes for there is what it read last.
void Read(std::uint16_t index, std::uint8_t subIndex) {
    try {
        WireClient::Transact(Join({Little(24 + 18 + 64, 8), Little(24, 8), Little(24, 8), "00 00"_hex, Little(index, 2),
                                   Bytes{0, subIndex}, "00 00 00 00 00 00 00 00"_hex, Little(64, 4), Bytes(64)}));
    } catch (const std::system_error&) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

class SettingsStormTest : public ServiceTest, public testing::WithParamInterface<bool> {
protected:
    // How the file must be after a success of one writer, until that writer tries again.
    using Promise = std::function<bool(const std::string& file)>;

    void SetUp() override {
        // Daemons that the service starts are the machine's to reap.
        prctl(PR_SET_CHILD_SUBREAPER, 0);
        std::ofstream(RcConf) << "hostname=\"IPC-4711\"\n"
                              << (IsDhcpcd() ? "dhcpcd_enable=\"YES\"\ndhcpcd_flags=\"--noarp -Z em0\"\n"
                                             : "ifconfig_DEFAULT=\"up\"\n")
                              << ForeignLines() << "# the end\n";
        ASSERT_EQ(std::system("for n in 2 3; do ip link add em$n type veth peer name em$n-peer netns em1-peer; done"),
                  0);
        ServiceTest::SetUp();
    }

    static bool IsDhcpcd() { return GetParam(); }

    void Check(const Promise& promise, const char* when) {
        const std::string file = ReadRcConf();
        if (!promise(file)) {
            ++m_lost;
            ADD_FAILURE() << when << ": a write that was answered with success is not in the file:\n" << file;
        }
    }

    // Tries until the end. An attempt gives a promise, or none where it did not succeed.
    void Writer(const std::function<Promise(int)>& attempt) {
        Promise last;
        for (int round = 0; !m_end; ++round) {
            last = attempt(round);
            if (last) {
                ++m_successes;
                Check(last, "at once");
            }
        }
        if (last) {
            Check(last, "in the end");
        }
    }

    Promise WriteAdapter(int adapter, int round) const {
        const std::string name = "ifconfig_em" + std::to_string(adapter) + "=\"";
        const std::string device = "em" + std::to_string(adapter);
        const std::uint16_t record = AdapterRecords[adapter];
        if (IsDhcpcd() && round % 4 == 3) {
            Read(record, Dhcp);
            if (Write(record, Dhcp, "\1") != 0) {
                return nullptr;
            }
            // The line of a static address stays where the adapter was on DHCP already, as after a kill between an
            // address and its place in the list.
            return [=](const std::string& file) { return !Denies(file, device); };
        }
        const std::string address = "10." + std::to_string(adapter) + "." + std::to_string(round / 200 % 200) + "." +
                                    std::to_string(1 + round % 200);
        if (Write(record, Address, address) != 0) {
            return nullptr;
        }
        return [=](const std::string& file) {
            return Holds(file, name + "inet " + address + " netmask ") && (!IsDhcpcd() || Denies(file, device));
        };
    }

    static bool Denies(const std::string& file, const std::string& device) {
        const std::size_t at = file.find("\ndhcpcd_flags=\"");
        const std::string flags = file.substr(at + 1, file.find('\n', at + 1) - at);
        return Holds(flags, device);
    }

    static Promise WriteHostName(int round) {
        const std::string name = "box-" + std::to_string(round);
        if (Write(HostName, 0, name) != 0) {
            return nullptr;
        }
        return [=](const std::string& file) { return Holds(file, "hostname=\"" + name + "\"\n"); };
    }

    // Every third of the administrator's dies early.
    static Promise RunSysrc(int round) {
        const std::string setting = "admin=" + std::to_string(round);
        const std::string killed = round % 3 == 0 ? "timeout -s KILL 0.0" + std::to_string(1 + round % 9) + " " : "";
        if (std::system((killed + Sysrc + " " + setting + " >/dev/null 2>&1").c_str()) != 0) {
            return nullptr;
        }
        return [=](const std::string& file) { return Holds(file, "admin=\"" + std::to_string(round) + "\"\n"); };
    }

    void WatchForeignLines() {
        const std::string lines = ForeignLines();
        while (!m_end) {
            const std::string file = ReadRcConf();
            if (!Holds(file, lines) || !Holds(file, "\n# the end\n")) {
                ++m_lost;
                ADD_FAILURE() << "A foreign line is lost:\n" << file;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    // What kills: a program that edits the file, whoever started it, and now and then the service.
    void Rage(Clock::time_point end) {
        std::minstd_rand random(4711);
        for (int round = 1; Clock::now() < end && m_lost == 0; ++round) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50 + random() % 200));
            const char* signal = round % 2 == 0 ? "KILL" : "TERM";
            [[maybe_unused]] const int status =
                std::system((std::string("pkill -n -") + signal + " -f '[u]sr/sbin/sysrc'").c_str());
            if (round % 10 == 0) {
                m_service->Signal(SIGKILL);
                m_service->WaitForEnd();
                ++m_kills;
                m_service = std::make_unique<ServiceUnderTest>(Start());
                ASSERT_TRUE(m_service->WaitUntilAnswering()) << m_service->Output();
            }
        }
    }

    static std::chrono::seconds Duration() {
        const char* seconds = std::getenv("SYLVARIN_STORM_SECONDS");
        return std::chrono::seconds(seconds != nullptr ? std::atoi(seconds) : 4);
    }

    std::atomic<bool> m_end{false};
    std::atomic<int> m_successes{0};
    std::atomic<int> m_lost{0};
    int m_kills = 0;
};

} // namespace

TEST_P(SettingsStormTest, LosesNothing) {
    std::vector<std::thread> threads;
    for (int adapter = 0; adapter < 4; ++adapter) {
        threads.emplace_back([=, this] { Writer([=, this](int round) { return WriteAdapter(adapter, round); }); });
    }
    threads.emplace_back([this] { Writer(WriteHostName); });
    threads.emplace_back([this] { Writer(RunSysrc); });
    threads.emplace_back([this] { WatchForeignLines(); });
    Rage(Clock::now() + Duration());
    m_end = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_GT(m_successes, 0);
    EXPECT_EQ(m_lost, 0);
    // One that was killed may have left its new file beside; the next one takes that away.
    EXPECT_EQ(std::system((std::string(Sysrc) + " last=1 >/dev/null").c_str()), 0);
    EXPECT_EQ(std::system("ls -A /etc | grep '^[.]rc.conf'"), 256);
    std::printf("%d writes answered with success, %d lost, the service killed %d times\n", m_successes.load(),
                m_lost.load(), m_kills);
}

INSTANTIATE_TEST_SUITE_P(SetUps, SettingsStormTest, testing::Values(false, true),
                         [](const auto& set) { return set.param ? "Dhcpcd" : "Default"; });
