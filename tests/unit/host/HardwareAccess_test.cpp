// The requests of the hardware access device, answered from the kernel's sensors and from DMI.
#include "host/HardwareAccess.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

namespace {

constexpr unsigned long REQUEST = 0xC0385201;
constexpr int NOT_SUPPORTED = 0x20000701;

class BoardWithoutADriver : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(std::system("mount -t tmpfs test /sys/class/hwmon && mount -t tmpfs test /sys/class/dmi/id"), 0);
    }

    void TearDown() override {
        close(m_device);
        ASSERT_EQ(std::system("umount /sys/class/hwmon /sys/class/dmi/id"), 0);
    }

    static void Add(const std::string& path, const std::string& text) {
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        std::ofstream(path) << text << "\n";
    }

    static void AddInput(const std::string& file, const std::string& text) { Add("/sys/class/hwmon/" + file, text); }

    void Open() {
        m_device = Host::OpenHardwareAccess("/dev/hwapi");
        ASSERT_GE(m_device, 0);
    }

    // The bytes of an answer of that size; the error is in errno where there is none.
    std::optional<std::string> Ask(std::uint32_t group, std::uint32_t offset, std::size_t size) const {
        std::string out(size, '\xEE');
        std::uint32_t returned = 0;
        Host::DeviceControlRecord record;
        record.indexGroup = group;
        record.indexOffset = offset;
        record.out = out.data();
        record.outSize = static_cast<std::uint32_t>(size);
        record.returned = &returned;
        if (Host::ControlHardwareAccess(m_device, REQUEST, &record) == -1) {
            return std::nullopt;
        }
        EXPECT_EQ(returned, size);
        return out;
    }

    std::uint32_t Count() const {
        const auto answer = Ask(0x2000, 0, 4);
        return answer ? Number(*answer, 0) : 0xFFFFFFFF;
    }

    static std::uint32_t Number(const std::string& bytes, std::size_t offset) {
        std::uint32_t number = 0;
        std::memcpy(&number, bytes.data() + offset, sizeof number);
        return number;
    }

    // "kind location reading description" of a sensor.
    std::string Sensor(std::uint32_t index) const {
        const auto answer = Ask(0x2000, index, 56);
        if (!answer) {
            return "errno " + std::to_string(errno);
        }
        return std::to_string(Number(*answer, 0)) + " " + std::to_string(Number(*answer, 4)) + " " +
               std::to_string(static_cast<std::int32_t>(Number(*answer, 8))) + " " + (answer->c_str() + 44);
    }

    int m_device = -1;
};

} // namespace

