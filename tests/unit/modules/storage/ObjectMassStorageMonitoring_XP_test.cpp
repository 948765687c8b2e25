// Writes /usr/local/bin/mdpdrive.xml of the throw-away machine that it runs in.
#include "modules/ObjectMassStorageMonitoring_XP.h"

#include <fstream>

#include "../../hardware/drives/FakeDrives.h"
#include "StorageModuleTest.h"

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr ObjResult NO_FLASH = 0xECAF0701;
constexpr ObjResult NO_HARD_DISK = 0xECAF0702;

// Forced passes are this many ticks of five seconds apart.
constexpr int TICKS = 13;

class MassStorage : public StorageModuleTest {
protected:
    void SetUp() override {
        FakeDrives::Reset();
        StorageModuleTest::SetUp();
    }

    void TearDown() override {
        StorageModuleTest::TearDown();
        FakeDrives::Reset();
    }

    // Makes the module, which reads the descriptions of these devices.
    static void Create(const std::string& devices) {
        std::ofstream(CXmlSmartDescription::FILE_PATH) << "<DRIVE_SMART_CONFIG>" << devices << "</DRIVE_SMART_CONFIG>";
        ASSERT_EQ(MassStorageMonitoring::Create(), 0U);
    }

    static std::string Device(const std::string& model, int type, const std::string& rules = "") {
        return "<DEVICE model='" + model + "' firmware='' name='Name of " + model + "' type='" + std::to_string(type) +
               "'>" + rules + "</DEVICE>";
    }

    static std::string Raw(const std::string& name, const std::string& id) {
        return "<r name='" + name + "' id='" + id + "' datatype='1' opt1='5' opt2='10'/>";
    }

    static std::string Constant(const std::string& name, long number) {
        return "<r name='" + name + "' datatype='3' opt1='" + std::to_string(number) + "'/>";
    }

    static TFakeAta& Plug(unsigned int number, const std::string& serial, const std::string& model = "M") {
        return FakeDrives::ata["/dev/ada" + std::to_string(number)] = FakeDrives::Ata(serial, model, "F");
    }

    // The life left that a flash drive with these two counts has.
    TAnswer LifeLeft(long average, long specified) {
        Plug(0, "12345678");
        Create(Device("M", 2, Constant("EraseCountAverage", average) + Constant("EraseCountSpecified", specified)));
        return Element(8, 1);
    }

    // True where a tick makes the arrays anew.
    static bool TickPublishes() {
        const auto lines = LogOf({LOG_SEVERITY_PROGRESS}, [] { EXPECT_TRUE(FakeTimers::Fire()); });
        return std::count_if(lines.begin(), lines.end(), [](const std::string& line) {
                   return line.ends_with("CMassStorageMonitoringObj0x8nn0::PrintDrives");
               }) == 1;
    }

    static std::vector<std::string> Opened() {
        std::vector<std::string> paths;
        for (const std::string& call : FakeDrives::calls) {
            if (call.starts_with("open ")) {
                paths.push_back(call.substr(5));
            }
        }
        return paths;
    }
};

} // namespace

// --- the module and its arrays ---------------------------------------------------------------------------------------

TEST_F(MassStorage, HeaderTellsItsTypeAndSleepsUntilItIsAskedFor) {
    Create("");
    EXPECT_EQ(Read(HEADER, 1), Value("00 00 20 00"));
    EXPECT_EQ(Read(HEADER, 2), Text("MassStorageMonitoring"));
    EXPECT_EQ(Read(HEADER, 3), Text("MassStorageMonitoring"));
    SleepAll();
    EXPECT_FALSE(Dictionary().GetObjectRef(HEADER + 1));
    EXPECT_TRUE(FakeTimers::timers.empty());
    EXPECT_EQ(Count(1), 0);
    ASSERT_EQ(FakeTimers::timers.size(), 1U);
    const FakeTimers::TTimer& timer = FakeTimers::timers.begin()->second;
    EXPECT_EQ(timer.periodMs, 5000U);
    EXPECT_EQ(timer.parameter, HEADER);
    EXPECT_EQ(timer.flags, 0U);
}

