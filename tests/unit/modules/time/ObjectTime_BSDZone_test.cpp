#include <gmock/gmock.h>

#include <sys/mount.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <filesystem>

#include "TimeFixture.h"

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::Not;
using Time::CObj0x8nn1;

namespace {

constexpr unsigned char ZONE = 5;

const std::string s_unknown = "FF FF"_hex;

// Names that sort as they are counted.
std::vector<std::string> Numbered(const std::string& start, unsigned int count) {
    std::vector<std::string> names;
    for (unsigned int number = 0; number < count; ++number) {
        names.push_back(start + std::to_string(1000 + number));
    }
    return names;
}

class TimeZoneListTest : public TimeFixture {
protected:
    TimeZoneListTest() { EmptyZoneFolder(); }
};

// UTC is zone 1 of three.
class TimeZoneTest : public TimeFixture {
protected:
    TimeZoneTest() {
        EmptyZoneFolder();
        DescribeZones({"Europe/Berlin", "America/New_York"});
        AddZoneFile("UTC");
        std::filesystem::remove_all(NOTE);
        std::filesystem::remove(LOCALTIME);
        m_log.TakeLines();
    }
};

// With the machine's own zones.
using RealZoneTest = TimeFixture;

} // namespace

TEST_F(TimeZoneListTest, HoldsTheDescribedZonesAndTheFilesOfTheFolderSorted) {
    DescribeZones({"Europe/Berlin", "America/New_York", "America/Argentina/Salta"});
    AddZoneFile("UTC");
    AddZoneFile("CET");
    AddZoneFile("zone.tab");
    AddZoneFile("iso3166.tab");
    AddZoneFile("Asia/Tokyo");
    AddZoneFile("leapseconds");
    EXPECT_THAT(ZonesOf(ZONES), ElementsAre("America/Argentina/Salta", "America/New_York", "CET", "Europe/Berlin",
                                            "UTC", "leapseconds"));
    EXPECT_EQ(Read(ZONES, 0), "06 00"_hex);
    EXPECT_THAT(ZonesOf(FURTHER_ZONES), IsEmpty());
    EXPECT_EQ(Read(FURTHER_ZONES, 0), "00 00"_hex);
}

TEST_F(TimeZoneListTest, PassesOverLinesThatDescribeNoZoneThatIsThere) {
    AddZoneFile("Europe/Berlin");
    AddZoneFile("Asia/Tokyo");
    std::filesystem::create_directory("/usr/share/zoneinfo/Africa");
    WriteText("/usr/share/zoneinfo/zone1970.tab", "# comment\n"
                                                  "#codes\tcoordinates\tTZ\tcomments\n"
                                                  "\n"
                                                  "JP\tAsia/Tokyo\n"
                                                  "XX\t+0000+00000\tNo/Such\n"
                                                  "XX\t+0000+00000\tAfrica\n"
                                                  "XX\t+0000+00000\t\tcomment\n"
                                                  "DE,DK\t+5230+01322\tEurope/Berlin");
    EXPECT_THAT(ZonesOf(ZONES), ElementsAre("Europe/Berlin"));
}

TEST_F(TimeZoneListTest, TakesLinksToFilesAndNoOthers) {
    AddZoneFile("Etc/UTC");
    std::filesystem::create_symlink("Etc/UTC", "/usr/share/zoneinfo/Zulu");
    std::filesystem::create_symlink("Etc", "/usr/share/zoneinfo/folder");
    std::filesystem::create_symlink("nowhere", "/usr/share/zoneinfo/dangling");
    std::filesystem::create_symlink("circle", "/usr/share/zoneinfo/circle");
    EXPECT_THAT(ZonesOf(ZONES), ElementsAre("Zulu"));
}

TEST_F(TimeZoneListTest, IsEmptyWithoutAFolderOfZones) {
    ASSERT_EQ(umount("/usr/share/zoneinfo"), 0);
    std::filesystem::rename("/usr/share/zoneinfo", "/usr/share/zoneinfo.away");
    EXPECT_EQ(Read(ZONES, 0), "00 00"_hex);
    EXPECT_EQ(Read(FURTHER_ZONES, 0), "00 00"_hex);
    EXPECT_EQ(Read(SETTINGS, ZONE), s_unknown);
    EXPECT_EQ(Write(ZONE, "00 00"_hex), 0xECA60001);
}

