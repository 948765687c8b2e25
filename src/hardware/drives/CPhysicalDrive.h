#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

// One physical drive at a time: identity and health data in one shape, whether the drive is ATA or NVMe. An object is
// made for a probe of a device and used by one thread. It keeps no handle: Update and ReadSmart each open the device.
namespace PhysicalDrive {

inline constexpr std::size_t SMART_BLOCK_SIZE = 512;
inline constexpr std::size_t SMART_ENTRY_SIZE = 12;
inline constexpr std::size_t SMART_ENTRIES = 30;

// One attribute of a drive. Packed: it is copied as the 12 bytes of an entry.
struct __attribute__((packed)) TSmartInfo {
    std::uint8_t id;
    std::uint16_t flags;
    std::uint8_t value;
    std::uint8_t worst;
    std::uint8_t raw[6]; // little-endian, as on the drive
    std::uint8_t threshold;
};

static_assert(sizeof(TSmartInfo) == SMART_ENTRY_SIZE);

class CPhysicalDrive {
public:
    // The ATA drive of that number. The caller owns it. The device is not touched.
    static CPhysicalDrive* Create(unsigned int index);

    explicit CPhysicalDrive(unsigned int index) : m_driveIndex(index) {}

    virtual ~CPhysicalDrive() = default;
    CPhysicalDrive(const CPhysicalDrive&) = delete;
    CPhysicalDrive& operator=(const CPhysicalDrive&) = delete;

    // Reads the identity, once. 0; OBJ_E_FAILED where the device cannot be opened, OBJ_E_NODATA where it does not
    // answer, OBJ_E_INVALIDDATA where its serial number is none.
    std::uint32_t Update();
    // Reads the health data. 0, also where the data is not well-formed and so gives no attributes; OBJ_E_FAILED or
    // OBJ_E_NODATA as above.
    std::uint32_t ReadSmart();

    // The first attribute with that id; all zero where there is none.
    TSmartInfo GetSmartInfoByID(unsigned char id) const;
    // Copies the 12 bytes of the first attribute with that id; `out` stays as it is where there is none.
    void GetSmartAttributeRawByID(unsigned char id, unsigned char* out, unsigned int len) const;
    void GetSmartThresholdRawByID(unsigned char id, unsigned char* out, unsigned int len) const;
    // Always 512 bytes, whatever `len`.
    void GetSmartAttributesRAW(unsigned char* out, unsigned int len) const;
    void GetSmartThresholdsRAW(unsigned char* out, unsigned int len) const;

    // 8-bit sum of the bytes, 0 for a length below 1.
    static std::uint8_t Checksum(const void* data, int length);
    static bool ValidateSerialnumber(const char* serialNumber);
    // A text field of an ATA drive, whose bytes are exchanged word by word.
    static std::string GetAtaString(const char* data, int length);
    // The text without white space at both ends.
    static std::string TrimAtaString(const char* text, int length);

    unsigned int DriveIndex() const { return m_driveIndex; }

    unsigned int AttributeCount() const { return m_attributeCount; }

    std::string serialNumber;
    std::string model;
    std::string firmwareRevision;
    std::string partitionLetters;

protected:
    using TBlock = std::array<unsigned char, SMART_BLOCK_SIZE>;
    using TEntry = std::array<unsigned char, SMART_ENTRY_SIZE>;

    // Opens the device, or tells that there is none. What is open is closed by CloseDeviceHandle.
    virtual bool CreateDeviceHandle() = 0;
    virtual void CloseDeviceHandle() = 0;
    virtual bool CheckBusType() = 0;
    virtual bool ReadIdentifyDeviceData() = 0;
    // Switches the health data on: false where that is not done.
    virtual bool EnableSmart() = 0;
    virtual bool ReadSmartAttributes() = 0;
    virtual bool ReadSmartThresholds() = 0;
    // Takes the identity out of what ReadIdentifyDeviceData got.
    virtual void VerifyIdentifyDeviceData() = 0;
    // Takes the attributes out of what the two reads of health data got.
    virtual void VerifySmartData();

    // Takes the sum, the texts and the two SMART flags of 512 bytes of ATA identify data.
    void VerifyAtaIdentity(const unsigned char* identify);

    bool m_serialValid = false;
    bool m_updated = false;
    std::uint8_t m_identifyChecksum = 0xFF; // kept, but nobody tests it
    unsigned int m_driveIndex;
    bool m_smartSupported = false;
    bool m_smartEnabled = false;
    std::uint8_t m_attributeChecksum = 0;
    TBlock m_attributeBlock = {}; // as it came off the device
    std::array<TEntry, SMART_ENTRIES> m_attributeTable = {};
    std::uint8_t m_thresholdChecksum = 0;
    TBlock m_thresholdBlock = {};
    std::array<TEntry, SMART_ENTRIES> m_thresholdTable = {};
    std::uint8_t m_attributeCount = 0; // used entries of the three tables
    std::array<TSmartInfo, SMART_ENTRIES> m_attributes = {};

private:
    std::uint32_t ReadIdentity();
    std::uint32_t ReadHealth();
};

} // namespace PhysicalDrive
