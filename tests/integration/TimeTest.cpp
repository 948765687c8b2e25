// The clock, the zone and the time servers over the socket, for real: what is written is what the machine's own tools
// tell.

#include <sys/prctl.h>

#include <chrono>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <stdexcept>
#include <thread>

#include "ServiceTest.h"

namespace {

using namespace std::chrono_literals;

constexpr const char* RcConf = "/etc/rc.conf";
constexpr const char* NtpConf = "/etc/ntp.conf";
constexpr const char* Note = "/var/db/zoneinfo";

// Where the daemon of ntpsec was unpacked for tests: it is not to run on the host.
constexpr const char* Ntpsec = "/var/cache/sylvarin-machine/ntpsec";

constexpr std::uint8_t Server = 1;
constexpr std::uint8_t Refresh = 2;
constexpr std::uint8_t Seconds = 3;
constexpr std::uint8_t TimeText = 4;
constexpr std::uint8_t Zone = 5;
constexpr std::uint8_t LocalSeconds = 7;

const std::string s_ntpConf = "pool 0.pool.example.org iburst minpoll 6 maxpoll 7\n"
                              "restrict default limited kod nomodify notrap noquery nopeer\n";

void WriteText(const std::string& path, const std::string& text) {
    std::ofstream(path) << text;
}

std::string ReadText(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string Shell(const std::string& command) {
    std::FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) {
        throw std::runtime_error("no shell");
    }
    std::string output;
    for (int character = std::fgetc(pipe); character != EOF; character = std::fgetc(pipe)) {
        output.push_back(static_cast<char>(character));
    }
    pclose(pipe);
    return output;
}

bool Eventually(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + 30s;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(50ms);
    }
    return true;
}

Bytes Text(const std::string& text) {
    return {text.begin(), text.end()};
}

class TimeTest : public ServiceTest {
protected:
    void SetUp() override {
        // Daemons that the service starts are to be reaped by the machine: as dead children of this test, which does
        // not wait for them, they would seem to whoever stops them to live on.
        prctl(PR_SET_CHILD_SUBREAPER, 0);
        WriteText(RcConf, "hostname=\"IPC-4711\"\nntpd_enable=\"NO\"\n");
        WriteText(NtpConf, s_ntpConf);
        InstallDaemon();
        ServiceTest::SetUp();
        // The header's slot is found by the module's type in the list of types.
        const Bytes types = ReadFrom(0xF030, 0, 1);
        for (std::size_t module = 1; module * 2 + 1 < types.size(); ++module) {
            if (types[module * 2] == 3 && types[module * 2 + 1] == 0) {
                m_settings = static_cast<std::uint16_t>(0x8001 + 0x10 * (module - 1));
            }
        }
        ASSERT_NE(m_settings, 0);
    }

    virtual void InstallDaemon() {}

    // What a read answers behind its record's head; the code goes to m_code.
    Bytes ReadFrom(std::uint16_t index, std::uint8_t subIndex, std::uint8_t flags = 0) {
        constexpr std::size_t Room = 8192;
        const Bytes answer = WireClient::Transact(Join({Little(24 + 18 + Room, 8),
                                                        "18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  00 00"_hex,
                                                        Little(index, 2),
                                                        {flags, subIndex},
                                                        Bytes(8),
                                                        Little(Room, 4),
                                                        Bytes(Room)}));
        if (answer.size() < 22) {
            ADD_FAILURE() << "no answer";
            return {};
        }
        m_code = static_cast<std::uint32_t>(answer[10] | answer[11] << 8 | answer[12] << 16) |
                 static_cast<std::uint32_t>(answer[13]) << 24;
        return {answer.begin() + 22, answer.end()};
    }

    Bytes Read(std::uint8_t subIndex) { return ReadFrom(m_settings, subIndex); }

    std::string ReadAsText(std::uint8_t subIndex) {
        const Bytes value = Read(subIndex);
        return {value.begin(), value.end()};
    }

