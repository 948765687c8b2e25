// The mdp command against the real service, as an administrator would use it.

#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "ServiceTest.h"
#include "ShellCommands.h"

namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

// What bash with mdp's completion puts out when someone types this, with tabs and line ends.
std::string Typed(const std::string& keys) {
    const std::string directory = std::filesystem::path(SYLVARIN_MDP).parent_path();
    std::ofstream("/tmp/typed", std::ios::binary) << keys;
    return Shell("cd /tmp/files && PATH=" + directory +
                 ":$PATH HISTFILE= bash --rcfile " SYLVARIN_COMPLETION " -i </tmp/typed 2>/dev/null")
        .output;
}

// A command on a terminal of its own, with someone who reads and types.
class CTerminal {
public:
    explicit CTerminal(const std::string& command) {
        m_process = forkpty(&m_terminal, nullptr, nullptr, nullptr);
        if (m_process == 0) {
            execl("/bin/sh", "sh", "-c", ("exec " + command).c_str(), nullptr);
            _exit(127);
        }
    }

    ~CTerminal() {
        if (m_process > 0) {
            kill(m_process, SIGKILL);
        }
        End();
        close(m_terminal);
    }

    // Whether what is shown from now on comes to end with the text.
    bool Shows(const std::string& text) {
        for (std::string shown; !shown.ends_with(text);) {
            char character = 0;
            pollfd readable{m_terminal, POLLIN, 0};
            if (poll(&readable, 1, 60000) != 1 || read(m_terminal, &character, 1) != 1) {
                return false;
            }
            shown += character;
            m_shown += character;
        }
        return true;
    }

