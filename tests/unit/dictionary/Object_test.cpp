#include "dictionary/Object.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "../common/LogOf.h"
#include "FailingAllocations.h"
#include "Items.h"
#include "dictionary/ItemTable.h"
#include "dictionary/ObjHelper.h"
#include "dictionary/ObjectRecord.h"

using namespace std::string_literals;
using testing::ElementsAre;

namespace {

constexpr std::uint16_t READ_WRITE = ACCESS_READ | ACCESS_WRITE;

// What the last trigger was called with, and what it answers.
struct TCall {
    TInfoItem* item = nullptr;
    unsigned short index = 0;
    unsigned char subIndex = 0;
    std::string bytes;
    std::string held; // the item's bytes at the time of the call
    int count = 0;
    ObjResult answer = 0;
};

TCall s_call;

ObjResult OnWrite(TInfoItem* item, unsigned short index, unsigned char subIndex, void* data, unsigned int size) {
    s_call.item = item;
    s_call.index = index;
    s_call.subIndex = subIndex;
    s_call.bytes.assign(static_cast<char*>(data), size);
    s_call.held = BytesOf(*item);
    ++s_call.count;
    return s_call.answer;
}

ObjResult OnRead(TInfoItem* item, unsigned short index, unsigned char subIndex) {
    s_call.item = item;
    s_call.index = index;
    s_call.subIndex = subIndex;
    ++s_call.count;
    char text[] = "live";
    CInfoItem(item).SetString(text, 4);
    return s_call.answer;
}

class ObjectTest : public testing::Test {
protected:
    void SetUp() override { s_call = {}; }

    // A record at `index` with a 4-byte and a 2-byte item, as most tests want it.
    static void FillRecord(CObjectRecord& record, unsigned short index = 0x8001) {
        ASSERT_EQ(record.Init(index, OBJCODE_RECORD, 1), 0U);
        ASSERT_EQ(Append(record, TYPE_UNSIGNED32, ACCESS_READ, "\x11\x12\x13\x14"), 0U);
        ASSERT_EQ(Append(record, TYPE_UNSIGNED16, ACCESS_READ, "\x21\x22"), 0U);
    }

    ObjResult Write(unsigned char subIndex, std::string bytes, bool isComplete = false) {
        return m_object.WriteItem(subIndex, bytes.data(), static_cast<unsigned int>(bytes.size()), isComplete ? 1 : 0);
    }

    std::string Held(unsigned char subIndex = 0) { return BytesOf(*m_object.GetItem(subIndex)); }

    CObject m_object;
};

class ObjectCode : public testing::TestWithParam<std::pair<unsigned int, unsigned int>> {};

} // namespace

TEST_P(ObjectCode, HasFourBits) {
    CObject object;
    EXPECT_EQ(object.Init(0x1234, GetParam().first, 0x123456789AB), 0U);
    EXPECT_EQ(object.ObjectCode(), GetParam().second);
    EXPECT_EQ(object.Index(), 0x1234);
    EXPECT_EQ(object.NameId(), 0x123456789AB);
}

INSTANTIATE_TEST_SUITE_P(Codes, ObjectCode,
                         testing::Values(std::pair{7U, 7U}, std::pair{8U, 8U}, std::pair{9U, 9U}, std::pair{0x17U, 7U},
                                         std::pair{0xFFFFFFF9U, 9U}));

TEST_F(ObjectTest, NewObjectsHaveNoCountAndNoItems) {
    EXPECT_EQ(m_object.m_refCount, 0U);
    EXPECT_EQ(m_object.GetCoutOfInfoItems(), 0U);
    EXPECT_EQ(m_object.GetItem(0), nullptr);
}

