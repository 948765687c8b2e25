// sensors, gpio and ups against a board made up by the test.
#include <algorithm>

#include "CommandsTest.h"
#include "ParsedJson.h"

namespace {

constexpr std::uint16_t s_text = 9;

FakeEntry Entry(std::uint16_t type, const TestBytes& value) {
    return {type, "r-", "", value, 0};
}

FakeEntry NoData(std::uint16_t type) {
    return {type, "r-", "", {}, 0xECA60105};
}

class SensorsCommands : public CommandsTest {
protected:
    void AddBoard() {
        m_machine.AddModule(0, 11, "CPU", "CPU0");
        m_machine.objects[0x8001] = {
            9, "", {CountEntry(3), Entry(7, Number(2600, 4)), Entry(6, Number(25, 2)), Entry(3, Number(61, 2))}};
        m_machine.AddModule(1, 27, "FAN", "CPU fan");
        m_machine.objects[0x8011] = {9, "", {CountEntry(1), Entry(3, Number(2300, 2))}};
        m_machine.AddModule(2, 27, "FAN", "Case fan");
        m_machine.objects[0x8021] = {9, "", {CountEntry(1), NoData(3)}};
        m_machine.AddModule(3, 28, "MAINBOARD", "MAINBOARD");
        m_machine.objects[0x8031] = {9,
                                     "",
                                     {CountEntry(10), Entry(s_text, Text("CB3065")), NoData(s_text), NoData(s_text),
                                      NoData(7), NoData(7), Entry(4, Number(0xFFFFFFFC, 4)), Entry(4, Number(71, 4)),
                                      NoData(4), NoData(4), Entry(3, Number(38, 2))}};
        m_machine.objects[0x8033] = {9, "", {CountEntry(2), Entry(s_text, Text("Vcore")), Entry(s_text, Text("12V"))}};
        m_machine.objects[0x8035] = {9, "", {CountEntry(2), Entry(3, Number(1080, 2)), Entry(3, Number(12040, 2))}};
        m_machine.objects[0x8036] = {9, "", {CountEntry(2), Entry(3, Number(0, 2)), Entry(3, Number(12000, 2))}};
        FakeObject pins{9, "", {CountEntry(8)}};
        FakeObject mask{9, "", {CountEntry(8)}};
        for (unsigned pin = 0; pin < 8; ++pin) {
            pins.entries.push_back({5, pin < 4 ? "r-" : "rw", "", Number(pin % 2, 1), 0});
            mask.entries.push_back(Entry(5, Number(pin < 4 ? 1 : 0, 1)));
        }
        m_machine.objects[0x8037] = pins;
        m_machine.objects[0x8038] = mask;
        m_machine.AddModule(4, 30, "UPS", "UPS0");
        FakeObject ups{9, "", {CountEntry(18), Entry(s_text, Text(std::string("K-UPS\0", 6)))}};
        for (int subIndex = 2; subIndex <= 18; ++subIndex) {
            ups.entries.push_back(NoData(5));
        }
        ups.entries[2] = Entry(s_text, Text("Vorthane"));
        ups.entries[3] = Entry(5, Number(1, 1));
        ups.entries[4] = Entry(5, Number(4, 1));
        ups.entries[5] = Entry(6, Number(27, 2));
        ups.entries[7] = Entry(5, Number(2, 1));
        ups.entries[10] = Entry(5, Number(50, 1));
        ups.entries[11] = Entry(7, Number(60, 4));
        ups.entries[13] = Entry(7, Number(3, 4));
        m_machine.objects[0x8041] = ups;
    }
};

} // namespace

TEST_F(SensorsCommands, SensorsShowsOneTableWithUnitsRangesAndBars) {
    AddBoard();
    const Ran ran = Run({"sensors"});
    EXPECT_EQ(ran.err, "");
    EXPECT_EQ(ran.out, "KIND         SENSOR          VALUE  UNIT  RANGE\n"
                       "temperature  CPU0               61  °C\n"
                       "temperature  Mainboard          38  °C    -4 to 71   [###########         ]\n"
                       "voltage      Vcore           1.080  V\n"
                       "voltage      12V            12.040  V     of 12.000\n"
                       "fan          CPU fan          2300  rpm\n"
                       "fan          Case fan            -  rpm\n"
                       "load         CPU0               25  %     0 to 100   [#####               ]\n"
                       "power        UPS0       on battery\n"
                       "charge       UPS0               50  %     0 to 100   [##########          ]\n");
    EXPECT_EQ(ran.status, 0);
}

TEST_F(SensorsCommands, SensorsTellsTheSameAsJson) {
    AddBoard();
    const auto json = ParsedJson(Run({"--json", "sensors"}).out);
    ASSERT_EQ(json.size(), 9U);
    EXPECT_EQ(json[1], ParsedJson(R"({"kind":"temperature","name":"Mainboard","value":38,"unit":"°C","low":-4,"high":71,
                                  "reference":null})"));
    EXPECT_EQ(json[3], ParsedJson(R"({"kind":"voltage","name":"12V","value":12040,"unit":"mV","low":null,"high":null,
                                  "reference":12000})"));
    EXPECT_EQ(json[5]["value"], ParsedJson("null"));
}

