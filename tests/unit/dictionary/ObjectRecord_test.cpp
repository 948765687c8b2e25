#include "dictionary/ObjectRecord.h"

#include <gtest/gtest.h>

#include "Items.h"
#include "dictionary/Obj0x8nn0.h"

using namespace std::string_literals;

namespace {

// The text of the header's item as the header gives it.
struct TText {
    ObjResult result;
    std::string text;

    bool operator==(const TText&) const = default;
};

TText TypeOf(CObj0x8nn0& header) {
    TText answer{0, "before"};
    answer.result = header.GetType(answer.text);
    return answer;
}

TText NameOf(CObj0x8nn0& header) {
    TText answer{0, "before"};
    answer.result = header.GetName(answer.text);
    return answer;
}

} // namespace

TEST(ObjectRecord, StartsWithItsCount) {
    CObjectRecord record;
    EXPECT_EQ(record.Init(0x8011, OBJCODE_RECORD, 1111), 0U);
    EXPECT_EQ(record.Index(), 0x8011);
    EXPECT_EQ(record.ObjectCode(), 9U);
    EXPECT_EQ(record.NameId(), 1111);
    ASSERT_EQ(record.GetCoutOfInfoItems(), 1U);
    const TInfoItem& count = *record.GetItem(0);
    EXPECT_EQ(count.type, 5);
    EXPECT_EQ(count.access, 1);
    EXPECT_EQ(count.nameId, 104);
    EXPECT_EQ(count.onRead, nullptr);
    EXPECT_EQ(count.onWrite, nullptr);
    EXPECT_EQ(BytesOf(count), "\0"s);
}

TEST(ObjectRecord, CountsWhatIsAppendedAndRemoved) {
    CObjectRecord record;
    record.Init(0x8011, OBJCODE_RECORD, 0);
    Append(record, TYPE_UNSIGNED8, ACCESS_READ, "a");
    Append(record, TYPE_UNSIGNED8, ACCESS_READ, "b");
    EXPECT_EQ(BytesOf(*record.GetItem(0)), "\x02");
    EXPECT_EQ(record.RemoveItem(1), 0U);
    EXPECT_EQ(BytesOf(*record.GetItem(0)), "\x01");
    EXPECT_EQ(BytesOf(*record.GetItem(1)), "b");
    EXPECT_EQ(record.RemoveItem(2), 0xECA60100U);
    EXPECT_EQ(BytesOf(*record.GetItem(0)), "\x01");
}

TEST(ObjectRecord, HoldsAtMost254Elements) {
    CObjectArray array;
    array.Init(0xF010, OBJCODE_ARRAY, 0);
    for (int i = 0; i < 254; ++i) {
        ASSERT_EQ(Append(array, TYPE_UNSIGNED8, ACCESS_READ, "a"), 0U);
    }
    EXPECT_EQ(Append(array, TYPE_UNSIGNED8, ACCESS_READ, "b"), 0xECA60104U);
    EXPECT_EQ(BytesOf(*array.GetItem(0)), "\xFE");
}

TEST(ObjectRecord, RemoveAllElementsKeepsTheCount) {
    CObjectRecord record;
    record.Init(0x8011, OBJCODE_RECORD, 0);
    Append(record, TYPE_UNSIGNED8, ACCESS_READ, "a");
    Append(record, TYPE_UNSIGNED8, ACCESS_READ, "b");
    EXPECT_EQ(record.RemoveAllElements(), 0U);
    EXPECT_EQ(record.GetCoutOfInfoItems(), 1U);
    EXPECT_EQ(BytesOf(*record.GetItem(0)), "\0"s);
    EXPECT_EQ(record.RemoveAllElements(), 0U);
    EXPECT_EQ(Append(record, TYPE_UNSIGNED8, ACCESS_READ, "c"), 0U);
    EXPECT_EQ(BytesOf(*record.GetItem(0)), "\x01");
}

TEST(ObjectRecord, RemoveAllItemsTakesTheCountToo) {
    CObjectRecord record;
    record.Init(0x8011, OBJCODE_RECORD, 0);
    EXPECT_EQ(record.RemoveAllItems(), 0U);
    EXPECT_EQ(record.GetCoutOfInfoItems(), 0U);
    record.UpdateRecordSize(); // nothing to set
    EXPECT_EQ(record.RemoveAllElements(), 0U);
    EXPECT_EQ(record.GetCoutOfInfoItems(), 0U);
}

TEST(ObjectRecord, ACountWithoutABufferIsNotSet) {
    CObjectRecord record;
    record.CObject::Init(0x8011, OBJCODE_RECORD, 0);
    ASSERT_EQ(Append(record, TYPE_UNSIGNED8, ACCESS_READ, ""), 0U);
    EXPECT_EQ(Append(record, TYPE_UNSIGNED8, ACCESS_READ, "a"), 0U);
    EXPECT_EQ(record.GetItem(0)->data, nullptr);
}