TEST_F(ObjectTest, AppendCopiesAllFieldsAndTheBuffer) {
    int context = 0;
    std::string bytes = "abc";
    TInfoItem item;
    item.type = TYPE_VISIBLE_STRING;
    item.access = ACCESS_READ | ACCESS_WRITE | ACCESS_MARK;
    item.onRead = OnRead;
    item.onWrite = OnWrite;
    item.size = 3;
    item.data = reinterpret_cast<unsigned char*>(bytes.data());
    item.context = &context;
    item.nameId = -5;

    ASSERT_EQ(m_object.AppendInfoItem(item), 0U);
    bytes = "xyz";

    const TInfoItem& copy = *m_object.GetItem(0);
    EXPECT_EQ(copy.type, 9);
    EXPECT_EQ(copy.access, 7);
    EXPECT_EQ(copy.onRead, &OnRead);
    EXPECT_EQ(copy.onWrite, &OnWrite);
    EXPECT_EQ(BytesOf(copy), "abc");
    EXPECT_EQ(copy.context, &context);
    EXPECT_EQ(copy.nameId, -5);
    EXPECT_NE(copy.data, item.data);
}

TEST_F(ObjectTest, AppendTakesNoBufferWithoutBytesAndNoSizeWithoutABuffer) {
    unsigned char bytes[] = {1, 2};
    TInfoItem withoutData;
    withoutData.type = TYPE_UNSIGNED32;
    withoutData.access = ACCESS_READ;
    withoutData.size = 4;
    TInfoItem withoutSize = withoutData;
    withoutSize.data = bytes;
    withoutSize.size = 0;

    ASSERT_EQ(m_object.AppendInfoItem(withoutData), 0U);
    ASSERT_EQ(m_object.AppendInfoItem(withoutSize), 0U);

    for (unsigned char sub = 0; sub < 2; ++sub) {
        EXPECT_EQ(m_object.GetItem(sub)->size, 0U);
        EXPECT_EQ(m_object.GetItem(sub)->data, nullptr);
        EXPECT_EQ(Read(m_object, sub, 4), (TReadAnswer{0xECA60105, 0, "####"}));
    }
}

TEST_F(ObjectTest, TheItem256IsRefusedAndTheObjectKeeps255) {
    for (int i = 0; i < 255; ++i) {
        ASSERT_EQ(Append(m_object, TYPE_UNSIGNED8, ACCESS_READ, "x"), 0U);
    }
    EXPECT_EQ(Append(m_object, TYPE_UNSIGNED8, ACCESS_READ, "y"), 0xECA60104U);
    EXPECT_EQ(m_object.GetCoutOfInfoItems(), 255U);
    EXPECT_EQ(Read(m_object, 254, 1), (TReadAnswer{0, 1, "x"}));
    EXPECT_EQ(Read(m_object, 255, 1), (TReadAnswer{0xECA60100, 0, "#"}));
}

TEST_F(ObjectTest, AppendTellsThatMemoryIsShort) {
    FailingAllocations noMemory;
    EXPECT_EQ(Append(m_object, TYPE_UNSIGNED8, ACCESS_READ, "x"), 0xECA60104U);
    EXPECT_EQ(m_object.GetCoutOfInfoItems(), 0U);
}

TEST_F(ObjectTest, RemoveMovesLaterItemsDown) {
    for (const char* byte : {"a", "b", "c"}) {
        Append(m_object, TYPE_UNSIGNED8, ACCESS_READ, byte);
    }
    EXPECT_EQ(m_object.RemoveItem(3), 0xECA60100U);
    EXPECT_EQ(m_object.RemoveItem(1), 0U);
    EXPECT_EQ(m_object.GetCoutOfInfoItems(), 2U);
    EXPECT_EQ(Held(0), "a");
    EXPECT_EQ(Held(1), "c");
    EXPECT_EQ(m_object.GetItem(2), nullptr);
}

TEST_F(ObjectTest, RemoveAllItemsLeavesNone) {
    Append(m_object, TYPE_UNSIGNED8, ACCESS_READ, "a");
    EXPECT_EQ(m_object.RemoveAllItems(), 0U);
    EXPECT_EQ(m_object.GetCoutOfInfoItems(), 0U);
}

// Reading

TEST_F(ObjectTest, ReadGivesTheItemsBytesAndTheirNumber) {
    CObjectRecord record;
    FillRecord(record);
    EXPECT_EQ(Read(record, 1, 4), (TReadAnswer{0, 4, "\x11\x12\x13\x14"}));
    EXPECT_EQ(Read(record, 2, 4), (TReadAnswer{0, 2, "\x21\x22##"}));
}

