#include "hardware/ZmVtDevWrapper.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "../common/Hex.h"
#include "../common/LogOf.h"
#include "FakeDevice.h"

using namespace ZmVtDevWrapper;
using testing::ElementsAre;

namespace {

const TProbeType s_temperature = TProbeType::TEMPERATURE;
const TProbeType s_voltage = TProbeType::VOLTAGE;
const TProbeType s_fan = TProbeType::FAN;
const TLocationType s_processor = TLocationType::PROCESSOR;
const TLocationType s_mainboard = TLocationType::MAINBOARD;

// How many entries of the operation table are set.
int FilledEntries() {
    using W = CZmVtDevWrapper;
    return (W::FVtDeviceIoControl != nullptr) + (W::FVtGenGetMainboardInfo != nullptr) +
           (W::FVtGenGetVersion != nullptr) + (W::FVtSysCountSensors != nullptr) + (W::FVtSysGetSensorInfo != nullptr) +
           (W::FPwrCtrlGetOperationTime != nullptr) + (W::FPwrCtrlGetMinMaxTemp != nullptr) +
           (W::FPwrCtrlGetMinMaxVolt != nullptr) + (W::FPwrCtrlGetSerialNumber != nullptr) +
           (W::FPwrCtrlGetBootCounter != nullptr) + (W::FPwrCtrlGetProductionDate != nullptr) +
           (W::FKUpsGetState != nullptr) + (W::FKUpsGetRevision != nullptr) + (W::FKUpsGetTestResult != nullptr) +
           (W::FKUpsCountPowerFails != nullptr) + (W::FKUpsTestCapacity != nullptr) + (W::FKUpsGetGpioInfo != nullptr) +
           (W::FGpioReadMask1 != nullptr) + (W::FGpioWriteMask1 != nullptr) + (W::FGpioReadIn1 != nullptr) +
           (W::FGpioReadOut1 != nullptr) + (W::FGpioWriteOut1 != nullptr) + (W::FEtherCATPGetUxState != nullptr) +
           (W::FEtherCATPSetUxState != nullptr);
}

constexpr int s_entries = 24;

class UnloadedDevice : public testing::Test {
protected:
    void SetUp() override { FakeDevice::Reset(); }

    void TearDown() override { EXPECT_EQ(CZmVtDevWrapper::RefCounter(), 0); }
};

class LoadedDevice : public UnloadedDevice {
protected:
    void SetUp() override {
        UnloadedDevice::SetUp();
        ASSERT_EQ(CZmVtDevWrapper::LoadDll(), 0U);
    }

    void TearDown() override {
        EXPECT_EQ(CZmVtDevWrapper::UnloadDll(), 0U);
        UnloadedDevice::TearDown();
    }

    static FakeDevice::TRequest Request(std::uint32_t group, std::uint32_t offset, const std::string& in = {}) {
        return {group, offset, in};
    }
};

} // namespace

TEST_F(UnloadedDevice, EveryOperationIsAbsent) {
    EXPECT_EQ(FilledEntries(), 0);
    unsigned int count = 7;
    EXPECT_FALSE(CZmVtDevWrapper::Call(CZmVtDevWrapper::FVtSysCountSensors, &count));
    EXPECT_FALSE(CZmVtDevWrapper::mVtSysCountSensors(&count));
    EXPECT_EQ(count, 7U);
}

TEST_F(UnloadedDevice, FirstUserOpensAndLastOneCloses) {
    EXPECT_EQ(CZmVtDevWrapper::LoadDll(), 0U);
    EXPECT_EQ(CZmVtDevWrapper::LoadDll(), 0U);
    EXPECT_EQ(FakeDevice::Opens(), 1);
    EXPECT_EQ(CZmVtDevWrapper::RefCounter(), 2);
    EXPECT_EQ(CZmVtDevWrapper::UnloadDll(), 0U);
    EXPECT_EQ(FilledEntries(), s_entries);
    EXPECT_EQ(CZmVtDevWrapper::UnloadDll(), 0U);
    EXPECT_EQ(FilledEntries(), 0);
    EXPECT_EQ(CZmVtDevWrapper::LoadDll(), 0U);
    EXPECT_EQ(FakeDevice::Opens(), 2);
    EXPECT_EQ(CZmVtDevWrapper::UnloadDll(), 0U);
}

