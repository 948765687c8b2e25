#include "modules/user/ObjectNTLMUser_BSDServices.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>

#include "../../common/Hex.h"
#include "UserFixture.h"
#include "modules/user/ObjectNTLMUser_BSD.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr unsigned int ADD_USER = 0;
constexpr unsigned int DELETE_USER = 1;
constexpr unsigned int RESERVED = 2;
constexpr unsigned int MEMBERSHIP = 3;
constexpr unsigned int ADD_GROUP = 4;
constexpr unsigned int DELETE_GROUP = 5;

// Status, a zero byte, and a code of eight bytes for a failure.
const std::string s_success = "00 00"_hex;
const std::string s_failed = "03 00  01 00 A6 EC 00 00 00 00"_hex;
const std::string s_invalidData = "03 00  06 01 A6 EC 00 00 00 00"_hex;
const std::string s_invalidArgument = "03 00  07 01 A6 EC 00 00 00 00"_hex;
const std::string s_notSupported = "03 00  00 10 A6 EC 00 00 00 00"_hex;
const std::string s_userExists = "03 00  01 04 AF EC 00 00 00 00"_hex;
const std::string s_noSuchUser = "03 00  02 04 AF EC 00 00 00 00"_hex;
const std::string s_groupExists = "03 00  03 04 AF EC 00 00 00 00"_hex;
const std::string s_noSuchGroup = "03 00  04 04 AF EC 00 00 00 00"_hex;
const std::string s_os74 = "03 00  4A 00 A7 EC 00 00 00 00"_hex;

// Total size, the lengths of "bob", no domain, "pass".
const std::string s_addBob = "17 00 00 00  03 00 00 00  00 00 00 00  04 00 00 00"_hex + "bobpass";
const std::string s_deleteAlice = "11 00 00 00  05 00 00 00  00 00 00 00"_hex + "alice";
const std::string s_addMembership = "1E 00 00 00  05 00 00 00  08 00 00 00  00 00 00 00  01"_hex + "alicemachines";
const std::string s_removeMembership = "1E 00 00 00  05 00 00 00  08 00 00 00  00 00 00 00  00"_hex + "alicemachines";
const std::string s_group = "12 00 00 00  06 00 00 00  00 00 00 00"_hex + "panels";

class UserServiceTest : public UserFixture {
protected:
    UserServiceTest() { Create(); }

    // From now on pw ends with that status.
    void AnswerPw(int status) { m_standIns.Add("/usr/sbin/pw", status); }

    // pw makes the account that it is told to.
    void LetPwAddBob() {
        m_standIns.Add("/usr/sbin/pw", 0,
                       "echo 'bob:x:1003:1003::/home/bob:/bin/sh' >>/etc/passwd\n"
                       "echo 'bob:*:19000:0:99999:7:::' >>/etc/shadow\n"
                       "echo 'bob:x:1003:' >>/etc/group");
    }

    void ExpectNothingRan() {
        EXPECT_THAT(m_standIns.Calls(), IsEmpty());
        EXPECT_THAT(List(1), ElementsAre("root", "alice"));
    }
};

struct TBadRecord {
    unsigned int service;
    std::string record;
};

class BadRecord : public UserServiceTest, public testing::WithParamInterface<TBadRecord> {};

// What asking for the host name fails with, while not 0.
int s_hostNameError = 0;

} // namespace

extern "C" {
int __real_gethostname(char* name, std::size_t size);
int __wrap_gethostname(char* name, std::size_t size);

int __wrap_gethostname(char* name, std::size_t size) {
    if (s_hostNameError != 0) {
        errno = s_hostNameError;
        return -1;
    }
    return __real_gethostname(name, size);
}
}

