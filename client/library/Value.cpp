#include "mdp/Value.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "Wire.h"

namespace Mdp {
namespace {

struct TypeRow {
    std::uint16_t type;
    const char* name;
    ValueKind kind;
    std::size_t size;
};

constexpr std::array s_types{
    TypeRow{TypeBoolean, "BOOLEAN", ValueKind::Boolean, 1},
    TypeRow{TypeInteger8, "INTEGER8", ValueKind::Signed, 1},
    TypeRow{TypeInteger16, "INTEGER16", ValueKind::Signed, 2},
    TypeRow{TypeInteger32, "INTEGER32", ValueKind::Signed, 4},
    TypeRow{TypeUnsigned8, "UNSIGNED8", ValueKind::Unsigned, 1},
    TypeRow{TypeUnsigned16, "UNSIGNED16", ValueKind::Unsigned, 2},
    TypeRow{TypeUnsigned32, "UNSIGNED32", ValueKind::Unsigned, 4},
    TypeRow{TypeReal32, "REAL32", ValueKind::Real, 4},
    TypeRow{TypeVisibleString, "VISIBLE_STRING", ValueKind::Text, 0},
    TypeRow{TypeOctetString, "OCTET_STRING", ValueKind::Octets, 0},
    TypeRow{TypeEightBytes, "EIGHT_BYTES", ValueKind::Octets, 8},
    TypeRow{TypeUnsigned24, "UNSIGNED24", ValueKind::Unsigned, 3},
    TypeRow{TypeUnsigned40, "UNSIGNED40", ValueKind::Unsigned, 5},
    TypeRow{TypeUnsigned48, "UNSIGNED48", ValueKind::Unsigned, 6},
    TypeRow{TypeUnsigned56, "UNSIGNED56", ValueKind::Unsigned, 7},
    TypeRow{TypeUnsigned64, "UNSIGNED64", ValueKind::Unsigned, 8},
    TypeRow{TypeBit1, "BIT1", ValueKind::Unsigned, 1},
    TypeRow{49, "BIT2", ValueKind::Unsigned, 1},
    TypeRow{50, "BIT3", ValueKind::Unsigned, 1},
    TypeRow{51, "BIT4", ValueKind::Unsigned, 1},
    TypeRow{52, "BIT5", ValueKind::Unsigned, 1},
    TypeRow{53, "BIT6", ValueKind::Unsigned, 1},
    TypeRow{54, "BIT7", ValueKind::Unsigned, 1},
    TypeRow{TypeBit8, "BIT8", ValueKind::Unsigned, 1},
};

const TypeRow* FindType(std::uint16_t type) {
    const auto* row = std::find_if(s_types.begin(), s_types.end(), [&](const TypeRow& r) { return r.type == type; });
    return row == s_types.end() ? nullptr : row;
}

// Length of the UTF-8 sequence of a printable character or control character at the start of the text, 0 if none.
std::size_t Utf8Length(std::string_view text) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(0);
    if (lead < 0x80) {
        return 1;
    }
    const std::size_t length = lead >= 0xF0 && lead <= 0xF4 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC2 ? 2 : 0;
    if (length == 0 || lead > 0xF4 || text.size() < length) {
        return 0;
    }
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0U) != 0x80) {
            return 0;
        }
    }
    // Overlong forms, surrogates and numbers past the last character.
    const bool bad = (lead == 0xE0 && byte(1) < 0xA0) || (lead == 0xED && byte(1) > 0x9F) ||
                     (lead == 0xF0 && byte(1) < 0x90) || (lead == 0xF4 && byte(1) > 0x8F);
    return bad ? 0 : length;
}

// Control characters, those of two bytes (U+0080 to U+009F) included: a terminal acts on them.
bool IsControl(std::string_view text) {
    const auto first = static_cast<unsigned char>(text[0]);
    return first < 0x20 || first == 0x7F ||
           (first == 0xC2 && text.size() > 1 && static_cast<unsigned char>(text[1]) < 0xA0);
}

Error ArgumentError(std::string text) {
    return {ErrorKind::Argument, 0, 0, std::move(text)};
}

Bytes NumberBytes(std::uint64_t number, std::size_t size) {
    Bytes bytes;
    Wire::Put(bytes, number);
    bytes.resize(size);
    return bytes;
}

