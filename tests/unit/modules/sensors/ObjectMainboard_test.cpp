#include "modules/ObjectMainboard.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <memory>

#include "FakeFirmware.h"
#include "SensorTest.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class MainboardModule : public SensorTest {
protected:
    void SetUp() override {
        FakeFirmware::strings.clear();
        SensorTest::SetUp();
    }

    // A board that tells everything.
    static void AddBoard() {
        FakeDevice::Answer(0x0000, 0x02, "CB3065" + Bytes("00 00  02 12 05 00"));
        FakeDevice::AddSensor(1, 1, 2, 61, "CPU dig.");
        FakeDevice::AddSensor(2, 2, 2, 108, "Vcore", 110);
        FakeDevice::AddSensor(3, 1, 5, 38, "Board");
        FakeDevice::AddSensor(4, 1, 5, 44, "Board 2");
        FakeDevice::AddSensor(5, 2, 5, 1204, "12V", 1200);
        FakeDevice::Answer(0x3000, 0x01, Bytes("A5"));
        FakeDevice::Answer(0x3000, 0x03, Bytes("30"));
        FakeDevice::Answer(0x3000, 0x05, Bytes("0F"));
        FakeDevice::Answer(0x3000, 0x07, "");
        FakeDevice::Answer(0x4000, 0x03, Bytes("16 20 00 00"));
        FakeDevice::Answer(0x4000, 0x04, Bytes("FC 47"));
        FakeDevice::Answer(0x4000, 0x05, Bytes("75 7B"));
        FakeDevice::Answer(0x4000, 0x06, "0815-4711-2021" + std::string(3, '\0'));
        FakeDevice::Answer(0x4000, 0x07, Bytes("83 00 00 00"));
        FakeDevice::Answer(0x4000, 0x08, Bytes("22 15"));
    }

    static void CreateBoard() {
        AddBoard();
        ASSERT_EQ(Mainboard::Create(), 0U);
    }

    static void TickOnce() { Tick<Mainboard::CMainboardActivator>(FIRST, nullptr); }

    TAnswer ReadBoard(int k, int subIndex) { return Read(static_cast<unsigned short>(FIRST + k), subIndex); }
};

using Mainboard::CObj0x8nn2;

} // namespace

TEST_F(MainboardModule, HeaderIsThereFromTheStartAndTheRecordsWhileItIsAwake) {
    CreateBoard();
    EXPECT_EQ(Read(FIRST, 1), Value("00 00 1C 00"));
    EXPECT_EQ(Read(FIRST, 2), Text("MAINBOARD"));
    EXPECT_EQ(Read(FIRST, 3), Text("MAINBOARD"));
    EXPECT_EQ(TextOf(FIRST), 1250);
    SleepAll();
    for (unsigned short k = 1; k <= 8; ++k) {
        EXPECT_FALSE(Dictionary().GetObjectRef(static_cast<unsigned short>(FIRST + k))) << k;
    }
    ReadBoard(1, 1);
    const std::int64_t texts[] = {1251, 1252, 1253, 1253, 1253, 1253, 1254, 1255};
    for (unsigned short k = 1; k <= 8; ++k) {
        EXPECT_EQ(TextOf(static_cast<unsigned short>(FIRST + k)), texts[k - 1]) << k;
    }
}

TEST_F(MainboardModule, WithoutTheDeviceThereIsNoModule) {
    FakeDevice::FailOpen(ENOENT);
    EXPECT_EQ(Mainboard::Create(), 0U);
    EXPECT_EQ(Read(0xF030, 0), Value("00 00"));
    EXPECT_EQ(CZmVtDevWrapper::RefCounter(), 0);
}

TEST_F(MainboardModule, WhatCannotBeHadIsTraced) {
    g_pLogger->AddRoute(16, 1);
    testing::internal::CaptureStdout();
    FakeDevice::FailOpen(ENOENT);
    Mainboard::Create();
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "None: Mainboard Create: Could not load ZmVtDev! Error: -324599806\n"); // 0xECA70002
    FakeDevice::FailOpen(0);
    testing::internal::CaptureStdout();
    Mainboard::Create();
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "None: Mainboard Create: Could not read Mainboard Temperature! Error: -2147467259\n" // 0x80004005
              "None: Mainboard Create: Could not read Mainboard Voltages! Error: -2147467259\n");
    FakeDevice::FailOpen(ENOENT);
    testing::internal::CaptureStdout();
    ReadBoard(1, 0);
    EXPECT_THAT(testing::internal::GetCapturedStdout(),
                testing::HasSubstr("None: Mainboard DoActivate: Could not load ZmVtDev! Error: -324599806\n"));
}

