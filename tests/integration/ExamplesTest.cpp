// The example clients of the documentation, run as a reader would.

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <filesystem>

#include "ServiceTest.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;

struct Outcome {
    int status;
    std::string output;
};

// Standard output and standard error of a shell command, with its exit status.
Outcome Execute(const std::string& command) {
    FILE* pipe = popen((command + " 2>&1").c_str(), "r");
    Outcome outcome{-1, {}};
    std::array<char, 4096> buffer;
    while (const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), pipe)) {
        outcome.output.append(buffer.data(), count);
    }
    const int status = pclose(pipe);
    outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return outcome;
}

const std::string s_python = "PYTHONPATH=" SYLVARIN_PYTHON "/src python3 ";
const std::string s_pythonReport = s_python + SYLVARIN_EXAMPLES "/mdp_report.py";

class ExamplesTest : public ServiceTest {
protected:
    void SetUp() override {
        std::filesystem::create_directories("/usr/local/bin");
        std::filesystem::copy_file(SYLVARIN_MESSAGES, "/usr/local/bin/mdpmessage.xml",
                                   std::filesystem::copy_options::overwrite_existing);
        ServiceTest::SetUp();
    }
};

} // namespace

TEST_F(ExamplesTest, PythonPackageDoesWhatItAndItsReadmeTell) {
    const Outcome outcome = Execute(s_python + SYLVARIN_PYTHON_TEST);
    EXPECT_EQ(outcome.status, 0) << outcome.output;
    EXPECT_THAT(outcome.output,
                HasSubstr("\ntest_tells_what_happens (__main__.Readme.test_tells_what_happens) ... ok\n"));
}

TEST_F(ExamplesTest, ReportInPythonShowsTheMachineAndItsObjects) {
    const Outcome outcome = Execute(s_pythonReport);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.output, StartsWith("Device name: IPC-4711\n"));
    EXPECT_THAT(outcome.output, HasSubstr("  Software\n"));
    EXPECT_THAT(outcome.output, HasSubstr("  Memory usage\n"));
}

TEST_F(ExamplesTest, ReportInPythonShowsNamesInGermanWithValues) {
    const Outcome outcome = Execute(s_pythonReport + " --language 1031 --values");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.output, StartsWith("Gerätename: IPC-4711\n"));
    EXPECT_THAT(outcome.output, HasSubstr("  Arbeitsspeicherbelegung\n          0  Anzahl der Einträge: 7\n"));
    EXPECT_THAT(outcome.output, HasSubstr("          3  Reserviert 3: (OBJ_E_NOTSUPPORTED)\n"));
}

TEST_F(ExamplesTest, ReportInPythonFailsWithAMessageWithoutAService) {
    const Outcome outcome = Execute(s_pythonReport + " --socket /tmp/no-such-socket");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.output, StartsWith("mdp_report.py: "));
    EXPECT_THAT(outcome.output, HasSubstr("No such file or directory"));
}

TEST_F(ExamplesTest, ReportInCppShowsEntriesWithTheirValues) {
    const Outcome outcome = Execute(SYLVARIN_REPORT);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.output, HasSubstr("Memory \"Memory\"\n"));
    EXPECT_THAT(outcome.output, HasSubstr("      0  Number of entries                        7\n"));
    EXPECT_THAT(outcome.output, HasSubstr("      3  Reserved 3                               (OBJ_E_NOTSUPPORTED)\n"));
}

TEST_F(ExamplesTest, ReportInCppFailsWithAMessageWithoutAService) {
    const Outcome outcome = Execute(SYLVARIN_REPORT " /tmp/no-such-socket");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.output, StartsWith("mdp_report: "));
}
