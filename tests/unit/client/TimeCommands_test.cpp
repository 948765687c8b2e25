#include <chrono>
#include <ctime>

#include "CommandsTest.h"
#include "ParsedJson.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

constexpr std::uint16_t s_settings = 0x8021;

const std::string s_time = "2026-11-22T15:05:09.42+01:00";

// A machine whose clock, zones and time servers are the third module. 300 zones, of which the last but one is Zulu.
class TimeCommands : public CommandsTest {
protected:
    void SetUp() override {
        m_machine.AddModule(0, 2, "Nic", "em0");
        m_machine.AddModule(1, 10, "Software", "Software");
        m_machine.AddModule(2, 3, "Time", "Time");
        m_machine.objects[s_settings] = {9,
                                         "Time settings",
                                         {CountEntry(7),
                                          {9, "rw", "NTP server", Text("ntp.example.org")},
                                          {7, "rw", "NTP refresh", Number(64, 4)},
                                          {7, "rw", "UTC", Number(1795356309, 4)},
                                          {9, "rw", "Time", Text(s_time)},
                                          {6, "rw", "Zone", Number(1, 2)},
                                          {4, "rw", "Reserved", {}, 0xECA61000},
                                          {7, "rw", "Local", Number(1795359909, 4)}}};
        m_machine.objects[0x8022] = {8, "Zones", {CountEntry(254)}};
        m_machine.objects[0x8023] = {8, "Zones", {CountEntry(46)}};
        for (std::size_t zone = 0; zone < 300; ++zone) {
            const std::string name = zone == 0     ? "America/New_York"
                                     : zone == 1   ? "Europe/Berlin"
                                     : zone == 298 ? "Zulu"
                                                   : "Other/" + std::to_string(1000 + zone);
            m_machine.objects[zone < 254 ? 0x8022 : 0x8023].entries.push_back({9, "r-", "Zone", Text(name)});
        }
    }

    FakeEntry& Setting(std::size_t subIndex) { return m_machine.objects[s_settings].entries[subIndex]; }

    using Written = FakeDictionary::Written;
};

} // namespace

TEST_F(TimeCommands, TimeShowsTheClockAndTheZone) {
    const Ran ran = Run({"time"});

    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_EQ(ran.out, "TIME                          UTC SECONDS  ZONE\n"
                       "2026-11-22T15:05:09.42+01:00  1795356309   Europe/Berlin\n");
    EXPECT_THAT(m_machine.writes, IsEmpty());
}

TEST_F(TimeCommands, TimeInJson) {
    EXPECT_EQ(ParsedJson(Run({"time", "--json"}).out),
              ParsedJson(R"({"time":"2026-11-22T15:05:09.42+01:00","utcSeconds":1795356309,"zone":"Europe/Berlin"})"));
    Setting(5).value = Number(65535, 2);
    EXPECT_THAT(Run({"time", "--json"}).out, HasSubstr("\"zone\": null"));
}

TEST_F(TimeCommands, TimeSetWritesTheFormThatTheServiceTakes) {
    const std::pair<const char*, const char*> rows[] = {
        {"2026-11-22T14:05:09+01:00", "2026-11-22T14:05:09.0+01:00"},
        {"2026-11-22 14:05:09-03:30", "2026-11-22T14:05:09.0-03:30"},
        {"2026-11-22T14:05:09Z", "2026-11-22T14:05:09.0+00:00"},
        {"2026-11-22T14:05:09.089Z", "2026-11-22T14:05:09.0+00:00"},
        {s_time.c_str(), "2026-11-22T15:05:09.0+01:00"},
    };
    for (const auto& [given, written] : rows) {
        m_machine.writes.clear();
        const Ran ran = Run({"time", "set", given});
        EXPECT_EQ(ran.status, 0) << given << ran.err;
        EXPECT_THAT(m_machine.writes, ElementsAre(Written{s_settings, 4, Text(written)})) << given;
        EXPECT_THAT(ran.out, HasSubstr("UTC SECONDS"));
    }
}

TEST_F(TimeCommands, TimeSetRefusesWhatIsNoTimeWithAnOffset) {
    for (const char* text : {"", "today", "2026-11-22", "2026-11-22T14:05:09", "2026-11-22T14:05+01:00",
                             "2026-11-22T14:05:09+0100", "2026-11-22T14:05:09+01", "2026-11-22T14:05:09.+01:00",
                             "2026-11-22T14:05:09+01:00 ", "2026-11-2T14:05:09+01:00", "2026-11-22x14:05:09Z",
                             "2026-11-22T14:05:09+1:000", " 026-11-22T14:05:09Z", "2026-11-22T14:05:09Zulu"}) {
        const Ran ran = Run({"time", "set", text});
        EXPECT_EQ(ran.status, 2) << text;
    }
    EXPECT_EQ(Run({"time", "set"}).err,
              "mdp: write the time with its offset: mdp time set 2026-11-22T14:05:09+01:00, or mdp time set now\n");
    EXPECT_EQ(Run({"time", "get"}).status, 2);
    EXPECT_THAT(m_machine.writes, IsEmpty());
}