TEST_F(ObjectTest, ReadNeedsNoPlaceForTheNumber) {
    CObjectRecord record;
    FillRecord(record);
    char buffer[4] = {};
    EXPECT_EQ(record.ReadItem(1, buffer, 4, 0, nullptr), 0U);
    EXPECT_EQ(buffer[3], 0x14);
    EXPECT_EQ(record.ReadItem(9, buffer, 4, 0, nullptr), 0xECA60100U);
}

TEST_F(ObjectTest, ReadOfASubIndexThatIsNotThereIsRefused) {
    CObjectRecord record;
    FillRecord(record);
    EXPECT_EQ(Read(record, 3, 4), (TReadAnswer{0xECA60100, 0, "####"}));
    EXPECT_EQ(Read(m_object, 0, 4), (TReadAnswer{0xECA60100, 0, "####"}));
}

TEST_F(ObjectTest, ReadOfAnItemThatIsNotReadableIsRefusedBeforeItsTrigger) {
    m_object.Init(0x8001, OBJCODE_VARIABLE, 0);
    Append(m_object, TYPE_VISIBLE_STRING, ACCESS_WRITE | ACCESS_MARK, "x", OnRead);
    EXPECT_EQ(Read(m_object, 0, 4), (TReadAnswer{0xECA60101, 0, "####"}));
    EXPECT_EQ(s_call.count, 0);
}

TEST_F(ObjectTest, ReadIntoTooSmallABufferIsRefused) {
    CObjectRecord record;
    FillRecord(record);
    EXPECT_EQ(Read(record, 1, 3), (TReadAnswer{0xECA60102, 0, "###"}));
    EXPECT_EQ(record.ReadItem(1, nullptr, 0, 0, nullptr), 0xECA60102U);
}

TEST_F(ObjectTest, TheCountOfARecordAndOfAnArrayReadsAsTwoBytes) {
    for (const std::uint16_t code : std::initializer_list<std::uint16_t>{9, 8}) {
        CObjectRecordBase object;
        object.Init(0x8001, code, 0);
        Append(object, TYPE_UNSIGNED8, ACCESS_READ, "x");
        EXPECT_EQ(Read(object, 0, 2), (TReadAnswer{0, 2, "\x01\x00"s}));
        EXPECT_EQ(Read(object, 0, 4), (TReadAnswer{0, 2, "\x01\x00##"s}));
        EXPECT_EQ(Read(object, 0, 1), (TReadAnswer{0xECA60102, 0, "#"}));
    }
}

TEST_F(ObjectTest, TheFirstItemOfAVariableReadsWithItsOwnSize) {
    m_object.Init(0x8001, OBJCODE_VARIABLE, 0);
    Append(m_object, TYPE_UNSIGNED8, ACCESS_READ, "\x07");
    EXPECT_EQ(Read(m_object, 0, 1), (TReadAnswer{0, 1, "\x07"}));
}

TEST_F(ObjectTest, ReadCallsTheTriggerWithItsPlaceAndGivesWhatItLeft) {
    m_object.Init(0x8031, OBJCODE_VARIABLE, 0);
    Append(m_object, TYPE_UNSIGNED8, ACCESS_READ, "a");
    Append(m_object, TYPE_VISIBLE_STRING, ACCESS_READ, "", OnRead);
    EXPECT_EQ(Read(m_object, 1, 6), (TReadAnswer{0, 4, "live##"}));
    EXPECT_EQ(s_call.item, m_object.GetItem(1));
    EXPECT_EQ(s_call.index, 0x8031);
    EXPECT_EQ(s_call.subIndex, 1);
}

TEST_F(ObjectTest, ATriggersErrorIsTheReadsError) {
    m_object.Init(0x8031, OBJCODE_VARIABLE, 0);
    Append(m_object, TYPE_VISIBLE_STRING, ACCESS_READ, "old", OnRead);
    s_call.answer = 0x80000000;
    EXPECT_EQ(Read(m_object, 0, 6), (TReadAnswer{0x80000000, 0, "######"}));
}