    void Type(const std::string& keys) const {
        EXPECT_EQ(write(m_terminal, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
    }

    bool ShowsWhatIsTyped() const {
        termios settings{};
        return tcgetattr(m_terminal, &settings) == 0 && (settings.c_lflag & ECHO) != 0;
    }

    // Types the keys until they end the command: a signal that comes just before it reads is lost on it.
    int EndBy(const std::string& keys) {
        while (waitpid(m_process, &m_status, WNOHANG) == 0) {
            [[maybe_unused]] const ssize_t count = write(m_terminal, keys.data(), keys.size());
            usleep(50000);
        }
        m_process = 0;
        return m_status;
    }

    // The status as waitpid gives it.
    int End() {
        if (m_process > 0) {
            waitpid(m_process, &m_status, 0);
            m_process = 0;
        }
        return m_status;
    }

    const std::string& Shown() const { return m_shown; }

private:
    pid_t m_process = 0;
    int m_terminal = -1;
    int m_status = 0;
    std::string m_shown;
};

// zsh with mdp's completion on a terminal, in the folder of a test's files.
class CZsh {
public:
    CZsh() : m_shell("env TERM=dumb ZDOTDIR=/tmp/zsh HISTFILE= PATH=" + MakeSettings() + ":$PATH zsh -i") {
        EXPECT_TRUE(m_shell.Shows("> "));
    }

    // What the command puts out that there is when someone types this, with tabs.
    std::string Typed(const std::string& keys) {
        m_shell.Type(keys + " >/tmp/zsh/out\n");
        EXPECT_TRUE(m_shell.Shows("\n> ")) << m_shell.Shown();
        std::ifstream file("/tmp/zsh/out", std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

private:
    // Gives the directory of mdp.
    static std::string MakeSettings() {
        std::filesystem::create_directories("/tmp/zsh");
        std::ofstream("/tmp/zsh/.zshrc") << "PS1='> '\nunsetopt prompt_sp prompt_cr\nfpath=(" SYLVARIN_COMPLETIONS
                                            " $fpath)\nautoload -Uz compinit && compinit -u -D\ncd /tmp/files\n";
        return std::filesystem::path(SYLVARIN_MDP).parent_path();
    }

    CTerminal m_shell;
};

// Whether the password opens the account, asked from one without rights.
bool LogsIn(const std::string& user, const std::string& password) {
    return Shell("echo '" + password + "' | setpriv --reuid 65534 --regid 65534 --clear-groups su -s /bin/sh " + user +
                 " -c 'id -un' 2>/dev/null")
               .output == user + "\n";
}

class ClientCommandsTest : public ServiceTest {
protected:
    void SetUp() override {
        std::filesystem::create_directories("/usr/local/bin");
        std::filesystem::copy_file(SYLVARIN_MESSAGES, "/usr/local/bin/mdpmessage.xml",
                                   std::filesystem::copy_options::overwrite_existing);
        std::filesystem::create_directories("/tmp/files");
        ServiceTest::SetUp();
    }
};

} // namespace

TEST_F(ClientCommandsTest, ModulesListsTheAdaptersAndTheSoftware) {
    const Outcome modules = Mdp("modules");

    EXPECT_EQ(modules.status, 0) << modules.output;
    EXPECT_THAT(modules.output, HasSubstr(" Nic "));
    EXPECT_THAT(modules.output, HasSubstr(" em0\n"));
    EXPECT_THAT(modules.output, HasSubstr(" Software\n"));
}

TEST_F(ClientCommandsTest, ZoneThatWasSetIsThatOfDate) {
    EXPECT_EQ(Mdp("zone").output, "UTC\n");
    EXPECT_THAT(Mdp("zone list 'Europe/B*'").output, HasSubstr("  Europe/Berlin\n"));

    const Outcome set = Mdp("zone set America/St_Johns");

    EXPECT_EQ(set.status, 0) << set.output;
    EXPECT_EQ(set.output, "America/St_Johns\n");
    const std::string offset = Shell("env -u TZ date +%:z").output;
    EXPECT_THAT(offset, StartsWith("-0"));
    EXPECT_THAT(Mdp("time").output, HasSubstr(offset.substr(0, 6) + "  "));
    EXPECT_EQ(Mdp("zone set No/Such").status, 2);
    EXPECT_EQ(Mdp("__complete -- zone set Asia/Tok").output, "Asia/Tokyo\t\n");
    EXPECT_EQ(Typed("mdp zone set Pacific/Auck\t\n"), "Pacific/Auckland\n");
}

TEST_F(ClientCommandsTest, TimeServerIsThatOfNtpConf) {
    EXPECT_EQ(Mdp("ntp").output, "SERVER  REFRESH\n"
                                 "-             -\n");
    EXPECT_EQ(Mdp("ntp set ntp.example.net --refresh 100").output, "SERVER           REFRESH\n"
                                                                   "ntp.example.net       64\n");
    EXPECT_THAT(Content("/etc/ntp.conf"), HasSubstr("\npool ntp.example.net iburst minpoll 6 maxpoll 7\n"));
    EXPECT_THAT(Content("/etc/rc.conf"), HasSubstr("\nntpd_enable=\"YES\"\n"));
    EXPECT_EQ(Mdp("ntp set off").status, 0);
    EXPECT_THAT(Content("/etc/rc.conf"), HasSubstr("\nntpd_enable=\"NO\"\n"));
}

TEST_F(ClientCommandsTest, UserThatWasAddedLogsInAndIsInTheGroupsThatIdTells) {
    EXPECT_EQ(Shell("echo Tr0ub4dor | " SYLVARIN_MDP " user add alice --password-fd 0").output, "alice: added\n");
    EXPECT_TRUE(LogsIn("alice", "Tr0ub4dor"));
    EXPECT_EQ(Shell("echo Tr0ub4dor | " SYLVARIN_MDP " user add alice --password-fd 0").status, 1);

    EXPECT_EQ(Mdp("group add panels").output, "panels: added\n");
    EXPECT_EQ(Mdp("group join panels alice").output, "panels: alice is a member\n");
    EXPECT_EQ(Shell("id -Gn alice").output, "alice panels\n");
    EXPECT_EQ(Mdp("user groups alice").output, "alice\npanels\n");
    EXPECT_THAT(Mdp("user list").output, HasSubstr("\nalice "));
    EXPECT_EQ(Typed("mdp group leave pan\tal\t\n"), "panels: alice is no member\n");
    EXPECT_EQ(Shell("id -Gn alice").output, "alice\n");

    EXPECT_EQ(Shell("printf 'Tr0ub4dor\nSesame42\n' | " SYLVARIN_MDP " user passwd alice --password-fd 0").output,
              "alice: password changed\n");
    EXPECT_TRUE(LogsIn("alice", "Sesame42"));
    EXPECT_FALSE(LogsIn("alice", "Tr0ub4dor"));

    EXPECT_EQ(Mdp("user del alice").output, "alice: deleted; the home directory stays\n");
    EXPECT_EQ(Mdp("group del panels").output, "panels: deleted\n");
    EXPECT_NE(Shell("getent passwd alice").status, 0);
    EXPECT_NE(Shell("getent group panels").status, 0);
    EXPECT_THAT(Mdp("group list").output, Not(HasSubstr("panels")));
    EXPECT_THAT(Mdp("user del alice").output, HasSubstr("0xECAF0402 OBJ_E_NOSUCHUSER"));
}

TEST_F(ClientCommandsTest, PasswordIsAskedOnTheTerminalTwiceAndNotShown) {
    CTerminal terminal(SYLVARIN_MDP " user add alice");
    ASSERT_TRUE(terminal.Shows("Password for alice: ")) << terminal.Shown();
    EXPECT_FALSE(terminal.ShowsWhatIsTyped());
    terminal.Type("Tr0ub4dor\r");
    ASSERT_TRUE(terminal.Shows("Again: ")) << terminal.Shown();
    terminal.Type("Tr0ub4dor\r");
    EXPECT_TRUE(terminal.Shows("alice: added\r\n")) << terminal.Shown();
    EXPECT_EQ(terminal.End(), 0);
    EXPECT_THAT(terminal.Shown(), Not(HasSubstr("Tr0ub4dor")));
    EXPECT_TRUE(LogsIn("alice", "Tr0ub4dor"));
}

TEST_F(ClientCommandsTest, PasswordsThatDifferAreNone) {
    CTerminal terminal(SYLVARIN_MDP " user add alice");
    ASSERT_TRUE(terminal.Shows("Password for alice: ")) << terminal.Shown();
    terminal.Type("Tr0ub4dor\r");
    ASSERT_TRUE(terminal.Shows("Again: ")) << terminal.Shown();
    terminal.Type("tr0ub4dor\r");
    EXPECT_TRUE(terminal.Shows("mdp: the two passwords differ\r\n")) << terminal.Shown();
    EXPECT_EQ(WEXITSTATUS(terminal.End()), 2);
    EXPECT_NE(Shell("getent passwd alice").status, 0);
}

TEST_F(ClientCommandsTest, PasswordThatIsNotTypedIsNone) {
    CTerminal terminal(SYLVARIN_MDP " user add alice");
    ASSERT_TRUE(terminal.Shows("Password for alice: ")) << terminal.Shown();
    terminal.Type("\4"); // the end of the input
    EXPECT_TRUE(terminal.Shows("mdp: there is no password\r\n")) << terminal.Shown();
    EXPECT_EQ(WEXITSTATUS(terminal.End()), 2);
    EXPECT_NE(Shell("getent passwd alice").status, 0);
    EXPECT_THAT(Shell("setsid -w " SYLVARIN_MDP " user add alice").output, HasSubstr("give it with --password-fd"));
}

TEST_F(ClientCommandsTest, TerminalShowsWhatIsTypedAgainWhenThePromptIsInterrupted) {
    CTerminal terminal(SYLVARIN_MDP " user add alice");
    ASSERT_TRUE(terminal.Shows("Password for alice: ")) << terminal.Shown();
    EXPECT_EQ(terminal.EndBy("\3"), SIGINT);
    EXPECT_TRUE(terminal.ShowsWhatIsTyped());
}

TEST_F(ClientCommandsTest, ClockOfThisMachineCannotBeSetAndThatIsTold) {
    const Outcome set = Mdp("time set now");

    EXPECT_EQ(set.status, 1);
    EXPECT_THAT(set.output, StartsWith("mdp: setting the clock: 0xECA70001"));
}

TEST_F(ClientCommandsTest, ReadShowsTheHostNameAndTheDeviceType) {
    EXPECT_EQ(Mdp("read 1008").output, "\"IPC-4711\"\n");
    EXPECT_EQ(Mdp("read 0x1000:0").output, "655365001\n");
    EXPECT_THAT(Mdp("read 1000 --json").output, HasSubstr("\"value\": 655365001"));
}

TEST_F(ClientCommandsTest, FailuresHaveTheirStatusAndName) {
    const Outcome unknown = Mdp("read 9999");
    const Outcome readOnly = Mdp("write 1000 5");

    EXPECT_EQ(unknown.status, 1);
    EXPECT_THAT(unknown.output, HasSubstr("0xECA60100 OBJ_E_INVALIDIDX"));
    EXPECT_EQ(readOnly.status, 1);
    EXPECT_THAT(readOnly.output, HasSubstr("0xECA60101 OBJ_E_INVALACCESS"));
    EXPECT_EQ(Mdp("describe 9999").status, 1);
    EXPECT_EQ(Mdp("read nonsense").status, 2);
    EXPECT_EQ(Mdp("--socket /tmp/none read 1000").status, 3);
}

TEST_F(ClientCommandsTest, TreeNamesWhatItShowsInBothLanguages) {
    EXPECT_THAT(Mdp("tree").output, HasSubstr("Number of entries"));
    EXPECT_THAT(Mdp("tree --lang de").output, HasSubstr("Anzahl der Einträge"));
    EXPECT_THAT(Mdp("tree").output, HasSubstr("\"IPC-4711\"\n"));
}

TEST_F(ClientCommandsTest, CompletionOffersTheIndexesOfThisMachine) {
    EXPECT_THAT(Mdp("__complete -- read 0x10").output, StartsWith("0x1000\t"));
    EXPECT_THAT(Mdp("__complete -- read 0x1018:").output, HasSubstr("0x1018:4\t"));
}

TEST_F(ClientCommandsTest, BashCompletesNamesOfFilesToOneWordWhateverIsInThem) {
    for (const std::string name : {"a;touch pwned", "a$(touch pwned)", "a`touch pwned`", "a'; touch pwned; '",
                                   "a\"; touch pwned; \"", "a>pwned", "a&b!c#", "a*[b]?", "a:b c=d@e"}) {
        std::ofstream("/tmp/files/" + name) << "";
        for (const std::string begun : {"/tmp/files/a", "'/tmp/files/", "\"/tmp/files/", "/\"tmp\"/files/"}) {
            EXPECT_EQ(Typed("mdp ls --names " + begun + "\t\n"), name + "\n") << begun;
        }
        ASSERT_TRUE(std::filesystem::remove("/tmp/files/" + name));
        EXPECT_TRUE(std::filesystem::is_empty("/tmp/files")) << name << " was run";
    }
}

TEST_F(ClientCommandsTest, BashGoesOnFromWhatIsTypedInQuotesOrEscaped) {
    std::filesystem::create_directories("/tmp/files/my dir");
    std::ofstream("/tmp/files/my dir/one file") << "";
    std::ofstream("/tmp/files/my dir/other") << "";

    EXPECT_EQ(Typed("mdp ls --names /tmp/files/m\ton\t\n"), "one file\n");
    EXPECT_EQ(Typed("mdp ls --names /tmp/files/my\\ d\ton\t\n"), "one file\n");
    EXPECT_EQ(Typed("mdp ls --names '/tmp/files/my d\ton\t\n"), "one file\n");
    EXPECT_EQ(Typed("mdp ls --names \"/tmp/files/my dir/one\t\n"), "one file\n");
    EXPECT_EQ(Typed("cd my\\ dir\nmdp put one\t /tmp/files/put\n"), "");
    EXPECT_TRUE(std::filesystem::exists("/tmp/files/put")) << "names of this side are the shell's";
}

TEST_F(ClientCommandsTest, ZshCompletesCommandsAddressesAndNamesOfFiles) {
    std::filesystem::create_directories("/tmp/files/my dir");
    std::ofstream("/tmp/files/my dir/one file") << "";
    CZsh zsh;
    EXPECT_EQ(zsh.Typed("mdp rea\t 1008"), "\"IPC-4711\"\n");
    EXPECT_EQ(zsh.Typed("mdp read 0x1008:\t"), "\"IPC-4711\"\n");
    EXPECT_EQ(zsh.Typed("mdp read 1008 --js\t --lang d\t | grep name"), "  \"name\": \"Gerätename\",\n");
    EXPECT_EQ(zsh.Typed("mdp ls --names /tmp/files/m\ton\t"), "one file\n");
    EXPECT_EQ(zsh.Typed("mdp ls --names '/tmp/files/my d\ton\t"), "one file\n");
    EXPECT_EQ(zsh.Typed("mdp put my\\ d\ton\t /tmp/files/put"), "");
    EXPECT_TRUE(std::filesystem::exists("/tmp/files/put")) << "names of this side are the shell's";
}

TEST_F(ClientCommandsTest, ZshCompletesNamesOfFilesToOneWordWhateverIsInThem) {
    CZsh zsh;
    for (const std::string name : {"a$(touch pwned)", "a'; touch pwned; '", "a\"`b`", "a>b&c!d#*[e]?:f g=h"}) {
        std::ofstream("/tmp/files/" + name) << "";
        for (const std::string begun : {"/tmp/files/a", "'/tmp/files/", "\"/tmp/files/"}) {
            EXPECT_EQ(zsh.Typed("mdp ls --names " + begun + "\t"), name + "\n") << begun;
        }
        ASSERT_TRUE(std::filesystem::remove("/tmp/files/" + name));
        EXPECT_TRUE(std::filesystem::is_empty("/tmp/files")) << name << " was run";
    }
}

TEST_F(ClientCommandsTest, NetSetChangesAddressAndKeepsMaskAndGateway) {
    const Outcome set = Mdp("net set em0 --address 192.168.10.77");

    EXPECT_EQ(set.status, 0) << set.output;
    EXPECT_THAT(Content("/etc/rc.conf"), HasSubstr("ifconfig_em0=\"inet 192.168.10.77 netmask 255.255.255.0\"\n"));
    EXPECT_THAT(Content("/etc/rc.conf"), HasSubstr("defaultrouter=\"192.168.10.1\"\n"));
}

// The route in force may come from a lease or from a hand, and has no place in the file.
TEST_F(ClientCommandsTest, NetSetDoesNotMakeTheRouteInForceTheConfiguredOne) {
    const std::string configured = Content("/etc/rc.conf");
    const auto with = [&](const std::string& line, const std::string& instead) {
        std::string text = configured;
        const std::size_t begin = text.find(line);
        EXPECT_NE(begin, std::string::npos) << text;
        return text.replace(begin, text.find('\n', begin) - begin + (instead.empty() ? 1 : 0), instead);
    };
    const std::string address = "ifconfig_em0=\"inet 192.168.10.77 netmask 255.255.255.0\"";
    for (const char* router : {"defaultrouter=\"192.168.10.254\"", ""}) {
        std::ofstream("/etc/rc.conf") << with("defaultrouter=", router);
        ASSERT_EQ(Shell("ip route replace default via 192.168.10.1 dev em0").status, 0);
        const std::string before = Content("/etc/rc.conf");

        const Outcome set = Mdp("net set em0 --address 192.168.10.77");

        EXPECT_EQ(set.status, 0) << set.output;
        std::string expected = before;
        const std::size_t begin = expected.find("ifconfig_em0=");
        ASSERT_NE(begin, std::string::npos);
        expected.replace(begin, expected.find('\n', begin) - begin, address);
        EXPECT_EQ(Content("/etc/rc.conf"), expected);
    }
}

TEST_F(ClientCommandsTest, AFileOfSeveralChunksComesBackAsItWent) {
    std::string content;
    for (unsigned i = 0; content.size() < (5U << 20) + 7; ++i) {
        content += std::to_string(i * 2654435761U);
    }
    std::ofstream("/tmp/files/out", std::ios::binary) << content;

    const Outcome put = Mdp("put /tmp/files/out /tmp/files/there");
    const Outcome got = Mdp("get /tmp/files/there /tmp/files/back");

    EXPECT_EQ(put.status, 0) << put.output;
    EXPECT_EQ(got.status, 0) << got.output;
    EXPECT_TRUE(Content("/tmp/files/there") == content);
    EXPECT_TRUE(Content("/tmp/files/back") == content);
}

TEST_F(ClientCommandsTest, AFileThatIsReplacedKeepsItsModeAndTheFileBehindALinkIsReached) {
    std::ofstream("/tmp/files/out") << "new";
    std::ofstream("/tmp/files/there") << "old";
    std::filesystem::permissions("/tmp/files/there", std::filesystem::perms{0600});
    std::filesystem::create_symlink("there", "/tmp/files/link");

    EXPECT_EQ(Mdp("put /tmp/files/out /tmp/files/there").status, 0);
    EXPECT_EQ(Content("/tmp/files/there"), "new");
    EXPECT_EQ(std::filesystem::status("/tmp/files/there").permissions(), std::filesystem::perms{0600});

    EXPECT_EQ(Shell("echo newer | " SYLVARIN_MDP " put - /tmp/files/link").status, 0);
    EXPECT_TRUE(std::filesystem::is_symlink("/tmp/files/link"));
    EXPECT_EQ(Content("/tmp/files/there"), "newer\n");
    EXPECT_EQ(Shell("ls -A /tmp/files").output, "link\nout\nthere\n");
}

TEST_F(ClientCommandsTest, ATransferThatIsInterruptedLeavesTheOldFileWhole) {
    std::ofstream("/tmp/files/there") << "old";

    const Outcome put =
        Shell("(head -c 3000000 /dev/zero; sleep 6) | timeout -s INT 2 " SYLVARIN_MDP " put - /tmp/files/there");

    EXPECT_EQ(put.status, 124) << put.output;
    EXPECT_EQ(Content("/tmp/files/there"), "old");
    EXPECT_EQ(Shell("ls -A /tmp/files").output, "there\n");
}

TEST_F(ClientCommandsTest, FilesOfExactlyOneChunkAndOfNothingGoBothWays) {
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{1} << 20, std::size_t{2} << 20}) {
        std::ofstream("/tmp/files/out", std::ios::binary) << std::string(size, 'x');

        EXPECT_EQ(Mdp("put /tmp/files/out /tmp/files/there").status, 0) << size;
        EXPECT_EQ(Mdp("get /tmp/files/there /tmp/files/back").status, 0) << size;

        EXPECT_EQ(std::filesystem::file_size("/tmp/files/there"), size);
        EXPECT_EQ(std::filesystem::file_size("/tmp/files/back"), size);
    }
}

TEST_F(ClientCommandsTest, NamesWithWildcardsAndControlCharactersAreFilesLikeOthers) {
    for (const std::string& name : {std::string("a[1]*?"), std::string("tab\there"), std::string("quote\"\x01\xff")}) {
        std::ofstream("/tmp/files/" + name) << "content";
        std::ofstream("/tmp/files/a1xy") << "another";
        const std::string quoted = "'/tmp/files/" + name + "'";

        const Outcome got = Mdp("get " + quoted + " -");
        EXPECT_EQ(got.output, "content");
        EXPECT_EQ(Mdp("rm " + quoted).status, 0);
        EXPECT_FALSE(std::filesystem::exists("/tmp/files/" + name));
        EXPECT_TRUE(std::filesystem::exists("/tmp/files/a1xy"));
    }
    std::ofstream("/tmp/files/esc\x1b[2J") << "";
    EXPECT_THAT(Mdp("ls /tmp/files").output, Not(HasSubstr("\x1b"))) << "a name must not drive the terminal";
}

TEST_F(ClientCommandsTest, ManagesDirectoriesAndFiles) {
    std::ofstream("/tmp/files/a") << "a";

    EXPECT_EQ(Mdp("mkdir -p /tmp/files/x/y").status, 0);
    EXPECT_EQ(Mdp("mkdir -p /tmp/files/x/y").status, 0);
    EXPECT_EQ(Mdp("mkdir /tmp/files/x/y").status, 1);
    EXPECT_EQ(Mdp("cp /tmp/files/a /tmp/files/x").status, 0);
    EXPECT_THAT(Mdp("cp /tmp/files/a /tmp/files/x").output, HasSubstr("-f overwrites it"));
    EXPECT_EQ(Mdp("cp -f /tmp/files/a /tmp/files/x").status, 0);
    EXPECT_EQ(Mdp("mv /tmp/files/a /tmp/files/x/y").status, 0);
    EXPECT_EQ(Mdp("ls --names /tmp/files/x").output, "y\na\n");
    EXPECT_THAT(Mdp("rm /tmp/files/x").output, HasSubstr("use -r"));
    EXPECT_EQ(Mdp("rm -r /tmp/files/x").status, 0);
    EXPECT_FALSE(std::filesystem::exists("/tmp/files/x"));
}

TEST_F(ClientCommandsTest, AFileIsNeverWrittenOverItself) {
    const std::string content(3U << 20, 'x');
    std::ofstream("/tmp/files/f", std::ios::binary) << content;
    std::filesystem::create_symlink("/tmp/files/f", "/tmp/files/link");
    std::filesystem::create_hard_link("/tmp/files/f", "/tmp/files/hard");
    std::filesystem::create_directory_symlink("/tmp/files", "/tmp/again");

    for (const std::string& same :
         {std::string("/tmp/files/f"), std::string("/tmp/files"), std::string("/tmp/files/."),
          std::string("/tmp//files/./f"), std::string("'\\tmp\\files\\f'"), std::string("/tmp/files/link"),
          std::string("/tmp/files/hard"), std::string("/tmp/again/f"), std::string("/tmp/again/../files/f")}) {
        for (const char* command : {"put", "cp -f", "mv -f", "mv"}) {
            const Outcome refused = Mdp(command + (" /tmp/files/f " + same));
            EXPECT_EQ(refused.status, 2) << command << " " << same;
            EXPECT_THAT(refused.output, HasSubstr("this is the same file as"));
        }
        EXPECT_EQ(Mdp("mv -f /tmp/files/link " + same).status, 2) << same;
        EXPECT_EQ(Mdp("put - /tmp/files/f < /tmp/files/f").status, 2);
        ASSERT_TRUE(Content("/tmp/files/f") == content) << same;
    }
}

TEST_F(ClientCommandsTest, TransfersAtTheSameTimeDoNotTakeEachOthersBytes) {
    for (const char name : {'a', 'b', 'c', 'd'}) {
        std::ofstream(std::string("/tmp/files/") + name, std::ios::binary) << std::string(3U << 20, name);
    }

    const Outcome outcome = Shell("cd /tmp/files; mdp=" SYLVARIN_MDP R"(
        for f in a b c d; do
            (for i in 1 2 3; do $mdp get $PWD/$f $f.got 2>>$f.err && cmp $f $f.got || echo "get $f"; done) &
        done
        wait
        for f in a b c d; do
            (for i in 1 2 3; do $mdp put $f $PWD/$f.put 2>>$f.err && cmp $f $f.put || echo "put $f"; done) &
        done
        wait
        cat ?.err | grep -v 'waiting for another mdp'
        $mdp get $PWD/a - | $mdp put - $PWD/a.sent && cmp a a.sent)");

    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, "");
}

