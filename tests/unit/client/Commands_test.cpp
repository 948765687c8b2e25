#include <chrono>
#include <sstream>
#include <stdexcept>
#include <streambuf>
#include <thread>

#include <unistd.h>

#include "Command.h"
#include "CommandsTest.h"
#include "ParsedJson.h"
#include "Progress.h"

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

// A module of two adapters, a record with everything that is odd, a host name.
class Commands : public CommandsTest {
protected:
    void SetUp() override {
        m_machine.AddModule(0, 2, "Nic", "em0");
        m_machine.AddModule(1, 10, "Software", "Software");
        m_machine.objects[0x1008] = {7, "Device name", {{9, "rw", "Device name", Text("pc\"1")}}};
        m_machine.objects[0x8011] = {9,
                                     "Odd things",
                                     {CountEntry(4),
                                      {3, "rw", "Offset", Number(0xFFFB, 2)},
                                      {7, "r-", "Absent", {}, 0xECA61000},
                                      {9, "-w", "Request", {}},
                                      {1, "r-", "On", {1}}}};
    }
};

} // namespace

TEST_F(Commands, ModulesShowsATable) {
    const Ran ran = Run({"modules"});

    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_EQ(ran.out, "INDEX   TYPE    KIND      NAME\n"
                       "0x8000  0x0002  Nic       em0\n"
                       "0x8010  0x000A  Software  Software\n");
}

// DEL and the control characters behind it are commands to a terminal.
TEST_F(Commands, JsonEscapesWhatATerminalObeys) {
    const std::string odd = "a\x7f\xc2\x9b\xc2\x80z\xc2\xa0\x1b";
    m_machine.objects[0x1008].entries[0].value = Text(odd);

    const Ran ran = Run({"read", "1008", "--json"});

    EXPECT_THAT(ran.out, HasSubstr("\"a\\u007f\\u009b\\u0080z\xc2\xa0\\u001b\""));
    EXPECT_EQ(ParsedJson(ran.out)["value"], odd.c_str());
}

TEST_F(Commands, ModulesShowsJson) {
    const Ran ran = Run({"modules", "--json"});

    const auto json = ParsedJson(ran.out);
    ASSERT_EQ(json.size(), 2U);
    EXPECT_EQ(json[0]["index"], "0x8000");
    EXPECT_EQ(json[0]["type"], 2);
    EXPECT_EQ(json[0]["name"], "em0");
}

TEST_F(Commands, ReadOfAVariableShowsItsValueQuoted) {
    const Ran ran = Run({"read", "1008"});

    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_EQ(ran.out, "\"pc\\\"1\"\n");
}

TEST_F(Commands, ReadRawWritesTheBytes) {
    EXPECT_EQ(Run({"read", "0x1008", "--raw"}).out, "pc\"1");
}

TEST_F(Commands, ReadOfAnEntryGoesByItsType) {
    EXPECT_EQ(Run({"read", "0x8011:1"}).out, "-5\n");
    EXPECT_EQ(Run({"read", "8011:4"}).out, "true\n");
}

TEST_F(Commands, ReadOfAnEntryInJsonHasNameTypeAccessAndValue) {
    const auto json = ParsedJson(Run({"read", "0x8011:1", "--json"}).out);

    EXPECT_EQ(json,
              ParsedJson(R"({"index":"0x8011","sub":1,"name":"Offset","type":"INTEGER16","access":"rw","value":-5})"));
}

TEST_F(Commands, ReadOfARecordShowsEveryEntryAndCodesInThePlaceOfValues) {
    const Ran ran = Run({"read", "0x8011"});

    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_EQ(ran.out, "SUB  NAME               TYPE            ACCESS  VALUE\n"
                       "  0  Number of entries  UNSIGNED8       r-      4\n"
                       "  1  Offset             INTEGER16       rw      -5\n"
                       "  2  Absent             UNSIGNED32      r-      <OBJ_E_NOTSUPPORTED>\n"
                       "  3  Request            VISIBLE_STRING  -w\n"
                       "  4  On                 BOOLEAN         r-      true\n");
}

TEST_F(Commands, ReadOfARecordTakesAllItsValuesAtOnce) {
    EXPECT_EQ(Run({"read", "8000"}).status, 0);

    // The object, its values and each of its five entries, which have no other way to tell their names.
    EXPECT_EQ(m_service.Frames().size(), 1U + 1U + 5U);
}

