#include "hardware/drives/CPhysicalDrive.h"

#include <cctype>
#include <cstring>
#include <string_view>
#include <utility>

#include "hardware/drives/CPhysicalDrive_Posix.h"
#include "hardware/drives/DriveResult.h"
#include "log/Logger.h"
#include "platform/Platform.h"

namespace PhysicalDrive {

namespace {

// Where ATA identify data has what, in bytes.
constexpr std::size_t SERIAL_OFFSET = 20;
constexpr int SERIAL_LENGTH = 20;
constexpr std::size_t FIRMWARE_OFFSET = 46;
constexpr int FIRMWARE_LENGTH = 8;
constexpr std::size_t MODEL_OFFSET = 54;
constexpr int MODEL_LENGTH = 40;
constexpr std::size_t SMART_SUPPORTED_OFFSET = 164; // bit 0
constexpr std::size_t SMART_ENABLED_OFFSET = 170;   // bit 0

constexpr std::size_t ENTRIES_OFFSET = 2; // of the 30 entries in both blocks
constexpr std::size_t MINIMAL_SERIAL_LENGTH = 8;

bool IsSpace(char c) {
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

bool IsSerialCharacter(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || std::strchr(" -._", c) != nullptr;
}

std::uint32_t Report(std::uint32_t result, const char* line) {
    g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "%s", line);
    return result;
}

} // namespace

CPhysicalDrive* CPhysicalDrive::Create(unsigned int index) {
    return new CPhysicalDrive_Posix(index);
}

std::uint32_t CPhysicalDrive::Update() {
    if (m_updated) {
        return 0;
    }
    if (!CreateDeviceHandle()) {
        return Report(DRIVE_E_FAILED, "CPhysicalDrive::CreateDeviceHandle failed!");
    }
    const std::uint32_t result = ReadIdentity();
    CloseDeviceHandle();
    return result;
}

std::uint32_t CPhysicalDrive::ReadIdentity() {
    if (!CheckBusType()) {
        return Report(DRIVE_E_FAILED, "CPhysicalDrive::CheckBusType failed!");
    }
    if (!ReadIdentifyDeviceData()) {
        return Report(DRIVE_E_NODATA, "CPhysicalDrive::ReadIdentifyDeviceData failed!");
    }
    VerifyIdentifyDeviceData();
    if (!m_serialValid) {
        return Report(DRIVE_E_INVALIDDATA, "CPhysicalDrive::GetCheckSerialNumber failed!");
    }
    partitionLetters = Platform::GetPartitionLettersByDriveIndex(m_driveIndex);
    m_updated = true;
    return 0;
}

std::uint32_t CPhysicalDrive::ReadSmart() {
    if (!CreateDeviceHandle()) {
        return Report(DRIVE_E_FAILED, "CPhysicalDrive::ReadSmart failed!");
    }
    const std::uint32_t result = ReadHealth();
    CloseDeviceHandle();
    return result;
}

std::uint32_t CPhysicalDrive::ReadHealth() {
    if (!m_smartSupported) {
        return Report(DRIVE_E_NODATA, "CPhysicalDrive::ReadSmart - SMART not supported!");
    }
    if (!m_smartEnabled) {
        m_smartEnabled = EnableSmart();
        if (!m_smartEnabled) {
            return Report(DRIVE_E_NODATA, "CPhysicalDrive::ReadSmart - Enable smart failed!");
        }
    }
    if (!ReadSmartAttributes()) {
        return Report(DRIVE_E_NODATA, "CPhysicalDrive::ReadSmart - ReadSmartAttributes failed!");
    }
    if (!ReadSmartThresholds()) {
        return Report(DRIVE_E_NODATA, "CPhysicalDrive::ReadSmart - ReadSmartThresholds failed!");
    }
    VerifySmartData();
    return 0;
}

void CPhysicalDrive::VerifyAtaIdentity(const unsigned char* identify) {
    m_identifyChecksum = Checksum(identify, static_cast<int>(SMART_BLOCK_SIZE));
    const char* text = reinterpret_cast<const char*>(identify);
    serialNumber = GetAtaString(text + SERIAL_OFFSET, SERIAL_LENGTH);
    firmwareRevision = GetAtaString(text + FIRMWARE_OFFSET, FIRMWARE_LENGTH);
    model = GetAtaString(text + MODEL_OFFSET, MODEL_LENGTH);
    m_serialValid = ValidateSerialnumber(serialNumber.c_str());
    m_smartSupported = (identify[SMART_SUPPORTED_OFFSET] & 1) != 0;
    m_smartEnabled = (identify[SMART_ENABLED_OFFSET] & 1) != 0;
}

void CPhysicalDrive::VerifySmartData() {
    m_attributeChecksum = Checksum(m_attributeBlock.data(), static_cast<int>(m_attributeBlock.size()));
    m_thresholdChecksum = Checksum(m_thresholdBlock.data(), static_cast<int>(m_thresholdBlock.size()));
    if (m_attributeChecksum != 0 || m_thresholdChecksum != 0) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "CPhysicalDrive::VerifySmartData - invalid checksum!");
        return;
    }
    std::uint8_t count = 0;
    for (std::size_t place = 0; place < SMART_ENTRIES; ++place) {
        const std::size_t offset = ENTRIES_OFFSET + place * SMART_ENTRY_SIZE;
        const unsigned char* attribute = &m_attributeBlock[offset];
        const unsigned char* threshold = &m_thresholdBlock[offset];
        if (attribute[0] == 0 || attribute[0] != threshold[0]) {
            continue;
        }
        std::memcpy(m_attributeTable[count].data(), attribute, SMART_ENTRY_SIZE);
        std::memcpy(m_thresholdTable[count].data(), threshold, SMART_ENTRY_SIZE);
        // An entry of the drive differs from the record in its last byte alone.
        std::memcpy(&m_attributes[count], attribute, SMART_ENTRY_SIZE);
        m_attributes[count].threshold = threshold[1];
        ++count;
    }
    m_attributeCount = count;
}

