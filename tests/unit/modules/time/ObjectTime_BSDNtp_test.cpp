#include <gmock/gmock.h>

#include <sys/mount.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "TimeFixture.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using Time::CObj0x8nn1;

namespace {

constexpr unsigned char SERVER = 1;
constexpr unsigned char REFRESH = 2;

constexpr const char* RC_CONF = "/etc/rc.conf";

const std::string s_delivered = "# Time servers\n"
                                "tos minclock 3 maxclock 6\n"
                                "pool 0.pool.example.org iburst minpoll 7 maxpoll 8\n"
                                "pool 1.pool.example.org iburst\n"
                                "restrict default limited kod nomodify notrap noquery nopeer\n";

class TimeNtpTest : public TimeFixture {
protected:
    TimeNtpTest() {
        WriteText(NTP_CONF, s_delivered);
        WriteText(RC_CONF, "hostname=\"box\"\nntpd_enable=\"YES\"\n");
        m_log.TakeLines();
    }

    // The delivered configuration with another first pool line.
    static std::string With(const std::string& line) {
        std::string text = s_delivered;
        const std::size_t at = text.find("pool 0");
        return text.replace(at, text.find('\n', at) - at, line);
    }

    static void Configure(const std::string& line) { WriteText(NTP_CONF, With(line)); }

    // The calls once that many were made and no thread is left to make more.
    std::vector<Call> CallsOf(std::size_t count) { return m_standIns.WaitForCalls(count); }

    const Call m_stop{"/usr/sbin/service", "ntpd", "stop"};
    const Call m_start{"/usr/sbin/service", "ntpd", "start"};
    const Call m_enable{"/usr/sbin/sysrc", "ntpd_enable=YES"};
    const Call m_disable{"/usr/sbin/sysrc", "ntpd_enable=NO"};
};

} // namespace

TEST_F(TimeNtpTest, ServerIsThatOfTheFirstPoolLine) {
    EXPECT_EQ(Read(SETTINGS, SERVER), "0.pool.example.org");
    Configure("pool   a.example.org   iburst");
    EXPECT_EQ(Read(SETTINGS, SERVER), "a.example.org");
    // A plain prefix: what else begins with the command counts too.
    Configure("poolb.example.org");
    EXPECT_EQ(Read(SETTINGS, SERVER), "b.example.org");
}

TEST_F(TimeNtpTest, ServerReadsAsNoDataWhereThereIsNone) {
    for (const char* text :
         {"", "server a.example.org\n", " pool a.example.org\n#pool a.example.org\n", "pool\n", "pool   \n"}) {
        WriteText(NTP_CONF, text);
        EXPECT_FALSE(Read(SETTINGS, SERVER)) << text;
        EXPECT_EQ(m_code, 0xECA60105) << text;
    }
    std::filesystem::remove(NTP_CONF);
    EXPECT_FALSE(Read(SETTINGS, SERVER));
    EXPECT_EQ(m_code, 0xECA60105);
}

TEST_F(TimeNtpTest, WithTheDaemonDisabledThereIsNoServerAndTheRefreshIs0) {
    for (const char* text : {"ntpd_enable=\"NO\"\n", "", "ntpd_enable=YES\n"}) {
        WriteText(RC_CONF, text);
        EXPECT_FALSE(Read(SETTINGS, SERVER)) << text;
        EXPECT_EQ(m_code, 0xECA60105) << text;
        EXPECT_EQ(Read(SETTINGS, REFRESH), "00 00 00 00"_hex) << text;
    }
}