// The clock could be set behind the last of them, and nobody could read it then.
TEST_F(TimeCommands, TimeSetTakesTheSecondsThatTheMachineCanTell) {
    EXPECT_EQ(Run({"time", "set", "2106-02-07T06:28:15Z"}).status, 0);
    EXPECT_EQ(Run({"time", "set", "2106-02-07T07:28:15+01:00"}).status, 0);
    EXPECT_EQ(Run({"time", "set", "1980-01-01T00:00:00+01:00"}).status, 0);
    m_machine.writes.clear();
    for (const char* text :
         {"2106-02-07T06:28:16Z", "2106-02-07T06:28:15-00:01", "2107-01-01T00:00:00Z", "9999-12-31T23:59:59Z",
          "1979-12-31T23:59:59Z", "1979-12-31T23:59:59-01:00", "1969-12-31T23:59:59Z", "0000-01-01T00:00:00Z"}) {
        const Ran ran = Run({"time", "set", text});
        EXPECT_EQ(ran.status, 2) << text;
        EXPECT_EQ(ran.err,
                  "mdp: " + std::string(text) + ": the machine takes times from 1980 up to 2106-02-07T06:28:15Z\n");
    }
    EXPECT_THAT(m_machine.writes, IsEmpty());
}

TEST_F(TimeCommands, TimeSetRefusesDaysAndTimesThatThereAreNot) {
    EXPECT_EQ(Run({"time", "set", "2024-02-29T00:00:00Z"}).status, 0);
    m_machine.writes.clear();
    for (const char* text : {"2023-02-29T00:00:00Z", "2026-13-01T00:00:00Z", "2026-00-01T00:00:00Z",
                             "2026-04-31T00:00:00Z", "2026-01-01T24:00:00Z", "2026-01-01T00:60:00Z",
                             "2026-01-01T00:00:60Z", "2026-01-01T00:00:00+24:00", "2026-01-01T00:00:00+01:60"}) {
        const Ran ran = Run({"time", "set", text});
        EXPECT_EQ(ran.status, 2) << text;
        EXPECT_EQ(ran.err, "mdp: " + std::string(text) + ": there is no such day or time of day\n");
    }
    EXPECT_THAT(m_machine.writes, IsEmpty());
}

TEST_F(TimeCommands, TimeSetNowTakesThisSidesClock) {
    using std::chrono::system_clock;
    const auto before = system_clock::to_time_t(system_clock::now());
    const Ran ran = Run({"time", "set", "now"});
    const auto after = system_clock::to_time_t(system_clock::now());

    EXPECT_EQ(ran.status, 0) << ran.err;
    ASSERT_EQ(m_machine.writes.size(), 1U);
    const Written& written = m_machine.writes[0];
    EXPECT_EQ(written.index, s_settings);
    EXPECT_EQ(written.subIndex, 3);
    ASSERT_EQ(written.data.size(), 4U);
    std::time_t seconds = 0;
    for (std::size_t byte = 4; byte > 0; --byte) {
        seconds = seconds << 8 | written.data[byte - 1];
    }
    EXPECT_GE(seconds, before);
    EXPECT_LE(seconds, after);
}

TEST_F(TimeCommands, ClockThatRefusesIsTold) {
    Setting(4).code = 0xECA70001;
    const Ran ran = Run({"time", "set", "2026-11-22T14:05:09Z"});

    EXPECT_EQ(ran.status, 1);
    EXPECT_THAT(ran.err, testing::StartsWith("mdp: setting the clock: 0xECA70001"));
}

TEST_F(TimeCommands, ZoneShowsTheActiveOne) {
    EXPECT_EQ(Run({"zone"}).out, "Europe/Berlin\n");
    Setting(5).value = Number(298, 2);
    EXPECT_EQ(Run({"zone"}).out, "Zulu\n");
    EXPECT_EQ(ParsedJson(Run({"zone", "--json"}).out), ParsedJson(R"({"zone":"Zulu"})"));
    Setting(5).value = Number(65535, 2);
    EXPECT_EQ(Run({"zone"}).out, "-\n");
    EXPECT_EQ(ParsedJson(Run({"zone", "--json"}).out), ParsedJson(R"({"zone":null})"));
}

TEST_F(TimeCommands, ZoneListShowsAllOrThoseThatMatch) {
    EXPECT_EQ(Run({"zone", "list", "America/*"}).out, "INDEX  ZONE\n"
                                                      "    0  America/New_York\n");
    EXPECT_EQ(Run({"zone", "list", "Berlin"}).out, "INDEX  ZONE\n"
                                                   "    1  Europe/Berlin\n");
    EXPECT_EQ(ParsedJson(Run({"zone", "list", "u*", "--json"}).out).size(), 0U);
    EXPECT_EQ(ParsedJson(Run({"zone", "list", "Z*u", "--json"}).out),
              ParsedJson(R"([{"index":298,"zone":"Zulu","active":false}])"));
    EXPECT_EQ(ParsedJson(Run({"zone", "list", "Berlin", "--json"}).out),
              ParsedJson(R"([{"index":1,"zone":"Europe/Berlin","active":true}])"));
    EXPECT_EQ(ParsedJson(Run({"zone", "list", "--json"}).out).size(), 300U);
}