TEST_F(UnloadedDevice, EachEntryOfTheTableIsTheOperationOfItsName) {
    using W = CZmVtDevWrapper;
    ASSERT_EQ(W::LoadDll(), 0U);
    EXPECT_EQ(W::FVtDeviceIoControl.load(), &W::mVtDeviceIoControl);
    EXPECT_EQ(W::FVtSysCountSensors.load(), &W::mVtSysCountSensors);
    EXPECT_EQ(W::FPwrCtrlGetOperationTime.load(), &W::mPwrCtrlGetOperationTime);
    EXPECT_EQ(W::FPwrCtrlGetBootCounter.load(), &W::mPwrCtrlGetBootCounter);
    EXPECT_EQ(W::FPwrCtrlGetMinMaxTemp.load(), &W::mPwrCtrlGetMinMaxTemp);
    EXPECT_EQ(W::FPwrCtrlGetMinMaxVolt.load(), &W::mPwrCtrlGetMinMaxVolt);
    EXPECT_EQ(W::FKUpsGetTestResult.load(), &W::mKUpsGetTestResult);
    EXPECT_EQ(W::FKUpsCountPowerFails.load(), &W::mKUpsCountPowerFails);
    EXPECT_EQ(W::FGpioReadMask1.load(), &W::mGpioReadMask1);
    EXPECT_EQ(W::FGpioReadIn1.load(), &W::mGpioReadIn1);
    EXPECT_EQ(W::FGpioReadOut1.load(), &W::mGpioReadOut1);
    EXPECT_EQ(W::FGpioWriteMask1.load(), &W::mGpioWriteMask1);
    EXPECT_EQ(W::FGpioWriteOut1.load(), &W::mGpioWriteOut1);
    W::UnloadDll();
}

TEST_F(UnloadedDevice, FailedOpenTellsItsErrorAndTheUserCounts) {
    FakeDevice::FailOpen(ENOENT);
    std::uint32_t result = 0;
    const auto lines = LogOf({LOG_SEVERITY_PROGRESS}, [&] { result = CZmVtDevWrapper::LoadDll(); });
    EXPECT_EQ(result, 0xECA70000U | ENOENT);
    EXPECT_THAT(lines, ElementsAre("None: CZmVtDevWrapper::LoadDll - Open library failed!"));
    EXPECT_EQ(CZmVtDevWrapper::RefCounter(), 1);
    EXPECT_EQ(FilledEntries(), 0);
    CZmVtDevWrapper::UnloadDll();
}

TEST_F(UnloadedDevice, OnlyTheLow16BitsOfTheErrorOfTheOpenAreTold) {
    FakeDevice::FailOpen(0x20000702);
    EXPECT_EQ(CZmVtDevWrapper::LoadDll(), 0xECA70702U);
    CZmVtDevWrapper::UnloadDll();
}

TEST_F(UnloadedDevice, AfterAFailedOpenLaterUsersGetNoErrorAndNoDevice) {
    FakeDevice::FailOpen(EACCES);
    EXPECT_EQ(CZmVtDevWrapper::LoadDll(), 0xECA70000U | EACCES);
    FakeDevice::FailOpen(0); // it is there now, but Broken it stays
    EXPECT_EQ(CZmVtDevWrapper::LoadDll(), 0U);
    EXPECT_EQ(FilledEntries(), 0);
    EXPECT_EQ(FakeDevice::Opens(), 0);
    EXPECT_EQ(CZmVtDevWrapper::UnloadDll(), 0U);
    std::uint32_t result = 0;
    const auto lines = LogOf({LOG_SEVERITY_PROGRESS}, [&] { result = CZmVtDevWrapper::UnloadDll(); });
    EXPECT_EQ(result, 0x80004005U);
    EXPECT_THAT(lines, ElementsAre("None: CZmVtDevWrapper::UnloadDll - Close/FreeLibrary failed!"));
    // The last user has gone: the next one tries again.
    EXPECT_EQ(CZmVtDevWrapper::LoadDll(), 0U);
    EXPECT_EQ(FilledEntries(), s_entries);
    EXPECT_EQ(CZmVtDevWrapper::UnloadDll(), 0U);
}

