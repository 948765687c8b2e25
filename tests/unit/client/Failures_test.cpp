// What mdp says when something cannot be done: each message tells what was wrong and what to do next.

#include <unistd.h>

#include <string>
#include <vector>

#include "CommandsTest.h"

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

// A machine that has every kind of module, and entries that fail in every way.
class Failures : public CommandsTest {
protected:
    void SetUp() override {
        m_machine.AddModule(0, 2, "Nic", "em0");
        m_machine.AddModule(1, 3, "Time", "Time");
        m_machine.AddModule(2, 4, "User Management", "User Management");
        m_machine.AddModule(3, 8, "Zelmora", "Zelmora");
        m_machine.AddModule(4, 16, "FSO", "FSO");
        m_machine.AddModule(5, 28, "MAINBOARD", "MAINBOARD");
        m_machine.objects[0x1008] = {7, "", {{9, "rw", "Device name", Text("box"), 0}}};
        m_machine.objects[0x8001] = {9, "Network settings", {CountEntry(1), {9, "r-", "MAC", Text("02")}}};
        m_machine.objects[0x8011] = {9,
                                     "Settings",
                                     {CountEntry(5),
                                      {9, "rw", "Server", Text("ntp")},
                                      {7, "rw", "Refresh", Number(64, 4)},
                                      {7, "rw", "UTC", Number(1, 4)},
                                      {9, "rw", "Time", Text("x")},
                                      {6, "rw", "Zone", Number(0, 2)}}};
        m_machine.objects[0x8012] = {8, "Zones", {CountEntry(1), {9, "r-", "", Text("UTC")}}};
        m_machine.objects[0x8013] = {8, "Zones", {CountEntry(0)}};
        for (const std::uint16_t list : std::initializer_list<std::uint16_t>{0x8021, 0x8023, 0x8024}) {
            m_machine.objects[list] = {8, "List", {CountEntry(1), {9, "r-", "", Text("alice")}}};
        }
        std::vector<FakeEntry>& odd = m_machine.objects[0x8FF1].entries;
        m_machine.objects[0x8FF1].objectCode = 9;
        odd.push_back(CountEntry(20));
        for (const std::uint32_t code :
             {0xECA60001U, 0xECA60101U, 0xECA60102U, 0xECA60105U, 0xECA60106U, 0xECA60107U, 0xECA60108U, 0xECA60200U,
              0xECA60FFFU, 0xECA61000U, 0xECA70002U, 0xECA80007U, 0xECAF0421U, 0xECA60104U}) {
            odd.push_back({5, "rw", "Odd", {1}, code});
        }
        odd.push_back({3, "rw", "Number", Number(0, 2)});
        m_machine.serve = [this](std::uint16_t, const TestBytes&) { return m_response; };
    }

    struct Row {
        std::vector<std::string> words;
        int status;
        std::string told; // what is wrong
        std::string next; // what to do
    };

    void Check(const std::vector<Row>& rows) {
        for (const Row& row : rows) {
            std::string line = "mdp";
            for (const std::string& word : row.words) {
                line += " " + word;
            }
            SCOPED_TRACE(line);
            const Ran ran = Run(row.words);
            EXPECT_EQ(ran.status, row.status);
            EXPECT_THAT(ran.err, StartsWith("mdp: "));
            EXPECT_THAT(ran.err, HasSubstr(row.told));
            EXPECT_THAT(ran.err, HasSubstr(row.next));
            EXPECT_THAT(ran.err, EndsWith("\n"));
            EXPECT_EQ(ran.err.find('\n'), ran.err.size() - 1) << "one line";
        }
    }

    FakeResponse m_response;
};

} // namespace

