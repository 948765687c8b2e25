// The drives of a machine: /dev/sda and /dev/nvme0 and so on, there while the scenario has a section [drive sda] and so
// on. They answer what the programs of this system ask drives: SG_IO with INQUIRY and ATA PASS-THROUGH, and the admin
// commands of NVMe.
#include <linux/nvme_ioctl.h>
#include <scsi/sg.h>
#include <sys/ioctl.h>
#include <time.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "Device.h"
#include "Scenario.h"

namespace {

using TBlock = std::vector<std::uint8_t>;

constexpr std::size_t BLOCK = 512;
constexpr std::size_t NVME_IDENTIFY_SIZE = 4096;

std::string SectionOf(const std::string& path) {
    return "drive " + path.substr(path.rfind('/') + 1);
}

class CDrive {
public:
    explicit CDrive(const std::string& path) : m_section(SectionOf(path)) {}

    bool IsThere() const {
        return m_scenario->HasSection(m_section) && m_scenario->Text(m_section, "present").value_or("yes") != "no";
    }

    std::string Text(const std::string& key, const std::string& otherwise = "") const {
        return m_scenario->Text(m_section, key).value_or(otherwise);
    }

    std::int64_t Number(const std::string& key, std::int64_t otherwise = 0) const {
        return m_scenario->Number(m_section, key).value_or(otherwise);
    }

    void Record(const std::string& request) const { m_scenario->Record(m_section + ": " + request); }

    // The recorded block, if the scenario names a file for it.
    bool Recorded(const char* what, TBlock& block) const {
        const std::string file = Text(what);
        if (file.empty()) {
            return false;
        }
        std::ifstream stream(file, std::ios::binary);
        if (!stream.read(reinterpret_cast<char*>(block.data()), static_cast<std::streamsize>(block.size()))) {
            std::fprintf(stderr, "scenario: [%s] %s: %s is too short or not there\n", m_section.c_str(), what,
                         file.c_str());
        }
        return true;
    }

    // Waits as the drive does; then the errno with which a request fails, 0 for one that is answered.
    int Failure(const std::string& what) const {
        const std::int64_t delay = Number(what + "_delay", Number("delay"));
        if (delay > 0) {
            const timespec time = {delay / 1000, delay % 1000 * 1000000};
            nanosleep(&time, nullptr);
        }
        return static_cast<int>(Number(what + "_error"));
    }