TEST_F(MainboardModule, IdentityAndCounters) {
    CreateBoard();
    EXPECT_EQ(ReadBoard(1, 0), Value("0A 00"));
    EXPECT_EQ(ReadBoard(1, 1), Text("CB3065"));
    EXPECT_EQ(ReadBoard(1, 2), Text("0815-4711-2021"));
    EXPECT_EQ(ReadBoard(1, 3), Text("2021-00-00-34"));
    EXPECT_EQ(ReadBoard(1, 4), Value("83 00 00 00"));
    EXPECT_EQ(ReadBoard(1, 5), Value("16 20 00 00"));
    EXPECT_EQ(ReadBoard(1, 6), Value("FC FF FF FF"));
    EXPECT_EQ(ReadBoard(1, 7), Value("47 00 00 00"));
    EXPECT_EQ(ReadBoard(1, 8), Value("B4 2D 00 00")); // 11700 mV
    EXPECT_EQ(ReadBoard(1, 9), Value("0C 30 00 00")); // 12300 mV
    EXPECT_EQ(ReadBoard(1, 10), Value("26 00")) << "the first one that lies on the mainboard";
    const unsigned int types[] = {0x10009, 0x10009, 0x10009, 0x10007, 0x10007,
                                  0x10004, 0x10004, 0x10004, 0x10004, 0x10003};
    const std::int64_t texts[] = {10157, 10140, 10141, 10142, 10143, 10144, 10145, 10146, 10147, 10156};
    for (int subIndex = 1; subIndex <= 10; ++subIndex) {
        EXPECT_EQ(AccessOf(FIRST + 1, subIndex), types[subIndex - 1]) << subIndex;
        EXPECT_EQ(TextOf(FIRST + 1, subIndex), texts[subIndex - 1]) << subIndex;
    }
}

TEST_F(MainboardModule, BoardThatTellsNothingHasItemsWithoutValues) {
    ASSERT_EQ(Mainboard::Create(), 0U);
    for (int subIndex = 1; subIndex <= 10; ++subIndex) {
        EXPECT_EQ(ReadBoard(1, subIndex), None(NO_DATA)) << subIndex;
    }
    for (int subIndex = 1; subIndex <= 3; ++subIndex) {
        EXPECT_EQ(ReadBoard(2, subIndex), None(NO_DATA)) << subIndex;
    }
    for (int k = 3; k <= 6; ++k) {
        EXPECT_EQ(ReadBoard(k, 0), Value("00 00")) << k;
    }
    for (int subIndex = 1; subIndex <= 8; ++subIndex) {
        EXPECT_EQ(ReadBoard(7, subIndex), None(NO_DATA)) << subIndex;
        EXPECT_EQ(AccessOf(FIRST + 7, subIndex), 0x10005U) << subIndex;
        EXPECT_EQ(Write(FIRST + 7, subIndex, Bytes("01")), 0xECA60101U) << subIndex;
        EXPECT_EQ(ReadBoard(8, subIndex), None(NO_DATA)) << subIndex;
    }
}

TEST_F(MainboardModule, ProductionDateWithoutAYearHasNone) {
    CreateBoard();
    FakeDevice::Answer(0x4000, 0x08, Bytes("22 00"));
    EXPECT_EQ(ReadBoard(1, 3), Text("0000-00-00-34"));
}

TEST_F(MainboardModule, NameOfEightCharactersRunsOnIntoTheRecordAndEndsWithIt) {
    CreateBoard();
    FakeDevice::Answer(0x0000, 0x02, "CB3065-2" + Bytes("41 00 05 00"));
    EXPECT_EQ(ReadBoard(1, 1), Text("CB3065-2A"));
    SleepAll();
    FakeDevice::Answer(0x0000, 0x02, "CB3065-2" + Bytes("41 42 43 44"));
    EXPECT_EQ(ReadBoard(1, 1), Text("CB3065-2ABCD"));
}

