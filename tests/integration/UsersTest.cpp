// Accounts, groups and passwords over the socket, for real: the machine's own tools agree, and passwords open accounts.

#include <fcntl.h>
#include <shadow.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "ServiceTest.h"
#include "mdp/Client.h"

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr std::uint8_t AddUser = 0;
constexpr std::uint8_t DeleteUser = 1;
constexpr std::uint8_t Reserved = 2;
constexpr std::uint8_t Membership = 3;
constexpr std::uint8_t AddGroup = 4;
constexpr std::uint8_t DeleteGroup = 5;
constexpr std::uint8_t ChangePassword = 6;

constexpr std::uint8_t Names = 1;
constexpr std::uint8_t Memberships = 3;
constexpr std::uint8_t Groups = 4;

const Bytes s_done = "00 00"_hex;
const Bytes s_failed = "03 00  01 00 A6 EC 00 00 00 00"_hex;
const Bytes s_blocked = "03 00  01 01 A6 EC 00 00 00 00"_hex;

Bytes operator+(Bytes bytes, const std::string& text) {
    bytes.insert(bytes.end(), text.begin(), text.end());
    return bytes;
}

// 16 bytes, alice, no domain, Tr0ub4dor.
const Bytes s_addAlice = "1E 00 00 00  05 00 00 00  00 00 00 00  09 00 00 00"_hex + "aliceTr0ub4dor";
const Bytes s_deleteAlice = "11 00 00 00  05 00 00 00  00 00 00 00"_hex + "alice";
const Bytes s_addPanels = "12 00 00 00  06 00 00 00  00 00 00 00"_hex + "panels";
const Bytes s_joinPanels = "1C 00 00 00  05 00 00 00  06 00 00 00  00 00 00 00  01"_hex + "alicepanels";
const Bytes s_leavePanels = "1C 00 00 00  05 00 00 00  06 00 00 00  00 00 00 00  00"_hex + "alicepanels";
const Bytes s_changeAlice =
    "2A 00 00 00  05 00 00 00  00 00 00 00  09 00 00 00  08 00 00 00"_hex + "aliceTr0ub4dorSesame42";
const Bytes s_wrongAlice =
    "2A 00 00 00  05 00 00 00  00 00 00 00  09 00 00 00  08 00 00 00"_hex + "alicetr0ub4dorSesame42";

std::string ReadText(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

// What the line prints, without the last line end.
std::string Shell(const std::string& line) {
    std::FILE* pipe = popen(line.c_str(), "r");
    if (pipe == nullptr) {
        throw std::runtime_error("no shell");
    }
    std::string output;
    for (int character = std::fgetc(pipe); character != EOF; character = std::fgetc(pipe)) {
        output.push_back(static_cast<char>(character));
    }
    pclose(pipe);
    return output.substr(0, output.find_last_not_of('\n') + 1);
}

// Whether the password opens the account, asked from one without rights.
bool LogsIn(const std::string& user, const std::string& password) {
    const std::string output =
        Shell("printf '%s\\n' '" + password + "' | setpriv --reuid 65534 --regid 65534 --clear-groups su -s /bin/sh " +
              user + " -c 'id -un' 2>/tmp/su-errors");
    return output == user;
}

class UsersTest : public ServiceTest {
protected:
    void SetUp() override {
        ServiceTest::SetUp();
        const auto modules = m_client.ListModules();
        ASSERT_TRUE(modules) << modules.Error().Message();
        const auto users =
            std::find_if(modules->begin(), modules->end(), [](const Mdp::Module& module) { return module.type == 4; });
        ASSERT_NE(users, modules->end());
        EXPECT_EQ(users->typeName, "User Management");
        EXPECT_EQ(users->name, "User Management");
        m_module = *users;
    }

    // Runs a service to its end, as the service flag asks for, and gives its response.
    Bytes Run(std::uint8_t service, const Bytes& request) const {
        const std::uint16_t index = m_module.Service(service);
        const std::size_t end = 24 + 18 + request.size();
        const Bytes write = Join({Little(end, 8), Little(24, 8), Little(end, 8), "00 00"_hex, Little(index, 2),
                                  "02 01  00 00 00 00 00 00 00 00"_hex, Little(request.size(), 4), request});
        Bytes written = WireClient::Transact(write);
        // The worker of the last job lives a little longer than the job.
        for (int round = 0; round < 1000 && Bytes(written.begin() + 10, written.begin() + 14) == "00 02 A6 EC"_hex;
             ++round) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            written = WireClient::Transact(write);
        }
        EXPECT_EQ(Bytes(written.begin() + 10, written.begin() + 18), Bytes(8));
        const Bytes answer = WireClient::Transact(
            Join({"6A 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  00 00"_hex,
                  Little(index, 2), "02 01  00 00 00 00 00 00 00 00  40 00 00 00"_hex, Bytes(64)}));
        EXPECT_EQ(Bytes(answer.begin() + 10, answer.begin() + 18), Bytes(8));
        return {answer.begin() + 22, answer.end()};
    }

    std::vector<std::string> List(std::uint8_t k) const {
        const auto count = m_client.Read(m_module.Data(k), 0);
        EXPECT_TRUE(count);
        std::vector<std::string> elements;
        for (unsigned subIndex = 1; subIndex <= (*count)[0]; ++subIndex) {
            const auto value = m_client.Read(m_module.Data(k), static_cast<std::uint8_t>(subIndex));
            elements.push_back(value ? std::string(value->begin(), value->end()) : "-");
        }
        return elements;
    }

    // The element of the memberships that belongs to a user.
    std::string GroupsOf(const std::string& user) const {
        const auto names = List(Names);
        const auto at = std::find(names.begin(), names.end(), user);
        return at == names.end() ? "no such user" : List(Memberships).at(static_cast<std::size_t>(at - names.begin()));
    }

    const Mdp::Client m_client;
    Mdp::Module m_module;
};

