#include "Sessions.h"

#include <set>

#include <gtest/gtest.h>

namespace Gateway {
namespace {

using namespace std::chrono_literals;

// A clock that the test sets.
struct Hands {
    std::chrono::steady_clock::time_point now{};

    SteadyNow Look() {
        return [this] { return now; };
    }
};

TEST(SessionsTest, ATokenIs256RandomBits) {
    Sessions sessions;
    std::set<std::string> tokens;
    for (int i = 0; i < 100; ++i) {
        const std::string token = sessions.Begin({"alice", true, false});
        EXPECT_EQ(token.size(), 64U);
        tokens.insert(token);
    }
    EXPECT_EQ(tokens.size(), 100U);
}

TEST(SessionsTest, ASessionIsFoundByItsTokenAlone) {
    Sessions sessions;
    const std::string token = sessions.Begin({"alice", true, true});
    const auto found = sessions.Find(token);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->user, "alice");
    EXPECT_TRUE(found->mayChange);
    EXPECT_FALSE(sessions.Find(""));
    EXPECT_FALSE(sessions.Find(token.substr(1)));
    sessions.End(token);
    EXPECT_FALSE(sessions.Find(token));
}

TEST(SessionsTest, ASessionThatNobodyUsesEnds) {
    Hands hands;
    Sessions sessions(hands.Look());
    const std::string token = sessions.Begin({"alice", true, false});
    hands.now += Sessions::Idle;
    EXPECT_TRUE(sessions.Find(token));
    hands.now += Sessions::Idle;
    EXPECT_TRUE(sessions.IsThere(token)); // which is no use
    hands.now += 1s;
    EXPECT_FALSE(sessions.Find(token));
}

TEST(SessionsTest, ASessionEndsAfterAWorkingDayInAnyCase) {
    Hands hands;
    Sessions sessions(hands.Look());
    const std::string token = sessions.Begin({"alice", true, false});
    for (auto passed = 0min; passed < Sessions::Longest; passed += 20min) {
        ASSERT_TRUE(sessions.Find(token));
        hands.now += 20min;
    }
    hands.now += 1s;
    EXPECT_FALSE(sessions.Find(token));
}

TEST(SessionsTest, TheOneThatWasNotUsedForLongestMakesRoom) {
    Hands hands;
    Sessions sessions(hands.Look());
    const std::string first = sessions.Begin({"first", true, false});
    hands.now += 1s;
    const std::string second = sessions.Begin({"second", true, false});
    hands.now += 1s;
    sessions.Find(first);
    for (std::size_t i = 2; i <= Sessions::Most; ++i) {
        sessions.Begin({"more", true, false});
    }
    EXPECT_TRUE(sessions.Find(first));
    EXPECT_FALSE(sessions.Find(second));
}

TEST(AttemptsTest, WhoFailsTooOftenWaitsLongerEachTime) {
    Hands hands;
    Attempts attempts(hands.Look());
    for (unsigned i = 0; i < Attempts::Free; ++i) {
        EXPECT_EQ(attempts.Begin("alice"), 0s) << i;
    }
    EXPECT_EQ(attempts.Begin("alice"), Attempts::FirstWait);
    EXPECT_EQ(attempts.Begin("bob"), 0s);
    hands.now += Attempts::FirstWait;
    EXPECT_EQ(attempts.Begin("alice"), 0s);
    EXPECT_EQ(attempts.Begin("alice"), 2 * Attempts::FirstWait);
    for (int i = 0; i < 20; ++i) {
        hands.now += attempts.Begin("alice");
    }
    EXPECT_LE(attempts.Begin("alice"), Attempts::LongestWait);
}

TEST(AttemptsTest, SuccessForgetsFailures) {
    Hands hands;
    Attempts attempts(hands.Look());
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(attempts.Begin("alice"), 0s);
        attempts.Succeed("alice");
    }
}

TEST(AttemptsTest, TimeForgetsFailures) {
    Hands hands;
    Attempts attempts(hands.Look());
    for (unsigned i = 0; i < Attempts::Free; ++i) {
        attempts.Begin("alice");
    }
    hands.now += Attempts::FirstWait + Attempts::LongestWait + 1s;
    for (unsigned i = 0; i < Attempts::Free; ++i) {
        EXPECT_EQ(attempts.Begin("alice"), 0s);
    }
}

TEST(AttemptsTest, MakingUpNamesDoesNotFillTheMemory) {
    Hands hands;
    Attempts attempts(hands.Look());
    for (std::size_t i = 0; i < Attempts::Most; ++i) {
        attempts.Begin(std::to_string(i));
    }
    EXPECT_EQ(attempts.Begin("one more"), Attempts::FirstWait);
}

} // namespace
} // namespace Gateway
