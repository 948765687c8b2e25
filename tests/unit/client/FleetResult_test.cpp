#include "FleetResult.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>

#include <functional>
#include <sstream>

#include <gtest/gtest.h>

#include "Command.h"
#include "Report.h"

using namespace MdpCommand;

namespace {

MachineResult Result(const std::string& label, int status = ExitOk, const std::string& reason = "") {
    MachineResult result;
    result.label = label;
    result.name = "root@" + label;
    result.isStarted = true;
    result.isDone = true;
    result.status = status;
    result.reason = reason;
    return result;
}

Table Pins(const std::string& value) {
    Table table({"PIN", "VALUE"});
    table.AlignRight(1);
    table.Add({"7", value});
    return table;
}

std::string Together(const std::vector<MachineResult>& results) {
    std::ostringstream out;
    std::ostringstream err;
    PrintTogether({out, err}, results);
    return out.str();
}

std::string Summary(const std::vector<MachineResult>& results) {
    std::ostringstream err;
    PrintSummary(err, results);
    return err.str();
}

// What comes out at the other end of a pipe, in pieces of so many bytes.
std::vector<std::pair<ReportKind, std::string>> Told(const std::function<void(const Report&)>& tell,
                                                     std::size_t piece) {
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    tell(Report(ends[1]));
    close(ends[1]);
    std::vector<std::pair<ReportKind, std::string>> told;
    ReportReader reader;
    std::string bytes(piece, '\0');
    while (const ssize_t got = read(ends[0], bytes.data(), bytes.size())) {
        reader.Add(std::string_view(bytes).substr(0, static_cast<std::size_t>(got)),
                   [&](ReportKind kind, const std::string& content) { told.emplace_back(kind, content); });
    }
    close(ends[0]);
    return told;
}

} // namespace

TEST(FleetResultTest, LinesHaveTheirMachineInFront) {
    std::vector<MachineResult> results{Result("a"), Result("press10"), Result("b")};
    results[0].text = "one\n\ntwo\n";
    results[1].text = "without an end";

    EXPECT_EQ(Together(results), "a:       one\n"
                                 "a:       \n"
                                 "a:       two\n"
                                 "press10: without an end\n");
}

TEST(FleetResultTest, TablesBecomeOneInTheOrderOfTheMachines) {
    std::vector<MachineResult> results{Result("b"), Result("a"), Result("c")};
    results[0].tables.push_back(Pins("1"));
    results[1].tables.push_back(Pins("100"));

    EXPECT_EQ(Together(results), "HOST  PIN  VALUE\n"
                                 "b     7        1\n"
                                 "a     7      100\n");
}

TEST(FleetResultTest, OtherColumnsAreAnotherTable) {
    std::vector<MachineResult> results{Result("a"), Result("b")};
    results[0].tables.push_back(Pins("1"));
    Table other({"UPS"});
    other.Add({"x", "y"});
    results[0].tables.push_back(other);
    results[1].tables.push_back(Pins("2"));

    EXPECT_EQ(Together(results), "HOST  PIN  VALUE\n"
                                 "a     7        1\n"
                                 "b     7        2\n"
                                 "HOST  UPS\n"
                                 "a     x    y\n");
}

TEST(FleetResultTest, TitlesTellTheirMachine) {
    std::vector<MachineResult> results{Result("press1"), Result("b")};
    for (MachineResult& result : results) {
        result.tables.push_back(Pins("1"));
        result.tables.back().AddTitle("A long title of what comes");
        result.tables.back().Add({"8", "0"});
    }

    EXPECT_EQ(Together(results), "HOST    PIN  VALUE\n"
                                 "press1  7        1\n"
                                 "press1  A long title of what comes\n"
                                 "press1  8        0\n"
                                 "b       7        1\n"
                                 "b       A long title of what comes\n"
                                 "b       8        0\n");
}

TEST(FleetResultTest, JsonIsAnArrayInTheOrderOfTheMachines) {
    std::vector<MachineResult> results{Result("b"), Result("a", ExitObject), Result("c", ExitTransport, "no \"way\"")};
    results[0].documents.emplace_back("{\n  \"value\": 1\n}");
    results[1].errorObject = "{\n  \"kind\": \"object\"\n}";
    results[1].reason = "not there";
    std::ostringstream out;
    PrintJsonTogether(out, results);

    EXPECT_EQ(out.str(), R"([
  {
    "host": "b",
    "status": 0,
    "result": {
      "value": 1
    }
  },
  {
    "host": "a",
    "status": 1,
    "error": {
      "kind": "object"
    }
  },
  {
    "host": "c",
    "status": 3,
    "error": {
      "kind": "connect",
      "text": "no \"way\""
    }
  }
]
)");
}

