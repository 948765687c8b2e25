#include "Text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <ostream>

#include <fmt/format.h>

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

// Characters of a UTF-8 text.
std::size_t Width(std::string_view text) {
    return static_cast<std::size_t>(std::count_if(
        text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80; }));
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

CLI::Option* AddAddress(CLI::App& app, const std::string& name, Address& address, const std::string& description) {
    return app.add_option_function<std::string>(
        name,
        [&address, name](const std::string& text) {
            const auto parsed = ParseAddress(text);
            if (!parsed) {
                throw CLI::ValidationError(name, "\"" + text + "\" does not have the form 0x8011 or 0x8011:2");
            }
            address = *parsed;
        },
        description);
}

CLI::Validator NumberIn(double low, double high) {
    const std::string range = fmt::format("from {} to {}", low, high);
    return {[=](std::string& text) {
                double number = 0;
                const bool isIn = CLI::detail::lexical_cast(text, number) && number >= low && number <= high;
                return isIn ? std::string() : text + " is not a number " + range;
            },
            range};
}

std::string IndexText(std::uint16_t index) {
    return fmt::format("0x{:04X}", index);
}

std::string EntryText(std::uint16_t index, std::uint8_t subIndex) {
    return fmt::format("0x{:04X}:{}", index, subIndex);
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

void Table::Print(std::ostream& out) const {
    std::vector<std::size_t> widths(1);
    for (const auto& row : m_rows) {
        if (row.size() == 1) {
            continue; // a title
        }
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], Width(row[i]));
        }
    }
    for (const auto& row : m_rows) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            const std::size_t width = Width(row[i]);
            const std::string padding(widths[i] > width ? widths[i] - width : 0, ' ');
            const bool right = std::find(m_right.begin(), m_right.end(), i) != m_right.end();
            line += (i == 0 ? "" : "  ") + (right ? padding + row[i] : row[i] + padding);
        }
        line.resize(line.find_last_not_of(' ') + 1);
        out << line << '\n';
    }
}

} // namespace MdpCommand