TEST_F(Failures, OfTheCommandLineShowHowItIsWritten) {
    Check({
        {{}, 2, "there is no command", "mdp --help lists them"},
        {{"foo"}, 2, "there is no command foo", "mdp --help lists them"},
        {{"--foo"}, 2, "there is no option --foo", "mdp --help lists them"},
        {{"modules", "--foo"}, 2, "--foo", "mdp modules --help tells how it is written"},
        {{"modules", "more"}, 2, "more", "mdp modules --help tells how it is written"},
        {{"read"}, 2, "INDEX[:SUB] is required", "mdp read --help tells how it is written"},
        {{"read", "hello"}, 2, "\"hello\"", "the form 0x8011 or 0x8011:2"},
        {{"read", "18011"}, 2, "\"18011\"", "the form 0x8011 or 0x8011:2"},
        {{"read", "8011:256"}, 2, "\"8011:256\"", "the form 0x8011 or 0x8011:2"},
        {{"read", "8011", "--complete", "--raw"}, 2, "--raw", "mdp read --help tells how it is written"},
        {{"describe"}, 2, "INDEX[:SUB] is required", "mdp describe --help tells how it is written"},
        {{"write", "8011:1"}, 2, "VALUE is required", "mdp write --help tells how it is written"},
        {{"write", "8011:1", "a", "b"}, 2, "b", "mdp write --help tells how it is written"},
        {{"call"}, 2, "INDEX is required", "mdp call --help tells how it is written"},
        {{"call", "8011"}, 2, "0x8011 is not a service object", "these are 0xB000 to 0xBFFF"},
        {{"call", "B010:1"}, 2, "call takes an index without a sub-index", "mdp call 0xB010"},
        {{"call", "B010", "zz", "--hex"}, 2, "\"zz\"", "pairs of hexadecimal digits"},
        {{"watch"}, 2, "INDEX[:SUB] is required", "mdp watch --help tells how it is written"},
        {{"watch", "8011", "--period", "0"}, 2, "0 is not a number", "from 0.01 to 86400"},
        {{"modules", "--lang", "fr"}, 2, "\"fr\"", "en, de or a language identifier such as 1033"},
        {{"modules", "--color", "pink"}, 2, "pink", "mdp modules --help tells how it is written"},
        {{"modules", "--timeout", "soon"}, 2, "soon", "mdp modules --help tells how it is written"},
        {{"net", "show"}, 2, "show", "mdp net --help tells how it is written"},
        {{"net", "--dhcp"}, 2, "to change an adapter", "mdp net set ADAPTER OPTIONS"},
        {{"net", "set"}, 2, "name the adapter", "mdp net lists them"},
        {{"net", "set", "em0"}, 2, "nothing to set", "give --address, --dhcp, --gateway or --dns"},
        {{"net", "set", "em7", "--dhcp"}, 2, "there is no adapter em7", "there are: em0"},
        {{"time", "set"}, 2, "write the time with its offset", "mdp time set now"},
        {{"zone", "set"}, 2, "name the zone", "mdp zone list shows them"},
        {{"zone", "set", "Mars"}, 2, "there is no zone Mars", "mdp zone list shows them"},
        {{"ntp", "set"}, 2, "name the server", "mdp ntp set off"},
        {{"ntp", "set", "x", "--refresh", "1"}, 2, "1 is not a number", "from 16"},
        {{"gpio", "set", "9", "1"}, 2, "name a pin from 0 to 7", "mdp gpio set PIN 0|1"},
        {{"routes", "add", "x"}, 2, "add what?", "mdp routes add NAME ADDRESS NETID"},
        {{"routes", "del"}, 2, "delete what?", "mdp routes del NAME"},
        {{"routes", "add", "x", "y", "1.2.3"}, 2, "\"1.2.3\" is no net id", "such as 5.8.15.47.1.1"},
        {{"user", "add"}, 2, "name the user", "mdp user add USER"},
        {{"user", "list", "alice"}, 2, "the list takes no name", "mdp user groups USER"},
        {{"user", "del", "alice", "--password-fd", "3"}, 2, "--password-fd", "is for add and passwd"},
        {{"group", "list", "x"}, 2, "the list takes no name", "write mdp group list"},
        {{"group", "join", "x"}, 2, "write", "mdp group join GROUP USER"},
        {{"get"}, 2, "REMOTE is required", "mdp get --help tells how it is written"},
        {{"put"}, 2, "LOCAL is required", "mdp put --help tells how it is written"},
        {{"cp", "/a"}, 2, "is required", "mdp cp --help tells how it is written"},
        {{"rm"}, 2, "is required", "mdp rm --help tells how it is written"},
        {{"mkdir"}, 2, "is required", "mdp mkdir --help tells how it is written"},
        {{"ls", ""}, 2, "the path is empty", "mdp ls --help tells how it is written"},
    });
}

TEST_F(Failures, OfValuesTellWhatTheEntryHolds) {
    Check({
        {{"write", "8FF1:15", "40000"}, 2, "40000 does not fit into INTEGER16", "which holds -32768 to 32767"},
        {{"write", "8FF1:15", "much"}, 2, "\"much\" is not a whole number", "as INTEGER16 needs"},
        {{"write", "8011:5", "-1"}, 2, "-1 does not fit into UNSIGNED16", "which holds 0 to 65535"},
    });
}