// A process that takes the lock of the account database as the system's programs do.
class COtherHolder {
public:
    COtherHolder() {
        int ready[2];
        EXPECT_EQ(pipe2(ready, O_CLOEXEC), 0);
        m_child = fork();
        if (m_child == 0) {
            const char answer = lckpwdf() == 0 ? 'y' : 'n';
            [[maybe_unused]] const ssize_t count = write(ready[1], &answer, 1);
            pause();
            _exit(0);
        }
        char answer = 0;
        EXPECT_EQ(read(ready[0], &answer, 1), 1);
        EXPECT_EQ(answer, 'y');
        close(ready[0]);
        close(ready[1]);
    }

    ~COtherHolder() {
        kill(m_child, SIGKILL);
        waitpid(m_child, nullptr, 0);
    }

private:
    pid_t m_child = -1;
};

// Makes pw tell its arguments and its environment before it does its work.
void RecordPw() {
    const std::string program = std::string(SYLVARIN_ADAPTERS) + "/usr/sbin/pw";
    std::filesystem::rename(program, program + "-real");
    std::ofstream(program)
        << "#!/bin/sh\n"
        << "{ tr '\\0' ' ' </proc/$$/cmdline; tr '\\0' ' ' </proc/$$/environ; echo; } >>/tmp/pw-calls\n"
        << "exec \"$0-real\" \"$@\"\n";
    std::filesystem::permissions(program, std::filesystem::perms(0755));
}

// Whether the memory of a process that it can write to holds the text.
bool MemoryHolds(pid_t process, const std::string& text) {
    const std::string folder = "/proc/" + std::to_string(process);
    std::ifstream maps(folder + "/maps");
    const int memory = open((folder + "/mem").c_str(), O_RDONLY | O_CLOEXEC);
    bool isThere = false;
    for (std::string line; std::getline(maps, line) && !isThere;) {
        std::uint64_t start = 0;
        std::uint64_t end = 0;
        char mode[5] = {};
        if (std::sscanf(line.c_str(), "%lx-%lx %4s", &start, &end, mode) != 3 || mode[1] != 'w' ||
            end - start > (256U << 20)) { // only a sanitizer has such large ones, of its own
            continue;
        }
        // Pieces, each with the end of the one before: a sanitizer's maps are huge, and mostly not there.
        std::string piece;
        for (std::uint64_t at = start; at < end; at += 1U << 20) {
            std::string next(std::min<std::uint64_t>(1U << 20, end - at), '\0');
            const ssize_t count = pread(memory, next.data(), next.size(), static_cast<off_t>(at));
            next.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
            piece = piece.substr(piece.size() - std::min(piece.size(), text.size() - 1)) + next;
            isThere = isThere || piece.find(text) != std::string::npos;
        }
    }
    close(memory);
    return isThere;
}

} // namespace

