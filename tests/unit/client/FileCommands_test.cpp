#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <map>
#include <optional>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "CommandsTest.h"
#include "mdp/Files.h"
#include "mdp/Turn.h"

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace {

// One file, "/data/a.txt" with the content "hello", in a directory that also holds "sub".
class FileCommands : public CommandsTest {
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
            if (const auto named = static_cast<std::ptrdiff_t>(request[0]); named > 0) {
                m_putPath.assign(request.begin() + 16, request.begin() + 16 + named);
            }
            if (m_putResult) {
                return *m_putResult;
            }
            const bool last = request[12] != 0;
            return {1, Number(last ? 0 : 7, 4)};
        }
        return m_result;
    }

    FakeResponse List(const std::string& pattern) const {
        const auto fileOf = [&](const std::string& name) {
            return Number(0, 4) + Number(m_listedSize, 8) + Hex("deadbeef") + Number(name.size(), 4) + Text(name);
        };
        const auto directoryOf = [](const std::string& name) {
            return Number(0, 4) + Number(name.size(), 4) + Text(name);
        };
        const auto alone = [](std::size_t directories, const TestBytes& entry) {
            const std::size_t files = 1 - directories;
            return FakeResponse{1, Number(0, 4) + Number(24 + entry.size(), 4) + Number(directories, 4) +
                                       Number(files, 4) + Number(24 * directories, 4) + Number(24 * files, 4) + entry};
        };
        const TestBytes file = fileOf("a.txt");
        const TestBytes directory = directoryOf("sub");
        if (pattern == "/data/a.txt" || pattern == "/another") {
            return alone(0, file);
        }
        if (!m_putPath.empty() && pattern == m_putPath) {
            return alone(0, fileOf(pattern.substr(pattern.rfind('/') + 1)));
        }
        if (pattern == "/sub" || pattern == "/s*") {
            return alone(1, directory);
        }
        if (pattern == "/data" || pattern == "/data/") {
            return alone(1, directoryOf("data"));
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
    std::string m_putPath; // of the last file that was opened for writing
    std::function<void()> m_whileReading = [] {};
    std::function<void()> m_whileWriting = [] {};
};

// Another program has its turn as long as this exists.
struct Another {
    Another(const FakeService& service, const std::string& name) {
        EXPECT_TRUE(turn.Wait(service.Path(), name, std::nullopt));
    }

    Mdp::Turn turn;
};

// Raised once when the next local file has been made.
int s_signalWithFile = 0;

} // namespace

// In the place of the system's.
extern "C" int mkostemp(char* pattern, int flags) {
    const std::string digits = std::to_string(1000000 + getpid() % 1000000);
    digits.copy(pattern + std::strlen(pattern) - 6, 6, 1);
    const int file = open(pattern, O_RDWR | O_CREAT | O_EXCL | flags, 0600);
    if (s_signalWithFile != 0) {
        std::raise(std::exchange(s_signalWithFile, 0));
    }
    return file;
}

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
    EXPECT_EQ(modeOf(), std::filesystem::perms{0600}) << "it is the user's alone until the user says otherwise";
    umask(mask);

    ASSERT_EQ(chmod(file.c_str(), 0640), 0);
    EXPECT_EQ(Run({"get", "/data/a.txt", file}).status, 0);
    EXPECT_EQ(modeOf(), std::filesystem::perms{0640});

    ASSERT_EQ(chmod(file.c_str(), 06755), 0);
    EXPECT_EQ(Run({"get", "/data/a.txt", file}).status, 0);
    EXPECT_EQ(modeOf(), std::filesystem::perms{0755}) << "what others may run as its owner was another content";
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

TEST_F(FileCommands, NoFileIsHandedToAProgramThatIsStartedMeanwhile) {
    std::ofstream(m_directory + "/in") << "hello";
    int files = 0;
    const auto look = [&] {
        for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
            std::error_code gone;
            if (std::filesystem::read_symlink(entry, gone).string().starts_with(m_directory)) {
                ++files;
                EXPECT_NE(fcntl(std::stoi(entry.path().filename()), F_GETFD) & FD_CLOEXEC, 0);
            }
        }
    };
    m_whileReading = look;
    m_whileWriting = look;

    EXPECT_EQ(Run({"get", "/data/a.txt", m_directory}).status, 0);
    EXPECT_EQ(Run({"put", m_directory + "/in", "/data/a.txt"}).status, 0);

    EXPECT_EQ(files, 2);
}