TEST_F(TimeNtpTest, RefreshIsThePowerOfTwoOfTheMinpoll) {
    EXPECT_EQ(Read(SETTINGS, REFRESH), "80 00 00 00"_hex);

    const struct {
        const char* line;
        std::string value;
    } rows[] = {
        {"pool a minpoll 4 maxpoll 5", "10 00 00 00"_hex},
        {"pool a minpoll   10", "00 04 00 00"_hex},
        {"pool a maxpoll 10 minpoll 17", "00 00 02 00"_hex},
        {"pool a minpoll 31", "00 00 00 80"_hex},
        // One that does not fit.
        {"pool a minpoll 32", "FF FF FF FF"_hex},
        {"pool a minpoll 2000", "FF FF FF FF"_hex},
        {"pool a minpoll 99999999999999999999", "FF FF FF FF"_hex},
        // No number is 0, and its power 1.
        {"pool a iburst", "01 00 00 00"_hex},
        {"pool a minpoll", "01 00 00 00"_hex},
        {"pool a minpoll x", "01 00 00 00"_hex},
        {"pool a minpoll 0", "01 00 00 00"_hex},
        // Less than a second.
        {"pool a minpoll -1", "00 00 00 00"_hex},
        {"pool a minpoll -99999999999999999999", "00 00 00 00"_hex},
    };

    for (const auto& row : rows) {
        Configure(row.line);
        EXPECT_EQ(Read(SETTINGS, REFRESH), row.value) << row.line;
    }
    std::filesystem::remove(NTP_CONF);
    EXPECT_EQ(Read(SETTINGS, REFRESH), "01 00 00 00"_hex);
}

TEST_F(TimeNtpTest, ServerWrittenReplacesTheFirstPoolLineAndRestartsTheDaemon) {
    EXPECT_EQ(Write(SERVER, "ntp.example.net"), OBJ_E_NOERR);
    EXPECT_EQ(ReadText(NTP_CONF), With("pool ntp.example.net iburst minpoll 7 maxpoll 8"));
    EXPECT_EQ(ReadText(RC_CONF), "hostname=\"box\"\nntpd_enable=\"YES\"\n");
    EXPECT_EQ(Read(SETTINGS, SERVER), "ntp.example.net");
    const std::vector<Call> calls = CallsOf(3);
    EXPECT_EQ(calls.size(), 3U);
    EXPECT_THAT(calls, Contains(m_stop));
    EXPECT_THAT(calls, Contains(m_enable));
    EXPECT_EQ(calls.back(), m_start);
}

TEST_F(TimeNtpTest, ServerWithoutAMinpollGetsTheLowest) {
    Configure("pool a.example.org iburst");
    EXPECT_EQ(Write(SERVER, "b.example.org"), OBJ_E_NOERR);
    EXPECT_EQ(ReadText(NTP_CONF), With("pool b.example.org iburst minpoll 0 maxpoll 1"));
}

TEST_F(TimeNtpTest, ServerEnablesADisabledDaemon) {
    WriteText(RC_CONF, "ntpd_enable=\"NO\"\n");
    EXPECT_EQ(Write(SERVER, "ntp.example.net"), OBJ_E_NOERR);
    EXPECT_EQ(ReadText(RC_CONF), "ntpd_enable=\"YES\"\n");
    EXPECT_EQ(CallsOf(3).back(), m_start);
}

TEST_F(TimeNtpTest, ServerMayHaveTheCharactersOfNamesAndAddresses) {
    const std::string name = "-_.:0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
    EXPECT_EQ(Write(SERVER, name), OBJ_E_NOERR);
    EXPECT_EQ(Read(SETTINGS, SERVER), name);
    for (const char* text :
         {"a b", "a\n", "a;reboot", "$(reboot)", "a/b", "[::1]", "a%s", "\xC3\xA4", "a\tb", "a\"b"}) {
        EXPECT_EQ(Write(SERVER, text), 0xECA60107) << text;
    }
    EXPECT_EQ(Read(SETTINGS, SERVER), name);
}

TEST_F(TimeNtpTest, RefusedServerHasStoppedTheDaemonAllTheSame) {
    EXPECT_EQ(Write(SERVER, "a b"), 0xECA60107);
    EXPECT_THAT(CallsOf(1), ElementsAre(m_stop));
    EXPECT_EQ(ReadText(NTP_CONF), s_delivered);
}

TEST_F(TimeNtpTest, ServerEndsAtItsFirstNul) {
    EXPECT_EQ(Write(SERVER, std::string("ntp.example.net\0 x", 18)), OBJ_E_NOERR);
    EXPECT_EQ(Read(SETTINGS, SERVER), "ntp.example.net");
    EXPECT_EQ(Write(SERVER, std::string("\0x", 2)), OBJ_E_NOERR);
    EXPECT_THAT(CallsOf(5), Contains(m_disable));
}

