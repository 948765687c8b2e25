#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Reader.h"

// What the modules of the board tell, as sensors, gpio and ups show it.

namespace MdpCommand {

inline constexpr std::uint16_t s_moduleTypeCpu = 11;
inline constexpr std::uint16_t s_moduleTypeFan = 27;
inline constexpr std::uint16_t s_moduleTypeMainboard = 28;
inline constexpr std::uint16_t s_moduleTypeUps = 30;

// "[####      ]" for a value in a range; nothing for one without.
std::string Bar(std::optional<std::int64_t> value, std::int64_t low, std::int64_t high);

// What the power status of a supply is called.
std::string PowerStatusText(std::optional<std::int64_t> status);

} // namespace MdpCommand
