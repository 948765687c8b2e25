// Timers, readers, writers and the cleanup together, for the thread sanitizer.
#include <atomic>
#include <thread>
#include <vector>

#include "SensorTest.h"
#include "modules/ObjectFan.h"
#include "modules/ObjectIO.h"
#include "modules/ObjectMainboard.h"
#include "modules/ups/ObjectKUps.h"
#include "modules/ups/ObjectUPS.h"

namespace {

using SensorsConcurrency = SensorTest;

} // namespace

TEST_F(SensorsConcurrency, TimersReadersWritersAndCleanupAtOnce) {
    FakeDevice::AddSensor(1, 3, 2, 2300, "CPU fan");
    FakeDevice::AddSensor(2, 2, 5, 500, "5V");
    FakeDevice::AddSensor(3, 1, 5, 40, "Board");
    FakeDevice::Answer(0x3000, 0x01, Bytes("A5"));
    FakeDevice::Answer(0x3000, 0x03, Bytes("30"));
    FakeDevice::Answer(0x3000, 0x05, Bytes("0F"));
    FakeDevice::Answer(0x3000, 0x07, "");
    FakeDevice::Answer(0x4000, 0x21, Bytes("01"));
    FakeDevice::Answer(0x4000, 0x22, "");
    FakeDevice::Answer(0x5000, 0x01, Bytes("C7"));
    FakeDevice::Answer(0x5000, 0x0A, Bytes("78 00 00 00"));
    UPS::Create();
    Fan::Create();
    Mainboard::Create();
    IO::Create();

    std::atomic<bool> stop{false};
    const auto repeat = [&stop](auto action) {
        return std::thread([&stop, action] {
            while (!stop) {
                action();
                usleep(20); // or whoever wants all of it for itself waits for a gap between the others
            }
        });
    };
    std::vector<std::thread> threads;
    threads.push_back(repeat([this] {
        Read(0x8001, 7);
        Read(0x8001, 11);
        Read(0x8001, 13);
    }));
    threads.push_back(repeat([this] {
        Read(0x8011, 1);
        Read(0x8021, 10);
        Read(0x8025, 1);
        Read(0x8027, 0, true);
    }));
    threads.push_back(repeat([this] {
        Write(0x8027, 8, Bytes("01"));
        Write(0x8031, 2, Bytes("01"));
        Write(0x8001, 16, Bytes("01"));
        Read(0x8031, 2);
    }));
    // Ticks much faster than the timers'.
    threads.push_back(repeat([] {
        Tick<UPS::CKUpsActivator>(0x8000);
        Tick<Fan::CFanActivator>(0x8010, nullptr);
        Tick<Mainboard::CMainboardActivator>(0x8020, nullptr);
        std::this_thread::yield();
    }));
    // The device fails now and then.
    threads.push_back(repeat([] {
        FakeDevice::Fail(0x5000, 0x01, 5);
        FakeDevice::Fail(0x2000, 1, 5);
        FakeDevice::AddSensor(1, 3, 2, 2300, "CPU fan");
        FakeDevice::Answer(0x5000, 0x01, Bytes("D2"));
        FakeDevice::TakeRequests();
        usleep(1000);
    }));
    for (int round = 0; round < 25; ++round) {
        CleanUp();
        usleep(5000);
    }
    stop = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    SleepAll();
    EXPECT_EQ(CZmVtDevWrapper::RefCounter(), 0);
}
