// The readings of smartctl and of the drive classes, of the same simulated drives. Runs in a throw-away machine; the
// calls that the equipment takes over in the service are taken over in this program too, as it is linked with it.
#include <gmock/gmock.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>

#include "hardware/drives/CPhysicalDrive.h"
#include "hardware/drives/CPhysicalDriveNVMe.h"

using PhysicalDrive::CPhysicalDrive;
using PhysicalDrive::CPhysicalDriveNVMe;
using PhysicalDrive::TSmartInfo;

namespace {

class SmartctlTest : public ::testing::Test {
protected:
    static void SetScenario(const std::string& text) {
        ASSERT_TRUE(std::filesystem::exists("/run/machine"));
        std::ofstream("/run/machine/scenario") << text;
        ASSERT_EQ(std::system((std::string(ENTER_DRIVES) + " /run/machine/scenario").c_str()), 0);
    }

    static std::string Smartctl(const std::string& arguments) {
        const std::string command =
            "LD_PRELOAD=" SIMULATED_DEVICES " LSAN_OPTIONS=detect_leaks=0 smartctl " + arguments + " 2>&1";
        std::unique_ptr<std::FILE, int (*)(std::FILE*)> pipe(popen(command.c_str(), "r"), pclose);
        std::string text(65536, '\0');
        text.resize(std::fread(text.data(), 1, text.size(), pipe.get()));
        return text;
    }

    static std::uint64_t RawOf(const TSmartInfo& info) {
        std::uint64_t raw = 0;
        std::memcpy(&raw, info.raw, sizeof info.raw);
        return raw;
    }

    // Every attribute that smartctl prints, as "id value worst threshold raw".
    static void ExpectSameAttributes(const std::string& device, CPhysicalDrive& drive) {
        const std::string text = Smartctl("-d sat -A -f hex,id -v N,raw48 -P ignore " + device);
        std::istringstream lines(text);
        std::size_t count = 0;
        for (std::string line; std::getline(lines, line);) {
            unsigned id = 0;
            unsigned flags = 0;
            unsigned value = 0;
            unsigned worst = 0;
            unsigned threshold = 0;
            unsigned long long raw = 0;
            if (std::sscanf(line.c_str(), " 0x%x %*s 0x%x %u %u %u %*s %*s %*s %llu", &id, &flags, &value, &worst,
                            &threshold, &raw) != 6) {
                continue;
            }
            ++count;
            const TSmartInfo info = drive.GetSmartInfoByID(static_cast<unsigned char>(id));
            // The record is packed: the plus makes a value of what no reference may be bound to.
            EXPECT_EQ(info.id, id) << line;
            EXPECT_EQ(+info.flags, flags) << line;
            EXPECT_EQ(info.value, value) << line;
            EXPECT_EQ(info.worst, worst) << line;
            EXPECT_EQ(info.threshold, threshold) << line;
            EXPECT_EQ(RawOf(info), raw) << line;
        }
        EXPECT_EQ(count, drive.AttributeCount()) << text;
        EXPECT_GT(count, 0U) << text;
    }

    static std::string Line(const std::string& text, const std::string& name) {
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);) {
            if (line.starts_with(name)) {
                const std::size_t start = line.find_first_not_of(' ', name.size());
                return start == std::string::npos ? "" : line.substr(start);
            }
        }
        return "(no " + name + ")";
    }
};

TEST_F(SmartctlTest, AgreesOnTheRecordedDrive) {
    SetScenario("[drive sda]\nidentify = " DRIVE_BLOCKS "/ada0-identify.bin\ndata = " DRIVE_BLOCKS
                "/ada0-smart-data.bin\nthresholds = " DRIVE_BLOCKS "/ada0-smart-thresholds.bin\n");
    const std::unique_ptr<CPhysicalDrive> drive(CPhysicalDrive::Create(0));
    ASSERT_EQ(drive->Update(), 0U);
    ASSERT_EQ(drive->ReadSmart(), 0U);
    const std::string identity = Smartctl("-d sat -i /dev/sda");
    EXPECT_EQ(Line(identity, "Serial Number:"), drive->serialNumber) << identity;
    EXPECT_EQ(Line(identity, "Device Model:"), drive->model);
    EXPECT_EQ(Line(identity, "Firmware Version:"), drive->firmwareRevision);
    ExpectSameAttributes("/dev/sda", *drive);
}