TEST(AccountName, MayHoldTheAlphabet) {
    for (auto* isValid : {NTLMUser::IsValidUsername, NTLMUser::IsValidGroupname}) {
        for (const char* name : {"a", "Z", "0", "9", "_", ".", "..", "a-", "a-b_c.d", "bob", "root", "0bob", "1234"}) {
            EXPECT_TRUE(isValid(name)) << name;
        }
        EXPECT_TRUE(isValid(std::string(300, 'n')));
        for (const char* name : {"",    "-",    "-a",  "a b", " a",  "a ",  "a:b",      "a/b", "a\n", "\t",
                                 "a;b", "a`b`", "a,b", "a+",  "a@b", "a\\", "\xC3\xBC", "a%s", "a'b", "a\"b"}) {
            EXPECT_FALSE(isValid(name)) << name;
        }
        EXPECT_FALSE(isValid(std::string("a\0b", 3)));
        EXPECT_FALSE(isValid(std::string("a\0", 2)));
    }
}

TEST(AccountName, MayEndInADollarSign) {
    for (auto* isValid : {NTLMUser::IsValidUsername, NTLMUser::IsValidGroupname}) {
        EXPECT_TRUE(isValid("machine$"));
        EXPECT_TRUE(isValid("$"));
        EXPECT_FALSE(isValid("mach$ine"));
        EXPECT_FALSE(isValid("$a"));
        EXPECT_FALSE(isValid("a$$"));
        EXPECT_FALSE(isValid("-$"));
        EXPECT_FALSE(isValid("a $"));
    }
}

TEST_F(UserServiceTest, AnotherProgramThatHoldsTheDatabaseIsWaitedForOnlySoLongAndOnlyByWhoNeedsIt) {
    const int file = open("/etc/.pwd.lock", O_WRONLY | O_CREAT | O_CLOEXEC, 0600);

    struct flock whole {};

    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    ASSERT_EQ(fcntl(file, F_OFD_SETLK, &whole), 0);
    const std::string timedOut = "03 00  6E 00 A7 EC 00 00 00 00"_hex;

    std::thread adding([&] { EXPECT_EQ(Run(ADD_USER, s_addBob), timedOut); });
    EXPECT_EQ(Run(ADD_GROUP, s_group), s_success);
    EXPECT_THAT(m_standIns.Calls(), ElementsAre(ElementsAre("/usr/sbin/pw", "group", "add", "panels")));
    EXPECT_THAT(List(1), ElementsAre("root", "alice"));
    adding.join();
    EXPECT_EQ(Run(DELETE_USER, s_deleteAlice), timedOut);
    EXPECT_EQ(m_standIns.Calls().size(), 1U) << "pw would wait without an end";

    close(file);
    EXPECT_EQ(Run(DELETE_USER, s_deleteAlice), s_success);
}

TEST_F(UserServiceTest, AnotherServiceThatHoldsTheDatabaseIsWaitedForAsLongAsItTakes) {
    // The group is added by a program that has the database locked for longer than another program is waited for.
    const int file = open("/etc/.pwd.lock", O_WRONLY | O_CREAT | O_CLOEXEC, 0600);

    struct flock whole {};

    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    ASSERT_EQ(fcntl(file, F_OFD_SETLK, &whole), 0);
    WriteText("/tmp/at-work", "");
    m_standIns.Add("/usr/sbin/pw", 0, "while [ -e /tmp/at-work ]; do sleep 0.05; done");
    std::thread adding([&] { EXPECT_EQ(Run(ADD_GROUP, s_group), s_success); });
    m_standIns.WaitForCalls(1);
    std::thread deleting([&] { EXPECT_EQ(Run(DELETE_USER, s_deleteAlice), s_success); });
    std::this_thread::sleep_for(std::chrono::seconds(8));
    close(file);
    unlink("/tmp/at-work");
    adding.join();
    deleting.join();
    EXPECT_THAT(m_standIns.Calls(), ElementsAre(Call{"/usr/sbin/pw", "group", "add", "panels"},
                                                Call{"/usr/sbin/pw", "user", "del", "alice"}));
}

TEST_F(UserServiceTest, HostNameThatCannotBeReadIsNoLocalDomain) {
    s_hostNameError = EFAULT;
    EXPECT_FALSE(NTLMUser::IsLocalDomain("IPC-4711"));
    EXPECT_THAT(m_log.TakeLines(), ElementsAre("Warning: IsLocalDomain: Could not read hostname."));
    EXPECT_TRUE(NTLMUser::IsLocalDomain(""));
    EXPECT_THAT(m_log.TakeLines(), IsEmpty());
    s_hostNameError = 0;
    EXPECT_TRUE(NTLMUser::IsLocalDomain("IPC-4711"));
}