TEST_F(UsersTest, ListsAgreeWithTheSystemsOwnTools) {
    std::string names;
    for (const std::string& name : List(Names)) {
        names += name + "\n";
        std::string groups = GroupsOf(name);
        std::replace(groups.begin(), groups.end(), ';', ' ');
        EXPECT_EQ(groups, Shell("id -Gn " + name)) << name;
    }
    EXPECT_EQ(names, Shell("getent passwd | cut -d: -f1") + "\n");
    std::string groups;
    for (const std::string& group : List(Groups)) {
        groups += group + "\n";
    }
    EXPECT_EQ(groups, Shell("getent group | cut -d: -f1") + "\n");
}

TEST_F(UsersTest, AddedUserLogsInWithItsPasswordAndNoOtherAndNotAfterItsDeletion) {
    EXPECT_EQ(Run(AddUser, s_addAlice), s_done);
    EXPECT_THAT(List(Names), Contains("alice"));
    EXPECT_THAT(List(Groups), Contains("alice"));
    EXPECT_TRUE(LogsIn("alice", "Tr0ub4dor")) << ReadText("/tmp/su-errors");
    EXPECT_FALSE(LogsIn("alice", "tr0ub4dor"));
    EXPECT_EQ(Shell("stat -c %U /home/alice"), "alice");

    EXPECT_EQ(Run(DeleteUser, s_deleteAlice), s_done);
    EXPECT_THAT(List(Names), Not(Contains("alice")));
    EXPECT_FALSE(LogsIn("alice", "Tr0ub4dor"));
    EXPECT_EQ(Shell("getent passwd alice; grep ^alice: /etc/shadow"), "");
    // Its home stays.
    EXPECT_TRUE(std::filesystem::is_directory("/home/alice"));
}

TEST_F(UsersTest, ChangedPasswordIsTheOneThatCounts) {
    EXPECT_EQ(Run(AddUser, s_addAlice), s_done);
    const std::string before = ReadText("/etc/shadow");
    EXPECT_EQ(Run(ChangePassword, s_wrongAlice), s_failed);
    EXPECT_EQ(ReadText("/etc/shadow"), before);

    EXPECT_EQ(Run(ChangePassword, s_changeAlice), s_done);
    EXPECT_TRUE(LogsIn("alice", "Sesame42")) << ReadText("/tmp/su-errors");
    EXPECT_FALSE(LogsIn("alice", "Tr0ub4dor"));
    // As passwd leaves an entry.
    EXPECT_EQ(Shell("passwd -S alice | cut -d' ' -f1-3"), "alice P " + Shell("date -u +%Y-%m-%d"));
    EXPECT_EQ(Shell("pwck -r >/dev/null 2>&1; stat -c '%a %U:%G' /etc/shadow"), "640 root:shadow");
}

TEST_F(UsersTest, MembershipsAreThoseThatTheSystemTells) {
    EXPECT_EQ(Run(AddUser, s_addAlice), s_done);
    EXPECT_EQ(Run(AddGroup, s_addPanels), s_done);
    EXPECT_THAT(List(Groups), Contains("panels"));
    EXPECT_EQ(GroupsOf("alice"), "alice");

    EXPECT_EQ(Run(Membership, s_joinPanels), s_done);
    EXPECT_EQ(GroupsOf("alice"), "alice;panels");
    EXPECT_EQ(Shell("id -Gn alice"), "alice panels");

    EXPECT_EQ(Run(Membership, s_leavePanels), s_done);
    EXPECT_EQ(Run(Membership, s_leavePanels), s_done);
    EXPECT_EQ(GroupsOf("alice"), "alice");
    EXPECT_EQ(Shell("id -Gn alice"), "alice");

    EXPECT_EQ(Run(DeleteGroup, s_addPanels), s_done);
    EXPECT_THAT(List(Groups), Not(Contains("panels")));
    EXPECT_EQ(Shell("getent group panels"), "");
}