TEST_F(UnloadedDevice, UnloadWithNothingOpenIsTold) {
    std::uint32_t result = 0;
    const auto lines = LogOf({LOG_SEVERITY_PROGRESS}, [&] { result = CZmVtDevWrapper::UnloadDll(); });
    EXPECT_EQ(result, 0x80004005U);
    EXPECT_THAT(lines, ElementsAre("None: CZmVtDevWrapper::UnloadDll - Close/FreeLibrary failed!"));
}

TEST_F(UnloadedDevice, FailingCloseIsTold) {
    const int descriptor = dup(STDIN_FILENO);
    close(descriptor);
    FakeDevice::HandOut(descriptor); // one that close refuses
    ASSERT_EQ(CZmVtDevWrapper::LoadDll(), 0U);
    EXPECT_EQ(CZmVtDevWrapper::UnloadDll(), 0x80004005U);
    EXPECT_EQ(FilledEntries(), 0);
}

TEST_F(UnloadedDevice, DescriptorOfZeroReadsAsNotOpen) {
    FakeDevice::Answer(0x2000, 0, "05 00 00 00"_hex);
    FakeDevice::HandOut(0);
    ASSERT_EQ(CZmVtDevWrapper::LoadDll(), 0U);
    EXPECT_EQ(FilledEntries(), s_entries);
    std::uint32_t out = 7;
    EXPECT_EQ(CZmVtDevWrapper::mVtDeviceIoControl(0x2000, 0, nullptr, 0, &out, 4, nullptr, nullptr), 0U);
    EXPECT_EQ(out, 7U);
    unsigned int count = 7;
    EXPECT_TRUE(CZmVtDevWrapper::mVtSysCountSensors(&count));
    EXPECT_EQ(count, 0U);
    EXPECT_THAT(FakeDevice::TakeRequests(), testing::IsEmpty());
    EXPECT_EQ(CZmVtDevWrapper::UnloadDll(), 0x80004005U);
}

