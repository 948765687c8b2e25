#include "modules/ObjectCPU_BSD.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "SensorTest.h"

namespace {

namespace fs = std::filesystem;

class CpuModule : public SensorTest {
protected:
    static constexpr unsigned short RECORD = FIRST + 1;

    void SetUp() override {
        char name[] = "/tmp/cpu-programs-XXXXXX";
        m_directory = mkdtemp(name);
        m_path = std::getenv("PATH");
        setenv("PATH", (m_directory.string() + ":" + m_path).c_str(), 1);
        SetProgram("sysctl", R"([ "$*" = "-n hw.clockrate" ] && echo 2597)");
        SetIdle({"50.0"});
        SensorTest::SetUp();
    }

    void TearDown() override {
        SensorTest::TearDown();
        setenv("PATH", m_path.c_str(), 1);
        fs::remove_all(m_directory);
    }

    void SetProgram(const std::string& name, const std::string& lines) {
        const fs::path file = m_directory / name;
        std::ofstream(file) << "#!/bin/sh\n" << lines << "\n";
        fs::permissions(file, fs::perms::owner_all);
    }

    // top shows these idle percentages.
    void SetIdle(const std::vector<std::string>& percentages) {
        std::string lines = "[ \"$*\" = \"-Cn -d 2\" ] || exit 1\n";
        for (const std::string& idle : percentages) {
            lines += "echo 'CPU:  0.4% user,  0.0% nice,  2.2% system,  0.4% interrupt, " + idle +
                     "% idle'\n"
                     "echo '  737 root  1  73    0    14M  2904K CPU0     0   0:00   3.96% top'\n";
        }
        SetProgram("top", lines);
    }

    // What one measurement keeps.
    std::uint16_t Measured() {
        CPU::CObj0x8nn1::GetCpuLoadThread(nullptr);
        return CPU::CObj0x8nn1::Load().value_or(0);
    }

    static void TickOnce() { Tick<CPU::CCPUActivator>(FIRST, nullptr); }

    fs::path m_directory;
    std::string m_path;
};

} // namespace

TEST_F(CpuModule, HeaderIsThereFromTheStart) {
    EXPECT_EQ(CPU::Create(), 0U);
    EXPECT_EQ(Read(FIRST, 1), Value("00 00 0B 00"));
    EXPECT_EQ(Read(FIRST, 2), Text("CPU"));
    EXPECT_EQ(Read(FIRST, 3), Text("CPU0"));
    EXPECT_EQ(TextOf(FIRST), 1000);
}

TEST_F(CpuModule, RecordWakesWithFrequencyLoadOneAndTemperature) {
    FakeDevice::AddSensor(1, 1, 2, 70, "CPU");
    FakeDevice::AddSensor(2, 1, 2, -3, "CPU dig.");
    CPU::Create();
    EXPECT_EQ(Read(RECORD, 0), Value("03 00"));
    EXPECT_EQ(Read(RECORD, 1), Value("25 0A 00 00"));
    EXPECT_EQ(Read(RECORD, 2), Value("01 00"));
    EXPECT_EQ(Read(RECORD, 3), Value("FD FF"));
    EXPECT_EQ(AccessOf(RECORD, 1), 0x50007U);
    EXPECT_EQ(AccessOf(RECORD, 2), 0x10006U);
    EXPECT_EQ(AccessOf(RECORD, 3), 0x10003U);
    EXPECT_EQ(TextOf(RECORD), 1001);
    EXPECT_EQ(TextOf(RECORD, 1), 10000);
    EXPECT_EQ(TextOf(RECORD, 2), 10001);
    EXPECT_EQ(TextOf(RECORD, 3), 20020);
}

TEST_F(CpuModule, WithoutItsSensorTheTemperatureHasNoDataAndTheRestDoes) {
    FakeDevice::AddSensor(1, 1, 2, 70, "CPU");
    CPU::Create();
    EXPECT_EQ(Read(RECORD, 3), None(NO_DATA));
    EXPECT_EQ(Read(RECORD, 1), Value("25 0A 00 00"));
    EXPECT_EQ(Read(RECORD, 2), Value("01 00"));
    // Count, frequency and load are delivered before the code.
    EXPECT_EQ(Read(RECORD, 0, true), (TAnswer{NO_DATA, Bytes("03 00  25 0A 00 00  01 00")}));
}

TEST_F(CpuModule, WithoutTheDeviceTheTemperatureHasNoData) {
    FakeDevice::FailOpen(ENOENT);
    CPU::Create();
    EXPECT_EQ(Read(RECORD, 3), None(NO_DATA));
    TickOnce();
    EXPECT_EQ(Read(RECORD, 3), None(NO_DATA));
    EXPECT_EQ(CZmVtDevWrapper::RefCounter(), 0) << "no use is kept between the ticks";
}

TEST_F(CpuModule, SensorThatFailsAtTheActivationHasNoDataUntilATickReadsIt) {
    FakeDevice::AddSensor(1, 1, 2, 61, "CPU dig.");
    CPU::Create();
    // It is found, and fails from then on.
    int reads = 0;
    FakeDevice::BeforeEach([&reads](std::uint32_t group, std::uint32_t offset) {
        if (group == 0x2000 && offset == 1 && ++reads == 2) {
            FakeDevice::Fail(0x2000, 1, EIO);
        }
    });
    EXPECT_EQ(Read(RECORD, 3), None(NO_DATA));
    FakeDevice::BeforeEach(nullptr);
    FakeDevice::AddSensor(1, 1, 2, 62, "CPU dig.");
    TickOnce();
    EXPECT_EQ(Read(RECORD, 3), Value("3E 00"));
}

