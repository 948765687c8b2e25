// Commands on other machines: the mdp program with a stand-in for ssh, which leads to the machine that the test makes
// up.

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "CommandsTest.h"
#include "ParsedJson.h"

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

// The stand-in notes its words and does as ssh would, but for what a file with the name of the host changes of it.
constexpr const char* s_ssh = R"sh(#!/bin/sh
cd "$(dirname "$0")" || exit
printf '%s\n' "$@" --- >>calls
while [ $# -gt 2 ]; do
    [ "$1" != -L ] || forward=${2%%:*}
    shift
done
host=$1
owner=0 type=s
finish='cat >/dev/null'
greet() {
    echo "Welcome to $host"
    echo mdp-begin
    id -u
    echo "${type}rwxr-xr-x 1 $owner 0 0 Nov 22 06:22 /tmp/MDP0"
    echo mdp-end
}
[ ! -e "host-$host" ] || . "./host-$host"
ln -s "$(cat service)" "$forward"
greet
eval "$finish"
)sh";

std::string ReadAll(const std::string& path) {
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

class FleetTest : public CommandsTest {
protected:
    void SetUp() override {
        char directory[] = "/tmp/mdp-fleet-test-XXXXXX";
        ASSERT_NE(mkdtemp(directory), nullptr);
        m_directory = directory;
        std::filesystem::create_directory(m_directory + "/run");
        Write("ssh", s_ssh);
        std::filesystem::permissions(m_directory + "/ssh", std::filesystem::perms{0700});
        Write("service", m_service.Path());
        m_machine.objects[0x1008] = {7, "Device name", {{0x0009, "rw", "Device name", Text("press"), 0}}};
        m_machine.objects[0x8001] = {9, "Settings", {CountEntry(1), {0x0006, "r-", "Speed", Number(7, 2), 0}}};
    }

    // Every connection has ended with the program.
    void TearDown() override {
        EXPECT_TRUE(std::filesystem::is_empty(m_directory + "/run"));
        std::filesystem::remove_all(m_directory);
    }

    void Write(const std::string& name, const std::string& text) const {
        std::ofstream(m_directory + "/" + name, std::ios::binary) << text;
    }

    // A shell line that runs mdp, in a session without a terminal.
    std::string Line(const std::string& arguments) const {
        return "XDG_RUNTIME_DIR=" + m_directory + "/run MDP_SSH=" + m_directory +
               "/ssh exec setsid -w " SYLVARIN_MDP " " + arguments + " >" + m_directory + "/out 2>" + m_directory +
               "/err </dev/null";
    }

    Ran Outcome(int status) const {
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), ReadAll(m_directory + "/out"),
                ReadAll(m_directory + "/err")};
    }

    Ran Mdp(const std::string& arguments) const { return Outcome(std::system(Line(arguments).c_str())); }

    // The words of each call of ssh, a line each, with "---" at the end of a call.
    std::string Calls() const { return ReadAll(m_directory + "/calls"); }

    std::string m_directory;
};

const std::string s_down = "echo 'ssh: connect to host x port 22: No route to host' >&2; exit 255\n";

} // namespace

TEST_F(FleetTest, OneMachineIsLikeThisOne) {
    const Ran ran = Mdp("--host root@press1 read 1008");

    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.out, "\"press\"\n");
    EXPECT_EQ(ran.err, "");
}

TEST_F(FleetTest, OneMachineGivesTheStatusOfTheCommand) {
    const Ran ran = Mdp("--host press1 read 7777");

    EXPECT_EQ(ran.status, 1);
    EXPECT_EQ(ran.err, "mdp: 0x7777: 0xECA60100 OBJ_E_INVALIDIDX: the object or entry does not exist; "
                       "mdp tree shows what this machine has\n");
}

TEST_F(FleetTest, OneMachineThatIsNotReachedIsAFailureToConnect) {
    Write("host-press1", s_down);
    const Ran ran = Mdp("--host root@press1:2222 read 1008");
    const Ran json = Mdp("--host press1 --json read 1008");

    EXPECT_EQ(ran.status, 3);
    EXPECT_EQ(ran.err, "mdp: press1: no connection: ssh: connect to host x port 22: No route to host; look at: ssh -p "
                       "2222 root@press1\n");
    EXPECT_EQ(json.status, 3);
    EXPECT_EQ(ParsedJson(json.out)["error"]["kind"], "connect");
    EXPECT_EQ(json.err, "");
}