    std::time_t ReadNumber(std::uint8_t subIndex) {
        std::time_t number = 0;
        const Bytes value = Read(subIndex);
        for (std::size_t at = value.size(); at > 0; --at) {
            number = number << 8 | value[at - 1];
        }
        return number;
    }

    std::uint32_t Write(std::uint8_t subIndex, const Bytes& value) {
        const std::size_t end = 24 + 18 + value.size();
        const Bytes answer = WireClient::Transact(Join({Little(end, 8),
                                                        "18 00 00 00 00 00 00 00"_hex,
                                                        Little(end, 8),
                                                        "00 00"_hex,
                                                        Little(m_settings, 2),
                                                        {0, subIndex},
                                                        Bytes(8),
                                                        Little(value.size(), 4),
                                                        value}));
        if (answer.size() != 22) {
            ADD_FAILURE() << "no answer";
            return 0xFFFFFFFF;
        }
        return static_cast<std::uint32_t>(answer[10] | answer[11] << 8 | answer[12] << 16) |
               static_cast<std::uint32_t>(answer[13]) << 24;
    }

    // The index of a zone in the two arrays.
    std::size_t IndexOf(const std::string& name) {
        std::size_t index = 0;
        for (const int array : {1, 2}) {
            const auto object = static_cast<std::uint16_t>(m_settings + array);
            const std::size_t count = ReadFrom(object, 0).at(0);
            for (std::size_t zone = 1; zone <= count; ++zone, ++index) {
                const Bytes value = ReadFrom(object, static_cast<std::uint8_t>(zone));
                if (std::string(value.begin(), value.end()) == name) {
                    return index;
                }
            }
        }
        ADD_FAILURE() << "no zone " << name;
        return 65535;
    }

    std::uint16_t m_settings = 0;
    std::uint32_t m_code = 0;
};

// With a start script of ntpsec whose daemon does nothing.
class TimeDaemonTest : public TimeTest {
protected:
    void InstallDaemon() override {
        std::filesystem::copy_file("/bin/sleep", "/usr/sbin/ntpd", std::filesystem::copy_options::overwrite_existing);
        WriteText("/etc/init.d/ntpsec",
                  "#!/bin/sh\n"
                  "case $1 in\n"
                  "start) start-stop-daemon --start --background --exec /usr/sbin/ntpd -- 1000 ;;\n"
                  "stop) start-stop-daemon --stop --exec /usr/sbin/ntpd ;;\n"
                  "esac\n");
        Shell("chmod +x /etc/init.d/ntpsec");
    }

    static std::string Daemon() { return Shell("pgrep -x ntpd"); }
};

// With the real daemon. It may not adjust the clock of this machine, so it keeps the rights that it has.
class TimeNtpsecTest : public TimeTest {
protected:
    void SetUp() override {
        if (!std::filesystem::exists(Ntpsec)) {
            GTEST_SKIP() << "no ntpsec in " << Ntpsec << ": scripts/install-deps unpacks it there";
        }
        TimeTest::SetUp();
    }

    void InstallDaemon() override {
        Shell(std::string("cp -a ") + Ntpsec + "/etc " + Ntpsec + "/usr /");
        Shell("sed -i 's/-u ntpsec:ntpsec//' /etc/init.d/ntpsec");
        WriteText("/etc/default/ntpsec", "NTPD_OPTS='-g -N -l /tmp/ntpd.log'\n");
    }

    // Whether the daemon that runs now asked for this server.
    static bool DaemonAsksFor(const std::string& server) {
        return Eventually([&] {
            return !Shell("pid=$(pgrep -x ntpd) && grep \"ntpd.$pid.*dns_probe: " + server + ",\" /tmp/ntpd.log")
                        .empty();
        });
    }
};

} // namespace

