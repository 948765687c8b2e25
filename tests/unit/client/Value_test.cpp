#include "mdp/Value.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "FakeService.h"

namespace {

std::string Shown(std::uint16_t type, const std::string& hex) {
    return Mdp::FormatValue(type, Hex(hex));
}

// The bytes as digits, or what is wrong.
std::string Encoded(std::uint16_t type, std::string_view text) {
    const auto bytes = Mdp::EncodeValue(type, text);
    return bytes ? Mdp::ToHex(*bytes) : "error: " + bytes.Error().Message();
}

} // namespace

TEST(Value, NumbersAreShownByTheirType) {
    EXPECT_EQ(Shown(Mdp::TypeBoolean, "00"), "false");
    EXPECT_EQ(Shown(Mdp::TypeBoolean, "02"), "true");
    EXPECT_EQ(Shown(Mdp::TypeInteger8, "ff"), "-1");
    EXPECT_EQ(Shown(Mdp::TypeInteger16, "0080"), "-32768");
    EXPECT_EQ(Shown(Mdp::TypeInteger32, "feffffff"), "-2");
    EXPECT_EQ(Shown(Mdp::TypeUnsigned8, "ff"), "255");
    EXPECT_EQ(Shown(Mdp::TypeUnsigned16, "3412"), "4660");
    EXPECT_EQ(Shown(Mdp::TypeUnsigned32, "89131027"), "655365001");
    EXPECT_EQ(Shown(Mdp::TypeUnsigned24, "010002"), "131073");
    EXPECT_EQ(Shown(Mdp::TypeUnsigned40, "0000000001"), "4294967296");
    EXPECT_EQ(Shown(Mdp::TypeUnsigned48, "000000000001"), "1099511627776");
    EXPECT_EQ(Shown(Mdp::TypeUnsigned56, "00000000000001"), "281474976710656");
    EXPECT_EQ(Shown(Mdp::TypeUnsigned64, "ffffffffffffffff"), "18446744073709551615");
    EXPECT_EQ(Shown(Mdp::TypeReal32, "0000c03f"), "1.5");
    EXPECT_EQ(Shown(Mdp::TypeBit8, "e8"), "232");
}

TEST(Value, CountOfTwoBytesIsShownAsANumber) {
    EXPECT_EQ(Shown(Mdp::TypeUnsigned8, "0400"), "4");
}

TEST(Value, BytesThatDoNotFitTheirTypeAreShownAsOctets) {
    EXPECT_EQ(Shown(Mdp::TypeUnsigned32, "0102"), "0x0102");
    EXPECT_EQ(Shown(Mdp::TypeUnsigned8, "0401"), "0x0401");
    EXPECT_EQ(Shown(Mdp::TypeBoolean, ""), "0x");
}

TEST(Value, OctetsAndUnknownTypesAreShownInHexadecimal) {
    EXPECT_EQ(Shown(Mdp::TypeOctetString, "00ff10"), "0x00ff10");
    EXPECT_EQ(Shown(Mdp::TypeEightBytes, "0102030405060708"), "0x0102030405060708");
    EXPECT_EQ(Shown(4711, "ab"), "0xab");
    EXPECT_EQ(Mdp::TypeName(4711), "TYPE4711");
}

TEST(Value, TextsAreQuotedAndEscapedAndLoseTheNulsAtTheirEnd) {
    EXPECT_EQ(Shown(Mdp::TypeVisibleString, "656d3000"), "\"em0\"");
    EXPECT_EQ(Shown(Mdp::TypeVisibleString, ""), "\"\"");
    EXPECT_EQ(Shown(Mdp::TypeVisibleString, "41225c0a090d1b007f"), R"("A\"\\\n\t\r\x1b\x00\x7f")");
    EXPECT_EQ(Shown(Mdp::TypeVisibleString, "c2b043"), "\"\u00b0C\"");
}

TEST(Value, BytesThatAreNotUtf8AreEscaped) {
    EXPECT_EQ(Mdp::Quote("\xff"), R"("\xff")");
    EXPECT_EQ(Mdp::Quote("\xc0\xaf"), R"("\xc0\xaf")") << "overlong";
    EXPECT_EQ(Mdp::Quote("\xed\xa0\x80"), R"("\xed\xa0\x80")") << "a surrogate";
    EXPECT_EQ(Mdp::Quote("\xe2\x82"), R"("\xe2\x82")") << "cut off";
    EXPECT_EQ(Mdp::Quote("\xf4\x90\x80\x80"), R"("\xf4\x90\x80\x80")") << "past the last character";
    EXPECT_EQ(Mdp::Quote("\xc2\x9b"), R"("\xc2\x9b")") << "a control character of two bytes";
    EXPECT_FALSE(Mdp::IsUtf8("a\xff"));
    EXPECT_TRUE(Mdp::IsUtf8("a\u00e4\U0001F600"));
}