TEST_F(FleetTest, LinesOfSeveralHaveTheMachineInFrontInTheirOrder) {
    Write("host-a", "sleep 0.3\n");
    const Ran ran = Mdp("--host a,press2 read 1008");

    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.out, "a:      \"press\"\n"
                       "press2: \"press\"\n");
    EXPECT_EQ(ran.err, "");
}

TEST_F(FleetTest, SettingsOfSeveralGoByTheNamesOfTheMachines) {
    const std::string saved = m_directory + "/saved";
    std::filesystem::create_directory(saved);
    Write("golden.json", R"({"version": 1, "name": "golden"})");
    Write("table.csv", "machine,name\na,press-a\nb,press-b\n");

    const Ran save = Mdp("--host a,b save --only name " + saved);
    const Ran diff = Mdp("--host a,b diff " + m_directory + "/golden.json --values " + m_directory + "/table.csv");

    EXPECT_EQ(save.status, 0) << save.err;
    for (const char* name : {"/a.json", "/b.json"}) {
        EXPECT_EQ(ReadAll(saved + name), "{\n  \"version\": 1,\n  \"name\": \"press\"\n}\n");
    }
    EXPECT_EQ(diff.out, "a: name: press -> press-a\n"
                        "b: name: press -> press-b\n");
    EXPECT_EQ(Mdp("--host a,b save " + m_directory + "/golden.json").status, 2);
    EXPECT_EQ(Mdp("--host a,b apply -").status, 2);
}

TEST_F(FleetTest, TablesOfSeveralAreOne) {
    const Ran ran = Mdp("--host a --host press2 read 8001");

    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.out, "HOST    SUB  NAME               TYPE        ACCESS  VALUE\n"
                       "a         0  Number of entries  UNSIGNED8   r-      1\n"
                       "a         1  Speed              UNSIGNED16  r-      7\n"
                       "press2    0  Number of entries  UNSIGNED8   r-      1\n"
                       "press2    1  Speed              UNSIGNED16  r-      7\n");
}

TEST_F(FleetTest, JsonOfSeveralIsAnArray) {
    Write("host-b", s_down);
    const Ran ran = Mdp("--host c,b,a --json read 1008");

    EXPECT_EQ(ran.status, 7);
    const auto json = ParsedJson(ran.out);
    ASSERT_EQ(json.size(), 3U);
    EXPECT_EQ(json[0]["host"], "c");
    EXPECT_EQ(json[0]["status"], 0);
    EXPECT_EQ(json[0]["result"]["value"], "press");
    EXPECT_EQ(json[1]["host"], "b");
    EXPECT_EQ(json[1]["status"], 3);
    EXPECT_EQ(json[1]["error"]["kind"], "connect");
    EXPECT_EQ(json[2]["result"]["value"], "press");
    EXPECT_EQ(ran.err, "");
}

TEST_F(FleetTest, SummaryTellsWhatFailed) {
    Write("host-b", s_down);
    const Ran unreached = Mdp("--host a,root@b,c read 1008");
    const Ran failed = Mdp("--host a,b,c read 7777");

    EXPECT_EQ(unreached.status, 7);
    EXPECT_EQ(unreached.out, "a: \"press\"\nc: \"press\"\n");
    EXPECT_EQ(unreached.err, "mdp: 2 of 3 machines: ok\n"
                             "mdp: b: no connection: ssh: connect to host x port 22: No route to host; look at: ssh "
                             "root@b\n"
                             "mdp: to go on with these alone: --host root@b\n");
    EXPECT_EQ(failed.status, 6);
    EXPECT_THAT(failed.err, HasSubstr("mdp: a, c: 0x7777: 0xECA60100 OBJ_E_INVALIDIDX"));
    EXPECT_THAT(failed.err, HasSubstr("go on with these alone: --host a,b,c\n"));
}