TEST_F(MassStorage, ArraysHaveTheirTextsAndTypes) {
    Plug(0, "12345678");
    Create(Device("M", 1));
    const int declared[] = {9, 5, 9, 9, 5, 27, 27, 5, 27, 27, 5, 27, 27, 27, 27};
    const unsigned int held[] = {9, 5, 9, 9, 5, 27, 27, 3, 27, 27, 3, 27, 27, 27, 27};
    for (unsigned int k = 1; k <= 15; ++k) {
        EXPECT_EQ(Count(k), 1) << k;
        const auto object = Dictionary().GetObjectRef(static_cast<unsigned short>(HEADER + k));
        ASSERT_TRUE(object) << k;
        EXPECT_EQ(object->NameId(), 1320 + k);
        EXPECT_EQ(object->ObjectCode(), 8U) << k;
        EXPECT_EQ(static_cast<const CObjectArray*>(object.Get())->elementType, declared[k - 1]) << k;
        const TInfoItem* item = object->GetItem(1);
        ASSERT_NE(item, nullptr) << k;
        EXPECT_EQ(item->nameId, 1320 + k);
        EXPECT_EQ(item->type, held[k - 1]) << k;
        EXPECT_EQ(item->access, 1) << k;
    }
    EXPECT_EQ(Dictionary().GetObjectRef(HEADER)->NameId(), 1320);
}

TEST_F(MassStorage, TellsInTheLogWhatItDoes) {
    EXPECT_THAT(LogOf({LOG_SEVERITY_TRACE}, [] { Create(""); }),
                ElementsAre("None: ==>MassStorageMonitoring::Create()",
                            "None: \tMassStorageMonitoring::Create(pObj0x8nn0)",
                            "None: \tMassStorageMonitoring::Create(pObjActivator)",
                            "None: <==MassStorageMonitoring::Create()"));
    constexpr logSeverity activation = 32;
    EXPECT_THAT(LogOf({activation}, [this] { Count(1); }), ElementsAre("None: ==>MassStorageMonitoring::DoActivate()",
                                                                       "None: <==MassStorageMonitoring::DoActivate()"));
    EXPECT_THAT(LogOf({activation}, [] { FakeTimers::Fire(); }),
                ElementsAre("None: ==>MassStorageMonitoring::MdpTimerproc()",
                            "None: <==MassStorageMonitoring::MdpTimerproc()"));
    EXPECT_THAT(LogOf({activation}, [this] { SleepAll(); }),
                ElementsAre("None: ==>MassStorageMonitoring::DoDeactivate()",
                            "None: <==MassStorageMonitoring::DoDeactivate()"));
}

TEST_F(MassStorage, WithoutADescriptionFileNoDeviceIsOpened) {
    Plug(0, "12345678");
    std::filesystem::remove(CXmlSmartDescription::FILE_PATH);
    ASSERT_EQ(MassStorageMonitoring::Create(), 0U);
    for (unsigned int k = 1; k <= 15; ++k) {
        EXPECT_EQ(Count(k), 0) << k;
    }
    std::ofstream(CXmlSmartDescription::FILE_PATH) << "<DRIVE_SMART_CONFIG/>"; // is not tried again
    for (int tick = 0; tick < TICKS; ++tick) {
        EXPECT_TRUE(FakeTimers::Fire());
    }
    EXPECT_EQ(Count(1), 0);
    EXPECT_THAT(FakeDrives::calls, IsEmpty());
}

// --- the drives ------------------------------------------------------------------------------------------------------

TEST_F(MassStorage, TwentyNumbersOfEachKindAreTriedInTurn) {
    Create("");
    Count(1);
    std::vector<std::string> expected;
    for (int number = 0; number < 20; ++number) {
        expected.push_back("/dev/ada" + std::to_string(number));
        expected.push_back("/dev/nvme" + std::to_string(number));
    }
    EXPECT_EQ(Opened(), expected);
}

TEST_F(MassStorage, DrivesStandInTheOrderOfTheirNumbers) {
    Plug(1, "DISK-1111");
    Plug(0, "DISK-0000");
    FakeDrives::nvme["/dev/nvme1"] = FakeDrives::Nvme("NVME-1111", "N", "F");
    FakeDrives::nvme["/dev/nvme0"] = FakeDrives::Nvme("NVME-0000", "N", "F");
    Plug(19, "DISK-1919");
    Plug(20, "DISK-2020"); // is not looked for
    Create("");
    EXPECT_THAT(Elements(1), ElementsAre(Text("DISK-0000"), Text("NVME-0000"), Text("DISK-1111"), Text("NVME-1111"),
                                         Text("DISK-1919")));
}

