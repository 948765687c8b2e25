#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "settings/SettingsTable.h"

using MdpCommand::FindInTable;
using MdpCommand::TableValue;
using testing::ElementsAre;
using testing::FieldsAre;
using testing::IsEmpty;

namespace {

// The values of the machine, or what is wrong.
std::vector<TableValue> Find(const std::string& text, const std::string& machine) {
    std::string wrong;
    const auto values = FindInTable(text, machine, wrong);
    EXPECT_TRUE(values) << wrong;
    return values.value_or(std::vector<TableValue>());
}

std::string WrongOf(const std::string& text, const std::string& machine = "a") {
    std::string wrong;
    EXPECT_FALSE(FindInTable(text, machine, wrong)) << text;
    return wrong;
}

} // namespace

TEST(SettingsTable, GivesTheValuesOfTheMachinesRow) {
    const std::string table = "machine,name,net.em0.address\n"
                              "a,press-1,10.0.0.1\n"
                              "b,press-2,10.0.0.2\n";
    EXPECT_THAT(Find(table, "b"), ElementsAre(FieldsAre("name", "press-2"), FieldsAre("net.em0.address", "10.0.0.2")));
    EXPECT_THAT(Find("m,name\na,x", "a"), ElementsAre(FieldsAre("name", "x"))) << "without a line end";
}

TEST(SettingsTable, TakesWhatSpreadsheetsWrite) {
    EXPECT_THAT(Find("\xEF\xBB\xBF\"machine\";\"dns\"\r\n\"a\";\"1.1.1.1,8.8.8.8\"\r\n", "a"),
                ElementsAre(FieldsAre("dns", "1.1.1.1,8.8.8.8")));
    EXPECT_THAT(Find("machine,dns,name\n\na,\"1.1.1.1,8.8.8.8\", \"p \"\"1\"\"\" \n,,\n", "a"),
                ElementsAre(FieldsAre("dns", "1.1.1.1,8.8.8.8"), FieldsAre("name", "p \"1\"")));
}

TEST(SettingsTable, LeavesEmptyCellsOut) {
    EXPECT_THAT(Find("machine,name,zone\na,,UTC\n", "a"), ElementsAre(FieldsAre("zone", "UTC")));
    EXPECT_THAT(Find("machine,name\na,\"\"\n", "a"), IsEmpty());
}

TEST(SettingsTable, TellsWhereItIsWrong) {
    EXPECT_EQ(WrongOf("machine,name\nb,x\nc,y\n"), "there is no machine a; there are: b, c");
    EXPECT_EQ(WrongOf("machine,name\na,x\nb,y\na,z\n"), "line 4: a is there twice");
    EXPECT_EQ(WrongOf("machine,name,name\na,x,y\n"), "line 1: name is there twice");
    EXPECT_EQ(WrongOf("machine,,name\na,x,y\n"), "line 1: column 2 has no head");
    EXPECT_EQ(WrongOf("machine,name\n\na,x,y\n"),
              "line 3: there are 3 cells, and 2 columns; a cell with commas in it stands in double quotes");
    EXPECT_EQ(WrongOf("machine,name\n,x\n"), "line 2: the machine is missing in the first column");
    const std::string quotes = "line 2: the double quotes are not in pairs round a cell";
    EXPECT_EQ(WrongOf("machine,name\na,\"x\n"), quotes);
    EXPECT_EQ(WrongOf("machine,name\na,\"x\"y\n"), quotes);
    EXPECT_EQ(WrongOf("machine,name\na,x\"y\"\n"), quotes);
    EXPECT_EQ(WrongOf("machine,name\na,\"x\"\"\n"), quotes);
    for (const char* text : {"", "\n\n", "machine,name\n"}) {
        EXPECT_EQ(WrongOf(text),
                  "there must be a first row with the places of values, such as name, and a row each machine");
    }
}