TEST_F(UsersTest, WhatExistsOrDoesNotIsTold) {
    EXPECT_EQ(Run(DeleteUser, s_deleteAlice), "03 00  02 04 AF EC 00 00 00 00"_hex);
    EXPECT_EQ(Run(AddUser, s_addAlice), s_done);
    const std::string before = ReadText("/etc/shadow");
    EXPECT_EQ(Run(AddUser, "1D 00 00 00  05 00 00 00  00 00 00 00  08 00 00 00"_hex + "aliceSesame42"),
              "03 00  01 04 AF EC 00 00 00 00"_hex);
    EXPECT_EQ(ReadText("/etc/shadow"), before);

    EXPECT_EQ(Run(DeleteGroup, s_addPanels), "03 00  04 04 AF EC 00 00 00 00"_hex);
    EXPECT_EQ(Run(Membership, s_joinPanels), "03 00  04 04 AF EC 00 00 00 00"_hex);
    EXPECT_EQ(Run(Membership, s_leavePanels), "03 00  04 04 AF EC 00 00 00 00"_hex);
    EXPECT_EQ(Run(AddGroup, s_addPanels), s_done);
    EXPECT_EQ(Run(AddGroup, s_addPanels), "03 00  03 04 AF EC 00 00 00 00"_hex);
    EXPECT_EQ(Run(Membership, "1A 00 00 00  03 00 00 00  06 00 00 00  00 00 00 00  01"_hex + "bobpanels"),
              "03 00  02 04 AF EC 00 00 00 00"_hex);
    EXPECT_EQ(Run(Reserved, s_addAlice), "03 00  00 10 A6 EC 00 00 00 00"_hex);
    EXPECT_EQ(m_log.Count("None: Add user failed (3970892801): Username already exists!"), 1U);
    EXPECT_EQ(m_log.Count("None: Delete user failed (3970892802): Username does not exist!"), 1U);
    EXPECT_EQ(m_log.Count("None: Add group failed: 3970892803"), 1U);
}

TEST_F(UsersTest, NamesGoUpToTheLimitOfTheSystem) {
    const std::string longest(32, 'n');
    EXPECT_EQ(Run(AddUser, "34 00 00 00  20 00 00 00  00 00 00 00  04 00 00 00"_hex + (longest + "pass")), s_done);
    EXPECT_TRUE(LogsIn(longest, "pass")) << ReadText("/tmp/su-errors");
    EXPECT_EQ(Run(AddUser, "35 00 00 00  21 00 00 00  00 00 00 00  04 00 00 00"_hex + (longest + "npass")),
              "03 00  40 00 A7 EC 00 00 00 00"_hex);
    EXPECT_EQ(Run(AddGroup, "2C 00 00 00  20 00 00 00  00 00 00 00"_hex + std::string(32, 'g')), s_done);
    EXPECT_EQ(Run(AddGroup, "2D 00 00 00  21 00 00 00  00 00 00 00"_hex + std::string(33, 'g')),
              "03 00  40 00 A7 EC 00 00 00 00"_hex);
    for (const char* name : {"a", "_", "0", "z$"}) {
        const std::string text(name);
        const Bytes head = Join({Little(16 + text.size() + 4, 4), Little(text.size(), 4), Bytes(4), Little(4, 4)});
        EXPECT_EQ(Run(AddUser, head + (text + "pass")), s_done) << name;
        EXPECT_THAT(List(Names), Contains(text));
    }
}

TEST_F(UsersTest, ThirdWrongPasswordBlocksEverybody) {
    EXPECT_EQ(Run(AddUser, s_addAlice), s_done);
    EXPECT_EQ(Run(ChangePassword, s_wrongAlice), s_failed);
    EXPECT_EQ(Run(ChangePassword, s_wrongAlice), s_failed);
    EXPECT_EQ(Run(ChangePassword, s_changeAlice), s_done);
    EXPECT_EQ(Run(ChangePassword, s_wrongAlice), s_failed);
    EXPECT_EQ(Run(ChangePassword, s_changeAlice), s_blocked);
    EXPECT_EQ(Run(ChangePassword, "17 00 00 00  04 00 00 00  00 00 00 00  01 00 00 00  01 00 00 00"_hex + "rootab"),
              s_blocked);
    EXPECT_TRUE(m_log.WaitFor("None: Change password failed (3970302209): Too many invalid login attempts. "
                              "Login blocked for 60 seconds!"));
    EXPECT_EQ(m_log.Count("None: Verify password failed (3970301953): Incorrect password!"), 3U);
}