TEST_F(LoadedDevice, EachRequestHasItsGroupOffsetAndBuffers) {
    using W = CZmVtDevWrapper;
    std::uint32_t number = 0;
    std::uint8_t byte = 0;
    long min = 7;
    long max = 7;
    FakeDevice::Answer(0x0000, 0x00, "04 03 02 01"_hex);
    EXPECT_TRUE(W::mVtGenGetVersion(&number));
    EXPECT_EQ(number, 0x01020304U);
    TVtDevice_MBInfo board;
    FakeDevice::Answer(0x0000, 0x02, "43 42 31 32 00 00 00 00 02 12 05 00"_hex);
    EXPECT_TRUE(W::mVtGenGetMainboardInfo(&board));
    EXPECT_STREQ(board.name, "CB12");
    EXPECT_EQ(board.revision, 2);
    EXPECT_EQ(board.biosMajor, 0x12);
    EXPECT_EQ(board.biosMinor, 0x05);
    FakeDevice::Answer(0x2000, 0x00, "09 00 00 00"_hex);
    EXPECT_TRUE(W::mVtSysCountSensors(&number));
    EXPECT_EQ(number, 9U);
    FakeDevice::Answer(0x3000, 0x01, "A1"_hex);
    EXPECT_TRUE(W::mGpioReadIn1(&byte));
    EXPECT_EQ(byte, 0xA1);
    FakeDevice::Answer(0x3000, 0x03, "A3"_hex);
    EXPECT_TRUE(W::mGpioReadOut1(&byte));
    EXPECT_EQ(byte, 0xA3);
    FakeDevice::Answer(0x3000, 0x05, "A5"_hex);
    EXPECT_TRUE(W::mGpioReadMask1(&byte));
    EXPECT_EQ(byte, 0xA5);
    FakeDevice::Answer(0x4000, 0x03, "10 27 00 00"_hex);
    EXPECT_TRUE(W::mPwrCtrlGetOperationTime(&number));
    EXPECT_EQ(number, 10000U);
    FakeDevice::Answer(0x4000, 0x04, "FC 47"_hex);
    EXPECT_TRUE(W::mPwrCtrlGetMinMaxTemp(&min, &max));
    EXPECT_EQ(min, -4);
    EXPECT_EQ(max, 71);
    FakeDevice::Answer(0x4000, 0x07, "83 00 00 00"_hex);
    EXPECT_TRUE(W::mPwrCtrlGetBootCounter(&number));
    EXPECT_EQ(number, 131U);
    TVtDevice_Version revision;
    FakeDevice::Answer(0x5000, 0x02, "01 04 1B 01"_hex);
    EXPECT_TRUE(W::mKUpsGetRevision(&revision));
    EXPECT_EQ(revision.major, 1);
    EXPECT_EQ(revision.minor, 4);
    EXPECT_EQ(revision.build, 0x011B);
    FakeDevice::Answer(0x5000, 0x03, "03 00 00 00"_hex);
    EXPECT_TRUE(W::mKUpsCountPowerFails(&number));
    EXPECT_EQ(number, 3U);
    FakeDevice::Answer(0x5000, 0x0A, "78 00 00 00"_hex);
    EXPECT_TRUE(W::mKUpsGetTestResult(&number));
    EXPECT_EQ(number, 120U);
    TKUps_GpioInfo gpio;
    FakeDevice::Answer(0x5000, 0xA0, "34 12 56 78 FF FF FF FF"_hex);
    EXPECT_TRUE(W::mKUpsGetGpioInfo(&gpio));
    EXPECT_EQ(gpio.value1, 0x1234);
    EXPECT_EQ(gpio.value2, 0x56);
    EXPECT_EQ(gpio.value3, 0x78);
}

TEST_F(LoadedDevice, WritesHandTheirBytesIn) {
    using W = CZmVtDevWrapper;
    FakeDevice::Answer(0x3000, 0x07, "");
    FakeDevice::Answer(0x3000, 0x09, "");
    FakeDevice::Answer(0x5000, 0x09, "");
    EXPECT_TRUE(W::mGpioWriteOut1(0x5A));
    EXPECT_TRUE(W::mGpioWriteMask1(0xF0));
    EXPECT_TRUE(W::mKUpsTestCapacity());
    EXPECT_THAT(FakeDevice::TakeRequests(),
                ElementsAre(Request(0x3000, 0x07, "5A"_hex), Request(0x3000, 0x09, "F0"_hex), Request(0x5000, 0x09)));
}

TEST_F(LoadedDevice, EtherCatPPortsAreToldInTheBytesOfTheRequest) {
    using W = CZmVtDevWrapper;
    FakeDevice::Answer(0x4000, 0x21, "01"_hex);
    FakeDevice::Answer(0x4000, 0x22, "");
    std::uint8_t state = 0;
    EXPECT_TRUE(W::mEtherCATPGetUxState(2, false, &state));
    EXPECT_EQ(state, 1);
    EXPECT_TRUE(W::mEtherCATPGetUxState(1, true, &state));
    EXPECT_TRUE(W::mEtherCATPSetUxState(2, false, 0));
    EXPECT_TRUE(W::mEtherCATPSetUxState(2, false, 0x80));
    EXPECT_TRUE(W::mEtherCATPSetUxState(1, true, 1));
    EXPECT_THAT(FakeDevice::TakeRequests(),
                ElementsAre(Request(0x4000, 0x21, "02"_hex), Request(0x4000, 0x21, "81"_hex),
                            Request(0x4000, 0x22, "02 00"_hex), Request(0x4000, 0x22, "02 01"_hex),
                            Request(0x4000, 0x22, "01 81"_hex)));
}

