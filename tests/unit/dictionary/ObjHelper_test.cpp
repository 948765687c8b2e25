#include "dictionary/ObjHelper.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <vector>

#include "FailingAllocations.h"

namespace {

struct TBufferItem : TInfoItem {
    explicit TBufferItem(std::uint16_t itemType) { type = itemType; }

    ~TBufferItem() { DeallocateBuffer(this); }

    TBufferItem(const TBufferItem&) = delete;
    TBufferItem& operator=(const TBufferItem&) = delete;

    void Fill(const std::string& bytes) {
        ASSERT_EQ(AllocateBuffer(this, static_cast<unsigned int>(bytes.size())), 0U);
        ASSERT_EQ(size, bytes.size());
        std::memcpy(data, bytes.data(), bytes.size());
    }
};

struct TMinimum {
    std::uint16_t type;
    unsigned int bytes;
};

class MinimumOfType : public testing::TestWithParam<TMinimum> {};

class TypeWithoutFixedSize : public testing::TestWithParam<std::uint16_t> {};

struct TNamedCode {
    ObjResult code;
    ObjResult expected;
};

struct THexText {
    const char* text;
    std::vector<unsigned char> bytes;
};

class HexText : public testing::TestWithParam<THexText> {};

} // namespace

TEST_P(MinimumOfType, IsWhatABufferHasAtLeast) {
    TBufferItem item(GetParam().type);
    EXPECT_EQ(AllocateBuffer(&item, 0), 0U);
    EXPECT_EQ(item.size, GetParam().bytes);
    ASSERT_NE(item.data, nullptr);
    std::memset(item.data, 0x5A, item.size);

    EXPECT_EQ(AllocateBuffer(&item, GetParam().bytes + 3), 0U);
    EXPECT_EQ(item.size, GetParam().bytes + 3);
    std::memset(item.data, 0x5A, item.size);
}

INSTANTIATE_TEST_SUITE_P(Types, MinimumOfType,
                         testing::Values(TMinimum{1, 1}, TMinimum{2, 1}, TMinimum{3, 2}, TMinimum{4, 4}, TMinimum{5, 1},
                                         TMinimum{6, 2}, TMinimum{7, 4}, TMinimum{8, 4}, TMinimum{11, 8},
                                         TMinimum{22, 3}, TMinimum{24, 5}, TMinimum{25, 6}, TMinimum{26, 7},
                                         TMinimum{27, 8}, TMinimum{48, 1}, TMinimum{49, 1}, TMinimum{50, 1},
                                         TMinimum{51, 1}, TMinimum{52, 1}, TMinimum{53, 1}, TMinimum{54, 1},
                                         TMinimum{55, 1}),
                         [](const auto& test) { return "Type" + std::to_string(test.param.type); });

TEST_P(TypeWithoutFixedSize, IsRefusedWithSizeZeroAndItsBufferGoes) {
    TBufferItem item(GetParam());
    EXPECT_EQ(AllocateBuffer(&item, 3), 0U);
    EXPECT_EQ(item.size, 3U);

    EXPECT_EQ(AllocateBuffer(&item, 0), 0xECA60103U);
    EXPECT_EQ(item.size, 0U);
    EXPECT_EQ(item.data, nullptr);
    EXPECT_EQ(AllocateBuffer(&item, 0), 0xECA60103U);
}

INSTANTIATE_TEST_SUITE_P(Types, TypeWithoutFixedSize, testing::Values(0, 9, 10, 12, 21, 23, 28, 47, 56, 0xFFFF),
                         [](const auto& test) { return "Type" + std::to_string(test.param); });

TEST(AllocateBuffer, KeepsTheContentsWhereTheSizeStays) {
    TBufferItem item(TYPE_UNSIGNED32);
    item.Fill("\x01\x02\x03\x04");
    const unsigned char* before = item.data;

    EXPECT_EQ(AllocateBuffer(&item, 4), 0U);
    EXPECT_EQ(AllocateBuffer(&item, 1), 0U);

    EXPECT_EQ(item.data, before);
    EXPECT_EQ(std::memcmp(item.data, "\x01\x02\x03\x04", 4), 0);
}

TEST(AllocateBuffer, TellsThatMemoryIsShortAndLeavesNoBuffer) {
    TBufferItem item(TYPE_VISIBLE_STRING);
    item.Fill("old");
    FailingAllocations noMemory;
    EXPECT_EQ(AllocateBuffer(&item, 4), 0xECA60104U);
    EXPECT_EQ(item.data, nullptr);
    EXPECT_EQ(item.size, 0U);
}

