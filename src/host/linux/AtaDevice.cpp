#include "host/AtaDevice.h"

#include <fcntl.h>
#include <scsi/sg.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <string_view>
#include <vector>

#include "host/WholeFile.h"

namespace Host {

// The drive's block device.
struct AtaDevice {
    int descriptor;
};

namespace {

namespace fs = std::filesystem;

constexpr const char* BLOCK_DEVICES = "/sys/block";
constexpr std::string_view PREFIX = "/dev/ada";

// ATA PASS-THROUGH (16), a SCSI command that carries the registers of an ATA one.
constexpr std::uint8_t ATA_PASS_THROUGH_16 = 0x85;
constexpr std::uint8_t PROTOCOL_PIO_DATA_IN = 4 << 1;
constexpr std::uint8_t LENGTH_IN_SECTOR_COUNT = 2;
constexpr std::uint8_t LENGTH_IN_BLOCKS = 1 << 2;
constexpr std::uint8_t FROM_DEVICE = 1 << 3;

// True for whole drives of the kernel's SCSI layer that are ATA ones behind it.
bool IsAtaDrive(const fs::path& block) {
    const std::string name = block.filename();
    if (name.size() < 3 || !name.starts_with("sd") ||
        name.find_first_not_of("abcdefghijklmnopqrstuvwxyz") != std::string::npos) {
        return false;
    }
    return ReadFirstLine(block / "device/vendor").starts_with("ATA");
}

// The names of the ATA drives as the kernel counts: sda to sdz, then sdaa.
std::vector<std::string> AtaDrives() {
    std::vector<std::string> names;
    std::error_code error;
    for (auto at = fs::directory_iterator(BLOCK_DEVICES, error); !error && at != fs::directory_iterator();
         at.increment(error)) {
        if (IsAtaDrive(at->path())) {
            names.push_back(at->path().filename());
        }
    }
    std::ranges::sort(names, [](const std::string& left, const std::string& right) {
        return left.size() != right.size() ? left.size() < right.size() : left < right;
    });
    return names;
}

} // namespace

AtaDevice* AtaOpen(const std::string& path) {
    const std::string digits = path.starts_with(PREFIX) ? path.substr(PREFIX.size()) : std::string();
    if (digits.empty() || digits.size() > 4 || digits.find_first_not_of("0123456789") != std::string::npos) {
        errno = ENOENT;
        return nullptr;
    }
    const std::vector<std::string> drives = AtaDrives();
    const std::size_t number = std::stoul(digits);
    if (number >= drives.size()) {
        errno = ENOENT;
        return nullptr;
    }
    const int descriptor = open(("/dev/" + drives[number]).c_str(), O_RDWR | O_CLOEXEC);
    return descriptor < 0 ? nullptr : new AtaDevice{descriptor};
}

void AtaClose(AtaDevice* device) {
    if (device != nullptr) {
        close(device->descriptor);
        delete device;
    }
}

int AtaRead(AtaDevice* device, const TAtaRequest& request, void* block, std::size_t size) {
    unsigned char command[16] = {};
    command[0] = ATA_PASS_THROUGH_16;
    command[1] = PROTOCOL_PIO_DATA_IN;
    command[2] = LENGTH_IN_SECTOR_COUNT | LENGTH_IN_BLOCKS | FROM_DEVICE;
    command[4] = request.features;
    command[6] = static_cast<unsigned char>(size / ATA_BLOCK_SIZE);
    command[10] = request.lbaMid;
    command[12] = request.lbaHigh;
    command[14] = request.command;

    unsigned char sense[32] = {};
    sg_io_hdr io = {};
    io.interface_id = 'S';
    io.dxfer_direction = SG_DXFER_FROM_DEV;
    io.cmd_len = sizeof command;
    io.cmdp = command;
    io.mx_sb_len = sizeof sense;
    io.sbp = sense;
    io.dxfer_len = static_cast<unsigned int>(size);
    io.dxferp = block;
    io.timeout = request.timeoutMs;
    if (ioctl(device->descriptor, SG_IO, &io) < 0) {
        return -1;
    }
    // The drive, or the way to it, refused the request.
    if ((io.info & SG_INFO_OK_MASK) != SG_INFO_OK || io.status != 0 || io.host_status != 0 || io.driver_status != 0) {
        errno = EIO;
        return -1;
    }
    return 0;
}

} // namespace Host
