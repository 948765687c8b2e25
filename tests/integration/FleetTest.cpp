// The mdp command on three machines behind a real sshd each, in one throw-away machine for all tests.

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr const char* Fleet = "/var/tmp/fleet";

std::string ReadAll(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

struct Outcome {
    int status; // negative: the signal that ended it
    std::string out;
    std::string err;
};

Outcome OutcomeOf(int status) {
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), ReadAll("/tmp/out"), ReadAll("/tmp/err")};
}

// A shell line that runs mdp, with time for a test machine that is busy.
std::string Line(const std::string& arguments) {
    const bool hasTime = arguments.find("--connect-timeout") != std::string::npos;
    return "exec " SYLVARIN_MDP " " + std::string(hasTime ? "" : "--connect-timeout 120 ") + arguments +
           " >/tmp/out 2>/tmp/err </dev/null";
}

Outcome Mdp(const std::string& arguments) {
    return OutcomeOf(std::system(Line(arguments).c_str()));
}

// An mdp that runs beside the test.
class CRunning {
public:
    explicit CRunning(const std::string& arguments) {
        m_process = fork();
        if (m_process == 0) {
            setsid();
            execl("/bin/sh", "sh", "-c", Line(arguments).c_str(), nullptr);
            _exit(127);
        }
    }

    void Signal(int number) const { kill(m_process, number); }

    Outcome End() const {
        int status = 0;
        waitpid(m_process, &status, 0);
        return OutcomeOf(status);
    }

private:
    pid_t m_process;
};

bool WaitFor(const std::function<bool()>& condition) {
    for (int i = 0; i < 3000; ++i) {
        if (condition()) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

// A shell line in one of the machines, without ssh.
int In(const std::string& name, const std::string& line) {
    return std::system(("nsenter --target $(cat " + std::string(Fleet) + "/" + name +
                        "/service.pid) --mount --uts --net sh -c '" + line + "'")
                           .c_str());
}

class FleetTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        setenv("ASAN_OPTIONS", "log_path=/var/tmp/fleet/sanitizer-report", 1);
        ASSERT_EQ(std::system(SYLVARIN_MAKE_FLEET " " SYLVARIN_SERVICE), 0);
    }

    // Neither an ssh nor a socket is left, and no sanitizer has found anything.
    void TearDown() override {
        EXPECT_NE(std::system("pgrep -x ssh"), 0);
        for (const char* folder : {"/tmp", "/run"}) {
            for (const auto& entry : std::filesystem::directory_iterator(folder)) {
                EXPECT_THAT(entry.path().filename().string(), Not(StartsWith("mdp-")));
            }
        }
        for (const auto& entry : std::filesystem::directory_iterator(Fleet)) {
            EXPECT_THAT(entry.path().filename().string(), Not(StartsWith("sanitizer-report"))) << ReadAll(entry.path());
        }
    }
};

} // namespace

TEST_F(FleetTest, OneMachineIsLikeThisOne) {
    const Outcome read = Mdp("--host press2 read 1008");
    const Outcome failed = Mdp("--host root@press2:22 read 7777");

    EXPECT_EQ(read.status, 0);
    EXPECT_EQ(read.out, "\"press2\"\n");
    EXPECT_EQ(read.err, "");
    EXPECT_EQ(failed.status, 1);
    EXPECT_THAT(failed.err, StartsWith("mdp: 0x7777: 0xECA60100 OBJ_E_INVALIDIDX: the object or entry does not exist"));
}

TEST_F(FleetTest, SeveralAreShownTogether) {
    const Outcome read = Mdp("--host press3,press1,press2 read 1008");
    const Outcome net = Mdp("--host press1,press2,press3 net");
    const Outcome json = Mdp("--host press2,press1 --json read 1008");

    EXPECT_EQ(read.status, 0);
    EXPECT_EQ(read.out, "press3: \"press3\"\npress1: \"press1\"\npress2: \"press2\"\n");
    EXPECT_EQ(read.err, "");
    EXPECT_EQ(net.status, 0);
    EXPECT_THAT(net.out, ContainsRegex("^HOST    ADAPTER  ADDRESS .*\n"
                                       "press1  em0      10.9.0.11 .*\n"
                                       "press2  em0      10.9.0.12 .*\n"
                                       "press3  em0      10.9.0.13 .*\n$"));
    EXPECT_EQ(json.status, 0);
    EXPECT_THAT(json.out, ContainsRegex("\"host\": \"press2\",\n.*\"status\": 0,(.|\n)*\"value\": \"press2\"(.|\n)*"
                                        "\"host\": \"press1\",(.|\n)*\"value\": \"press1\""));
}

TEST_F(FleetTest, WriteChangesTheMachineThatIsNamed) {
    EXPECT_EQ(Mdp("--host press2 write 1008 press-two").status, 0);

    EXPECT_EQ(Mdp("--host press1,press2,press3 read 1008").out,
              "press1: \"press1\"\npress2: \"press-two\"\npress3: \"press3\"\n");
    EXPECT_EQ(Mdp("--host press2 write 1008 press2").status, 0);
}