TEST_F(MassStorage, ADriveSeenTwiceStandsUnderItsFirstDevice) {
    Plug(0, "12345678", "FIRST");
    FakeDrives::nvme["/dev/nvme0"] = FakeDrives::Nvme("12345678", "SECOND", "F");
    Plug(3, "12345678", "THIRD");
    Create(Device("FIRST", 1) + Device("SECOND", 1) + Device("THIRD", 1));
    EXPECT_THAT(Elements(4), ElementsAre(Text("Name of FIRST")));
}

TEST_F(MassStorage, WhatIsNoDriveIsToldInTheLogAndLeftOut) {
    Plug(0, "1234567");
    Plug(1, "1234:678");
    Plug(2, "12345678").fails = 0xEC;
    Create("");
    const auto lines = LogOf({LOG_SEVERITY_PROGRESS}, [this] { EXPECT_EQ(Count(1), 0); });
    EXPECT_THAT(lines, ::testing::Contains("None: Update physical drive 0 failed: 0xECA60106"));
    EXPECT_THAT(lines, ::testing::Contains("None: Update physical drive 1 failed: 0xECA60106"));
    EXPECT_THAT(lines, ::testing::Contains("None: Update physical drive 2 failed: 0xECA60105"));
    EXPECT_THAT(lines, ::testing::Contains("None: Update physical drive 19 failed: 0xECA60001"));
}

TEST_F(MassStorage, WithoutDrivesNothingChangesAfterTheFirstPass) {
    Create("");
    for (unsigned int k = 1; k <= 15; ++k) {
        EXPECT_EQ(Count(k), 0) << k;
        EXPECT_EQ(Element(k, 1), None(INVALID_INDEX)) << k;
    }
    EXPECT_FALSE(TickPublishes());
}

TEST_F(MassStorage, ComingGoingAndChangingPlacesAreChanges) {
    Plug(0, "DISK-0000");
    Plug(1, "DISK-1111");
    Create("");
    EXPECT_THAT(Elements(1), ElementsAre(Text("DISK-0000"), Text("DISK-1111")));
    EXPECT_FALSE(TickPublishes());
    std::swap(FakeDrives::ata["/dev/ada0"], FakeDrives::ata["/dev/ada1"]);
    EXPECT_TRUE(TickPublishes());
    EXPECT_THAT(Elements(1), ElementsAre(Text("DISK-1111"), Text("DISK-0000")));
    FakeDrives::ata.erase("/dev/ada0");
    EXPECT_TRUE(TickPublishes());
    EXPECT_THAT(Elements(1), ElementsAre(Text("DISK-0000")));
    Plug(5, "DISK-5555");
    EXPECT_TRUE(TickPublishes());
    EXPECT_THAT(Elements(1), ElementsAre(Text("DISK-0000"), Text("DISK-5555")));
    FakeDrives::ata["/dev/ada7"] = FakeDrives::ata["/dev/ada5"]; // another place behind the others is none
    FakeDrives::ata.erase("/dev/ada5");
    EXPECT_FALSE(TickPublishes());
}

TEST_F(MassStorage, EveryThirteenthTickReadsTheFiguresAnew) {
    TFakeAta& drive = Plug(0, "12345678");
    FakeDrives::Put(drive, 0, 0x05, 100, 7);
    Create(Device("M", 1, Raw("ReallocatedSectors", "05")));
    EXPECT_EQ(Element(12, 1), Wide(7));
    for (int round = 0; round < 3; ++round) {
        const auto value = static_cast<unsigned int>(20 + round);
        FakeDrives::Put(drive, 0, 0x05, 100, value);
        for (int tick = 1; tick < TICKS; ++tick) {
            EXPECT_FALSE(TickPublishes()) << tick;
        }
        EXPECT_NE(Element(12, 1), Wide(value)) << "65 seconds are not over";
        EXPECT_TRUE(TickPublishes());
        EXPECT_EQ(Element(12, 1), Wide(value));
    }
}

TEST_F(MassStorage, APassWithoutAChangeReadsTheIdentityOnly) {
    Plug(0, "12345678");
    Create("");
    Count(1);
    FakeDrives::calls.clear();
    EXPECT_FALSE(TickPublishes());
    EXPECT_THAT(FakeDrives::calls, ::testing::Contains("ata EC 00 4F C2 60000 512"));
    EXPECT_THAT(FakeDrives::calls, Each(::testing::Not(::testing::StartsWith("ata B0"))));
}