TEST_F(UsersTest, LockThatAnotherProgramHoldsEndsTheChangeAndTheOldFileStays) {
    EXPECT_EQ(Run(AddUser, s_addAlice), s_done);
    const std::string before = ReadText("/etc/shadow");
    {
        const COtherHolder holder;
        EXPECT_EQ(Run(ChangePassword, s_changeAlice), s_failed);
    }
    EXPECT_EQ(m_log.Count("None: pw_lock: FAILED"), 1U);
    EXPECT_EQ(ReadText("/etc/shadow"), before);
    EXPECT_EQ(Run(ChangePassword, s_changeAlice), s_done);
}

TEST_F(UsersTest, DatabaseThatCannotBeWrittenIsToldAndStays) {
    EXPECT_EQ(Run(AddUser, s_addAlice), s_done);
    const std::string before = ReadText("/etc/shadow");
    ASSERT_EQ(mount("/etc", "/etc", nullptr, MS_BIND, nullptr), 0);
    ASSERT_EQ(mount(nullptr, "/etc", nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr), 0);
    EXPECT_EQ(Run(ChangePassword, s_changeAlice), s_failed);
    EXPECT_EQ(Run(AddGroup, s_addPanels), "03 00  4A 00 A7 EC 00 00 00 00"_hex);
    EXPECT_EQ(ReadText("/etc/shadow"), before);
    ASSERT_EQ(umount("/etc"), 0);
    EXPECT_EQ(Run(ChangePassword, s_changeAlice), s_done);
}

TEST_F(UsersTest, FullDiskIsToldAndLeavesTheOldFileWholeAndNoOther) {
    EXPECT_EQ(Run(AddUser, s_addAlice), s_done);
    const std::string before = ReadText("/etc/shadow");
    ASSERT_EQ(Shell("cp -a /etc /tmp/etc && mount -t tmpfs -o size=16m,mode=755 etc /etc && cp -a /tmp/etc/. /etc && "
                    "dd if=/dev/zero of=/etc/filler bs=4096 2>/dev/null; test -s /etc/filler && echo full"),
              "full");
    const std::string files = Shell("ls -A /etc");
    EXPECT_EQ(Run(ChangePassword, s_changeAlice), s_failed);
    EXPECT_EQ(m_log.Count("None: pw_copy: FAILED"), 1U);
    EXPECT_EQ(ReadText("/etc/shadow"), before);
    EXPECT_EQ(Shell("ls -A /etc"), files);
}

TEST_F(UsersTest, ServicesSideBySideLoseNothing) {
    const auto record = [](const std::string& name, const std::string& password) {
        return Join({Little(16 + name.size() + password.size(), 4), Little(name.size(), 4), Bytes(4),
                     Little(password.size(), 4)}) +
               (name + password);
    };
    EXPECT_EQ(Run(AddUser, s_addAlice), s_done);
    std::thread users([&] {
        for (int number = 0; number < 5; ++number) {
            EXPECT_EQ(Run(AddUser, record("user" + std::to_string(number), "pass")), s_done);
        }
    });
    std::thread groups([&] {
        for (int number = 0; number < 5; ++number) {
            const std::string name = "group" + std::to_string(number);
            EXPECT_EQ(Run(AddGroup, Join({Little(12 + name.size(), 4), Little(name.size(), 4), Bytes(4)}) + name),
                      s_done);
        }
    });
    const Bytes back = "2A 00 00 00  05 00 00 00  00 00 00 00  08 00 00 00  09 00 00 00"_hex + "aliceSesame42Tr0ub4dor";
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(Run(ChangePassword, s_changeAlice), s_done);
        EXPECT_EQ(Run(ChangePassword, back), s_done);
    }
    users.join();
    groups.join();
    for (int number = 0; number < 5; ++number) {
        EXPECT_THAT(List(Names), Contains("user" + std::to_string(number)));
        EXPECT_THAT(List(Groups), Contains("group" + std::to_string(number)));
    }
    EXPECT_TRUE(LogsIn("alice", "Tr0ub4dor"));
    EXPECT_TRUE(LogsIn("user4", "pass"));
}

