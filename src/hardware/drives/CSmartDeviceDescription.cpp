#include "hardware/drives/CSmartDeviceDescription.h"

#include <algorithm>
#include <array>
#include <span>

#include "hardware/drives/DriveResult.h"
#include "platform/StringHelper.h"

using PhysicalDrive::CPhysicalDrive;
using PhysicalDrive::DRIVE_E_FAILED;

namespace {

// The number at the bytes `first` to `last` of the data, of which no byte behind the end is taken. `first` is inside.
std::uint64_t Extract(std::span<const unsigned char> data, unsigned int first, unsigned int last) {
    std::uint64_t value = 0;
    if (first <= last) {
        constexpr std::size_t width = sizeof value;
        const std::size_t count = std::min({std::size_t{last} - first + 1, width, data.size() - first});
        for (std::size_t k = 0; k < count; ++k) {
            value |= std::uint64_t{data[first + k]} << (8 * k);
        }
        return value;
    }
    // Meant: a descending range is no big-endian number, all its bytes fall into the lowest one.
    for (unsigned int at = first + 1; at > last; --at) {
        value |= data[at - 1];
    }
    return value;
}

void Interpret(CSmartAttributeDescription& rule, const CPhysicalDrive& drive) {
    const auto id = static_cast<unsigned char>(rule.id);
    if (rule.datatype <= SMART_DATATYPE_CONSTANT && rule.id > 0 && drive.GetSmartInfoByID(id).id != rule.id) {
        rule.datatype = SMART_DATATYPE_NONE;
    }
    const auto first = static_cast<unsigned int>(rule.opt1);
    const auto last = static_cast<unsigned int>(rule.opt2);
    std::array<unsigned char, PhysicalDrive::SMART_ENTRY_SIZE> entry = {};
    std::array<unsigned char, PhysicalDrive::SMART_BLOCK_SIZE> block = {};
    switch (rule.datatype) {
    case SMART_DATATYPE_NONE:
        rule.value = 0;
        break;
    case SMART_DATATYPE_ATTRIBUTE:
        if (first < entry.size()) {
            drive.GetSmartAttributeRawByID(id, entry.data(), entry.size());
            rule.value = Extract(entry, first, last);
        }
        break;
    case SMART_DATATYPE_BLOCK:
        if (first < block.size()) {
            drive.GetSmartAttributesRAW(block.data(), block.size());
            rule.value = Extract(block, first, last);
        }
        break;
    case SMART_DATATYPE_CONSTANT:
        rule.value = static_cast<std::uint64_t>(std::int64_t{rule.opt1});
        break;
    default:
        break;
    }
}

} // namespace

CSmartDeviceDescription::CSmartDeviceDescription(const std::string& driveModel, const std::string& driveFirmware)
    : model(CStringHelper::AnsiToWide(driveModel)), firmware(CStringHelper::AnsiToWide(driveFirmware)) {}

std::uint32_t CSmartDeviceDescription::InterpretData(CPhysicalDrive* drive) {
    for (CSmartAttributeDescription& rule : attributes) {
        Interpret(rule, *drive);
    }
    return 0;
}

const CSmartAttributeDescription* CSmartDeviceDescription::Find(const std::wstring& quantity) const {
    const auto found = std::find_if(attributes.begin(), attributes.end(),
                                    [&quantity](const auto& rule) { return rule.name == quantity; });
    return found == attributes.end() ? nullptr : &*found;
}

std::uint32_t CSmartDeviceDescription::GetAttributeValueByName(const std::wstring& quantity,
                                                               std::uint64_t* value) const {
    const CSmartAttributeDescription* rule = Find(quantity);
    if (rule == nullptr || rule->datatype <= SMART_DATATYPE_NONE) {
        return DRIVE_E_FAILED;
    }
    *value = rule->value;
    return 0;
}

std::uint32_t CSmartDeviceDescription::GetAttributeValueByName(const std::wstring& quantity, double* value) const {
    std::uint64_t number = 0;
    const std::uint32_t result = GetAttributeValueByName(quantity, &number);
    if (result == 0) {
        *value = static_cast<double>(number);
    }
    return result;
}

std::uint32_t CSmartDeviceDescription::GetAttributeTypeByName(const std::wstring& quantity,
                                                              unsigned int* datatype) const {
    const CSmartAttributeDescription* rule = Find(quantity);
    if (rule == nullptr) {
        return DRIVE_E_FAILED;
    }
    *datatype = static_cast<unsigned int>(rule->datatype);
    return 0;
}