TEST_F(TimeZoneListTest, IsEmptyWhereTheFolderCannotBeRead) {
    ASSERT_EQ(umount("/usr/share/zoneinfo"), 0);
    std::filesystem::rename("/usr/share/zoneinfo", "/usr/share/zoneinfo.away");
    WriteText("/usr/share/zoneinfo", "no folder");
    EXPECT_EQ(Read(ZONES, 0), "00 00"_hex);
    EXPECT_TRUE(CObj0x8nn1::m_bTimeZonesLoaded);
}

TEST_F(TimeZoneListTest, TakesTheFilesOfTheFolderWithoutADescription) {
    AddZoneFile("UTC");
    EXPECT_THAT(ZonesOf(ZONES), ElementsAre("UTC"));
    Sleep();
    std::filesystem::create_directory("/usr/share/zoneinfo/zone1970.tab");
    EXPECT_THAT(ZonesOf(ZONES), ElementsAre("UTC"));
}

TEST_F(TimeZoneListTest, OneArrayIsEnoughFor254Zones) {
    const std::vector<std::string> names = Numbered("A/", 254);
    DescribeZones(names);
    EXPECT_THAT(ZonesOf(ZONES), ElementsAreArray(names));
    EXPECT_EQ(Read(ZONES, 0), "FE 00"_hex);
    EXPECT_FALSE(Read(ZONES, 255));
    EXPECT_EQ(m_code, 0xECA60100);
    EXPECT_EQ(Read(FURTHER_ZONES, 0), "00 00"_hex);
}

TEST_F(TimeZoneListTest, The255thZoneIsTheFirstOfTheSecondArray) {
    DescribeZones(Numbered("A/", 255));
    EXPECT_EQ(Read(ZONES, 254), "A/1253");
    EXPECT_THAT(ZonesOf(FURTHER_ZONES), ElementsAre("A/1254"));
}

TEST_F(TimeZoneListTest, LeavesOutWhatComesBehind508NamesBeforeItSorts) {
    // The last described one would sort first, and so would the folder's file.
    std::vector<std::string> names = Numbered("B/", 508);
    names.emplace_back("A/first");
    DescribeZones(names);
    AddZoneFile("AAA");
    EXPECT_EQ(Read(ZONES, 1), "B/1000");
    EXPECT_EQ(Read(ZONES, 0), "FE 00"_hex);
    EXPECT_EQ(Read(FURTHER_ZONES, 0), "FE 00"_hex);
    EXPECT_EQ(Read(FURTHER_ZONES, 254), "B/1507");
    EXPECT_EQ(CObj0x8nn1::m_arrTimezones.size(), 508U);
}

TEST_F(TimeZoneListTest, TakesFilesOfTheFolderUntilItHolds508Names) {
    DescribeZones(Numbered("B/", 507));
    AddZoneFile("AAA");
    AddZoneFile("AAB");
    EXPECT_EQ(CObj0x8nn1::m_arrTimezones.size(), 0U);
    Read(ZONES, 0);
    EXPECT_EQ(CObj0x8nn1::m_arrTimezones.size(), 508U);
    EXPECT_THAT(CObj0x8nn1::m_arrTimezones.front(), testing::StartsWith("AA"));
}

TEST_F(TimeZoneListTest, IsBuiltOnce) {
    AddZoneFile("UTC");
    CObj0x8nn1::LoadTimezones();
    AddZoneFile("GMT");
    CObj0x8nn1::m_nActiveTz = 7;
    CObj0x8nn1::LoadTimezones();
    EXPECT_THAT(CObj0x8nn1::m_arrTimezones, ElementsAre("UTC"));
    EXPECT_EQ(CObj0x8nn1::m_nActiveTz, 7);
    CObj0x8nn1::FreeTimeZoneInfo();
    EXPECT_THAT(CObj0x8nn1::m_arrTimezones, IsEmpty());
    CObj0x8nn1::LoadTimezones();
    EXPECT_THAT(CObj0x8nn1::m_arrTimezones, ElementsAre("GMT", "UTC"));
    EXPECT_EQ(CObj0x8nn1::m_nActiveTz, 65535);
}

