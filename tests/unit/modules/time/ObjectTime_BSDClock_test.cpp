#include <gmock/gmock.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>

#include "TimeFixture.h"

using testing::IsEmpty;

namespace {

constexpr unsigned char SECONDS = 3;
constexpr unsigned char TEXT = 4;
constexpr unsigned char LOCAL_SECONDS = 7;

class TimeClockTest : public TimeFixture {
protected:
    // 2026-11-22 14:05:09.042 UTC in a zone.
    TimeClockTest() { SetNow(1795356309, 42000); }

    static void SetNow(std::time_t seconds, suseconds_t microseconds = 0) {
        FakeClock::now = timeval{seconds, microseconds};
    }

    static void SetZone(const char* zone) {
        setenv("TZ", zone, 1);
        tzset();
    }

    // The seconds that a write of this text sets the clock to.
    std::optional<std::int64_t> SetBy(const std::string& text) {
        FakeClock::set.clear();
        const ObjResult result = Write(TEXT, text);
        if (result != OBJ_E_NOERR) {
            EXPECT_THAT(FakeClock::set, IsEmpty()) << text;
            EXPECT_EQ(result, 0xECA60107) << text;
            return std::nullopt;
        }
        EXPECT_EQ(FakeClock::set.size(), 1U) << text;
        EXPECT_EQ(FakeClock::set.at(0).tv_usec, 0) << text;
        return FakeClock::set.at(0).tv_sec;
    }
};

} // namespace

TEST_F(TimeClockTest, SecondsAreThoseSince1970) {
    EXPECT_EQ(Read(SETTINGS, SECONDS), "95 F6 02 6B"_hex);
    SetNow(0);
    EXPECT_EQ(Read(SETTINGS, SECONDS), "00 00 00 00"_hex);
    SetNow(0xFFFFFFFF);
    EXPECT_EQ(Read(SETTINGS, SECONDS), "FF FF FF FF"_hex);
}

TEST_F(TimeClockTest, SecondsBeyondTheirItemAreOutOfRange) {
    SetNow(0x100000000);
    EXPECT_FALSE(Read(SETTINGS, SECONDS));
    EXPECT_EQ(m_code, 0xECA60108);
    SetNow(-1);
    EXPECT_FALSE(Read(SETTINGS, SECONDS));
    EXPECT_EQ(m_code, 0xECA60FFF);
}

TEST_F(TimeClockTest, LocalSecondsAreTheWallClockReadAsUtc) {
    SetZone("<+05>-5");
    SetNow(100);
    EXPECT_EQ(Read(SETTINGS, LOCAL_SECONDS), "B4 46 00 00"_hex);
    SetZone("Asia/Tokyo");
    EXPECT_EQ(Read(SETTINGS, LOCAL_SECONDS), "F4 7E 00 00"_hex);
}

TEST_F(TimeClockTest, LocalSecondsBeyondTheirItemAreOutOfRange) {
    SetZone("<-05>5");
    SetNow(100);
    EXPECT_FALSE(Read(SETTINGS, LOCAL_SECONDS));
    EXPECT_EQ(m_code, 0xECA60FFF);
    SetZone("<+05>-5");
    SetNow(0xFFFFFFFF);
    EXPECT_FALSE(Read(SETTINGS, LOCAL_SECONDS));
    EXPECT_EQ(m_code, 0xECA60108);
}

TEST_F(TimeClockTest, SecondsWrittenSetTheClock) {
    EXPECT_EQ(Write(SECONDS, "95 F6 02 6B"_hex), OBJ_E_NOERR);
    EXPECT_EQ(Write(SECONDS, "FF FF FF FF"_hex), OBJ_E_NOERR);
    EXPECT_EQ(Write(SECONDS, "00 00 00 00"_hex), OBJ_E_NOERR);
    ASSERT_EQ(FakeClock::set.size(), 3U);
    EXPECT_EQ(FakeClock::set[0].tv_sec, 1795356309);
    EXPECT_EQ(FakeClock::set[0].tv_usec, 0);
    EXPECT_EQ(FakeClock::set[1].tv_sec, 4294967295);
    EXPECT_EQ(FakeClock::set[2].tv_sec, 0);
}

TEST_F(TimeClockTest, SecondsOfAnotherSizeAreRefused) {
    for (const std::string& value : {""_hex, "95 F6 02"_hex, "95 F6 02 6B 00"_hex, "95 F6 02 6B 00 00 00 00"_hex}) {
        EXPECT_EQ(Write(SECONDS, value), 0xECA60102) << value.size();
    }
    EXPECT_THAT(FakeClock::set, IsEmpty());
}

