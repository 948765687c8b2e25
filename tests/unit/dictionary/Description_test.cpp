// Enumeration and descriptions, as far as they go without texts: those come from a file of the machine.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "../common/LogOf.h"
#include "DictionaryTest.h"
#include "dictionary/SdoValueInfo.h"

using namespace std::string_literals;
using testing::ElementsAre;

namespace {

struct TListAnswer {
    ObjResult result;
    unsigned int size;
    std::string buffer;

    bool operator==(const TListAnswer&) const = default;
};

struct TObjectAnswer {
    ObjResult result;
    unsigned int objectCode;
    unsigned int dataType;
    unsigned int itemCount;

    bool operator==(const TObjectAnswer&) const = default;
};

struct TAccess {
    std::uint16_t valueInfo;
    std::uint16_t access;
    std::uint16_t objectAccess;
};

class DescriptionTest : public DictionaryTest {
protected:
    TListAnswer List(unsigned short type, unsigned int capacity) {
        TListAnswer answer{0, capacity, std::string(capacity, '#')};
        answer.result = Dictionary().GetOdList(type, answer.buffer.data(), &answer.size);
        return answer;
    }

    TObjectAnswer Describe(unsigned short index) {
        unsigned char objectCode = 0xEE;
        unsigned short dataType = 0xEEEE;
        unsigned char itemCount = 0xEE;
        const ObjResult result =
            Dictionary().GetObjDescription(index, 0, &objectCode, &dataType, &itemCount, nullptr, nullptr);
        return {result, objectCode, dataType, itemCount};
    }

    // The whole record as it comes back.
    std::string DescribeEntry(unsigned short index, unsigned char subIndex, std::uint16_t valueInfo,
                              std::uint64_t size = 64) {
        std::string record(size, '#');
        std::memcpy(record.data(), &size, sizeof size);
        std::memcpy(record.data() + 8, &valueInfo, sizeof valueInfo);
        m_result =
            Dictionary().GetEntryDescription(index, subIndex, 1033, reinterpret_cast<TMdpSDOValueInfo*>(record.data()));
        return record;
    }

    ObjResult m_result = 0;
};

class ObjectAccess : public DescriptionTest, public testing::WithParamInterface<TAccess> {};

class AllObjectsList : public DescriptionTest, public testing::WithParamInterface<unsigned short> {};

class EmptyList : public DescriptionTest, public testing::WithParamInterface<unsigned short> {};

} // namespace

TEST_F(DescriptionTest, CountsOfObjectsAreWords0And3And4) {
    EXPECT_EQ(List(0, 10), (TListAnswer{0, 10, "\x06\0\0\0\0\0\x06\0\x06\0"s}));
    EXPECT_EQ(List(0, 13), (TListAnswer{0, 13, "\x06\0\0\0\0\0\x06\0\x06\0\0\0\0"s})); // the whole capacity goes back
}

TEST_F(DescriptionTest, CountsNeedTenBytes) {
    const auto lines = LogOf({LOG_SEVERITY_TRACE}, [&] {
        EXPECT_EQ(List(0, 9), (TListAnswer{0xECA60107, 9, "#########"}));
    });
    EXPECT_THAT(lines, ElementsAre("None: ==>CObjDictionary::GetOdList()",
                                   "None: <==CObjDictionary::GetOdList() return INVAL ARG (*pcbData = 0x00000009)"));
}

TEST_P(AllObjectsList, HoldsEveryIndexInRisingOrder) {
    AddVariable(0x1000, TYPE_UNSIGNED8, ACCESS_READ, "a");
    AddVariable(0x8001, TYPE_UNSIGNED8, ACCESS_READ, "a");
    const auto lines = LogOf({LOG_SEVERITY_TRACE}, [&] {
        EXPECT_EQ(List(GetParam(), 18),
                  (TListAnswer{0, 16, "\x00\x10\x01\x80\x00\xF0\x10\xF0\x20\xF0\x30\xF0\x50\xF0\x60\xF0##"s}));
    });
    EXPECT_THAT(lines, ElementsAre("None: ==>CObjDictionary::GetOdList()",
                                   "None: <==CObjDictionary::GetOdList() (OBJ_E_NOERR) (2)"));
    EXPECT_EQ(List(GetParam(), 16).result, 0U);
}

