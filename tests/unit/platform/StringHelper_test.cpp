#include "platform/StringHelper.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <clocale>
#include <string>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// A locale with several bytes a character for one test.
class CUtf8Locale {
public:
    CUtf8Locale() : m_set(std::setlocale(LC_CTYPE, "C.UTF-8") != nullptr) {}

    ~CUtf8Locale() { std::setlocale(LC_CTYPE, "C"); }

    CUtf8Locale(const CUtf8Locale&) = delete;
    CUtf8Locale& operator=(const CUtf8Locale&) = delete;

    bool IsSet() const { return m_set; }

private:
    bool m_set;
};

} // namespace

TEST(StringHelper, SplitKeepsEmptyPiecesButNotOneBehindTheLastDelimiter) {
    EXPECT_THAT(CStringHelper::Split("a;;b", ';'), ElementsAre("a", "", "b"));
    EXPECT_THAT(CStringHelper::Split("a;", ';'), ElementsAre("a"));
    EXPECT_THAT(CStringHelper::Split(";a", ';'), ElementsAre("", "a"));
    EXPECT_THAT(CStringHelper::Split(";", ';'), ElementsAre(""));
    EXPECT_THAT(CStringHelper::Split(" a ; b ", ';'), ElementsAre(" a ", " b "));
    EXPECT_THAT(CStringHelper::Split("abc", ';'), ElementsAre("abc"));
    EXPECT_THAT(CStringHelper::Split("", ';'), IsEmpty());
}

TEST(StringHelper, SplitAppendsToTheVectorAndReturnsIt) {
    std::vector<std::string> out{"before"};
    std::vector<std::string>& returned = CStringHelper::Split("a;b", ';', out);
    EXPECT_EQ(&returned, &out);
    EXPECT_THAT(out, ElementsAre("before", "a", "b"));
}

TEST(StringHelper, SplitsWideStringsToo) {
    std::vector<std::wstring> out{L"before"};
    CStringHelper::Split(L"a;;b;", L';', out);
    EXPECT_THAT(out, ElementsAre(L"before", L"a", L"", L"b"));
    EXPECT_THAT(CStringHelper::Split(L"a;;b", L';'), ElementsAre(L"a", L"", L"b"));
}

TEST(StringHelper, JoinPutsTheDelimiterBetweenTheElements) {
    EXPECT_EQ(CStringHelper::Join({"a", "b"}, ","), "a,b");
    EXPECT_EQ(CStringHelper::Join({"a", "", "b"}, ", "), "a, , b");
    EXPECT_EQ(CStringHelper::Join({"a"}, ","), "a");
    EXPECT_EQ(CStringHelper::Join({}, ","), "");
    EXPECT_EQ(CStringHelper::Join({"a", "b"}, ""), "ab");
}

TEST(StringHelper, StartsWithLooksAtPositionZeroOnly) {
    EXPECT_TRUE(CStringHelper::StartsWith("ifconfig_em0", "ifconfig_"));
    EXPECT_TRUE(CStringHelper::StartsWith("abc", ""));
    EXPECT_TRUE(CStringHelper::StartsWith("", ""));
    EXPECT_TRUE(CStringHelper::StartsWith("abcabc", "abc"));
    EXPECT_FALSE(CStringHelper::StartsWith(" abc", "abc"));
    EXPECT_FALSE(CStringHelper::StartsWith("ab", "abc"));
}

TEST(StringHelper, EndsWithNeedsATextAtLeastAsLong) {
    EXPECT_TRUE(CStringHelper::EndsWith("abc", "bc"));
    EXPECT_TRUE(CStringHelper::EndsWith("abc", "abc"));
    EXPECT_TRUE(CStringHelper::EndsWith("abc", ""));
    EXPECT_FALSE(CStringHelper::EndsWith("bc", "abc"));
    EXPECT_FALSE(CStringHelper::EndsWith("abc", "b"));
}

TEST(StringHelper, TrimTakesBlanksOnly) {
    EXPECT_EQ(CStringHelper::Trim("  a b  "), "a b");
    EXPECT_EQ(CStringHelper::Trim("\ta\t"), "\ta\t");
    EXPECT_EQ(CStringHelper::Trim(" \t "), "\t");
    EXPECT_EQ(CStringHelper::Trim("   "), "");
    EXPECT_EQ(CStringHelper::Trim(""), "");
}

TEST(StringHelper, LtrimTakesEveryLeadingWhiteSpaceInPlace) {
    std::string text = " \t\n\r\v\fa \t";
    CStringHelper::ltrim(text);
    EXPECT_EQ(text, "a \t");
    text = " \t ";
    CStringHelper::ltrim(text);
    EXPECT_EQ(text, "");
}

TEST(StringHelper, ToUpperGoesByteByByte) {
    EXPECT_EQ(CStringHelper::ToUpper("aZ9 dhcp\xE4"), "AZ9 DHCP\xE4");
}

TEST(StringHelper, WideToAnsiIsAsLongAsTheSource) {
    EXPECT_EQ(CStringHelper::WideToAnsi(L"text"), "text");
    EXPECT_EQ(CStringHelper::WideToAnsi(L""), "");
    EXPECT_EQ(CStringHelper::WideToAnsi(std::wstring(L"ab\0cd", 5)), std::string("ab\0\0\0", 5));
    const CUtf8Locale locale;
    ASSERT_TRUE(locale.IsSet());
    // Two bytes for the first character leave room for two of the three that follow.
    EXPECT_EQ(CStringHelper::WideToAnsi(L"\u00e4bcd"), "\xC3\xA4"
                                                       "bc");
}

TEST(StringHelper, AnsiToWideIsAsLongAsTheSource) {
    EXPECT_EQ(CStringHelper::AnsiToWide("text"), L"text");
    EXPECT_EQ(CStringHelper::AnsiToWide(""), L"");
    const CUtf8Locale locale;
    ASSERT_TRUE(locale.IsSet());
    EXPECT_EQ(CStringHelper::AnsiToWide("\xC3\xA4"
                                        "b"),
              std::wstring(L"\u00e4b\0", 3));
}