TEST_F(UserServiceTest, DomainIsLocalWhenItIsEmptyOrTheHostName) {
    EXPECT_TRUE(NTLMUser::IsLocalDomain(""));
    EXPECT_TRUE(NTLMUser::IsLocalDomain("IPC-4711"));
    EXPECT_FALSE(NTLMUser::IsLocalDomain("ipc-4711"));
    EXPECT_FALSE(NTLMUser::IsLocalDomain("IPC-471"));
    EXPECT_FALSE(NTLMUser::IsLocalDomain("IPC-47111"));
    EXPECT_FALSE(NTLMUser::IsLocalDomain(std::string("IPC-4711\0", 9)));
    EXPECT_EQ(sethostname("another", 7), 0);
    EXPECT_TRUE(NTLMUser::IsLocalDomain("another"));
    EXPECT_FALSE(NTLMUser::IsLocalDomain("IPC-4711"));
}

TEST_F(UserServiceTest, AddUserMakesTheAccountSetsItsPasswordAndListsIt) {
    LetPwAddBob();

    EXPECT_EQ(Run(ADD_USER, s_addBob), s_success);

    EXPECT_THAT(m_standIns.Calls(), ElementsAre(Call{"/usr/sbin/pw", "user", "add", "-m", "-n", "bob"}));
    EXPECT_THAT(ReadText("/etc/shadow"), testing::HasSubstr("\nbob:$6$"));
    EXPECT_THAT(List(1), ElementsAre("root", "alice", "bob"));
    EXPECT_THAT(List(3), ElementsAre("root", "alice;machines", "bob"));
    EXPECT_THAT(List(4), ElementsAre("root", "alice", "machines", "bob"));
    EXPECT_THAT(TakeLines(), IsEmpty());
}

TEST_F(UserServiceTest, AddUserTakesTheHostNameForADomain) {
    LetPwAddBob();
    EXPECT_EQ(Run(ADD_USER, "1F 00 00 00  03 00 00 00  08 00 00 00  04 00 00 00"_hex + "bobIPC-4711pass"), s_success);
    EXPECT_THAT(List(1), ElementsAre("root", "alice", "bob"));
}

TEST_F(UserServiceTest, AddUserRefusesAnotherDomain) {
    EXPECT_EQ(Run(ADD_USER, "1F 00 00 00  03 00 00 00  08 00 00 00  04 00 00 00"_hex + "bobipc-4711pass"),
              s_notSupported);
    EXPECT_THAT(TakeLines(), ElementsAre("None: Add user failed (3970306048): Domain users are not supported!"));
    ExpectNothingRan();
}

TEST_F(UserServiceTest, AddUserLooksAtTheDomainBeforeTheName) {
    EXPECT_EQ(Run(ADD_USER, "15 00 00 00  01 00 00 00  01 00 00 00  00 00 00 00"_hex + ":xxxx"), s_notSupported);
    ExpectNothingRan();
}

TEST_F(UserServiceTest, AddUserRefusesABadName) {
    EXPECT_EQ(Run(ADD_USER, "17 00 00 00  03 00 00 00  00 00 00 00  04 00 00 00"_hex + "-obpass"), s_invalidArgument);
    EXPECT_EQ(Run(ADD_USER, "10 00 00 00  00 00 00 00  00 00 00 00  00 00 00 00"_hex), s_invalidArgument);
    EXPECT_THAT(TakeLines(), ElementsAre("None: Add user failed (3970302215): Invalid username!",
                                         "None: Add user failed (3970302215): Invalid username!"));
    ExpectNothingRan();
}

TEST_F(UserServiceTest, AddUserThatExistsIsToldAndKeepsItsPassword) {
    const std::string before = ReadText("/etc/shadow");
    AnswerPw(65);
    EXPECT_EQ(Run(ADD_USER, "19 00 00 00  05 00 00 00  00 00 00 00  04 00 00 00"_hex + "alicepass"), s_userExists);
    EXPECT_THAT(TakeLines(), ElementsAre("None: Add user failed (3970892801): Username already exists!"));
    EXPECT_EQ(ReadText("/etc/shadow"), before);
}

