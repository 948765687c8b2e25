// Modules that go to sleep and wake again.
//
// Ten thousand sleeps and wakes leave nothing behind: no use of the device, no thread, no descriptor. What they might
// leave of memory is the address sanitizer's to find.
#include <gmock/gmock.h>

#include <atomic>
#include <filesystem>
#include <future>
#include <iterator>
#include <sstream>

#include "FakeRuntime.h"
#include "SensorTest.h"
#include "modules/ObjectCPU_BSD.h"
#include "modules/ObjectFan.h"
#include "modules/ObjectIO.h"
#include "modules/ObjectMainboard.h"
#include "modules/ups/ObjectKUps.h"
#include "modules/ups/ObjectUPS.h"

namespace {

using SleepAndWake = SensorTest;

std::size_t CountEntries(const char* directory) {
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator(directory), std::filesystem::directory_iterator()));
}

// The lines that the action logs.
template <typename TAction>
std::vector<std::string> TraceOf(TAction action) {
    testing::internal::CaptureStdout();
    action();
    std::istringstream output(testing::internal::GetCapturedStdout());
    std::vector<std::string> lines;
    for (std::string line; std::getline(output, line);) {
        lines.push_back(line);
    }
    return lines;
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

// Otherwise the dictionary, which stands still during a cleanup, would wait for the device too.
TEST_F(SleepAndWake, ModuleWhoseTickWaitsForTheDeviceStaysAwake) {
    FakeDevice::AddSensor(1, 3, 2, 2300, "CPU fan");
    FakeDevice::AddSensor(2, 1, 2, 61, "CPU dig.");
    FakeDevice::AddSensor(3, 1, 5, 40, "Board");
    FakeDevice::Answer(0x5000, 0x01, Bytes("C7"));
    CPU::Create();
    UPS::Create();
    Fan::Create();
    Mainboard::Create();
    constexpr unsigned short records[] = {0x8001, 0x8011, 0x8021, 0x8031};
    for (const unsigned short record : records) {
        EXPECT_EQ(Read(record, 0).result, 0U);
    }
    std::promise<void> answer;
    std::atomic<int> waiting{0};
    FakeDevice::BeforeEach([&waiting, answered = answer.get_future().share()](std::uint32_t, std::uint32_t) {
        ++waiting;
        answered.wait();
    });
    for (int i = 0; i < 3000 && waiting < 4; ++i) {
        usleep(10000);
    }
    EXPECT_EQ(waiting, 4) << "one tick of each module";
    CleanUp();
    for (const unsigned short record : records) {
        EXPECT_TRUE(Dictionary().GetObjectRef(record)) << std::hex << record;
    }
    FakeDevice::BeforeEach(nullptr);
    answer.set_value();
    SleepAll();
    EXPECT_EQ(CZmVtDevWrapper::RefCounter(), 0);
    for (const unsigned short record : records) {
        EXPECT_FALSE(Dictionary().GetObjectRef(record)) << std::hex << record;
    }
}

TEST_F(SleepAndWake, WakingSleepingAndTicksAreTraced) {
    FakeRuntime::Reset();
    FakeDevice::AddSensor(1, 3, 2, 2300, "CPU fan");
    FakeDevice::Answer(0x5000, 0x01, Bytes("C7"));
    CPU::Create();
    UPS::Create();
    Fan::Create();
    Mainboard::Create();
    UPS::CreateUps(&Dictionary(), 1, UPS::USV_TYPE_APC);
    UPS::CreateUps(&Dictionary(), 2, UPS::USV_TYPE_QR);
    const char* const activators[] = {"CCPUActivator",       "CKUpsActivator", "CFanActivator",
                                      "CMainboardActivator", "CApcActivator",  "CQrActivator"};
    g_pLogger->AddRoute(16, 1);
    for (unsigned short slot = 0; slot < std::size(activators); ++slot) {
        const auto header = static_cast<unsigned short>(FIRST + slot * 0x10);
        const std::string name = activators[slot];
        EXPECT_THAT(
            TraceOf([&] { Read(static_cast<unsigned short>(header + 1), 0); }),
            testing::IsSupersetOf({"None: ==>" + name + "::DoActivate()", "None: <==" + name + "::DoActivate()"}));
        EXPECT_THAT(TraceOf([&] {
                        switch (slot) {
                        case 0:
                            return Tick<CPU::CCPUActivator>(header, nullptr);
                        case 1:
                            return Tick<UPS::CKUpsActivator>(header);
                        case 2:
                            return Tick<Fan::CFanActivator>(header, nullptr);
                        case 3:
                            return Tick<Mainboard::CMainboardActivator>(header, nullptr);
                        default:
                            return; // without a timer
                        }
                    }),
                    testing::IsSupersetOf(std::vector<std::vector<std::string>>{
                        {"None: ==>CPU::timerproc()", "None: <==CPU::timerproc()"},
                        {"None: ==> UPS:timerproc()", "None: <== UPS:timerproc()"},
                        {"None: ==> Fan:timerproc()", "None: <== Fan:timerproc()"},
                        {"None: ==> Mainboard:timerproc()", "None: <== Mainboard:timerproc()"},
                        {},
                        {}}[slot]));
        EXPECT_THAT(TraceOf([this] { SleepAll(); }), testing::IsSupersetOf({"None: ==>" + name + "::DoDeactivate()",
                                                                            "None: <==" + name + "::DoDeactivate()"}));
    }
}
