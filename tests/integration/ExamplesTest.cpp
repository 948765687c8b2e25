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

const std::string s_python = "python3 " SYLVARIN_EXAMPLES "/mdp_client.py";

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

TEST_F(ExamplesTest, PythonClientShowsTheMachineAndItsObjects) {
    const Outcome outcome = Execute(s_python);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.output, StartsWith("Device name: IPC-4711\n"));
    EXPECT_THAT(outcome.output, HasSubstr("  Software\n"));
    EXPECT_THAT(outcome.output, HasSubstr("  Memory usage\n"));
}

TEST_F(ExamplesTest, PythonClientShowsNamesInGerman) {
    const Outcome outcome = Execute(s_python + " --language 1031");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.output, StartsWith("Gerätename: IPC-4711\n"));
    EXPECT_THAT(outcome.output, HasSubstr("  Arbeitsspeicherbelegung\n"));
}

TEST_F(ExamplesTest, PythonClientWritesAnEntryAndTellsTheCodeOfARefusal) {
    const std::string script = "python3 -c 'import sys; sys.path.insert(0, \"" SYLVARIN_EXAMPLES "\")\n"
                               "import mdp_client\n"
                               "client = mdp_client.MdpClient()\n"
                               "client.write(0x1008, 0, b\"press-7\")\n"
                               "print(client.read_text(0x1008, 0), client.describe_entry(0x1008, 0))\n"
                               "try:\n"
                               "    client.write(0x1000, 0, b\"1234\")\n"
                               "except mdp_client.MdpError as error:\n"
                               "    print(error, error.code == 0xECA60101)\n"
                               "try:\n"
                               "    client.read(0x8000, 1, flags=mdp_client.SERVICE_ACCESS)\n"
                               "except mdp_client.MdpError as error:\n"
                               "    print(error, error.code)\n"
                               "'";
    EXPECT_EQ(Execute(script).output, "press-7 (9, True, True, 'Device name')\n"
                                      "write of 1000:0: 0xECA60101 True\n"
                                      "read of 8000:1: refused None\n");
}

TEST_F(ExamplesTest, PythonClientRunsAServiceAndTakesItsFailure) {
    // Without DHCP there is nothing to renew, and the service ends well; a record of 5 bytes cannot be used.
    const std::string script = "python3 -c 'import sys; sys.path.insert(0, \"" SYLVARIN_EXAMPLES "\")\n"
                               "import mdp_client\n"
                               "client = mdp_client.MdpClient()\n"
                               "header = next(header for header, kind, _ in client.modules() if kind == 2)\n"
                               "service = 0xB000 | header & 0x0FF0\n"
                               "print(client.call(service, b\"\"))\n"
                               "try:\n"
                               "    client.call(service + 1, b\"12345\")\n"
                               "except mdp_client.MdpError as error:\n"
                               "    print(error.code == 0xECA60106)\n"
                               "'";
    EXPECT_EQ(Execute(script).output, "b''\nTrue\n");
}

TEST_F(ExamplesTest, PythonClientFailsWithAMessageWithoutAService) {
    const Outcome outcome = Execute(s_python + " --socket /tmp/no-such-socket");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.output, StartsWith("mdp_client.py: "));
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
