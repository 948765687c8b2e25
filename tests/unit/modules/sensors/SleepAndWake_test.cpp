// Ten thousand sleeps and wakes leave nothing behind: no use of the device, no thread, no descriptor. What they might
// leave of memory is the address sanitizer's to find.
#include <filesystem>
#include <iterator>

#include "SensorTest.h"
#include "modules/ObjectFan.h"
#include "modules/ObjectIO.h"
#include "modules/ObjectMainboard.h"
#include "modules/ups/ObjectUPS.h"

namespace {

using SleepAndWake = SensorTest;

std::size_t CountEntries(const char* directory) {
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator(directory), std::filesystem::directory_iterator()));
}

} // namespace

TEST_F(SleepAndWake, TenThousandTimesLeaveNothingBehind) {
    FakeDevice::AddSensor(1, 3, 2, 2300, "CPU fan");
    FakeDevice::AddSensor(2, 2, 5, 500, "5V");
    FakeDevice::AddSensor(3, 1, 5, 40, "Board");
    FakeDevice::Answer(0x4000, 0x21, Bytes("01"));
    FakeDevice::Answer(0x5000, 0x01, Bytes("C7"));
    UPS::Create();
    Fan::Create();
    Mainboard::Create();
    IO::Create();
    std::size_t threads = 0;
    std::size_t descriptors = 0;
    constexpr int ROUNDS = 2500; // of four modules
    for (int round = 0; round < ROUNDS; ++round) {
        EXPECT_EQ(Read(0x8001, 7), Value("01"));
        EXPECT_EQ(Read(0x8011, 1), Value("FC 08"));
        EXPECT_EQ(Read(0x8021, 10), Value("28 00"));
        EXPECT_EQ(Read(0x8031, 1), Value("01"));
        EXPECT_EQ(CZmVtDevWrapper::RefCounter(), 4);
        SleepAll();
        ASSERT_EQ(CZmVtDevWrapper::RefCounter(), 0) << round;
        if (round == 0) { // the timers' master and the cleanup thread are there now
            threads = CountEntries("/proc/self/task");
            descriptors = CountEntries("/proc/self/fd");
        }
        if (round % 100 == 0) {
            FakeDevice::TakeRequests();
        }
    }
    EXPECT_EQ(CountEntries("/proc/self/fd"), descriptors);
    for (int i = 0; i < 1000 && CountEntries("/proc/self/task") > threads; ++i) {
        usleep(10000); // a thread is seen a little longer than its end is told
    }
    EXPECT_LE(CountEntries("/proc/self/task"), threads);
}
