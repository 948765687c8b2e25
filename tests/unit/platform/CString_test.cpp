#include "platform/CString.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cstring>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

std::string_view View(const CString& string) {
    return {string.GetString(), static_cast<std::size_t>(string.GetLength())};
}

std::int32_t References(const CString& string) {
    return string.GetData()->references;
}

void ExpectEmptyHeaderUntouched() {
    EXPECT_EQ(_atltmpDataNil.header.references, -1);
    EXPECT_EQ(_atltmpDataNil.header.dataLength, 0);
    EXPECT_EQ(_atltmpDataNil.header.allocLength, 0);
    EXPECT_EQ(*_atltmpPchNil, '\0');
}

void FormatThroughList(CString& string, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    string.FormatV(format, arguments);
    va_end(arguments);
}

} // namespace

TEST(CString, HoldsTheTextAndItsHeader) {
    const CString string("em0");
    EXPECT_EQ(View(string), "em0");
    EXPECT_EQ(References(string), 1);
    EXPECT_EQ(string.GetData()->dataLength, 3);
    EXPECT_EQ(string.GetData()->allocLength, 3);
    EXPECT_EQ(string.GetData()->Text(), string.GetString());
    EXPECT_EQ(string[1], 'm');
    EXPECT_STREQ(string, "em0");
    EXPECT_FALSE(string.IsEmpty());
}

TEST(CString, IsMadeFromEveryKindOfText) {
    const unsigned char bytes[] = "bytes";
    CString assigned;
    EXPECT_EQ(View(CString("abcdef", 3)), "abc");
    EXPECT_EQ(View(CString("a\0b", 3)), std::string_view("a\0b", 3));
    EXPECT_EQ(View(CString(L"wide")), "wide");
    EXPECT_EQ(View(CString(CString("copy"))), "copy");
    EXPECT_EQ(View(assigned = 'c'), "c");
    EXPECT_EQ(View(assigned = "text"), "text");
    EXPECT_EQ(View(assigned = bytes), "bytes");
    EXPECT_EQ(View(assigned = L"wide"), "wide");
    EXPECT_EQ(View(assigned = CString("other")), "other");
}

TEST(CString, NullPointersGiveAnEmptyString) {
    const char* none = nullptr;
    const wchar_t* noneWide = nullptr;
    CString string("text");
    EXPECT_TRUE(CString(none).IsEmpty());
    EXPECT_TRUE(CString(none, 5).IsEmpty());
    EXPECT_TRUE(CString(noneWide).IsEmpty());
    EXPECT_TRUE((string = none).IsEmpty());
}

TEST(CString, WideTextThatCannotBeConvertedGivesAnEmptyString) {
    std::setlocale(LC_CTYPE, "C");
    EXPECT_TRUE(CString(L"\u20ac").IsEmpty());
}

TEST(CString, CopySharesTheBufferAndAWriteToItLeavesTheFirstAlone) {
    CString first("text");
    CString copy(first);
    EXPECT_EQ(copy.GetString(), first.GetString());
    EXPECT_EQ(References(first), 2);

    copy += "!";

    EXPECT_EQ(View(first), "text");
    EXPECT_EQ(View(copy), "text!");
    EXPECT_EQ(References(first), 1);
}

TEST(CString, EveryChangeOfACopyLeavesTheFirstAlone) {
    const CString first("abab");

    struct {
        const char* name;
        void (*change)(CString&);
        const char* result;
    } const changes[] = {
        {"MakeUpper", [](CString& s) { s.MakeUpper(); }, "ABAB"},
        {"Replace char", [](CString& s) { s.Replace('a', 'x'); }, "xbxb"},
        {"Replace text", [](CString& s) { s.Replace("ab", "c"); }, "cc"},
        {"Delete", [](CString& s) { s.Delete(1, 2); }, "ab"},
        {"Insert char", [](CString& s) { s.Insert(1, '-'); }, "a-bab"},
        {"Insert text", [](CString& s) { s.Insert(0, "--"); }, "--abab"},
        {"append", [](CString& s) { s += 'c'; }, "ababc"},
        {"assign", [](CString& s) { s = "x"; }, "x"},
        {"GetBuffer", [](CString& s) { s.GetBuffer(1)[0] = 'x'; }, "xbab"},
        {"ReleaseBuffer", [](CString& s) { s.ReleaseBuffer(1); }, "a"},
        {"Empty", [](CString& s) { s.Empty(); }, ""},
        {"Format", [](CString& s) { s.Format("%d", 7); }, "7"},
    };

    for (const auto& change : changes) {
        SCOPED_TRACE(change.name);
        CString copy(first);
        change.change(copy);
        EXPECT_EQ(View(copy), change.result);
        EXPECT_STREQ(copy, change.result);
        EXPECT_EQ(View(first), "abab");
        EXPECT_EQ(References(first), 1);
    }
}