TEST_F(UsersTest, ThreeHundredAccountsAndGroupsAreListedUpToTheLimitAndServed) {
    {
        std::ofstream users("/etc/passwd", std::ios::app);
        std::ofstream groups("/etc/group", std::ios::app);
        for (int number = 1; number <= 300; ++number) {
            const int id = 3000 + number;
            users << "user" << number << ":x:" << id << ":" << id << "::/:/bin/sh\n";
            groups << "user" << number << ":x:" << id << ":\n";
        }
    }
    EXPECT_EQ(Run(AddUser, s_addAlice), s_done);
    EXPECT_EQ(List(Names).size(), 254U);
    EXPECT_EQ(List(Memberships).size(), 254U);
    EXPECT_EQ(List(Groups).size(), 254U);
    EXPECT_THAT(List(Names), Not(Contains("alice")));
    EXPECT_EQ(Run(ChangePassword, s_changeAlice), s_done);
    EXPECT_TRUE(LogsIn("alice", "Sesame42"));
}

TEST_F(UsersTest, SecretsReachNothingButTheDatabase) {
    RecordPw();
    Shell("touch -d '1 second ago' /tmp/start");
    EXPECT_EQ(Run(AddUser, s_addAlice), s_done);
    const std::string first = Shell("grep ^alice: /etc/shadow | cut -d: -f2");
    EXPECT_EQ(Run(AddUser, s_addAlice), "03 00  01 04 AF EC 00 00 00 00"_hex);
    EXPECT_EQ(Run(ChangePassword, s_changeAlice), s_done);
    const std::string second = Shell("grep ^alice: /etc/shadow | cut -d: -f2");
    EXPECT_EQ(Run(ChangePassword, s_wrongAlice), s_failed);
    EXPECT_EQ(Run(AddGroup, s_addPanels), s_done);
    ASSERT_NE(first, second);
    ASSERT_EQ(first.size(), 106U);

    // What runs has a name among its arguments, and no environment.
    EXPECT_THAT(ReadText("/tmp/pw-calls"), HasSubstr("usr/sbin/pw user add -m -n alice "));
    std::string told = ReadText("/tmp/pw-calls") + m_service->Output();
    for (const std::string& line : m_log.Texts()) {
        told += line + "\n";
    }
    EXPECT_THAT(told, HasSubstr("alice"));
    Shell("find /etc /home /root /run /tmp /usr /var -xdev -newer /tmp/start -type f -print0 >/tmp/written");
    for (const std::string& secret : {std::string("Tr0ub4dor"), std::string("tr0ub4dor"), std::string("Sesame42"),
                                      first.substr(3, 16), second.substr(3, 16), first.substr(20), second.substr(20)}) {
        EXPECT_THAT(told, Not(HasSubstr(secret)));
        const std::string files = Shell("xargs -0 grep -lsF -e '" + secret + "' </tmp/written | sort");
        // Debian's own tools keep the file of before beside it.
        EXPECT_TRUE(files.empty() || files == "/etc/shadow" || files == "/etc/shadow-" ||
                    files == "/etc/shadow\n/etc/shadow-")
            << secret << ": " << files;
        EXPECT_TRUE(files.empty() || secret != "Sesame42") << files;
        EXPECT_TRUE(files.empty() || secret != "Tr0ub4dor") << files;
    }
}

TEST_F(UsersTest, SecretsAreGoneFromTheServicesMemory) {
    EXPECT_EQ(Run(AddUser, s_addAlice), s_done);
    EXPECT_EQ(Run(ChangePassword, s_changeAlice), s_done);
    EXPECT_EQ(Run(ChangePassword, s_wrongAlice), s_failed);
    m_service->WaitUntilSteady();
    EXPECT_TRUE(MemoryHolds(m_service->Pid(), "User Management"));
    EXPECT_FALSE(MemoryHolds(m_service->Pid(), "Tr0ub4dor"));
    EXPECT_FALSE(MemoryHolds(m_service->Pid(), "tr0ub4dor"));
    EXPECT_FALSE(MemoryHolds(m_service->Pid(), "Sesame42"));
}
