#include "modules/user/ObjectNTLMUser_BSDPassword.h"

#include <gmock/gmock.h>
#include <shadow.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <thread>

#include "../../common/Hex.h"
#include "UserFixture.h"
#include "host/AccountPasswords.h"
#include "modules/user/ObjectNTLMUser_BSD.h"

using NTLMUser::CObj0xBnn6;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using namespace std::chrono_literals;

namespace {

constexpr unsigned int ADD_USER = 0;
constexpr unsigned int CHANGE_PASSWORD = 6;

const std::string s_success = "00 00"_hex;
const std::string s_failed = "03 00  01 00 A6 EC 00 00 00 00"_hex;
const std::string s_blocked = "03 00  01 01 A6 EC 00 00 00 00"_hex;
const std::string s_invalidData = "03 00  06 01 A6 EC 00 00 00 00"_hex;
const std::string s_invalidArgument = "03 00  07 01 A6 EC 00 00 00 00"_hex;
const std::string s_notSupported = "03 00  00 10 A6 EC 00 00 00 00"_hex;

const std::string s_wrongLine = "None: Verify password failed (3970301953): Incorrect password!";
const std::string s_blockedLine = "None: Change password failed (3970302209): Too many invalid login attempts. "
                                  "Login blocked for 60 seconds!";

// alice, no domain, "secret", "changed"; then with a wrong old password.
const std::string s_change =
    "26 00 00 00  05 00 00 00  00 00 00 00  06 00 00 00  07 00 00 00"_hex + "alicesecretchanged";
const std::string s_wrong =
    "26 00 00 00  05 00 00 00  00 00 00 00  06 00 00 00  07 00 00 00"_hex + "aliceSecretchanged";

class PasswordTest : public UserFixture {
protected:
    PasswordTest() { Create(); }

    // The stored hash of alice.
    std::string Stored() {
        std::string hash;
        EXPECT_TRUE(Host::GetPasswordHash("alice", hash));
        return hash;
    }
};

} // namespace

TEST_F(PasswordTest, IsComparedWithTheStoredHash) {
    EXPECT_TRUE(NTLMUser::IsValidPassword("alice", "secret"));
    EXPECT_FALSE(NTLMUser::IsValidPassword("alice", "Secret"));
    EXPECT_FALSE(NTLMUser::IsValidPassword("alice", "secre"));
    EXPECT_FALSE(NTLMUser::IsValidPassword("alice", "secrets"));
    EXPECT_FALSE(NTLMUser::IsValidPassword("alice", ""));
    EXPECT_FALSE(NTLMUser::IsValidPassword("nobodyhere", "secret"));
}

TEST_F(PasswordTest, AccountWithoutAHashHasNoValidPassword) {
    for (const char* hash : {"*", "!", "", "!!", "x", "*0"}) {
        WriteText("/etc/shadow", "root:" + std::string(hash) + ":19000:0:99999:7:::\n");
        for (const char* password : {"", "*", "!", "x", "*0", "secret"}) {
            EXPECT_FALSE(NTLMUser::IsValidPassword("root", password)) << hash << " " << password;
        }
    }
}

TEST_F(PasswordTest, LockedAccountHasNoValidPassword) {
    const std::string hash = Stored();
    WriteText("/etc/shadow", "alice:!" + hash + ":19000:0:99999:7:::\n");
    EXPECT_FALSE(NTLMUser::IsValidPassword("alice", "secret"));
}

TEST_F(PasswordTest, SaltIsOfItsAlphabetAndNotTheSameTwice) {
    std::set<std::string> salts;
    std::set<char> characters;
    for (int round = 0; round < 500; ++round) {
        const std::string salt = NTLMUser::GenerateSalt();
        EXPECT_THAT(salt, MatchesRegex("[a-zA-Z1-9]+"));
        EXPECT_EQ(salt.size(), 16U);
        salts.insert(salt);
        characters.insert(salt.begin(), salt.end());
    }
    EXPECT_EQ(salts.size(), 500U);
    EXPECT_EQ(characters.size(), 61U);
}

