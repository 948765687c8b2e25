#include "CommandsTest.h"

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

constexpr std::uint32_t s_noData = 0xECA60105;
constexpr std::uint16_t s_addService = 0xB010;
constexpr std::uint16_t s_deleteService = 0xB011;

// A machine whose second module is the runtime, with two routes.
class RuntimeCommands : public CommandsTest {
protected:
    void SetUp() override {
        m_machine.AddModule(0, 2, "Nic", "em0");
        m_machine.AddModule(1, 8, "Zelmora", "Zelmora");
        m_machine.objects[0x8011] = {9,
                                     "Information",
                                     {CountEntry(13),
                                      {6, "r-", "Version", Number(3, 2)},
                                      {6, "r-", "Revision", Number(1, 2)},
                                      {6, "r-", "Build", Number(4024, 2)},
                                      {9, "rw", "Net id", Text(std::string("5.8.15.47.1.1\0\0", 15))},
                                      {7, "r-", "Reserved", {}, 0xECA61000},
                                      {6, "r-", "State", Number(5, 2)},
                                      {6, "rw", "7", {}, 0xECA61000},
                                      {6, "rw", "8", {}, 0xECA61000},
                                      {7, "rw", "9", {}, 0xECA61000},
                                      {9, "rw", "10", {}, 0xECA61000},
                                      {9, "r-", "System id", Text("0011-22")},
                                      {6, "r-", "Full revision", Number(41, 2)},
                                      {27, "r-", "Since", Number(93784, 8)}}};
        m_machine.objects[0x8019] = {
            9, "Router", {CountEntry(2), {27, "r-", "Memory", Number(4096, 8)}, {1, "r-", "Registered", Number(1, 1)}}};
        AddColumn(0x8012, 9, {Text("press"), Text("press/drive")});
        AddColumn(0x8013, 9, {Text("press.example"), Text("press.example")});
        AddColumn(0x8014, 9, {Text("5.8.15.60.1.1"), Text("5.8.15.60.2.1")});
        AddColumn(0x8015, 7, {Number(0, 4), Number(3, 4)});
        AddColumn(0x8016, 7, {Number(5000, 4), Number(5000, 4)});
        AddColumn(0x8017, 7, {Number(1, 2), Number(1, 2)});
    }

    void AddColumn(std::uint16_t index, std::uint16_t type, const std::vector<TestBytes>& values) {
        auto& entries = m_machine.objects[index].entries;
        m_machine.objects[index].objectCode = 8;
        entries = {CountEntry(static_cast<std::uint8_t>(values.size()))};
        for (const TestBytes& value : values) {
            entries.push_back({type, "r-", "", value});
        }
    }

    FakeEntry& Information(std::size_t subIndex) { return m_machine.objects[0x8011].entries[subIndex]; }
};

} // namespace

TEST_F(RuntimeCommands, RuntimeShowsWhatTheMachineTellsOfIt) {
    const Ran ran = Run({"runtime"});

    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_EQ(ran.out, "RUNTIME\n"
                       "Version                     3.1.4024\n"
                       "Revision                    41\n"
                       "Net id                      5.8.15.47.1.1\n"
                       "System id                   0011-22\n"
                       "State                       5\n"
                       "Time since the last change  1 d 02:03:04\n"
                       "Memory                      4096\n"
                       "Registered                  1\n");
}

TEST_F(RuntimeCommands, RuntimeShowsDashesForWhatCannotBeAsked) {
    for (const std::size_t subIndex : {1U, 2U, 3U, 4U, 11U, 12U, 13U}) {
        Information(subIndex).code = s_noData;
    }
    Information(6).value = Number(6, 2);

    const Ran ran = Run({"runtime"});

    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_THAT(ran.out, HasSubstr("Version                     -\n"));
    EXPECT_THAT(ran.out, HasSubstr("Net id                      -\n"));
    EXPECT_THAT(ran.out, HasSubstr("State                       6 (nothing connected)\n"));
    EXPECT_THAT(ran.out, HasSubstr("Time since the last change  -\n"));
}

TEST_F(RuntimeCommands, RuntimeIsAnObjectForPrograms) {
    Information(13).code = s_noData;
    const Ran ran = Run({"--json", "runtime"});

    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_EQ(ran.out, R"({
  "version": "3.1.4024",
  "fullRevision": 41,
  "netId": "5.8.15.47.1.1",
  "systemId": "0011-22",
  "state": 5,
  "secondsSinceChange": null,
  "figures": [
    {
      "name": "Memory",
      "value": 4096
    },
    {
      "name": "Registered",
      "value": 1
    }
  ]
}
)");
}

TEST_F(RuntimeCommands, RoutesAreATable) {
    const Ran ran = Run({"routes"});

    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_EQ(ran.out, "NAME         ADDRESS        NET ID         TRANSPORT  TIME-OUT  FLAGS\n"
                       "press        press.example  5.8.15.60.1.1          1      5000      0\n"
                       "press/drive  press.example  5.8.15.60.2.1          1      5000      3\n");
}

TEST_F(RuntimeCommands, ARouteIsAddedByTheService) {
    m_machine.serve = [](std::uint16_t, const TestBytes&) { return FakeResponse{0, {}}; };

    const Ran ran = Run({"routes", "add", "m1", "host", "1.2.3.4.5.6", "--flags", "0x20", "--transport", "2"});

    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_THAT(m_machine.writes,
                ElementsAre(FakeDictionary::Written{
                    s_addService, 1, {0x22, 0, 0, 0, 0x20, 0, 0, 0, 0x88, 0x13, 0, 0,   2,   0,   1,   2,   3,
                                      4,    5, 6, 2, 0,    0, 0, 4, 0,    0,    0, 'm', '1', 'h', 'o', 's', 't'}}));
}

TEST_F(RuntimeCommands, ARouteIsDeletedByTheService) {
    m_machine.serve = [](std::uint16_t, const TestBytes&) { return FakeResponse{0, {}}; };

    const Ran ran = Run({"routes", "del", "m1"});

    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_THAT(m_machine.writes, ElementsAre(FakeDictionary::Written{s_deleteService, 1, {2, 0, 0, 0, 'm', '1'}}));
}

TEST_F(RuntimeCommands, ARefusedRouteIsToldWithItsCode) {
    m_machine.serve = [](std::uint16_t, const TestBytes&) { return FakeResponse{3, {0x20, 0x04, 0xAF, 0xEC}}; };

    const Ran ran = Run({"routes", "add", "m1", "host", "1.2.3.4.5.6"});

    EXPECT_EQ(ran.status, 1);
    EXPECT_THAT(ran.err, HasSubstr("m1: 0xECAF0420"));
}

TEST_F(RuntimeCommands, RoutesRefusesWhatIsNoRoute) {
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"routes", "add", "m1"},
          {"routes", "add", "m1", "host"},
          {"routes", "add", "m1", "host", "1.2.3.4.5"},
          {"routes", "add", "m1", "host", "1.2.3.4.5.256"},
          {"routes", "add", "m1", "host", "1.2.3.4.5.6", "--transport", "65536"},
          {"routes", "del"},
          {"routes", "del", "m1", "host"},
          {"routes", "drop", "m1"}}) {
        const Ran ran = Run(words);
        EXPECT_EQ(ran.status, 2) << ran.out << ran.err;
    }
}