TEST_F(SmartctlTest, AgreesOnEveryAttributeOfAFullTable) {
    std::string scenario = "[drive sdc]\nserial = FULL-0001\nmodel = Full\n";
    for (int place = 0; place < 30; ++place) {
        const int id = 3 + place * 8;
        scenario += "attribute " + std::to_string(id) + " = " + std::to_string(100 - place) + " " +
                    std::to_string(90 - place) + " " + std::to_string(0x1234567890A * (place + 1) & 0xFFFFFFFFFFFF) +
                    " " + std::to_string(place) + " 0x" + (place % 2 != 0 ? "33" : "12") + "\n";
    }
    SetScenario(scenario + "[drive sdaa]\nserial = LATER-0001\nmodel = M\n");
    const std::unique_ptr<CPhysicalDrive> drive(CPhysicalDrive::Create(0));
    ASSERT_EQ(drive->Update(), 0U);
    EXPECT_EQ(drive->serialNumber, "FULL-0001"); // sdc comes before sdaa
    ASSERT_EQ(drive->ReadSmart(), 0U);
    EXPECT_EQ(drive->AttributeCount(), 30U);
    ExpectSameAttributes("/dev/sdc", *drive);
    const std::unique_ptr<CPhysicalDrive> second(CPhysicalDrive::Create(1));
    ASSERT_EQ(second->Update(), 0U);
    EXPECT_EQ(second->serialNumber, "LATER-0001");
}

TEST_F(SmartctlTest, AgreesOnTheHealthOfAnNvmeDrive) {
    SetScenario("[drive nvme0]\nserial = NVME-0815\nmodel = Model N\nfirmware = F1\nwarning = 0\ntemperature = 315\n"
                "spare = 97\nspare_threshold = 10\nused = 4\nunits_read = 1001\nunits_written = 1002\nreads = 1003\n"
                "writes = 1004\nbusy_minutes = 1005\npower_cycles = 1006\npower_on_hours = 1007\n"
                "unsafe_shutdowns = 1008\nmedia_errors = 1009\nerror_entries = 1010\n");
    const std::unique_ptr<CPhysicalDrive> drive(CPhysicalDriveNVMe::Create(0));
    ASSERT_EQ(drive->Update(), 0U);
    ASSERT_EQ(drive->ReadSmart(), 0U);
    const std::string text = Smartctl("-d nvme -A /dev/nvme0");
    const auto raw = [&drive](unsigned char id) { return RawOf(drive->GetSmartInfoByID(id)); };
    const auto number = [](std::string line) {
        std::erase(line, ',');
        return std::strtoull(line.c_str(), nullptr, 0);
    };
    EXPECT_EQ(number(Line(text, "Critical Warning:")), raw(1)) << text;
    EXPECT_EQ(number(Line(text, "Temperature:")) + 273, raw(2));
    EXPECT_EQ(number(Line(text, "Available Spare:")), raw(3));
    EXPECT_EQ(number(Line(text, "Available Spare Threshold:")), raw(4));
    EXPECT_EQ(100 - number(Line(text, "Percentage Used:")), raw(5));
    const char* counters[] = {"Data Units Read:",
                              "Data Units Written:",
                              "Host Read Commands:",
                              "Host Write Commands:",
                              "Controller Busy Time:",
                              "Power Cycles:",
                              "Power On Hours:",
                              "Unsafe Shutdowns:",
                              "Media and Data Integrity Errors:",
                              "Error Information Log Entries:"};
    for (unsigned char at = 0; at < std::size(counters); ++at) {
        EXPECT_EQ(number(Line(text, counters[at])), raw(static_cast<unsigned char>(6 + at))) << counters[at];
    }
}

TEST_F(SmartctlTest, DrivesThatRefuseOrHaveGoneAreFailedRequests) {
    const std::string head = "[drive sda]\nserial = REFUSES-01\nmodel = M\n";
    const std::unique_ptr<CPhysicalDrive> drive(CPhysicalDrive::Create(0));
    SetScenario(head + "identify_refused = 1\n");
    EXPECT_EQ(drive->Update(), 0xECA60105U);
    SetScenario(head + "data_refused = 1\n");
    EXPECT_EQ(drive->Update(), 0U);
    EXPECT_EQ(drive->ReadSmart(), 0xECA60105U);
    SetScenario(head + "thresholds_error = 5\n");
    EXPECT_EQ(drive->ReadSmart(), 0xECA60105U);
    SetScenario("[drive nvme0]\nserial = REFUSES-02\nmodel = M\nlog_refused = 1\n");
    EXPECT_EQ(drive->ReadSmart(), 0xECA60001U);
    const std::unique_ptr<CPhysicalDrive> nvme(CPhysicalDriveNVMe::Create(0));
    EXPECT_EQ(nvme->Update(), 0U);
    EXPECT_EQ(nvme->ReadSmart(), 0xECA60105U);
}

} // namespace