TEST_F(TimeNtpTest, OnlyTheFirst1024BytesOfAServerCount) {
    EXPECT_EQ(Write(SERVER, std::string(1024, 'a') + " b"), OBJ_E_NOERR);
    EXPECT_EQ(ReadText(NTP_CONF), With("pool " + std::string(1024, 'a') + " iburst minpoll 7 maxpoll 8"));
    EXPECT_EQ(Write(SERVER, std::string(1023, 'a') + " b"), 0xECA60107);
}

TEST_F(TimeNtpTest, TriggerKeepsTheServerInItsItem) {
    Read(SETTINGS, 0);
    const CRef<CObject> settings = m_dictionary->GetObjectRef(SETTINGS);
    TInfoItem* item = settings->GetItem(SERVER);
    std::string text("a.example.org\0b", 15);
    EXPECT_EQ(CObj0x8nn1::WriteNTPServer(item, SETTINGS, SERVER, text.data(), 15), OBJ_E_NOERR);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(item->data), item->size), text);
}

TEST_F(TimeNtpTest, NoServerDisablesTheDaemon) {
    for (const char* text : {"", "NOSYNC", "nosync", "NoSync"}) {
        WriteText(RC_CONF, "ntpd_enable=\"YES\"\n");
        m_standIns.ForgetCalls();
        EXPECT_EQ(Write(SERVER, text), OBJ_E_NOERR) << text;
        EXPECT_FALSE(Read(SETTINGS, SERVER)) << text;
        EXPECT_EQ(m_code, 0xECA60105) << text;
        EXPECT_EQ(Read(SETTINGS, REFRESH), "00 00 00 00"_hex) << text;
        EXPECT_THAT(CallsOf(2), testing::UnorderedElementsAre(m_stop, m_disable)) << text;
    }
    EXPECT_EQ(ReadText(NTP_CONF), s_delivered);
}

TEST_F(TimeNtpTest, ServerWithoutAPoolLineSucceedsAndChangesNothingButTheDaemon) {
    const std::string text = "# none\nserver a.example.org\n";
    WriteText(NTP_CONF, text);
    EXPECT_EQ(Write(SERVER, "ntp.example.net"), OBJ_E_NOERR);
    EXPECT_EQ(ReadText(NTP_CONF), text);
    EXPECT_THAT(CallsOf(3), Contains(m_enable));
    EXPECT_EQ(m_standIns.Calls().back(), m_start);

    WriteText(NTP_CONF, "");
    EXPECT_EQ(Write(SERVER, "ntp.example.net"), OBJ_E_NOERR);
    EXPECT_EQ(ReadText(NTP_CONF), "");
}

TEST_F(TimeNtpTest, ServerWithoutAConfigurationIsTold) {
    std::filesystem::remove(NTP_CONF);
    EXPECT_EQ(Write(SERVER, "ntp.example.net"), 0xECA70002);
    EXPECT_FALSE(std::filesystem::exists(NTP_CONF));
    EXPECT_THAT(m_log.TakeLines(), Contains("None: write ntpconf failed"));
    EXPECT_THAT(CallsOf(1), ElementsAre(m_stop));
}

TEST_F(TimeNtpTest, ServerWithARefreshOfLessThanASecondIsRefused) {
    Configure("pool a minpoll -3");
    EXPECT_EQ(Write(SERVER, "ntp.example.net"), 0xECA60106);
    EXPECT_EQ(ReadText(NTP_CONF), With("pool a minpoll -3"));
}

TEST_F(TimeNtpTest, FailureOfTheStartConfigurationIsTold) {
    m_standIns.Add("/usr/sbin/sysrc", 7);
    EXPECT_EQ(Write(SERVER, "ntp.example.net"), 0xECA70007);
    EXPECT_THAT(m_log.TakeLines(), Contains("None: rcconf enable ntpd failed"));
    EXPECT_EQ(Write(SERVER, ""), 0xECA70007);
    EXPECT_THAT(m_log.TakeLines(), Contains("None: rcconf disable ntpd failed"));
    EXPECT_EQ(Write(REFRESH, "40 00 00 00"_hex), 0xECA70007);
    EXPECT_THAT(m_log.TakeLines(), Contains("None: SetNtpdEnabled true failed: eca70007"));
    EXPECT_THAT(CallsOf(6), testing::Not(Contains(m_start)));
}