TEST_F(MainboardModule, LowestVoltageIsNegative) {
    CreateBoard();
    FakeDevice::Answer(0x4000, 0x05, Bytes("80 7F"));
    EXPECT_EQ(ReadBoard(1, 8), Value("00 CE FF FF")); // -12800
}

TEST_F(MainboardModule, VersionsArePackedDecimals) {
    CreateBoard();
    EXPECT_EQ(ReadBoard(2, 0), Value("04 00"));
    EXPECT_EQ(ReadBoard(2, 1), Value("02"));
    EXPECT_EQ(ReadBoard(2, 2), Value("0C"));
    EXPECT_EQ(ReadBoard(2, 3), Value("05"));
    const std::int64_t texts[] = {10148, 10149, 10150, 20151};
    for (int subIndex = 1; subIndex <= 4; ++subIndex) {
        EXPECT_EQ(AccessOf(FIRST + 2, subIndex), subIndex == 4 ? 0x10009U : 0x10005U);
        EXPECT_EQ(TextOf(FIRST + 2, subIndex), texts[subIndex - 1]);
    }
}

TEST_F(MainboardModule, BiosVersionIsTheMiddleOfTheText) {
    EXPECT_EQ(CObj0x8nn2::BiosVersionFullRemovePlatform("CB3065- 1.23 -rel"), "1.23");
    EXPECT_EQ(CObj0x8nn2::BiosVersionFullRemovePlatform("CB3065-1.23"), "1.23");
    EXPECT_EQ(CObj0x8nn2::BiosVersionFullRemovePlatform("1.23"), "");
    EXPECT_EQ(CObj0x8nn2::BiosVersionFullRemovePlatform(""), "");
    EXPECT_EQ(CObj0x8nn2::BiosVersionFullRemovePlatform("CB3065--rel"), "");
}

TEST_F(MainboardModule, WithoutATextTheBiosVersionIsThatOfTheRecord) {
    const auto fallback = [](unsigned char major, unsigned char minor) {
        return CObj0x8nn2::BiosVersionFullGetFallback(major, minor);
    };
    EXPECT_EQ(fallback(12, 5), "12.5");
    EXPECT_EQ(fallback(0, 5), "0.5");
    EXPECT_EQ(fallback(1, 0), "1.0");
    EXPECT_EQ(fallback(0, 0), "");
}

TEST_F(MainboardModule, BiosVersionIsPublishedFromTheTextOrElseFromTheRecord) {
    CreateBoard();
    const auto published = [this](const std::string& text) {
        FakeFirmware::strings["smbios.bios.version"] = text;
        SleepAll();
        return ReadBoard(2, 4);
    };
    EXPECT_EQ(ReadBoard(2, 4), Text("12.5")) << "there is no text";
    EXPECT_EQ(published("CB3065-1.23-rel"), Text("1.23"));
    EXPECT_EQ(published("1.23"), Text("12.5"));
    FakeDevice::Answer(0x0000, 0x02, "CB3065" + Bytes("00 00  02 00 00 00"));
    EXPECT_EQ(published("CB3065-1.23-rel"), Text("1.23"));
    EXPECT_EQ(published("1.23"), None(NO_DATA));
    FakeDevice::Fail(0x0000, 0x02, EIO);
    EXPECT_EQ(published("1.23"), None(NO_DATA));
    EXPECT_EQ(published("CB3065-1.23-rel"), Text("1.23")) << "the text does not come from the board's driver";
}

TEST_F(MainboardModule, MoreVoltageSensorsThanAnObjectTakesLeaveTheFirst254) {
    constexpr unsigned int sensors = 300;
    for (unsigned int index = 1; index <= sensors; ++index) {
        FakeDevice::AddSensor(index, 2, 5, static_cast<std::int32_t>(index), "in");
    }
    ASSERT_EQ(Mainboard::Create(), 0U);
    EXPECT_EQ(ReadBoard(5, 0), Value("FE 00"));
    TickOnce();
    EXPECT_EQ(ReadBoard(5, 0), Value("FE 00"));
    EXPECT_EQ(ReadBoard(5, 1), Value("0A 00"));
    EXPECT_EQ(ReadBoard(5, 254), Value("EC 09"));
    FakeDevice::Fail(0x2000, 256, EIO);
    TickOnce();
    EXPECT_EQ(ReadBoard(5, 0), Value("FE 00"));
}

