#include "dictionary/ObjDictionary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "../common/LogOf.h"
#include "DictionaryTest.h"

using namespace std::string_literals;
using testing::ElementsAre;

namespace {

// Notes its end.
class CMortalObject : public CObject {
public:
    explicit CMortalObject(std::vector<unsigned short>& ends) : m_ends(ends) {}

    ~CMortalObject() override { m_ends.push_back(Index()); }

private:
    std::vector<unsigned short>& m_ends;
};

// Notes in the same list, with its slot, that it was put to sleep, and that it ended, with 0x100 on top.
class CMortalActivator : public CModuleActivator {
public:
    CMortalActivator(std::vector<unsigned short>& ends, unsigned short slot) : m_ends(ends), m_slot(slot) {}

    ~CMortalActivator() override { m_ends.push_back(static_cast<unsigned short>(0x100 + m_slot)); }

    ObjResult DoActivate() override { return OBJ_E_NOERR; }

    ObjResult DoDeactivate() override {
        m_ends.push_back(m_slot);
        return OBJ_E_NOERR;
    }

private:
    std::vector<unsigned short>& m_ends;
    unsigned short m_slot;
};

class CAskingActivator : public CModuleActivator {
public:
    ObjResult DoActivate() override { return OBJ_E_NOERR; }

    ObjResult DoDeactivate() override {
        const CDictionaryRef own;
        foundOwn = own && own.Get() == dictionary && own.Get()->RemoveObject(0x8001) == OBJ_E_NOERR;
        std::thread([] {
            const CDictionaryRef other;
            foundByOther = static_cast<bool>(other);
        }).join();
        return OBJ_E_NOERR;
    }

    static inline CObjDictionary* dictionary = nullptr;
    static inline bool foundOwn = false;
    static inline bool foundByOther = true;
};

std::string Number(std::uint32_t value) {
    std::string bytes(4, '\0');
    for (std::size_t i = 0; i < 4; ++i) {
        bytes[i] = static_cast<char>(value >> (8 * i));
    }
    return bytes;
}

class ListObject : public DictionaryTest, public testing::WithParamInterface<unsigned short> {};

// The one that runs before any dictionary was there: ctest starts each test in a process of its own.
class NoDictionaryYet : public testing::Test {};

} // namespace

using ObjDictionaryTest = DictionaryTest;

TEST(NoDictionaryYet, WaitForFinalReleaseIsFalseWhereThereNeverWasOneAndTrueAfterItsEnd) {
    static bool s_isFirstRun = true; // a repeated run in one process comes after dictionaries
    if (s_isFirstRun && testing::UnitTest::GetInstance()->test_to_run_count() == 1) {
        EXPECT_FALSE(CObjDictionary::WaitForFinalRelease(0));
    }
    s_isFirstRun = false;
    {
        const CDictionaryRef use;
        EXPECT_FALSE(CObjDictionary::WaitForFinalRelease(20));
    }
    EXPECT_TRUE(CObjDictionary::WaitForFinalRelease(0));
}

TEST_F(ObjDictionaryTest, AllUsersShareOneDictionary) {
    CObjDictionary* first = m_use->Get();
    EXPECT_EQ(CObjDictionary::QueryDictionary(), first);
    EXPECT_EQ(CObjDictionary::QueryDictionary(), first);
    CObjDictionary::ReleaseDictionary(nullptr); // the argument is ignored
    CObjDictionary::ReleaseDictionary(first);
    EXPECT_FALSE(CObjDictionary::WaitForFinalRelease(0));
    EXPECT_EQ(ReadObject(0xF000, 0, 2).result, 0U);
}

TEST_F(ObjDictionaryTest, TheNextFirstUserGetsAFreshDictionary) {
    AddModule("T", "N", 1);
    EndDictionary();
    EXPECT_TRUE(CObjDictionary::WaitForFinalRelease(0));
    m_use.emplace();
    EXPECT_EQ(Dictionary().GetNextFree0x8nn0Slot(), 0x8000);
    EXPECT_EQ(ReadObject(0xF010, 0, 2), (TReadAnswer{0, 2, "\0\0"s}));
    EXPECT_FALSE(HasObject(0x8000));
}

TEST(DictionaryLife, LogsItsBeginningAndItsEnd) {
    const auto lines = LogOf({LOG_SEVERITY_TRACE}, [] { const CDictionaryRef use; });
    EXPECT_THAT(lines, ElementsAre("None: ==> *CObjDictionary::CObjDictionary()",
                                   "None: <== *CObjDictionary::CObjDictionary()",
                                   "None: ==> ~CObjDictionary::CObjDictionary()",
                                   "None: <== ~CObjDictionary::CObjDictionary()"));
}