TEST_F(Failures, OfTheMachineTellWhereToLook) {
    Check({
        {{"read", "9999"}, 1, "0x9999: 0xECA60100 OBJ_E_INVALIDIDX", "mdp tree shows what this machine has"},
        {{"read", "8011:9"}, 1, "0x8011:9: 0xECA60100 OBJ_E_INVALIDIDX", "mdp tree shows what this machine has"},
        {{"describe", "8011:9"}, 1, "OBJ_E_INVALIDIDX", "mdp tree shows what this machine has"},
        {{"write", "9999:1", "1"}, 1, "OBJ_E_INVALIDIDX", "mdp tree shows what this machine has"},
        {{"watch", "9999", "--count", "1"}, 1, "OBJ_E_INVALIDIDX", "mdp tree shows what this machine has"},
        {{"read", "8FF1:1"}, 1, "OBJ_E_FAILED", "the machine's system log may tell why"},
        {{"write", "8FF1:2", "1"}, 1, "OBJ_E_INVALACCESS", "mdp describe shows what can be read and written"},
        {{"write", "8FF1:3", "1"}, 1, "OBJ_E_BUFFERTOOSMALL", "mdp describe shows the type of the entry"},
        {{"read", "8FF1:4"}, 1, "OBJ_E_NODATA", "it may have one later: try again"},
        {{"write", "8FF1:5", "1"}, 1, "OBJ_E_INVALIDDATA", "the machine's system log may tell why"},
        {{"write", "8FF1:6", "1"}, 1, "OBJ_E_INVALIDARG", "the machine's system log may tell why"},
        {{"write", "8FF1:7", "1"}, 1, "OBJ_E_OUTOFRANGE", "mdp describe shows the type of the entry"},
        {{"write", "8FF1:8", "1"}, 1, "OBJ_E_BUSY", "try again when it has ended"},
        {{"read", "8FF1:9"}, 1, "OBJ_E_UNEXPECTED", "the machine's system log may tell why"},
        {{"read", "8FF1:10"}, 1, "OBJ_E_NOTSUPPORTED", "mdp tree shows what this machine has"},
        {{"write", "8FF1:11", "1"}, 1, "OBJ_E_OS_BASE+2", "the machine's system log may tell why"},
        {{"read", "8FF1:12"}, 1, "OBJ_E_EXT_BASE+0x7", "the machine's system log may tell why"},
        {{"read", "8FF1:13"}, 1, "OBJ_E_PORTCLOSED", "mdp runtime shows its state"},
        {{"write", "8FF1:14", "1"}, 1, "OBJ_E_OUTOFMEMORY", "try again later"},
    });
}

TEST_F(Failures, OfJobsTellWhereToLook) {
    m_response = {3, Number(0xECAF0401, 8)};
    Check({{{"group", "add", "x"}, 1, "x: 0xECAF0401 OBJ_E_USEREXISTS", "mdp user lists the users"}});
    m_response = {3, Number(0xECAF0404, 8)};
    Check({{{"group", "del", "x"}, 1, "x: 0xECAF0404 OBJ_E_NOSUCHGROUP", "mdp group lists the groups"}});
    m_response = {3, Number(0xECAF0420, 4)};
    Check({{{"routes", "del", "x"}, 1, "x: 0xECAF0420 OBJ_E_ROUTEPORT", "mdp routes shows those that it has"}});
    m_response = {3, Number(0xECA70002, 4)};
    Check({
        {{"ls", "/none"}, 1, "0xECA70002", "mdp ls of its directory shows what is there"},
        {{"get", "/none"}, 1, "0xECA70002", "mdp ls of its directory shows what is there"},
        {{"call", "B040", "x"}, 1, "0xB040: 0xECA70002", "the machine's system log may tell why"},
    });
}

TEST_F(Failures, OfAMachineWithoutTheModuleSayWhatItHas) {
    m_machine.objects.clear();
    m_machine.AddModule(0, 12, "Memory", "Memory");
    const std::string next = "mdp modules lists what it has";
    Check({
        {{"time"}, 2, "this machine offers no clock, zones and time servers", next},
        {{"zone"}, 2, "this machine offers no clock, zones and time servers", next},
        {{"ntp"}, 2, "this machine offers no clock, zones and time servers", next},
        {{"gpio"}, 2, "this machine offers no mainboard with GPIO pins", next},
        {{"runtime"}, 2, "this machine offers no automation runtime", next},
        {{"routes", "del", "x"}, 2, "this machine offers no routes of an automation runtime", next},
        {{"user"}, 2, "this machine offers no user management", next},
        {{"group"}, 2, "this machine offers no user management", next},
        {{"ls", "/"}, 2, "this machine offers no file services", next},
        {{"get", "/a"}, 2, "this machine offers no file services", next},
        {{"mkdir", "/a"}, 2, "this machine offers no file services", next},
    });
}

// Each command in its shortest form that asks the machine.
TEST_F(Failures, WithoutAServiceAskWhetherItRuns) {
    const std::vector<std::vector<std::string>> lines = {
        {"modules"},
        {"tree"},
        {"read", "8011"},
        {"write", "8011:1", "x"},
        {"describe", "8011"},
        {"call", "B010"},
        {"watch", "8011"},
        {"net"},
        {"time"},
        {"zone"},
        {"ntp"},
        {"drives"},
        {"discs"},
        {"sensors"},
        {"gpio"},
        {"ups"},
        {"runtime"},
        {"routes"},
        {"user"},
        {"group"},
        {"ls"},
        {"get", "/a"},
        {"put", "/etc/passwd", "/a"},
        {"cp", "/a", "/b"},
        {"mv", "/a", "/b"},
        {"rm", "/a"},
        {"mkdir", "/a"},
    };
    for (std::vector<std::string> words : lines) {
        SCOPED_TRACE(words[0]);
        words.insert(words.begin(), {"--socket", "/nowhere/MDP0"});
        const Ran ran = RunWords(words);
        EXPECT_EQ(ran.status, 3);
        EXPECT_THAT(ran.err, HasSubstr("connecting to \"/nowhere/MDP0\": No such file or directory"));
        EXPECT_THAT(ran.err, EndsWith("; is the service running? --socket tells another path\n"));
    }
}
