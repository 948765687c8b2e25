#include "ModuleTable.h"

#include <algorithm>

namespace MdpCommand {
namespace {

constexpr std::int64_t s_full = 100;
constexpr std::int64_t s_barWidth = 10;

} // namespace

ModuleTable::ModuleTable(const Mdp::Client& client, const Mdp::Module& module, unsigned keyColumn)
    : m_reader(client), m_module(module) {
    const auto count = client.Read(m_module.Data(keyColumn), 0);
    if (!count || count->empty()) {
        m_noCount = count ? std::nullopt : std::optional(count.Error());
        return;
    }
    m_keys.resize(count->front());
    for (std::size_t row = 0; row < m_keys.size(); ++row) {
        m_keys[row] = Text(keyColumn, row);
    }
}

std::optional<Mdp::Bytes> ModuleTable::Read(unsigned column, std::size_t row) {
    return m_noCount ? std::nullopt : m_reader.Bytes(m_module.Data(column), static_cast<std::uint8_t>(row + 1));
}

std::string ModuleTable::Text(unsigned column, std::size_t row) {
    const auto bytes = Read(column, row);
    return bytes ? std::string(bytes->begin(), bytes->end()) : std::string();
}

std::optional<std::int64_t> ModuleTable::Number(unsigned column, std::size_t row) {
    const auto bytes = Read(column, row);
    if (!bytes || bytes->empty() || bytes->size() > sizeof(std::int64_t)) {
        return std::nullopt;
    }
    std::uint64_t number = 0;
    for (std::size_t at = 0; at < bytes->size(); ++at) {
        number |= std::uint64_t{(*bytes)[at]} << (8 * at);
    }
    // Percentages are the one kind of two bytes, and have a sign.
    return bytes->size() == sizeof(std::int16_t) ? static_cast<std::int16_t>(number)
                                                 : static_cast<std::int64_t>(number);
}

std::string PercentText(const std::optional<std::int64_t>& percent) {
    if (!percent) {
        return "-";
    }
    const std::int64_t filled = std::clamp(*percent, std::int64_t{0}, s_full) * s_barWidth / s_full;
    std::string number = std::to_string(*percent) + "%";
    number.insert(0, number.size() < 4 ? 4 - number.size() : 0, ' ');
    return number + " [" + std::string(static_cast<std::size_t>(filled), '#') +
           std::string(static_cast<std::size_t>(s_barWidth - filled), ' ') + "]";
}

} // namespace MdpCommand