TEST_F(TimeClockTest, RefusalOfTheSystemIsTold) {
    FakeClock::error = EPERM;
    EXPECT_EQ(Write(SECONDS, "95 F6 02 6B"_hex), 0xECA70001);
    EXPECT_EQ(Write(TEXT, "2026-11-22T14:05:09.0+00:00"), 0xECA70001);
    FakeClock::error = EINVAL;
    EXPECT_EQ(Write(SECONDS, "95 F6 02 6B"_hex), 0xECA70016);
}

TEST_F(TimeClockTest, TextHasTheLocalTimeAndItsOffset) {
    const struct {
        const char* zone;
        const char* text;
    } rows[] = {
        {"UTC", "2026-11-22T14:05:09.42+00:00"},
        {"Europe/Berlin", "2026-11-22T15:05:09.42+01:00"},
        {"Asia/Kathmandu", "2026-11-22T19:50:09.42+05:45"},
        {"America/St_Johns", "2026-11-22T10:35:09.42-03:30"},
        // Less than a minute of offset is none, and so is not negative; half a minute more is dropped.
        {"<-00>0:00:30", "2026-11-22T14:04:39.42+00:00"},
        {"<-01>1:00:30", "2026-11-22T13:04:39.42-01:00"},
        {"<+01>-1:00:30", "2026-11-22T15:05:39.42+01:00"},
    };

    for (const auto& row : rows) {
        SetZone(row.zone);
        EXPECT_EQ(Read(SETTINGS, TEXT), row.text) << row.zone;
    }
}

TEST_F(TimeClockTest, TextTellsMillisecondsWithoutLeadingZeros) {
    SetZone("UTC");
    SetNow(1795356309, 999);
    EXPECT_EQ(Read(SETTINGS, TEXT), "2026-11-22T14:05:09.0+00:00");
    SetNow(1795356309, 7999);
    EXPECT_EQ(Read(SETTINGS, TEXT), "2026-11-22T14:05:09.7+00:00");
    SetNow(1795356309, 999999);
    EXPECT_EQ(Read(SETTINGS, TEXT), "2026-11-22T14:05:09.999+00:00");
    SetNow(4102444799);
    EXPECT_EQ(Read(SETTINGS, TEXT), "2099-12-31T23:59:59.0+00:00");
}

TEST_F(TimeClockTest, TextReadIsATextToWrite) {
    SetZone("Asia/Kathmandu");
    EXPECT_EQ(SetBy(Read(SETTINGS, TEXT).value()), 1795356309);
}

TEST_F(TimeClockTest, TextWrittenSetsTheSecondThatItsOffsetMeans) {
    SetZone("Asia/Tokyo");
    EXPECT_EQ(SetBy("2026-11-22T14:05:09.0+00:00"), 1795356309);
    EXPECT_EQ(SetBy("2026-11-22T14:05:09.0-00:00"), 1795356309);
    EXPECT_EQ(SetBy("2026-11-22T15:05:09.999+01:00"), 1795356309);
    EXPECT_EQ(SetBy("2026-11-22T10:35:09.1-03:30"), 1795356309);
    EXPECT_EQ(SetBy("2026-11-23T00:05:09.1+10:00"), 1795356309);
}

TEST_F(TimeClockTest, TextEndsAtItsFirstNulAndBehindItsOffset) {
    EXPECT_EQ(SetBy(std::string("2026-11-22T14:05:09.0+00:00\0+01:00", 34)), 1795356309);
    EXPECT_EQ(SetBy("2026-11-22T14:05:09.0+00:00 and more"), 1795356309);
    EXPECT_EQ(SetBy("2026-11-22T14:05:09.0+00:009"), 1795356309);
    EXPECT_FALSE(SetBy(std::string("2026-11-22T14:05:09.0\0+00:00", 28)));
}

TEST_F(TimeClockTest, MillisecondsWithALeadingZeroAreOctal) {
    EXPECT_EQ(SetBy("2026-11-22T14:05:09.050+00:00"), 1795356309);
    EXPECT_EQ(SetBy("2026-11-22T14:05:09.01747+00:00"), 1795356309); // 999
    EXPECT_FALSE(SetBy("2026-11-22T14:05:09.01750+00:00"));          // 1000
    EXPECT_FALSE(SetBy("2026-11-22T14:05:09.08+00:00"));             // stops at the 8
    EXPECT_FALSE(SetBy("2026-11-22T14:05:09.090+00:00"));
    EXPECT_EQ(SetBy("2026-11-22T14:05:09.0x3E7+00:00"), 1795356309);
}

