#include "Dictionary.h"

#include "Machine.h"
#include "Views.h"

namespace Gateway {
namespace {

using Milliseconds = Dictionary::Milliseconds;

class DictionaryTest : public testing::Test {
protected:
    Machine m_machine;
    Dictionary m_dictionary{m_machine.Options()};
};

TEST_F(DictionaryTest, ListsModulesWithoutWakingThem) {
    const auto modules = m_dictionary.ListModules(Milliseconds(0));
    ASSERT_TRUE(modules);
    ASSERT_EQ((*modules)->size(), 9U);
    EXPECT_EQ((*modules)->front().name, "em0");
    EXPECT_EQ((*modules)->back().typeName, "FSO");
    for (std::uint8_t slot = 0; slot < 9; ++slot) {
        EXPECT_TRUE(m_machine.IsAsleep(slot)) << int{slot};
    }
}

TEST_F(DictionaryTest, AnObjectOnceKnownTakesOneTransaction) {
    ASSERT_TRUE(m_dictionary.Read(0x8011, Milliseconds(0)));
    const std::size_t before = m_machine.Transactions();
    m_machine.Entry(0x8011, 2).value = ::Number(77, 2);
    const auto values = m_dictionary.Read(0x8011, Milliseconds(0));
    ASSERT_TRUE(values);
    EXPECT_EQ((*values)->entries[2].value, ::Number(77, 2));
    EXPECT_EQ((*values)->entries[3].value, ::Number(47, 2));
    EXPECT_EQ(m_machine.Transactions(), before + 1);
}

TEST_F(DictionaryTest, AnObjectOfTextsThatHaveNotChangedTakesOneTransaction) {
    ASSERT_TRUE(m_dictionary.Read(0x8073, Milliseconds(0)));
    ASSERT_TRUE(m_dictionary.Read(0x8073, Milliseconds(0)));
    const std::size_t before = m_machine.Transactions();
    ASSERT_TRUE(m_dictionary.Read(0x8073, Milliseconds(0)));
    EXPECT_EQ(m_machine.Transactions(), before + 1);
}

TEST_F(DictionaryTest, TextsThatHaveChangedAreReadAlone) {
    ASSERT_TRUE(m_dictionary.Read(0x8073, Milliseconds(0)));
    // As many bytes as before in all: only the entries alone tell where the first one ends.
    m_machine.Entry(0x8073, 1).value = ::Text("5");
    m_machine.Entry(0x8073, 2).value = ::Text("5VV");
    const auto values = m_dictionary.Read(0x8073, Milliseconds(0));
    ASSERT_TRUE(values);
    EXPECT_EQ((*values)->entries[1].value, ::Text("5"));
    EXPECT_EQ((*values)->entries[2].value, ::Text("5VV"));
}

TEST_F(DictionaryTest, NumbersWithFewerBytesThanTheirTypeDoNotShiftTheOthers) {
    m_machine.m_dictionary.objects[0x8067].entries.push_back(m_machine.Entry(0x8067, 1));
    m_machine.Entry(0x8067, 0).value = {2, 0};
    m_machine.Entry(0x8067, 2).value = ::Number(9, 2);
    for (int look = 0; look < 2; ++look) {
        const auto values = m_dictionary.Read(0x8067, Milliseconds(0));
        ASSERT_TRUE(values);
        EXPECT_EQ((*values)->entries[1].value, ::Number(1, 2));
        EXPECT_EQ((*values)->entries[2].value, ::Number(9, 2));
    }
}

TEST_F(DictionaryTest, EntriesBehindOneWithoutAValueHaveTheirs) {
    for (int look = 0; look < 2; ++look) {
        const auto values = m_dictionary.Read(0x8058, Milliseconds(0));
        ASSERT_TRUE(values);
        EXPECT_EQ((*values)->entries[1].code, 0xECAF0701);
        EXPECT_FALSE((*values)->entries[1].value);
        EXPECT_EQ((*values)->entries[2].value, ::Number(3, 2));
    }
}

TEST_F(DictionaryTest, WhatIsNeverSupportedIsAskedForOnce) {
    ASSERT_TRUE(m_dictionary.Read(0x8041, Milliseconds(0)));
    const std::size_t before = m_machine.Transactions();
    const auto values = m_dictionary.Read(0x8041, Milliseconds(0));
    ASSERT_TRUE(values);
    EXPECT_EQ((*values)->entries[5].code, Machine::NOT_SUPPORTED);
    EXPECT_EQ((*values)->entries[7].value, ::Number(600, 8));
    EXPECT_EQ(m_machine.Transactions(), before + 3); // the count and the two that have values
}

TEST_F(DictionaryTest, AListThatGrowsIsDescribedAnew) {
    ASSERT_TRUE(m_dictionary.Read(0x8021, Milliseconds(0)));
    m_machine.Do([](FakeDictionary& dictionary) {
        FakeObject& object = dictionary.objects[0x8021];
        object.entries.push_back(object.entries[1]);
        object.entries[0].value = {2, 0};
    });
    const auto values = m_dictionary.Read(0x8021, Milliseconds(0));
    ASSERT_TRUE(values);
    EXPECT_EQ((*values)->entries.size(), 3U);
    EXPECT_EQ((*values)->entries[2].value, ::Number(1200, 2));
}

TEST_F(DictionaryTest, ValuesThatAreFreshEnoughAreShared) {
    ASSERT_TRUE(m_dictionary.Read(0x8011, std::chrono::hours(1)));
    const std::size_t before = m_machine.Transactions();
    ASSERT_TRUE(m_dictionary.Read(0x8011, std::chrono::hours(1)));
    EXPECT_EQ(m_machine.Transactions(), before);
}

TEST_F(DictionaryTest, AWriteIsSeenByTheNextReadOfTheModule) {
    ASSERT_TRUE(m_dictionary.Read(0x8001, std::chrono::hours(1)));
    ASSERT_TRUE(m_dictionary.Write(0x8001, 2, ::Text("10.0.0.1")));
    m_machine.Entry(0x8001, 2).value = ::Text("10.0.0.1");
    const auto values = m_dictionary.Read(0x8001, std::chrono::hours(1));
    ASSERT_TRUE(values);
    EXPECT_EQ((*values)->entries[2].value, ::Text("10.0.0.1"));
}

TEST_F(DictionaryTest, AnObjectThatDoesNotExistIsTold) {
    const auto values = m_dictionary.Read(0x9999, Milliseconds(0));
    ASSERT_FALSE(values);
    EXPECT_EQ(values.Error().code, Mdp::OBJ_E_INVALIDIDX);
    EXPECT_TRUE(IsTold(values.Error()));
}

TEST_F(DictionaryTest, AServiceThatDoesNotAnswerIsNoAnswer) {
    m_machine.GoDown(true);
    const auto values = m_dictionary.Read(0x8011, Milliseconds(0));
    ASSERT_FALSE(values);
    EXPECT_FALSE(IsTold(values.Error()));
    EXPECT_FALSE(m_dictionary.Probe());
    m_machine.GoDown(false);
    EXPECT_TRUE(m_dictionary.Probe());
    EXPECT_TRUE(m_dictionary.Read(0x8011, Milliseconds(0)));
}

TEST_F(DictionaryTest, ATableThatIsMadeAnewBetweenItsColumnsIsReadAgain) {
    Look look(m_dictionary, std::chrono::hours(1));
    ASSERT_EQ(look.ReadDrives().size(), 2U);
    // One drive more, of which the kept columns but the first know nothing.
    m_machine.Do([](FakeDictionary& dictionary) {
        for (const unsigned k : {1U, 4U, 5U, 8U, 11U, 12U, 13U, 14U, 15U}) {
            FakeObject& object = dictionary.objects[static_cast<std::uint16_t>(0x8050 + k)];
            object.entries.insert(object.entries.begin() + 1, object.entries[2]);
            object.entries[0].value = {3, 0};
        }
    });
    ASSERT_TRUE(m_dictionary.Read(0x8051, Milliseconds(0)));
    Look next(m_dictionary, std::chrono::hours(1));
    const auto drives = next.ReadDrives();
    ASSERT_EQ(drives.size(), 3U);
    EXPECT_EQ(drives[0].serial, "S2");
    EXPECT_EQ(drives[0].lifeLeftPercent, 3);
    EXPECT_EQ(drives[1].serial, "S1");
    EXPECT_EQ(drives[1].lifeLeftPercent, std::nullopt);
}

TEST_F(DictionaryTest, NumbersHaveTheirSigns) {
    Look look(m_dictionary, Milliseconds(0));
    const auto temperatures = look.ReadBoardTemperatures();
    ASSERT_EQ(temperatures.size(), 1U);
    EXPECT_EQ(temperatures[0].lowestCelsius, -4);
    EXPECT_EQ(temperatures[0].celsius, 38);
    EXPECT_EQ(look.ReadRoutes().at(0).transport, 1);
}

} // namespace
} // namespace Gateway
