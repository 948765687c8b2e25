#include <algorithm>
#include <csignal>
#include <string>
#include <vector>

#include "NameOfText.h"
#include "ServiceTest.h"

namespace {

constexpr int s_local0 = 16;

std::string NameFor(int priority) {
    switch (priority) {
    case 3:
        return "Error: ";
    case 4:
        return "Warning: ";
    default:
        return "";
    }
}

bool StartsWith(const std::string& text, const std::string& start) {
    return text.compare(0, start.size(), start) == 0;
}

// Those of the texts that are among the wanted ones, in their order of arrival.
std::vector<std::string> Only(const std::vector<std::string>& texts, const std::vector<std::string>& wanted) {
    std::vector<std::string> found;
    std::copy_if(texts.begin(), texts.end(), std::back_inserter(found), [&](const std::string& text) {
        return std::find(wanted.begin(), wanted.end(), text) != wanted.end();
    });
    return found;
}

void RunOnce(const ServiceStart& start) {
    ServiceUnderTest service(start);
    ASSERT_TRUE(service.WaitUntilAnswering()) << service.Output();
    ASSERT_EQ(service.Stop().exitStatus, 0) << service.Output();
}

using LogLinesTest = LogTest;

class VerboseArgument : public LogTest, public testing::WithParamInterface<const char*> {};

class NotAVerboseArgument : public LogTest, public testing::WithParamInterface<const char*> {};

class RunningLogTest : public ServiceTest {};

} // namespace

TEST_P(VerboseArgument, RoutesProgressToTheSystemLogFromThenOn) {
    RunOnce({{"-nof", GetParam()}, "sylvarin", {}});

    const auto lines = m_log.Lines();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines[0].text, "None: Main: -Verbose Mode: Enabled");
    EXPECT_EQ(lines[0].priority, 5);
    // The route comes after it.
    EXPECT_EQ(m_log.Count("None: ------------- Sylvarin (START) -------------"), 0U);
    EXPECT_EQ(m_log.Count("None: Logger is initialized"), 0U);
    EXPECT_EQ(m_log.Count("None: ------------- Sylvarin (END) -------------"), 1U);
}

INSTANTIATE_TEST_SUITE_P(Arguments, VerboseArgument, testing::Values("/verbose", "/v", "-verbose", "-v"), NameOfText);

TEST_P(NotAVerboseArgument, LeavesProgressOutOfTheSystemLog) {
    RunOnce({{"-nof", GetParam()}, "sylvarin", {}});

    for (const auto& line : m_log.Lines()) {
        EXPECT_FALSE(StartsWith(line.text, "None: ")) << line.text;
    }
}

INSTANTIATE_TEST_SUITE_P(Arguments, NotAVerboseArgument, testing::Values("-V", "--verbose", "-verbos", "v", "/V", ""),
                         NameOfText);

TEST_F(LogLinesTest, AVerboseArgumentInThePlaceOfTheProgramsNameCounts) {
    RunOnce({{"-nof"}, "-v", {}});
    EXPECT_EQ(m_log.Count("None: Main: -Verbose Mode: Enabled"), 1U);
}

TEST_F(LogLinesTest, EveryLineIsOfTheServicesIdentFacilityAndProcess) {
    ServiceUnderTest service({{"-nof", "-v"}, "sylvarin", {}});
    ASSERT_TRUE(service.WaitUntilAnswering()) << service.Output();
    ASSERT_EQ(service.Stop().exitStatus, 0);

    const auto lines = m_log.Lines();
    EXPECT_GT(lines.size(), 10U);
    for (const auto& line : lines) {
        EXPECT_EQ(line.facility, s_local0) << line.text;
        EXPECT_EQ(line.ident, "Sylvarin") << line.text;
        EXPECT_EQ(line.pid, service.Pid()) << line.text;
    }
}