TEST(CString, EmptyStringIsCopiedAndReleasedAnyNumberOfTimesWithItsHeaderUnchanged) {
    for (int i = 0; i < 1000; ++i) {
        CString copy(GetEmptyString());
        CString second;
        second = copy;
        EXPECT_EQ(copy.GetString(), _atltmpPchNil);
        EXPECT_EQ(second.GetString(), _atltmpPchNil);
        copy.Release();
        copy.Release();
        copy.Empty();
        copy.ReleaseBuffer();
        copy.ReleaseBuffer(0);
        copy.GetBufferSetLength(0);
        copy.MakeUpper();
        copy = "";
        copy += "";
    }
    ExpectEmptyHeaderUntouched();
}

TEST(CString, AllocBufferRefusesForbiddenLengths) {
    CString string;
    EXPECT_FALSE(string.AllocBuffer(0));
    EXPECT_FALSE(string.AllocBuffer(-1));
    EXPECT_FALSE(string.AllocBuffer(0x7FFFFFFE));
    EXPECT_FALSE(string.AllocBuffer(0x7FFFFFFF));
    EXPECT_EQ(string.GetString(), _atltmpPchNil);

    EXPECT_TRUE(string.AllocBuffer(5));
    EXPECT_EQ(References(string), 1);
    EXPECT_EQ(string.GetLength(), 5);
    EXPECT_EQ(string.GetData()->allocLength, 5);
    EXPECT_EQ(string.GetString()[5], '\0');
}

TEST(CString, GetBufferKeepsTheTextAndGrowsOnlyWhenItMust) {
    CString string("text");
    const char* before = string.GetString();
    EXPECT_EQ(string.GetBuffer(4), before);
    EXPECT_EQ(string.GetBuffer(0), before);

    char* larger = string.GetBuffer(10);
    ASSERT_NE(larger, nullptr);
    EXPECT_EQ(string.GetData()->allocLength, 10);
    EXPECT_EQ(View(string), "text");

    std::strcpy(larger, "longer one");
    string.ReleaseBuffer();
    EXPECT_EQ(View(string), "longer one");
    string.GetBuffer(10);
    string.ReleaseBuffer(6);
    EXPECT_EQ(View(string), "longer");
    EXPECT_STREQ(string, "longer");
}

TEST(CString, GetBufferOfASharedStringHasRoomForTheWholeText) {
    const CString first("a longer text");
    CString copy(first);
    copy.GetBuffer(2);
    EXPECT_EQ(copy.GetData()->allocLength, 13);
    EXPECT_EQ(View(copy), "a longer text");
    EXPECT_EQ(References(first), 1);
}

TEST(CString, GetBufferRefusesNegativeAndForbiddenLengths) {
    CString string("text");
    EXPECT_EQ(string.GetBuffer(-1), nullptr);
    EXPECT_EQ(string.GetBuffer(0x7FFFFFFE), nullptr);
    EXPECT_EQ(string.GetBufferSetLength(-1), nullptr);
    EXPECT_EQ(View(string), "text");
}

TEST(CString, ReleaseBufferNeverGoesBeyondTheAllocatedLength) {
    CString string("text");
    string.ReleaseBuffer(100);
    EXPECT_EQ(string.GetLength(), 4);
}

TEST(CString, GetBufferSetLengthSetsTheLength) {
    CString string("text");
    char* buffer = string.GetBufferSetLength(6);
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(string.GetLength(), 6);
    EXPECT_EQ(buffer[6], '\0');
    string.GetBufferSetLength(2);
    EXPECT_EQ(View(string), "te");
}

TEST(CString, AllocBeforeWriteKeepsALargeEnoughBufferAndOtherwiseStartsAnew) {
    CString string("text");
    const char* before = string.GetString();
    EXPECT_TRUE(string.AllocBeforeWrite(4));
    EXPECT_EQ(string.GetString(), before);
    EXPECT_EQ(View(string), "text");

    EXPECT_TRUE(string.AllocBeforeWrite(5));
    EXPECT_STREQ(string, "");
    EXPECT_EQ(string.GetData()->allocLength, 5);

    EXPECT_FALSE(string.AllocBeforeWrite(0x7FFFFFFE));
}