TEST_F(CpuModule, LostSensorHasNoDataUntilItComesBack) {
    FakeDevice::AddSensor(1, 1, 2, 61, "CPU dig.");
    CPU::Create();
    Read(RECORD, 3);
    FakeDevice::Fail(0x2000, 1, EIO);
    TickOnce();
    EXPECT_EQ(Read(RECORD, 3), None(NO_DATA));
    FakeDevice::AddSensor(1, 1, 2, 0x1003F, "CPU dig.");
    TickOnce();
    EXPECT_EQ(Read(RECORD, 3), Value("3F 00")) << "the low 16 bits";
}

TEST_F(CpuModule, TickPublishesWhatWasMeasuredBefore) {
    CPU::Create();
    Read(RECORD, 2);
    SetIdle({"99.0", "12.4"});
    CPU::CObj0x8nn1::GetCpuLoadThread(nullptr);
    EXPECT_EQ(Read(RECORD, 2), Value("01 00"));
    TickOnce();
    EXPECT_EQ(Read(RECORD, 2), Value("58 00"));
}

TEST_F(CpuModule, TickStartsAMeasurement) {
    CPU::Create();
    Read(RECORD, 2);
    SetIdle({"25.0"});
    TickOnce();
    for (int i = 0; i < 6000 && CPU::CObj0x8nn1::Load() != 75; ++i) {
        usleep(10000);
    }
    EXPECT_EQ(CPU::CObj0x8nn1::Load(), 75);
}

TEST_F(CpuModule, LoadIsWhatTheLastLineDoesNotIdleAndNeverZero) {
    CPU::Create();
    Read(RECORD, 2);
    SetIdle({"0.0", "97.1"});
    EXPECT_EQ(Measured(), 3);
    SetIdle({"96.5"});
    EXPECT_EQ(Measured(), 4) << "3.5 is rounded away from zero";
    SetIdle({"98.5"});
    EXPECT_EQ(Measured(), 2);
    SetIdle({"98.6"});
    EXPECT_EQ(Measured(), 1);
    SetIdle({"100"});
    EXPECT_EQ(Measured(), 1);
    SetIdle({"0.0"});
    EXPECT_EQ(Measured(), 100);
}

TEST_F(CpuModule, MeasurementThatGoesWrongLeavesLoadOne) {
    CPU::Create();
    Read(RECORD, 2);
    for (const char* lines : {"exit 1", "echo 'Mem: 1M Active'", "echo 'CPU: nan% idle'", "echo 'CPU: none idle'"}) {
        SetIdle({"50.0"});
        EXPECT_EQ(Measured(), 50);
        SetProgram("top", lines);
        EXPECT_EQ(Measured(), 1) << lines;
    }
}

TEST_F(CpuModule, MeasurementThatOutlivesTheRecordKeepsNothing) {
    CPU::Create();
    Read(RECORD, 2);
    EXPECT_TRUE(CPU::CObj0x8nn1::Load());
    SleepAll();
    CPU::CObj0x8nn1::GetCpuLoadThread(nullptr);
    EXPECT_FALSE(CPU::CObj0x8nn1::Load());
    Read(RECORD, 2);
    EXPECT_EQ(CPU::CObj0x8nn1::Load(), 1) << "a new record begins anew";
}

TEST_F(CpuModule, EndOfAnEarlierRecordLeavesTheLoadOfTheNextOne) {
    CPU::Create();
    Read(RECORD, 2);
    auto held = Dictionary().GetObjectRef(RECORD);
    SleepAll();
    Read(RECORD, 2);
    held.Reset();
    EXPECT_EQ(CPU::CObj0x8nn1::Load(), 1);
}

TEST_F(CpuModule, FrequencyIsTheWholeNumberThatTheSystemTells) {
    const std::pair<const char*, std::uint32_t> rows[] = {
        {"echo 2400", 2400}, {"echo 1799.9", 1799},    {"exit 1", 0}, {":", 0}, {"echo none", 0},
        {"echo -5", 0},      {"echo 1e12", 4294967295}};
    for (const auto& [lines, frequency] : rows) {
        SetProgram("sysctl", lines);
        EXPECT_EQ(CPU::GetCpuFreq(), frequency) << lines;
    }
}

TEST_F(CpuModule, SensorIsFoundByItsName) {
    unsigned int sensor = 0;
    unsigned short temperature = 0;
    EXPECT_EQ(CPU::GetCpuSensorIndex(nullptr), 0xECA60107U);
    EXPECT_EQ(CPU::GetCpuTemp(nullptr, &temperature), 0xECA60107U);
    EXPECT_EQ(CPU::GetCpuTemp(&sensor, nullptr), 0xECA60107U);
    EXPECT_EQ(CPU::GetCpuSensorIndex(&sensor), 0x80004005U);
    EXPECT_EQ(CPU::GetCpuTemp(&sensor, &temperature), 0xECA60106U);
    const ZmVtDevWrapper::CDeviceUse device;
    FakeDevice::AddSensor(4, 1, 2, 61, "CPU dig.");
    EXPECT_EQ(CPU::GetCpuSensorIndex(&sensor), 0U);
    EXPECT_EQ(sensor, 4U);
    EXPECT_EQ(CPU::GetCpuTemp(&sensor, &temperature), 0U);
    EXPECT_EQ(temperature, 61);
    FakeDevice::Fail(0x2000, 4, 0x20000009);
    EXPECT_EQ(CPU::GetCpuTemp(&sensor, &temperature), 0xECA70009U);
    sensor = 0;
    EXPECT_EQ(CPU::GetCpuTemp(&sensor, &temperature), 0xECA60106U);
}

TEST_F(CpuModule, TickOfASleepingModuleMeasuresNothing) {
    CPU::Create();
    FakeDevice::TakeRequests();
    TickOnce();
    EXPECT_THAT(FakeDevice::TakeRequests(), testing::IsEmpty());
}
