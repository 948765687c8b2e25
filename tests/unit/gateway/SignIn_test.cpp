#include "SignIn.h"

#include <set>

#include <gtest/gtest.h>

namespace Gateway {
namespace {

using namespace std::chrono_literals;

class SignInTest : public testing::Test {
protected:
    SignIn::Outcome Try(const SignIn::Options& options, const std::string& user, const std::string& password) {
        return SignInOf(options).Try(user, password, {"192.168.10.9", false, true});
    }

    SignIn SignInOf(const SignIn::Options& options) {
        return SignIn(
            options,
            [this](const std::string& user, const std::string& password) {
                ++m_checks;
                return m_accounts.count(user + ":" + password) > 0;
            },
            [this](const std::string& user, const std::string& group) {
                return m_members.count(group + ":" + user) > 0;
            },
            [this] { return m_now; });
    }

    std::set<std::string> m_accounts{"alice:secret", "bob:word", "carol:pass"};
    std::set<std::string> m_members{"viewers:alice", "editors:bob"};
    std::chrono::steady_clock::time_point m_now{};
    int m_checks = 0;
};

TEST_F(SignInTest, GroupsTellWhoMayLookAndWhoMayChange) {
    const SignIn::Options options{"viewers", "editors"};
    const auto alice = Try(options, "alice", "secret");
    ASSERT_TRUE(alice.session);
    EXPECT_TRUE(alice.session->mayLook);
    EXPECT_FALSE(alice.session->mayChange);
    const auto bob = Try(options, "bob", "word");
    ASSERT_TRUE(bob.session);
    EXPECT_TRUE(bob.session->mayLook);
    EXPECT_TRUE(bob.session->mayChange);
}

TEST_F(SignInTest, AnAccountThatMayDoNothingIsToldNoMoreThanAWrongPassword) {
    const SignIn::Options options{"viewers", "editors"};
    EXPECT_EQ(Try(options, "carol", "pass").status, 401);
    EXPECT_EQ(Try(options, "alice", "wrong").status, 401);
    EXPECT_EQ(Try(options, "nobody", "pass").status, 401);
    EXPECT_EQ(Try({"", "editors"}, "alice", "secret").status, 401); // there everybody may look without
}

TEST_F(SignInTest, NamesAndPasswordsThatNoAccountCanHaveAreNotChecked) {
    const SignIn::Options options{"viewers", "editors"};
    EXPECT_EQ(Try(options, "", "secret").status, 401);
    EXPECT_EQ(Try(options, std::string("alice\0x", 7), "secret").status, 401);
    EXPECT_EQ(Try(options, "alice", std::string("secret\0x", 8)).status, 401);
    EXPECT_EQ(m_checks, 0);
}

TEST_F(SignInTest, TooManyFailuresOfAnAccountMakeItWaitAlsoWithTheRightPassword) {
    SignIn signIn = SignInOf({"viewers", ""});
    for (unsigned i = 0; i < Attempts::Free; ++i) {
        EXPECT_EQ(signIn.Try("alice", "wrong", {"10.0.0." + std::to_string(i), false, true}).status, 401);
    }
    const auto outcome = signIn.Try("alice", "secret", {"10.0.0.99", false, true});
    EXPECT_EQ(outcome.status, 429);
    EXPECT_GT(outcome.retryAfterSeconds, 0);
    EXPECT_EQ(m_checks, static_cast<int>(Attempts::Free));
    m_now += 1h;
    EXPECT_TRUE(signIn.Try("alice", "secret", {"10.0.0.99", false, true}).session);
}

TEST_F(SignInTest, TooManyFailuresFromAnAddressMakeItWaitAndLockNoAccount) {
    SignIn signIn = SignInOf({"viewers", ""});
    for (unsigned i = 0; i < 20; ++i) {
        signIn.Try("user" + std::to_string(i), "wrong", {"10.0.0.1", false, true});
    }
    for (unsigned i = 0; i < 20; ++i) {
        EXPECT_EQ(signIn.Try("alice", "wrong", {"10.0.0.1", false, true}).status, 429);
    }
    EXPECT_TRUE(signIn.Try("alice", "secret", {"10.0.0.2", false, true}).session);
}

TEST_F(SignInTest, IsOfferedOnlyWhereItServesAPurpose) {
    EXPECT_FALSE(SignInOf({"", ""}).IsOffered());
    EXPECT_TRUE(SignInOf({"", "editors"}).IsOffered());
    EXPECT_FALSE(SignInOf({"", "editors"}).IsNeededToLook());
    EXPECT_TRUE(SignInOf({"viewers", ""}).IsNeededToLook());
    EXPECT_FALSE(SignInOf({"viewers", ""}).MayAnybodyChange());
}

TEST(GroupsOfTheMachine, RootIsInItsOwnGroupAndNobodyInOneThatDoesNotExist) {
    EXPECT_TRUE(IsInGroup("root", "root") || IsInGroup("root", "wheel"));
    EXPECT_FALSE(IsInGroup("root", "no-such-group"));
    EXPECT_FALSE(IsInGroup("no-such-user", "root"));
}

TEST(PasswordsOfTheMachine, AnAccountThatDoesNotExistHasNone) {
    EXPECT_FALSE(CheckPassword("no-such-user", "secret"));
}

} // namespace
} // namespace Gateway