TEST_F(TimeClockTest, EveryFieldHasItsRange) {
    for (const char* text : {
             "1980-01-01T00:00:00.0+00:00",
             "2106-12-31T23:59:59.999+00:00",
         }) {
        EXPECT_TRUE(SetBy(text)) << text;
    }
    for (const char* text : {
             "1979-12-31T23:59:59.0+00:00",
             "2107-01-01T00:00:00.0+00:00",
             "2026-00-22T14:05:09.0+00:00",
             "2026-13-22T14:05:09.0+00:00",
             "2026-11-00T14:05:09.0+00:00",
             "2026-11-32T14:05:09.0+00:00",
             "2026-11-22T24:05:09.0+00:00",
             "2026-11-22T14:60:09.0+00:00",
             "2026-11-22T14:05:60.0+00:00",
             "2026-11-22T14:05:09.1000+00:00",
             "2026-11-22T14:05:09.-1+00:00",
             "2026-11-22T-1:05:09.0+00:00",
             "2026-11-22T14:-5:09.0+00:00",
             "2026-11-22T14:05:-9.0+00:00",
             "-202-11-22T14:05:09.0+00:00",
             "2026-11-22T14:05:09.4294967296+00:00",
             "2026-11-22T14:05:09.99999999999999999999+00:00",
         }) {
        EXPECT_FALSE(SetBy(text)) << text;
    }
}

TEST_F(TimeClockTest, OffsetIsLessThanADay) {
    EXPECT_EQ(SetBy("2026-11-22T14:05:09.0+23:59"), 1795356309 - 86340);
    EXPECT_EQ(SetBy("2026-11-22T14:05:09.0-23:59"), 1795356309 + 86340);
    EXPECT_FALSE(SetBy("2026-11-22T14:05:09.0+24:00"));
    EXPECT_FALSE(SetBy("2026-11-22T14:05:09.0-24:00"));
    EXPECT_FALSE(SetBy("2026-11-22T14:05:09.0+23:60"));
    EXPECT_FALSE(SetBy("2026-11-22T14:05:09.0+99:99"));
    // Meant: minutes beyond an hour count on.
    EXPECT_EQ(SetBy("2026-11-22T14:05:09.0+00:99"), 1795356309 - 5940);
}

TEST_F(TimeClockTest, DayThatTheMonthDoesNotHaveCarriesOver) {
    EXPECT_EQ(SetBy("2026-02-31T00:00:00.0+00:00"), 1772496000); // 3 March
    EXPECT_EQ(SetBy("2026-04-31T00:00:00.0+00:00"), 1777593600); // 1 May
}

TEST_F(TimeClockTest, TimesBeyond32BitsAreSetToTheirSecond) {
    EXPECT_EQ(SetBy("2038-01-19T03:14:08.0+00:00"), 2147483648);
    EXPECT_EQ(SetBy("2106-02-07T06:28:15.0+00:00"), 4294967295);
    EXPECT_EQ(SetBy("2106-02-07T06:28:16.0+00:00"), 4294967296);
    EXPECT_EQ(SetBy("2106-12-31T23:59:59.0-23:59"), 4323369539);
}

TEST_F(TimeClockTest, TextThatIsNoTimeIsRefused) {
    for (const char* text : {
             "",
             "now",
             "2026-11-22",
             "2026-11-22T14:05:09",
             "2026-11-22T14:05:09+00:00",
             "2026-11-22T14:05:09.0",
             "2026-11-22T14:05:09.0Z",
             "2026-11-22T14:05:09.0+",
             "2026-11-22T14:05:09.0+01",
             "2026-11-22T14:05:09.0+0100",
             "2026-11-22T14:05:09.0 01:00",
             "2026-11-22T14:05:09.0*01:00",
             "2026-11-22 14:05:09.0+00:00",
             "2026/11/22T14:05:09.0+00:00",
             "20261-11-22T14:05:09.0+00:00",
         }) {
        EXPECT_FALSE(SetBy(text)) << text;
    }
    EXPECT_FALSE(SetBy(std::string(1, '\0')));
    EXPECT_FALSE(SetBy(std::string(100000, '2')));
}