TEST(Value, NumbersAreEncodedInTheWidthOfTheirType) {
    EXPECT_EQ(Encoded(Mdp::TypeUnsigned32, "655365001"), "89131027");
    EXPECT_EQ(Encoded(Mdp::TypeUnsigned16, "0x1234"), "3412");
    EXPECT_EQ(Encoded(Mdp::TypeInteger8, "-128"), "80");
    EXPECT_EQ(Encoded(Mdp::TypeInteger32, "-2"), "feffffff");
    EXPECT_EQ(Encoded(Mdp::TypeInteger16, "+5"), "0500");
    EXPECT_EQ(Encoded(Mdp::TypeUnsigned64, "18446744073709551615"), "ffffffffffffffff");
    EXPECT_EQ(Encoded(Mdp::TypeUnsigned24, "131073"), "010002");
    EXPECT_EQ(Encoded(Mdp::TypeReal32, "1.5"), "0000c03f");
}

TEST(Value, NumbersThatDoNotFitAreRefused) {
    EXPECT_EQ(Encoded(Mdp::TypeUnsigned8, "256"), "error: 256 does not fit into UNSIGNED8, which holds 0 to 255");
    EXPECT_EQ(Encoded(Mdp::TypeInteger8, "128"), "error: 128 does not fit into INTEGER8, which holds -128 to 127");
    EXPECT_EQ(Encoded(Mdp::TypeInteger8, "-129"), "error: -129 does not fit into INTEGER8, which holds -128 to 127");
    EXPECT_EQ(Encoded(Mdp::TypeUnsigned32, "-1"),
              "error: -1 does not fit into UNSIGNED32, which holds 0 to 4294967295");
    EXPECT_EQ(Encoded(Mdp::TypeUnsigned64, "18446744073709551616"),
              "error: \"18446744073709551616\" is not a whole number, as UNSIGNED64 needs");
    EXPECT_EQ(Encoded(Mdp::TypeBit1, "2"), "error: 2 does not fit into BIT1, which holds 0 to 1");
    EXPECT_EQ(Encoded(Mdp::TypeBit1, "1"), "01");
    EXPECT_EQ(Encoded(Mdp::TypeReal32, "1e99"), "error: 1e99 does not fit into REAL32");
}

TEST(Value, TextsThatAreNoNumbersAreRefused) {
    for (const char* text : {"", "-", "0x", "12a", " 1", "1 ", "--1", "1.5"}) {
        EXPECT_THAT(Encoded(Mdp::TypeInteger32, text), testing::HasSubstr("is not a whole number")) << text;
    }
    for (const char* text : {"", "x", "1.5x", " 1"}) {
        EXPECT_THAT(Encoded(Mdp::TypeReal32, text), testing::HasSubstr("is not a number")) << text;
    }
}

TEST(Value, BooleansHaveSeveralWords) {
    for (const char* yes : {"true", "TRUE", "on", "Yes", "1"}) {
        EXPECT_EQ(Encoded(Mdp::TypeBoolean, yes), "01") << yes;
    }
    for (const char* no : {"false", "off", "no", "0"}) {
        EXPECT_EQ(Encoded(Mdp::TypeBoolean, no), "00") << no;
    }
    EXPECT_EQ(Encoded(Mdp::TypeBoolean, "2"), "error: \"2\" is not a boolean: write true or false");
}

TEST(Value, TextsAreEncodedAsTheyStand) {
    EXPECT_EQ(Encoded(Mdp::TypeVisibleString, "a b\n"), "6120620a");
    EXPECT_EQ(Encoded(Mdp::TypeVisibleString, ""), "");
}

TEST(Value, OctetsAreEncodedFromHexadecimalDigits) {
    EXPECT_EQ(Encoded(Mdp::TypeOctetString, "0x00FF 10"), "00ff10");
    EXPECT_EQ(Encoded(Mdp::TypeOctetString, ""), "");
    EXPECT_EQ(Encoded(Mdp::TypeOctetString, "abc"), "error: \"abc\" is not made of pairs of hexadecimal digits");
    EXPECT_EQ(Encoded(Mdp::TypeOctetString, "-1"), "error: \"-1\" is not made of pairs of hexadecimal digits");
    EXPECT_EQ(Encoded(Mdp::TypeEightBytes, "01"), "error: EIGHT_BYTES needs 8 bytes in hexadecimal digits");
}