TEST_F(LoadedDevice, FailedRequestTellsTheDriversErrorWhateverIsLogged) {
    FakeDevice::Fail(0x4000, 0x21, 0x20000801);
    std::uint8_t state = 7;
    bool isGood = true;
    int error = 0;
    const auto lines = LogOf({LOG_SEVERITY_PROGRESS}, [&] {
        isGood = CZmVtDevWrapper::mEtherCATPGetUxState(2, false, &state);
        error = errno;
    });
    EXPECT_FALSE(isGood);
    EXPECT_EQ(error, 0x20000801);
    EXPECT_EQ(state, 7);
    EXPECT_THAT(lines, ElementsAre("None: FVtDeviceIoControl - IdxGrp: 0x4000 IdxOff: 0x21 Result: 0xECA60001"));
}

TEST_F(LoadedDevice, GoodRequestIsLogged) {
    FakeDevice::Answer(0x5000, 0xA0, std::string(8, '\0'));
    TKUps_GpioInfo info;
    const auto lines = LogOf({LOG_SEVERITY_PROGRESS}, [&] { CZmVtDevWrapper::mKUpsGetGpioInfo(&info); });
    EXPECT_THAT(lines, ElementsAre("None: FVtDeviceIoControl - IdxGrp: 0x5000 IdxOff: 0xA0 Result: 0x0"));
}

TEST_F(LoadedDevice, RawRequestTellsHowManyBytesCameBack) {
    FakeDevice::Answer(0x2000, 0, "05 00 00 00"_hex);
    std::uint32_t out = 0;
    std::uint32_t returned = 0;
    EXPECT_TRUE(CZmVtDevWrapper::mVtDeviceIoControlInternal(0x2000, 0, nullptr, 0, &out, 4, &returned, nullptr));
    EXPECT_EQ(returned, 4U);
    EXPECT_EQ(out, 5U);
    FakeDevice::Fail(0x2000, 0, EIO);
    EXPECT_FALSE(CZmVtDevWrapper::mVtDeviceIoControlInternal(0x2000, 0, nullptr, 0, &out, 4, &returned, nullptr));
    EXPECT_EQ(returned, 0U);
    EXPECT_EQ(CZmVtDevWrapper::mVtDeviceIoControl(0x2000, 0, nullptr, 0, &out, 4, &returned, nullptr), 0xECA60001U);
}

TEST_F(LoadedDevice, MinimumAndMaximumAreZeroAfterAFailure) {
    long min = 7;
    long max = 7;
    EXPECT_FALSE(CZmVtDevWrapper::mPwrCtrlGetMinMaxTemp(&min, &max));
    EXPECT_EQ(min, 0);
    EXPECT_EQ(max, 0);
    min = max = 7;
    EXPECT_FALSE(CZmVtDevWrapper::mPwrCtrlGetMinMaxVolt(&min, &max));
    EXPECT_EQ(min, 0);
    EXPECT_EQ(max, 0);
}

TEST_F(LoadedDevice, VoltagesOfThePowerControllerAreSignedToo) {
    FakeDevice::Answer(0x4000, 0x05, "80 7F"_hex);
    long min = 0;
    long max = 0;
    EXPECT_TRUE(CZmVtDevWrapper::mPwrCtrlGetMinMaxVolt(&min, &max));
    EXPECT_EQ(min, -128);
    EXPECT_EQ(max, 127);
}

TEST_F(LoadedDevice, SerialNumberIsTheWholeRecord) {
    FakeDevice::Answer(0x4000, 0x06, std::string("0815-4711-2021-X") + '\0');
    TVtDevice_String serial = {};
    EXPECT_TRUE(CZmVtDevWrapper::mPwrCtrlGetSerialNumber(&serial));
    EXPECT_STREQ(serial, "0815-4711-2021-X");
}