TEST_F(RealZoneTest, TheMachinesZonesHaveUtcAndBerlinAndNoTables) {
    Read(ZONES, 0);
    EXPECT_THAT(CObj0x8nn1::m_arrTimezones, Contains("UTC"));
    EXPECT_THAT(CObj0x8nn1::m_arrTimezones, Contains("Europe/Berlin"));
    EXPECT_THAT(CObj0x8nn1::m_arrTimezones, Not(Contains("zone1970.tab")));
}

TEST_F(TimeZoneTest, IsUtcWhereTheMachineTellsNone) {
    EXPECT_EQ(Read(SETTINGS, ZONE), "02 00"_hex);
    WriteText(NOTE, "");
    EXPECT_EQ(Read(SETTINGS, ZONE), "02 00"_hex);
    std::filesystem::create_symlink("nowhere", LOCALTIME);
    EXPECT_EQ(Read(SETTINGS, ZONE), "02 00"_hex);
}

TEST_F(TimeZoneTest, IsUnknownWhereTheMachineHasOneWithoutItsName) {
    WriteText(LOCALTIME, "TZif");
    EXPECT_EQ(Read(SETTINGS, ZONE), s_unknown);
    WriteText(NOTE, "");
    EXPECT_EQ(Read(SETTINGS, ZONE), s_unknown);
}

TEST_F(TimeZoneTest, IsTheFirstLineOfTheNote) {
    WriteText(LOCALTIME, "TZif");
    WriteText(NOTE, "Europe/Berlin\nUTC\n");
    EXPECT_EQ(Read(SETTINGS, ZONE), "01 00"_hex);
    WriteText(NOTE, "America/New_York");
    EXPECT_EQ(Read(SETTINGS, ZONE), "00 00"_hex);
}

TEST_F(TimeZoneTest, IsUnknownWhereTheListDoesNotHoldIt) {
    for (const char* name : {"Asia/Tokyo\n", "\nUTC\n", "utc\n", "UTC \n", "Europe/Berlin\r\n"}) {
        WriteText(NOTE, "UTC\n");
        EXPECT_EQ(Read(SETTINGS, ZONE), "02 00"_hex);
        WriteText(NOTE, name);
        EXPECT_EQ(Read(SETTINGS, ZONE), s_unknown) << name;
        EXPECT_EQ(CObj0x8nn1::m_nActiveTz, 65535);
    }
}

TEST_F(TimeZoneTest, WrittenIsSetByItsNameAndReadBack) {
    EXPECT_EQ(Write(ZONE, "01 00"_hex), OBJ_E_NOERR);
    EXPECT_THAT(m_standIns.Calls(), ElementsAre(Call{"/usr/sbin/tzsetup", "Europe/Berlin"}));
    EXPECT_EQ(CObj0x8nn1::m_nActiveTz, 1);
    EXPECT_EQ(Read(SETTINGS, ZONE), "01 00"_hex);
}

TEST_F(TimeZoneTest, TakesTheFirstTwoBytesOfALongerValue) {
    EXPECT_EQ(Write(ZONE, "01 00 FF FF"_hex), OBJ_E_NOERR);
    EXPECT_THAT(m_standIns.Calls(), ElementsAre(Call{"/usr/sbin/tzsetup", "Europe/Berlin"}));
}

TEST_F(TimeZoneTest, ThatIsActiveRunsNothingWhenItIsWrittenAgain) {
    EXPECT_EQ(Read(SETTINGS, ZONE), "02 00"_hex);
    EXPECT_EQ(Write(ZONE, "02 00"_hex), OBJ_E_NOERR);
    EXPECT_THAT(m_standIns.Calls(), IsEmpty());
    EXPECT_EQ(Write(ZONE, "01 00"_hex), OBJ_E_NOERR);
    EXPECT_EQ(Write(ZONE, "01 00"_hex), OBJ_E_NOERR);
    EXPECT_EQ(m_standIns.Calls().size(), 1U);
}