// The digits of a whole number, after its sign, all of them.
bool ParseDigits(std::string_view text, std::uint64_t& number) {
    int base = 10;
    if (text.starts_with("0x") || text.starts_with("0X")) {
        base = 16;
        text.remove_prefix(2);
    }
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number, base);
    return !text.empty() && error == std::errc() && stop == end;
}

Result<Bytes> EncodeInteger(const TypeRow& type, std::string_view text) {
    const bool negative = text.starts_with('-');
    const bool isSigned = type.kind == ValueKind::Signed;
    std::uint64_t magnitude = 0;
    if (!ParseDigits(text.substr(negative || text.starts_with('+') ? 1 : 0), magnitude)) {
        return ArgumentError("\"" + std::string(text) + "\" is not a whole number, as " + type.name + " needs");
    }
    // BIT1 to BIT8 are as wide as their name says.
    const bool isBits = type.type >= TypeBit1 && type.type <= TypeBit8;
    const std::size_t bits = isBits ? type.type - TypeBit1 + 1U : 8 * type.size;
    const std::uint64_t highest = ~std::uint64_t{0} >> (64 - bits);
    const std::uint64_t limit = isSigned ? (highest >> 1) + (negative ? 1 : 0) : negative ? 0 : highest;
    if (magnitude > limit) {
        const std::string range = isSigned
                                      ? "-" + std::to_string((highest >> 1) + 1) + " to " + std::to_string(highest >> 1)
                                      : "0 to " + std::to_string(highest);
        return ArgumentError(std::string(text) + " does not fit into " + type.name + ", which holds " + range);
    }
    return NumberBytes(negative ? 0 - magnitude : magnitude, type.size);
}

Result<Bytes> EncodeBoolean(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    for (const char* yes : {"true", "on", "yes", "1"}) {
        if (lower == yes) {
            return Bytes{1};
        }
    }
    for (const char* no : {"false", "off", "no", "0"}) {
        if (lower == no) {
            return Bytes{0};
        }
    }
    return ArgumentError("\"" + std::string(text) + "\" is not a boolean: write true or false");
}

Result<Bytes> EncodeReal(std::string_view text) {
    const std::string terminated(text);
    char* end = nullptr;
    errno = 0;
    const float number = std::strtof(terminated.c_str(), &end);
    if (terminated.empty() || *end != '\0' || std::isspace(static_cast<unsigned char>(terminated[0])) != 0) {
        return ArgumentError("\"" + terminated + "\" is not a number");
    }
    if (errno == ERANGE && std::isinf(number)) {
        return ArgumentError(terminated + " does not fit into REAL32");
    }
    std::uint32_t bits = 0;
    std::memcpy(&bits, &number, sizeof bits);
    return NumberBytes(bits, sizeof bits);
}

} // namespace

std::string TypeName(std::uint16_t type) {
    const TypeRow* row = FindType(type);
    return row != nullptr ? row->name : "TYPE" + std::to_string(type);
}

ValueKind KindOfType(std::uint16_t type) {
    const TypeRow* row = FindType(type);
    return row != nullptr ? row->kind : ValueKind::Octets;
}

std::size_t TypeSize(std::uint16_t type) {
    const TypeRow* row = FindType(type);
    return row != nullptr ? row->size : 0;
}

std::string ObjectCodeName(std::uint8_t objectCode) {
    switch (objectCode) {
    case ObjectVariable:
        return "variable";
    case ObjectArray:
        return "array";
    case ObjectRecord:
        return "record";
    default:
        return "code " + std::to_string(objectCode);
    }
}

Value DecodeValue(std::uint16_t type, ByteView bytes) {
    Value value;
    value.octets.assign(bytes.begin(), bytes.end());
    const ValueKind kind = KindOfType(type);
    if (kind == ValueKind::Octets) {
        return value;
    }
    if (kind == ValueKind::Text) {
        value.kind = kind;
        value.text.assign(bytes.begin(), bytes.end());
        value.text.resize(value.text.find_last_not_of('\0') + 1);
        return value;
    }
    // The count in entry 0 of an array or record is a byte that reads as two, the second being zero.
    const std::size_t size = TypeSize(type);
    const bool isCount = type == TypeUnsigned8 && bytes.size() == 2 && bytes[1] == 0;
    if (bytes.empty() || (bytes.size() != size && !isCount)) {
        return value;
    }
    value.kind = kind;
    const std::uint64_t number = Wire::GetNumber(bytes);
    switch (kind) {
    case ValueKind::Boolean:
        value.boolean = number != 0;
        break;
    case ValueKind::Signed: {
        const unsigned unused = static_cast<unsigned>(64 - 8 * bytes.size());
        value.integer = static_cast<std::int64_t>(number << unused) >> unused;
        break;
    }
    case ValueKind::Real: {
        const auto bits = static_cast<std::uint32_t>(number);
        std::memcpy(&value.real, &bits, sizeof bits);
        break;
    }
    default:
        value.unsignedNumber = number;
    }
    return value;
}