TEST_F(LoadedDevice, ProductionDateIsAWeekAndAYear) {
    FakeDevice::Answer(0x4000, 0x08, "22 15"_hex);
    TVDevice_Date date = {1, 2, 3, 4};
    EXPECT_TRUE(CZmVtDevWrapper::mPwrCtrlGetProductionDate(&date));
    EXPECT_EQ(date.week, 34);
    EXPECT_EQ(date.year, 21);
    EXPECT_EQ(date.month, 0);
    EXPECT_EQ(date.day, 0);
}

TEST_F(LoadedDevice, NullArgumentsFailWithoutARequest) {
    using W = CZmVtDevWrapper;
    long number = 0;
    EXPECT_FALSE(W::mVtGenGetVersion(nullptr));
    EXPECT_FALSE(W::mPwrCtrlGetProductionDate(nullptr));
    EXPECT_FALSE(W::mPwrCtrlGetMinMaxVolt(nullptr, &number));
    EXPECT_FALSE(W::mPwrCtrlGetMinMaxVolt(&number, nullptr));
    EXPECT_FALSE(W::mKUpsGetState(nullptr, nullptr));
    EXPECT_FALSE(W::mVtSysGetSensorInfo(1, nullptr, 56));
    EXPECT_THAT(FakeDevice::TakeRequests(), testing::IsEmpty());
}

TEST_F(LoadedDevice, SensorZeroIsRefusedWithoutARequest) {
    FakeDevice::Answer(0x2000, 0, "05 00 00 00"_hex);
    TSensorInfo info;
    EXPECT_FALSE(CZmVtDevWrapper::mVtSysGetSensorInfo(0, &info, sizeof info));
    EXPECT_THAT(FakeDevice::TakeRequests(), testing::IsEmpty());
}

TEST_F(LoadedDevice, SensorRecordIsReadWhateverSizeIsNamed) {
    FakeDevice::AddSensor(3, 1, 2, -40, "CPU dig.", 70);
    TSensorInfo info;
    EXPECT_TRUE(CZmVtDevWrapper::mVtSysGetSensorInfo(3, &info, 0));
    EXPECT_EQ(info.probe, s_temperature);
    EXPECT_EQ(info.location, s_processor);
    EXPECT_EQ(info.reading, -40);
    EXPECT_EQ(info.reference, 70);
    EXPECT_STREQ(info.description, "CPU dig.");
}

TEST_F(LoadedDevice, StateOfTheUpsIsSplitOnlyWhereItIsOnMainsOrOnBattery) {
    const auto state = [](const std::string& byte) {
        FakeDevice::Answer(0x5000, 0x01, byte);
        TKUps_State read = 7;
        unsigned int percent = 7;
        EXPECT_TRUE(CZmVtDevWrapper::mKUpsGetState(&read, &percent));
        return std::pair(read, percent);
    };
    EXPECT_EQ(state("D5"_hex), std::pair(0xD0U, 50U));
    EXPECT_EQ(state("C7"_hex), std::pair(0xC0U, 70U));
    EXPECT_EQ(state("42"_hex), std::pair(0x42U, 0U));
    EXPECT_EQ(state("E5"_hex), std::pair(0xE5U, 0U));
    TKUps_State alone = 0;
    EXPECT_TRUE(CZmVtDevWrapper::mKUpsGetState(&alone, nullptr));
    EXPECT_EQ(alone, 0xE5U);
}

TEST_F(LoadedDevice, ChargeIsZeroAfterAFailure) {
    TKUps_State state = 7;
    unsigned int percent = 7;
    EXPECT_FALSE(CZmVtDevWrapper::mKUpsGetState(&state, &percent));
    EXPECT_EQ(state, 7U);
    EXPECT_EQ(percent, 0U);
}