TEST_F(UserServiceTest, AddUserTellsAnyOtherStatus) {
    AnswerPw(74);
    EXPECT_EQ(Run(ADD_USER, s_addBob), s_os74);
    AnswerPw(67);
    EXPECT_EQ(Run(ADD_USER, s_addBob), "03 00  43 00 A7 EC 00 00 00 00"_hex);
    EXPECT_THAT(TakeLines(), ElementsAre("None: Add user failed: 3970367562", "None: Add user failed: 3970367555"));
}

TEST_F(UserServiceTest, AddUserThatPwDidNotMakeHasNoPassword) {
    EXPECT_EQ(Run(ADD_USER, s_addBob), s_failed);
    EXPECT_THAT(TakeLines(), ElementsAre("None: Set Password failed (3970301953)"));
}

TEST_F(UserServiceTest, AddUserWhosePasswordCannotBeSetStaysAndIsNotListed) {
    m_standIns.Add("/usr/sbin/pw", 0, "echo 'bob:x:1003:1003::/home/bob:/bin/sh' >>/etc/passwd");
    EXPECT_EQ(Run(ADD_USER, s_addBob), s_failed);
    EXPECT_THAT(TakeLines(), ElementsAre("None: pw_copy: FAILED", "None: Set Password failed (3970301953)"));
    EXPECT_THAT(ReadText("/etc/passwd"), testing::HasSubstr("\nbob:"));
    EXPECT_THAT(List(1), ElementsAre("root", "alice"));
}

TEST_F(UserServiceTest, TotalSizeMayCountTheByteThatStoringPutBehind) {
    // Kept so: the size that the total is held against is that of the stored request.
    LetPwAddBob();
    EXPECT_EQ(Run(ADD_USER, "18 00 00 00  03 00 00 00  00 00 00 00  04 00 00 00"_hex + "bobpass"), s_success);
    EXPECT_EQ(Run(ADD_USER, "19 00 00 00  03 00 00 00  00 00 00 00  04 00 00 00"_hex + "bobpass"), s_invalidData);
}

TEST_F(UserServiceTest, BytesBehindTheTextsAreLetPass) {
    LetPwAddBob();
    EXPECT_EQ(Run(ADD_USER, "17 00 00 00  03 00 00 00  00 00 00 00  04 00 00 00"_hex + "bobpass, and more"), s_success);
    EXPECT_EQ(List(1).back(), "bob");
}

TEST_F(UserServiceTest, DeleteUserAsksPwAndRebuildsTheLists) {
    m_standIns.Add("/usr/sbin/pw", 0, "sed -i /alice/d /etc/passwd; sed -i '/^alice/d; s/alice//' /etc/group");
    EXPECT_EQ(Run(DELETE_USER, s_deleteAlice), s_success);
    EXPECT_THAT(m_standIns.Calls(), ElementsAre(Call{"/usr/sbin/pw", "user", "del", "alice"}));
    EXPECT_THAT(List(1), ElementsAre("root"));
    EXPECT_THAT(List(2), ElementsAre("ECA61000"));
    EXPECT_THAT(List(3), ElementsAre("root"));
    EXPECT_THAT(List(4), ElementsAre("root", "machines"));
    EXPECT_THAT(TakeLines(), IsEmpty());
}

TEST_F(UserServiceTest, DeleteUserTellsWhatPwTold) {
    AnswerPw(67);
    EXPECT_EQ(Run(DELETE_USER, s_deleteAlice), s_noSuchUser);
    AnswerPw(65);
    EXPECT_EQ(Run(DELETE_USER, s_deleteAlice), "03 00  41 00 A7 EC 00 00 00 00"_hex);
    AnswerPw(74);
    EXPECT_EQ(Run(DELETE_USER, s_deleteAlice), s_os74);
    EXPECT_THAT(TakeLines(),
                ElementsAre("None: Delete user failed (3970892802): Username does not exist!",
                            "None: Delete user failed: 3970367553", "None: Delete user failed: 3970367562"));
}

