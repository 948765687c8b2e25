#include "modules/time/ObjectTime_BSD.h"

#include <gmock/gmock.h>

#include <cstdlib>

#include "TimeFixture.h"
#include "dictionary/ObjHelper.h"

using testing::IsEmpty;
using Time::CObj0x8nn1;

namespace {

class TimeModuleTest : public TimeFixture {};

} // namespace

TEST_F(TimeModuleTest, HeaderTellsTheModuleBeforeAnythingElseIsThere) {
    EXPECT_EQ(Read(HEADER, 1), "00 00 03 00"_hex);
    EXPECT_EQ(Read(HEADER, 2), "Time");
    EXPECT_EQ(Read(HEADER, 3), "Time");
    EXPECT_EQ(Read(HEADER, 4), "10 27 03 00"_hex);
    EXPECT_EQ(m_dictionary->GetObjectRef(HEADER)->NameId(), 1120);
}

TEST_F(TimeModuleTest, NothingButTheHeaderIsThereUntilAClientAsks) {
    EXPECT_FALSE(m_dictionary->GetObjectRef(SETTINGS));
    EXPECT_FALSE(CObj0x8nn1::m_bTimeZonesLoaded);
    EXPECT_TRUE(Read(SETTINGS, 0));
    for (const unsigned short index : {SETTINGS, ZONES, FURTHER_ZONES}) {
        EXPECT_TRUE(m_dictionary->GetObjectRef(index)) << index;
    }
    EXPECT_TRUE(CObj0x8nn1::m_bTimeZonesLoaded);
}

TEST_F(TimeModuleTest, ObjectsAreWhatTheirClientsKnow) {
    Read(SETTINGS, 0);
    const CRef<CObject> settings = m_dictionary->GetObjectRef(SETTINGS);
    EXPECT_EQ(settings->ObjectCode(), 9U);
    EXPECT_EQ(settings->NameId(), 1121);
    EXPECT_EQ(settings->GetCoutOfInfoItems(), 8U);
    const CRef<CObject> zones = m_dictionary->GetObjectRef(ZONES);
    EXPECT_EQ(zones->ObjectCode(), 8U);
    EXPECT_EQ(zones->NameId(), 1122);
    EXPECT_EQ(static_cast<CObjectArray&>(*zones).elementType, 9);
    const CRef<CObject> furtherZones = m_dictionary->GetObjectRef(FURTHER_ZONES);
    EXPECT_EQ(furtherZones->ObjectCode(), 8U);
    EXPECT_EQ(furtherZones->NameId(), 1123);
    EXPECT_EQ(static_cast<CObjectArray&>(*furtherZones).elementType, 9);
}

TEST_F(TimeModuleTest, ItemsOfTheSettingsHaveTheirTypesTriggersAndNames) {
    const struct {
        std::uint16_t type;
        std::int64_t nameId;
        TOnRead onRead;
        TOnWrite onWrite;
    } rows[] = {
        {9, 10020, CObj0x8nn1::ReadNTPServer, CObj0x8nn1::WriteNTPServer},
        {7, 10021, CObj0x8nn1::ReadNTPRefresh, CObj0x8nn1::WriteNTPRefresh},
        {7, 10023, CObj0x8nn1::ReadTimeUtc, CObj0x8nn1::WriteTimeUtc},
        {9, 10022, CObj0x8nn1::ReadTimeFormat, CObj0x8nn1::WriteTimeFormat},
        {6, 10024, CObj0x8nn1::ReadTZ, CObj0x8nn1::WriteTZ},
        {4, 10025, RdNotSupported, WrNotSupported},
        {7, 10027, CObj0x8nn1::ReadTimeLocal, WrNotSupported},
    };

    Read(SETTINGS, 0);
    const CRef<CObject> settings = m_dictionary->GetObjectRef(SETTINGS);
    unsigned char subIndex = 0;
    for (const auto& row : rows) {
        const TInfoItem* item = settings->GetItem(++subIndex);
        EXPECT_EQ(item->type, row.type) << int{subIndex};
        EXPECT_EQ(item->access, 3) << int{subIndex};
        EXPECT_EQ(item->nameId, row.nameId) << int{subIndex};
        EXPECT_EQ(item->onRead, row.onRead) << int{subIndex};
        EXPECT_EQ(item->onWrite, row.onWrite) << int{subIndex};
    }
}

TEST_F(TimeModuleTest, ZonesAreReadOnlyTextsWithoutTriggers) {
    Read(ZONES, 0);
    const TInfoItem* item = m_dictionary->GetObjectRef(ZONES)->GetItem(1);
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->type, 9);
    EXPECT_EQ(item->access, 1);
    EXPECT_EQ(item->nameId, 10026);
    EXPECT_EQ(item->onRead, nullptr);
    EXPECT_EQ(item->onWrite, nullptr);
}

TEST_F(TimeModuleTest, ReservedItemAndTheLocalSecondsRefuseWhatTheyCannot) {
    EXPECT_FALSE(Read(SETTINGS, 6));
    EXPECT_EQ(m_code, 0xECA61000);
    EXPECT_EQ(Write(6, "01 00 00 00"_hex), 0xECA61000);
    EXPECT_EQ(Write(7, "01 00 00 00"_hex), 0xECA61000);
}

TEST_F(TimeModuleTest, SleepTakesTheObjectsAndTheZonesAndTheNextRequestMakesThemAnew) {
    EmptyZoneFolder();
    AddZoneFile("UTC");
    EXPECT_EQ(Read(ZONES, 0), "01 00"_hex);
    AddZoneFile("GMT");
    EXPECT_EQ(Read(ZONES, 0), "01 00"_hex);

    Sleep();

    for (const unsigned short index : {SETTINGS, ZONES, FURTHER_ZONES}) {
        EXPECT_FALSE(m_dictionary->GetObjectRef(index)) << index;
    }
    EXPECT_THAT(CObj0x8nn1::m_arrTimezones, IsEmpty());
    EXPECT_FALSE(CObj0x8nn1::m_bTimeZonesLoaded);
    EXPECT_EQ(Read(HEADER, 2), "Time");
    EXPECT_EQ(Read(ZONES, 0), "02 00"_hex);
    EXPECT_EQ(Read(ZONES, 1), "GMT");
}

TEST_F(TimeModuleTest, EndOfTheServiceLeavesNoZones) {
    Read(ZONES, 0);
    EXPECT_FALSE(CObj0x8nn1::m_arrTimezones.empty());
    Time::CTimeActivator activator(HEADER);
    EXPECT_EQ(activator.DoDeactivate(), OBJ_E_NOERR);
    EXPECT_TRUE(CObj0x8nn1::m_arrTimezones.empty());
}

TEST_F(TimeModuleTest, CreationLeavesTheZoneOfTheProcessAlone) {
    EXPECT_EQ(std::getenv("TZ"), nullptr);
    setenv("TZ", "Asia/Tokyo", 1);
    EXPECT_EQ(Time::Create(), OBJ_E_NOERR);
    EXPECT_STREQ(std::getenv("TZ"), "Asia/Tokyo");
}
