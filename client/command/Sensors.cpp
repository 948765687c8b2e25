#include "Sensors.h"

#include <algorithm>

namespace MdpCommand {
namespace {

constexpr std::int64_t s_barWidth = 20;

} // namespace

std::string Bar(std::optional<std::int64_t> value, std::int64_t low, std::int64_t high) {
    if (!value || low >= high) {
        return {};
    }
    const std::int64_t inside = std::clamp(*value, low, high) - low;
    const auto filled = static_cast<std::size_t>((inside * s_barWidth + (high - low) / 2) / (high - low));
    return "[" + std::string(filled, '#') + std::string(s_barWidth - filled, ' ') + "]";
}

std::string PowerStatusText(std::optional<std::int64_t> status) {
    switch (status.value_or(-1)) {
    case 1:
        return "on mains";
    case 2:
        return "on battery";
    default:
        return status ? "unknown" : "-";
    }
}

} // namespace MdpCommand