// The network, too: each has its address from the table and keeps the connection by which it is told.
TEST_F(FleetTest, SettingsOfOneMachineAreGivenToAll) {
    const std::string all = "--host press1,press2,press3 ";
    ASSERT_EQ(Mdp("--host press1 net set em0 --dns 9.9.9.9").status, 0);
    ASSERT_EQ(Mdp("--host press1 group add fitters").status, 0);
    ASSERT_EQ(Mdp("--host press1 group join fitters op").status, 0);
    ASSERT_EQ(Mdp("--host press1 save /tmp/golden.json").status, 0);
    std::ofstream("/tmp/table.csv") << "machine,name,net.em0.address\n"
                                       "press1,press1,10.9.0.11\n"
                                       "press2,press2,10.9.0.12\n"
                                       "press3,press3,10.9.0.13\n";
    const std::string document = "/tmp/golden.json --values /tmp/table.csv";

    const Outcome before = Mdp(all + "diff " + document);
    EXPECT_EQ(before.status, 6); // some differ
    EXPECT_THAT(before.out, ContainsRegex("(^|\n)press2: dns: .* -> 9.9.9.9\n"));
    EXPECT_THAT(before.out, HasSubstr("press2: groups.fitters: no such group -> op\n"));
    EXPECT_THAT(before.out, Not(HasSubstr("press1: ")));

    const Outcome applied = Mdp(all + "apply " + document);
    EXPECT_EQ(applied.status, 0) << applied.out << applied.err;
    EXPECT_EQ(In("press2", "grep -q 9.9.9.9 /etc/resolv.conf"), 0);
    EXPECT_EQ(In("press3", "grep -q \"^fitters:.*:op$\" /etc/group"), 0);
    EXPECT_EQ(Mdp(all + "read 1008").out, "press1: \"press1\"\npress2: \"press2\"\npress3: \"press3\"\n");
    EXPECT_EQ(In("press3", "grep -q \"^ifconfig_em0=.*10.9.0.13\" /etc/rc.conf"), 0);

    const Outcome again = Mdp(all + "apply " + document);
    EXPECT_EQ(again.status, 0) << again.out << again.err;
    EXPECT_THAT(again.out, ContainsRegex("press2: nothing to change: "));
}

TEST_F(FleetTest, FilesGoToAllAndComeFromAll) {
    std::ofstream("/tmp/sent", std::ios::binary) << std::string(1500000, 'x') << "end";
    std::filesystem::create_directory("/tmp/got");

    EXPECT_EQ(Mdp("--host press1,press2,press3 put /tmp/sent /tmp/file").status, 0);
    EXPECT_EQ(Mdp("put /tmp/err press2:/tmp/file").status, 0); // which is empty
    const Outcome got = Mdp("--host press1,press2,press3 get /tmp/file /tmp/got");
    const Outcome one = Mdp("get root@press3:/tmp/file /tmp/one");

    EXPECT_EQ(got.status, 0) << got.err;
    EXPECT_TRUE(ReadAll("/tmp/got/press1/file") == ReadAll("/tmp/sent"));
    EXPECT_EQ(ReadAll("/tmp/got/press2/file"), "");
    EXPECT_TRUE(ReadAll("/tmp/got/press3/file") == ReadAll("/tmp/sent"));
    EXPECT_EQ(one.status, 0) << one.err;
    EXPECT_TRUE(ReadAll("/tmp/one") == ReadAll("/tmp/sent"));
}

// What is a link or the file itself on this side is none on the other machine.
TEST_F(FleetTest, PathsOfAnotherMachineAreNotThoseOfThisOne) {
    std::ofstream("/tmp/same") << "of this side";
    const Outcome put = Mdp("put /tmp/same press1:/tmp/same");
    const Outcome got = Mdp("get press1:/tmp/same -");

    EXPECT_EQ(put.status, 0) << put.err;
    EXPECT_EQ(got.out, "of this side");
}

TEST_F(FleetTest, TransfersOfOneMachineTakeTurns) {
    std::ofstream("/tmp/sent") << "sent";
    ASSERT_EQ(Mdp("--host press1,press2 put /tmp/sent /tmp/file").status, 0);
    std::filesystem::create_directory("/tmp/turns");
    // As another mdp that gets something from press1.
    ASSERT_EQ(
        std::system("mkfifo /tmp/let-go; flock /run/.mdp-press1-get.lock sh -c ': >/tmp/held; cat /tmp/let-go' &"), 0);
    ASSERT_TRUE(WaitFor([] { return std::filesystem::exists("/tmp/held"); }));
    const CRunning get("--host press1,press2 get /tmp/file /tmp/turns");
    EXPECT_TRUE(WaitFor([] { return ReadAll("/tmp/err").find("to end\n") != std::string::npos; }));
    EXPECT_TRUE(WaitFor([] { return std::filesystem::exists("/tmp/turns/press2/file"); }));
    EXPECT_FALSE(std::filesystem::exists("/tmp/turns/press1/file"));
    std::ofstream("/tmp/let-go") << "";
    const Outcome got = get.End();

    EXPECT_EQ(got.status, 0);
    EXPECT_EQ(got.err, "press1: mdp: waiting for another mdp get to end\n");
    EXPECT_EQ(ReadAll("/tmp/turns/press1/file"), "sent");
}

