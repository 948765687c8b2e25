#include "Command.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <map>
#include <sstream>
#include <stdexcept>
#include <streambuf>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "FakeDictionary.h"
#include "Progress.h"

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

struct Ran {
    int status;
    std::string out;
    std::string err;
};

class Commands : public testing::Test {
protected:
    Ran Run(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"--socket", m_service.Path()});
        return RunWords(std::move(arguments));
    }

    static Ran RunWords(std::vector<std::string> arguments) {
        std::ostringstream out;
        std::ostringstream err;
        const int status = MdpCommand::RunMdp(std::move(arguments), {out, err});
        return {status, out.str(), err.str()};
    }

    // A module of two adapters, a record with everything that is odd, a host name.
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

    FakeDictionary m_machine;
    FakeService m_service{[this](const TestBytes& frame) { return m_machine.Answer(frame); }};
};

} // namespace

TEST_F(Commands, ModulesShowsATable) {
    const Ran ran = Run({"modules"});

    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_EQ(ran.out, "INDEX   TYPE  KIND      NAME\n"
                       "0x8000     2  Nic       em0\n"
                       "0x8010    10  Software  Software\n");
}

TEST_F(Commands, ModulesShowsJson) {
    const Ran ran = Run({"modules", "--json"});

    const auto json = MdpCommand::Json::parse(ran.out);
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
    const auto json = MdpCommand::Json::parse(Run({"read", "0x8011:1", "--json"}).out);

    EXPECT_EQ(json, MdpCommand::Json::parse(
                        R"({"index":"0x8011","sub":1,"name":"Offset","type":"INTEGER16","access":"rw","value":-5})"));
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
    EXPECT_THAT(ran.out, HasSubstr("141072\n")) << "0x00022710, behind the two texts";
}

TEST_F(Commands, FailedReadTellsCodeAndNameAndEndsWithOne) {
    const Ran ran = Run({"read", "0x8011:2"});

    EXPECT_EQ(ran.status, 1);
    EXPECT_EQ(ran.out, "");
    EXPECT_EQ(ran.err, "mdp: 0x8011:2: 0xECA61000 OBJ_E_NOTSUPPORTED: this device does not support the entry\n");
}