TEST(DictionaryLife, EndsModulesThenObjectsInRisingOrder) {
    std::vector<unsigned short> ends;
    {
        const CDictionaryRef use;
        for (const int index : {0x9000, 0x8001, 0xB000, 0x1000, 0x8002, 0xEFFF, 0x8003}) {
            auto* object = new CMortalObject(ends);
            object->Init(static_cast<unsigned short>(index), OBJCODE_VARIABLE, 0);
            ASSERT_EQ(use.Get()->AddObject(object), 0U);
        }
        for (const int number : {7, 3, 200}) {
            const auto slot = static_cast<unsigned char>(number);
            auto* activator = new CMortalActivator(ends, slot);
            ASSERT_EQ(use.Get()->SetModuleActivator(slot, activator), 0U);
            if (slot != 7) { // that one sleeps
                activator->Activate();
            }
        }
    }
    EXPECT_THAT(ends,
                ElementsAre(3, 0x103, 0x107, 200, 0x100 + 200, 0x1000, 0x8001, 0x8002, 0x8003, 0x9000, 0xB000, 0xEFFF));
}

TEST(DictionaryLife, ModulesFindTheDictionaryWhileItEndsAndNobodyElseDoes) {
    {
        const CDictionaryRef use;
        CAskingActivator::dictionary = use.Get();
        auto* object = new CObject;
        object->Init(0x8001, OBJCODE_VARIABLE, 0);
        use.Get()->AddObject(object);
        auto* activator = new CAskingActivator;
        use.Get()->SetModuleActivator(0, activator);
        activator->Activate();
    }
    EXPECT_TRUE(CAskingActivator::foundOwn);
    EXPECT_FALSE(CAskingActivator::foundByOther);
    EXPECT_TRUE(CObjDictionary::WaitForFinalRelease(0));
}

// Objects

TEST_F(ObjDictionaryTest, AddTakesACountOfTheObject) {
    auto* object = new CObject;
    object->Init(0x8001, OBJCODE_VARIABLE, 0);
    EXPECT_EQ(Dictionary().AddObject(object), 0U);
    EXPECT_EQ(object->m_refCount, 1U);
}

TEST_F(ObjDictionaryTest, AddOfATakenIndexLeavesTheObjectToItsMaker) {
    ASSERT_EQ(AddVariable(0x8001, TYPE_UNSIGNED8, ACCESS_READ, "a"), 0U);
    auto* second = new CObject;
    second->Init(0x8001, OBJCODE_VARIABLE, 0);
    EXPECT_EQ(Dictionary().AddObject(second), 0xECA60100U);
    EXPECT_EQ(second->m_refCount, 0U);
    delete second;
    EXPECT_EQ(ReadObject(0x8001, 0, 1), (TReadAnswer{0, 1, "a"}));
}

TEST_F(ObjDictionaryTest, GetRaisesTheCount) {
    AddVariable(0x8001, TYPE_UNSIGNED8, ACCESS_READ, "a");
    CObject* object = Dictionary().GetObject(0x8001);
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(object->m_refCount, 2U);
    InterlockedDecrement(&object->m_refCount);
    EXPECT_EQ(Dictionary().GetObject(0x8002), nullptr);
}

TEST_F(ObjDictionaryTest, RemoveTakesTheObjectOutAndEndsItWithItsLastUser) {
    std::vector<unsigned short> ends;
    auto* object = new CMortalObject(ends);
    object->Init(0x8001, OBJCODE_VARIABLE, 0);
    Dictionary().AddObject(object);
    CRef<CObject> user(object);

    EXPECT_EQ(Dictionary().RemoveObject(0x8001), 0U);
    EXPECT_EQ(Dictionary().RemoveObject(0x8001), 0xECA60100U);
    EXPECT_FALSE(HasObject(0x8001));
    EXPECT_THAT(ends, testing::IsEmpty());
    user.Reset();
    EXPECT_THAT(ends, ElementsAre(0x8001));
    EXPECT_EQ(ReadObject(0x8001, 0, 4), (TReadAnswer{0xECA60100, 0, "####"}));
}

// Requests

TEST_F(ObjDictionaryTest, ReadAndWriteReachTheItem) {
    AddVariable(0x8001, TYPE_UNSIGNED16, ACCESS_READ | ACCESS_WRITE, "ab");
    EXPECT_EQ(ReadObject(0x8001, 0, 4), (TReadAnswer{0, 2, "ab##"}));
    EXPECT_EQ(WriteObject(0x8001, 0, "cd"), 0U);
    EXPECT_EQ(ReadObject(0x8001, 0, 4, true), (TReadAnswer{0, 2, "cd##"}));
    EXPECT_EQ(Dictionary().WriteObject(0x8001, 0, nullptr, 0, 1), 0xECA60101U);
    char buffer[2];
    EXPECT_EQ(Dictionary().ReadObject(0x8001, 0, buffer, 2, 0, nullptr), 0U);
}