TEST_F(Commands, CommandsForOneKindOfModuleDoNotReadTheOthers) {
    for (const char* command : {"ups", "drives", "discs"}) {
        const std::size_t before = m_service.Frames().size();
        EXPECT_EQ(Run({command}).status, 0) << command;
        // The two lists; this machine has none of these.
        EXPECT_EQ(m_service.Frames().size() - before, 2U) << command;
    }
}

TEST_F(Commands, CompleteReadThatStopsShowsWhatCameAndItsCode) {
    const Ran ran = Run({"read", "0x8011", "--complete"});

    EXPECT_EQ(ran.status, 1);
    EXPECT_THAT(ran.out, HasSubstr("  1  Offset             INTEGER16  rw      -5\n"));
    EXPECT_THAT(ran.err, HasSubstr("OBJ_E_NOTSUPPORTED"));
}

TEST_F(Commands, CompleteReadCutsTextsByTheirDescribedLengths) {
    const Ran ran = Run({"read", "0x8000", "--complete"});

    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_THAT(ran.out, HasSubstr("\"Nic\""));
    EXPECT_THAT(ran.out, HasSubstr("\"em0\""));
    EXPECT_THAT(ran.out, HasSubstr("0x00022710\n")) << "behind the two texts";
}

TEST_F(Commands, FailedReadTellsCodeAndNameAndEndsWithOne) {
    const Ran ran = Run({"read", "0x8011:2"});

    EXPECT_EQ(ran.status, 1);
    EXPECT_EQ(ran.out, "");
    EXPECT_EQ(ran.err, "mdp: 0x8011:2: 0xECA61000 OBJ_E_NOTSUPPORTED: this device does not support the entry; "
                       "mdp tree shows what this machine has\n");
}

TEST_F(Commands, FailuresInJsonAreAnObjectOnTheOutput) {
    const Ran ran = Run({"--json", "read", "0x9999"});

    EXPECT_EQ(ran.status, 1);
    EXPECT_EQ(ran.err, "");
    const auto json = ParsedJson(ran.out);
    EXPECT_EQ(json["error"]["kind"], "object");
    EXPECT_EQ(json["error"]["code"], "0xECA60100");
    EXPECT_EQ(json["error"]["name"], "OBJ_E_INVALIDIDX");
}

TEST_F(Commands, WriteSendsTheValueInTheEntrysType) {
    EXPECT_EQ(Run({"write", "0x8011:1", "-2"}).status, 0);
    EXPECT_EQ(Run({"write", "1008", "new name"}).status, 0);

    EXPECT_THAT(m_machine.writes, ElementsAre(FakeDictionary::Written{0x8011, 1, {0xFE, 0xFF}},
                                              FakeDictionary::Written{0x1008, 0, Text("new name")}));
}

TEST_F(Commands, WriteRefusesAValueThatDoesNotFitAndSendsNothing) {
    const Ran ran = Run({"write", "0x8011:1", "40000"});

    EXPECT_EQ(ran.status, 2);
    EXPECT_EQ(ran.err, "mdp: 0x8011:1: 40000 does not fit into INTEGER16, which holds -32768 to 32767\n");
    EXPECT_TRUE(m_machine.writes.empty());
}

TEST_F(Commands, WrongCommandLinesEndWithTwo) {
    for (const std::vector<std::string>& words : {std::vector<std::string>{},
                                                  {"nonsense"},
                                                  {"read"},
                                                  {"read", "xyz"},
                                                  {"read", "8011:256"},
                                                  {"read", "11111"},
                                                  {"read", "8011:"},
                                                  {"write", "8011:1"},
                                                  {"modules", "--lang", "xx"},
                                                  {"modules", "--timeout", "0"},
                                                  {"modules", "--timeout", "-1"},
                                                  {"read", "1008", "--raw", "--complete"}}) {
        EXPECT_EQ(Run(words).status, 2) << testing::PrintToString(words);
    }
}

TEST_F(Commands, WrongCommandLinesAreOneLineOrJson) {
    EXPECT_EQ(Run({"foo"}).err, "mdp: there is no command foo; mdp --help lists them\n");
    EXPECT_EQ(Run({"--foo"}).err, "mdp: there is no option --foo; mdp --help lists them\n");
    EXPECT_EQ(Run({}).err, "mdp: there is no command; mdp --help lists them\n");
    EXPECT_EQ(Run({"modules", "--lang", "xx"}).err,
              "mdp: --lang: \"xx\" is not en, de or a language identifier such as 1033\n");
    for (const std::vector<std::string>& words : {std::vector<std::string>{"--json"},
                                                  {"--json", "foo"},
                                                  {"--json", "read", "xyz"},
                                                  {"read", "--json"},
                                                  {"modules", "--lang", "xx", "--json"}}) {
        const Ran ran = Run(words);
        EXPECT_EQ(ran.status, 2);
        EXPECT_EQ(ran.err, "");
        EXPECT_EQ(ParsedJson(ran.out)["error"]["kind"], "usage") << ran.out;
    }
}