TEST_F(UserServiceTest, DeleteUserChecksDomainAndName) {
    EXPECT_EQ(Run(DELETE_USER, "14 00 00 00  05 00 00 00  03 00 00 00"_hex + "aliceXYZ"), s_notSupported);
    EXPECT_EQ(Run(DELETE_USER, "11 00 00 00  05 00 00 00  00 00 00 00"_hex + "al ce"), s_invalidArgument);
    EXPECT_THAT(TakeLines(), ElementsAre("None: Delete user failed (3970306048): Domain users are not supported!",
                                         "None: Delete user failed (3970302215): Invalid username!"));
    ExpectNothingRan();
}

TEST_F(UserServiceTest, ShortCountedHeaderLetsASmallTotalPass) {
    // Kept so: 8 for a header of 12 bytes, so the total may be 4 bytes too small.
    EXPECT_EQ(Run(DELETE_USER, "0D 00 00 00  05 00 00 00  00 00 00 00"_hex + "alice"), s_success);
    EXPECT_EQ(Run(DELETE_USER, "0C 00 00 00  05 00 00 00  00 00 00 00"_hex + "alice"), s_invalidData);
    // For a header of 17 bytes it may be 9 too small.
    EXPECT_EQ(Run(MEMBERSHIP, "15 00 00 00  05 00 00 00  08 00 00 00  00 00 00 00  01"_hex + "alicemachines"),
              s_success);
    EXPECT_EQ(Run(MEMBERSHIP, "14 00 00 00  05 00 00 00  08 00 00 00  00 00 00 00  01"_hex + "alicemachines"),
              s_invalidData);
    EXPECT_EQ(Run(ADD_GROUP, "0E 00 00 00  06 00 00 00  00 00 00 00"_hex + "panels"), s_success);
    EXPECT_EQ(Run(ADD_GROUP, "0D 00 00 00  06 00 00 00  00 00 00 00"_hex + "panels"), s_invalidData);
}

TEST_F(UserServiceTest, NumberThatLiesBehindTheRequestIsZero) {
    // Seven bytes and the NUL behind them: no name, which is what is refused.
    EXPECT_EQ(Run(DELETE_USER, "08 00 00 00  00 00 00"_hex), s_invalidArgument);
    EXPECT_EQ(Run(MEMBERSHIP, "08 00 00 00  00 00 00"_hex), s_invalidArgument);
    EXPECT_EQ(Run(ADD_GROUP, "08 00 00 00  00 00 00"_hex), s_invalidArgument);
    EXPECT_EQ(Run(DELETE_GROUP, "08 00 00 00  00 00 00"_hex), s_invalidArgument);
    ExpectNothingRan();
}

TEST_F(UserServiceTest, TextThatEndsBehindTheRequestIsRefused) {
    // The total and the sum would pass.
    EXPECT_EQ(Run(DELETE_USER, "0D 00 00 00  05 00 00 00  00 00 00 00"_hex + "ali"), s_invalidData);
    EXPECT_EQ(Run(ADD_GROUP, "0E 00 00 00  06 00 00 00  00 00 00 00"_hex + "pane"), s_invalidData);
    EXPECT_EQ(Run(MEMBERSHIP, "15 00 00 00  05 00 00 00  08 00 00 00  00 00 00 00  01"_hex + "alicemach"),
              s_invalidData);
    // With the NUL behind the request it is the text of a byte that no name may have.
    EXPECT_EQ(Run(DELETE_USER, "0D 00 00 00  05 00 00 00  00 00 00 00"_hex + "alic"), s_invalidArgument);
    ExpectNothingRan();
}

TEST_P(BadRecord, IsInvalidDataAndRunsNothing) {
    EXPECT_EQ(Run(GetParam().service, GetParam().record), s_invalidData);
    EXPECT_THAT(TakeLines(), IsEmpty());
    ExpectNothingRan();
}

