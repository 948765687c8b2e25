// Runs as root of a throw-away machine, on its account database.
#include "host/AccountPasswords.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <shadow.h>
#include <sys/mount.h>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>
#include <vector>

#include "host/Secrets.h"

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

constexpr const char* s_shadow = "/etc/shadow";
constexpr const char* s_hash = "$6$abcdefghABCDEFGH$new";

const std::string s_before = "root:*:19000:0:99999:7:::\n"
                             "bo:!:19001:0:99999:7:::\n"
                             "#bob:comment\n"
                             "\n"
                             "bob:$y$old:19002:1:90:7:14:20000:9\n"
                             "bobby:*:19003:0:99999:7:::\n"
                             "bob:$y$second:19004:::::\n"
                             "last:*:19005:0:99999:7:::"; // without a line end

std::string ReadText(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

void WriteText(const std::string& path, const std::string& text) {
    std::ofstream(path) << text;
}

// What `s_before` becomes with bob's hash replaced today.
std::string After() {
    std::string after = s_before;
    const std::string old = "$y$old:19002";
    return after.replace(after.find(old), old.size(),
                         std::string(s_hash) + ":" + std::to_string(time(nullptr) / 86400));
}

// The names in /etc that begin with "shadow" or hold "sylvarin".
std::vector<std::string> FilesOfTheDatabase() {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator("/etc")) {
        const std::string name = entry.path().filename();
        if (name.rfind("shadow", 0) == 0 || name.find("sylvarin") != std::string::npos) {
            names.push_back(name);
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

class AccountPasswords : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(std::filesystem::exists("/run/machine")) << "for the throw-away machine only";
        std::filesystem::remove("/etc/shadow-");
        WriteText(s_shadow, s_before);
        EXPECT_EQ(chown(s_shadow, 0, 42), 0);
        EXPECT_EQ(chmod(s_shadow, 0640), 0);
    }

    static void ExpectUntouched() {
        EXPECT_EQ(ReadText(s_shadow), s_before);
        EXPECT_THAT(FilesOfTheDatabase(), ElementsAre("shadow"));
    }
};

// /etc on a small file system of its own, full but for some pages.
void MoveEtcToFullDisk() {
    ASSERT_EQ(
        std::system("cp -a /etc /tmp/etc && mount -t tmpfs -o size=16m,mode=755 etc /etc && cp -a /tmp/etc/. /etc && "
                    "dd if=/dev/zero of=/etc/filler bs=4096 2>/dev/null; test -s /etc/filler"),
        0);
}

// A process that takes the lock as the system's programs do, and holds it until it is ended.
class COtherHolder {
public:
    COtherHolder() {
        int ready[2];
        EXPECT_EQ(pipe2(ready, O_CLOEXEC), 0);
        m_child = fork();
        if (m_child == 0) {
            const char done = lckpwdf() == 0 ? 'y' : 'n';
            [[maybe_unused]] const ssize_t count = write(ready[1], &done, 1);
            pause();
            _exit(0);
        }
        char answer = 0;
        EXPECT_EQ(read(ready[0], &answer, 1), 1);
        EXPECT_EQ(answer, 'y');
        close(ready[0]);
        close(ready[1]);
    }

    ~COtherHolder() { End(); }

    void End() {
        if (m_child > 0) {
            kill(m_child, SIGKILL);
            waitpid(m_child, nullptr, 0);
            m_child = -1;
        }
    }

private:
    pid_t m_child = -1;
};

// Runs the replacement in a child that is killed at the entry of system call number `limit`, counted from 1. False when
// it ended before that. `calls` receives the numbers of the system calls.
bool RunUntil(std::size_t limit, std::vector<unsigned long long>& calls) {
    calls.clear();
    const pid_t child = fork();
    if (child == 0) {
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        raise(SIGSTOP);
        _exit(Host::ReplacePasswordHash("bob", s_hash) == nullptr ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    bool isEntry = true;
    while (true) {
        ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
        waitpid(child, &status, 0);
        if (WIFEXITED(status)) {
            EXPECT_EQ(WEXITSTATUS(status), 0);
            return false;
        }
        if (!WIFSTOPPED(status) || WSTOPSIG(status) != (SIGTRAP | 0x80)) {
            continue;
        }
        if (isEntry) {
            user_regs_struct registers{};
            ptrace(PTRACE_GETREGS, child, nullptr, &registers);
            calls.push_back(registers.orig_rax);
            if (calls.size() == limit) {
                kill(child, SIGKILL);
                waitpid(child, &status, 0);
                return true;
            }
        }
        isEntry = !isEntry;
    }
}

} // namespace

TEST(HashPassword, IsThatOfTheSystem) {
    // Made by openssl passwd -6.
    std::string hash;
    EXPECT_TRUE(Host::HashPassword("Hello world!", "$6$saltstring", hash));
    EXPECT_EQ(hash,
              "$6$saltstring$svn8UoSVapNtMuq1ukKS4tPQd8iKwSMHWjl/O817G3uBnIFNjnQJuesI68u4OTLiBFdcbYEdFCoEOfaS35inz1");
}

TEST(HashPassword, TakesAnEarlierHashAsItsSetting) {
    std::string hash;
    ASSERT_TRUE(Host::HashPassword("secret", "$6$abcdefghABCDEFGH", hash));
    std::string again;
    EXPECT_TRUE(Host::HashPassword("secret", hash, again));
    EXPECT_EQ(again, hash);
    EXPECT_TRUE(Host::HashPassword("Secret", hash, again));
    EXPECT_NE(again, hash);
}

TEST(HashPassword, RefusesWhatIsNoSetting) {
    for (const char* setting : {"", "*", "!", "!$6$abcdefghABCDEFGH$x", "*0", "*1", "x"}) {
        std::string hash = "left alone";
        EXPECT_FALSE(Host::HashPassword("secret", setting, hash)) << setting;
        EXPECT_EQ(hash, "left alone");
    }
}

TEST(Secrets, AreOverwrittenInAllOfTheirMemory) {
    std::string secret;
    secret.reserve(100);
    secret = "a secret that is longer than the text itself has room for";
    const char* memory = secret.data();
    secret.resize(3);
    Host::Wipe(secret);
    EXPECT_EQ(secret, "");
    ASSERT_EQ(secret.data(), memory);
    EXPECT_EQ(std::count(memory, memory + 58, '\0'), 58);
}

TEST(Secrets, AreWipedAtTheEndOfAScope) {
    std::string secret = "short";
    const char* memory = secret.data();
    { const Host::CWipeAtEnd wipe(secret); }
    EXPECT_EQ(std::count(memory, memory + 5, '\0'), 5);
}

TEST_F(AccountPasswords, HashIsReadFromTheDatabase) {
    std::string hash;
    EXPECT_TRUE(Host::GetPasswordHash("bob", hash));
    EXPECT_EQ(hash, "$y$old");
    EXPECT_FALSE(Host::GetPasswordHash("nobodyhere", hash));
}

TEST_F(AccountPasswords, ReplacementChangesOneHashAndItsDateAndNothingElse) {
    EXPECT_STREQ(Host::ReplacePasswordHash("bob", s_hash), nullptr);

    EXPECT_EQ(ReadText(s_shadow), After());

    struct stat status {};

    ASSERT_EQ(stat(s_shadow, &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640U);
    EXPECT_EQ(status.st_uid, 0U);
    EXPECT_EQ(status.st_gid, 42U);
    EXPECT_THAT(FilesOfTheDatabase(), ElementsAre("shadow"));
}

TEST_F(AccountPasswords, LastEntryWithoutALineEndIsReplacedToo) {
    EXPECT_STREQ(Host::ReplacePasswordHash("last", s_hash), nullptr);
    EXPECT_THAT(ReadText(s_shadow), testing::EndsWith("\nlast:" + std::string(s_hash) + ":" +
                                                      std::to_string(time(nullptr) / 86400) + ":0:99999:7:::"));
}

TEST_F(AccountPasswords, NameIsNoPatternAndNoPrefix) {
    for (const char* name : {"b", "bo.", ".*", "#bo", "", "nobodyhere", "bob:$y$old"}) {
        EXPECT_STREQ(Host::ReplacePasswordHash(name, s_hash), "pw_copy") << name;
    }
    ExpectUntouched();
}

TEST_F(AccountPasswords, EntryWithoutADateIsLeftAlone) {
    WriteText(s_shadow, "bob:*\nbobby:*:1:2:3:4:::\n");
    EXPECT_STREQ(Host::ReplacePasswordHash("bob", s_hash), "pw_copy");
    WriteText(s_shadow, "bob:*:1\nbobby:*:1:2:3:4:::\n");
    EXPECT_STREQ(Host::ReplacePasswordHash("bob", s_hash), "pw_copy");
    EXPECT_EQ(ReadText(s_shadow), "bob:*:1\nbobby:*:1:2:3:4:::\n");
}

TEST_F(AccountPasswords, EmptyDateIsFilledIn) {
    WriteText(s_shadow, "bob::::::::\n");
    EXPECT_STREQ(Host::ReplacePasswordHash("bob", s_hash), nullptr);
    EXPECT_EQ(ReadText(s_shadow),
              "bob:" + std::string(s_hash) + ":" + std::to_string(time(nullptr) / 86400) + "::::::\n");
}

TEST_F(AccountPasswords, FileBehindASymbolicLinkIsReplaced) {
    std::filesystem::create_directory("/etc/real");
    std::filesystem::rename(s_shadow, "/etc/real/accounts");
    std::filesystem::create_symlink("real/accounts", s_shadow);

    EXPECT_STREQ(Host::ReplacePasswordHash("bob", s_hash), nullptr);

    EXPECT_TRUE(std::filesystem::is_symlink(s_shadow));
    EXPECT_EQ(ReadText("/etc/real/accounts"), After());
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator("/etc/real"), {}), 1);
}

TEST_F(AccountPasswords, LockOfAnotherProgramIsWaitedForAndThenRespected) {
    COtherHolder holder;
    EXPECT_STREQ(Host::ReplacePasswordHash("bob", s_hash), "pw_lock");
    ExpectUntouched();

    std::thread end([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        holder.End();
    });
    EXPECT_STREQ(Host::ReplacePasswordHash("bob", s_hash), nullptr);
    end.join();
    EXPECT_EQ(ReadText(s_shadow), After());
}

TEST_F(AccountPasswords, LockIsFreeAgainAfterwards) {
    EXPECT_STREQ(Host::ReplacePasswordHash("bob", s_hash), nullptr);
    const COtherHolder holder;
}

TEST_F(AccountPasswords, SystemsOwnProgramsKeepTheirHandsOffMeanwhile) {
    // The lock is that of lckpwdf: a process that holds it the way this one does keeps passwd out.
    const int file = open("/etc/.pwd.lock", O_WRONLY | O_CREAT | O_CLOEXEC, 0600);

    struct flock whole {};

    whole.l_type = F_WRLCK;
    ASSERT_EQ(fcntl(file, F_OFD_SETLK, &whole), 0);
    EXPECT_NE(std::system("echo bob:secret | timeout 1 chpasswd 2>/dev/null"), 0);
    close(file);
    ExpectUntouched();
}

TEST_F(AccountPasswords, DatabaseThatCannotBeWrittenStaysAsItIs) {
    ASSERT_EQ(mount("/etc", "/etc", nullptr, MS_BIND, nullptr), 0);
    ASSERT_EQ(mount(nullptr, "/etc", nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr), 0);
    EXPECT_STREQ(Host::ReplacePasswordHash("bob", s_hash), "pw_lock");
    ExpectUntouched();
}

TEST_F(AccountPasswords, FullDiskLeavesTheOldFileWholeAndNoOther) {
    WriteText("/etc/.pwd.lock", "");
    MoveEtcToFullDisk();
    EXPECT_STREQ(Host::ReplacePasswordHash("bob", s_hash), "pw_copy");
    ExpectUntouched();
    std::filesystem::remove("/etc/filler");
    EXPECT_STREQ(Host::ReplacePasswordHash("bob", s_hash), nullptr);
    EXPECT_EQ(ReadText(s_shadow), After());
}

TEST_F(AccountPasswords, DirectoryInTheWayOfTheNewFileIsToldAndKept) {
    std::filesystem::create_directories("/etc/shadow.sylvarin/kept");
    EXPECT_STREQ(Host::ReplacePasswordHash("bob", s_hash), "pw_tmp");
    EXPECT_EQ(ReadText(s_shadow), s_before);
    EXPECT_TRUE(std::filesystem::exists("/etc/shadow.sylvarin/kept"));
}

TEST_F(AccountPasswords, LinkInTheWayOfTheNewFileIsNotFollowed) {
    WriteText("/tmp/victim", "mine");
    std::filesystem::create_symlink("/tmp/victim", "/etc/shadow.sylvarin");
    EXPECT_STREQ(Host::ReplacePasswordHash("bob", s_hash), nullptr);
    EXPECT_EQ(ReadText("/tmp/victim"), "mine");
    EXPECT_EQ(ReadText(s_shadow), After());
    EXPECT_THAT(FilesOfTheDatabase(), ElementsAre("shadow"));
}

TEST_F(AccountPasswords, MissingDatabaseIsTold) {
    std::filesystem::remove(s_shadow);
    EXPECT_STREQ(Host::ReplacePasswordHash("bob", s_hash), "pw_copy");
    EXPECT_THAT(FilesOfTheDatabase(), testing::IsEmpty());
}

TEST_F(AccountPasswords, DeathAtAnyStepLeavesTheOldFileOrTheNewOne) {
    std::vector<unsigned long long> calls;
    std::size_t step = 1;
    std::size_t olds = 0;
    for (; RunUntil(step, calls); ++step) {
        const std::string now = ReadText(s_shadow);
        ASSERT_TRUE(now == s_before || now == After()) << "step " << step << ": " << now;
        olds += now == s_before ? 1 : 0;
        // What a death leaves beside it is gone with the next replacement.
        ASSERT_STREQ(Host::ReplacePasswordHash("bob", s_hash), nullptr);
        ASSERT_EQ(ReadText(s_shadow), After());
        ASSERT_THAT(FilesOfTheDatabase(), ElementsAre("shadow"));
        WriteText(s_shadow, s_before);
    }
    EXPECT_EQ(ReadText(s_shadow), After());
    EXPECT_GT(olds, 10U);
    EXPECT_LT(olds, step - 1);
}

TEST_F(AccountPasswords, NewFileIsOnTheDiskBeforeItTakesThePlaceOfTheOldOneAndSoIsThat) {
    std::vector<unsigned long long> calls;
    EXPECT_FALSE(RunUntil(10000, calls));
    std::string order;
    for (const unsigned long long call : calls) {
        order += call == SYS_write ? "write " : call == SYS_fsync ? "fsync " : call == SYS_rename ? "rename " : "";
    }
    EXPECT_THAT(order, HasSubstr("write fsync rename fsync "));
}

TEST_F(AccountPasswords, ReplacementsSideBySideLoseNone) {
    std::string many;
    for (int user = 0; user < 16; ++user) {
        many += "u" + std::to_string(user) + ":*:1:0:99999:7:::\n";
    }
    WriteText(s_shadow, many);
    std::vector<std::thread> threads;
    for (int user = 0; user < 16; ++user) {
        threads.emplace_back([user] {
            EXPECT_STREQ(Host::ReplacePasswordHash("u" + std::to_string(user), "hash" + std::to_string(user)), nullptr);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (int user = 0; user < 16; ++user) {
        EXPECT_THAT(ReadText(s_shadow), HasSubstr("u" + std::to_string(user) + ":hash" + std::to_string(user) + ":"));
    }
}