TEST_F(FleetTest, MachinesThatCannotBeReachedAreTold) {
    const Outcome ran = Mdp("--host press1,press8,nowhere,press3 read 1008");
    const Outcome silent = Mdp("--connect-timeout 1 --host press8,press9 read 1008");

    EXPECT_EQ(ran.status, 7);
    EXPECT_EQ(ran.out, "press1:  \"press1\"\npress3:  \"press3\"\n");
    EXPECT_THAT(ran.err, StartsWith("mdp: 2 of 4 machines: ok\n"));
    EXPECT_THAT(ran.err, HasSubstr("mdp: press8: no connection: ssh: connect to host press8 port 22: Connection "
                                   "refused; look at: ssh press8\n"));
    EXPECT_THAT(ran.err, HasSubstr("mdp: nowhere: no connection: ssh: Could not resolve hostname nowhere: "));
    EXPECT_THAT(ran.err, HasSubstr("mdp: to go on with these alone: --host press8,nowhere\n"));
    EXPECT_EQ(silent.status, 7);
    EXPECT_THAT(silent.err, HasSubstr("mdp: press9: no connection: ssh"));
}

TEST_F(FleetTest, UnknownHostKeyIsNotTaken) {
    const Outcome ran = Mdp("--host 10.9.0.11,press2 read 1008");

    EXPECT_EQ(ran.status, 7);
    EXPECT_THAT(ran.err, HasSubstr("mdp: 10.9.0.11: no connection: ssh: Host key verification failed."));
}

TEST_F(FleetTest, WhoMayNotUseTheSocketIsTold) {
    for (const char* host : {"op@press1", "press3:2222"}) {
        const Outcome ran = Mdp("--host press2," + std::string(host) + " read 1008");

        EXPECT_EQ(ran.status, 7) << host;
        EXPECT_THAT(ran.err, HasSubstr("ssh is connected, but the service does not answer at /tmp/MDP0 there; log in "
                                       "as a user who may use that socket, such as root"))
            << host;
    }
}

TEST_F(FleetTest, SignalTidiesUpOnTheMachine) {
    // A transfer that never ends.
    ASSERT_EQ(
        std::system("mkfifo /tmp/slow; (while :; do head -c 65536 /dev/zero || exit; sleep 0.01; done) >/tmp/slow "
                    "2>/dev/null &"),
        0);
    const CRunning put("--host press1,press2 put /tmp/slow /tmp/slow-file");
    const auto isThere = [] { return In("press1", "ls -A /tmp | grep -q slow-file.mdp-") == 0; };
    EXPECT_TRUE(WaitFor(isThere));
    put.Signal(SIGINT);
    const Outcome ended = put.End();

    EXPECT_EQ(ended.status, -SIGINT);
    EXPECT_THAT(ended.err, HasSubstr("mdp: 0 of 2 machines: ok\n"));
    EXPECT_FALSE(isThere());
}

TEST_F(FleetTest, MachineThatDiesInTheMiddleIsTold) {
    const CRunning watch("--host press1,press2,press3 watch --period 0.05 --count 40 1008");
    EXPECT_TRUE(WaitFor([] { return ReadAll("/tmp/out").find("press2: ") != std::string::npos; }));
    ASSERT_EQ(std::system("kill -9 $(ip netns pids press2)"), 0);
    const Outcome ended = watch.End();

    EXPECT_EQ(ended.status, 7) << ended.err;
    EXPECT_THAT(ended.err, HasSubstr("mdp: 2 of 3 machines: ok\nmdp: press2: the connection was lost: ssh: "));
    EXPECT_THAT(ended.err, HasSubstr("mdp: to go on with these alone: --host press2\n"));
}

// Behind this the service of press3 is gone.
TEST_F(FleetTest, SocketOfAnybodyElseIsRefused) {
    ASSERT_EQ(In("press3", "rm /tmp/MDP0; setsid runuser -u op -- python3 -c \""
                           "import socket, time; s = socket.socket(socket.AF_UNIX); s.bind(\\\"/tmp/MDP0\\\"); "
                           "s.listen(); time.sleep(600)\" >/dev/null 2>&1 & "
                           "for i in $(seq 500); do [ -S /tmp/MDP0 ] && exit 0; sleep 0.02; done; exit 1"),
              0);
    const Outcome ran = Mdp("--host press3 read 1008");

    EXPECT_EQ(ran.status, 3);
    EXPECT_THAT(ran.err, ContainsRegex("^mdp: press3: user [0-9]+ listens at /tmp/MDP0 there, and neither root nor the "
                                       "user of ssh; find out on that machine who it is\n$"));
}