TEST_F(ClientCommandsTest, SpecialFilesAreToldOf) {
    EXPECT_THAT(Mdp("get /dev/null -").output, HasSubstr("this is a directory or a special file"));
    EXPECT_THAT(Mdp("put /etc/passwd /dev/null").output,
                HasSubstr("its directory exists (mdp mkdir -p) and is no special"));
    EXPECT_EQ(Mdp("put /etc/passwd /dev/null").status, 1);
}

// What the manual says of deletions, so that it stays true.
TEST_F(ClientCommandsTest, ARecursiveDeletionTakesLinksThemselvesAndTellsWhatItMayHaveLeft) {
    std::filesystem::create_directories("/tmp/files/tree");
    std::filesystem::create_directories("/tmp/files/target");
    std::ofstream("/tmp/files/target/file") << "x";
    for (const char* name : {".dot", "a", "z"}) {
        std::ofstream(std::string("/tmp/files/tree/") + name) << "x";
    }
    std::filesystem::create_directory_symlink("/tmp/files/target", "/tmp/files/tree/link");
    std::filesystem::create_symlink("/none", "/tmp/files/tree/nothing");

    const Outcome deleted = Mdp("rm -r /tmp/files/tree");

    EXPECT_EQ(deleted.status, 1);
    EXPECT_THAT(deleted.output, HasSubstr("not all of it was deleted"));
    EXPECT_TRUE(std::filesystem::exists("/tmp/files/target/file"));
    EXPECT_EQ(Shell("ls -A /tmp/files/tree").output, ".dot\n");
}