    bool Refuses(const std::string& what) const { return Number(what + "_refused") != 0; }

private:
    const std::shared_ptr<const CScenario> m_scenario = CScenario::Now();
    const std::string m_section;
};

void PutText(TBlock& block, std::size_t offset, std::size_t length, const std::string& text, bool swapped) {
    for (std::size_t at = 0; at < length; ++at) {
        block[offset + (swapped ? at ^ 1U : at)] = static_cast<std::uint8_t>(at < text.size() ? text[at] : ' ');
    }
}

void PutNumber(TBlock& block, std::size_t offset, std::size_t length, std::uint64_t number) {
    for (std::size_t at = 0; at < length; ++at) {
        block[offset + at] = static_cast<std::uint8_t>(number >> (8 * at));
    }
}

void FixChecksum(TBlock& block, bool right) {
    unsigned int sum = 0;
    std::for_each(block.begin(), block.end() - 1, [&sum](std::uint8_t byte) { sum += byte; });
    block.back() = static_cast<std::uint8_t>(right ? 0U - sum : 1U - sum);
}

// --- ATA -------------------------------------------------------------------------------------------------------------

struct TAttribute {
    unsigned long value = 0;
    unsigned long worst = 0;
    unsigned long long raw = 0;
    unsigned long threshold = 0;
    unsigned long flags = 0x32;
};

TBlock AtaIdentify(const CDrive& drive) {
    TBlock block(BLOCK);
    if (!drive.Recorded("identify", block)) {
        PutNumber(block, 0, 2, 0x0040);
        PutText(block, 20, 20, drive.Text("serial"), true);
        PutText(block, 46, 8, drive.Text("firmware", "1.0"), true);
        PutText(block, 54, 40, drive.Text("model"), true);
        PutNumber(block, 98, 2, 0x0300);
        PutNumber(block, 120, 4, 0x0FFFFFFF);
        PutNumber(block, 160, 2, 0x01F0); // up to ATA-8
        const std::string smart = drive.Text("smart", "on");
        PutNumber(block, 164, 2, smart == "none" ? 0x0000 : 0x0001);
        PutNumber(block, 166, 2, 0x4000);
        PutNumber(block, 170, 2, smart == "on" ? 0x0001 : 0x0000);
        PutNumber(block, 174, 2, 0x4000);
        block[510] = 0xA5;
        FixChecksum(block, drive.Text("checksum") != "identify");
    }
    return block;
}

// The attributes of the scenario, one a place, as data or as thresholds.
TBlock AtaAttributes(const CDrive& drive, const char* what, bool thresholds) {
    TBlock block(BLOCK);
    if (!drive.Recorded(what, block)) {
        PutNumber(block, 0, 2, 0x0010);
        std::size_t offset = 2;
        for (int id = 1; id < 256 && offset < 2 + 30 * 12; ++id) {
            const std::string text = drive.Text("attribute " + std::to_string(id));
            TAttribute attribute;
            if (std::sscanf(text.c_str(), "%lu %lu %llu %lu %lx", &attribute.value, &attribute.worst, &attribute.raw,
                            &attribute.threshold, &attribute.flags) < 3) {
                continue;
            }
            block[offset] = static_cast<std::uint8_t>(id);
            if (thresholds) {
                block[offset + 1] = static_cast<std::uint8_t>(attribute.threshold);
            } else {
                PutNumber(block, offset + 1, 2, attribute.flags);
                PutNumber(block, offset + 3, 1, attribute.value);
                PutNumber(block, offset + 4, 1, attribute.worst);
                PutNumber(block, offset + 5, 6, attribute.raw);
            }
            offset += 12;
        }
        FixChecksum(block, drive.Text("checksum") != what);
    }
    return block;
}

void Refuse(sg_io_hdr& io, std::uint8_t key, std::uint8_t code) {
    std::array<std::uint8_t, 18> sense = {0x70, 0, key, 0, 0, 0, 0, 10};
    sense[12] = code;
    const std::size_t length = std::min<std::size_t>(sense.size(), io.mx_sb_len);
    std::memcpy(io.sbp, sense.data(), length);
    io.sb_len_wr = static_cast<unsigned char>(length);
    io.status = 0x02; // CHECK CONDITION
    io.driver_status = 0x08;
    io.info = SG_INFO_CHECK;
}

void Answer(sg_io_hdr& io, const TBlock& block) {
    const std::size_t length = std::min<std::size_t>(block.size(), io.dxfer_len);
    std::memcpy(io.dxferp, block.data(), length);
    io.resid = static_cast<int>(io.dxfer_len - length);
}

// "SMART is fine" for programs that ask for the registers after the command.
void AnswerRegisters(sg_io_hdr& io) {
    std::array<std::uint8_t, 22> sense = {0x72, 0x01, 0x00, 0x1D, 0, 0, 0, 14, 0x09, 0x0C};
    sense[17] = 0x4F;
    sense[19] = 0xC2;
    sense[21] = 0x50;
    const std::size_t length = std::min<std::size_t>(sense.size(), io.mx_sb_len);
    std::memcpy(io.sbp, sense.data(), length);
    io.sb_len_wr = static_cast<unsigned char>(length);
    io.status = 0x02;
    io.driver_status = 0x08;
    io.info = SG_INFO_CHECK;
}

constexpr std::uint8_t INQUIRY = 0x12;
constexpr std::uint8_t ATA_PASS_THROUGH_16 = 0x85;
constexpr std::uint8_t PIO_DATA_IN = 4;
constexpr std::uint8_t CHECK_CONDITION = 0x20;

int Ata(const CDrive& drive, sg_io_hdr& io) {
    const unsigned char* command = io.cmdp;
    io.status = io.masked_status = io.msg_status = io.sb_len_wr = 0;
    io.host_status = io.driver_status = 0;
    io.resid = 0;
    io.info = SG_INFO_OK;
    if (command[0] == INQUIRY && (command[1] & 1) == 0) {
        TBlock answer(36);
        answer[2] = 5;
        answer[4] = 31;
        PutText(answer, 8, 8, "ATA", false);
        PutText(answer, 16, 16, drive.Text("model", "drive"), false);
        PutText(answer, 32, 4, drive.Text("firmware", "1.0"), false);
        Answer(io, answer);
        return 0;
    }
    if (command[0] != ATA_PASS_THROUGH_16) {
        Refuse(io, 5, 0x20);
        return 0;
    }
    const unsigned int ata = command[14];
    const unsigned int feature = command[4];
    char text[128];
    std::snprintf(text, sizeof text, "ata %02X %02X %02X %02X, sectors %u, protocol %u, flags %02X, %u ms, %u bytes",
                  ata, feature, command[10], command[12], command[6], command[1] >> 1U, command[2], io.timeout,
                  io.dxfer_len);
    drive.Record(text);
    const char* what = ata == 0xEC ? "identify" : feature == 0xD0 ? "data" : feature == 0xD1 ? "thresholds" : "status";
    if (const int error = drive.Failure(what); error != 0) {
        errno = error;
        return -1;
    }
    const bool reads = command[1] >> 1 == PIO_DATA_IN;
    if (drive.Refuses(what)) {
        Refuse(io, 0x0B, 0);
    } else if (ata == 0xEC && reads) {
        Answer(io, AtaIdentify(drive));
    } else if (ata == 0xB0 && feature == 0xD0 && reads) {
        Answer(io, AtaAttributes(drive, "data", false));
    } else if (ata == 0xB0 && feature == 0xD1 && reads) {
        Answer(io, AtaAttributes(drive, "thresholds", true));
    } else if (ata == 0xB0 && (command[2] & CHECK_CONDITION) != 0) {
        AnswerRegisters(io);
    } else if (ata != 0xB0) {
        Refuse(io, 0x0B, 0);
    }
    return 0;
}

// --- NVMe ------------------------------------------------------------------------------------------------------------

TBlock NvmeIdentify(const CDrive& drive) {
    TBlock block(NVME_IDENTIFY_SIZE);
    if (!drive.Recorded("identify", block)) {
        PutText(block, 4, 20, drive.Text("serial"), false);
        PutText(block, 24, 40, drive.Text("model"), false);
        PutText(block, 64, 8, drive.Text("firmware", "1.0"), false);
        PutNumber(block, 80, 4, 0x00010400); // version 1.4
        PutNumber(block, 516, 4, 1);         // namespaces
    }
    return block;
}

struct TLogField {
    const char* key;
    std::size_t offset;
    std::size_t length;
};

constexpr TLogField LOG_FIELDS[] = {
    {"warning", 0, 1},
    {"temperature", 1, 2}, // kelvins
    {"spare", 3, 1},
    {"spare_threshold", 4, 1},
    {"used", 5, 1},
    {"units_read", 32, 8},
    {"units_written", 48, 8},
    {"reads", 64, 8},
    {"writes", 80, 8},
    {"busy_minutes", 96, 8},
    {"power_cycles", 112, 8},
    {"power_on_hours", 128, 8},
    {"unsafe_shutdowns", 144, 8},
    {"media_errors", 160, 8},
    {"error_entries", 176, 8},
};

TBlock NvmeLog(const CDrive& drive) {
    TBlock block(BLOCK);
    if (!drive.Recorded("log", block)) {
        for (const TLogField& field : LOG_FIELDS) {
            PutNumber(block, field.offset, field.length, static_cast<std::uint64_t>(drive.Number(field.key)));
        }
    }
    return block;
}

int Nvme(const CDrive& drive, nvme_admin_cmd& command) {
    char text[128];
    std::snprintf(text, sizeof text, "nvme %02X, nsid %X, cdw10 %X, %u bytes", command.opcode, command.nsid,
                  command.cdw10, command.data_len);
    drive.Record(text);
    const bool isIdentify = command.opcode == 0x06 && (command.cdw10 & 0xFF) == 1;
    const bool isHealth = command.opcode == 0x02 && (command.cdw10 & 0xFF) == 2;
    const char* what = isIdentify ? "identify" : "log";
    if (const int error = drive.Failure(what); error != 0) {
        errno = error;
        return -1;
    }
    if (drive.Refuses(what) || (!isIdentify && !isHealth)) {
        return 0x4002; // invalid field, do not retry
    }
    const TBlock block = isIdentify ? NvmeIdentify(drive) : NvmeLog(drive);
    // A log page comes in as many dwords as are asked for, counted from 0.
    const std::size_t asked = isIdentify ? block.size() : ((command.cdw10 >> 16) + 1) * std::size_t{4};
    std::memcpy(reinterpret_cast<void*>(command.addr), block.data(),
                std::min<std::size_t>({block.size(), asked, command.data_len}));
    return 0;
}

int Open(const std::string& path) {
    if (!path.starts_with("/dev/sd") && !path.starts_with("/dev/nvme")) {
        return TDeviceClass::NOT_SIMULATED;
    }
    const CDrive drive(path);
    return drive.IsThere() ? static_cast<int>(drive.Number("open")) : ENOENT;
}

int Control(const std::string& path, unsigned long request, void* argument) {
    const CDrive drive(path);
    if (!drive.IsThere()) {
        errno = ENODEV;
        return -1;
    }
    if (request == SG_IO) {
        return Ata(drive, *static_cast<sg_io_hdr*>(argument));
    }
    if (request == NVME_IOCTL_ADMIN_CMD) {
        return Nvme(drive, *static_cast<nvme_admin_cmd*>(argument));
    }
    errno = ENOTTY;
    return -1;
}

} // namespace

const TDeviceClass DRIVES = {Open, Control};