TEST(CString, ReleaseLeavesAHeaderWithACountOfZeroAlone) {
    CString string("text");
    CStringData* data = string.GetData();
    data->references = 0;
    string.Release();
    EXPECT_EQ(string.GetString(), _atltmpPchNil);
    EXPECT_EQ(data->references, 0);
    EXPECT_STREQ(data->Text(), "text");
    data->references = 1;
    delete[] reinterpret_cast<char*>(data);
}

TEST(CString, LockedHeaderIsCopiedAndNeverShared) {
    CString locked("text");
    locked.GetData()->references = -1;

    const CString copy(locked);
    EXPECT_NE(copy.GetString(), locked.GetString());
    EXPECT_EQ(View(copy), "text");

    const CString other("new");
    const char* before = locked.GetString();
    locked = other;
    EXPECT_EQ(locked.GetString(), before);
    EXPECT_EQ(View(locked), "new");
    EXPECT_EQ(References(other), 1);

    locked.Empty();
    EXPECT_EQ(locked.GetString(), before);
    EXPECT_TRUE(locked.IsEmpty());
    EXPECT_STREQ(locked, "");
}

TEST(CString, AssignmentToItselfDoesNothing) {
    CString string("text");
    const CString& same = string;
    string = same;
    EXPECT_EQ(View(string), "text");
    EXPECT_EQ(References(string), 1);
}

TEST(CString, AssignsAPieceOfItsOwnText) {
    CString string("abcdef");
    string = string.GetString() + 2;
    EXPECT_EQ(View(string), "cdef");

    CString shared(string);
    string.Release();
    const CString second(shared);
    shared = shared.GetString() + 1;
    EXPECT_EQ(View(shared), "def");
    EXPECT_EQ(View(second), "cdef");
}

TEST(CString, ConcatInPlaceUsesTheRoomThatIsThereAndElseAllocatesTheExactSum) {
    CString string("ab");
    string.GetBuffer(8);
    const char* before = string.GetString();
    string.ConcatInPlace(3, "cde");
    EXPECT_EQ(string.GetString(), before);
    EXPECT_EQ(View(string), "abcde");
    string.ConcatInPlace(4, "fghi");
    EXPECT_EQ(View(string), "abcdefghi");
    EXPECT_EQ(string.GetData()->allocLength, 9);
    string += string;
    EXPECT_EQ(View(string), "abcdefghiabcdefghi");
}

TEST(CString, ConcatCopyPutsTwoPartsAfterOneAnother) {
    CString string("old");
    string.ConcatCopy(2, "abX", 3, "cde");
    EXPECT_EQ(View(string), "abcde");
    string.ConcatCopy(0, "", 0, "");
    EXPECT_EQ(string.GetString(), _atltmpPchNil);
}

TEST(CString, FormatSetsTheText) {
    CString string("old");
    string.Format("%s=%d", "em", 3);
    EXPECT_EQ(View(string), "em=3");
    FormatThroughList(string, "%05u", 42U);
    EXPECT_EQ(View(string), "00042");
}

TEST(CString, FormatWithAnEmptyResultOrANullFormatKeepsTheOldText) {
    CString string("old");
    string.Format("%s", "");
    EXPECT_EQ(View(string), "old");
    FormatThroughList(string, nullptr);
    EXPECT_EQ(View(string), "old");
}

TEST(CString, CompareFollowsTheBytesAndCompareNoCaseTheCapitals) {
    EXPECT_EQ(CString("abc").Compare("abc"), 0);
    EXPECT_LT(CString("abc").Compare("abd"), 0);
    EXPECT_GT(CString("abc").Compare("ABC"), 0);
    EXPECT_EQ(CString("abc").CompareNoCase("ABC"), 0);
    // "_" lies between the capitals and the small letters.
    EXPECT_GT(CString("_").CompareNoCase("a"), 0);
    EXPECT_NE(CString("\xE4").CompareNoCase("\xC4"), 0);
}

TEST(CString, MakesCapitalsAndSmallLetters) {
    CString string("aZ-\xE4");
    string.MakeUpper();
    EXPECT_EQ(View(string), "AZ-\xE4");
    string.MakeLower();
    EXPECT_EQ(View(string), "az-\xE4");
}

TEST(CString, ReplaceCountsAndWalksAcrossZeroBytes) {
    CString string("ab\0ab", 5);
    EXPECT_EQ(string.Replace("ab", "xyz"), 2);
    EXPECT_EQ(View(string), std::string_view("xyz\0xyz", 7));
    EXPECT_EQ(string.Replace("xyz", nullptr), 2);
    EXPECT_EQ(View(string), std::string_view("\0", 1));
    EXPECT_EQ(string.Replace('\0', '-'), 1);
    EXPECT_EQ(View(string), "-");
    EXPECT_EQ(string.Replace("", "x"), 0);
    EXPECT_EQ(string.Replace(nullptr, "x"), 0);
    EXPECT_EQ(string.Replace("absent", "x"), 0);
    EXPECT_EQ(string.Replace("-", ""), 1);
    EXPECT_TRUE(string.IsEmpty());
}