TEST_F(SensorsCommands, SensorsWatchesAsOftenAsAsked) {
    AddBoard();
    const Ran ran = Run({"sensors", "--watch", "--period", "0.01", "--count", "3"});
    std::size_t tables = 0;
    for (std::size_t at = ran.out.find("KIND"); at != std::string::npos; at = ran.out.find("KIND", at + 1)) {
        ++tables;
    }
    EXPECT_EQ(tables, 3U);
    const Ran lines = Run({"--json", "sensors", "--watch", "--period", "0.01", "--count", "2"});
    EXPECT_EQ(std::count(lines.out.begin(), lines.out.end(), '\n'), 2) << "one array a line";
    EXPECT_EQ(Run({"sensors", "--count", "2"}).status, 2) << "of nothing but watching";
}

TEST_F(SensorsCommands, MachineWithoutSensorsHasAnEmptyTable) {
    m_machine.AddModule(0, 12, "Memory", "Memory");
    EXPECT_EQ(Run({"sensors"}).out, "KIND  SENSOR  VALUE  UNIT  RANGE\n");
    EXPECT_EQ(ParsedJson(Run({"--json", "sensors"}).out), ParsedJson("[]"));
}

TEST_F(SensorsCommands, GpioShowsEveryPin) {
    AddBoard();
    const Ran ran = Run({"gpio"});
    EXPECT_EQ(ran.out, "PIN  DIRECTION  VALUE\n"
                       "0    in             0\n"
                       "1    in             1\n"
                       "2    in             0\n"
                       "3    in             1\n"
                       "4    out            0\n"
                       "5    out            1\n"
                       "6    out            0\n"
                       "7    out            1\n");
    EXPECT_EQ(ParsedJson(Run({"--json", "gpio"}).out)[5], ParsedJson(R"({"pin":5,"direction":"out","value":1})"));
}

TEST_F(SensorsCommands, GpioSetWritesOneByteToThePin) {
    AddBoard();
    EXPECT_EQ(Run({"gpio", "set", "4", "1"}).status, 0);
    EXPECT_EQ(Run({"gpio", "set", "7", "0"}).status, 0);
    ASSERT_EQ(m_machine.writes.size(), 2U);
    EXPECT_EQ(m_machine.writes[0], (FakeDictionary::Written{0x8037, 5, {1}}));
    EXPECT_EQ(m_machine.writes[1], (FakeDictionary::Written{0x8037, 8, {0}}));
}

TEST_F(SensorsCommands, GpioSetRefusesWhatIsNoPinOrValue) {
    AddBoard();
    for (const std::vector<std::string>& words : {std::vector<std::string>{"gpio", "set"},
                                                  {"gpio", "set", "4"},
                                                  {"gpio", "set", "8", "1"},
                                                  {"gpio", "set", "x", "1"},
                                                  {"gpio", "set", "4", "2"},
                                                  {"gpio", "get"}}) {
        EXPECT_EQ(Run(words).status, 2);
    }
    EXPECT_TRUE(m_machine.writes.empty());
}

TEST_F(SensorsCommands, GpioTellsThatTheMachineRefused) {
    AddBoard();
    m_machine.objects[0x8037].entries[1].code = 0xECA60101;
    const Ran ran = Run({"gpio", "set", "0", "1"});
    EXPECT_EQ(ran.status, 1);
    EXPECT_THAT(ran.err, testing::HasSubstr("pin 0"));
}

TEST_F(SensorsCommands, GpioWithoutAMainboardIsTold) {
    m_machine.AddModule(0, 12, "Memory", "Memory");
    const Ran ran = Run({"gpio"});
    EXPECT_EQ(ran.status, 2);
    EXPECT_THAT(ran.err, testing::HasSubstr("no mainboard"));
}

TEST_F(SensorsCommands, UpsShowsEachSupply) {
    AddBoard();
    const Ran ran = Run({"ups"});
    EXPECT_EQ(ran.out, "UPS   MODEL  REVISION  POWER       CHARGE                          RUNTIME  POWER FAILURES\n"
                       "UPS0  K-UPS  1.4.27    on battery    50 %  [##########          ]       60               3\n");
    EXPECT_EQ(
        ParsedJson(Run({"--json", "ups"}).out)[0],
        ParsedJson(R"({"index":"0x8040","name":"UPS0","model":"K-UPS","manufacturer":"Vorthane","revision":"1.4.27",
                         "power":"on battery","charge":50,"runtime":60,"powerFailures":3})"));
}

TEST_F(SensorsCommands, UpsThatIsSilentHasNoValues) {
    AddBoard();
    for (const int subIndex : {3, 7, 10, 11, 13}) {
        m_machine.objects[0x8041].entries[static_cast<std::size_t>(subIndex)] = NoData(5);
    }
    const auto json = ParsedJson(Run({"--json", "ups"}).out);
    for (const char* member : {"revision", "power", "charge", "runtime", "powerFailures"}) {
        EXPECT_EQ(json[0][member], ParsedJson("null")) << member;
    }
    EXPECT_THAT(Run({"ups"}).out, testing::HasSubstr("UPS0  K-UPS  -         -           -"));
}

TEST_F(SensorsCommands, MachineWithoutAUpsIsNoFailure) {
    m_machine.AddModule(0, 12, "Memory", "Memory");
    const Ran ran = Run({"ups"});
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.out, "This machine tells of no uninterruptible power supply.\n");
}
