#include "sysconfig/CSystem.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>

#include "LogCapture.h"
#include "StandIns.h"
#include "host/Programs.h"

using testing::ElementsAre;
using testing::IsEmpty;
using ZMBSD::CSystem;

namespace {

using Call = std::vector<std::string>;

class SystemProgramsTest : public testing::Test {
protected:
    SystemProgramsTest() {
        for (const std::string& file : OutputFiles()) {
            std::filesystem::remove(file);
        }
    }

    std::vector<std::string> OutputFiles() const {
        std::vector<std::string> files;
        for (const auto& entry : std::filesystem::directory_iterator("/tmp")) {
            if (entry.path().filename().string().starts_with("file")) {
                files.push_back(entry.path());
            }
        }
        return files;
    }

    CLogCapture m_log;
    CStandIns m_standIns;
};

} // namespace

TEST_F(SystemProgramsTest, EachOperationRunsItsProgramWithItsArguments) {
    const struct {
        Call call;
        std::function<void()> operation;
    } rows[] = {
        {{"/usr/sbin/tzsetup", "Europe/Berlin"}, [] { CSystem::SetTimeZone("Europe/Berlin"); }},
        {{"/usr/sbin/service", "ntpd", "start"}, [] { CSystem::ServiceStart(CSystem::SERVICE_NTPD); }},
        {{"/usr/sbin/service", "ntpd", "stop"}, [] { CSystem::ServiceStop("ntpd"); }},
        {{"/usr/sbin/service", "ntpd", "restart"}, [] { CSystem::ServiceRestart("ntpd"); }},
        {{"/etc/rc.d/routing", "restart"}, [] { CSystem::ServiceRoutingRestart(); }},
        {{"/usr/sbin/pw", "user", "add", "-m", "-n", "a b;c"}, [] { CSystem::PwUserAdd("a b;c"); }},
        {{"/usr/sbin/pw", "user", "del", "anna"}, [] { CSystem::PwUserDelete("anna"); }},
        {{"/usr/sbin/pw", "groupmod", "wheel", "-m", "anna"}, [] { CSystem::PwUserGroupAdd("anna", "wheel"); }},
        {{"/usr/sbin/pw", "groupmod", "wheel", "-d", "anna"}, [] { CSystem::PwUserGroupRemove("anna", "wheel"); }},
        {{"/usr/sbin/pw", "group", "add", "staff"}, [] { CSystem::PwGroupAdd("staff"); }},
        {{"/usr/sbin/pw", "group", "del", "staff"}, [] { CSystem::PwGroupDelete("staff"); }},
        {{"/sbin/resolvconf", "-u"}, [] { CSystem::UpdateResolver(); }},
    };

    for (const auto& row : rows) {
        m_standIns.Add(row.call.front());
        m_standIns.ForgetCalls();
        row.operation();
        EXPECT_THAT(m_standIns.Calls(), ElementsAre(row.call));
    }
}

TEST_F(SystemProgramsTest, OperationsGiveTheStatusOfTheirProgram) {
    for (const char* path : {CSystem::TZSETUP_PATH, CSystem::SERVICE_PATH, CSystem::ROUTING_PATH, CSystem::PW_PATH}) {
        m_standIns.Add(path, 67);
    }
    EXPECT_EQ(CSystem::SetTimeZone("x"), 67U);
    EXPECT_EQ(CSystem::ServiceRestart("x"), 67U);
    EXPECT_EQ(CSystem::ServiceRoutingRestart(), 67U);
    EXPECT_EQ(CSystem::PwUserAdd("x"), 67U);
    EXPECT_EQ(CSystem::PwUserDelete("x"), 67U);
    EXPECT_EQ(CSystem::PwUserGroupAdd("x", "y"), 67U);
    EXPECT_EQ(CSystem::PwUserGroupRemove("x", "y"), 67U);
    EXPECT_EQ(CSystem::PwGroupAdd("x"), 67U);
    EXPECT_EQ(CSystem::PwGroupDelete("x"), 67U);
}