// --- the figures -----------------------------------------------------------------------------------------------------

TEST_F(MassStorage, LifeLeftComesFromTheEraseCounts) {
    EXPECT_EQ(LifeLeft(300, 3000), Value("5A 00"));
}

TEST_F(MassStorage, LifeLeftIsNegativeBeyondTheSpecifiedCount) {
    EXPECT_EQ(LifeLeft(4500, 3000), Value("CE FF")); // -50
}

TEST_F(MassStorage, LifeLeftIsNothingWithoutASpecifiedCount) {
    EXPECT_EQ(LifeLeft(300, 0), Value("00 00"));
}

TEST_F(MassStorage, LifeLeftIsRoundedHalfAwayFromZero) {
    EXPECT_EQ(LifeLeft(1, 200), Value("64 00")); // 99.5
}

TEST_F(MassStorage, LifeLeftBelowZeroIsRoundedAwayFromZeroToo) {
    EXPECT_EQ(LifeLeft(401, 200), Value("9B FF")); // -100.5 to -101
}

TEST_F(MassStorage, LifeLeftKeepsItsLow16Bits) {
    EXPECT_EQ(LifeLeft(700000, 1000), Value("F4 EE")); // -69900
}

TEST_F(MassStorage, PercentagesAreRoundedAndThoseThatDoNotFitAreTheLowestNumber) {
    using MassStorageMonitoring::CMassStorageMonitoringObj0x8nn0;
    EXPECT_EQ(CMassStorageMonitoringObj0x8nn0::RoundPercent(2.5), 3);
    EXPECT_EQ(CMassStorageMonitoringObj0x8nn0::RoundPercent(-2.5), -3);
    EXPECT_EQ(CMassStorageMonitoringObj0x8nn0::RoundPercent(2.4999), 2);
    EXPECT_EQ(CMassStorageMonitoringObj0x8nn0::RoundPercent(1e12), -2147483647 - 1);
    EXPECT_EQ(CMassStorageMonitoringObj0x8nn0::RoundPercent(-1e12), -2147483647 - 1);
}

TEST_F(MassStorage, TheSecondFormOfTheAverageIsAskedWhereTheFirstDoesNotAnswer) {
    Plug(0, "12345678");
    Create(Device("M", 2,
                  Raw("EraseCountAverage", "A7") + Constant("EraseCountAverage2", 750) +
                      Constant("EraseCountSpecified", 3000) + Constant("CyclesLeftPercent", 12)));
    EXPECT_EQ(Element(8, 1), Value("4B 00"));
    EXPECT_EQ(Element(6, 1), None(NOT_SUPPORTED));
    EXPECT_EQ(Element(7, 1), None(NOT_SUPPORTED));
}

TEST_F(MassStorage, LifeLeftStraightFromTheDriveIsPublishedAlone) {
    FakeDrives::Put(Plug(0, "12345678"), 0, 0xE7, 100, 88);
    Create(Device("M", 2, Raw("CyclesLeftPercent", "E7")));
    EXPECT_EQ(Element(8, 1), Value("58 00"));
    for (const unsigned int k : {6U, 7U, 9U, 10U, 11U}) {
        EXPECT_EQ(Element(k, 1), None(NOT_SUPPORTED)) << k;
    }
}

TEST_F(MassStorage, SparesAreCountedAndShared) {
    Plug(0, "12345678");
    Create(Device("M", 2,
                  Constant("SpareBlocksRemaining", 3) + Constant("SpareBlocksUsed", 1) +
                      Constant("SpareBlocksLeftPercent", 12)));
    EXPECT_EQ(Element(8, 1), None(NOT_SUPPORTED));
    EXPECT_EQ(Element(9, 1), Wide(3));
    EXPECT_EQ(Element(10, 1), Wide(4));
    EXPECT_EQ(Element(11, 1), Value("4B 00"));
}

TEST_F(MassStorage, NoSparesAtAllAreNothingInPercent) {
    Plug(0, "12345678");
    Create(Device("M", 2, Constant("SpareBlocksRemaining", 0) + Constant("SpareBlocksUsed", 0)));
    EXPECT_EQ(Element(9, 1), Wide(0));
    EXPECT_EQ(Element(10, 1), Wide(0));
    EXPECT_EQ(Element(11, 1), Value("00 00"));
}