TEST_F(Commands, OnlyTheValueOfAWriteMayBeANegativeNumber) {
    EXPECT_THAT(Run({"watch", "1008", "--count", "-1"}).err, HasSubstr("--count: -1 is not a number from 1"));
    EXPECT_THAT(Run({"modules", "--timeout", "-1"}).err, HasSubstr("--timeout: -1 is not a number from 0.001"));
    EXPECT_THAT(Run({"write", "8011:1", "5", "--timeout", "-1"}).err, HasSubstr("--timeout: -1 is not a number"));
    EXPECT_EQ(Run({"write", "1008", "--", "-foo"}).status, 0);
    EXPECT_EQ(Run({"write", "1008", "--timeout", "5", "-.5"}).status, 0);

    EXPECT_THAT(m_machine.writes, ElementsAre(FakeDictionary::Written{0x1008, 0, Text("-foo")},
                                              FakeDictionary::Written{0x1008, 0, Text("-.5")}));
}

TEST_F(Commands, WhatIsNoNumberInRangeIsNoTime) {
    for (const std::vector<std::string>& words : {std::vector<std::string>{"modules", "--timeout", "nan"},
                                                  {"modules", "--timeout", "inf"},
                                                  {"watch", "1008", "--count", "1", "--period", "nan"},
                                                  {"watch", "1008", "--count", "1", "--period", "inf"},
                                                  {"watch", "1008", "--count", "0"}}) {
        EXPECT_EQ(Run(words).status, 2) << testing::PrintToString(words);
    }
}

TEST_F(Commands, MissingAnswerTellsThatItMayStillBeDone) {
    FakeService service(std::vector<FakeReply>{{{}, true}});

    const Ran ran = RunWords({"--socket", service.Path(), "read", "1008:0", "--timeout", "0.05"});

    EXPECT_EQ(ran.status, 3);
    EXPECT_EQ(ran.err, "mdp: 0x1008:0: the service did not answer in time; what was asked for may still be done; "
                       "--timeout waits longer\n");
}