TEST_F(MainboardModule, EveryVoltageSensorIsOneItemOfFourObjects) {
    CreateBoard();
    for (int k = 3; k <= 6; ++k) {
        EXPECT_EQ(ReadBoard(k, 0), Value("02 00")) << k;
    }
    EXPECT_EQ(ReadBoard(3, 1), Text("Vcore"));
    EXPECT_EQ(ReadBoard(3, 2), Text("12V"));
    EXPECT_EQ(ReadBoard(4, 1), Value("02 00"));
    EXPECT_EQ(ReadBoard(4, 2), Value("05 00"));
    EXPECT_EQ(ReadBoard(5, 1), Value("38 04")); // 1080
    EXPECT_EQ(ReadBoard(5, 2), Value("08 2F")); // 12040
    EXPECT_EQ(ReadBoard(6, 1), Value("4C 04")); // 1100
    EXPECT_EQ(ReadBoard(6, 2), Value("E0 2E")); // 12000
    const unsigned int types[] = {0x10009, 0x10003, 0x10003, 0x10003};
    for (unsigned short k = 3; k <= 6; ++k) {
        EXPECT_EQ(AccessOf(static_cast<unsigned short>(FIRST + k), 1), types[k - 3]);
        EXPECT_EQ(TextOf(static_cast<unsigned short>(FIRST + k), 1), 10148 + k);
    }
}

TEST_F(MainboardModule, VoltageSensorThatFailsAtTheActivationHasNoValuesUntilATickReadsIt) {
    CreateBoard();
    FakeDevice::Fail(0x2000, 2, EIO);
    for (int k = 3; k <= 6; ++k) {
        EXPECT_EQ(ReadBoard(k, 0), Value("02 00")) << k;
        EXPECT_EQ(ReadBoard(k, 1), None(NO_DATA)) << k;
    }
    EXPECT_EQ(ReadBoard(3, 2), Text("12V"));
    FakeDevice::AddSensor(2, 2, 2, -7, "Vcore");
    TickOnce();
    EXPECT_EQ(ReadBoard(5, 1), Value("BA FF")); // -70
    EXPECT_EQ(ReadBoard(3, 1), None(NO_DATA)) << "names are read once";
}

TEST_F(MainboardModule, TickBringsTemperatureAndVoltagesAndTakesAwayWhatFails) {
    CreateBoard();
    ReadBoard(1, 10);
    FakeDevice::AddSensor(3, 1, 5, -5, "Board");
    FakeDevice::AddSensor(5, 2, 5, 4000, "12V");
    TickOnce();
    EXPECT_EQ(ReadBoard(1, 10), Value("FB FF"));
    EXPECT_EQ(ReadBoard(5, 2), Value("40 9C")) << "the low 16 bits";
    EXPECT_EQ(ReadBoard(6, 2), Value("E0 2E"));
    FakeDevice::Fail(0x2000, 3, EIO);
    FakeDevice::Fail(0x2000, 5, EIO);
    TickOnce();
    EXPECT_EQ(ReadBoard(1, 10), None(NO_DATA));
    EXPECT_EQ(ReadBoard(5, 2), None(NO_DATA));
    EXPECT_EQ(ReadBoard(5, 1), Value("38 04"));
    FakeDevice::AddSensor(3, 1, 5, 40, "Board");
    FakeDevice::AddSensor(5, 2, 5, 1199, "12V");
    TickOnce();
    EXPECT_EQ(ReadBoard(1, 10), Value("28 00"));
    EXPECT_EQ(ReadBoard(5, 2), Value("D6 2E"));
}

TEST_F(MainboardModule, OperatingTimeIsReadOnEveryFifteenthTick) {
    CreateBoard();
    ReadBoard(1, 5);
    FakeDevice::Answer(0x4000, 0x03, Bytes("17 20 00 00"));
    for (int tick = 1; tick <= 14; ++tick) {
        TickOnce();
        EXPECT_EQ(ReadBoard(1, 5), Value("16 20 00 00")) << tick;
    }
    TickOnce();
    EXPECT_EQ(ReadBoard(1, 5), Value("17 20 00 00"));
    FakeDevice::Fail(0x4000, 0x03, EIO);
    for (int tick = 16; tick <= 30; ++tick) {
        TickOnce();
    }
    EXPECT_EQ(ReadBoard(1, 5), None(NO_DATA));
}

