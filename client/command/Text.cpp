#include "Text.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace MdpCommand {
namespace {

bool HasHexPrefix(std::string_view text) {
    return text.starts_with("0x") || text.starts_with("0X");
}

std::optional<std::uint64_t> ParseDigits(std::string_view text, int base, std::uint64_t limit) {
    std::uint64_t number = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number, base);
    if (text.empty() || error != std::errc() || stop != end || number > limit) {
        return std::nullopt;
    }
    return number;
}

} // namespace

std::optional<std::uint64_t> ParseNumber(std::string_view text, std::uint64_t limit) {
    return HasHexPrefix(text) ? ParseDigits(text.substr(2), 16, limit) : ParseDigits(text, 10, limit);
}

std::optional<Address> ParseAddress(std::string_view text) {
    const std::size_t colon = text.find(':');
    std::string_view indexText = text.substr(0, colon);
    if (HasHexPrefix(indexText)) {
        indexText.remove_prefix(2);
    }
    const auto index = ParseDigits(indexText, 16, 0xFFFF);
    if (!index) {
        return std::nullopt;
    }
    Address address{static_cast<std::uint16_t>(*index), std::nullopt};
    if (colon != std::string_view::npos) {
        const auto subIndex = ParseNumber(text.substr(colon + 1), 0xFF);
        if (!subIndex) {
            return std::nullopt;
        }
        address.subIndex = static_cast<std::uint8_t>(*subIndex);
    }
    return address;
}

TakeText TakeAddress(Address& address) {
    return [&address](const std::string& text) -> std::string {
        const auto parsed = ParseAddress(text);
        if (!parsed) {
            return "\"" + text + "\" does not have the form 0x8011 or 0x8011:2";
        }
        address = *parsed;
        return "";
    };
}

std::string PadLeft(std::string_view text, std::size_t width, char padding) {
    return std::string(width > text.size() ? width - text.size() : 0, padding) + std::string(text);
}

std::string HexText(std::uint64_t number, std::size_t digits) {
    std::string text;
    do {
        text.insert(text.begin(), "0123456789ABCDEF"[number % 16]);
        number /= 16;
    } while (number != 0);
    return "0x" + PadLeft(text, digits, '0');
}

std::string IndexText(std::uint16_t index) {
    return HexText(index, 4);
}

std::string EntryText(std::uint16_t index, std::uint8_t subIndex) {
    return IndexText(index) + ":" + std::to_string(subIndex);
}

std::vector<std::string> Split(std::string_view text, char separator) {
    std::vector<std::string> parts(1);
    for (const char c : text) {
        if (c == separator) {
            parts.emplace_back();
        } else {
            parts.back() += c;
        }
    }
    return parts;
}

std::string PrintableText(std::string_view text) {
    std::string quoted = Mdp::Quote(text);
    const std::string_view inside = std::string_view(quoted).substr(1, quoted.size() - 2);
    // Quotes and backslashes alone are no danger to a terminal.
    const bool harmless =
        Mdp::IsUtf8(text) &&
        inside.size() == text.size() + static_cast<std::size_t>(std::count_if(
                                           text.begin(), text.end(), [](char c) { return c == '"' || c == '\\'; }));
    return harmless ? std::string(text) : quoted;
}

Json TextJson(std::string_view text) {
    if (Mdp::IsUtf8(text)) {
        return std::string(text);
    }
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    return {{"hex", Mdp::ToHex({bytes, text.size()})}};
}

Json ValueJson(const Mdp::Value& value) {
    switch (value.kind) {
    case Mdp::ValueKind::Boolean:
        return value.boolean;
    case Mdp::ValueKind::Signed:
        return value.integer;
    case Mdp::ValueKind::Unsigned:
        return value.unsignedNumber;
    case Mdp::ValueKind::Real:
        return std::isfinite(value.real) ? Json(static_cast<double>(value.real)) : Json();
    case Mdp::ValueKind::Text:
        return TextJson(value.text);
    case Mdp::ValueKind::Octets:
        break;
    }
    return {{"hex", Mdp::ToHex(value.octets)}};
}

std::string AccessText(const Mdp::EntryDescription& entry) {
    return {entry.readable ? 'r' : '-', entry.writable ? 'w' : '-'};
}

} // namespace MdpCommand