INSTANTIATE_TEST_SUITE_P(
    Records, BadRecord,
    testing::Values(
        // Too short, the NUL counted.
        TBadRecord{ADD_USER, ""}, TBadRecord{ADD_USER, "0F 00 00 00  00 00 00 00  00 00 00 00  00 00"_hex},
        TBadRecord{DELETE_USER, "08 00 00 00  00 00"_hex}, TBadRecord{DELETE_USER, ""},
        TBadRecord{MEMBERSHIP, "08 00 00 00  00 00"_hex}, TBadRecord{MEMBERSHIP, ""},
        TBadRecord{ADD_GROUP, "08 00 00 00  00 00"_hex}, TBadRecord{DELETE_GROUP, ""},
        // A total that is more than there is, and one that is less than its parts.
        TBadRecord{ADD_USER, "19 00 00 00  03 00 00 00  00 00 00 00  04 00 00 00"_hex + "bobpass"},
        TBadRecord{ADD_USER, "16 00 00 00  03 00 00 00  00 00 00 00  04 00 00 00"_hex + "bobpass"},
        TBadRecord{ADD_USER, "FF FF FF FF  03 00 00 00  00 00 00 00  04 00 00 00"_hex + "bobpass"},
        TBadRecord{DELETE_USER, "13 00 00 00  05 00 00 00  00 00 00 00"_hex + "alice"},
        TBadRecord{MEMBERSHIP, "20 00 00 00  05 00 00 00  08 00 00 00  00 00 00 00  01"_hex + "alicemachines"},
        TBadRecord{DELETE_GROUP, "14 00 00 00  06 00 00 00  00 00 00 00"_hex + "panels"},
        // Lengths above 255, also such as would wrap the sum.
        TBadRecord{ADD_USER, "10 01 00 00  00 01 00 00  00 00 00 00  00 00 00 00"_hex + std::string(256, 'n')},
        TBadRecord{ADD_USER, "11 01 00 00  01 00 00 00  00 01 00 00  00 00 00 00"_hex + std::string(257, 'n')},
        TBadRecord{ADD_USER, "11 01 00 00  01 00 00 00  00 00 00 00  00 01 00 00"_hex + std::string(257, 'n')},
        TBadRecord{ADD_USER, "17 00 00 00  03 00 00 00  00 00 00 00  F0 FF FF FF"_hex + "bobpass"},
        TBadRecord{DELETE_USER, "0C 01 00 00  00 01 00 00  00 00 00 00"_hex + std::string(256, 'n')},
        TBadRecord{DELETE_USER, "11 01 00 00  05 00 00 00  00 01 00 00"_hex + std::string(261, 'n')},
        TBadRecord{MEMBERSHIP, "12 02 00 00  01 00 00 00  00 01 00 00  00 00 00 00  01"_hex + std::string(513, 'n')},
        TBadRecord{MEMBERSHIP, "12 02 00 00  01 00 00 00  01 00 00 00  00 01 00 00  01"_hex + std::string(513, 'n')},
        TBadRecord{MEMBERSHIP, "1E 00 00 00  FA FF FF FF  08 00 00 00  00 00 00 00  01"_hex + "alicemachines"},
        TBadRecord{MEMBERSHIP, "FF FF FF FF  F7 FF FF FF  00 00 00 00  00 00 00 00  01"_hex + "alicemachines"},
        TBadRecord{ADD_GROUP, "0C 01 00 00  00 01 00 00  00 00 00 00"_hex + std::string(256, 'n')},
        TBadRecord{DELETE_GROUP, "12 01 00 00  06 00 00 00  00 01 00 00"_hex + std::string(262, 'n')}),
    [](const auto& test) { return "Row" + std::to_string(test.index); });

TEST_F(UserServiceTest, TextsMayHave255Bytes) {
    const std::string name(255, 'n');
    EXPECT_EQ(Run(DELETE_USER, "0B 01 00 00  FF 00 00 00  00 00 00 00"_hex + name), s_success);
    EXPECT_EQ(Run(ADD_GROUP, "0B 01 00 00  FF 00 00 00  00 00 00 00"_hex + name), s_success);
    EXPECT_THAT(m_standIns.Calls(),
                ElementsAre(Call{"/usr/sbin/pw", "user", "del", name}, Call{"/usr/sbin/pw", "group", "add", name}));
}