TEST_F(ClientCommandsTest, AFetchThatFailsLeavesNothingUnderTheFinalName) {
    const Outcome got = Mdp("get /proc/version /tmp/files/version");

    EXPECT_EQ(got.status, 3);
    EXPECT_THAT(got.output, HasSubstr("bytes arrived of 0"));
    EXPECT_TRUE(std::filesystem::is_empty("/tmp/files"));
    EXPECT_EQ(Mdp("get --any-length /proc/version /tmp/files/version").status, 0);
    EXPECT_EQ(Content("/tmp/files/version"), Content("/proc/version"));
}

TEST_F(ClientCommandsTest, AClosedInputOrOutputIsAFailureAndNotTheSocket) {
    // Of several chunks, so that a connection is open while one is put out.
    std::ofstream("/tmp/files/a") << std::string(3U << 20, 'a');

    const Outcome got = Shell(SYLVARIN_MDP " get /tmp/files/a - 2>&1 >&-");
    const Outcome put = Shell(SYLVARIN_MDP " put - /tmp/files/b 2>&1 <&-");

    EXPECT_EQ(got.status, 4);
    EXPECT_THAT(got.output, HasSubstr("Bad file descriptor"));
    EXPECT_EQ(put.status, 4);
    EXPECT_THAT(put.output, HasSubstr("Bad file descriptor"));
    EXPECT_EQ(Shell(SYLVARIN_MDP " read 9999 2>&-").status, 1);
}

TEST_F(ClientCommandsTest, WatchShowsThatTheHostNameChanges) {
    FILE* watch = popen(SYLVARIN_MDP " watch 1008 --period 0.05", "r");
    std::array<char, 256> line{};
    ASSERT_NE(std::fgets(line.data(), line.size(), watch), nullptr);
    EXPECT_THAT(line.data(), HasSubstr("\"IPC-4711\""));

    ASSERT_EQ(Mdp("write 1008 watched").status, 0);

    ASSERT_NE(std::fgets(line.data(), line.size(), watch), nullptr);
    EXPECT_THAT(line.data(), HasSubstr("\"watched\""));
    // It ends with its service.
    ASSERT_EQ(m_service->Stop().exitStatus, 0);
    const int status = pclose(watch);
    EXPECT_EQ(WIFEXITED(status) ? WEXITSTATUS(status) : -1, 3);
    m_service.reset();
}