TEST_F(Commands, VersionIsShown) {
    const Ran ran = Run({"--version"});

    EXPECT_EQ(ran.status, 0);
    EXPECT_THAT(ran.out, testing::MatchesRegex("mdp [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

TEST_F(Commands, ExceptionIsAFailureInOneLine) {
    struct : std::streambuf {
        int_type overflow(int_type /*character*/) override { throw std::runtime_error("no way out"); }
    } buffer;

    std::ostream out(&buffer);
    out.exceptions(std::ios::badbit);
    std::ostringstream err;

    EXPECT_EQ(MdpCommand::RunMdp({"--socket", m_service.Path(), "modules"}, {out, err}), 4);
    EXPECT_EQ(err.str(), "mdp: no way out\n");
}

TEST_F(Commands, HelpEndsWithZeroAndTellsTheExitStatuses) {
    const Ran ran = Run({"--help"});

    EXPECT_EQ(ran.status, 0);
    EXPECT_THAT(ran.out, HasSubstr("Exit status: 0 done; 1"));
    EXPECT_EQ(Run({"read", "--help"}).status, 0);
}

TEST_F(Commands, MissingServiceEndsWithThreeAndAQuestion) {
    const Ran ran = RunWords({"modules", "--socket", "/nonexistent/MDP0"});

    EXPECT_EQ(ran.status, 3);
    EXPECT_EQ(ran.err,
              "mdp: listing the modules: connecting to \"/nonexistent/MDP0\": No such file or directory; is the "
              "service running? --socket tells another path\n");
}

TEST_F(Commands, TreeShowsTheDeviceAndEachModuleWithValues) {
    const Ran ran = Run({"tree"});

    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_THAT(ran.out, HasSubstr("Device\n  0x1008  Device name"));
    EXPECT_THAT(ran.out, HasSubstr("\nNic em0\n  0x8000  Nic module"));
    EXPECT_THAT(ran.out, HasSubstr("\nSoftware\n  0x8010  Software module"));
    EXPECT_THAT(ran.out, HasSubstr("  0x8011  Odd things"));
    EXPECT_THAT(ran.out, HasSubstr("    :1      Offset "));
}

TEST_F(Commands, TreeInJsonHasEveryEntry) {
    const auto json = ParsedJson(Run({"tree", "--json"}).out);

    EXPECT_EQ(json["device"][0]["entries"][0]["value"], "pc\"1");
    EXPECT_EQ(json["modules"][1]["objects"][1]["entries"][1]["value"], -5);
    EXPECT_EQ(json["modules"][1]["objects"][1]["entries"][2]["error"]["name"], "OBJ_E_NOTSUPPORTED");
    EXPECT_FALSE(json["modules"][1]["objects"][1]["entries"][3].contains("error")) << "write-only";
}

TEST_F(Commands, NamesAreAskedForInTheLanguageOfChoice) {
    EXPECT_EQ(Run({"describe", "1008", "--lang", "de"}).status, 0);

    // The language of the object description, at its unaligned place.
    const TestBytes frame = m_service.Frames().front();
    EXPECT_EQ(TestBytes(frame.begin() + 28, frame.begin() + 32), Hex("07040000"));
}

TEST_F(Commands, DescribeShowsTypesAndAccessWithoutReading) {
    const Ran ran = Run({"describe", "0x8011"});

    EXPECT_THAT(ran.out, HasSubstr("0x8011  Odd things (record)\n"));
    EXPECT_THAT(ran.out, HasSubstr("  1  Offset             INTEGER16         16  rw\n"));
    for (const TestBytes& frame : m_service.Frames()) {
        EXPECT_NE(frame[24], 0) << "a read";
    }
}

TEST_F(Commands, CallShowsATextOrTheDigitsOfARecord) {
    m_machine.serve = [](std::uint16_t, const TestBytes& request) {
        return FakeResponse{1, request == Text("hello") ? Text("world") : TestBytes{0, 1}};
    };

    EXPECT_EQ(Run({"call", "b010", "hello"}).out, "world\n");
    EXPECT_EQ(Run({"call", "b010", "0a0B", "--hex"}).out, "0x0001\n");
    EXPECT_EQ(m_machine.writes.back().data, (TestBytes{0x0A, 0x0B}));
}

TEST_F(Commands, CallOfAJobThatFailsTellsItsCodeAndEndsWithOne) {
    m_machine.serve = [](std::uint16_t, const TestBytes&) { return FakeResponse{3, Hex("0604AFEC")}; };

    const Ran ran = Run({"call", "b010"});

    EXPECT_EQ(ran.status, 1);
    EXPECT_THAT(ran.err, HasSubstr("0xECAF0406"));
}

TEST_F(Commands, CallTakesItsRequestFromAFile) {
    char path[] = "/tmp/mdp-request-XXXXXX";
    const int file = mkstemp(path);
    ASSERT_GE(file, 0);
    ASSERT_EQ(write(file, "hello", 5), 5);
    close(file);
    m_machine.serve = [](std::uint16_t, const TestBytes&) { return FakeResponse{1, {}}; };

    EXPECT_EQ(Run({"call", "b010", "--file", path}).status, 0);

    EXPECT_EQ(m_machine.writes.back().data, Text("hello"));
    unlink(path);
}

TEST_F(Commands, CallRefusesWhatIsNoFileOrHasNoEnd) {
    const Ran directory = Run({"call", "b010", "--file", "/tmp"});
    EXPECT_EQ(directory.status, 4);
    EXPECT_EQ(directory.err, "mdp: 0xB010: /tmp: Is a directory\n");

    const Ran endless = Run({"call", "b010", "--file", "/dev/zero"});
    EXPECT_EQ(endless.status, 4);
    EXPECT_EQ(endless.err, "mdp: 0xB010: /dev/zero: a request has at most 64 MiB\n");
    EXPECT_TRUE(m_machine.writes.empty());
}

TEST_F(Commands, CallTakesNoSubIndex) {
    const Ran ran = Run({"call", "B000:1"});

    EXPECT_EQ(ran.status, 2);
    EXPECT_EQ(ran.err, "mdp: call takes an index without a sub-index: mdp call 0xB000\n");
    EXPECT_EQ(Run({"call", "8000"}).err, "mdp: 0x8000 is not a service object: these are 0xB000 to 0xBFFF\n");
}

TEST_F(Commands, CallEndsWithFiveWhenTheJobOutlivesItsTime) {
    m_machine.serve = [](std::uint16_t, const TestBytes&) { return FakeResponse{255, {}}; };

    const Ran ran = Run({"call", "b010", "--timeout", "0.05"});

    EXPECT_EQ(ran.status, 5);
    EXPECT_THAT(ran.err, HasSubstr("the job still runs"));
}

TEST_F(Commands, LongJobIsToldOfOnce) {
    int polls = 0;
    m_machine.serve = [](std::uint16_t, const TestBytes&) { return FakeResponse{255, {}}; };
    FakeService service([&](const TestBytes& frame) {
        if (frame[29] == 2 && ++polls == 20) {
            m_machine.responses[0xB010].status = 0;
        }
        return m_machine.Answer(frame);
    });
    std::ostringstream out;
    std::ostringstream err;

    EXPECT_EQ(MdpCommand::RunMdp({"--socket", service.Path(), "call", "b010"}, {out, err}, Mdp::Milliseconds(1)), 0);

    EXPECT_EQ(err.str(), "mdp: 0xB010: waiting for the service, whose job still runs; --timeout limits the wait\n");
    EXPECT_THAT(Run({"call", "b010", "--timeout", "0.05"}).err, testing::StartsWith("mdp: 0xB010: the job still runs"));
}

TEST_F(Commands, WatchShowsAValueOnlyWhenItChanges) {
    int reads = 0;
    FakeService service([&](const TestBytes& frame) {
        if (frame[24] == 0 && ++reads == 3) {
            m_machine.objects[0x8011].entries[1].value = {7, 0};
        }
        return m_machine.Answer(frame);
    });

    const Ran ran =
        RunWords({"--socket", service.Path(), "watch", "0x8011:1", "--period", "0.01", "--count", "4", "--json"});

    EXPECT_EQ(ran.status, 0) << ran.err;
    std::istringstream lines(ran.out);
    std::vector<int> values;
    for (std::string line; std::getline(lines, line);) {
        values.push_back(ParsedJson(line)["value"].Number());
    }
    EXPECT_THAT(values, ElementsAre(-5, 7));
    EXPECT_EQ(reads, 4);
}

TEST_F(Commands, WatchDoesNotMakeUpForWhatItMissed) {
    using Clock = std::chrono::steady_clock;
    Clock::time_point stopped;
    Clock::time_point last;
    int reads = 0;
    FakeService service([&](const TestBytes& frame) {
        if (frame[24] == 0) {
            last = Clock::now();
            if (++reads == 2) {
                std::this_thread::sleep_for(std::chrono::milliseconds(500));
                stopped = Clock::now();
            }
        }
        return m_machine.Answer(frame);
    });

    const Ran ran = RunWords({"--socket", service.Path(), "watch", "0x8011:1", "--period", "0.05", "--count", "6"});

    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_EQ(reads, 6);
    // One look at once, and three more a period apart.
    EXPECT_GE(last - stopped, std::chrono::milliseconds(3 * 50));
}

TEST_F(Commands, WatchTellsItsFailureInOneLineOfJson) {
    const Ran ran = Run({"watch", "0x9999", "--json"});

    EXPECT_EQ(ran.status, 1);
    EXPECT_THAT(ran.out, testing::StartsWith("{\"error\":{"));
    EXPECT_EQ(ran.out.find('\n'), ran.out.size() - 1);
}

TEST_F(Commands, CompletionOffersCommandsIndexesEntriesAndOptions) {
    const auto complete = [&](std::vector<std::string> words) {
        words.insert(words.begin(), {"__complete", "--", "--socket", m_service.Path()});
        return RunWords(words).out;
    };

    EXPECT_THAT(complete({"re"}), testing::StartsWith("read\t"));
    EXPECT_THAT(complete({"read", "0x80"}), HasSubstr("0x8011\tOdd things\n"));
    EXPECT_EQ(complete({"read", "0x8011:1"}), "0x8011:1\tOffset\n");
    EXPECT_THAT(complete({"read", "--com"}), testing::StartsWith("--complete\t"));
    EXPECT_EQ(complete({"modules", "--lang", "d"}), "de\tGerman\n");
    EXPECT_EQ(complete({"call", "--file", "x"}), ":files\t\n");
}

TEST(ProgressText, ShowsBarRateAndTimeLeft) {
    EXPECT_EQ(MdpCommand::ProgressText("a", 1U << 20, 4U << 20, 2),
              "a  [#####               ]  25%  1.0 MiB of 4.0 MiB  512.0 KiB/s  0:06 left");
    EXPECT_EQ(MdpCommand::ProgressText("a", 512, std::nullopt, 1), "a  512 B  512 B/s");
    EXPECT_EQ(MdpCommand::ProgressText("a", 0, 10, 0), "a  [                    ]   0%  0 B of 10 B");
}