TEST_F(TimeZoneTest, UnknownIsLetPassWhileItIsTheActiveOneAndRunsNothing) {
    EXPECT_EQ(Write(ZONE, s_unknown), OBJ_E_NOERR);
    EXPECT_EQ(Read(SETTINGS, ZONE), "02 00"_hex);
    EXPECT_EQ(Write(ZONE, s_unknown), 0xECA60001);
    EXPECT_THAT(m_standIns.Calls(), IsEmpty());
}

TEST_F(TimeZoneTest, BehindTheEndOfTheListIsRefused) {
    EXPECT_EQ(Write(ZONE, "03 00"_hex), 0xECA60001);
    EXPECT_EQ(Write(ZONE, "FE FF"_hex), 0xECA60001);
    EXPECT_THAT(m_standIns.Calls(), IsEmpty());
}

TEST_F(TimeZoneTest, ShorterThanAnIndexIsRefused) {
    EXPECT_EQ(Write(ZONE, "01"_hex), 0xECA60102);
    EXPECT_EQ(Write(ZONE, ""), 0xECA60102);
    EXPECT_THAT(m_standIns.Calls(), IsEmpty());
}

TEST_F(TimeZoneTest, ThatCannotBeSetIsToldAndChangesNothing) {
    m_standIns.Add("/usr/sbin/tzsetup", 3);
    EXPECT_EQ(Read(SETTINGS, ZONE), "02 00"_hex);
    m_log.TakeLines();
    EXPECT_EQ(Write(ZONE, "01 00"_hex) & 0xFFFF0000, 0xECA70000);
    EXPECT_THAT(m_log.TakeLines(), Contains("None: SetTimeZone failed: 3"));
    EXPECT_EQ(CObj0x8nn1::m_nActiveTz, 2);
    EXPECT_EQ(std::getenv("TZ"), nullptr);
    EXPECT_EQ(Read(SETTINGS, ZONE), "02 00"_hex);
}

TEST_F(TimeZoneTest, IsSetEvenWhereTheProcessCannotFollow) {
    FakeClock::environmentError = ENOMEM;
    EXPECT_EQ(Write(ZONE, "01 00"_hex), OBJ_E_NOERR);
    EXPECT_THAT(m_log.TakeLines(), Contains("None: setenv TZ err: -1"));
    EXPECT_EQ(Read(SETTINGS, ZONE), "01 00"_hex);
}

TEST_F(RealZoneTest, LocalTimeFollowsAWrittenZoneAtOnce) {
    // 2026-07-01 12:00:00 UTC
    FakeClock::now = timeval{1782907200, 0};
    std::filesystem::remove_all(NOTE);

    const struct {
        const char* zone;
        const char* abbreviation;
        const char* text;
        std::string seconds;
    } rows[] = {
        {"Europe/Berlin", "CEST", "2026-07-01T14:00:00.0+02:00", "60 1D 45 6A"_hex},
        {"America/St_Johns", "NDT", "2026-07-01T09:30:00.0-02:30", "18 DE 44 6A"_hex},
        {"UTC", "UTC", "2026-07-01T12:00:00.0+00:00", "40 01 45 6A"_hex},
    };

    for (const auto& row : rows) {
        Read(SETTINGS, ZONE);
        const auto& zones = CObj0x8nn1::m_arrTimezones;
        const auto index = static_cast<std::size_t>(std::find(zones.begin(), zones.end(), row.zone) - zones.begin());
        ASSERT_LT(index, zones.size()) << row.zone;
        EXPECT_EQ(Write(ZONE, std::string{static_cast<char>(index & 0xFF), static_cast<char>(index >> 8)}), 0U);
        EXPECT_EQ(Read(SETTINGS, 4), row.text);
        EXPECT_EQ(Read(SETTINGS, 7), row.seconds) << row.zone;
        EXPECT_STREQ(std::getenv("TZ"), row.zone);
        tm fields = {};
        localtime_r(&FakeClock::now->tv_sec, &fields);
        EXPECT_STREQ(fields.tm_zone, row.abbreviation);
    }
}