TEST_F(FleetTest, SshGetsItsWords) {
    Mdp("--host root@press1:2222 --ssh-option 'User=x y' --ssh-option BatchMode=no --socket /run/MDP0 read 1008");

    const std::string calls = Calls();
    EXPECT_THAT(calls, StartsWith("-T\n-a\n-x\n-o\nUser=x y\n-o\nBatchMode=no\n-o\nBatchMode=yes\n-o\n"
                                  "ConnectTimeout=15\n"));
    for (const char* option : {"ControlMaster=no", "ControlPath=none", "RemoteCommand=none", "PermitLocalCommand=no",
                               "StreamLocalBindMask=0177", "ServerAliveInterval=5"}) {
        EXPECT_THAT(calls, HasSubstr("-o\n" + std::string(option) + "\n"));
    }
    EXPECT_THAT(calls, HasSubstr("-L\n" + m_directory + "/run/mdp-"));
    EXPECT_THAT(calls, HasSubstr("/0:/run/MDP0\n-l\nroot\n-p\n2222\n--\npress1\n"
                                 "echo mdp-begin; id -u; ls -ldn /run/MDP0; echo mdp-end; exec cat\n---\n"));
}

TEST_F(FleetTest, MachineIsNeverAnOptionOfSsh) {
    for (const char* words : {"--host=-oProxyCommand=x read 1008", "--host a,-oProxyCommand=x read 1008",
                              "--host 'a;b' read 1008", "get -- '-oProxyCommand=x:/etc/passwd' ."}) {
        const Ran ran = Mdp(words);
        EXPECT_EQ(ran.status, 2) << words;
        EXPECT_THAT(ran.err, HasSubstr("is no machine's name; the form is")) << words;
    }
    EXPECT_EQ(Calls(), "");
}

TEST_F(FleetTest, WhatCannotBeDoneIsToldBeforeAnyConnection) {
    for (const char* words : {"--host a b:/x", "get --host a b:/x .", "--host a --socket 'x y' read 1008",
                              "--host a --socket /tmp/'$(x)' read 1008", "--host a,b put - /x", "--host a,b get /x -",
                              "--host a,b get /x /nowhere", "--host a,b read --raw 1008", "--host a,b call --raw B010",
                              "--host a,b call --file - B010", "--host a,b user list x",
                              "--host a,b user add x --password-fd 9", "--host @/nowhere/hosts read 1008"}) {
        const Ran ran = Mdp(words);
        EXPECT_EQ(ran.status, 2) << words;
        EXPECT_THAT(ran.err, StartsWith("mdp: ")) << words;
    }
    EXPECT_EQ(Calls(), "");
}

TEST_F(FleetTest, SocketOfAnotherUserIsRefused) {
    Write("host-a", "owner=$(($(id -u) + 1001))\n");
    Write("host-b", "owner=$(id -u)\n");
    Write("host-c", "type=-\n");
    Write("host-d", "greet() { echo mdp-begin; id -u; echo mdp-end; }\n");
    Write("host-e", "greet() { echo mdp-begin; echo mdp-end; }\n");
    Write("host-f", "greet() { yes | head -c 100000; }\n");
    const Ran ran = Mdp("--host a,b,c,d,e,f read 1008");

    EXPECT_EQ(ran.status, 7);
    EXPECT_EQ(ran.out, "b: \"press\"\n");
    EXPECT_THAT(ran.err, HasSubstr("mdp: a: user " + std::to_string(getuid() + 1001) +
                                   " listens at /tmp/MDP0 there, and neither root nor the user of ssh; find out"));
    EXPECT_THAT(ran.err, HasSubstr("mdp: c: /tmp/MDP0 is no socket there"));
    EXPECT_THAT(ran.err, HasSubstr("mdp: d: there is no /tmp/MDP0 there; start the service on that machine\n"));
    EXPECT_THAT(ran.err, HasSubstr("mdp: e: the shell there does not know who it is for; look at: ssh e id -u\n"));
    EXPECT_THAT(ran.err, HasSubstr("mdp: f: the shell there answers with something else"));
}