TEST_F(LogLinesTest, TheNameInFrontOfALineFitsItsPriority) {
    ServiceUnderTest first({{"-nof", "-v"}, "sylvarin", {}});
    ASSERT_TRUE(first.WaitUntilAnswering()) << first.Output();
    WireClient::Transact("18 00 00 00 00 00 00 00  FF 00 00 00 00 00 00 00  FF 00 00 00 00 00 00 00"_hex);
    ASSERT_TRUE(m_log.WaitForStart("Error: "));
    ASSERT_EQ(first.Stop().exitStatus, 0);

    for (const auto& line : m_log.Lines()) {
        const std::string name = NameFor(line.priority);
        if (name.empty()) {
            EXPECT_EQ(line.priority, 5) << line.text;
            EXPECT_TRUE(StartsWith(line.text, "Info: ") || StartsWith(line.text, "None: ")) << line.text;
        } else {
            EXPECT_TRUE(StartsWith(line.text, name)) << line.text;
        }
    }
}

TEST_F(LogLinesTest, WithoutVerboseTheDaemonLogsOnlyInfoWarningsAndErrors) {
    ServiceUnderTest launched({{}, "sylvarin", {}});
    ASSERT_EQ(launched.WaitForEnd().exitStatus, 0) << launched.Output();
    ASSERT_TRUE(m_log.WaitFor("Info: Sylvarin started."));
    ServiceUnderTest daemon(m_log.Lines().back().pid);
    ASSERT_TRUE(daemon.WaitUntilAnswering());
    ASSERT_EQ(daemon.Stop().exitStatus, 0);

    for (const auto& line : m_log.Lines()) {
        EXPECT_FALSE(StartsWith(line.text, "None: ")) << line.text;
        EXPECT_TRUE(!StartsWith(line.text, "Info: ") || line.text == "Info: Sylvarin started.") << line.text;
    }
    EXPECT_EQ(m_log.Count("Info: Sylvarin started."), 1U);
}

TEST_F(LogLinesTest, StartAndStopInTheForegroundLogTheirStepsInOrder) {
    RunOnce({{"-nof", "-v"}, "sylvarin", {}});

    const std::vector<std::string> steps = {
        "None: Main: -Verbose Mode: Enabled",
        "None: CDaemon: Starting Sylvarin-Daemon",
        "None: CDaemon: Do NOT fork",
        "None: CDaemon: Daemon started",
        "None: Creating MDP modules...",
        "None: General created.",
        "None: Finished.",
        "Info: Sylvarin started.",
        "None: Sylvarin->SignalHandlerTerminate: Got terminate signal!",
        "None: PipeCommunication::Receiver(): Terminate!",
        "None: ------------- Sylvarin (END) -------------",
        "None: Logger is shutting down",
    };
    EXPECT_EQ(Only(m_log.Texts(), steps), steps);
    EXPECT_EQ(m_log.Count("None: CDaemon: Do fork"), 0U);
    EXPECT_EQ(m_log.Texts().back(), "None: Logger is shutting down");
}

TEST_F(LogLinesTest, TheReceiverWaitsForClientsOnlyAfterTheModulesAreThere) {
    RunOnce({{"-nof", "-v"}, "sylvarin", {}});

    const std::vector<std::string> steps = {"None: Finished.", "None: Waiting for client...",
                                            "None: PipeCommunication::Receiver(): Terminate!"};
    EXPECT_EQ(Only(m_log.Texts(), steps), steps);
}

TEST_F(LogLinesTest, TheDaemonLogsItsForkAndFromThenOnIsAnotherProcess) {
    ServiceUnderTest launched({{"-v"}, "sylvarin", {}});
    ASSERT_EQ(launched.WaitForEnd().exitStatus, 0) << launched.Output();
    ASSERT_TRUE(m_log.WaitFor("Info: Sylvarin started."));

    const auto lines = m_log.Lines();
    ASSERT_GE(lines.size(), 4U);
    EXPECT_EQ(lines[1].text, "None: CDaemon: Starting Sylvarin-Daemon");
    EXPECT_EQ(lines[2].text, "None: CDaemon: Do fork");
    EXPECT_EQ(lines[2].pid, launched.Pid());
    EXPECT_EQ(lines[3].text, "None: CDaemon: Daemon started");
    EXPECT_NE(lines[3].pid, launched.Pid());
    EXPECT_EQ(m_log.Count("None: CDaemon: Do NOT fork"), 0U);

    ServiceUnderTest daemon(lines[3].pid);
    EXPECT_EQ(daemon.Stop().exitStatus, 0);
}

