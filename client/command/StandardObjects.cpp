#include "StandardObjects.h"

#include <algorithm>
#include <array>

namespace MdpCommand {
namespace {

struct Name {
    const char* english;
    const char* german;
};

struct ObjectRow {
    std::uint16_t index;
    Name name;
};

// The entries from the first sub-index to the last, which are numbered if they are more than one.
struct EntryRow {
    std::uint16_t index;
    std::uint8_t first;
    std::uint8_t last;
    std::size_t hexDigits;
    Name name;
};

constexpr std::array s_objects{
    ObjectRow{0x1018, {"Identity object", "Identitätsobjekt"}},
    ObjectRow{0xF000, {"Modular device profile", "Modulares Geräteprofil"}},
    ObjectRow{0xF010, {"Module profile list", "Liste der Modulprofile"}},
    ObjectRow{0xF020, {"Configured address list", "Liste der konfigurierten Adressen"}},
    ObjectRow{0xF030, {"Configured module ident list", "Liste der konfigurierten Modulkennungen"}},
    ObjectRow{0xF050, {"Detected module ident list", "Liste der erkannten Modulkennungen"}},
    ObjectRow{0xF060, {"Module name list", "Liste der Modulnamen"}},
};

// The lists of module idents hold the modules' types, which are the high halves of the identifications in 0xF010.
constexpr std::array s_entries{
    EntryRow{0x1018, 1, 1, 8, {"Vendor ID", "Hersteller-ID"}},
    EntryRow{0x1018, 2, 2, 8, {"Product code", "Produktcode"}},
    EntryRow{0x1018, 3, 3, 8, {"Revision number", "Revisionsnummer"}},
    EntryRow{0x1018, 4, 4, 0, {"Serial number", "Seriennummer"}},
    EntryRow{0xF000, 1, 1, 0, {"Index distance of modules", "Indexabstand der Module"}},
    EntryRow{0xF000, 2, 2, 0, {"Maximum number of modules", "Höchstzahl der Module"}},
    EntryRow{0xF000, 3, 3, 8, {"General configuration", "Allgemeine Konfiguration"}},
    EntryRow{0xF000, 4, 4, 8, {"General information", "Allgemeine Information"}},
    EntryRow{0xF010, 1, 255, 8, {"Module identification", "Modulkennung"}},
    EntryRow{0xF020, 1, 255, 8, {"Module address", "Moduladresse"}},
    EntryRow{0xF030, 1, 255, 4, {"Module type", "Modultyp"}},
    EntryRow{0xF050, 1, 255, 4, {"Module type", "Modultyp"}},
    EntryRow{0xF060, 1, 255, 0, {"Module name", "Modulname"}},
};

// The entries of a module header that hold an address and an identification.
constexpr std::uint16_t s_headerMask = 0xF00F;
constexpr std::uint16_t s_header = 0x8000;
constexpr std::uint8_t s_headerItems = 5;
constexpr std::uint8_t s_subAddress = 1;
constexpr std::uint8_t s_subIdentification = 4;

constexpr std::uint16_t s_serviceMask = 0xF000;
constexpr std::uint16_t s_service = 0xB000;
constexpr std::uint8_t s_serviceItems = 4;

// The lists with numbers for all modules.
constexpr std::array<std::uint16_t, 4> s_numberLists{0xF010, 0xF020, 0xF030, 0xF050};

std::string InLanguage(const Name& name, std::uint32_t language) {
    switch (language) {
    case Mdp::LanguageDefault:
    case Mdp::LanguageEnglish:
        return name.english;
    case Mdp::LanguageGerman:
        return name.german;
    default:
        return {};
    }
}

const EntryRow* FindEntry(std::uint16_t index, std::uint8_t subIndex) {
    const auto* row = std::find_if(s_entries.begin(), s_entries.end(), [&](const EntryRow& entry) {
        return entry.index == index && entry.first <= subIndex && subIndex <= entry.last;
    });
    return row == s_entries.end() ? nullptr : row;
}

} // namespace

std::string StandardName(std::uint16_t index, std::uint32_t language) {
    const auto* row = std::find_if(s_objects.begin(), s_objects.end(),
                                   [&](const ObjectRow& object) { return object.index == index; });
    return row == s_objects.end() ? std::string() : InLanguage(row->name, language);
}

std::string StandardName(std::uint16_t index, std::uint8_t subIndex, std::uint32_t language) {
    const EntryRow* row = FindEntry(index, subIndex);
    std::string name = row != nullptr ? InLanguage(row->name, language) : std::string();
    if (!name.empty() && row->first != row->last) {
        name += " " + std::to_string(subIndex);
    }
    return name;
}

std::size_t HexDigits(std::uint16_t index, std::uint8_t subIndex) {
    if ((index & s_headerMask) == s_header) {
        return subIndex == s_subAddress || subIndex == s_subIdentification ? 8 : 0;
    }
    const EntryRow* row = FindEntry(index, subIndex);
    return row != nullptr ? row->hexDigits : 0;
}

std::optional<std::pair<std::uint16_t, std::uint8_t>> KindOfEntry(const Mdp::ObjectDescription& object,
                                                                  std::uint8_t subIndex) {
    const bool isRecord = object.objectCode == Mdp::ObjectRecord;
    const bool isArray = object.objectCode == Mdp::ObjectArray;
    if (subIndex == 0) { // the number of the others
        return isRecord || isArray ? std::optional(std::pair<std::uint16_t, std::uint8_t>()) : std::nullopt;
    }
    if (isRecord && object.itemCount == s_headerItems && (object.index & s_headerMask) == s_header) {
        const bool isNumber = subIndex == s_subAddress || subIndex == s_subIdentification;
        return isNumber ? std::optional(std::pair(s_header, subIndex)) : std::nullopt;
    }
    // The lengths of a request and a response count for nothing: the request, which is the first, cannot be read.
    if (isRecord && object.itemCount == s_serviceItems && (object.index & s_serviceMask) == s_service) {
        return std::pair(s_service, subIndex);
    }
    const bool isInList =
        isArray && std::find(s_numberLists.begin(), s_numberLists.end(), object.index) != s_numberLists.end();
    return isInList ? std::optional(std::pair(object.index, std::uint8_t{1})) : std::nullopt;
}

} // namespace MdpCommand