TSmartInfo CPhysicalDrive::GetSmartInfoByID(unsigned char id) const {
    for (std::size_t at = 0; at < m_attributeCount; ++at) {
        if (m_attributes[at].id == id) {
            return m_attributes[at];
        }
    }
    return {};
}

void CPhysicalDrive::GetSmartAttributeRawByID(unsigned char id, unsigned char* out, unsigned int /*len*/) const {
    for (std::size_t at = 0; at < m_attributeCount; ++at) {
        const unsigned char current = m_attributeTable[at][0];
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "GetSmartAttributeRawByID Searching for: %d Current ID: %d", id,
                          current);
        if (current == id) {
            std::memcpy(out, m_attributeTable[at].data(), SMART_ENTRY_SIZE);
            return;
        }
    }
}

void CPhysicalDrive::GetSmartThresholdRawByID(unsigned char id, unsigned char* out, unsigned int /*len*/) const {
    for (std::size_t at = 0; at < m_attributeCount; ++at) {
        if (m_thresholdTable[at][0] == id) {
            // Meant: the number of the entry counts single bytes of the block here, not whole entries.
            std::memcpy(out, &m_thresholdBlock[at], SMART_ENTRY_SIZE);
            return;
        }
    }
}

void CPhysicalDrive::GetSmartAttributesRAW(unsigned char* out, unsigned int /*len*/) const {
    std::memcpy(out, m_attributeBlock.data(), m_attributeBlock.size());
}

void CPhysicalDrive::GetSmartThresholdsRAW(unsigned char* out, unsigned int /*len*/) const {
    std::memcpy(out, m_thresholdBlock.data(), m_thresholdBlock.size());
}

std::uint8_t CPhysicalDrive::Checksum(const void* data, int length) {
    const auto* bytes = static_cast<const unsigned char*>(data);
    unsigned int sum = 0;
    for (int i = 0; i < length; ++i) {
        sum += bytes[i];
    }
    return static_cast<std::uint8_t>(sum);
}

bool CPhysicalDrive::ValidateSerialnumber(const char* serialNumber) {
    const std::string_view text = serialNumber;
    if (text.size() < MINIMAL_SERIAL_LENGTH) {
        return false;
    }
    for (const char c : text) {
        if (!IsSerialCharacter(c)) {
            return false;
        }
    }
    return true;
}

std::string CPhysicalDrive::GetAtaString(const char* data, int length) {
    if (length < 1) {
        return {};
    }
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    std::memcpy(text.data(), data, static_cast<std::size_t>(length));
    // The last pair of an odd length takes the terminator in.
    for (std::size_t at = 0; at + 1 < text.size(); at += 2) {
        std::swap(text[at], text[at + 1]);
    }
    return TrimAtaString(text.c_str(), length);
}

std::string CPhysicalDrive::TrimAtaString(const char* text, int length) {
    const std::size_t limit = length < 0 ? 0 : static_cast<std::size_t>(length);
    std::string_view rest(text, strnlen(text, limit));
    while (!rest.empty() && IsSpace(rest.front())) {
        rest.remove_prefix(1);
    }
    while (!rest.empty() && IsSpace(rest.back())) {
        rest.remove_suffix(1);
    }
    return std::string(rest);
}

} // namespace PhysicalDrive