TEST_F(TimeTest, TheClockIsToldInItsThreeForms) {
    const std::time_t before = std::time(nullptr);
    const std::time_t utc = ReadNumber(Seconds);
    const std::time_t local = ReadNumber(LocalSeconds);
    const std::string text = ReadAsText(TimeText);
    const std::time_t after = std::time(nullptr);
    EXPECT_LE(before, utc);
    EXPECT_LE(utc, local); // the machine is in UTC
    EXPECT_LE(local, after);
    tm fields = {};
    const char* rest = strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S", &fields);
    ASSERT_NE(rest, nullptr) << text;
    EXPECT_THAT(rest, testing::MatchesRegex("\\.[0-9]{1,3}\\+00:00"));
    EXPECT_LE(local, timegm(&fields));
    EXPECT_LE(timegm(&fields), after);
}

TEST_F(TimeTest, ClockThatIsNotTheMachinesOwnRefusesToBeSet) {
    EXPECT_EQ(Write(Seconds, "95 F6 02 6B"_hex), 0xECA70001);
    EXPECT_EQ(Write(TimeText, Text("2026-11-22T14:05:09.0+00:00")), 0xECA70001);
    EXPECT_EQ(Write(TimeText, Text("2107-01-01T00:00:00.0+00:00")), 0xECA60107);
    EXPECT_EQ(Write(Seconds, "95 F6 02 6B 00"_hex), 0xECA60102);
}

TEST_F(TimeTest, TheMachinesZoneIsOneOfTheList) {
    EXPECT_EQ(ReadNumber(Zone), static_cast<std::time_t>(IndexOf("UTC")));
    EXPECT_GT(ReadFrom(static_cast<std::uint16_t>(m_settings + 1), 0).at(0), 250);
}

TEST_F(TimeTest, ZoneWrittenIsTheMachinesAndTheServicesAtOnce) {
    for (const char* name : {"Asia/Kathmandu", "America/New_York", "UTC"}) {
        const std::size_t index = IndexOf(name);
        EXPECT_EQ(Write(Zone, Little(index, 2)), 0U) << name;
        EXPECT_EQ(ReadNumber(Zone), static_cast<std::time_t>(index)) << name;
        EXPECT_EQ(ReadText(Note), std::string(name) + "\n");
        EXPECT_EQ(Shell("cmp /etc/localtime /usr/share/zoneinfo/" + std::string(name) + " && echo same"), "same\n");
        // A new process has the zone, and so has the service.
        const std::string offset = Shell("env -u TZ date +%:z");
        EXPECT_EQ(offset, Shell("TZ=" + std::string(name) + " date +%:z"));
        const std::string text = ReadAsText(TimeText);
        EXPECT_EQ(text.substr(text.size() - 6) + "\n", offset) << text;
        EXPECT_NEAR(static_cast<double>(ReadNumber(LocalSeconds)),
                    static_cast<double>(std::stol(Shell("date -u -d \"$(env -u TZ date '+%F %T')\" +%s"))), 60.0);
    }
}

TEST_F(TimeTest, ZoneOfAnotherHandIsToldToo) {
    const std::size_t tokyo = IndexOf("Asia/Tokyo");
    Shell(SYLVARIN_ADAPTERS "/usr/sbin/tzsetup Asia/Tokyo");
    EXPECT_EQ(ReadNumber(Zone), static_cast<std::time_t>(tokyo));
    const std::string text = ReadAsText(TimeText);
    EXPECT_EQ(text.substr(text.size() - 6), "+09:00") << text;
}

TEST_F(TimeTest, ZoneThatCannotBeSetIsRefusedAndTheOldOneStays) {
    const std::size_t utc = IndexOf("UTC");
    const std::size_t berlin = IndexOf("Europe/Berlin");
    std::filesystem::remove("/usr/share/zoneinfo/Europe/Berlin");
    EXPECT_EQ(Write(Zone, Little(berlin, 2)) & 0xFFFF0000, 0xECA70000);
    EXPECT_TRUE(m_log.WaitFor("None: SetTimeZone failed: 1"));
    EXPECT_EQ(ReadNumber(Zone), static_cast<std::time_t>(utc));
    EXPECT_EQ(Write(Zone, Little(9999, 2)), 0xECA60001);
    EXPECT_EQ(ReadText(Note), "UTC\n");
}