TEST(ModuleHeader, HoldsAddressNamesAndIdent) {
    CObj0x8nn0 header;
    EXPECT_EQ(header.Init(0x8050, "FAN", "Fan 1", 27, 1240), 0U);
    EXPECT_EQ(header.Index(), 0x8050);
    EXPECT_EQ(header.ObjectCode(), 9U);
    EXPECT_EQ(header.NameId(), 1240);
    ASSERT_EQ(header.GetCoutOfInfoItems(), 5U);

    struct {
        std::uint16_t type;
        std::int64_t nameId;
        std::string bytes;
    } const rows[] = {
        {5, 104, "\x04"},  {7, 100, "\x05\x00\x1B\x00"s}, {9, 101, "FAN"},
        {9, 102, "Fan 1"}, {7, 103, "\x10\x27\x1B\x00"s},
    };

    for (unsigned char sub = 0; sub < 5; ++sub) {
        const TInfoItem& item = *header.GetItem(sub);
        EXPECT_EQ(item.type, rows[sub].type) << int{sub};
        EXPECT_EQ(item.access, 1) << int{sub};
        EXPECT_EQ(item.nameId, rows[sub].nameId) << int{sub};
        EXPECT_EQ(BytesOf(item), rows[sub].bytes) << int{sub};
        EXPECT_EQ(item.onRead, nullptr) << int{sub};
        EXPECT_EQ(item.onWrite, nullptr) << int{sub};
    }
    EXPECT_EQ(TypeOf(header), (TText{0, "FAN"}));
    EXPECT_EQ(NameOf(header), (TText{0, "Fan 1"}));
}

TEST(ModuleHeader, CopiesItsNames) {
    char name[] = "em0";
    CObj0x8nn0 header;
    header.Init(0x8000, "Nic", name, 2, 1070);
    name[0] = 'X';
    EXPECT_EQ(NameOf(header), (TText{0, "em0"}));
}

TEST(ModuleHeader, WithoutANameHasItsCountOnly) {
    CObj0x8nn0 header;
    EXPECT_EQ(header.Init(0x8000, nullptr, "name", 2, 1070), 0xECA60FFFU);
    EXPECT_EQ(header.GetCoutOfInfoItems(), 1U);
    EXPECT_EQ(header.Index(), 0x8000);
    CObj0x8nn0 other;
    EXPECT_EQ(other.Init(0x8000, "type", nullptr, 2, 1070), 0xECA60FFFU);
    EXPECT_EQ(other.GetCoutOfInfoItems(), 1U);
    EXPECT_EQ(TypeOf(other), (TText{0xECA60FFF, "before"}));
    EXPECT_EQ(NameOf(other), (TText{0xECA60FFF, "before"}));
}

TEST(ModuleHeader, AddressGoesToTheLowHalf) {
    CObj0x8nn0 header;
    header.Init(0x8FF0, "type", "name", 0xFFFF, 0);
    std::int64_t address = 0;
    EXPECT_EQ(header.GetAddress(address), 0U);
    EXPECT_EQ(address, 0xFFFF00FF);
    address = std::int64_t{7} << 32;
    EXPECT_EQ(header.GetAddress(address), 0U);
    EXPECT_EQ(address, 0x7FFFF00FF);
}

TEST(ModuleHeader, AddressThatIsMissingOrShortIsRefused) {
    std::int64_t address = 5;
    CObj0x8nn0 empty;
    EXPECT_EQ(empty.GetAddress(address), 0xECA60FFFU);
    CObj0x8nn0 noBuffer;
    noBuffer.CObjectRecord::Init(0x8000, OBJCODE_RECORD, 0);
    Append(noBuffer, TYPE_UNSIGNED32, ACCESS_READ, "");
    EXPECT_EQ(noBuffer.GetAddress(address), 0xECA60FFFU);
    CObj0x8nn0 isShort;
    isShort.CObjectRecord::Init(0x8000, OBJCODE_RECORD, 0);
    Append(isShort, TYPE_UNSIGNED24, ACCESS_READ, "abc");
    EXPECT_EQ(isShort.GetAddress(address), 0xECA60FFFU);
    EXPECT_EQ(address, 5);
}

TEST(ModuleHeader, NamesThatAreNoTextAreRefused) {
    CObj0x8nn0 header;
    header.CObjectRecord::Init(0x8000, OBJCODE_RECORD, 0);
    Append(header, TYPE_UNSIGNED32, ACCESS_READ, "abcd");
    Append(header, TYPE_OCTET_STRING, ACCESS_READ, "type");
    Append(header, TYPE_VISIBLE_STRING, ACCESS_READ, "");
    EXPECT_EQ(TypeOf(header), (TText{0xECA60106, "before"}));
    EXPECT_EQ(NameOf(header), (TText{0xECA60106, "before"}));
}

TEST(ModuleHeader, IndexesOfASlot) {
    EXPECT_EQ(SlotOfIndex(0x8000), 0);
    EXPECT_EQ(SlotOfIndex(0x8FFF), 0xFF);
    EXPECT_EQ(SlotOfIndex(0xB123), 0x12);
    EXPECT_EQ(SlotOfIndex(0x1018), 0x01);
    EXPECT_EQ(DataIndex(0x8120, 3), 0x8123);
    EXPECT_EQ(ServiceIndex(0x8120, 0), 0xB120);
    EXPECT_EQ(ServiceIndex(0x8FF0, 15), 0xBFFF);
}