TEST_F(ObjectTest, ATriggersCodeThatIsNoErrorEndsInTheNormalWay) {
    m_object.Init(0x8031, OBJCODE_VARIABLE, 0);
    Append(m_object, TYPE_VISIBLE_STRING, ACCESS_READ, "old", OnRead);
    s_call.answer = 0x7FFFFFFF;
    EXPECT_EQ(Read(m_object, 0, 4), (TReadAnswer{0, 4, "live"}));
}

TEST_F(ObjectTest, AnItemWithoutBufferReadsAsNoData) {
    m_object.Init(0x8031, OBJCODE_VARIABLE, 0);
    Append(m_object, TYPE_UNSIGNED32, ACCESS_READ, "");
    EXPECT_EQ(Read(m_object, 0, 4), (TReadAnswer{0xECA60105, 0, "####"}));
}

TEST_F(ObjectTest, CompleteReadPacksAllItems) {
    CObjectRecord record;
    FillRecord(record);
    EXPECT_EQ(Read(record, 0, 8, true), (TReadAnswer{0, 8, "\x02\x00\x11\x12\x13\x14\x21\x22"s}));
    EXPECT_EQ(Read(record, 1, 8, true), (TReadAnswer{0, 6, "\x11\x12\x13\x14\x21\x22##"}));
}

TEST_F(ObjectTest, CompleteReadStartsAtTheFirstTwoSubIndexesOnly) {
    CObjectRecord record;
    FillRecord(record);
    EXPECT_EQ(Read(record, 2, 8, true), (TReadAnswer{0xECA60101, 0, "########"}));
    EXPECT_EQ(Read(record, 3, 8, true), (TReadAnswer{0xECA60100, 0, "########"}));
}

TEST_F(ObjectTest, CompleteReadIsNotForObjectsBelow0x1000) {
    CObjectRecord below;
    FillRecord(below, 0x0FFF);
    EXPECT_EQ(Read(below, 0, 8, true).result, 0xECA60101U);
    EXPECT_EQ(Read(below, 1, 8).result, 0U);
    CObjectRecord first;
    FillRecord(first, 0x1000);
    EXPECT_EQ(Read(first, 0, 8, true).result, 0U);
}

TEST_F(ObjectTest, CompleteReadIsNotForObjectsOfCode1) {
    m_object.Init(0x8001, 1, 0);
    Append(m_object, TYPE_UNSIGNED8, ACCESS_READ, "x");
    EXPECT_EQ(Read(m_object, 0, 1, true), (TReadAnswer{0xECA60101, 0, "#"}));
    EXPECT_EQ(Read(m_object, 0, 1), (TReadAnswer{0, 1, "x"}));
}

TEST_F(ObjectTest, CompleteReadKeepsWhatItHadWhenALaterItemFails) {
    for (const auto& [access, bytes, code] :
         {std::tuple{ACCESS_WRITE, "a", 0xECA60101U}, std::tuple{ACCESS_READ, "", 0xECA60105U},
          std::tuple{ACCESS_READ, "too long for it", 0xECA60102U}}) {
        CObjectRecord record;
        FillRecord(record);
        Append(record, TYPE_VISIBLE_STRING, access, bytes);
        Append(record, TYPE_UNSIGNED8, ACCESS_READ, "z");
        EXPECT_EQ(Read(record, 0, 12, true), (TReadAnswer{code, 8, "\x04\x00\x11\x12\x13\x14\x21\x22####"s}));
    }
}

namespace {

ObjResult EmptyTheObject(TInfoItem* item, unsigned short /*index*/, unsigned char /*subIndex*/) {
    static_cast<CObjectRecord*>(item->context)->RemoveAllElements();
    return OBJ_E_NOERR;
}

} // namespace

TEST_F(ObjectTest, CompleteReadEndsWhereATriggerLeftTheList) {
    CObjectRecord record;
    record.Init(0x8001, OBJCODE_RECORD, 0);
    record.GetItem(0)->onRead = EmptyTheObject;
    record.GetItem(0)->context = &record;
    Append(record, TYPE_UNSIGNED8, ACCESS_READ, "x");
    EXPECT_EQ(Read(record, 0, 4, true), (TReadAnswer{0, 2, "\x00\x00##"s}));
}