TEST_F(MainboardModule, CounterOfTheTicksWrapsAfterEightBits) {
    CreateBoard();
    ReadBoard(1, 5);
    const auto asked = [] {
        FakeDevice::TakeRequests();
        TickOnce();
        const auto requests = FakeDevice::TakeRequests();
        return std::count(requests.begin(), requests.end(), FakeDevice::TRequest{0x4000, 0x03, ""});
    };
    for (int tick = 1; tick <= 254; ++tick) {
        EXPECT_EQ(asked(), tick % 15 == 0 ? 1 : 0) << tick;
    }
    EXPECT_EQ(asked(), 1) << "255";
    EXPECT_EQ(asked(), 1) << "256, which is 0";
    EXPECT_EQ(asked(), 0);
}

TEST_F(MainboardModule, PinsAreTheBitsOfTheInputPort) {
    CreateBoard();
    for (int pin = 0; pin < 8; ++pin) {
        EXPECT_EQ(ReadBoard(7, pin + 1), Value(0xA5 >> pin & 1 ? "01" : "00")) << pin;
        EXPECT_EQ(ReadBoard(8, pin + 1), Value(0x0F >> pin & 1 ? "01" : "00")) << pin;
        EXPECT_EQ(AccessOf(FIRST + 7, pin + 1), pin < 4 ? 0x10005U : 0x30005U) << pin;
        EXPECT_EQ(AccessOf(FIRST + 8, pin + 1), 0x10005U) << pin;
        EXPECT_EQ(TextOf(FIRST + 7, pin + 1), 10158 + pin);
        EXPECT_EQ(TextOf(FIRST + 8, pin + 1), 10158 + pin);
    }
}

TEST_F(MainboardModule, TickBringsThePinsAndKeepsThemWhereItCannot) {
    CreateBoard();
    ReadBoard(7, 1);
    FakeDevice::Answer(0x3000, 0x01, Bytes("5A"));
    FakeDevice::Answer(0x3000, 0x05, Bytes("F0"));
    TickOnce();
    EXPECT_EQ(ReadBoard(7, 1), Value("00"));
    EXPECT_EQ(ReadBoard(7, 2), Value("01"));
    EXPECT_EQ(ReadBoard(8, 1), Value("00"));
    EXPECT_EQ(ReadBoard(8, 8), Value("01"));
    EXPECT_EQ(AccessOf(FIRST + 7, 1), 0x10005U) << "access stays that of the activation";
    FakeDevice::Fail(0x3000, 0x01, EIO);
    FakeDevice::Fail(0x3000, 0x05, EIO);
    TickOnce();
    EXPECT_EQ(ReadBoard(7, 2), Value("01"));
    EXPECT_EQ(ReadBoard(8, 8), Value("01"));
}

TEST_F(MainboardModule, PinsThatCouldNotBeReadAreFilledByALaterTick) {
    AddBoard();
    FakeDevice::Fail(0x3000, 0x01, EIO);
    ASSERT_EQ(Mainboard::Create(), 0U);
    EXPECT_EQ(ReadBoard(7, 8), None(NO_DATA));
    EXPECT_EQ(Dictionary().GetObjectRef(FIRST + 7)->GetItem(8)->size, 0U);
    EXPECT_EQ(ReadBoard(8, 1), Value("01"));
    FakeDevice::Answer(0x3000, 0x01, Bytes("80"));
    TickOnce();
    EXPECT_EQ(ReadBoard(7, 8), Value("01"));
    EXPECT_EQ(Write(FIRST + 7, 8, Bytes("01")), 0xECA60101U) << "read-only it stays";
}

TEST_F(MainboardModule, WrittenPinChangesItsBitOfTheOutputPort) {
    CreateBoard();
    ReadBoard(7, 1);
    FakeDevice::TakeRequests();
    EXPECT_EQ(Write(FIRST + 7, 8, Bytes("01")), 0U);
    EXPECT_EQ(Write(FIRST + 7, 5, Bytes("00")), 0U);
    EXPECT_THAT(FakeDevice::TakeRequests(),
                ElementsAre(FakeDevice::TRequest{0x3000, 0x03, ""}, FakeDevice::TRequest{0x3000, 0x07, Bytes("B0")},
                            FakeDevice::TRequest{0x3000, 0x03, ""}, FakeDevice::TRequest{0x3000, 0x07, Bytes("20")}));
    EXPECT_EQ(ReadBoard(7, 8), Value("01"));
    EXPECT_EQ(ReadBoard(7, 5), Value("00"));
}

