#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "hardware/drives/CPhysicalDrive.h"

// Kinds of extraction of a rule.
inline constexpr int SMART_DATATYPE_NONE = 0;
inline constexpr int SMART_DATATYPE_ATTRIBUTE = 1; // bytes of the attribute's 12
inline constexpr int SMART_DATATYPE_BLOCK = 2;     // bytes of the 512 that came off the device
inline constexpr int SMART_DATATYPE_CONSTANT = 3;

// One rule: where a named quantity lies in the health data of a drive model, and what it came to.
struct CSmartAttributeDescription {
    int id = 0; // 0: not tied to one attribute
    std::wstring name;
    int datatype = SMART_DATATYPE_NONE;
    int opt1 = 0; // first byte, or the constant
    int opt2 = 0; // last byte
    std::uint64_t value = 0;
};

// The description of a drive model, and after InterpretData a number for every quantity of one drive.
class CSmartDeviceDescription {
public:
    CSmartDeviceDescription(const std::string& model, const std::string& firmware);

    // Computes all values from what the drive holds. Always 0. A rule of an attribute that the drive has not becomes
    // SMART_DATATYPE_NONE.
    std::uint32_t InterpretData(PhysicalDrive::CPhysicalDrive* drive);

    // The first quantity of that name: 0, or DRIVE_E_FAILED, the output left alone, where there is none.
    std::uint32_t GetAttributeValueByName(const std::wstring& quantity, std::uint64_t* value) const;
    std::uint32_t GetAttributeValueByName(const std::wstring& quantity, double* value) const;
    std::uint32_t GetAttributeTypeByName(const std::wstring& quantity, unsigned int* datatype) const;

    std::wstring name;
    std::wstring model;
    std::wstring firmware;
    int type = 0; // 1 hard disk, 2 and above flash drive, 0 neither
    std::vector<CSmartAttributeDescription> attributes;

private:
    const CSmartAttributeDescription* Find(const std::wstring& quantity) const;
};
