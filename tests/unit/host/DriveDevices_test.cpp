// Drives as the kernel has them, in a machine whose own /sys/block is empty.
#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>

#include "host/AtaDevice.h"
#include "host/NvmeDevice.h"

namespace {

class DriveDevices : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(std::filesystem::exists("/run/machine")); }

    // Enters a drive and gives it a device node, which is a file that tells its name.
    static void Enter(const std::string& name, const std::string& vendor) {
        std::filesystem::create_directories("/sys/block/" + name + "/device");
        std::ofstream("/sys/block/" + name + "/device/vendor") << vendor << "\n";
        std::ofstream("/dev/" + name) << name;
    }

    // The node that a path is opened as; "-" where there is none.
    static std::string Opened(const std::string& path) {
        errno = 0;
        Host::AtaDevice* device = Host::AtaOpen(path);
        if (device == nullptr) {
            EXPECT_NE(errno, 0) << path;
            return "-";
        }
        // What it has open is found among the process's descriptors.
        std::string name = "unknown";
        for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
            std::error_code error;
            const std::string target = std::filesystem::read_symlink(entry.path(), error);
            if (target.starts_with("/dev/sd")) {
                name = target.substr(5);
            }
        }
        Host::AtaClose(device);
        return name;
    }
};

TEST_F(DriveDevices, NumbersCountAtaDrivesInTheKernelsOrder) {
    for (const char* name : {"sdaa", "sdb", "sdz", "sda"}) {
        Enter(name, "ATA     ");
    }
    Enter("sdc", "USB     ");
    Enter("sr0", "ATA     ");
    Enter("sda1", "ATA     ");
    Enter("nvme0n1", "ATA     ");
    std::filesystem::create_directories("/sys/block/sdd"); // without a vendor
    EXPECT_EQ(Opened("/dev/ada0"), "sda");
    EXPECT_EQ(Opened("/dev/ada1"), "sdb");
    EXPECT_EQ(Opened("/dev/ada2"), "sdz");
    EXPECT_EQ(Opened("/dev/ada3"), "sdaa");
    EXPECT_EQ(Opened("/dev/ada4"), "-");
    EXPECT_EQ(Opened("/dev/ada19"), "-");
}

TEST_F(DriveDevices, OtherPathsAreNoDrives) {
    Enter("sda", "ATA     ");
    for (const char* path : {"/dev/ada", "/dev/ada0x", "/dev/ada-1", "/dev/ada99999", "/dev/sda", "ada0", "",
                             "/dev/ada 0", "/dev/ada0/"}) {
        errno = 0;
        EXPECT_EQ(Host::AtaOpen(path), nullptr) << path;
        EXPECT_EQ(errno, ENOENT) << path;
    }
}

TEST_F(DriveDevices, AnEntryWithoutANodeDoesNotOpen) {
    Enter("sda", "ATA     ");
    std::filesystem::remove("/dev/sda");
    errno = 0;
    EXPECT_EQ(Host::AtaOpen("/dev/ada0"), nullptr);
    EXPECT_EQ(errno, ENOENT);
    Host::AtaClose(nullptr);
}

TEST_F(DriveDevices, WhatTakesNoRequestsFailsThem) {
    Enter("sda", "ATA     ");
    Host::AtaDevice* device = Host::AtaOpen("/dev/ada0");
    ASSERT_NE(device, nullptr);
    std::array<unsigned char, 512> block = {};
    errno = 0;
    EXPECT_EQ(Host::AtaRead(device, {0xEC, 0, 0x4F, 0xC2, 1000}, block.data(), block.size()), -1);
    EXPECT_EQ(errno, ENOTTY);
    Host::AtaClose(device);

    std::ofstream("/dev/nvme0") << "no controller";
    const int descriptor = Host::NvmeOpen("/dev/nvme0");
    ASSERT_GE(descriptor, 0);
    std::uint16_t status = 0x1234;
    errno = 0;
    EXPECT_EQ(Host::NvmeRead(descriptor, {Host::NVME_IDENTIFY, 0, 1}, block.data(), block.size(), status), -1);
    EXPECT_EQ(errno, ENOTTY);
    EXPECT_EQ(status, 0x1234);
    Host::NvmeClose(descriptor);
}

TEST_F(DriveDevices, AControllerThatIsNotThereDoesNotOpen) {
    errno = 0;
    EXPECT_EQ(Host::NvmeOpen("/dev/nvme19"), -1);
    EXPECT_EQ(errno, ENOENT);
}

} // namespace