TEST(DeallocateBuffer, PassesOverNothingAndClearsTheItem) {
    DeallocateBuffer(nullptr);
    TInfoItem item;
    item.size = 7; // stays: there is no buffer
    DeallocateBuffer(&item);
    EXPECT_EQ(item.size, 7U);

    item.type = TYPE_VISIBLE_STRING;
    ASSERT_EQ(AllocateBuffer(&item, 5), 0U);
    DeallocateBuffer(&item);
    EXPECT_EQ(item.data, nullptr);
    EXPECT_EQ(item.size, 0U);
}

TEST(NotSupportedTriggers, GiveTheirCodeWhateverTheyGet) {
    TInfoItem item;
    EXPECT_EQ(RdNotSupported(&item, 0x8001, 1), 0xECA61000U);
    EXPECT_EQ(RdNotSupported(nullptr, 0, 0), 0xECA61000U);
    EXPECT_EQ(WrNotSupported(&item, 0x8001, 1, nullptr, 0), 0xECA61000U);
    EXPECT_EQ(WrNotSupported(nullptr, 0, 0, nullptr, 0), 0xECA61000U);
}

TEST(GetStringFromItem, GivesExactlyTheBytes) {
    TBufferItem item(TYPE_VISIBLE_STRING);
    item.Fill(std::string("ab\0c", 4));
    std::string text = "before";
    EXPECT_EQ(GetStringFromItem(&item, text), 0U);
    EXPECT_EQ(text, std::string("ab\0c", 4));
}

TEST(GetStringFromItem, RefusesWhatIsNoText) {
    std::string text = "before";
    EXPECT_EQ(GetStringFromItem(nullptr, text), 0xECA60106U);
    TInfoItem empty;
    empty.type = TYPE_VISIBLE_STRING;
    EXPECT_EQ(GetStringFromItem(&empty, text), 0xECA60106U);
    unsigned char bytes[] = {'x'};
    TInfoItem noSize = empty;
    noSize.data = bytes;
    EXPECT_EQ(GetStringFromItem(&noSize, text), 0xECA60106U);
    TBufferItem octets(TYPE_OCTET_STRING);
    octets.Fill("xyz");
    EXPECT_EQ(GetStringFromItem(&octets, text), 0xECA60106U);
    EXPECT_EQ(text, "before");
}

TEST(BinaryToHexString, GivesTwoLowerCaseDigitsAByte) {
    const unsigned char bytes[] = {0x00, 0x0A, 0xFF, 0x7E};
    std::string text = "before";
    BinaryToHexString(bytes, 4, text);
    EXPECT_EQ(text, "0x000aff7e");
    BinaryToHexString(bytes, 0, text);
    EXPECT_EQ(text, "0x");
    BinaryToHexString(nullptr, 0, text);
    EXPECT_EQ(text, "0x");
}

TEST_P(HexText, BecomesBytes) {
    unsigned char* out = nullptr;
    unsigned int size = 4711;
    HexStringToBuffer(GetParam().text, &out, &size);
    const std::unique_ptr<unsigned char[]> owner(out);
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(std::vector<unsigned char>(out, out + size), GetParam().bytes);
}

INSTANTIATE_TEST_SUITE_P(Texts, HexText,
                         testing::Values(THexText{"0x01ffA5", {0x01, 0xFF, 0xA5}}, THexText{"12ab", {0x12, 0xAB}},
                                         THexText{"0123", {0x23}}, // as if the first byte were a prefix
                                         THexText{"x123", {0x23}}, // so too
                                         THexText{"X1ff", {0xFF}}, //
                                         THexText{"12 34  56", {0x12, 0x34, 0x56}}, THexText{"0x12   ", {0x12}}, //
                                         THexText{"12345", {0x12, 0x34}}, // half a byte at the end is nothing
                                         THexText{"1", {}}, THexText{"0", {}}, THexText{"", {}}, THexText{"0x", {}},
                                         THexText{"zz11", {0x00, 0x11}}), // what is no number leaves the zero
                         [](const auto& test) { return "Row" + std::to_string(test.index); });

