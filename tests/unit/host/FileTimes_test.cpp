#include "host/FileTimes.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

class FileTimesTest : public testing::Test {
protected:
    FileTimesTest() {
        EXPECT_NE(mkdtemp(m_directory.data()), nullptr);
        m_file = m_directory + "/file";
        m_descriptor = open(m_file.c_str(), O_RDWR | O_CREAT, 0600);
    }

    ~FileTimesTest() override {
        close(m_descriptor);
        std::filesystem::remove_all(m_directory);
    }

    std::string m_directory = "/tmp/sylvarin-host-XXXXXX";
    std::string m_file;
    int m_descriptor = -1;
};

bool operator==(const std::timespec& left, const std::timespec& right) {
    return left.tv_sec == right.tv_sec && left.tv_nsec == right.tv_nsec;
}

TEST_F(FileTimesTest, BirthIsWhenTheFileWasMadeWhateverBecomesOfItsOtherTimes) {
    const std::time_t now = std::time(nullptr);
    const std::timespec times[] = {{1000, 0}, {2000000000000, 0}};
    futimens(m_descriptor, times);
    const std::timespec birth = Host::GetBirthTime(m_file.c_str());
    EXPECT_GE(birth.tv_sec, now - 60);
    EXPECT_LE(birth.tv_sec, now + 1);
}

TEST_F(FileTimesTest, DescriptorAndPathAndLinkTellTheSame) {
    const std::timespec birth = Host::GetBirthTime(m_descriptor);
    EXPECT_NE(birth.tv_sec, -1);
    EXPECT_TRUE(Host::GetBirthTime(m_file.c_str()) == birth);
    usleep(20 * 1000);
    const std::string link = m_directory + "/link";
    ASSERT_EQ(symlink("file", link.c_str()), 0);
    EXPECT_TRUE(Host::GetBirthTime(link.c_str()) == birth);
}

TEST_F(FileTimesTest, MissingFileWasBornASecondBeforeTheEpoch) {
    EXPECT_TRUE(Host::GetBirthTime((m_directory + "/missing").c_str()) == (std::timespec{-1, 0}));
    EXPECT_TRUE(Host::GetBirthTime(-1) == (std::timespec{-1, 0}));
}

} // namespace