TEST_F(PasswordTest, SaltIsSixteenCallsOfRand) {
    std::srand(4711);
    std::string expected;
    for (int at = 0; at < 16; ++at) {
        expected += "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ123456789"[std::rand() % 61];
    }
    std::srand(4711);
    EXPECT_EQ(NTLMUser::GenerateSalt(), expected);
}

TEST_F(PasswordTest, IsStoredAsAHashThatIsFoundValidLater) {
    EXPECT_TRUE(NTLMUser::SetPassword("alice", "a new one"));
    const std::string hash = Stored();
    EXPECT_EQ(hash.substr(0, 3), "$6$");
    EXPECT_THAT(hash.substr(3, 16), MatchesRegex("[a-zA-Z1-9]+"));
    EXPECT_EQ(hash[19], '$');
    EXPECT_EQ(hash.size(), 20U + 86U);
    EXPECT_TRUE(NTLMUser::IsValidPassword("alice", "a new one"));
    EXPECT_FALSE(NTLMUser::IsValidPassword("alice", "secret"));
    EXPECT_THAT(m_log.TakeLines(), IsEmpty());
}

TEST_F(PasswordTest, SamePasswordTwiceIsStoredWithAnotherSalt) {
    EXPECT_TRUE(NTLMUser::SetPassword("alice", "same"));
    const std::string first = Stored();
    EXPECT_TRUE(NTLMUser::SetPassword("alice", "same"));
    EXPECT_NE(Stored(), first);
}

TEST_F(PasswordTest, MayHoldAnyBytesAndHaveUpTo255) {
    std::string all;
    for (int byte = 1; byte < 256; ++byte) {
        all += static_cast<char>(byte);
    }
    EXPECT_TRUE(NTLMUser::SetPassword("alice", all));
    EXPECT_TRUE(NTLMUser::IsValidPassword("alice", all));
    all.back() = 'x';
    EXPECT_FALSE(NTLMUser::IsValidPassword("alice", all));
    EXPECT_TRUE(NTLMUser::SetPassword("alice", ""));
    EXPECT_TRUE(NTLMUser::IsValidPassword("alice", ""));
}

TEST_F(PasswordTest, OfAnAccountThatDoesNotExistIsNotSet) {
    const std::string before = ReadText("/etc/shadow");
    EXPECT_FALSE(NTLMUser::SetPassword("nobodyhere", "x"));
    EXPECT_EQ(ReadText("/etc/shadow"), before);
    EXPECT_THAT(m_log.TakeLines(), IsEmpty());
}

TEST_F(PasswordTest, FailuresOfTheDatabaseAreTold) {
    ASSERT_EQ(mount("/etc", "/etc", nullptr, MS_BIND, nullptr), 0);
    ASSERT_EQ(mount(nullptr, "/etc", nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr), 0);
    EXPECT_EQ(Run(CHANGE_PASSWORD, s_change), s_failed);
    EXPECT_THAT(m_log.TakeLines(), ElementsAre("None: pw_lock: FAILED"));
    EXPECT_TRUE(NTLMUser::IsValidPassword("alice", "secret"));
}

