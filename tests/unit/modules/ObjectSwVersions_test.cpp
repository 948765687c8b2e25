#include "modules/ObjectSwVersions.h"

#include <gtest/gtest.h>

#include "../dictionary/DictionaryTest.h"

using namespace std::string_literals;

namespace {

// The module's four tables, at a base of the test's choice.
class ObjectSwVersionsTest : public DictionaryTest {
protected:
    void AddTables(unsigned int count = 4) {
        for (unsigned int k = 1; k <= count; ++k) {
            const CRef<CObjectRecord> table(new CObjectRecord);
            table->Init(DataIndex(BASE, k), OBJCODE_RECORD, 0);
            Dictionary().AddObject(table.Get());
        }
    }

    static constexpr unsigned short BASE = 0x8050;
};

} // namespace

TEST_F(ObjectSwVersionsTest, ARowGoesToAllFourTablesAtOneSubIndex) {
    AddTables();
    EXPECT_EQ(SwVersions::AddFileInfoTables(BASE, "first", "maker", "", "1.0"), 0xECA60FFFU); // meant so
    EXPECT_EQ(SwVersions::AddFileInfoTables(BASE, "second", "maker", "text", "2.0"), 0xECA60FFFU);
    EXPECT_EQ(ReadObject(0x8051, 0, 13, true), (TReadAnswer{0, 13, "\x02\x00"s + "firstsecond"}));
    EXPECT_EQ(ReadObject(0x8052, 0, 12, true), (TReadAnswer{0, 12, "\x02\x00"s + "makermaker"}));
    EXPECT_EQ(ReadObject(0x8053, 1, 4), (TReadAnswer{0xECA60105, 0, "####"}));
    EXPECT_EQ(ReadObject(0x8053, 2, 4), (TReadAnswer{0, 4, "text"}));
    EXPECT_EQ(ReadObject(0x8054, 0, 8, true), (TReadAnswer{0, 8, "\x02\x00"s + "1.02.0"}));

    for (unsigned int k = 1; k <= 4; ++k) {
        const CRef<CObject> table = Dictionary().GetObjectRef(DataIndex(BASE, k));
        const TInfoItem& element = *table->GetItem(1);
        EXPECT_EQ(TypeAccess(element.type, element.access), 0x10009U) << k;
        EXPECT_EQ(element.nameId, 10015 + k) << k;
        EXPECT_EQ(element.onRead, nullptr) << k;
        EXPECT_EQ(element.onWrite, nullptr) << k;
    }
}

TEST_F(ObjectSwVersionsTest, ARowWithoutAllFourTablesIsDropped) {
    AddTables(3);
    EXPECT_EQ(SwVersions::AddFileInfoTables(BASE, "first", "maker", "", "1.0"), 0xECA60FFFU);
    EXPECT_EQ(ReadObject(0x8051, 0, 2), (TReadAnswer{0, 2, "\0\0"s}));
}

TEST_F(ObjectSwVersionsTest, TablesStopTogetherAt254Rows) {
    AddTables();
    for (int i = 0; i < 300; ++i) {
        SwVersions::AddFileInfoTables(BASE, std::to_string(i).c_str(), "m", "d", "v");
    }
    for (unsigned short index = 0x8051; index < 0x8055; ++index) {
        EXPECT_EQ(ReadObject(index, 0, 2), (TReadAnswer{0, 2, "\xFE\x00"s}));
    }
    EXPECT_EQ(ReadObject(0x8051, 254, 3), (TReadAnswer{0, 3, "253"}));
}

TEST_F(ObjectSwVersionsTest, CreateMakesHeaderAndTablesWhateverThePackageManagerTells) {
    const ObjResult result = SwVersions::Create();
    EXPECT_TRUE(result == 0 || (result & 0xFFFF0000) == 0xECA70000);
    EXPECT_EQ(ReadObject(0x8000, 1, 4), (TReadAnswer{0, 4, "\x00\x00\x0A\x00"s}));
    EXPECT_EQ(ReadObject(0x8000, 2, 8), (TReadAnswer{0, 8, "Software"}));
    EXPECT_EQ(ReadObject(0x8000, 3, 8), (TReadAnswer{0, 8, "Software"}));
    EXPECT_EQ(ReadObject(0x8000, 4, 4), (TReadAnswer{0, 4, "\x10\x27\x0A\x00"s}));
    EXPECT_EQ(ReadObject(0xF060, 1, 8), (TReadAnswer{0, 8, "Software"}));
    EXPECT_EQ(Dictionary().GetObjectRef(0x8000)->NameId(), 1110);
    for (unsigned short k = 1; k <= 4; ++k) {
        const CRef<CObject> table = Dictionary().GetObjectRef(DataIndex(0x8000, k));
        ASSERT_TRUE(table);
        EXPECT_EQ(table->ObjectCode(), 9U);
        EXPECT_EQ(table->NameId(), 1110 + k);
    }
    EXPECT_FALSE(HasObject(0x8005));
}
