#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "mdp/Client.h"

// The objects that every device of the modular device profile has. The dictionary leaves most of them without names.

namespace MdpCommand {

// What the profile calls an object and an entry of it; empty where it tells nothing, or not in the language.
std::string StandardName(std::uint16_t index, std::uint32_t language);
std::string StandardName(std::uint16_t index, std::uint8_t subIndex, std::uint32_t language);

// The digits with which the number in an entry is shown in hexadecimal, as the halves of an address and the ids of
// vendors are read; 0 for a number that is shown in decimal.
std::size_t HexDigits(std::uint16_t index, std::uint8_t subIndex);

// Entries that the profile makes alike in all objects of a kind have the same key: their descriptions differ in nothing
// but where they belong. None for an entry that is its object's own, or whose length has to be asked for.
std::optional<std::pair<std::uint16_t, std::uint8_t>> KindOfEntry(const Mdp::ObjectDescription& object,
                                                                  std::uint8_t subIndex);

} // namespace MdpCommand
