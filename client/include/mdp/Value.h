#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "mdp/Client.h"

namespace Mdp {

/// Data types of entries.
enum DataType : std::uint16_t {
    TypeBoolean = 1,
    TypeInteger8 = 2,
    TypeInteger16 = 3,
    TypeInteger32 = 4,
    TypeUnsigned8 = 5,
    TypeUnsigned16 = 6,
    TypeUnsigned32 = 7,
    TypeReal32 = 8,
    TypeVisibleString = 9,
    TypeOctetString = 10,
    TypeEightBytes = 11,
    TypeUnsigned24 = 22,
    TypeUnsigned40 = 24,
    TypeUnsigned48 = 25,
    TypeUnsigned56 = 26,
    TypeUnsigned64 = 27,
    TypeBit1 = 48,
    TypeBit8 = 55,
};

/// What kind of value a data type holds.
enum class ValueKind { Boolean, Signed, Unsigned, Real, Text, Octets };

/// "UNSIGNED32", "VISIBLE_STRING" and so on; "TYPE" and the number for a type without a name.
std::string TypeName(std::uint16_t type);

ValueKind KindOfType(std::uint16_t type);

/// Bytes of a value of the type, 0 for types of any length.
std::size_t TypeSize(std::uint16_t type);

/// "variable", "array" or "record"; "code" and the number for any other object code.
std::string ObjectCodeName(std::uint8_t objectCode);

/// A decoded value. A value whose bytes do not fit its type decodes as octets.
struct Value {
    ValueKind kind = ValueKind::Octets;
    bool boolean = false;
    std::int64_t integer = 0;         ///< for kind Signed
    std::uint64_t unsignedNumber = 0; ///< for kind Unsigned
    float real = 0;
    std::string text; ///< for kind Text, without the NUL bytes at its end
    Bytes octets;     ///< always the bytes as they came
};

Value DecodeValue(std::uint16_t type, ByteView bytes);

/// The value in one line: numbers in decimal, booleans as true and false, texts in double quotes with escapes for what
/// is not printable UTF-8, octets as "0x" and hexadecimal digits.
std::string FormatValue(const Value& value);

std::string FormatValue(std::uint16_t type, ByteView bytes);

/// Double quotes round a text; backslash, quote, control characters and bytes that are not UTF-8 escaped.
std::string Quote(std::string_view text);

/// True when the text is well-formed UTF-8.
bool IsUtf8(std::string_view text);

/// Pairs of lower-case hexadecimal digits.
std::string ToHex(ByteView bytes);

/// The bytes of an even number of hexadecimal digits, with or without "0x" in front and with blanks between bytes.
Result<Bytes> FromHex(std::string_view text);

/// The bytes to write for a text that a human entered, by the type of the entry. Numbers are decimal or, with "0x",
/// hexadecimal; booleans are true, false, on, off, yes, no, 1 or 0; octets are hexadecimal digits; texts are taken as
/// they stand. Error kind Argument says what is wrong.
Result<Bytes> EncodeValue(std::uint16_t type, std::string_view text);

} // namespace Mdp