TEST_F(TimeCommands, ZoneSetWritesTheIndexOfTheName) {
    const Ran ran = Run({"zone", "set", "Zulu"});

    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_THAT(m_machine.writes, ElementsAre(Written{s_settings, 5, {0x2A, 0x01}}));
}

TEST_F(TimeCommands, ZoneSetRefusesANameThatIsNotThere) {
    const Ran ran = Run({"zone", "set", "Berlin"});

    EXPECT_EQ(ran.status, 2);
    EXPECT_EQ(ran.err, "mdp: there is no zone Berlin; mdp zone list shows them\n");
    EXPECT_EQ(Run({"zone", "set"}).status, 2);
    EXPECT_THAT(m_machine.writes, IsEmpty());
}

TEST_F(TimeCommands, ZonesAndActionsAreCompleted) {
    const std::string socket = m_service.Path();
    EXPECT_EQ(RunWords({"__complete", "--", "--socket", socket, "zone", ""}).out,
              "list\tshow the zones\nset\tselect a zone\n");
    EXPECT_EQ(RunWords({"__complete", "--", "--socket", socket, "zone", "set", "Eur"}).out, "Europe/Berlin\t\n");
    EXPECT_EQ(RunWords({"__complete", "--", "--socket", socket, "zone", "set", "Zulu", ""}).out, "");
    EXPECT_EQ(RunWords({"__complete", "--", "--socket", socket, "time", "set", ""}).out, "now\tthis side's clock\n");
    EXPECT_EQ(RunWords({"__complete", "--", "--socket", socket, "ntp", "s"}).out, "set\tchange the server\n");
}

TEST_F(TimeCommands, NtpShowsTheServer) {
    EXPECT_EQ(Run({"ntp"}).out, "SERVER           REFRESH\n"
                                "ntp.example.org       64\n");
    EXPECT_EQ(ParsedJson(Run({"ntp", "--json"}).out), ParsedJson(R"({"server":"ntp.example.org","refresh":64})"));
    Setting(1).code = 0xECA60105;
    Setting(2).value = Number(0, 4);
    EXPECT_EQ(Run({"ntp"}).out, "SERVER  REFRESH\n"
                                "-             -\n");
    EXPECT_EQ(ParsedJson(Run({"ntp", "--json"}).out), ParsedJson(R"({"server":null,"refresh":0})"));
}

TEST_F(TimeCommands, NtpSetWritesTheServerAndThenTheRefresh) {
    EXPECT_EQ(Run({"ntp", "set", "a.example.org", "--refresh", "100"}).status, 0);
    EXPECT_THAT(m_machine.writes,
                ElementsAre(Written{s_settings, 1, Text("a.example.org")}, Written{s_settings, 2, {0x64, 0, 0, 0}}));
    m_machine.writes.clear();
    EXPECT_EQ(Run({"ntp", "--refresh", "16"}).status, 0);
    EXPECT_THAT(m_machine.writes, ElementsAre(Written{s_settings, 2, {0x10, 0, 0, 0}}));
}

TEST_F(TimeCommands, NtpSetOffWantsNoServer) {
    Setting(1).value = {};
    for (const char* word : {"off", "NOSYNC", "NoSync"}) {
        m_machine.writes.clear();
        const Ran ran = Run({"ntp", "set", word});
        EXPECT_EQ(ran.status, 0) << word << ran.err;
        EXPECT_THAT(m_machine.writes, ElementsAre(Written{s_settings, 1, Text("NOSYNC")})) << word;
    }
}

TEST_F(TimeCommands, NtpRefusesWhatTheServiceWouldStopTheDaemonFor) {
    for (const std::vector<std::string>& words : std::vector<std::vector<std::string>>{
             {"ntp", "set"},
             {"ntp", "set", "a b"},
             {"ntp", "set", "a/b"},
             {"ntp", "set", "off", "--refresh", "64"},
             {"ntp", "set", "nosync", "--refresh", "64"},
             {"ntp", "--refresh", "15"},
             {"ntp", "--refresh", "4294967296"},
             {"ntp", "--refresh", "x"},
         }) {
        EXPECT_EQ(Run(words).status, 2) << words.back();
    }
    EXPECT_THAT(m_machine.writes, IsEmpty());
}

TEST_F(TimeCommands, NtpSetTellsThatTheMachineHasNoPlaceForTheServer) {
    Setting(1).value = {};
    const Ran ran = Run({"ntp", "set", "a.example.org"});

    EXPECT_EQ(ran.status, 1);
    EXPECT_THAT(ran.err, HasSubstr("no line that begins with pool"));
}

TEST_F(TimeCommands, MachineWithoutTheModuleIsTold) {
    m_machine = FakeDictionary();
    m_machine.AddModule(0, 2, "Nic", "em0");
    for (const char* command : {"time", "zone", "ntp"}) {
        const Ran ran = Run({command});
        EXPECT_EQ(ran.status, 2) << command;
        EXPECT_THAT(ran.err, HasSubstr("this machine offers no clock, zones and time servers"));
    }
}