// Writing

TEST_F(ObjectTest, WriteStoresTheItemsSizeAndIgnoresTheRest) {
    Append(m_object, TYPE_UNSIGNED32, READ_WRITE, "old!");
    EXPECT_EQ(Write(0, "12345678"), 0U);
    EXPECT_EQ(Held(), "1234");
}

TEST_F(ObjectTest, WriteOfTooFewBytesIsRefused) {
    Append(m_object, TYPE_UNSIGNED32, READ_WRITE, "old!");
    EXPECT_EQ(Write(0, "12"), 0xECA60102U);
    EXPECT_EQ(Write(0, ""), 0xECA60102U);
    EXPECT_EQ(Held(), "old!");
}

TEST_F(ObjectTest, WrittenTextsGetAnEndMark) {
    Append(m_object, TYPE_VISIBLE_STRING, READ_WRITE, "old");
    EXPECT_EQ(Write(0, "longer than before"), 0U);
    EXPECT_EQ(Held(), "longer than before\0"s);
    EXPECT_EQ(Write(0, ""), 0U);
    EXPECT_EQ(Held(), "\0"s);
}

TEST_F(ObjectTest, OctetStringsCannotBeWrittenAndLoseTheirBuffer) {
    Append(m_object, TYPE_OCTET_STRING, READ_WRITE, "old");
    EXPECT_EQ(Write(0, "new"), 0xECA60103U);
    EXPECT_EQ(m_object.GetItem(0)->data, nullptr);
    EXPECT_EQ(m_object.GetItem(0)->size, 0U);
}

TEST_F(ObjectTest, WriteAfterTheLastSubIndexFailsInOneOfTwoChecks) {
    Append(m_object, TYPE_UNSIGNED8, READ_WRITE, "a");
    const auto lines = LogOf({LOG_SEVERITY_TRACE}, [&] {
        EXPECT_EQ(Write(1, "b"), 0xECA60100U);
        EXPECT_EQ(Write(2, "b"), 0xECA60100U);
    });
    EXPECT_THAT(lines,
                ElementsAre("None: ==>CObject::WriteItem", "None: <==CObject::WriteItem, ret = OBJ_E_INVALIDIDX",
                            "None: ==>CObject::WriteItem", "None: <==CObject::WriteItem, ret = OBJ_E_INVALIDIDX"));
    // The difference between the two shows with complete access: only the second comes behind its refusal.
    EXPECT_EQ(Write(1, "b", true), 0xECA60101U);
    EXPECT_EQ(Write(2, "b", true), 0xECA60100U);
}

TEST_F(ObjectTest, CompleteWriteDoesNotExist) {
    Append(m_object, TYPE_UNSIGNED8, READ_WRITE, "a", nullptr, OnWrite);
    const auto lines = LogOf({LOG_SEVERITY_TRACE}, [&] { EXPECT_EQ(Write(0, "b", true), 0xECA60101U); });
    EXPECT_THAT(lines,
                ElementsAre("None: ==>CObject::WriteItem", "None: <==CObject::WriteItem, ret = OBJ_E_INVALACCESS"));
    EXPECT_EQ(s_call.count, 0);
    EXPECT_EQ(Held(), "a");
}

TEST_F(ObjectTest, WriteOfAnItemThatIsNotWritableIsRefusedBeforeItsTrigger) {
    Append(m_object, TYPE_UNSIGNED8, ACCESS_READ | ACCESS_MARK, "a", nullptr, OnWrite);
    const auto lines = LogOf({LOG_SEVERITY_TRACE}, [&] { EXPECT_EQ(Write(0, "b"), 0xECA60101U); });
    EXPECT_THAT(lines,
                ElementsAre("None: ==>CObject::WriteItem", "None: <==CObject::WriteItem, ret = OBJ_E_INVALACCESS"));
    EXPECT_EQ(s_call.count, 0);
    EXPECT_EQ(Held(), "a");
}

