#include "FakeDrives.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <numeric>

#include "host/AtaDevice.h"
#include "host/NvmeDevice.h"

std::map<std::string, TFakeAta> FakeDrives::ata;
std::map<std::string, TFakeNvme> FakeDrives::nvme;
std::vector<std::string> FakeDrives::calls;
void (*FakeDrives::onOpen)(const std::string& path) = nullptr;

namespace {

std::map<int, std::string> s_open; // descriptor to path

void PutText(unsigned char* block, std::size_t offset, std::size_t length, const std::string& text, bool swapped) {
    for (std::size_t at = 0; at < length; ++at) {
        block[offset + (swapped ? at ^ 1U : at)] = static_cast<unsigned char>(at < text.size() ? text[at] : ' ');
    }
}

unsigned char SumOf(const std::array<unsigned char, 512>& block, std::size_t count) {
    return static_cast<unsigned char>(std::accumulate(block.begin(), block.begin() + static_cast<long>(count), 0U));
}

template <typename... Arguments>
void Note(const char* format, Arguments... arguments) {
    char text[128];
    std::snprintf(text, sizeof text, format, arguments...);
    FakeDrives::calls.emplace_back(text);
}

} // namespace

void FakeDrives::Reset() {
    ata.clear();
    nvme.clear();
    calls.clear();
    onOpen = nullptr;
}

TFakeAta FakeDrives::Ata(const std::string& serial, const std::string& model, const std::string& firmware,
                         unsigned smart) {
    TFakeAta drive;
    PutText(drive.identify.data(), 20, 20, serial, true);
    PutText(drive.identify.data(), 46, 8, firmware, true);
    PutText(drive.identify.data(), 54, 40, model, true);
    drive.identify[164] = static_cast<unsigned char>(smart & 1);
    drive.identify[170] = static_cast<unsigned char>(smart >> 1);
    FixChecksums(drive);
    return drive;
}

void FakeDrives::Put(TFakeAta& drive, unsigned place, unsigned char id, unsigned char value, unsigned long long raw,
                     unsigned char threshold) {
    unsigned char* entry = &drive.data[2 + place * 12];
    entry[0] = id;
    entry[1] = 0x33;
    entry[2] = 0x01;
    entry[3] = value;
    entry[4] = static_cast<unsigned char>(value - 1);
    std::memcpy(entry + 5, &raw, 6);
    entry[11] = 0xEE;
    drive.thresholds[2 + place * 12] = id;
    drive.thresholds[3 + place * 12] = threshold;
    FixChecksums(drive);
}

void FakeDrives::FixChecksums(TFakeAta& drive) {
    for (auto* block : {&drive.identify, &drive.data, &drive.thresholds}) {
        (*block)[511] = static_cast<unsigned char>(-SumOf(*block, 511));
    }
}

TFakeNvme FakeDrives::Nvme(const std::string& serial, const std::string& model, const std::string& firmware) {
    TFakeNvme drive;
    PutText(drive.identify.data(), 4, 20, serial, false);
    PutText(drive.identify.data(), 24, 40, model, false);
    PutText(drive.identify.data(), 64, 8, firmware, false);
    return drive;
}

namespace Host {

struct AtaDevice {
    std::string path;
};

AtaDevice* AtaOpen(const std::string& path) {
    FakeDrives::calls.push_back("open " + path);
    if (FakeDrives::onOpen != nullptr) {
        FakeDrives::onOpen(path);
    }
    if (!FakeDrives::ata.contains(path)) {
        errno = ENOENT;
        return nullptr;
    }
    return new AtaDevice{path};
}

void AtaClose(AtaDevice* device) {
    FakeDrives::calls.emplace_back("close");
    delete device;
}

int AtaRead(AtaDevice* device, const TAtaRequest& request, void* block, std::size_t size) {
    Note("ata %02X %02X %02X %02X %u %zu", request.command, request.features, request.lbaMid, request.lbaHigh,
         request.timeoutMs, size);
    const TFakeAta& drive = FakeDrives::ata.at(device->path);
    const int code = request.command == 0xB0 ? request.features : request.command;
    if (drive.fails == code) {
        errno = EIO;
        return -1;
    }
    const auto& answer = code == 0xEC ? drive.identify : code == 0xD0 ? drive.data : drive.thresholds;
    std::memcpy(block, answer.data(), std::min(size, answer.size()));
    return 0;
}

int NvmeOpen(const std::string& path) {
    FakeDrives::calls.push_back("open " + path);
    if (!FakeDrives::nvme.contains(path)) {
        errno = ENOENT;
        return -1;
    }
    s_open[42] = path;
    return 42;
}

void NvmeClose(int descriptor) {
    FakeDrives::calls.emplace_back("close");
    s_open.erase(descriptor);
}

int NvmeRead(int descriptor, const TNvmeCommand& command, void* buffer, std::size_t size, std::uint16_t& status) {
    Note("nvme %02X %X %X %zu", command.opcode, command.nsid, command.cdw10, size);
    const TFakeNvme& drive = FakeDrives::nvme.at(s_open.at(descriptor));
    if (drive.fails == command.opcode) {
        errno = EIO;
        return -1;
    }
    status = drive.refused == command.opcode ? 0x0004 : drive.status;
    if (command.opcode == NVME_IDENTIFY) {
        std::memcpy(buffer, drive.identify.data(), std::min(size, drive.identify.size()));
    } else {
        std::memcpy(buffer, drive.log.data(), std::min(size, drive.log.size()));
    }
    return 0;
}

} // namespace Host