TEST_P(AllObjectsList, TellsTheSizeThatItNeeds) {
    const auto lines = LogOf({LOG_SEVERITY_TRACE}, [&] {
        EXPECT_EQ(List(GetParam(), 11), (TListAnswer{0xECA60102, 12, "###########"}));
    });
    EXPECT_THAT(lines, ElementsAre("None: ==>CObjDictionary::GetOdList()",
                                   "None: <==CObjDictionary::GetOdList() (OBJ_E_BUFFERTOOSMALL)"));
}

INSTANTIATE_TEST_SUITE_P(Types, AllObjectsList, testing::Values(1, 4, 5));

TEST_P(EmptyList, IsEmptyAndASuccess) {
    const auto lines = LogOf({LOG_SEVERITY_TRACE}, [&] {
        EXPECT_EQ(List(GetParam(), 5), (TListAnswer{0, 0, "\0\0\0\0\0"s}));
    });
    EXPECT_THAT(lines, ElementsAre("None: ==>CObjDictionary::GetOdList()",
                                   "None: <==CObjDictionary::GetOdList() (OBJ_E_NOERR) (3)"));
}

INSTANTIATE_TEST_SUITE_P(Types, EmptyList, testing::Values(2, 3, 6, 0xFFFF));

TEST_F(DescriptionTest, AListNeedsABufferAndASize) {
    char buffer[16];
    unsigned int size = sizeof buffer;
    const auto lines = LogOf({LOG_SEVERITY_TRACE}, [&] {
        EXPECT_EQ(Dictionary().GetOdList(1, nullptr, &size), 0xECA60107U);
        EXPECT_EQ(Dictionary().GetOdList(1, buffer, nullptr), 0xECA60107U);
    });
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_THAT(lines[1], testing::MatchesRegex("None: <==CObjDictionary::GetOdList\\(\\) return inval arg "
                                                "\\(pData=0x00000000, pcbData=0x[0-9a-f]{8}\\)"));
    EXPECT_THAT(lines[3], testing::MatchesRegex("None: <==CObjDictionary::GetOdList\\(\\) return inval arg "
                                                "\\(pData=0x[0-9a-f]{8}, pcbData=0x00000000\\)"));
    EXPECT_EQ(size, sizeof buffer);
}

TEST_F(DescriptionTest, ListsWakeEveryModuleAndHoldItsObjects) {
    const CRef<CCountingActivator> first(new CCountingActivator(0x8001));
    const CRef<CCountingActivator> second(new CCountingActivator(0x8011));
    const CRef<CCountingActivator> failing(new CCountingActivator(0x8021));
    failing->m_activateResult = OBJ_E_FAILED;
    Dictionary().SetModuleActivator(0, first.Get());
    Dictionary().SetModuleActivator(1, second.Get());
    Dictionary().SetModuleActivator(2, failing.Get());

    EXPECT_EQ(List(0, 9).result, 0xECA60107U); // also where the answer is refused
    EXPECT_TRUE(first->IsActive());
    EXPECT_TRUE(second->IsActive());
    EXPECT_EQ(List(0, 10).buffer[0], 8);
    EXPECT_EQ(failing->m_activations, 2);

    Dictionary().SetInactivityLimit(0);
    Dictionary().CheckCleanup();
    EXPECT_FALSE(first->IsActive());
    EXPECT_EQ(List(2, 0).result, 0U);
    EXPECT_TRUE(first->IsActive());
}