TEST(HexStringToBuffer, GivesABufferOfThriceTheTextZeroedBehindTheBytes) {
    unsigned char* out = nullptr;
    unsigned int size = 0;
    HexStringToBuffer("ffff", &out, &size);
    const std::unique_ptr<unsigned char[]> owner(out);
    EXPECT_EQ(size, 2U);
    EXPECT_EQ(std::vector<unsigned char>(out, out + 12),
              (std::vector<unsigned char>{0xFF, 0xFF, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(InfoItem, SetStringStoresTheTextWithoutAnEndMark) {
    for (const auto set : {&CInfoItem::SetString, &CInfoItem::SetStringA}) {
        TBufferItem item(TYPE_VISIBLE_STRING);
        char text[] = "IPC-4711";
        EXPECT_EQ((CInfoItem(&item).*set)(text, 0xFFFFFFFF), 0U);
        EXPECT_EQ(std::string(reinterpret_cast<char*>(item.data), item.size), "IPC-4711");
        EXPECT_EQ((CInfoItem(&item).*set)(text, 3), 0U);
        EXPECT_EQ(std::string(reinterpret_cast<char*>(item.data), item.size), "IPC");
    }
}

TEST(InfoItem, SetStringOfNothingIsTheErrorOfTheBuffer) {
    TBufferItem item(TYPE_VISIBLE_STRING);
    item.Fill("old");
    char text[] = "";
    EXPECT_EQ(CInfoItem(&item).SetString(text, 0xFFFFFFFF), 0xECA60103U);
    EXPECT_EQ(item.data, nullptr);
}

TEST(InfoItem, SetStringWDoesNothing) {
    TBufferItem item(TYPE_VISIBLE_STRING);
    item.Fill("old");
    wchar_t text[] = L"new";
    EXPECT_EQ(CInfoItem(&item).SetStringW(text, 3), 0U);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(item.data), item.size), "old");
}

TEST(InfoItem, AttachAndDetachHandTheItemOver) {
    TInfoItem first;
    TInfoItem second;
    CInfoItem view(&first);
    EXPECT_EQ(view.Detach(), &first);
    EXPECT_EQ(view.Detach(), nullptr);
    view.Attach(&second);
    EXPECT_EQ(view.Detach(), &second);
}

TEST(ObjResult, EveryNameHasItsCode) {
    const TNamedCode codes[] = {
        {OBJ_E_NOERR, 0},
        {OBJ_E_FAILED, 0xECA60001},
        {OBJ_E_INVALIDIDX, 0xECA60100},
        {OBJ_E_INVALACCESS, 0xECA60101},
        {OBJ_E_BUFFERTOOSMALL, 0xECA60102},
        {OBJ_E_INVALIDSIZE, 0xECA60103},
        {OBJ_E_OUTOFMEMORY, 0xECA60104},
        {OBJ_E_NODATA, 0xECA60105},
        {OBJ_E_INVALIDDATA, 0xECA60106},
        {OBJ_E_INVALIDARG, 0xECA60107},
        {OBJ_E_OUTOFRANGE, 0xECA60108},
        {OBJ_E_BUSY, 0xECA60200},
        {OBJ_E_NOTIMPL, 0xECA60F00},
        {OBJ_E_UNEXPECTED, 0xECA60FFF},
        {OBJ_E_NOTSUPPORTED, 0xECA61000},
        {OBJ_E_OS_BASE, 0xECA70000},
        {OBJ_E_EXT_BASE, 0xECA80000},
        {OBJ_E_USEREXISTS, 0xECAF0401},
        {OBJ_E_NOSUCHUSER, 0xECAF0402},
        {OBJ_E_GROUPEXISTS, 0xECAF0403},
        {OBJ_E_NOSUCHGROUP, 0xECAF0404},
        {OBJ_E_ROUTEPORT, 0xECAF0420},
        {OBJ_E_PORTCLOSED, 0xECAF0421},
        {OBJ_E_NOFLASHDATA, 0xECAF0701},
        {OBJ_E_NOHDDDATA, 0xECAF0702},
        {STATUS_NULL_POINTER, 0x80004003},
        {STATUS_UNSPECIFIED, 0x80004005},
        {STATUS_OUT_OF_MEMORY, 0x8007000E},
        {STATUS_INVALID_ARGUMENT, 0x80070057},
        {STATUS_BAD_RECORD, 87},
    };
    for (const TNamedCode& row : codes) {
        EXPECT_EQ(row.code, row.expected);
        EXPECT_EQ(IsError(row.code), row.code > 87);
    }
}

TEST(ObjResult, CodesOfTheSystemGoToTheLowHalf) {
    EXPECT_EQ(OsResult(2), 0xECA70002U);
    EXPECT_EQ(OsResult(0x12345), 0xECA72345U);
    EXPECT_EQ(ExtResult(0xFFF), 0xECA80FFFU);
    EXPECT_EQ(ExtResult(0xFFFFFFFF), 0xECA8FFFFU);
}