TEST(CString, ReplaceDoesNotLookIntoWhatItPutIn) {
    CString string("aa");
    EXPECT_EQ(string.Replace("a", "aa"), 2);
    EXPECT_EQ(View(string), "aaaa");
}

TEST(CString, DeleteGivesTheOldLength) {
    CString string("abcdef");
    EXPECT_EQ(string.Delete(-3, 2), 6);
    EXPECT_EQ(View(string), "cdef");
    EXPECT_EQ(string.Delete(2, 100), 4);
    EXPECT_EQ(View(string), "cd");
    EXPECT_EQ(string.Delete(0, 0), 2);
    EXPECT_EQ(string.Delete(0, -1), 2);
    EXPECT_EQ(string.Delete(2, 1), 2);
    EXPECT_EQ(View(string), "cd");
}

TEST(CString, InsertGivesTheNewLength) {
    CString string("bd");
    EXPECT_EQ(string.Insert(1, 'c'), 3);
    EXPECT_EQ(string.Insert(-5, 'a'), 4);
    EXPECT_EQ(string.Insert(100, "ef"), 6);
    EXPECT_EQ(View(string), "abcdef");
    EXPECT_EQ(string.Insert(1, ""), 6);
    EXPECT_EQ(string.Insert(1, static_cast<const char*>(nullptr)), 6);
    CString empty;
    EXPECT_EQ(empty.Insert(3, "x"), 1);
    EXPECT_EQ(View(empty), "x");
}

TEST(CString, PartsAreClippedToTheText) {
    const CString string("abcdef");
    EXPECT_EQ(View(string.Left(2)), "ab");
    EXPECT_EQ(View(string.Left(99)), "abcdef");
    EXPECT_EQ(View(string.Left(-1)), "");
    EXPECT_EQ(View(string.Right(2)), "ef");
    EXPECT_EQ(View(string.Right(99)), "abcdef");
    EXPECT_EQ(View(string.Right(-1)), "");
    EXPECT_EQ(View(string.Mid(4)), "ef");
    EXPECT_EQ(View(string.Mid(2, 3)), "cde");
    EXPECT_EQ(View(string.Mid(-2, 3)), "abc");
    EXPECT_EQ(View(string.Mid(5, 0x7FFFFFFF)), "f");
    EXPECT_EQ(View(string.Mid(6, 1)), "");
    EXPECT_EQ(View(string.Mid(99)), "");
    EXPECT_EQ(View(string.Mid(2, -1)), "");
}

TEST(CString, AllocCopyLeavesRoomForMore) {
    const CString string("abcdef");
    CString part("old");
    string.AllocCopy(part, 2, 3, 10);
    EXPECT_EQ(View(part), "de");
    EXPECT_EQ(part.GetData()->allocLength, 12);
    string.AllocCopy(part, 0, 0, 0);
    EXPECT_EQ(part.GetString(), _atltmpPchNil);
}

TEST(CString, FindsTheFirstAndTheLast) {
    const CString string("abcabc");
    EXPECT_EQ(string.Find('b'), 1);
    EXPECT_EQ(string.Find("ca"), 2);
    EXPECT_EQ(string.ReverseFind('b'), 4);
    EXPECT_EQ(string.Find('x'), -1);
    EXPECT_EQ(string.Find("cb"), -1);
    EXPECT_EQ(string.Find(static_cast<const char*>(nullptr)), -1);
    EXPECT_EQ(string.ReverseFind('x'), -1);
}

TEST(CStringConcurrency, CopiesThatShareAHeaderPassBetweenThreads) {
    for (int round = 0; round < 50; ++round) {
        CString first("shared text");
        std::vector<std::thread> threads;
        threads.reserve(4);
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([i, copy = CString(first)]() mutable {
                for (int n = 0; n < 100; ++n) {
                    CString own(copy);
                    own.Insert(0, static_cast<char>('0' + i));
                    EXPECT_EQ(own.GetLength(), 12);
                }
                copy.MakeUpper();
                EXPECT_EQ(View(copy), "SHARED TEXT");
            });
        }
        first += '!';
        for (std::thread& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(View(first), "shared text!");
        EXPECT_EQ(References(first), 1);
    }
    ExpectEmptyHeaderUntouched();
}