TEST_F(UserServiceTest, NameOfANewMemberMayBeOfAnyLength) {
    // Kept so: the length that alone is not tested.
    const std::string name(256, 'n');
    EXPECT_EQ(Run(MEMBERSHIP, "19 01 00 00  00 01 00 00  08 00 00 00  00 00 00 00  01"_hex + name + "machines"),
              s_success);
    EXPECT_THAT(m_standIns.Calls(), ElementsAre(Call{"/usr/sbin/pw", "groupmod", "machines", "-m", name}));
}

TEST_F(UserServiceTest, ReservedServiceRefusesWhateverItIsGiven) {
    EXPECT_EQ(Run(RESERVED, ""), s_notSupported);
    EXPECT_EQ(Run(RESERVED, s_deleteAlice), s_notSupported);
    EXPECT_THAT(TakeLines(), IsEmpty());
    ExpectNothingRan();
}

TEST_F(UserServiceTest, MembershipIsAddedAndRemoved) {
    m_standIns.Add("/usr/sbin/pw", 0, "sed -i 's/^alice:x:1001:/&root/' /etc/group");
    EXPECT_EQ(Run(MEMBERSHIP, s_addMembership), s_success);
    EXPECT_THAT(List(3), ElementsAre("root;alice", "alice;machines"));
    AnswerPw(0);
    EXPECT_EQ(Run(MEMBERSHIP, s_removeMembership), s_success);
    EXPECT_THAT(m_standIns.Calls(), ElementsAre(Call{"/usr/sbin/pw", "groupmod", "machines", "-m", "alice"},
                                                Call{"/usr/sbin/pw", "groupmod", "machines", "-d", "alice"}));
}

TEST_F(UserServiceTest, AnyByteButZeroAddsAMembership) {
    EXPECT_EQ(Run(MEMBERSHIP, "1E 00 00 00  05 00 00 00  08 00 00 00  00 00 00 00  80"_hex + "alicemachines"),
              s_success);
    EXPECT_EQ(m_standIns.Calls().back()[3], "-m");
}

TEST_F(UserServiceTest, MembershipTellsWhatPwTold) {
    AnswerPw(65);
    EXPECT_EQ(Run(MEMBERSHIP, s_addMembership), s_noSuchGroup);
    EXPECT_EQ(Run(MEMBERSHIP, s_removeMembership), s_noSuchGroup);
    AnswerPw(67);
    EXPECT_EQ(Run(MEMBERSHIP, s_addMembership), s_noSuchUser);
    AnswerPw(74);
    EXPECT_EQ(Run(MEMBERSHIP, s_removeMembership), s_os74);
    EXPECT_THAT(TakeLines(),
                ElementsAre("None: Add usergroup failed: 3970892804", "None: Delete usergroup failed: 3970892804",
                            "None: Add usergroup failed: 3970892802", "None: Delete usergroup failed: 3970367562"));
}

TEST_F(UserServiceTest, MembershipChecksDomainThenUserThenGroup) {
    EXPECT_EQ(Run(MEMBERSHIP, "14 00 00 00  01 00 00 00  01 00 00 00  01 00 00 00  01"_hex + "::x"), s_notSupported);
    EXPECT_EQ(Run(MEMBERSHIP, "13 00 00 00  01 00 00 00  01 00 00 00  00 00 00 00  01"_hex + "::"), s_invalidArgument);
    EXPECT_EQ(Run(MEMBERSHIP, "13 00 00 00  01 00 00 00  01 00 00 00  00 00 00 00  01"_hex + "a:"), s_invalidArgument);
    EXPECT_THAT(TakeLines(), ElementsAre("None: Domain groups are not supported!", "None: Invalid username!",
                                         "None: Invalid groupname!"));
    ExpectNothingRan();
}