TEST_F(SystemProgramsTest, GatewayIsAskedFromTheRoutingTable) {
    m_standIns.Add(
        "/sbin/route", 0,
        "printf '   route to: default\\ndestination: default\\n    gateway: 10.1.2.3\\n  interface: em0\\n'");
    Host::ExtendSearchPath();
    EXPECT_EQ(CSystem::NetstatGetDefaultGateway("em0"), "10.1.2.3");
    EXPECT_THAT(m_standIns.Calls(), ElementsAre(Call{"/sbin/route", "-n", "get", "default", "-interface", "em0"}));
}

TEST_F(SystemProgramsTest, GatewayIsEmptyWhenTheQueryPrintsNoneOrFails) {
    Host::ExtendSearchPath();
    m_standIns.Add("/sbin/route", 0, "echo destination: default");
    EXPECT_EQ(CSystem::NetstatGetDefaultGateway("em0"), "");
    m_standIns.Add("/sbin/route", 1, "echo 'route: route has not been found' >&2");
    EXPECT_EQ(CSystem::NetstatGetDefaultGateway("em0"), "");
    m_standIns.Add("/usr/bin/awk", 2);
    EXPECT_EQ(CSystem::NetstatGetDefaultGateway("em0"), "");
}

TEST_F(SystemProgramsTest, SystemLogIsReadFromItsFile) {
    std::vector<std::string> lines;
    std::filesystem::remove(CSystem::SYSLOG_PATH);
    EXPECT_EQ(CSystem::ReadSystemLog(lines), static_cast<std::uint32_t>(ENOENT));
    std::ofstream(CSystem::SYSLOG_PATH) << "one\ntwo\n";
    EXPECT_EQ(CSystem::ReadSystemLog(lines), 0U);
    EXPECT_THAT(lines, ElementsAre("one", "two"));
}

TEST_F(SystemProgramsTest, CapturedOutputLeavesNoFileBehindAfterSuccess) {
    std::vector<std::string> lines;
    EXPECT_EQ(CSystem::Execute("echo one", lines), 0U);
    EXPECT_THAT(OutputFiles(), IsEmpty());
}

TEST_F(SystemProgramsTest, CapturedOutputLeavesNoFileBehindAfterAFailure) {
    std::vector<std::string> lines;
    EXPECT_EQ(CSystem::Execute("sh -c 'echo partly; exit 1'", lines), 1U << 8);
    EXPECT_THAT(lines, IsEmpty());
    EXPECT_THAT(OutputFiles(), IsEmpty());
}

TEST_F(SystemProgramsTest, ExecuteThatFailsGivesTheWaitStatusAndLeavesTheOutput) {
    std::vector<std::string> lines{"old"};
    std::string line = "old";
    unsigned long number = 42;
    EXPECT_EQ(CSystem::Execute("sh -c 'exit 3'", lines), 3U << 8);
    EXPECT_EQ(CSystem::Execute("false", line), 1U << 8);
    EXPECT_EQ(CSystem::Execute("false", number), 1U << 8);
    EXPECT_THAT(lines, IsEmpty());
    EXPECT_EQ(line, "old");
    EXPECT_EQ(number, 42UL);
}

TEST_F(SystemProgramsTest, CapturedOutputThatCannotBeReadGivesTheError) {
    std::vector<std::string> lines{"old"};
    EXPECT_EQ(CSystem::Execute("rm /tmp/file*", lines), static_cast<std::uint32_t>(ENOENT));
    EXPECT_THAT(lines, IsEmpty());
}

TEST_F(SystemProgramsTest, CapturedOutputIsReadableByItsOwnerOnlyWhileTheCommandRuns) {
    std::vector<std::string> lines;
    umask(0);
    EXPECT_EQ(CSystem::Execute("stat -c '%a %h %F' /tmp/file*", lines), 0U);
    EXPECT_THAT(lines, ElementsAre("600 1 regular empty file"));
}

TEST_F(SystemProgramsTest, CapturedOutputNeedsAPlaceForItsFile) {
    ASSERT_EQ(std::system("mount -t tmpfs -o ro tmpfs /tmp"), 0);
    std::vector<std::string> lines{"old"};
    const std::uint32_t status = CSystem::Execute("touch /run/ran", lines);
    ASSERT_EQ(std::system("umount /tmp"), 0);
    EXPECT_EQ(status, static_cast<std::uint32_t>(EROFS));
    EXPECT_THAT(lines, IsEmpty());
    EXPECT_FALSE(std::filesystem::exists("/run/ran"));
}