TEST_F(ObjDictionaryTest, RequestsForAnUnknownIndexAreRefused) {
    EXPECT_EQ(ReadObject(0x8001, 0, 4), (TReadAnswer{0xECA60100, 0, "####"}));
    EXPECT_EQ(WriteObject(0x8001, 0, "x"), 0xECA60100U);
}

namespace {

ObjResult ReadOther(TInfoItem* item, unsigned short /*index*/, unsigned char /*subIndex*/) {
    const CDictionaryRef dictionary;
    char byte = 0;
    const ObjResult result = dictionary.Get()->ReadObject(0x8002, 0, &byte, 1, 0, nullptr);
    CInfoItem(item).SetString(&byte, 1);
    return result;
}

} // namespace

TEST_F(ObjDictionaryTest, ATriggerMayReadAnotherObject) {
    AddVariable(0x8001, TYPE_VISIBLE_STRING, ACCESS_READ, "", ReadOther);
    AddVariable(0x8002, TYPE_UNSIGNED8, ACCESS_READ, "z");
    EXPECT_EQ(ReadObject(0x8001, 0, 1), (TReadAnswer{0, 1, "z"}));
}

// The registry

TEST_F(ObjDictionaryTest, TheNextFreeSlotIsClaimedByRegisteringOnly) {
    EXPECT_EQ(Dictionary().GetNextFree0x8nn0Slot(), 0x8000);
    EXPECT_EQ(Dictionary().GetNextFree0x8nn0Slot(), 0x8000);
    EXPECT_EQ(AddModule("T", "N", 1), 0x8000);
    EXPECT_EQ(Dictionary().GetNextFree0x8nn0Slot(), 0x8010);
}

TEST_F(ObjDictionaryTest, RegisteringEntersTheModuleInAllLists) {
    AddModule("Nic", "em0", 2);
    AddModule("Software", "Software", 10);
    EXPECT_EQ(ReadObject(0xF010, 0, 64, true).buffer.substr(0, 10),
              "\x02\x00"s + Number(0x00022710) + Number(0x000A2710));
    EXPECT_EQ(ReadObject(0xF020, 0, 64, true).buffer.substr(0, 10),
              "\x02\x00"s + Number(0x00020000) + Number(0x000A0001));
    EXPECT_EQ(ReadObject(0xF030, 0, 64, true).buffer.substr(0, 6), "\x02\x00\x02\x00\x0A\x00"s);
    EXPECT_EQ(ReadObject(0xF050, 0, 64, true).buffer.substr(0, 6), "\x02\x00\x02\x00\x0A\x00"s);
    // Names are packed, each with its own length and no end mark.
    EXPECT_EQ(ReadObject(0xF060, 0, 13, true), (TReadAnswer{0, 13, "\x02\x00"s + "em0Software"}));
}

TEST_F(ObjDictionaryTest, ListElementsAreReadOnlyWithoutNamesOrTriggers) {
    AddModule("Nic", "em0", 2);
    const std::pair<unsigned short, std::uint16_t> types[] = {
        {0xF010, 7}, {0xF020, 7}, {0xF030, 6}, {0xF050, 6}, {0xF060, 9}};
    for (const auto& [index, type] : types) {
        const CRef<CObject> list = Dictionary().GetObjectRef(index);
        const TInfoItem& element = *list->GetItem(1);
        EXPECT_EQ(element.type, type) << index;
        EXPECT_EQ(element.access, 1) << index;
        EXPECT_EQ(element.nameId, 0) << index;
        EXPECT_EQ(element.onRead, nullptr) << index;
        EXPECT_EQ(element.onWrite, nullptr) << index;
    }
}

TEST_F(ObjDictionaryTest, TheSlotCountIsNotCheckedAndTheListsStopAt254) {
    for (int i = 0; i < 254; ++i) {
        AddModule("T", "N", 1);
    }
    EXPECT_EQ(ReadObject(0xF010, 0, 2), (TReadAnswer{0, 2, "\xFE\x00"s}));
    for (int i = 254; i < 256; ++i) {
        AddModule("T", "N", 1);
    }
    EXPECT_EQ(ReadObject(0xF010, 0, 2), (TReadAnswer{0, 2, "\xFE\x00"s}));
    // Past 256 headers the index leaves its range and the slot starts anew.
    EXPECT_EQ(AddModule("T", "N", 3), 0x9000);
    EXPECT_EQ(ReadObject(0x9000, 1, 4), (TReadAnswer{0, 4, Number(0x00030000)}));
}

