// What a drive answers: its identity, its health data and thresholds or its health log, and a rule that looks into
// them. Every number that comes out is compared with one that is taken from the input itself, so that a byte from
// behind a block would be seen though it belongs to the same object.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <numeric>
#include <optional>
#include <string>

#include "FakeDrives.h"
#include "Require.h"
#include "hardware/drives/CPhysicalDriveNVMe.h"
#include "hardware/drives/CSmartDeviceDescription.h"
#include "log/Logger.h"

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t capacity);

using PhysicalDrive::CPhysicalDrive;
using PhysicalDrive::CPhysicalDriveNVMe;

namespace {

constexpr std::size_t s_blockSize = 512;
constexpr std::size_t s_entrySize = 12;
constexpr std::size_t s_places = 30;
constexpr unsigned int s_nvmeAttributes = 15;

using TBlock = std::array<unsigned char, s_blockSize>;
using TEntry = std::array<unsigned char, s_entrySize>;

CLogger s_logger;

// The input: flags, a rule, then the blocks. What is missing at the end is zero.
struct __attribute__((packed)) TInput {
    std::uint8_t flags;
    std::uint8_t id;
    std::uint8_t datatype;
    std::int16_t first;
    std::int16_t last;
    unsigned char identify[s_blockSize];
    unsigned char data[s_blockSize]; // or the health log
    unsigned char thresholds[s_blockSize];
};

constexpr std::uint8_t s_isNvme = 1;
constexpr std::uint8_t s_hasRightSums = 2;

CPhysicalDrive* Plug(const TInput& input) {
    FakeDrives::Reset();
    if ((input.flags & s_isNvme) != 0) {
        TFakeNvme& drive = FakeDrives::nvme["/dev/nvme0"];
        std::copy(std::begin(input.identify), std::end(input.identify), drive.identify.begin());
        std::copy(std::begin(input.data), std::end(input.data), drive.log.begin());
        return CPhysicalDriveNVMe::Create(0);
    }
    TFakeAta& drive = FakeDrives::ata["/dev/ada0"];
    std::copy(std::begin(input.identify), std::end(input.identify), drive.identify.begin());
    std::copy(std::begin(input.data), std::end(input.data), drive.data.begin());
    std::copy(std::begin(input.thresholds), std::end(input.thresholds), drive.thresholds.begin());
    if ((input.flags & s_hasRightSums) != 0) {
        FakeDrives::FixChecksums(drive);
    }
    return CPhysicalDrive::Create(0);
}

void CheckIdentity(const CPhysicalDrive& drive) {
    Require(drive.serialNumber.size() >= 8 && drive.serialNumber.size() <= 20, "a serial number beyond its field");
    Require(drive.model.size() <= 40, "a model beyond its field");
    Require(drive.firmwareRevision.size() <= 8, "a firmware beyond its field");
    for (const std::string& text : {drive.serialNumber, drive.model, drive.firmwareRevision}) {
        Require(text.find('\0') == std::string::npos, "a text that goes on behind its end");
    }
    for (const char c : drive.serialNumber) {
        Require(std::strchr(" -._0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz", c) != nullptr,
                "a character that no serial number has");
    }
}

bool HasRightSum(const TBlock& block) {
    return std::accumulate(block.begin(), block.end(), 0U) % 256 == 0;
}

// The attributes that an ATA drive lists, of which the first with the id is handed out.
unsigned int CountAttributes(const TFakeAta& drive, std::uint8_t id, std::optional<TEntry>& entry) {
    unsigned int count = 0;
    if (!HasRightSum(drive.data) || !HasRightSum(drive.thresholds)) {
        return 0;
    }
    for (std::size_t place = 0; place < s_places; ++place) {
        const std::size_t at = 2 + place * s_entrySize;
        if (drive.data[at] == 0 || drive.data[at] != drive.thresholds[at]) {
            continue;
        }
        ++count;
        if (drive.data[at] == id && !entry) {
            std::copy_n(drive.data.begin() + static_cast<long>(at), s_entrySize, entry.emplace().begin());
        }
    }
    return count;
}

// A little-endian number of at most eight bytes, or all bytes of a descending range in one.
std::uint64_t NumberAt(const unsigned char* bytes, std::size_t size, std::int16_t first, std::int16_t last) {
    const auto from = static_cast<std::uint32_t>(std::int32_t{first});
    const auto to = static_cast<std::uint32_t>(std::int32_t{last});
    if (from >= size) {
        return 0; // skipped
    }
    std::uint64_t number = 0;
    if (from > to) {
        for (std::size_t at = to; at <= from; ++at) {
            number |= bytes[at];
        }
        return number;
    }
    for (std::size_t at = from; at <= to && at < size && at < from + std::size_t{8}; ++at) {
        number |= std::uint64_t{bytes[at]} << (8 * (at - from));
    }
    return number;
}

// What the rule comes to; nothing where it does not answer.
std::optional<std::uint64_t> Expect(const TInput& input, const TBlock& block, const std::optional<TEntry>& entry) {
    if (input.datatype == SMART_DATATYPE_NONE) {
        return std::nullopt;
    }
    if (input.datatype <= SMART_DATATYPE_CONSTANT && input.id > 0 && !entry) {
        return std::nullopt;
    }
    switch (input.datatype) {
    case SMART_DATATYPE_ATTRIBUTE: {
        const TEntry bytes = entry.value_or(TEntry{});
        return NumberAt(bytes.data(), bytes.size(), input.first, input.last);
    }
    case SMART_DATATYPE_BLOCK:
        return NumberAt(block.data(), block.size(), input.first, input.last);
    case SMART_DATATYPE_CONSTANT:
        return static_cast<std::uint64_t>(std::int64_t{input.first});
    default:
        return 0;
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    g_pLogger = &s_logger;
    return 0;
}

// Mostly gives an ATA drive right sums: few blocks would get behind that check otherwise.
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t capacity,
                                               unsigned int seed) {
    size = LLVMFuzzerMutate(data, size, capacity);
    if (seed % 8 != 0 && size > 0) {
        data[0] |= s_hasRightSums;
    }
    return size;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    TInput input = {};
    std::memcpy(&input, data, std::min(size, sizeof input));
    const std::unique_ptr<CPhysicalDrive> drive(Plug(input));
    if (drive->Update() == 0) {
        CheckIdentity(*drive);
    } else {
        Require((input.flags & s_isNvme) == 0 || drive->AttributeCount() == 0, "attributes of a drive that is none");
    }
    const bool isRead = drive->ReadSmart() == 0;

    std::optional<TEntry> entry;
    TBlock block = {};
    unsigned int count = 0;
    if (isRead && (input.flags & s_isNvme) != 0) {
        block = FakeDrives::nvme.at("/dev/nvme0").log;
        count = s_nvmeAttributes;
        if (input.id >= 1 && input.id <= s_nvmeAttributes) {
            drive->GetSmartAttributeRawByID(input.id, entry.emplace().data(), s_entrySize);
        }
    } else if (isRead) {
        const TFakeAta& fake = FakeDrives::ata.at("/dev/ada0");
        block = fake.data;
        count = CountAttributes(fake, input.id, entry);
    }
    Require(drive->AttributeCount() == count, "another count of attributes than the drive lists");

    CSmartDeviceDescription description(drive->model, drive->firmwareRevision);
    description.attributes.push_back({input.id, L"Quantity", input.datatype, input.first, input.last, 0});
    Require(description.InterpretData(drive.get()) == 0, "data that was not interpreted");
    std::uint64_t value = 0;
    const bool answers = description.GetAttributeValueByName(L"Quantity", &value) == 0;
    const std::optional<std::uint64_t> expected = Expect(input, block, entry);
    Require(answers == expected.has_value(), "a rule that answers, or does not, against its data");
    Require(!answers || value == *expected, "another number than the bytes give");
    return 0;
}