TEST_F(LoadedDevice, SearchFindsTheLowestIndexOfAKindAndPlace) {
    FakeDevice::AddSensor(1, 3, 5, 1000, "Fan");
    FakeDevice::AddSensor(2, 1, 5, 40, "Board 1");
    FakeDevice::AddSensor(3, 1, 5, 41, "Board 2");
    FakeDevice::AddSensor(4, 1, 2, 60, "CPU dig.");
    unsigned int index = 0;
    EXPECT_EQ(CZmVtDevWrapper::GetSensorIndex(s_temperature, s_mainboard, &index), 0U);
    EXPECT_EQ(index, 2U);
    EXPECT_EQ(CZmVtDevWrapper::GetSensorIndex(s_temperature, s_mainboard, &index, "Board 2"), 0U);
    EXPECT_EQ(index, 3U);
    EXPECT_EQ(CZmVtDevWrapper::GetSensorIndex(s_temperature, s_processor, &index), 0U);
    EXPECT_EQ(index, 4U) << "the sensor whose index is the count belongs to the range";
    EXPECT_EQ(CZmVtDevWrapper::GetSensorIndex(s_temperature, s_processor, &index, "CPU"), 0x80004005U);
    EXPECT_EQ(CZmVtDevWrapper::GetSensorIndex(s_voltage, s_mainboard, &index), 0x80004005U);
    EXPECT_EQ(index, 4U);
}

TEST_F(LoadedDevice, SearchForAListFindsAllInRisingOrderAndAppends) {
    FakeDevice::AddSensor(1, 2, 5, 500, "5V");
    FakeDevice::AddSensor(2, 1, 5, 40, "Board");
    FakeDevice::AddSensor(3, 2, 2, 110, "Vcore");
    std::vector<INDEX_INFO> found(1);
    EXPECT_EQ(CZmVtDevWrapper::GetSensorIndexes(&found, s_voltage), 0U);
    ASSERT_EQ(found.size(), 3U);
    EXPECT_EQ(found[1].index, 1U);
    EXPECT_STREQ(found[1].description, "5V");
    EXPECT_EQ(found[2].index, 3U);
    EXPECT_STREQ(found[2].description, "Vcore");
    found.clear();
    EXPECT_EQ(CZmVtDevWrapper::GetSensorIndexes(&found, s_mainboard), 0U);
    EXPECT_EQ(found.size(), 2U);
    found.clear();
    EXPECT_EQ(CZmVtDevWrapper::GetSensorIndexes(&found, s_voltage, s_processor), 0U);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].index, 3U);
    EXPECT_EQ(CZmVtDevWrapper::GetSensorIndexes(&found, s_fan), 0x80004005U);
    EXPECT_EQ(found.size(), 1U);
}

TEST_F(LoadedDevice, SearchForKindAndPlaceZeroMatchesAtIndexZero) {
    FakeDevice::AddSensor(1, 1, 5, 40, "Board");
    unsigned int index = 7;
    EXPECT_EQ(CZmVtDevWrapper::GetSensorIndex(TProbeType{0}, TLocationType{0}, &index), 0U);
    EXPECT_EQ(index, 0U);
}

TEST_F(LoadedDevice, SensorThatCannotBeReadIsSkippedAlone) {
    for (std::uint32_t index = 1; index <= 3; ++index) {
        FakeDevice::AddSensor(index, 3, 5, 1000, "Fan");
    }
    FakeDevice::Fail(0x2000, 2, EIO);
    std::vector<INDEX_INFO> found;
    EXPECT_EQ(CZmVtDevWrapper::GetSensorIndexes(&found, s_fan), 0U);
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[0].index, 1U);
    EXPECT_EQ(found[1].index, 3U);
}