TEST_F(TimeTest, ServiceRunsOnWithoutAFolderOfZones) {
    std::filesystem::rename("/usr/share/zoneinfo", "/usr/share/zoneinfo.away");
    EXPECT_EQ(ReadFrom(static_cast<std::uint16_t>(m_settings + 1), 0), "00 00"_hex);
    EXPECT_EQ(ReadFrom(static_cast<std::uint16_t>(m_settings + 2), 0), "00 00"_hex);
    EXPECT_EQ(Read(Zone), "FF FF"_hex);
}

TEST_F(TimeDaemonTest, ServerWrittenIsConfiguredAndTheDaemonRuns) {
    EXPECT_EQ(Read(Server), Bytes());
    EXPECT_EQ(m_code, 0xECA60105);
    EXPECT_EQ(Read(Refresh), "00 00 00 00"_hex);

    EXPECT_EQ(Write(Server, Text("ntp.example.net")), 0U);
    EXPECT_EQ(ReadAsText(Server), "ntp.example.net");
    EXPECT_EQ(Read(Refresh), "40 00 00 00"_hex);
    EXPECT_EQ(ReadText(NtpConf), "pool ntp.example.net iburst minpoll 6 maxpoll 7\n"
                                 "restrict default limited kod nomodify notrap noquery nopeer\n");
    EXPECT_EQ(ReadText(RcConf), "hostname=\"IPC-4711\"\nntpd_enable=\"YES\"\n");
    EXPECT_TRUE(Eventually([] { return !Daemon().empty(); }));

    // 16384 seconds
    const std::string first = Daemon();
    EXPECT_EQ(Write(Refresh, "00 40 00 00"_hex), 0U);
    EXPECT_EQ(Read(Refresh), "00 40 00 00"_hex);
    EXPECT_TRUE(Eventually([&] { return !Daemon().empty() && Daemon() != first; }));

    EXPECT_EQ(Write(Server, Text("NoSync")), 0U);
    EXPECT_EQ(Read(Server), Bytes());
    EXPECT_EQ(m_code, 0xECA60105);
    EXPECT_EQ(ReadText(RcConf), "hostname=\"IPC-4711\"\nntpd_enable=\"NO\"\n");
    EXPECT_TRUE(Eventually([] { return Daemon().empty(); }));
}

TEST_F(TimeDaemonTest, ServerThatIsNoneStopsTheDaemonAndChangesNothing) {
    EXPECT_EQ(Write(Server, Text("ntp.example.net")), 0U);
    EXPECT_TRUE(Eventually([] { return !Daemon().empty(); }));
    EXPECT_EQ(Write(Server, Text("ntp.example.net; reboot")), 0xECA60107);
    EXPECT_TRUE(Eventually([] { return Daemon().empty(); }));
    EXPECT_EQ(ReadAsText(Server), "ntp.example.net");
}

TEST_F(TimeNtpsecTest, RealDaemonReadsWhatWasWrittenEachTime) {
    EXPECT_EQ(Write(Server, Text("a.example.net")), 0U);
    EXPECT_TRUE(DaemonAsksFor("a.example.net")) << ReadText("/tmp/ntpd.log");
    EXPECT_EQ(Write(Server, Text("b.example.net")), 0U);
    EXPECT_TRUE(DaemonAsksFor("b.example.net")) << ReadText("/tmp/ntpd.log");
    EXPECT_EQ(ReadText("/etc/ntpsec/ntp.conf"), ReadText(NtpConf));
    EXPECT_EQ(Write(Server, {}), 0U);
    EXPECT_TRUE(Eventually([] { return Shell("pgrep -x ntpd").empty(); }));
}