TEST_F(FileCommands, SignalBehindTheMakingOfTheLocalFileLeavesNothing) {
    EXPECT_EXIT(
        {
            s_signalWithFile = SIGTERM;
            (void)Run({"get", "/data/a.txt", m_directory});
        },
        testing::KilledBySignal(SIGTERM), "");
    EXPECT_TRUE(std::filesystem::is_empty(m_directory));
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
    EXPECT_EQ(ran.err, "mdp: /s*: only directories and special files match; mdp ls shows what is there\n");
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

TEST_F(FileCommands, PutWritesTheFileBesideComparesItsLengthAndMovesIt) {
    std::ofstream(m_directory + "/in") << "hello";

    const Ran ran = Run({"put", m_directory + "/in", "/data/a.txt"});

    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_THAT(m_putPath, testing::MatchesRegex("/data/\\.a\\.txt\\.mdp-[0-9A-F]{8}"));
    std::vector<TestBytes> done;
    for (const auto& write : m_machine.writes) {
        if (write.index != 0xB020) {
            done.push_back(write.data);
        }
    }
    // A copy, for the mode of the file, which is then written over and moved.
    EXPECT_THAT(done, testing::ElementsAre(Hex("0b000000 19000000 01000000") + Text("/data/a.txt" + m_putPath),
                                           Hex("19000000 00000000 05000000 01000000") + Text(m_putPath + "hello"),
                                           Hex("19000000 0b000000 00000000") + Text(m_putPath + "/data/a.txt")));
    m_listedSize = 4;
    EXPECT_EQ(Run({"put", m_directory + "/in", "/data/a.txt"}).status, 3);
    EXPECT_EQ(m_machine.writes.back().index, 0xB024);
}

TEST_F(FileCommands, PutOfANewFileCopiesNothing) {
    std::ofstream(m_directory + "/in") << "hello";

    EXPECT_EQ(Run({"put", m_directory + "/in", "/data/new"}).status, 0);

    EXPECT_EQ(RequestsTo(0xB023), 1) << "the move";
    EXPECT_EQ(RequestsTo(0xB024), 0);
}

TEST_F(FileCommands, PutThatASignalEndsTakesBackWhatItHasWritten) {
    static volatile std::sig_atomic_t s_signals;
    s_signals = 0;
    std::ofstream(m_directory + "/in") << std::string(3U << 20, 'x');
    const auto former = std::signal(SIGTERM, [](int) { s_signals = s_signals + 1; });
    m_whileWriting = [this] {
        if (RequestsTo(0xB022) == 1) {
            // One more at once does not count: timeout(1) sends two.
            kill(getpid(), SIGTERM);
            kill(getpid(), SIGTERM);
        }
    };

    const Ran ran = Run({"put", m_directory + "/in", "/data/a.txt"});

    std::signal(SIGTERM, former);
    EXPECT_EQ(ran.status, 4);
    EXPECT_EQ(s_signals, 1) << "it still ends the program, afterwards";
    EXPECT_EQ(RequestsTo(0xB023), 1) << "only the copy";
    EXPECT_EQ(m_machine.writes.back().data, Hex("19000000 00000000") + Text(m_putPath));
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

TEST_F(FileCommands, PutThatFailsLeavesTheFileAsItWas) {
    std::ofstream(m_directory + "/in") << "hello";
    m_putResult = {3, Hex("0100A6EC")};
    const Ran refused = Run({"put", m_directory + "/in", "/data/a.txt"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.err, HasSubstr("the file on the machine is as it was"));
    EXPECT_EQ(m_machine.writes.back().index, 0xB024) << "the part is deleted";

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

TEST_F(FileCommands, GetWaitsForTheTurnOfAnotherGet) {
    {
        const Another another(m_service, "get");
        const Ran ran = Run({"get", "/data/a.txt", m_directory, "--timeout", "0.1"});
        EXPECT_EQ(ran.status, 3);
        EXPECT_THAT(ran.err, HasSubstr("another mdp"));
        EXPECT_TRUE(m_machine.writes.empty());
    }
    auto another = std::make_unique<Another>(m_service, "get");
    auto got = std::async(std::launch::async, [this] { return Run({"get", "/data/a.txt", m_directory}); });
    EXPECT_EQ(got.wait_for(std::chrono::milliseconds(1500)), std::future_status::timeout);
    another.reset();
    const Ran ran = got.get();
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.err, "mdp: waiting for another mdp get to end\n");
    EXPECT_EQ(LocalContent(), "hello");
}

TEST_F(FileCommands, PutWaitsForTheTurnOfAnotherPutAndNotOfAGet) {
    std::ofstream(m_directory + "/in") << "hello";
    const Another get(m_service, "get");
    {
        const Another another(m_service, "put");
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

    { const Another another(m_service, "put"); }

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
    for (const std::vector<std::string>& line : {std::vector<std::string>{"rm", "-r", "/data/*.log"},
                                                 {"mv", "/data/*.log", "/sub"},
                                                 {"ls", "/data/*.log"},
                                                 {"get", "/another", m_directory}}) {
        const Ran ran = Run(line);
        EXPECT_EQ(ran.status, 3);
        EXPECT_THAT(ran.err, HasSubstr("another client disturbed: try again"));
    }
    EXPECT_EQ(RequestsTo(0xB023) + RequestsTo(0xB024), 0);
}

TEST_F(FileCommands, NothingIsStartedAtAServiceObjectWhoseResponseAnotherProgramWaitsFor) {
    Mdp::ClientOptions client;
    client.socketPath = m_service.Path();
    Mdp::CallOptions options;
    options.busyTimeout = Mdp::Milliseconds(20);
    const auto files = Mdp::FileServices::Find(Mdp::Client(client), options);
    ASSERT_TRUE(files);
    {
        const Another another(m_service, "job-" + std::to_string(0xB024));
        EXPECT_EQ(files->Delete("/sub", false).Error().code, Mdp::OBJ_E_BUSY);
        EXPECT_EQ(Mdp::Client(client).CallService(0xB024, {}, options).Error().code, Mdp::OBJ_E_BUSY);
        EXPECT_TRUE(files->MakeDirectory("/x", false)) << "another object";
    }
    EXPECT_EQ(RequestsTo(0xB024), 0);
    EXPECT_TRUE(files->Delete("/sub", false));
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
    EXPECT_EQ(ran.err, "mdp: /: this machine offers no file services; mdp modules lists what it has\n");
}