TEST_F(FleetTest, ForwardThatIsNotThereIsTold) {
    Write("host-a", "echo 'unix_listener: cannot bind' >&2; sleep 0.1; greet; exec cat >/dev/null\n");
    const Ran ran = Mdp("--host a,b read 1008");

    EXPECT_EQ(ran.status, 7);
    EXPECT_EQ(ran.out, "b: \"press\"\n");
    EXPECT_THAT(ran.err,
                HasSubstr("mdp: a: ssh is connected, but does not forward a socket: unix_listener: cannot bind\n"));
}

TEST_F(FleetTest, ServiceThatDoesNotAnswerIsTold) {
    // As a socket without a listener.
    Write("host-a", "echo >dead; ln -s \"$PWD/dead\" \"$forward\"; greet; exec cat >/dev/null\n");
    const Ran ran = Mdp("--host a read 1008");

    EXPECT_EQ(ran.status, 3);
    EXPECT_THAT(ran.err, StartsWith("mdp: a: ssh is connected, but the service does not answer at /tmp/MDP0 there; "
                                    "log in as a user who may use that socket, such as root"));
}

TEST_F(FleetTest, MissingSshIsTold) {
    std::filesystem::remove(m_directory + "/ssh");
    const Ran ran = Mdp("--host a read 1008");

    EXPECT_EQ(ran.status, 3);
    EXPECT_THAT(ran.err, HasSubstr("cannot run " + m_directory +
                                   "/ssh: No such file or directory; install OpenSSH's "
                                   "client, or name it in MDP_SSH"));
}

TEST_F(FleetTest, NoMoreThanAllowedRunAtOnce) {
    for (const char* host : {"a", "b", "c", "d"}) {
        Write("host-" + std::string(host), "mkdir busy || echo twice >overlap\n"
                                           "finish='cat >/dev/null; rmdir busy'\n"
                                           "trap 'rmdir busy; exit' TERM\n");
    }
    const Ran ran = Mdp("--jobs 1 --host a,b,c,d read 1008");

    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.out, "a: \"press\"\nb: \"press\"\nc: \"press\"\nd: \"press\"\n");
    EXPECT_FALSE(std::filesystem::exists(m_directory + "/overlap"));
}

TEST_F(FleetTest, MachineThatDoesNotAnswerHasItsTime) {
    Write("host-a", "exec sleep 600\n");
    const Ran ran = Mdp("--connect-timeout 1 --host a,b read 1008");

    EXPECT_EQ(ran.status, 7);
    EXPECT_EQ(ran.out, "b: \"press\"\n");
    EXPECT_THAT(ran.err, HasSubstr("mdp: a: no connection: ssh did not get so far within 1 s; --connect-timeout "
                                   "gives it more\n"));
}

TEST_F(FleetTest, StreamsAreShownAtOnceWithTheirMachine) {
    const Ran ran = Mdp("--host a,press2 watch --count 1 1008");
    const Ran json = Mdp("--host a,press2 --json watch --count 1 1008");

    EXPECT_EQ(ran.status, 0);
    EXPECT_THAT(ran.out, testing::ContainsRegex("a:      ..:..:..  0x1008:0  Device name  \"press\"\n"));
    EXPECT_THAT(ran.out, testing::ContainsRegex("press2: ..:..:..  0x1008:0  Device name  \"press\"\n"));
    std::istringstream lines(json.out);
    int fromA = 0;
    int fromPress2 = 0;
    for (std::string line; std::getline(lines, line);) {
        const auto object = ParsedJson(line);
        EXPECT_EQ(object["value"], "press");
        fromA += object["host"] == "a" ? 1 : 0;
        fromPress2 += object["host"] == "press2" ? 1 : 0;
    }
    EXPECT_EQ(fromA, 1);
    EXPECT_EQ(fromPress2, 1);
}