std::string FormatValue(const Value& value) {
    switch (value.kind) {
    case ValueKind::Boolean:
        return value.boolean ? "true" : "false";
    case ValueKind::Signed:
        return std::to_string(value.integer);
    case ValueKind::Unsigned:
        return std::to_string(value.unsignedNumber);
    case ValueKind::Real: {
        char text[64];
        std::snprintf(text, sizeof text, "%.7g", static_cast<double>(value.real));
        return text;
    }
    case ValueKind::Text:
        return Quote(value.text);
    case ValueKind::Octets:
        break;
    }
    return "0x" + ToHex(value.octets);
}

std::string FormatValue(std::uint16_t type, ByteView bytes) {
    return FormatValue(DecodeValue(type, bytes));
}

std::string Quote(std::string_view text) {
    std::string quoted = "\"";
    while (!text.empty()) {
        const auto first = static_cast<unsigned char>(text[0]);
        const std::size_t length = Utf8Length(text);
        if (first == '"' || first == '\\') {
            quoted += {'\\', text[0]};
        } else if (first == '\n') {
            quoted += "\\n";
        } else if (first == '\t') {
            quoted += "\\t";
        } else if (first == '\r') {
            quoted += "\\r";
        } else if (length == 0 || IsControl(text)) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\x%02x", static_cast<unsigned>(first));
            quoted += escape;
        } else {
            quoted += text.substr(0, length);
            text.remove_prefix(length - 1);
        }
        text.remove_prefix(1);
    }
    return quoted + '"';
}

bool IsUtf8(std::string_view text) {
    while (!text.empty()) {
        const std::size_t length = Utf8Length(text);
        if (length == 0) {
            return false;
        }
        text.remove_prefix(length);
    }
    return true;
}

std::string ToHex(ByteView bytes) {
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(2 * bytes.size());
    for (const std::uint8_t byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

Result<Bytes> FromHex(std::string_view text) {
    const std::string whole(text);
    if (text.starts_with("0x") || text.starts_with("0X")) {
        text.remove_prefix(2);
    }
    Bytes bytes;
    while (!text.empty()) {
        if (std::isspace(static_cast<unsigned char>(text[0])) != 0) {
            text.remove_prefix(1);
            continue;
        }
        std::uint8_t byte = 0;
        const auto [end, error] =
            std::from_chars(text.data(), text.data() + std::min<std::size_t>(2, text.size()), byte, 16);
        if (error != std::errc() || end != text.data() + 2) {
            return ArgumentError("\"" + whole + "\" is not made of pairs of hexadecimal digits");
        }
        bytes.push_back(byte);
        text.remove_prefix(2);
    }
    return bytes;
}

Result<Bytes> EncodeValue(std::uint16_t type, std::string_view text) {
    const TypeRow* row = FindType(type);
    switch (row != nullptr ? row->kind : ValueKind::Octets) {
    case ValueKind::Boolean:
        return EncodeBoolean(text);
    case ValueKind::Signed:
    case ValueKind::Unsigned:
        return EncodeInteger(*row, text);
    case ValueKind::Real:
        return EncodeReal(text);
    case ValueKind::Text:
        return Bytes(text.begin(), text.end());
    case ValueKind::Octets:
        break;
    }
    Result<Bytes> bytes = FromHex(text);
    const std::size_t size = row != nullptr ? row->size : 0;
    if (bytes && size != 0 && bytes->size() != size) {
        return ArgumentError(std::string(row->name) + " needs " + std::to_string(size) +
                             " bytes in hexadecimal digits");
    }
    return bytes;
}

} // namespace Mdp