TEST_F(BoardWithoutADriver, WithoutAChipThereIsNoDevice) {
    errno = 0;
    EXPECT_EQ(Host::OpenHardwareAccess("/dev/hwapi"), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(BoardWithoutADriver, DriverThatIsThereIsAskedItself) {
    AddInput("hwmon0/name", "nct6775");
    std::ofstream("/dev/hwapi") << "no device";
    m_device = Host::OpenHardwareAccess("/dev/hwapi");
    ASSERT_GE(m_device, 0);
    EXPECT_FALSE(Ask(0x2000, 0, 4));
    EXPECT_EQ(errno, ENOTTY) << "what the system answers for a file";
    std::filesystem::remove("/dev/hwapi");
    std::filesystem::create_directory("/dev/hwapi"); // cannot be opened for writing
    EXPECT_EQ(Host::OpenHardwareAccess("/dev/hwapi"), -1);
    EXPECT_EQ(errno, EISDIR);
    std::filesystem::remove("/dev/hwapi");
}

TEST_F(BoardWithoutADriver, DescriptorIsNotForTheProgramsOfTheService) {
    AddInput("hwmon0/name", "nct6775");
    Open();
    EXPECT_NE(fcntl(m_device, F_GETFD) & FD_CLOEXEC, 0);
}

TEST_F(BoardWithoutADriver, SensorsAreNumberedInTheOrderOfTheKernelsNames) {
    AddInput("hwmon10/name", "it87");
    AddInput("hwmon10/fan1_input", "700");
    AddInput("hwmon2/name", "nct6775");
    AddInput("hwmon2/temp10_input", "30000");
    AddInput("hwmon2/temp2_input", "31000");
    AddInput("hwmon2/in0_input", "1000");
    AddInput("hwmon2/fan2_input", "1180");
    AddInput("hwmon2/fan2_min", "300");
    AddInput("hwmon2/temp2_crit", "90000");
    AddInput("hwmon2/pwm1", "120");
    Open();
    EXPECT_EQ(Count(), 5U);
    EXPECT_EQ(Sensor(1), "3 5 1180 fan2");
    EXPECT_EQ(Sensor(2), "2 5 100 in0");
    EXPECT_EQ(Sensor(3), "1 5 31 temp2");
    EXPECT_EQ(Sensor(4), "1 5 30 temp10");
    EXPECT_EQ(Sensor(5), "3 5 700 fan1");
    EXPECT_EQ(Sensor(6), "errno " + std::to_string(EINVAL));
}

TEST_F(BoardWithoutADriver, ReadingsAreInTheUnitsOfTheDriver) {
    AddInput("hwmon0/name", "nct6775");
    AddInput("hwmon0/fan1_input", "2345");
    AddInput("hwmon0/in0_input", "12046");
    AddInput("hwmon0/in1_input", "-12044");
    AddInput("hwmon0/temp1_input", "-4500");
    AddInput("hwmon0/temp2_input", "38499");
    Open();
    EXPECT_EQ(Sensor(1), "3 5 2345 fan1");
    EXPECT_EQ(Sensor(2), "2 5 1205 in0");
    EXPECT_EQ(Sensor(3), "2 5 -1204 in1");
    EXPECT_EQ(Sensor(4), "1 5 -5 temp1");
    EXPECT_EQ(Sensor(5), "1 5 38 temp2");
}

TEST_F(BoardWithoutADriver, PlaceFollowsFromChipAndLabel) {
    AddInput("hwmon0/name", "nct6775");
    AddInput("hwmon0/in0_input", "1080");
    AddInput("hwmon0/in0_label", "Vcore");
    AddInput("hwmon0/in1_input", "3300");
    AddInput("hwmon0/in1_label", "+3.3V");
    AddInput("hwmon0/temp1_input", "40000");
    AddInput("hwmon0/temp1_label", "CPUTIN");
    AddInput("hwmon1/name", "nvme");
    AddInput("hwmon1/temp1_input", "45000");
    AddInput("hwmon1/temp1_label", "Composite");
    AddInput("hwmon2/name", "k10temp");
    AddInput("hwmon2/temp1_input", "61000");
    AddInput("hwmon2/temp1_label", "Tctl");
    AddInput("hwmon2/temp3_input", "58000");
    AddInput("hwmon2/temp3_label", "Tccd1, the first");
    Open();
    EXPECT_EQ(Sensor(1), "2 2 108 Vcore");
    EXPECT_EQ(Sensor(2), "2 5 330 +3.3V");
    EXPECT_EQ(Sensor(3), "1 2 40 CPUTIN");
    EXPECT_EQ(Sensor(4), "1 0 45 Composite");
    EXPECT_EQ(Sensor(5), "1 2 61 CPU dig.") << "the processor's own has the driver's name";
    EXPECT_EQ(Sensor(6), "1 2 58 Tccd1, the ") << "eleven characters";
}

TEST_F(BoardWithoutADriver, SensorThatCannotBeReadKeepsItsNumber) {
    AddInput("hwmon0/name", "nct6775");
    AddInput("hwmon0/fan1_input", "rubbish");
    AddInput("hwmon0/fan2_input", "");
    AddInput("hwmon0/fan3_input", "900");
    std::filesystem::create_directories("/sys/class/hwmon/hwmon0/fan4_input"); // reading it fails
    Open();
    EXPECT_EQ(Count(), 4U);
    EXPECT_EQ(Sensor(1), "errno " + std::to_string(EIO));
    EXPECT_EQ(Sensor(2), "errno " + std::to_string(EIO));
    EXPECT_EQ(Sensor(3), "3 5 900 fan3");
    EXPECT_EQ(Sensor(4), "errno " + std::to_string(EISDIR));
    std::filesystem::remove_all("/sys/class/hwmon/hwmon0");
    EXPECT_EQ(Count(), 0U);
}

TEST_F(BoardWithoutADriver, BoardAndBiosAreThoseOfDmi) {
    AddInput("hwmon0/name", "nct6775");
    Open();
    EXPECT_FALSE(Ask(0x0000, 0x02, 12)) << "without a name there is no board";
    EXPECT_EQ(errno, NOT_SUPPORTED);
    Add("/sys/class/dmi/id/board_name", "CB3065-0001");
    EXPECT_EQ(Ask(0x0000, 0x02, 12), std::string("CB3065-0") + std::string(4, '\0'));
    Add("/sys/class/dmi/id/board_version", "Rev G2");
    Add("/sys/class/dmi/id/bios_version", "V1.23.4");
    EXPECT_EQ(Ask(0x0000, 0x02, 12), std::string("CB3065-0") + std::string("\x02\x01\x23\x00", 4));
    Add("/sys/class/dmi/id/bios_release", "12.5");
    EXPECT_EQ(Ask(0x0000, 0x02, 12), std::string("CB3065-0") + std::string("\x02\x12\x05\x00", 4));
    Add("/sys/class/dmi/id/board_name", "CB");
    Add("/sys/class/dmi/id/board_version", "4711");
    Add("/sys/class/dmi/id/bios_release", "2026.150");
    EXPECT_EQ(Ask(0x0000, 0x02, 12), std::string("CB") + std::string(6, '\0') + std::string("\xFF\x99\x99\x00", 4));
}

TEST_F(BoardWithoutADriver, EverythingElseIsNotSupported) {
    AddInput("hwmon0/name", "nct6775");
    Open();
    for (const auto& [group, offset] : {std::pair(0x0000U, 0x00U),
                                        {0x3000U, 0x01U},
                                        {0x4000U, 0x03U},
                                        {0x4000U, 0x21U},
                                        {0x5000U, 0x01U},
                                        {0x5000U, 0xA0U}}) {
        EXPECT_FALSE(Ask(group, offset, 4)) << std::hex << group << ":" << offset;
        EXPECT_EQ(errno, NOT_SUPPORTED);
    }
}

TEST_F(BoardWithoutADriver, BufferOfAnotherSizeIsRefused) {
    AddInput("hwmon0/name", "nct6775");
    Open();
    EXPECT_FALSE(Ask(0x2000, 0, 3));
    EXPECT_EQ(errno, EINVAL);
}
