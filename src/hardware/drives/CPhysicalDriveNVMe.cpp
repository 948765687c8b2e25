#include "hardware/drives/CPhysicalDriveNVMe.h"

#include <cstring>

#include "hardware/drives/CPhysicalDriveNVMe_Posix.h"
#include "platform/StringHelper.h"

namespace PhysicalDrive {

namespace {

// Where the identify data has what, in bytes.
constexpr std::size_t SERIAL_OFFSET = 4;
constexpr std::size_t SERIAL_LENGTH = 20;
constexpr std::size_t MODEL_OFFSET = 24;
constexpr std::size_t MODEL_LENGTH = 40;
constexpr std::size_t FIRMWARE_OFFSET = 64;
constexpr std::size_t FIRMWARE_LENGTH = 8;

// A field of the health log page that becomes an attribute. Counters of 16 bytes lose their upper ten.
struct TAttributeMap {
    std::uint8_t id;
    std::size_t offset;
    std::size_t size;
};

constexpr std::size_t PERCENTAGE_USED_OFFSET = 5;

constexpr TAttributeMap ATTRIBUTE_MAP[] = {
    {1, 0, 1},    // critical warning
    {2, 1, 2},    // composite temperature
    {3, 3, 1},    // available spare
    {4, 4, 1},    // available spare threshold
    {5, 5, 1},    // percentage used, turned into what is left
    {6, 32, 6},   // data units read
    {7, 48, 6},   // data units written
    {8, 64, 6},   // host read commands
    {9, 80, 6},   // host write commands
    {10, 96, 6},  // controller busy time
    {11, 112, 6}, // power cycles
    {12, 128, 6}, // power on hours
    {13, 144, 6}, // unsafe shutdowns
    {14, 160, 6}, // media errors
    {15, 176, 6}, // number of error information log entries
};

} // namespace

CPhysicalDrive* CPhysicalDriveNVMe::Create(unsigned int index) {
    return new CPhysicalDriveNVMe_Posix(index);
}

CPhysicalDrive* CPhysicalDriveNVMe::Create(unsigned char /*first*/, unsigned char /*second*/) {
    return nullptr;
}

void CPhysicalDriveNVMe::VerifyIdentifyDeviceData() {
    const auto field = [this](std::size_t offset, std::size_t length) {
        const char* text = reinterpret_cast<const char*>(m_identifyBlock.data()) + offset;
        return CStringHelper::Trim(std::string(text, strnlen(text, length)));
    };
    serialNumber = field(SERIAL_OFFSET, SERIAL_LENGTH);
    model = field(MODEL_OFFSET, MODEL_LENGTH);
    firmwareRevision = field(FIRMWARE_OFFSET, FIRMWARE_LENGTH);
    m_serialValid = ValidateSerialnumber(serialNumber.c_str());
    m_identifyChecksum = 0;
    m_smartSupported = true;
    m_smartEnabled = true;
}

void CPhysicalDriveNVMe::VerifySmartData() {
    m_attributeCount = static_cast<std::uint8_t>(std::size(ATTRIBUTE_MAP));
    for (std::size_t at = 0; at < std::size(ATTRIBUTE_MAP); ++at) {
        const TAttributeMap& field = ATTRIBUTE_MAP[at];
        TSmartInfo& attribute = m_attributes[at];
        attribute.id = field.id;
        std::memcpy(attribute.raw, &m_attributeBlock[field.offset], field.size);
        if (field.offset == PERCENTAGE_USED_OFFSET) {
            attribute.raw[0] = static_cast<std::uint8_t>(100 - attribute.raw[0]); // wraps beyond 100
        }
        std::memcpy(m_attributeTable[at].data(), &attribute, SMART_ENTRY_SIZE);
    }
}

} // namespace PhysicalDrive