TEST_F(DescriptionTest, AListLetsTheCleanupRun) {
    const CRef<CCountingActivator> activator(new CCountingActivator(0x8001));
    Dictionary().SetModuleActivator(0, activator.Get());
    Dictionary().SetInactivityLimit(0);
    List(1, 100);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (activator->IsActive() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    EXPECT_FALSE(activator->IsActive());
}

// Objects

TEST_F(DescriptionTest, AVariableTellsTheTypeOfItsItem) {
    AddVariable(0x8001, TYPE_UNSIGNED16, ACCESS_READ, "ab");
    EXPECT_EQ(Describe(0x8001), (TObjectAnswer{0, 7, 6, 1}));
    auto* empty = new CObject;
    empty->Init(0x8002, OBJCODE_VARIABLE, 0);
    Dictionary().AddObject(empty);
    EXPECT_EQ(Describe(0x8002), (TObjectAnswer{0, 7, 0, 0}));
}

TEST_F(DescriptionTest, ARecordTellsNoTypeAndCountsItem0) {
    AddModule("T", "N", 1);
    EXPECT_EQ(Describe(0x8000), (TObjectAnswer{0, 9, 0, 5}));
}

TEST_F(DescriptionTest, AnArrayTellsItsElementType) {
    EXPECT_EQ(Describe(0xF000), (TObjectAnswer{0, 8, 0xF000, 5}));
    EXPECT_EQ(Describe(0xF060), (TObjectAnswer{0, 8, 0xF060, 1}));
}

TEST_F(DescriptionTest, AnUnknownObjectIsRefusedWithALine) {
    const auto lines = LogOf({LOG_SEVERITY_TRACE}, [&] {
        EXPECT_EQ(Describe(0x8001), (TObjectAnswer{0xECA60100, 0xEE, 0xEEEE, 0xEE}));
    });
    EXPECT_THAT(lines, ElementsAre("None: <==CObjDictionary::GetObjDescription() (ret=OBJ_E_INVALIDIDX)"));
}

TEST_F(DescriptionTest, EveryOutputOfADescriptionMayBeMissing) {
    EXPECT_EQ(Dictionary().GetObjDescription(0xF000, 0, nullptr, nullptr, nullptr, nullptr, nullptr), 0U);
}

TEST_F(DescriptionTest, AnObjectWithoutANameHasAnEmptyOne) {
    std::string name = "####";
    unsigned int length = 4;
    EXPECT_EQ(Dictionary().GetObjDescription(0xF000, 1033, nullptr, nullptr, nullptr, name.data(), &length), 0U);
    EXPECT_EQ(length, 0U);
    EXPECT_EQ(name, "\0\0\0\0"s);
}

TEST_F(DescriptionTest, DescriptionsWakeTheSlotOfAnyIndex) {
    const CRef<CCountingActivator> activator(new CCountingActivator(0x8011));
    Dictionary().SetModuleActivator(1, activator.Get());
    EXPECT_EQ(Describe(0x1018).result, 0xECA60100U);
    EXPECT_EQ(activator->m_activations, 1);
    EXPECT_EQ(Describe(0x8011), (TObjectAnswer{0, 7, 5, 1}));

    Dictionary().SetInactivityLimit(0);
    Dictionary().CheckCleanup();
    ASSERT_FALSE(activator->IsActive());
    DescribeEntry(0xF010, 0, 0);
    EXPECT_EQ(m_result, 0U);
    EXPECT_TRUE(activator->IsActive());
}

// Entries

TEST_F(DescriptionTest, AnEntryNeedsARecordOfAtLeastItsHead) {
    EXPECT_EQ(Dictionary().GetEntryDescription(0xF000, 0, 0, nullptr), 0x80004003U);
    TMdpSDOValueInfo info{};
    info.size = 63;
    EXPECT_EQ(Dictionary().GetEntryDescription(0xF000, 0, 0, &info), 0x80070057U);
    EXPECT_EQ(Dictionary().GetEntryDescription(0x7777, 0, 0, &info), 0x80070057U); // looked at first
    EXPECT_EQ(info.offsetName, 0U);
}

TEST_F(DescriptionTest, AnEntryThatIsNotThereIsRefusedWithoutALine) {
    const auto lines = LogOf({LOG_SEVERITY_TRACE}, [&] {
        DescribeEntry(0x8001, 0, 0);
        EXPECT_EQ(m_result, 0xECA60100U);
        DescribeEntry(0xF000, 5, 0);
        EXPECT_EQ(m_result, 0xECA60100U);
    });
    EXPECT_THAT(lines, testing::IsEmpty());
}

TEST_F(DescriptionTest, AnEntryRecordIsFilledInAllItsFields) {
    AddVariable(0x8001, TYPE_UNSIGNED32, ACCESS_READ | ACCESS_WRITE, "abcd");
    const std::string none = "\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF";
    EXPECT_EQ(DescribeEntry(0x8001, 0, 0xFFFF, 68), "\x44\0\0\0\0\0\0\0"s + // size
                                                        "\x87\xFF"          // value info without bits 3 to 6
                                                        "\x07\0"s +         // type
                                                        "\x20\0"s +         // bits
                                                        "\x3F\x03" +        // access
                                                        none +
                                                        none + none + none + "\x40\0\0\0\0\0\0\0"s + // name at
                                                        "\0\0\0\0\0\0\0\0"s + "\0\0\0\0"s); // its length, and it
    EXPECT_EQ(m_result, 0U);
}

TEST_F(DescriptionTest, ARecordOfExactlyItsHeadHasNoName) {
    const std::string record = DescribeEntry(0xF000, 1, 0, 64);
    EXPECT_EQ(m_result, 0U);
    EXPECT_EQ(record.substr(56), "\0\0\0\0\0\0\0\0"s);
}

TEST_F(DescriptionTest, TheCountOfARecordOrArrayHas16Bits) {
    AddModule("T", "N", 1);
    EXPECT_EQ(DescribeEntry(0x8000, 0, 0).substr(10, 4), "\x05\0\x10\0"s);
    EXPECT_EQ(DescribeEntry(0xF000, 0, 0).substr(10, 4), "\x05\0\x10\0"s);
    AddVariable(0x8001, TYPE_UNSIGNED8, ACCESS_READ, "a");
    EXPECT_EQ(DescribeEntry(0x8001, 0, 0).substr(10, 4), "\x05\0\x08\0"s);
}

TEST_F(DescriptionTest, BitLengthsAreCutTo16Bits) {
    AddVariable(0x8001, TYPE_VISIBLE_STRING, ACCESS_READ, std::string(8193, 'x'));
    EXPECT_EQ(DescribeEntry(0x8001, 0, 0).substr(10, 4), "\x09\0\x08\0"s);
}

TEST_P(ObjectAccess, ComesFromTheItemAndTheRequest) {
    AddVariable(0x8001, TYPE_UNSIGNED8, GetParam().access, "a");
    const std::string record = DescribeEntry(0x8001, 0, GetParam().valueInfo);
    std::uint16_t access = 0;
    std::memcpy(&access, record.data() + 14, sizeof access);
    EXPECT_EQ(access, GetParam().objectAccess);
}

INSTANTIATE_TEST_SUITE_P(Flags, ObjectAccess,
                         testing::Values(TAccess{0, 3, 0}, TAccess{1, 0, 0}, TAccess{1, 1, 7}, TAccess{1, 2, 56},
                                         TAccess{1, 3, 63}, TAccess{1, 7, 63}, TAccess{1, 4, 0}, TAccess{2, 3, 0x100},
                                         TAccess{3, 3, 0x13F}, TAccess{4, 3, 0x200}, TAccess{5, 1, 0x207},
                                         TAccess{6, 3, 0x300}, TAccess{7, 2, 0x338}, TAccess{8, 3, 0}),
                         [](const auto& test) {
                             return "Info" + std::to_string(test.param.valueInfo) + "Access" +
                                    std::to_string(test.param.access);
                         });