TEST_F(PasswordTest, SetSideBySideKeepsAll) {
    WriteText("/etc/passwd", "a:x:1:1::/:\nb:x:2:2::/:\nc:x:3:3::/:\n");
    WriteText("/etc/shadow", "a:*:1::::::\nb:*:1::::::\nc:*:1::::::\n");
    std::vector<std::thread> threads;
    for (const char* user : {"a", "b", "c"}) {
        threads.emplace_back([user] {
            for (int round = 0; round < 3; ++round) {
                EXPECT_TRUE(NTLMUser::SetPassword(user, user + std::to_string(round)));
                EXPECT_TRUE(NTLMUser::IsValidPassword(user, user + std::to_string(round)));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const char* user : {"a", "b", "c"}) {
        EXPECT_TRUE(NTLMUser::IsValidPassword(user, user + std::string("2")));
    }
}

TEST_F(PasswordTest, ChangeTakesTheOldOne) {
    WriteText("/etc/group", "machines:x:1002:\n");
    EXPECT_EQ(Run(CHANGE_PASSWORD, s_change), s_success);
    EXPECT_TRUE(NTLMUser::IsValidPassword("alice", "changed"));
    EXPECT_FALSE(NTLMUser::IsValidPassword("alice", "secret"));
    EXPECT_EQ(CObj0xBnn6::iAuthFailCount, 0U);
    EXPECT_THAT(m_log.TakeLines(), IsEmpty());
    EXPECT_THAT(m_standIns.Calls(), IsEmpty());
    // The lists stay as they are.
    EXPECT_THAT(List(4), ElementsAre("root", "alice", "machines"));
}

TEST_F(PasswordTest, ChangeTakesTheHostNameForADomain) {
    EXPECT_EQ(Run(CHANGE_PASSWORD,
                  "2E 00 00 00  05 00 00 00  08 00 00 00  06 00 00 00  07 00 00 00"_hex + "aliceIPC-4711secretchanged"),
              s_success);
    EXPECT_TRUE(NTLMUser::IsValidPassword("alice", "changed"));
}

TEST_F(PasswordTest, ChangeChecksDomainThenNameAndCountsNeither) {
    EXPECT_EQ(Run(CHANGE_PASSWORD, "18 00 00 00  01 00 00 00  01 00 00 00  01 00 00 00  01 00 00 00"_hex + ":xab"),
              s_notSupported);
    EXPECT_EQ(Run(CHANGE_PASSWORD, "17 00 00 00  01 00 00 00  00 00 00 00  01 00 00 00  01 00 00 00"_hex + ":ab"),
              s_invalidArgument);
    EXPECT_THAT(m_log.TakeLines(),
                ElementsAre("None: Change password failed (3970306048): Domain users are not supported!",
                            "None: Change password failed (3970302215): Invalid username!"));
    EXPECT_EQ(CObj0xBnn6::iAuthFailCount, 0U);
}

TEST_F(PasswordTest, ChangeRefusesABadRecordAndCountsItNot) {
    for (const std::string& record :
         {std::string(), "08 00 00 00  00 00"_hex,
          // The total is more than there is, with the NUL behind it.
          "28 00 00 00  05 00 00 00  00 00 00 00  06 00 00 00  07 00 00 00"_hex + "alicesecretchanged",
          // Less than its parts and eight.
          "19 00 00 00  05 00 00 00  00 00 00 00  06 00 00 00  07 00 00 00"_hex + "alicesecretchanged",
          // A text behind the end.
          "1A 00 00 00  05 00 00 00  00 00 00 00  06 00 00 00  07 00 00 00"_hex + "alicesecretchang",
          // Lengths above 255.
          "26 03 00 00  00 01 00 00  00 00 00 00  06 00 00 00  07 00 00 00"_hex + std::string(800, 'n'),
          "26 03 00 00  05 00 00 00  00 01 00 00  06 00 00 00  07 00 00 00"_hex + std::string(800, 'n'),
          "26 03 00 00  05 00 00 00  00 00 00 00  00 01 00 00  07 00 00 00"_hex + std::string(800, 'n'),
          "26 03 00 00  05 00 00 00  00 00 00 00  06 00 00 00  00 01 00 00"_hex + std::string(800, 'n'),
          "26 00 00 00  05 00 00 00  00 00 00 00  06 00 00 00  FA FF FF FF"_hex + "alicesecretchanged"}) {
        EXPECT_EQ(Run(CHANGE_PASSWORD, record), s_invalidData);
    }
    EXPECT_THAT(m_log.TakeLines(), IsEmpty());
    EXPECT_EQ(CObj0xBnn6::iAuthFailCount, 0U);
    // Kept so: eight bytes counted for a header of twenty.
    EXPECT_EQ(Run(CHANGE_PASSWORD,
                  "1A 00 00 00  05 00 00 00  00 00 00 00  06 00 00 00  07 00 00 00"_hex + "alicesecretchanged"),
              s_success);
}

TEST_F(PasswordTest, ThirdWrongOneBlocksEverybodyForAMinute) {
    EXPECT_FALSE(CObj0xBnn6::IsBlocked());
    EXPECT_EQ(Run(CHANGE_PASSWORD, s_wrong), s_failed);
    EXPECT_EQ(Run(CHANGE_PASSWORD, s_wrong), s_failed);
    EXPECT_EQ(CObj0xBnn6::iAuthFailCount, 2U);
    EXPECT_EQ(Run(CHANGE_PASSWORD, s_change), s_success);
    EXPECT_EQ(CObj0xBnn6::iAuthFailCount, 2U);
    EXPECT_FALSE(CObj0xBnn6::IsBlocked());
    m_log.TakeLines();

    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(Run(CHANGE_PASSWORD, s_wrong), s_failed);
    const auto after = std::chrono::steady_clock::now();
    EXPECT_THAT(m_log.TakeLines(), ElementsAre(s_wrongLine));
    EXPECT_TRUE(CObj0xBnn6::IsBlocked());
    EXPECT_GE(NTLMUser::deadline, before + 60s);
    EXPECT_LE(NTLMUser::deadline, after + 60s);

    // Whatever comes now is not looked at, not counted, and makes the block no longer.
    const auto deadline = NTLMUser::deadline;
    EXPECT_EQ(Run(CHANGE_PASSWORD, s_wrong), s_blocked);
    EXPECT_EQ(Run(CHANGE_PASSWORD, "not a record"), s_blocked);
    EXPECT_EQ(Run(CHANGE_PASSWORD, "17 00 00 00  04 00 00 00  00 00 00 00  01 00 00 00  01 00 00 00"_hex + "rootab"),
              s_blocked);
    EXPECT_THAT(m_log.TakeLines(), ElementsAre(s_blockedLine, s_blockedLine, s_blockedLine));
    EXPECT_EQ(CObj0xBnn6::iAuthFailCount, 3U);
    EXPECT_EQ(NTLMUser::deadline, deadline);
}

TEST_F(PasswordTest, CountIsKeptBeyondTheEndOfABlock) {
    CObj0xBnn6::iAuthFailCount = 3;
    NTLMUser::deadline = std::chrono::steady_clock::now();
    EXPECT_EQ(Run(CHANGE_PASSWORD, s_change), s_success);
    EXPECT_EQ(CObj0xBnn6::iAuthFailCount, 3U);
    EXPECT_EQ(Run(CHANGE_PASSWORD, s_wrong), s_failed);
    EXPECT_EQ(CObj0xBnn6::iAuthFailCount, 4U);
    EXPECT_EQ(Run(CHANGE_PASSWORD, s_wrong), s_blocked);
}

TEST_F(PasswordTest, UnknownAccountCountsAsAWrongPassword) {
    EXPECT_EQ(Run(CHANGE_PASSWORD, "1C 00 00 00  06 00 00 00  00 00 00 00  01 00 00 00  01 00 00 00"_hex + "nobodyab"),
              s_failed);
    EXPECT_EQ(CObj0xBnn6::iAuthFailCount, 1U);
}

TEST_F(PasswordTest, BlockIsOfNoOtherService) {
    NTLMUser::deadline = std::chrono::steady_clock::now() + 60s;
    m_standIns.Add("/usr/sbin/pw", 0,
                   "echo 'bob:x:1003:1003::/:/bin/sh' >>/etc/passwd; echo 'bob:*:1::::::' >>/etc/shadow");
    EXPECT_EQ(Run(ADD_USER, "17 00 00 00  03 00 00 00  00 00 00 00  04 00 00 00"_hex + "bobpass"), s_success);
    EXPECT_TRUE(NTLMUser::IsValidPassword("bob", "pass"));
}

TEST_F(PasswordTest, NothingSecretIsLeftInTheService) {
    for (const std::string& request : {s_change, s_wrong, "9" + s_change}) {
        Run(CHANGE_PASSWORD, request);
        const TInfoItem* item = m_dictionary->GetObjectRef(0xB006)->GetItem(1);
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(item->data), item->size),
                  std::string(request.size() + 1, '\0'));
    }
}