TEST_F(Commands, FailuresInJsonAreAnObjectOnTheOutput) {
    const Ran ran = Run({"--json", "read", "0x9999"});

    EXPECT_EQ(ran.status, 1);
    EXPECT_EQ(ran.err, "");
    const auto json = MdpCommand::Json::parse(ran.out);
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
    EXPECT_EQ(ran.err, "mdp: 0x8011:1: 40000 does not fit into INTEGER16\n");
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
        EXPECT_EQ(MdpCommand::Json::parse(ran.out)["error"]["kind"], "usage") << ran.out;
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
    EXPECT_EQ(ran.err, "mdp: 0x1008:0: the service did not answer in time; what was asked for may still be done\n");
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
    const auto json = MdpCommand::Json::parse(Run({"tree", "--json"}).out);

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
        values.push_back(MdpCommand::Json::parse(line)["value"].get<int>());
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

class NetCommands : public Commands {
protected:
    void SetUp() override {
        m_machine.AddModule(0, 2, "Nic", "em0");
        m_machine.objects[0x8001] = {9,
                                     "Adapter",
                                     {CountEntry(8),
                                      {9, "r-", "MAC", Text("00:01:05:12:34:56")},
                                      {9, "rw", "Address", Text("192.168.10.20")},
                                      {9, "rw", "Mask", Text("255.255.255.0")},
                                      {1, "rw", "DHCP", {0}},
                                      {9, "rw", "Gateway", Text("192.168.10.1")},
                                      {9, "rw", "DNS", Text("8.8.8.8,1.1.1.1")},
                                      {9, "rw", "Reserved", {}, 0xECA61000},
                                      {9, "rw", "Active DNS", {}, 0xECA60105}}};
        m_machine.serve = [](std::uint16_t, const TestBytes&) { return FakeResponse{0, {}}; };
    }
};

TEST_F(NetCommands, NetShowsATableOfTheAdapters) {
    EXPECT_EQ(Run({"net"}).out,
              "ADAPTER  ADDRESS        MASK           DHCP  GATEWAY       DNS              ACTIVE DNS  MAC\n"
              "em0      192.168.10.20  255.255.255.0  no    192.168.10.1  8.8.8.8,1.1.1.1  -           "
              "00:01:05:12:34:56\n");
}

TEST_F(NetCommands, SetAddressKeepsMaskAndGatewayThatAreNotNamed) {
    const Ran ran = Run({"net", "set", "em0", "--address", "10.0.0.9"});

    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_THAT(m_machine.writes, ElementsAre(FakeDictionary::Written{0xB001, 1,
                                                                      Hex("31000000 08000000 0d000000 0c000000") +
                                                                          Text("10.0.0.9255.255.255.0192.168.10.1")}));
}

TEST_F(NetCommands, SetDhcpComesBeforeTheGatewayAndDnsLast) {
    const Ran ran = Run({"net", "set", "em0", "--dns", "9.9.9.9", "--gateway", "10.0.0.1", "--dhcp"});

    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_THAT(m_machine.writes, ElementsAre(FakeDictionary::Written{0x8001, 4, {1}},
                                              FakeDictionary::Written{0x8001, 5, Text("10.0.0.1")},
                                              FakeDictionary::Written{0x8001, 6, Text("9.9.9.9")}));
}

TEST_F(NetCommands, NoneRemovesGatewayAndDns) {
    EXPECT_EQ(Run({"net", "set", "em0", "--gateway", "none", "--dns", "none"}).status, 0);

    EXPECT_THAT(m_machine.writes, ElementsAre(FakeDictionary::Written{0x8001, 5, Text("0.0.0.0")},
                                              FakeDictionary::Written{0x8001, 6, Text("NO")}));
}

TEST_F(NetCommands, WrongSettingsAreRefusedBeforeAnythingIsWritten) {
    for (const std::vector<std::string>& options : {std::vector<std::string>{},
                                                    {"--address", "10.0.0"},
                                                    {"--address", "0.0.0.0"},
                                                    {"--mask", "255.0.0.0"},
                                                    {"--address", "10.0.0.1", "--mask", "255.0.255.0"},
                                                    {"--address", "10.0.0.1", "--dhcp"},
                                                    {"--gateway", "x"},
                                                    {"--dns", "1.1.1.1;2.2.2.2"},
                                                    {"--dns", "1.1.1.1,,2.2.2.2"},
                                                    {"--dns", "1.1.1.1,2.2.2.2,3.3.3.3,4.4.4.4"}}) {
        std::vector<std::string> words{"net", "set", "em0"};
        words.insert(words.end(), options.begin(), options.end());
        EXPECT_EQ(Run(words).status, 2) << testing::PrintToString(options);
    }
    EXPECT_TRUE(m_machine.writes.empty());
}

TEST_F(NetCommands, AcceptedIsNotMoreThanTheServiceTells) {
    EXPECT_EQ(Run({"net", "set", "em0", "--gateway", "192.168.10.1"}).out,
              "em0: accepted; the machine stores what changes and applies it in the background\n");
}

TEST_F(NetCommands, AddressOfAnAdapterWhoseNameRcConfCannotHoldIsRefused) {
    m_machine.AddModule(1, 2, "Nic", "eth0.100");
    m_machine.objects[0x8011] = m_machine.objects[0x8001];

    const Ran ran = Run({"net", "set", "eth0.100", "--address", "10.0.0.9"});
    EXPECT_EQ(ran.status, 2);
    EXPECT_EQ(ran.err, "mdp: eth0.100: rc.conf holds no address for an adapter whose name has other characters than "
                       "letters, digits and _\n");
    EXPECT_EQ(Run({"net", "set", "eth0.100", "--dhcp"}).status, 2);
    EXPECT_TRUE(m_machine.writes.empty());
    EXPECT_EQ(Run({"net", "set", "eth0.100", "--dns", "9.9.9.9"}).status, 0) << "the machine's, not the adapter's";
}

TEST_F(NetCommands, AddressThatIsStillBeingSetEndsWithFive) {
    m_machine.serve = [](std::uint16_t, const TestBytes&) { return FakeResponse{255, {}}; };

    EXPECT_EQ(Run({"net", "set", "em0", "--address", "10.0.0.9", "--timeout", "0.05"}).status, 5);
}

TEST_F(NetCommands, UnknownAdapterIsToldTogetherWithTheOnesThereAre) {
    const Ran ran = Run({"net", "set", "em7", "--dhcp"});

    EXPECT_EQ(ran.status, 2);
    EXPECT_EQ(ran.err, "mdp: there is no adapter em7; there are: em0\n");
}

// One file, "/data/a.txt" with the content "hello", in a directory that also holds "sub".
class FileCommands : public Commands {
protected:
    void SetUp() override {
        m_machine.AddModule(2, 16, "FSO", "FSO");
        m_machine.serve = [this](std::uint16_t index, const TestBytes& request) { return Serve(index, request); };
        char directory[] = "/tmp/mdp-command-test-XXXXXX";
        ASSERT_NE(mkdtemp(directory), nullptr);
        m_directory = directory;
    }

    void TearDown() override {
        unlink((m_directory + "/a.txt").c_str());
        unlink((m_directory + "/in").c_str());
        EXPECT_EQ(rmdir(m_directory.c_str()), 0) << "something else was left behind";
    }

    FakeResponse Serve(std::uint16_t index, const TestBytes& request) {
        if (index == 0xB020) {
            return List(std::string(request.begin() + 4, request.end()));
        }
        if (index == 0xB021) {
            m_whileReading();
            return {1, Number(m_content.size(), 4) + Number(0, 4) + Number(1, 4) + Text(m_content)};
        }
        if (index == 0xB022) {
            m_whileWriting();
            if (m_putResult) {
                return *m_putResult;
            }
            const bool last = request[12] != 0;
            return {1, Number(last ? 0 : 7, 4)};
        }
        return m_result;
    }

    FakeResponse List(const std::string& pattern) const {
        const TestBytes file = Number(0, 4) + Number(m_listedSize, 8) + Hex("deadbeef") + Number(5, 4) + Text("a.txt");
        const TestBytes directory = Number(0, 4) + Number(3, 4) + Text("sub");
        if (pattern == "/data/a.txt") {
            return {1,
                    Number(0, 4) + Number(49, 4) + Number(0, 4) + Number(1, 4) + Number(0, 4) + Number(24, 4) + file};
        }
        if (pattern == "/data" || pattern == "/sub" || pattern == "/s*") {
            return {1, Number(0, 4) + Number(35, 4) + Number(1, 4) + Number(0, 4) + Number(24, 4) + Number(0, 4) +
                           directory};
        }
        if (pattern == "/data/*" || pattern == "/data/*.log") {
            return {1, Number(0, 4) + Number(60, 4) + Number(1, 4) + Number(1, 4) + Number(24, 4) + Number(35, 4) +
                           directory + file};
        }
        return {3, Hex("0200A7EC")};
    }

    // How many requests a service object was sent.
    std::ptrdiff_t RequestsTo(std::uint16_t index) const {
        return std::count_if(m_machine.writes.begin(), m_machine.writes.end(),
                             [&](const auto& write) { return write.index == index; });
    }

    std::string LocalContent() const {
        std::ifstream file(m_directory + "/a.txt");
        return {std::istreambuf_iterator<char>(file), {}};
    }

    std::string m_directory;
    std::string m_content = "hello";
    std::uint64_t m_listedSize = 5;
    FakeResponse m_result{1, {0, 0, 0, 0}};
    std::optional<FakeResponse> m_putResult;
    std::function<void()> m_whileReading = [] {};
    std::function<void()> m_whileWriting = [] {};
};

TEST_F(FileCommands, ListShowsTheContentOfADirectory) {
    const Ran ran = Run({"ls", "/data"});

    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_EQ(ran.out, "SIZE  NAME\n"
                       "   -  sub/\n"
                       "   5  a.txt\n");
    EXPECT_EQ(Run({"ls", "/data/*", "--names"}).out, "sub\na.txt\n");
    EXPECT_EQ(Run({"ls", "/data/*", "-1"}).out, "sub\na.txt\n");
}

TEST_F(FileCommands, ListOfAnEmptyDirectoryIsEmptyAndOfNothingAnErrorThatHelps) {
    EXPECT_EQ(Run({"ls", "/sub"}).status, 0);

    const Ran ran = Run({"ls", "/gone"});
    EXPECT_EQ(ran.status, 1);
    EXPECT_THAT(ran.err, HasSubstr("mdp ls of its directory shows what is there"));
    EXPECT_THAT(ran.err, HasSubstr("0xECA70002"));
}

TEST_F(FileCommands, WildcardsInTheNameOfAFileAreTakenLiterally) {
    (void)Run({"ls", "/da*a[1]?"});

    EXPECT_EQ(m_machine.writes.front().data, Number(15, 4) + Text("/da[*]a[[]1][?]"));
}

TEST_F(FileCommands, PathsOfTheMachineAreTakenInOneSpelling) {
    for (const auto& [written, sent] : std::map<std::string, std::string>{{"\\data\\\\a.txt", "/data/a.txt"},
                                                                          {"//data/././/a.txt", "/data/a.txt"},
                                                                          {"./x/.y", "x/.y"},
                                                                          {".//./x", "x"},
                                                                          {"/data/.", "/data/"},
                                                                          {"/.", "/"},
                                                                          {"/x./..", "/x./.."}}) {
        m_machine.writes.clear();
        (void)Run({"ls", written});
        EXPECT_EQ(m_machine.writes.front().data, Number(sent.size(), 4) + Text(sent)) << written;
    }
}

TEST_F(FileCommands, EmptyPathsAreWrongCommandLines) {
    const std::vector<std::pair<std::vector<std::string>, std::string>> lines{
        {{"ls", ""}, "PATH"},
        {{"get", "", m_directory}, "REMOTE"},
        {{"get", "/data/a.txt", ""}, "LOCAL"},
        {{"put", "", "/data/a.txt"}, "LOCAL"},
        {{"put", "/dev/null", ""}, "REMOTE"},
        {{"cp", "", "/b"}, "SOURCE"},
        {{"mv", "/data/a.txt", ""}, "DESTINATION"},
        {{"rm", "/data/a.txt", ""}, "PATH"},
        {{"mkdir", ""}, "PATH"},
    };
    for (const auto& [line, argument] : lines) {
        const Ran ran = Run(line);
        EXPECT_EQ(ran.status, 2) << line.front();
        EXPECT_THAT(ran.err, HasSubstr(argument + ": the path is empty"));
    }
    EXPECT_TRUE(m_machine.writes.empty());
}

TEST_F(FileCommands, GetPutsTheFileUnderItsFinalName) {
    const Ran ran = Run({"get", "/data/a.txt", m_directory});

    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_EQ(ran.err, "") << "no progress outside of a terminal";
    EXPECT_EQ(LocalContent(), "hello");
}

TEST_F(FileCommands, GetKeepsTheModeOfAFileThatIsThere) {
    const std::string file = m_directory + "/a.txt";
    const auto modeOf = [&] { return std::filesystem::status(file).permissions(); };
    const mode_t mask = umask(027);
    EXPECT_EQ(Run({"get", "/data/a.txt", file}).status, 0);
    EXPECT_EQ(modeOf(), std::filesystem::perms{0640}) << "a new one has that of the user";
    umask(mask);

    ASSERT_EQ(chmod(file.c_str(), 0600), 0);
    EXPECT_EQ(Run({"get", "/data/a.txt", file}).status, 0);
    EXPECT_EQ(modeOf(), std::filesystem::perms{0600});
}

TEST_F(FileCommands, GetKeepsIgnoredSignalsIgnoredAndPutsTheOthersBack) {
    const auto handlerOf = [](int signal) {
        struct sigaction action {};
        sigaction(signal, nullptr, &action);
        return action.sa_handler;
    };
    void (*const own)(int) = [](int) {};
    const auto formerHangUp = std::signal(SIGHUP, SIG_IGN);
    const auto formerTerminate = std::signal(SIGTERM, own);
    m_whileReading = [&] {
        EXPECT_EQ(handlerOf(SIGHUP), SIG_IGN);
        EXPECT_NE(handlerOf(SIGTERM), own) << "the partial file must go";
    };

    EXPECT_EQ(Run({"get", "/data/a.txt", m_directory}).status, 0);

    EXPECT_EQ(handlerOf(SIGHUP), SIG_IGN);
    EXPECT_EQ(handlerOf(SIGTERM), own);
    std::signal(SIGHUP, formerHangUp);
    std::signal(SIGTERM, formerTerminate);
}

TEST_F(FileCommands, GetLeavesNothingWhenTheLengthIsNotTheListedOne) {
    m_listedSize = 6;

    const Ran ran = Run({"get", "/data/a.txt", m_directory});

    EXPECT_EQ(ran.status, 3);
    EXPECT_THAT(ran.err, HasSubstr("5 bytes arrived of 6 that were listed, and nothing was kept"));
    EXPECT_NE(access((m_directory + "/a.txt").c_str(), F_OK), 0);
    EXPECT_EQ(Run({"get", "/data/a.txt", m_directory, "--any-length"}).status, 0);
    EXPECT_THAT(Run({"get", "/data/a.txt", "/dev/null"}).err, HasSubstr("5 bytes arrived of 6 that were listed; "));
}

TEST_F(FileCommands, GetOfADirectoryTellsHowToGetItsFiles) {
    const Ran ran = Run({"get", "/data", m_directory});

    EXPECT_EQ(ran.status, 2);
    EXPECT_THAT(ran.err, HasSubstr("this is a directory or a special file; '/data/*' names the files in a directory"));
}

TEST_F(FileCommands, GetOfAPatternThatMatchesOnlyDirectoriesFails) {
    const Ran ran = Run({"get", "/s*", m_directory});

    EXPECT_EQ(ran.status, 2);
    EXPECT_EQ(ran.err, "mdp: /s*: only directories and special files match\n");
}

TEST_F(FileCommands, PutOfTheStandardInputNeedsTheNameOfAFile) {
    ASSERT_NE(std::freopen("/dev/null", "r", stdin), nullptr);
    for (const char* directory : {"/data", "/data/"}) {
        const Ran ran = Run({"put", "-", directory});
        EXPECT_EQ(ran.status, 2);
        EXPECT_THAT(ran.err, HasSubstr("the standard input has no name"));
    }
}

TEST_F(FileCommands, GetToAPlaceThatCannotBeWrittenEndsWithFour) {
    EXPECT_EQ(Run({"get", "/data/a.txt", m_directory + "/none/a.txt"}).status, 4);
}

TEST_F(FileCommands, PutWritesTheFileAndComparesItsLength) {
    std::ofstream(m_directory + "/in") << "hello";

    const Ran ran = Run({"put", m_directory + "/in", "/data/a.txt"});

    EXPECT_EQ(ran.status, 0) << ran.err;
    const auto written = std::find_if(m_machine.writes.begin(), m_machine.writes.end(),
                                      [](const auto& write) { return write.index == 0xB022; });
    ASSERT_NE(written, m_machine.writes.end());
    EXPECT_EQ(written->data, Hex("0b000000 00000000 05000000 01000000") + Text("/data/a.txthello"));
    m_listedSize = 4;
    EXPECT_EQ(Run({"put", m_directory + "/in", "/data/a.txt"}).status, 3);
}

TEST_F(FileCommands, PutOfAFileOntoItselfSendsNothing) {
    const std::string file = m_directory + "/in";
    std::ofstream(file) << "hello";
    ASSERT_EQ(symlink(file.c_str(), (m_directory + "/a.txt").c_str()), 0);

    for (const std::string& remote : {file, m_directory + "//./in", m_directory + "/a.txt", m_directory + "/"}) {
        const Ran ran = Run({"put", file, remote});
        EXPECT_EQ(ran.status, 2) << remote;
        EXPECT_THAT(ran.err, HasSubstr("this is the same file as " + m_directory));
    }
    EXPECT_EQ(RequestsTo(0xB022), 0);
}

TEST_F(FileCommands, PutOfAFileThatChangesMeanwhileEndsWithFour) {
    std::ofstream(m_directory + "/in") << "hello!" << std::string(2U << 20, 'x');
    m_listedSize = 1U << 20;
    // As when the file is emptied after its first chunk was read.
    m_whileWriting = [this] { ASSERT_EQ(truncate((m_directory + "/in").c_str(), 0), 0); };

    const Ran ran = Run({"put", m_directory + "/in", "/data/a.txt"});

    EXPECT_EQ(ran.status, 4) << ran.err;
    EXPECT_THAT(ran.err, HasSubstr("1048576 bytes were sent of 2097158 that the file had"));
}

TEST_F(FileCommands, PutThatFailsTellsThatAPartMayBeThere) {
    std::ofstream(m_directory + "/in") << "hello";
    m_putResult = {3, Hex("0100A6EC")};
    const Ran refused = Run({"put", m_directory + "/in", "/data/a.txt"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.err, HasSubstr("may be there in part"));

    m_putResult.reset();
    const Ran unread = Run({"put", "/proc/self/mem", "/data/a.txt"});
    EXPECT_EQ(unread.status, 4);
    EXPECT_THAT(unread.err, HasSubstr("/proc/self/mem: it was not read to its end"));
    EXPECT_THAT(unread.err, HasSubstr("Input/output error"));
}

TEST_F(FileCommands, PutOfAMissingFileEndsWithFour) {
    const Ran ran = Run({"put", m_directory + "/in", "/data/"});

    EXPECT_EQ(ran.status, 4);
    EXPECT_EQ(ran.err, "mdp: " + m_directory + "/in: No such file or directory\n");
}

// Another mdp has its turn in a direction as long as this exists.
class Turn {
public:
    explicit Turn(const std::string& directory) : m_descriptor(open(directory.c_str(), O_RDONLY | O_DIRECTORY)) {
        EXPECT_EQ(flock(m_descriptor, LOCK_EX), 0);
    }

    ~Turn() { close(m_descriptor); }

    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

private:
    int m_descriptor;
};

TEST_F(FileCommands, GetWaitsForTheTurnOfAnotherGet) {
    const std::string place = std::filesystem::path(m_service.Path()).parent_path();
    {
        const Turn another(place);
        const Ran ran = Run({"get", "/data/a.txt", m_directory, "--timeout", "0.1"});
        EXPECT_EQ(ran.status, 3);
        EXPECT_THAT(ran.err, HasSubstr("another mdp"));
        EXPECT_TRUE(m_machine.writes.empty());
    }
    auto another = std::make_unique<Turn>(place);
    auto got = std::async(std::launch::async, [this] { return Run({"get", "/data/a.txt", m_directory}); });
    EXPECT_EQ(got.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    another.reset();
    EXPECT_EQ(got.get().status, 0);
    EXPECT_EQ(LocalContent(), "hello");
}

TEST_F(FileCommands, PutWaitsForTheTurnOfAnotherPutAndNotOfAGet) {
    std::ofstream(m_directory + "/in") << "hello";
    const Turn get(std::filesystem::path(m_service.Path()).parent_path());
    {
        const Turn another("/");
        const Ran ran = Run({"put", m_directory + "/in", "/data/a.txt", "--timeout", "0.1"});
        EXPECT_EQ(ran.status, 3);
        EXPECT_THAT(ran.err, HasSubstr("another mdp"));
        EXPECT_EQ(RequestsTo(0xB022), 0);
    }
    EXPECT_EQ(Run({"put", m_directory + "/in", "/data/a.txt", "--timeout", "30"}).status, 0);
}

TEST_F(FileCommands, PutTakesNoTurnBeforeItsInputIsThere) {
    const std::string pipe = m_directory + "/in";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    auto put = std::async(std::launch::async, [&] { return Run({"put", pipe, "/data/a.txt"}); });
    const int writer = open(pipe.c_str(), O_WRONLY); // once the other end is open
    EXPECT_EQ(put.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);

    { const Turn another("/"); }

    EXPECT_EQ(write(writer, "hello", 5), 5);
    close(writer);
    EXPECT_EQ(put.get().status, 0);
}

TEST_F(FileCommands, CopyMoveDeleteAndMakeDirectorySendTheirRecords) {
    EXPECT_EQ(Run({"cp", "/data/a.txt", "/b"}).status, 0);
    EXPECT_EQ(m_machine.writes.back().data, Hex("0b000000 02000000 01000000") + Text("/data/a.txt/b"));
    EXPECT_EQ(Run({"mv", "-f", "/data/a.txt", "/sub"}).status, 0);
    EXPECT_EQ(m_machine.writes.back().data, Hex("0b000000 0a000000 00000000") + Text("/data/a.txt/sub/a.txt"));
    EXPECT_EQ(Run({"rm", "-r", "/sub"}).status, 0);
    EXPECT_EQ(m_machine.writes.back(), (FakeDictionary::Written{0xB024, 1, Hex("04000000 01000000") + Text("/sub")}));
    EXPECT_EQ(Run({"mkdir", "-p", "/x/y"}).status, 0);
    EXPECT_EQ(m_machine.writes.back(), (FakeDictionary::Written{0xB025, 1, Hex("04000000 01000000") + Text("/x/y")}));
}

TEST_F(FileCommands, FailuresTellWhatToDo) {
    m_result = {3, Hex("1100A7EC")};
    EXPECT_THAT(Run({"cp", "/data/a.txt", "/b"}).err, HasSubstr("-f overwrites it"));
    EXPECT_THAT(Run({"mkdir", "/b"}).err, HasSubstr("it exists already"));
    EXPECT_EQ(Run({"mkdir", "-p", "/sub"}).status, 0) << "an existing directory is none with -p";
    m_result = {3, Hex("0100A6EC")};
    EXPECT_THAT(Run({"rm", "/sub"}).err, HasSubstr("use -r"));
    EXPECT_THAT(Run({"rm", "-r", "/sub"}).err, AllOf(HasSubstr("begins with a dot"), Not(HasSubstr("use -r"))));
}

TEST_F(FileCommands, NothingIsDoneToNamesThatThePatternDoesNotMatch) {
    for (const std::vector<std::string>& line :
         {std::vector<std::string>{"rm", "-r", "/data/*.log"}, {"mv", "/data/*.log", "/sub"}}) {
        const Ran ran = Run(line);
        EXPECT_EQ(ran.status, 3);
        EXPECT_THAT(ran.err, HasSubstr("another client disturbed: try again"));
    }
    EXPECT_EQ(RequestsTo(0xB023) + RequestsTo(0xB024), 0);
}

TEST_F(FileCommands, RootIsNotDeletedAndAFileNotMovedOntoItself) {
    EXPECT_EQ(Run({"rm", "-r", "/"}).status, 2);
    EXPECT_EQ(Run({"rm", "-r", "//../"}).status, 2);
    for (const char* same : {"/data/a.txt", "//data/./a.txt", "\\data\\a.txt", "/data"}) {
        EXPECT_EQ(Run({"mv", "-f", "/data/a.txt", same}).status, 2) << same;
        EXPECT_EQ(Run({"cp", "-f", "/data/a.txt", same}).status, 2) << same;
    }
    for (const auto& write : m_machine.writes) {
        EXPECT_EQ(write.index, 0xB020) << "only listings";
    }
}

TEST_F(FileCommands, MoveOverwritesOnlyWhatIsInTheWay) {
    m_result = {3, Hex("1200A7EC")};
    EXPECT_EQ(Run({"mv", "-f", "/data/a.txt", "/b"}).status, 1);
    EXPECT_EQ(RequestsTo(0xB023), 1) << "the file systems differ: nothing may be deleted";

    m_result = {3, Hex("1100A7EC")};
    EXPECT_EQ(Run({"mv", "/data/a.txt", "/b"}).status, 1);
    EXPECT_EQ(RequestsTo(0xB023), 2);
    EXPECT_EQ(Run({"mv", "-f", "/data/a.txt", "/b"}).status, 1);
    EXPECT_EQ(RequestsTo(0xB023), 4);
    EXPECT_EQ(m_machine.writes.back().data, Hex("0b000000 02000000 02000000") + Text("/data/a.txt/b"));
}

TEST_F(FileCommands, MachineWithoutFileServicesIsToldSo) {
    m_machine.objects.clear();
    m_machine.AddModule(0, 10, "Software", "Software");

    const Ran ran = Run({"ls"});

    EXPECT_EQ(ran.status, 2);
    EXPECT_EQ(ran.err, "mdp: /: this machine offers no file services\n");
}

TEST(ProgressText, ShowsBarRateAndTimeLeft) {
    EXPECT_EQ(MdpCommand::ProgressText("a", 1U << 20, 4U << 20, 2),
              "a  [#####               ]  25%  1.0 MiB of 4.0 MiB  512.0 KiB/s  0:06 left");
    EXPECT_EQ(MdpCommand::ProgressText("a", 512, std::nullopt, 1), "a  512 B  512 B/s");
    EXPECT_EQ(MdpCommand::ProgressText("a", 0, 10, 0), "a  [                    ]   0%  0 B of 10 B");
}
