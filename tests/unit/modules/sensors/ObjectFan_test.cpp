#include "modules/ObjectFan.h"

#include <gmock/gmock.h>

#include <cerrno>

#include "SensorTest.h"

namespace {

class FanModule : public SensorTest {
protected:
    void AddFans() {
        FakeDevice::AddSensor(1, 1, 5, 40, "Board");
        FakeDevice::AddSensor(2, 3, 2, 2300, "CPU fan");
        FakeDevice::AddSensor(3, 3, 5, 1200, "Case fan");
        EXPECT_EQ(Fan::Create(), 0U);
    }

    // The activator of a fan module outside of the dictionary, for one tick at a time.
    static void TickOf(unsigned short header) { Tick<Fan::CFanActivator>(header, nullptr); }
};

} // namespace

TEST_F(FanModule, EachFanSensorIsAModuleWithASlotOfItsOwn) {
    AddFans();
    EXPECT_EQ(Read(0x8000, 1), Value("00 00 1B 00"));
    EXPECT_EQ(Read(0x8000, 2), Text("FAN"));
    EXPECT_EQ(Read(0x8000, 3), Text("CPU fan"));
    EXPECT_EQ(Read(0x8000, 4), Value("10 27 1B 00"));
    EXPECT_EQ(TextOf(0x8000), 1240);
    EXPECT_EQ(Read(0x8010, 1), Value("01 00 1B 00"));
    EXPECT_EQ(Read(0x8010, 3), Text("Case fan"));
    EXPECT_EQ(Read(0xF030, 0), Value("02 00"));
    EXPECT_EQ(Read(0xF060, 0), Value("02 00"));
    EXPECT_EQ(Read(0xF030, 2), Value("1B 00"));
}

TEST_F(FanModule, WithoutASensorThereIsNoModule) {
    FakeDevice::AddSensor(1, 1, 5, 40, "Board");
    EXPECT_EQ(Fan::Create(), 0U);
    EXPECT_EQ(Read(0xF030, 0), Value("00 00"));
    FakeDevice::FailOpen(ENOENT);
    EXPECT_EQ(Fan::Create(), 0U);
    EXPECT_EQ(Read(0xF030, 0), Value("00 00"));
}

TEST_F(FanModule, FirstReadHasTheValueOfTheActivation) {
    AddFans();
    EXPECT_EQ(Dictionary().GetObject(0x8001), nullptr);
    EXPECT_EQ(Read(0x8001, 1), Value("FC 08"));
    EXPECT_EQ(Read(0x8011, 1), Value("B0 04"));
    EXPECT_EQ(Read(0x8001, 0), Value("01 00"));
    EXPECT_EQ(AccessOf(0x8001, 1), 0x10003U);
    EXPECT_EQ(TextOf(0x8001), 1241);
    EXPECT_EQ(TextOf(0x8001, 1), 10120);
}

TEST_F(FanModule, EachFanSleepsAndWakesAlone) {
    AddFans();
    Read(0x8001, 1);
    EXPECT_EQ(CZmVtDevWrapper::RefCounter(), 1);
    Read(0x8011, 1);
    EXPECT_EQ(CZmVtDevWrapper::RefCounter(), 2);
    SleepAll();
    EXPECT_EQ(Dictionary().GetObject(0x8001), nullptr);
    EXPECT_EQ(CZmVtDevWrapper::RefCounter(), 0);
    EXPECT_EQ(Read(0x8010, 3), Text("Case fan"));
    EXPECT_EQ(Dictionary().GetObject(0x8001), nullptr);
}

TEST_F(FanModule, TickBringsTheNewSpeed) {
    AddFans();
    Read(0x8001, 1);
    FakeDevice::AddSensor(2, 3, 2, 0x12345, "CPU fan");
    TickOf(0x8000);
    EXPECT_EQ(Read(0x8001, 1), Value("45 23")) << "the low 16 bits";
}

TEST_F(FanModule, LostSensorHasNoDataUntilItComesBack) {
    AddFans();
    Read(0x8001, 1);
    FakeDevice::Fail(0x2000, 2, EIO);
    TickOf(0x8000);
    EXPECT_EQ(Read(0x8001, 1), None(NO_DATA));
    FakeDevice::AddSensor(2, 3, 2, 900, "CPU fan");
    TickOf(0x8000);
    EXPECT_EQ(Read(0x8001, 1), Value("84 03"));
}

TEST_F(FanModule, SensorThatFailsAtTheActivationHasNoDataUntilATickReadsIt) {
    AddFans();
    FakeDevice::Fail(0x2000, 2, EIO);
    EXPECT_EQ(Read(0x8001, 1), None(NO_DATA));
    EXPECT_EQ(Read(0x8001, 0), Value("01 00"));
    FakeDevice::AddSensor(2, 3, 2, 900, "CPU fan");
    TickOf(0x8000);
    EXPECT_EQ(Read(0x8001, 1), Value("84 03"));
}

TEST_F(FanModule, WithoutTheDeviceTheFirstToWakeHasNoObjectAndLaterOnesNoValue) {
    AddFans();
    FakeDevice::FailOpen(ENOENT);
    EXPECT_EQ(Read(0x8001, 1), None(0xECA60100));
    EXPECT_EQ(Read(0x8001, 1), None(0xECA60100)) << "awake, and not tried again";
    EXPECT_EQ(Read(0x8011, 1), None(NO_DATA));
    EXPECT_EQ(CZmVtDevWrapper::RefCounter(), 2);
    // When the last one sleeps, the next one finds the device again.
    FakeDevice::FailOpen(0);
    SleepAll();
    EXPECT_EQ(Read(0x8001, 1), Value("FC 08"));
}

TEST_F(FanModule, TickTellsWhyThereIsNoValue) {
    AddFans();
    Read(0x8001, 1);
    g_pLogger->AddRoute(4, 1);
    testing::internal::CaptureStdout();
    FakeDevice::Fail(0x2000, 2, EIO);
    TickOf(0x8000);
    SleepAll();
    FakeDevice::FailOpen(EACCES);
    EXPECT_EQ(Read(0x8001, 1), None(0xECA60100));
    EXPECT_EQ(Read(0x8011, 1), None(NO_DATA));
    TickOf(0x8010);
    SleepAll();
    FakeDevice::FailOpen(0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Error: FVtSysGetSensorInfo failed!\nError: FVtSysGetSensorInfo is null!\n");
}

TEST_F(FanModule, TickAfterTheLossOfTheDeviceTellsTheErrorOfTheOpen) {
    FakeDevice::AddSensor(1, 3, 2, 2300, "CPU fan");
    EXPECT_EQ(Fan::Create(), 0U);
    Read(0x8001, 1);
    CZmVtDevWrapper::UnloadDll(); // nobody else uses the device at this tick
    FakeDevice::FailOpen(ENOENT);
    g_pLogger->AddRoute(4, 1);
    testing::internal::CaptureStdout();
    TickOf(0x8000);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Error: Could not load ZmVtDevFun.dll Error:(0xECA70002)\n");
    EXPECT_EQ(Read(0x8001, 1), Value("FC 08"));
    FakeDevice::FailOpen(0);
    CZmVtDevWrapper::LoadDll();
}

TEST_F(FanModule, TickOfASleepingModuleDoesNothing) {
    AddFans();
    FakeDevice::TakeRequests();
    TickOf(0x8000);
    EXPECT_THAT(FakeDevice::TakeRequests(), testing::IsEmpty());
}
