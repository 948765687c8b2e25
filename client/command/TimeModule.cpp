#include "TimeModule.h"

#include <algorithm>

#include "Reader.h"
#include "mdp/Value.h"

namespace MdpCommand {
namespace {

constexpr std::uint16_t s_moduleTypeTime = 3;

// Data objects of the module.
constexpr unsigned s_settings = 1;
constexpr unsigned s_zones = 2;
constexpr unsigned s_furtherZones = 3;

// What the first list of zones holds when it is full.
constexpr std::uint64_t s_zonesPerList = 254;

std::uint16_t DataOf(std::uint16_t header, unsigned k) {
    return static_cast<std::uint16_t>(header + k);
}

std::uint64_t NumberOf(const Mdp::Bytes& bytes) {
    std::uint64_t number = 0;
    for (auto byte = bytes.rbegin(); byte != bytes.rend(); ++byte) {
        number = number << 8 | *byte;
    }
    return number;
}

std::string TextOf(const Mdp::Bytes& bytes) {
    return Mdp::DecodeValue(Mdp::TypeVisibleString, bytes).text;
}

} // namespace

bool TimeModule::IsServerName(const std::string& text) {
    return text.find_first_not_of("-_.:0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ") ==
           std::string::npos;
}

Mdp::Result<TimeModule> TimeModule::Find(const Mdp::Client& client) {
    const auto module = FindModuleOf(client, s_moduleTypeTime, "clock, zones and time servers");
    return module ? Mdp::Result<TimeModule>(TimeModule(client, module->index)) : module.Error();
}

Mdp::Result<std::string> TimeModule::ReadText(std::uint8_t subIndex) const {
    const auto bytes = m_client.Read(DataOf(m_header, s_settings), subIndex);
    if (!bytes) {
        return bytes.Error().code == Mdp::OBJ_E_NODATA ? Mdp::Result<std::string>(std::string()) : bytes.Error();
    }
    return TextOf(*bytes);
}

Mdp::Result<std::uint64_t> TimeModule::ReadNumber(std::uint8_t subIndex) const {
    const auto bytes = m_client.Read(DataOf(m_header, s_settings), subIndex);
    return bytes ? Mdp::Result<std::uint64_t>(NumberOf(*bytes)) : bytes.Error();
}

Mdp::Result<void> TimeModule::WriteText(std::uint8_t subIndex, const std::string& text) const {
    return m_client.Write(DataOf(m_header, s_settings), subIndex, Mdp::Bytes(text.begin(), text.end()));
}

Mdp::Result<void> TimeModule::WriteNumber(std::uint8_t subIndex, std::uint64_t number, std::size_t size) const {
    Mdp::Bytes bytes;
    for (std::size_t byte = 0; byte < size; ++byte) {
        bytes.push_back(static_cast<std::uint8_t>(number >> 8 * byte));
    }
    return m_client.Write(DataOf(m_header, s_settings), subIndex, bytes);
}

Mdp::Result<std::vector<std::string>> TimeModule::ListZones() const {
    std::vector<std::string> names;
    for (const unsigned list : {s_zones, s_furtherZones}) {
        const std::uint16_t index = DataOf(m_header, list);
        const auto count = m_client.Read(index, 0);
        if (!count) {
            return count.Error();
        }
        for (std::uint64_t zone = 1; zone <= std::min<std::uint64_t>(NumberOf(*count), s_zonesPerList); ++zone) {
            const auto name = m_client.Read(index, static_cast<std::uint8_t>(zone));
            if (!name) {
                return name.Error();
            }
            names.push_back(TextOf(*name));
        }
    }
    return names;
}

Mdp::Result<std::string> TimeModule::ReadZone() const {
    const auto zone = ReadNumber(SubZone);
    if (!zone) {
        return zone.Error();
    }
    if (*zone >= 2 * s_zonesPerList) {
        return std::string();
    }
    const std::uint16_t index = DataOf(m_header, *zone < s_zonesPerList ? s_zones : s_furtherZones);
    const auto name = m_client.Read(index, static_cast<std::uint8_t>(*zone % s_zonesPerList + 1));
    return name ? Mdp::Result<std::string>(TextOf(*name)) : name.Error();
}

} // namespace MdpCommand