TEST_F(MainboardModule, PinsTakeOneByteOfZeroOrOne) {
    CreateBoard();
    ReadBoard(7, 1);
    FakeDevice::TakeRequests();
    EXPECT_EQ(Write(FIRST + 7, 5, Bytes("02")), 0xECA60106U);
    EXPECT_EQ(Write(FIRST + 7, 5, Bytes("01 00")), 0xECA60106U);
    EXPECT_EQ(Write(FIRST + 7, 5, ""), 0xECA60106U);
    EXPECT_EQ(Mainboard::SetGPIO1_Out(nullptr, FIRST + 7, 5, nullptr, 1), 0xECA60106U);
    for (const auto& request : FakeDevice::TakeRequests()) {
        EXPECT_NE(request.offset, 0x07U) << "the port was written";
    }
}

TEST_F(MainboardModule, PinsOfTheInputSideRefuseWrites) {
    CreateBoard();
    ReadBoard(7, 1);
    FakeDevice::TakeRequests();
    EXPECT_EQ(Write(FIRST + 7, 1, Bytes("01")), 0xECA60101U);
    EXPECT_THAT(FakeDevice::TakeRequests(), IsEmpty());
}

TEST_F(MainboardModule, PinsTellThatThePortCannotBeWritten) {
    CreateBoard();
    ReadBoard(7, 1);
    FakeDevice::Fail(0x3000, 0x07, EIO);
    EXPECT_EQ(Write(FIRST + 7, 5, Bytes("01")), 0xECA70000U);
    FakeDevice::Fail(0x3000, 0x03, EIO);
    EXPECT_EQ(Write(FIRST + 7, 5, Bytes("01")), 0xECA70000U);
    EXPECT_EQ(ReadBoard(7, 5), Value("00")) << "of the input port, as before";
}

TEST_F(MainboardModule, DeviceThatHasGoneLeavesItemsWithoutValues) {
    CreateBoard();
    FakeDevice::FailOpen(ENOENT);
    EXPECT_EQ(ReadBoard(1, 1), None(NO_DATA));
    EXPECT_EQ(ReadBoard(1, 10), None(NO_DATA));
    EXPECT_EQ(ReadBoard(5, 1), None(NO_DATA));
    EXPECT_EQ(ReadBoard(7, 1), None(NO_DATA));
    TickOnce();
    EXPECT_EQ(ReadBoard(1, 10), None(NO_DATA));
    SleepAll();
    EXPECT_EQ(CZmVtDevWrapper::RefCounter(), 0);
    FakeDevice::FailOpen(0);
    EXPECT_EQ(ReadBoard(1, 10), Value("26 00"));
}

TEST_F(MainboardModule, PortsAreGivenAsBits) {
    unsigned char* bits = nullptr;
    EXPECT_EQ(Mainboard::GetGPIO1_In(&bits), 0x80004005U);
    EXPECT_EQ(std::string(bits, bits + 8), std::string(8, '\0'));
    delete[] bits;
    AddBoard();
    const ZmVtDevWrapper::CDeviceUse device;
    EXPECT_EQ(Mainboard::GetGPIO1_In(&bits), 0U);
    EXPECT_EQ(std::string(bits, bits + 8), Bytes("01 00 01 00 00 01 00 01"));
    delete[] bits;
    EXPECT_EQ(Mainboard::GetGPIO1_Mask(&bits), 0U);
    EXPECT_EQ(std::string(bits, bits + 8), Bytes("01 01 01 01 00 00 00 00"));
    delete[] bits;
}

TEST_F(MainboardModule, TickEndsWhereAnObjectIsMissing) {
    CreateBoard();
    ReadBoard(1, 1);
    FakeDevice::TakeRequests();
    Dictionary().RemoveObject(FIRST + 4);
    TickOnce();
    EXPECT_THAT(FakeDevice::TakeRequests(), IsEmpty());
}