TEST_F(ObjectTest, AWriteTriggerSeesTheOldValueAndTheClientsBytesWhichAreStoredThen) {
    m_object.Init(0xB012, OBJCODE_VARIABLE, 0);
    Append(m_object, TYPE_VISIBLE_STRING, ACCESS_WRITE, "old", nullptr, OnWrite);
    s_call.answer = 5; // no error
    const auto lines = LogOf({LOG_SEVERITY_TRACE}, [&] { EXPECT_EQ(Write(0, "new"), 0U); });
    EXPECT_EQ(s_call.item, m_object.GetItem(0));
    EXPECT_EQ(s_call.index, 0xB012);
    EXPECT_EQ(s_call.subIndex, 0);
    EXPECT_EQ(s_call.bytes, "new");
    EXPECT_EQ(s_call.held, "old");
    EXPECT_EQ(Held(), "new\0"s);
    EXPECT_THAT(lines,
                ElementsAre("None: ==>CObject::WriteItem", "None: CALL write trigger",
                            "None: DONE write trigger (0x00000005)", "None: <==CObject::WriteItem, ret = 0x00000000"));
}

TEST_F(ObjectTest, AFailingWriteTriggerLeavesTheOldValueAndNoClosingLine) {
    Append(m_object, TYPE_VISIBLE_STRING, READ_WRITE, "old", nullptr, OnWrite);
    s_call.answer = 0xECA60107;
    const auto lines = LogOf({LOG_SEVERITY_TRACE}, [&] { EXPECT_EQ(Write(0, "new"), 0xECA60107U); });
    EXPECT_EQ(Held(), "old");
    EXPECT_THAT(lines, ElementsAre("None: ==>CObject::WriteItem", "None: CALL write trigger",
                                   "None: DONE write trigger (0xeca60107)"));
}

TEST_F(ObjectTest, TheStoringStepsCodeIsTheResultAndTheClosingLine) {
    Append(m_object, TYPE_UNSIGNED16, READ_WRITE, "ab", nullptr, OnWrite);
    const auto lines = LogOf({LOG_SEVERITY_TRACE}, [&] { EXPECT_EQ(Write(0, "x"), 0xECA60102U); });
    EXPECT_EQ(s_call.count, 1);
    EXPECT_EQ(lines.back(), "None: <==CObject::WriteItem, ret = 0xeca60102");
}

TEST_F(ObjectTest, ReadingLogsNothing) {
    Append(m_object, TYPE_UNSIGNED16, READ_WRITE, "ab", OnRead);
    EXPECT_THAT(LogOf({LOG_SEVERITY_TRACE, LOG_SEVERITY_PROGRESS}, [&] { Read(m_object, 0, 2); }), testing::IsEmpty());
}

// The table form of items

TEST_F(ObjectTest, ATableOfItemsIsAppendedRowByRow) {
    constexpr std::uint32_t readOnlyNumber = 0x10007;
    EXPECT_EQ(AppendItems(m_object, {{0, readOnlyNumber, 500, nullptr, nullptr, ItemValue(std::uint32_t{0x01020304})},
                                     {1, 0x50009, 501, OnRead, OnWrite, "text"},
                                     {2, 0x20009, 502}}),
              0U);
    EXPECT_EQ(m_object.GetItem(0)->type, 7);
    EXPECT_EQ(m_object.GetItem(0)->access, 1);
    EXPECT_EQ(Held(0), "\x04\x03\x02\x01");
    EXPECT_EQ(m_object.GetItem(1)->access, 5);
    EXPECT_EQ(m_object.GetItem(1)->onRead, &OnRead);
    EXPECT_EQ(m_object.GetItem(1)->onWrite, &OnWrite);
    EXPECT_EQ(m_object.GetItem(1)->nameId, 501);
    EXPECT_EQ(m_object.GetItem(2)->access, 2);
    EXPECT_EQ(m_object.GetItem(2)->data, nullptr);
}

TEST_F(ObjectTest, ATableThatMissesASubIndexStopsThere) {
    EXPECT_EQ(AppendItems(m_object, {{0, 0x10007, 1}, {2, 0x10007, 2}}), 0xECA60FFFU);
    EXPECT_EQ(m_object.GetCoutOfInfoItems(), 1U);
}