TEST_F(MassStorage, SparesWithoutAUsedCountHaveTheDrivesPercentage) {
    Plug(0, "12345678");
    Create(Device("M", 2, Constant("SpareBlocksRemaining", 3) + Constant("SpareBlocksLeftPercent", 12)));
    EXPECT_EQ(Element(9, 1), Wide(3));
    EXPECT_EQ(Element(10, 1), None(NOT_SUPPORTED));
    EXPECT_EQ(Element(11, 1), Value("0C 00"));
}

TEST_F(MassStorage, AFlashDriveHasNoFiguresOfAHardDisk) {
    Plug(0, "12345678");
    Create(Device("M", 2, Constant("ReallocatedSectors", 3)));
    for (unsigned int k = 12; k <= 15; ++k) {
        EXPECT_EQ(Element(k, 1), None(NO_HARD_DISK)) << k;
    }
}

TEST_F(MassStorage, AHardDiskHasFourCountersAndNoFiguresOfAFlashDrive) {
    Plug(0, "12345678");
    Create(Device("M", 1,
                  Constant("ReallocatedSectors", 1) + Constant("SpinRetries", 2) + Constant("PendingSectors", 3) +
                      Constant("UltraDmaCrcErrors", 4) + Constant("SpareBlocksRemaining", 5)));
    for (unsigned int k = 6; k <= 11; ++k) {
        EXPECT_EQ(Element(k, 1), None(NO_FLASH)) << k;
    }
    for (unsigned int k = 12; k <= 15; ++k) {
        EXPECT_EQ(Element(k, 1), Wide(k - 11)) << k;
    }
    EXPECT_EQ(Element(5, 1), Value("01"));
}

TEST_F(MassStorage, CountersThatAHardDiskHasNotAreNotSupported) {
    FakeDrives::Put(Plug(0, "12345678"), 0, 0x05, 100, 9);
    Create(Device("M", 1, Raw("ReallocatedSectors", "05") + Raw("PendingSectors", "C5")));
    EXPECT_EQ(Element(12, 1), Wide(9));
    for (unsigned int k = 13; k <= 15; ++k) {
        EXPECT_EQ(Element(k, 1), None(NOT_SUPPORTED)) << k;
    }
}

TEST_F(MassStorage, ADriveOfNeitherKindHasNameAndKindAlone) {
    Plug(0, "12345678");
    Create(Device("M", 0, Constant("ReallocatedSectors", 1) + Constant("CyclesLeftPercent", 2)));
    EXPECT_EQ(Element(4, 1), Text("Name of M"));
    EXPECT_EQ(Element(5, 1), Value("00"));
    for (unsigned int k = 6; k <= 11; ++k) {
        EXPECT_EQ(Element(k, 1), None(NO_FLASH)) << k;
    }
    for (unsigned int k = 12; k <= 15; ++k) {
        EXPECT_EQ(Element(k, 1), None(NO_HARD_DISK)) << k;
    }
}

TEST_F(MassStorage, TheLowByteOfTheKindCounts) {
    Plug(0, "12345678", "M");
    Plug(1, "87654321", "N");
    Create(Device("M", 257, Constant("SpinRetries", 2)) + Device("N", 512));
    EXPECT_THAT(Elements(5), ElementsAre(Value("01"), Value("00")));
    EXPECT_THAT(Elements(13), ElementsAre(Wide(2), None(NO_HARD_DISK)));
}

TEST_F(MassStorage, ADriveThatTheFileDoesNotKnowHasItsSerialNumberAlone) {
    Plug(0, "12345678", "Nobody's");
    Create(Device("M", 1));
    EXPECT_EQ(Element(1, 1), Text("12345678"));
    for (unsigned int k = 2; k <= 15; ++k) {
        EXPECT_EQ(Element(k, 1), None(NOT_SUPPORTED)) << k;
    }
}

TEST_F(MassStorage, AnEmptyNameIsNoData) {
    Plug(0, "12345678");
    Create("<DEVICE model='M' firmware='' type='1'/>");
    EXPECT_EQ(Element(4, 1), None(NO_DATA));
}