TEST(FleetResultTest, JsonErrorsOfAStreamAreLines) {
    std::vector<MachineResult> results{Result("b"), Result("a", ExitObject), Result("c", ExitTransport, "no way")};
    results[1].errorObject = R"({"kind":"object"})";
    std::ostringstream out;
    PrintJsonErrors(out, results);

    EXPECT_EQ(out.str(), "{\"host\":\"a\",\"status\":1,\"error\":{\"kind\":\"object\"}}\n"
                         "{\"host\":\"c\",\"status\":3,\"error\":{\"kind\":\"connect\",\"text\":\"no way\"}}\n");
}

TEST(FleetResultTest, NothingIsSaidWhereAllWentWell) {
    EXPECT_EQ(Summary({Result("a"), Result("b")}), "");
}

TEST(FleetResultTest, SummaryTellsWhatFailedWhereAndHowToGoOn) {
    std::vector<MachineResult> results{Result("a"), Result("b", ExitTransport, "no way"), Result("c"),
                                       Result("d", ExitTransport, "no way"), Result("e", 139)};
    results.push_back(Result("f"));
    results.back().isDone = false;
    results.push_back(results.back());
    results.back().label = "g";
    results.back().name = "g";
    results.back().isStarted = false;

    EXPECT_EQ(Summary(results), "mdp: 2 of 7 machines: ok\n"
                                "mdp: b, d: no way\n"
                                "mdp: e: failed with status 139\n"
                                "mdp: f: interrupted\n"
                                "mdp: g: not begun\n"
                                "mdp: to go on with these alone: --host root@b,root@d,root@e,root@f,g\n");
}

TEST(FleetResultTest, StatusTellsAFailureFromAMachineThatWasNotReached) {
    EXPECT_EQ(StatusOfAll({Result("a"), Result("b")}), ExitOk);
    EXPECT_EQ(StatusOfAll({Result("a"), Result("b", ExitTransport)}), ExitSomeUnreached);
    EXPECT_EQ(StatusOfAll({Result("a", ExitTransport), Result("b", ExitObject)}), ExitSomeFailed);
    EXPECT_EQ(StatusOfAll({Result("a", ExitLocal)}), ExitSomeFailed);
}

TEST(ReportTest, TableArrivesWhole) {
    Table table = Pins("1");
    table.NameColumn(1);
    table.Add({"8", {"code", Style::Code}});
    table.AddTitle("title");
    table.Add({"", "with\nbreak and \x1f and \xFF"});
    for (const std::size_t piece : {1U, 7U, 4096U}) {
        const auto told = Told(
            [&](const Report& report) {
                report.Tell(ReportKind::Text, "");
                report.Tell(table);
                report.Tell(ReportKind::Failure, std::string("a\0b", 3));
            },
            piece);

        ASSERT_EQ(told.size(), 3U);
        EXPECT_EQ(told[0], std::pair(ReportKind::Text, std::string()));
        EXPECT_EQ(told[1].first, ReportKind::Table);
        EXPECT_EQ(TableOf(told[1].second).Rows(), table.Rows());
        EXPECT_EQ(TableOf(told[1].second).RightColumns(), table.RightColumns());
        EXPECT_EQ(TableOf(told[1].second).NameColumn(), 1U);
        EXPECT_EQ(told[2], std::pair(ReportKind::Failure, std::string("a\0b", 3)));
    }
}

TEST(ReportTest, OutputIsToldWhenItIsFlushed) {
    const auto told = Told(
        [](const Report& report) {
            ReportOutput buffer(report);
            std::ostream out(&buffer);
            out << "one" << ' ' << 2 << '\n' << std::flush << std::flush << 'x' << std::flush << "never";
        },
        4096);

    EXPECT_EQ(told, (std::vector{std::pair(ReportKind::Text, std::string("one 2\n")),
                                 std::pair(ReportKind::Text, std::string("x"))}));
}

TEST(ReportTest, OutputFailsWhenNobodyListens) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    close(ends[0]);
    const auto former = std::signal(SIGPIPE, SIG_IGN);
    const Report report(ends[1]);
    ReportOutput buffer(report);
    std::ostream out(&buffer);
    out << "x" << std::flush;
    std::signal(SIGPIPE, former);
    close(ends[1]);

    EXPECT_FALSE(out);
}

TEST(ReportTest, RubbishIsAnEmptyTable) {
    EXPECT_EQ(TableOf("").Rows().size(), 1U);
    EXPECT_TRUE(TableOf("abc").Rows().front().empty());
}