TEST_F(LogLinesTest, ModulesReportTheirCreationInTheFixedOrder) {
    RunOnce({{"-nof", "-v"}, "sylvarin", {}});

    const std::vector<std::string> modules = {
        "None: General created.",
        "None: NIC created.",
        "None: Zelmora created.",
        "None: DiskManagement created.",
        "None: CPU created.",
        "None: Software created.",
        "None: MassStorageMonitoring created.",
        "None: FileSystemObject FSO created.",
        "None: UPS created.",
        "None: OperatingSystem created.",
        "None: Memory created.",
        "None: UserManagement created.",
        "None: Time created.",
        "None: Fan created.",
        "None: Mainboard created.",
        "None: IO created.",
    };
    const auto created = Only(m_log.Texts(), modules);
    ASSERT_FALSE(created.empty());
    EXPECT_EQ(created.front(), "None: General created.");
    // Modules without their hardware are absent; those that are there keep the order.
    EXPECT_EQ(created, Only(modules, created));

    const auto texts = m_log.Texts();
    const auto first = std::find(texts.begin(), texts.end(), "None: Creating MDP modules...");
    const auto last = std::find(texts.begin(), texts.end(), "None: Finished.");
    EXPECT_LT(first, std::find(texts.begin(), texts.end(), created.front()));
    EXPECT_LT(std::find(texts.begin(), texts.end(), created.back()), last);
}

TEST_F(LogLinesTest, WithoutASystemLogTheServiceRunsAllTheSame) {
    std::filesystem::remove("/dev/log");
    ServiceUnderTest service({{"-nof", "-v"}, "sylvarin", {}});
    EXPECT_TRUE(service.WaitUntilAnswering()) << service.Output();
    EXPECT_EQ(service.Stop().exitStatus, 0) << service.Output();
}

TEST_F(RunningLogTest, AClientThatClosesBeforeTheReplyIsLoggedAndTheServiceGoesOn) {
    const std::string crashed = "None: Sylvarin->SignalHandlerPipe: Client crashed!";
    const std::string failed = "None: Write socket failed (client terminated): " + std::to_string(EPIPE);
    // Whether the service writes before or after the client has closed is a race: repeat until it lost it.
    for (int i = 0; i < 2000 && (m_log.Count(crashed) == 0 || m_log.Count(failed) == 0); ++i) {
        WireClient client;
        client.Send("2E 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"
                    "00 00 00 10 00 00 00 00 00 00 00 00 00 00 04 00 00 00 00 00 00 00"_hex);
    }

    EXPECT_TRUE(m_log.WaitFor(crashed));
    EXPECT_TRUE(m_log.WaitFor(failed));
    EXPECT_TRUE(m_service->WaitUntilAnswering());
}

TEST_F(RunningLogTest, ALongTextIsCutAndNotSplit) {
    // The refused name comes back in a progress line of up to 511 characters behind the severity's name.
    const std::string name(1000, 'x');
    Bytes frame = Join({Little(24 + 18 + 1000, 8), Little(24, 8), Little(24 + 18 + 1000, 8),
                        "00 00 08 10 00 00 00 00 00 00 00 00 00 00 E8 03 00 00"_hex, Bytes(name.begin(), name.end())});
    WireClient::Transact(frame);

    const std::string start = "None: {General}::WrDeviceName() new name = ";
    ASSERT_TRUE(m_log.WaitForStart(start));
    for (const auto& text : m_log.Texts()) {
        if (StartsWith(text, start)) {
            EXPECT_EQ(text.size(), 511 + std::string("None: ").size());
        }
    }
}
