#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Arguments.h"
#include "Json.h"
#include "mdp/Client.h"
#include "mdp/Value.h"

// Texts in and out of the command.

namespace MdpCommand {

// A whole number in decimal or, with "0x" in front, hexadecimal digits, up to the limit.
std::optional<std::uint64_t> ParseNumber(std::string_view text, std::uint64_t limit);

// INDEX or INDEX:SUB of a command line.
struct Address {
    std::uint16_t index = 0;
    std::optional<std::uint8_t> subIndex;
};

// The index is hexadecimal with or without "0x", the sub-index decimal or with "0x" hexadecimal.
std::optional<Address> ParseAddress(std::string_view text);

// For arguments that take an address: a wrong one is a usage error that shows the form.
TakeText TakeAddress(Address& address);

// The text with as much padding in front as the width needs, in bytes.
std::string PadLeft(std::string_view text, std::size_t width, char padding);

// "0x" and at least so many digits.
std::string HexText(std::uint64_t number, std::size_t digits);

// "0x8011" and "0x8011:2".
std::string IndexText(std::uint16_t index);
std::string EntryText(std::uint16_t index, std::uint8_t subIndex);

// What stands between the separators, one part more than there are of them.
std::vector<std::string> Split(std::string_view text, char separator);

// The text as it stands if a terminal can show it in one line, and quoted otherwise.
std::string PrintableText(std::string_view text);

// A number, boolean or string; null for a number that JSON lacks; an object {"hex": digits} for octets and for texts
// that are not UTF-8.
Json ValueJson(const Mdp::Value& value);
Json TextJson(std::string_view text);

// "rw", "r-", "-w" or "--".
std::string AccessText(const Mdp::EntryDescription& entry);

} // namespace MdpCommand