TEST_F(MassStorage, AWornNvmeDriveWraps) {
    TFakeNvme& drive = FakeDrives::nvme["/dev/nvme0"] = FakeDrives::Nvme("12345678", "M", "F");
    drive.log[3] = 97;
    drive.log[5] = 120;
    Create(Device("M", 2,
                  "<r name='CyclesLeftPercent' id='05' datatype='1' opt1='5' opt2='5'/>"
                  "<r name='SpareBlocksLeftPercent' id='03' datatype='1' opt1='5' opt2='5'/>"));
    EXPECT_EQ(Element(8, 1), Value("EC 00"));
    EXPECT_EQ(Element(11, 1), Value("61 00"));
}

TEST_F(MassStorage, ADriveThatGoesBetweenItsIdentityAndItsHealthHasNoFiguresOfAttributes) {
    FakeDrives::Put(Plug(0, "12345678"), 0, 0x05, 100, 9);
    Create(Device("M", 1, Raw("ReallocatedSectors", "05") + Constant("SpinRetries", 6)));
    static int opened = 0;
    opened = 0;
    FakeDrives::onOpen = [](const std::string& path) {
        if (path == "/dev/ada0" && ++opened == 2) {
            FakeDrives::ata.erase(path);
        }
    };
    EXPECT_EQ(Element(1, 1), Text("12345678"));
    EXPECT_EQ(Element(12, 1), None(NOT_SUPPORTED));
    EXPECT_EQ(Element(13, 1), Wide(6)); // a constant needs no attribute
}

TEST_F(MassStorage, HealthDataThatCannotBeReadIsNotTakenFromBefore) {
    TFakeAta& drive = Plug(0, "12345678");
    FakeDrives::Put(drive, 0, 0x05, 100, 9);
    Create(Device("M", 1, Raw("ReallocatedSectors", "05")));
    EXPECT_EQ(Element(12, 1), Wide(9));
    drive.fails = 0xD0;
    SleepAll();
    EXPECT_EQ(Element(12, 1), None(NOT_SUPPORTED));
}

// --- sleep and wake --------------------------------------------------------------------------------------------------

TEST_F(MassStorage, SleepTakesTheArraysBackAndWakingReadsAnew) {
    TFakeAta& drive = Plug(0, "12345678");
    FakeDrives::Put(drive, 0, 0x05, 100, 7);
    Create(Device("M", 1, Raw("ReallocatedSectors", "05")));
    for (unsigned int round = 0; round < 3; ++round) {
        FakeDrives::Put(drive, 0, 0x05, 100, round);
        EXPECT_EQ(Element(12, 1), Wide(round));
        EXPECT_FALSE(TickPublishes());
        SleepAll();
        EXPECT_TRUE(FakeTimers::timers.empty());
        for (unsigned int k = 1; k <= 15; ++k) {
            EXPECT_FALSE(Dictionary().GetObjectRef(static_cast<unsigned short>(HEADER + k))) << k;
        }
    }
    EXPECT_EQ(FakeTimers::killed.size(), 3U);
}

TEST_F(MassStorage, ATickCountBeginsAnewWithEachWaking) {
    Plug(0, "12345678");
    Create("");
    Count(1);
    for (int tick = 1; tick < TICKS; ++tick) {
        EXPECT_FALSE(TickPublishes());
    }
    SleepAll();
    Count(1);
    for (int tick = 1; tick < TICKS; ++tick) {
        EXPECT_FALSE(TickPublishes()) << tick;
    }
    EXPECT_TRUE(TickPublishes());
}

TEST_F(MassStorage, ATimerThatFiresOnceMoreAfterSleepDoesNothing) {
    Plug(0, "12345678");
    Create("");
    Count(1);
    IMdpTimerCallback* const callback = FakeTimers::timers.begin()->second.callback;
    SleepAll();
    FakeDrives::calls.clear();
    callback->MdpTimerproc(1, HEADER, nullptr);
    EXPECT_THAT(FakeDrives::calls, IsEmpty());
}

TEST_F(MassStorage, WithOneArrayMissingNothingIsPublishedAndTheChangeIsOver) {
    Plug(0, "12345678");
    Create("");
    EXPECT_EQ(Count(1), 1);
    Dictionary().RemoveObject(HEADER + 9);
    Plug(1, "87654321");
    EXPECT_TRUE(TickPublishes()); // it begins to
    EXPECT_EQ(Count(1), 1);
    EXPECT_FALSE(TickPublishes());
}
