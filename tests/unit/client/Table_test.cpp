#include "Table.h"

#include <cstdlib>
#include <sstream>

#include "CommandsTest.h"

using MdpCommand::Columns;
using MdpCommand::Style;
using MdpCommand::Table;
using testing::HasSubstr;
using testing::Not;

namespace {

std::string Shown(const Table& table, bool inColour = false) {
    std::ostringstream out;
    table.Print({out, out, false, false, inColour, false});
    return out.str();
}

// The environment of the program, as it was once the test is over.
class Variable {
public:
    Variable(const char* name, const char* value) : m_name(name) {
        if (const char* before = std::getenv(name); before != nullptr) {
            m_before = before;
            m_wasSet = true;
        }
        if (value != nullptr) {
            setenv(name, value, 1);
        } else {
            unsetenv(name);
        }
    }

    ~Variable() {
        if (m_wasSet) {
            setenv(m_name, m_before.c_str(), 1);
        } else {
            unsetenv(m_name);
        }
    }

    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;

private:
    const char* m_name;
    std::string m_before;
    bool m_wasSet = false;
};

// A machine on which one entry has a value and another has none.
class Colours : public CommandsTest {
protected:
    void SetUp() override {
        m_machine.objects[0x8011] = {
            9, "Odd things", {CountEntry(2), {5, "r-", "Good", {7}}, {7, "r-", "Absent", {}, 0xECA61000}}};
    }

    Variable m_terminal{"TERM", "xterm"};
    Variable m_noColour{"NO_COLOR", nullptr};
};

const std::string s_bold = "\x1b[1m";
const std::string s_red = "\x1b[31m";
const std::string s_reset = "\x1b[0m";

} // namespace

TEST(Columns, AreThoseOfATerminal) {
    EXPECT_EQ(Columns("Geraet"), 6U);
    EXPECT_EQ(Columns("Ger\xc3\xa4t"), 5U);
    EXPECT_EQ(Columns("a\xcc\x88"), 1U) << "a with a diaeresis above it";
    EXPECT_EQ(Columns("\xe6\xb8\xa9\xe5\xba\xa6"), 4U) << "two characters of double width";
    EXPECT_EQ(Columns("\xff"), 1U) << "no character at all";
}

TEST(Table, AlignsByColumnsOfTheTerminal) {
    Table table({"NAME", "N"});
    table.AlignRight(1);
    table.Add({"Ger\xc3\xa4t", "1"});
    table.Add({"\xe6\xb8\xa9\xe5\xba\xa6", "22"});
    EXPECT_EQ(Shown(table), "NAME    N\n"
                            "Ger\xc3\xa4t   1\n"
                            "\xe6\xb8\xa9\xe5\xba\xa6   22\n");
}

TEST(Table, EndsNoLineInBlanks) {
    Table table({"A", "B", "C"});
    table.Add({"long", "", "  "});
    table.Add({"x", "y "});
    EXPECT_EQ(Shown(table), "A     B   C\nlong\nx     y\n");
}

TEST(Table, StylesTextsAndNotTheBlanksBetween) {
    Table table({"NAME", "VALUE"});
    table.NameColumn(0);
    table.AddTitle("Device");
    table.Add({"  a", {"<X>", Style::Code}});
    table.Add({"long name", "1"});
    EXPECT_EQ(Shown(table, true), "NAME       VALUE\n" + s_bold + "Device" + s_reset + "\n  " + s_bold + "a" + s_reset +
                                      "        " + s_red + "<X>" + s_reset + "\n" + s_bold + "long name" + s_reset +
                                      "  1\n");
}

TEST_F(Colours, OfATerminalShowNamesBoldAndCodesRed) {
    const Ran ran = RunOnTerminal({"read", "8011"});
    EXPECT_THAT(ran.out, HasSubstr("  1  " + s_bold + "Good" + s_reset + " "));
    EXPECT_THAT(ran.out, HasSubstr(s_red + "<OBJ_E_NOTSUPPORTED>" + s_reset + "\n"));
    EXPECT_THAT(RunOnTerminal({"read", "8011:2"}).err,
                HasSubstr("mdp: 0x8011:2: " + s_red + "0xECA61000 OBJ_E_NOTSUPPORTED" + s_reset + ": this device"));
}

TEST_F(Colours, AreNotInAPipe) {
    EXPECT_THAT(Run({"read", "8011"}).out, Not(HasSubstr("\x1b")));
    EXPECT_THAT(Run({"read", "8011:2"}).err, Not(HasSubstr("\x1b")));
}

TEST_F(Colours, AreNotWhereTheEnvironmentRefusesThem) {
    {
        const Variable set("NO_COLOR", "1");
        EXPECT_THAT(RunOnTerminal({"read", "8011"}).out, Not(HasSubstr("\x1b")));
    }
    {
        const Variable empty("NO_COLOR", "");
        EXPECT_THAT(RunOnTerminal({"read", "8011"}).out, HasSubstr("\x1b")) << "an empty one says nothing";
    }
    for (const char* terminal : {"dumb", "", static_cast<const char*>(nullptr)}) {
        const Variable dumb("TERM", terminal);
        EXPECT_THAT(RunOnTerminal({"read", "8011"}).out, Not(HasSubstr("\x1b")));
    }
}

TEST_F(Colours, FollowTheOption) {
    EXPECT_THAT(RunOnTerminal({"--color=never", "read", "8011"}).out, Not(HasSubstr("\x1b")));
    EXPECT_THAT(Run({"read", "8011", "--color", "always"}).out, HasSubstr(s_red));
    const Variable set("NO_COLOR", "1");
    EXPECT_THAT(Run({"read", "8011", "--color=always"}).out, HasSubstr(s_red)) << "the option is the later word";
    EXPECT_EQ(Run({"read", "8011", "--color=pink"}).status, 2);
}

TEST_F(Colours, AreNotInJson) {
    EXPECT_THAT(RunOnTerminal({"--json", "--color=always", "read", "8011"}).out, Not(HasSubstr("\x1b")));
}