TEST_F(TimeNtpTest, ConfigurationIsReplacedBehindItsLinkWithItsMode) {
    std::filesystem::copy_file(NTP_CONF, "/tmp/ntp.conf");
    std::filesystem::remove(NTP_CONF);
    std::filesystem::permissions("/tmp/ntp.conf", std::filesystem::perms(0640));
    std::filesystem::create_symlink("/tmp/ntp.conf", NTP_CONF);
    EXPECT_EQ(Write(SERVER, "ntp.example.net"), OBJ_E_NOERR);
    EXPECT_TRUE(std::filesystem::is_symlink(NTP_CONF));
    EXPECT_EQ(ReadText("/tmp/ntp.conf"), With("pool ntp.example.net iburst minpoll 7 maxpoll 8"));
    EXPECT_EQ(std::filesystem::status("/tmp/ntp.conf").permissions(), std::filesystem::perms(0640));
}

TEST_F(TimeNtpTest, ConfigurationThatCannotBeWrittenIsToldAndStaysWhole) {
    ASSERT_EQ(mount("held", "/mnt", "tmpfs", 0, ""), 0);
    std::filesystem::copy_file(NTP_CONF, "/mnt/ntp.conf");
    std::filesystem::remove(NTP_CONF);
    std::filesystem::create_symlink("/mnt/ntp.conf", NTP_CONF);
    ASSERT_EQ(mount("held", "/mnt", "tmpfs", MS_REMOUNT | MS_RDONLY, ""), 0);
    EXPECT_EQ(Write(SERVER, "ntp.example.net"), 0xECA7001E); // EROFS
    EXPECT_THAT(m_log.TakeLines(), Contains("None: write ntpconf failed"));
    EXPECT_EQ(Write(REFRESH, "40 00 00 00"_hex), 0xECA7001E);
    EXPECT_THAT(m_log.TakeLines(), Contains("None: WriteNtpConfig failed: eca7001e"));
    EXPECT_EQ(ReadText(NTP_CONF), s_delivered);
    EXPECT_THAT(CallsOf(2), ElementsAre(m_stop, m_stop));
}

TEST_F(TimeNtpTest, RefreshWrittenIsKeptAsAPowerOfTwo) {
    const struct {
        std::string value;
        const char* line;
        std::string readBack;
    } rows[] = {
        {"10 00 00 00"_hex, "minpoll 4 maxpoll 5", "10 00 00 00"_hex},   // 16
        {"64 00 00 00"_hex, "minpoll 6 maxpoll 7", "40 00 00 00"_hex},   // 100
        {"FF FF 00 00"_hex, "minpoll 15 maxpoll 16", "00 80 00 00"_hex}, // 65535
        {"00 00 01 00"_hex, "minpoll 16 maxpoll 17", "00 00 01 00"_hex}, // 65536
        {"00 00 02 00"_hex, "minpoll 17 maxpoll 17", "00 00 02 00"_hex}, // 131072
        {"FF FF FF FF"_hex, "minpoll 31 maxpoll 17", "00 00 00 80"_hex},
    };

    for (const auto& row : rows) {
        m_standIns.ForgetCalls();
        EXPECT_EQ(Write(REFRESH, row.value), OBJ_E_NOERR) << row.line;
        EXPECT_EQ(ReadText(NTP_CONF), With(std::string("pool 0.pool.example.org iburst ") + row.line));
        EXPECT_EQ(Read(SETTINGS, REFRESH), row.readBack) << row.line;
        EXPECT_EQ(CallsOf(3).back(), m_start);
    }
}