TEST_F(ObjDictionaryTest, AHeaderWithoutItemsIsRegisteredWithWhatItHas) {
    const CRef<CObj0x8nn0> header(new CObj0x8nn0);
    header->Init(0x8000, nullptr, "N", 2, 0);
    EXPECT_EQ(Dictionary().RegisterObject(header.Get()), 0U);
    EXPECT_EQ(Dictionary().GetNextFree0x8nn0Slot(), 0x8010);
    EXPECT_EQ(ReadObject(0xF020, 1, 4), (TReadAnswer{0, 4, Number(0)}));
    EXPECT_EQ(ReadObject(0xF060, 1, 4), (TReadAnswer{0xECA60105, 0, "####"}));
}

TEST_F(ObjDictionaryTest, RegisteringStopsAtAMissingListAndKeepsWhatWasAppended) {
    const CRef<CObj0x8nn0> header(new CObj0x8nn0);
    header->Init(0x8000, "T", "N", 2, 0);
    Dictionary().RemoveObject(0xF060);
    EXPECT_EQ(Dictionary().RegisterObject(header.Get()), 0xECA60FFFU);
    EXPECT_EQ(Dictionary().GetNextFree0x8nn0Slot(), 0x8010);
    EXPECT_EQ(ReadObject(0xF020, 0, 2), (TReadAnswer{0, 2, "\x01\x00"s}));
    EXPECT_EQ(ReadObject(0xF010, 0, 2), (TReadAnswer{0, 2, "\x01\x00"s}));
    EXPECT_EQ(ReadObject(0xF030, 0, 2), (TReadAnswer{0, 2, "\x00\x00"s}));
    Dictionary().RemoveObject(0xF020);
    EXPECT_EQ(Dictionary().RegisterObject(header.Get()), 0xECA60FFFU);
    EXPECT_EQ(ReadObject(0xF010, 0, 2), (TReadAnswer{0, 2, "\x01\x00"s}));
}

TEST_P(ListObject, IsAnEmptyArrayAtFirstThatTellsItsIndexAsElementType) {
    EXPECT_EQ(ReadObject(GetParam(), 0, 2), (TReadAnswer{0, 2, "\0\0"s}));
    const CRef<CObject> object = Dictionary().GetObjectRef(GetParam());
    EXPECT_EQ(object->ObjectCode(), 8U);
    EXPECT_EQ(object->NameId(), 0);
    const auto* array = dynamic_cast<CObjectArray*>(object.Get());
    ASSERT_NE(array, nullptr);
    EXPECT_EQ(array->elementType, GetParam());
}

INSTANTIATE_TEST_SUITE_P(Lists, ListObject, testing::Values(0xF010, 0xF020, 0xF030, 0xF050, 0xF060));

TEST_F(ObjDictionaryTest, TheProfileIsFixed) {
    EXPECT_EQ(ReadObject(0xF000, 0, 18, true),
              (TReadAnswer{0, 18, "\x04\x00"s + Number(16) + Number(255) + Number(0) + Number(15)}));
    const CRef<CObject> profile = Dictionary().GetObjectRef(0xF000);
    EXPECT_EQ(profile->ObjectCode(), 8U);
    EXPECT_EQ(profile->NameId(), 0);
    EXPECT_EQ(dynamic_cast<CObjectArray&>(*profile).elementType, 0xF000);
    const std::int64_t names[] = {104, 170, 171, 0, 0};
    for (unsigned char sub = 0; sub < 5; ++sub) {
        EXPECT_EQ(profile->GetItem(sub)->nameId, names[sub]) << int{sub};
        EXPECT_EQ(profile->GetItem(sub)->type, sub == 0 ? 5 : 7) << int{sub};
        EXPECT_EQ(profile->GetItem(sub)->access, 1) << int{sub};
    }
}

TEST_F(ObjDictionaryTest, ASlotKeepsItsFirstActivator) {
    auto* first = new CCountingActivator(0x8001);
    EXPECT_EQ(Dictionary().SetModuleActivator(0, first), 0U);
    EXPECT_EQ(first->m_refCount, 1U);
    CCountingActivator second(0x8002);
    EXPECT_EQ(Dictionary().SetModuleActivator(0, &second), 0xECA60001U);
    EXPECT_EQ(second.m_refCount, 0U);
    EXPECT_EQ(ReadObject(0x8001, 0, 1).result, 0U);
    EXPECT_EQ(ReadObject(0x8002, 0, 1).result, 0xECA60100U);
}