TEST_F(UserServiceTest, GroupsAreAddedAndDeleted) {
    m_standIns.Add("/usr/sbin/pw", 0, "echo 'panels:x:1004:' >>/etc/group");
    EXPECT_EQ(Run(ADD_GROUP, s_group), s_success);
    EXPECT_THAT(List(4), ElementsAre("root", "alice", "machines", "panels"));
    m_standIns.Add("/usr/sbin/pw", 0, "sed -i /panels/d /etc/group");
    EXPECT_EQ(Run(DELETE_GROUP, s_group), s_success);
    EXPECT_THAT(List(4), ElementsAre("root", "alice", "machines"));
    EXPECT_THAT(m_standIns.Calls(), ElementsAre(Call{"/usr/sbin/pw", "group", "add", "panels"},
                                                Call{"/usr/sbin/pw", "group", "del", "panels"}));
    EXPECT_THAT(TakeLines(), IsEmpty());
}

TEST_F(UserServiceTest, GroupsTellWhatPwTold) {
    AnswerPw(65);
    EXPECT_EQ(Run(ADD_GROUP, s_group), s_groupExists);
    EXPECT_EQ(Run(DELETE_GROUP, s_group), s_noSuchGroup);
    AnswerPw(67);
    EXPECT_EQ(Run(ADD_GROUP, s_group), "03 00  43 00 A7 EC 00 00 00 00"_hex);
    AnswerPw(74);
    EXPECT_EQ(Run(DELETE_GROUP, s_group), s_os74);
    EXPECT_THAT(TakeLines(),
                ElementsAre("None: Add group failed: 3970892803", "None: Delete group failed: 3970892804",
                            "None: Add group failed: 3970367555", "None: Delete group failed: 3970367562"));
}

TEST_F(UserServiceTest, GroupsCheckDomainAndName) {
    for (const unsigned int k : {ADD_GROUP, DELETE_GROUP}) {
        EXPECT_EQ(Run(k, "0E 00 00 00  01 00 00 00  01 00 00 00"_hex + "-x"), s_notSupported);
        EXPECT_EQ(Run(k, "0D 00 00 00  01 00 00 00  00 00 00 00"_hex + "-"), s_invalidArgument);
        EXPECT_THAT(TakeLines(), ElementsAre("None: Domain groups are not supported!", "None: Invalid groupname!"));
    }
    ExpectNothingRan();
}

TEST_F(UserServiceTest, GroupServiceOfAnotherNumberIsNotImplemented) {
    const CRef<NTLMUser::CObj0xBnnXAddDelGroup> service(new NTLMUser::CObj0xBnnXAddDelGroup);
    service->Init(0xB007);
    m_dictionary->AddObject(service.Get());
    EXPECT_EQ(Run(7, "not even a record"), "03 00  00 0F A6 EC 00 00 00 00"_hex);
}

TEST_F(UserServiceTest, FailedOperationLeavesTheListsAsTheyWere) {
    m_standIns.Add("/usr/sbin/pw", 74, "echo 'bob:x:1003:1003::/home/bob:/bin/sh' >>/etc/passwd");
    EXPECT_EQ(Run(ADD_USER, s_addBob), s_os74);
    EXPECT_EQ(Run(DELETE_GROUP, s_group), s_os74);
    EXPECT_THAT(List(1), ElementsAre("root", "alice"));
}

TEST_F(UserServiceTest, ServicesSideBySideRunOneBehindTheOther) {
    m_standIns.Add("/usr/sbin/pw", 0,
                   "[ ! -e /tmp/inside ] || touch /tmp/together\n"
                   "touch /tmp/inside; sleep 0.05; rm /tmp/inside");
    std::thread groups([&] {
        for (int round = 0; round < 5; ++round) {
            EXPECT_EQ(Run(ADD_GROUP, s_group), s_success);
        }
    });
    for (int round = 0; round < 5; ++round) {
        EXPECT_EQ(Run(DELETE_USER, s_deleteAlice), s_success);
    }
    groups.join();
    EXPECT_EQ(m_standIns.Calls().size(), 10U);
    EXPECT_NE(access("/tmp/together", F_OK), 0);
}

TEST_F(UserServiceTest, NothingSecretIsLeftInTheService) {
    LetPwAddBob();
    Run(ADD_USER, s_addBob);
    const TInfoItem* request = m_dictionary->GetObjectRef(0xB000)->GetItem(1);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(request->data), request->size), std::string(24, '\0'));
}