TEST_F(TimeNtpTest, RefreshBelow16SecondsIsOutOfRangeAndStopsNothing) {
    for (const std::string& value : {"0F 00 00 00"_hex, "01 00 00 00"_hex, "00 00 00 00"_hex}) {
        EXPECT_EQ(Write(REFRESH, value), 0xECA60108);
    }
    EXPECT_EQ(ReadText(NTP_CONF), s_delivered);
    EXPECT_THAT(m_standIns.Calls(), IsEmpty());
}

TEST_F(TimeNtpTest, RefreshOfAnotherSizeIsRefused) {
    for (const std::string& value : {""_hex, "40 00 00"_hex, "40 00 00 00 00"_hex}) {
        EXPECT_EQ(Write(REFRESH, value), 0xECA60102);
    }
    EXPECT_THAT(m_standIns.Calls(), IsEmpty());
}

TEST_F(TimeNtpTest, RefreshWithoutAServerIsRefusedAndStopsNothing) {
    WriteText(NTP_CONF, "server a.example.org\n");
    EXPECT_EQ(Write(REFRESH, "40 00 00 00"_hex), 0xECA60FFF);
    std::filesystem::remove(NTP_CONF);
    EXPECT_EQ(Write(REFRESH, "40 00 00 00"_hex), 0xECA60FFF);
    EXPECT_THAT(m_standIns.Calls(), IsEmpty());
}

TEST_F(TimeNtpTest, WholePartOfTheLogarithmIsExact) {
    EXPECT_EQ(CObj0x8nn1::CalculateMinPoll(0), 0U);
    for (unsigned int power = 1; power < 32; ++power) {
        EXPECT_EQ(CObj0x8nn1::CalculateMinPoll(1U << power), power);
        EXPECT_EQ(CObj0x8nn1::CalculateMinPoll((1U << power) - 1), power - 1);
    }
}

TEST_F(TimeNtpTest, StartWaitsForTheStopOfItsWrite) {
    // The stop takes its time, and the start tells what it finds.
    m_standIns.Add("/usr/sbin/service", 0,
                   "case $2 in\n"
                   "stop) sleep 0.5; touch /tmp/stopped ;;\n"
                   "start) [ ! -e /tmp/stopped ] || touch /tmp/started-behind ;;\n"
                   "esac");
    EXPECT_EQ(Write(SERVER, "ntp.example.net"), OBJ_E_NOERR);
    EXPECT_FALSE(std::filesystem::exists("/tmp/stopped"));
    EXPECT_EQ(CallsOf(3).back(), m_start);
    EXPECT_TRUE(std::filesystem::exists("/tmp/stopped"));
}

TEST_F(TimeNtpTest, WritesInARowStopAndStartInTheirOrder) {
    m_standIns.Add("/usr/sbin/service", 0, "sleep 0.1; echo \"$2\" >>/tmp/ended");
    EXPECT_EQ(Write(SERVER, "a.example.net"), OBJ_E_NOERR);
    EXPECT_EQ(Write(SERVER, "b.example.net"), OBJ_E_NOERR);
    EXPECT_EQ(Write(REFRESH, "40 00 00 00"_hex), OBJ_E_NOERR);
    EXPECT_EQ(Write(SERVER, "nosync"), OBJ_E_NOERR);
    CallsOf(11);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    const std::string expected = "stop\nstart\nstop\nstart\nstop\nstart\nstop\n";
    while (ReadText("/tmp/ended") != expected && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_EQ(ReadText("/tmp/ended"), expected);
    EXPECT_EQ(m_standIns.Calls().size(), 11U);
}

TEST_F(TimeNtpTest, StopThatDoesNotEndHoldsTheStartUpForHalfAMinuteAtMost) {
    m_standIns.Add("/usr/sbin/service", 0, "[ \"$2\" != stop ] || until [ -e /tmp/end ]; do sleep 0.2; done");
    EXPECT_EQ(Write(SERVER, "ntp.example.net"), OBJ_E_NOERR);
    for (int tenSeconds = 0; tenSeconds < 6 && m_standIns.WaitForCalls(3).size() < 3; ++tenSeconds) {
    }
    EXPECT_EQ(m_standIns.Calls().back(), m_start);
    WriteText("/tmp/end", "");
}