TEST_F(FleetTest, ConnectionThatIsLostIsTold) {
    Write("host-a", "finish='sleep 0.5; rm \"$forward\"; echo Connection to a closed by remote host. >&2; exit 255'\n");
    const Ran several = Mdp("--host a,b watch --period 0.02 --count 60 1008");
    const Ran alone = Mdp("--host a watch --period 0.02 --count 60 1008");

    EXPECT_EQ(several.status, 7);
    EXPECT_THAT(several.err,
                HasSubstr("mdp: 1 of 2 machines: ok\n"
                          "mdp: a: the connection was lost: ssh: Connection to a closed by remote host.\n"));
    EXPECT_EQ(alone.status, 3);
    EXPECT_THAT(alone.err, HasSubstr("mdp: a: the connection was lost: ssh: Connection to a closed by remote host.\n"));
}

TEST_F(FleetTest, FailedJobsOfSeveralAreGathered) {
    m_machine.serve = [](std::uint16_t, const TestBytes&) { return FakeResponse{2, {}}; };
    const Ran ran = Mdp("--host a,b call B010");

    EXPECT_EQ(ran.status, 6);
    EXPECT_THAT(ran.err, HasSubstr("mdp: a, b: 0xB010: "));
}

TEST_F(FleetTest, SignalEndsAllAndLeavesNothing) {
    const std::string line = Line("--host a,b watch --period 0.02 1008");
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        const pid_t process = fork();
        if (process == 0) {
            // A shell's child, as a session of its own would get a child of setsid.
            std::string own = line;
            own.erase(own.find("setsid -w "), 10);
            setsid();
            execl("/bin/sh", "sh", "-c", own.c_str(), nullptr);
            _exit(127);
        }
        // Both have shown a value.
        for (int i = 0; i < 1000; ++i) {
            const std::string out = ReadAll(m_directory + "/out");
            if (out.find("a: ") != std::string::npos && out.find("b: ") != std::string::npos) {
                break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        kill(process, signal);
        int status = 0;
        waitpid(process, &status, 0);
        const Ran ran = Outcome(status);

        EXPECT_EQ(ran.status, -signal);
        EXPECT_EQ(ran.err, "mdp: 0 of 2 machines: ok\n"
                           "mdp: a, b: interrupted\n"
                           "mdp: to go on with these alone: --host a,b\n");
        EXPECT_TRUE(std::filesystem::is_empty(m_directory + "/run"));
        Write("out", "");
    }
}

TEST_F(FleetTest, SignalEndsWhatIsNotConnectedYet) {
    Write("host-a", ": >asked; exec sleep 600\n");
    std::string line = Line("--host a read 1008");
    line.erase(line.find("setsid -w "), 10);
    const pid_t process = fork();
    if (process == 0) {
        setsid();
        execl("/bin/sh", "sh", "-c", line.c_str(), nullptr);
        _exit(127);
    }
    for (int i = 0; i < 1000 && !std::filesystem::exists(m_directory + "/asked"); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    kill(process, SIGINT);
    int status = 0;
    waitpid(process, &status, 0);

    EXPECT_EQ(Outcome(status).status, -SIGINT);
}

TEST_F(FleetTest, ReaderThatGoesEndsIt) {
    const std::string line = "XDG_RUNTIME_DIR=" + m_directory + "/run MDP_SSH=" + m_directory +
                             "/ssh setsid -w " SYLVARIN_MDP " --host a,b watch --period 0.02 8001 1008 2>" +
                             m_directory + "/err | head -n 1 >" + m_directory + "/out";
    EXPECT_EQ(std::system(line.c_str()), 0);

    EXPECT_THAT(ReadAll(m_directory + "/out"), HasSubstr(": "));
    EXPECT_EQ(ReadAll(m_directory + "/err"), "mdp: the output could not be written\n");
}

TEST_F(FleetTest, CompletionAsksNoMachine) {
    const Ran ran = Mdp("__complete -- --host a read ''");
    const Ran words = Mdp("__complete -- --host a user ''");
    const Ran options = Mdp("__complete -- --host a --ssh");

    EXPECT_EQ(ran.out, "");
    EXPECT_THAT(words.out, HasSubstr("passwd\t"));
    EXPECT_THAT(options.out, StartsWith("--ssh-option\t"));
    EXPECT_EQ(Calls(), "");
}