TEST_F(LoadedDevice, SearchesFailWhereTheCountDoesBarTheTwoThatDoNotNeedIt) {
    unsigned int index = 0;
    std::vector<INDEX_INFO> found;
    EXPECT_EQ(CZmVtDevWrapper::GetSensorIndex(s_fan, s_mainboard, &index), 0x80004005U);
    EXPECT_EQ(CZmVtDevWrapper::GetSensorIndexes(&found, s_fan), 0x80004005U);
    EXPECT_THAT(found, testing::IsEmpty());
    // No count counts as none: index 0 is seen all the same.
    EXPECT_EQ(CZmVtDevWrapper::GetSensorIndexes(&found, TLocationType{0}), 0U);
    EXPECT_EQ(found.size(), 1U);
    EXPECT_EQ(CZmVtDevWrapper::GetSensorIndexes(&found, TProbeType{0}, TLocationType{0}), 0U);
    EXPECT_EQ(found.size(), 2U);
}

TEST_F(LoadedDevice, DescriptionThatFillsItsFieldEndsWithIt) {
    FakeDevice::AddSensor(1, 1, 5, 40, "twelve chars");
    unsigned int index = 0;
    EXPECT_EQ(CZmVtDevWrapper::GetSensorIndex(s_temperature, s_mainboard, &index, "twelve chars"), 0U);
    std::vector<INDEX_INFO> found;
    EXPECT_EQ(CZmVtDevWrapper::GetSensorIndexes(&found, s_temperature), 0U);
    EXPECT_EQ(std::string(found[0].description, 12), "twelve chars");
}

TEST_F(UnloadedDevice, SearchesFailWhereTheDeviceIsAbsent) {
    unsigned int index = 0;
    std::vector<INDEX_INFO> found;
    EXPECT_EQ(CZmVtDevWrapper::GetSensorIndex(TProbeType{0}, TLocationType{0}, &index), 0x80004005U);
    EXPECT_EQ(CZmVtDevWrapper::GetSensorIndex(s_fan, s_mainboard, &index, ""), 0x80004005U);
    EXPECT_EQ(CZmVtDevWrapper::GetSensorIndexes(&found, s_fan), 0x80004005U);
    EXPECT_EQ(CZmVtDevWrapper::GetSensorIndexes(&found, s_mainboard), 0x80004005U);
    EXPECT_EQ(CZmVtDevWrapper::GetSensorIndexes(&found, s_fan, s_mainboard), 0x80004005U);
}

TEST(DeviceVersions, CompareByMajorThenMinorThenBuild) {
    const auto isAtLeast = [](const TVtDevice_Version& a, const TVtDevice_Version& b) {
        return CZmVtDevWrapper::CheckVersionGreaterThanEqualTo(&a, &b);
    };
    EXPECT_EQ(isAtLeast({1, 2, 3}, {1, 2, 3}), 1);
    EXPECT_EQ(isAtLeast({1, 2, 2}, {1, 2, 3}), 0);
    EXPECT_EQ(isAtLeast({1, 3, 0}, {1, 2, 0xFFFF}), 1);
    EXPECT_EQ(isAtLeast({0xFF, 0, 0}, {1, 0xFF, 0xFFFF}), 1);
    const TVtDevice_Version version;
    EXPECT_EQ(CZmVtDevWrapper::CheckVersionGreaterThanEqualTo(nullptr, &version), 0);
    EXPECT_EQ(CZmVtDevWrapper::CheckVersionGreaterThanEqualTo(&version, nullptr), 0);
    EXPECT_EQ(CZmVtDevWrapper::CheckVersion(), 1);
}

TEST(BiosErrors, HaveTheirOwnUpperHalf) {
    EXPECT_TRUE(CZmVtDevWrapper::IsBiosApiError(0x20000000));
    EXPECT_TRUE(CZmVtDevWrapper::IsBiosApiError(0x2000FFFF));
    EXPECT_FALSE(CZmVtDevWrapper::IsBiosApiError(0x20010000));
    EXPECT_FALSE(CZmVtDevWrapper::IsBiosApiError(5));
    EXPECT_FALSE(CZmVtDevWrapper::IsBiosApiError(static_cast<int>(0xECA61000)));
}
