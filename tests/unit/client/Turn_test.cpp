#include "mdp/Turn.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include <gtest/gtest.h>

namespace {

// A directory with the place of a socket in it.
class TurnTest : public testing::Test {
protected:
    void SetUp() override {
        char directory[] = "/tmp/mdp-turn-test-XXXXXX";
        ASSERT_NE(mkdtemp(directory), nullptr);
        m_directory = directory;
    }

    void TearDown() override { std::filesystem::remove_all(m_directory); }

    bool Wait(Mdp::Turn& turn, const std::string& name) const {
        return turn.Wait(m_directory + "/socket", name, Mdp::Milliseconds(20));
    }

    std::string m_directory;
};

} // namespace

TEST_F(TurnTest, OneHasItAtATime) {
    Mdp::Turn second;
    {
        Mdp::Turn first;
        EXPECT_TRUE(Wait(first, "a"));
        EXPECT_FALSE(Wait(second, "a"));
    }
    Mdp::Turn third;
    EXPECT_TRUE(Wait(third, "a"));
}

TEST_F(TurnTest, OtherNamesAreOtherTurns) {
    Mdp::Turn first;
    Mdp::Turn second;

    EXPECT_TRUE(Wait(first, "a"));
    EXPECT_TRUE(Wait(second, "b"));
}

TEST_F(TurnTest, NobodyElseCanOpenItsFile) {
    const mode_t mask = umask(0);
    Mdp::Turn turn;
    EXPECT_TRUE(Wait(turn, "a"));
    umask(mask);

    const auto status = std::filesystem::status(m_directory + "/.mdp-a.lock");
    EXPECT_EQ(status.permissions(), std::filesystem::perms{0600});
}

TEST_F(TurnTest, ItIsNotWhereOthersCanWrite) {
    ASSERT_EQ(chmod(m_directory.c_str(), 01777), 0);

    Mdp::Turn turn;
    EXPECT_TRUE(Wait(turn, "test"));

    EXPECT_TRUE(std::filesystem::is_empty(m_directory));
}

TEST_F(TurnTest, LinkInItsPlaceIsNotFollowed) {
    std::filesystem::create_symlink(m_directory + "/target", m_directory + "/.mdp-a.lock");

    Mdp::Turn turn;
    EXPECT_TRUE(Wait(turn, "a"));

    EXPECT_FALSE(std::filesystem::exists(m_directory + "/target"));
}
