#include "platform/OsUserFindFile.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "TemporaryDirectory.h"
#include "host/FileTimes.h"

namespace {

constexpr std::uint64_t EPOCH = 116444736000000000;

class OsUserFindFileTest : public testing::Test {
protected:
    std::vector<std::string> Find(const std::string& pattern) {
        std::vector<std::string> names;
        TFindHandle* handle = OsUserFindFirstFile(pattern.c_str(), &m_data);
        if (handle == nullptr) {
            return names;
        }
        do {
            names.emplace_back(m_data.cFileName);
        } while (OsUserFindNextFile(handle, &m_data) != 0);
        // The end stays the end.
        EXPECT_EQ(OsUserFindNextFile(handle, &m_data), 0);
        EXPECT_EQ(OsUserFindClose(handle), 1);
        return names;
    }

    TemporaryDirectory m_directory;
    _WIN32_FIND_DATAA m_data = {};
};

using Names = std::vector<std::string>;

TEST_F(OsUserFindFileTest, WildcardsDeliverSortedBaseNames) {
    for (const char* name : {"b.txt", "a.txt", "c.log", ".hidden"}) {
        m_directory.Write(name, "");
    }
    EXPECT_EQ(Find(m_directory / "*"), (Names{"a.txt", "b.txt", "c.log"}));
    EXPECT_EQ(Find(m_directory / "*.txt"), (Names{"a.txt", "b.txt"}));
    EXPECT_EQ(Find(m_directory / "[bc].???"), (Names{"b.txt", "c.log"}));
    EXPECT_EQ(Find(m_directory / "*.none"), Names{});
}

TEST_F(OsUserFindFileTest, PatternIsNormalised) {
    m_directory.Write("file", "");
    std::string pattern = m_directory.Path() + "//*";
    std::replace(pattern.begin(), pattern.end(), '/', '\\');
    EXPECT_EQ(Find(pattern), Names{"file"});
}

TEST_F(OsUserFindFileTest, PathWithoutWildcardGivesItselfIfItExists) {
    m_directory.Write("file", "12345");
    const std::string name = m_directory.Path().substr(m_directory.Path().rfind('/') + 1);
    EXPECT_EQ(Find(m_directory.Path()), Names{name});
    EXPECT_EQ(m_data.dwFileAttributes, 16u);
    EXPECT_EQ(Find(m_directory.Path() + "/"), Names{name});
    EXPECT_EQ(Find(m_directory / "file"), Names{"file"});
    EXPECT_EQ(m_data.dwFileAttributes, 128u);
    EXPECT_EQ(Find(m_directory / "missing"), Names{});
    EXPECT_EQ(Find(""), Names{});
}

TEST_F(OsUserFindFileTest, EntryTellsTimesAndSize) {
    const std::string path = m_directory.Write("file", "");
    ASSERT_EQ(truncate(path.c_str(), 0x140000003), 0);
    const timespec times[] = {{1000, 123456700}, {3000000000, 999999999}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    std::memset(&m_data, 0xFF, sizeof m_data);

    ASSERT_EQ(Find(path), Names{"file"});
    EXPECT_EQ(m_data.dwFileAttributes, 128u);
    EXPECT_EQ(_FILETIME{m_data.ftLastAccessTime}, EPOCH + 1000ULL * 10000000 + 1234567);
    EXPECT_EQ(_FILETIME{m_data.ftLastWriteTime}, EPOCH + 3000000000ULL * 10000000 + 9999999);
    EXPECT_EQ(_FILETIME{m_data.ftCreationTime}, Timespec2FileTime(Host::GetBirthTime(path.c_str())));
    EXPECT_EQ(m_data.nFileSizeHigh, 1u);
    EXPECT_EQ(m_data.nFileSizeLow, 0x40000003u);
    EXPECT_EQ(m_data.dwReserved0, 0u);
    EXPECT_EQ(m_data.dwReserved1, 0u);
    EXPECT_EQ(m_data.cAlternateFileName[0], '\0');
}

TEST_F(OsUserFindFileTest, RecordIsPacked) {
    EXPECT_EQ(offsetof(_WIN32_FIND_DATAA, ftCreationTime), 4u);
    EXPECT_EQ(offsetof(_WIN32_FIND_DATAA, nFileSizeHigh), 28u);
    EXPECT_EQ(offsetof(_WIN32_FIND_DATAA, cFileName), 44u);
    EXPECT_EQ(offsetof(_WIN32_FIND_DATAA, cAlternateFileName), 304u);
}

TEST_F(OsUserFindFileTest, SocketHasAllAttributeBits) {
    const int socketDescriptor = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s", (m_directory / "socket").c_str());
    ASSERT_EQ(bind(socketDescriptor, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(Find(m_directory / "*"), Names{"socket"});
    EXPECT_EQ(m_data.dwFileAttributes, 0xFFFFFFFFu);
    close(socketDescriptor);
}

TEST_F(OsUserFindFileTest, LinksAreFollowed) {
    m_directory.Write("file", "12345");
    ASSERT_EQ(symlink("file", (m_directory / "link").c_str()), 0);
    EXPECT_EQ(Find(m_directory / "link"), Names{"link"});
    EXPECT_EQ(m_data.dwFileAttributes, 128u);
    EXPECT_EQ(m_data.nFileSizeLow, 5u);
}

TEST_F(OsUserFindFileTest, DanglingLinkEndsTheList) {
    m_directory.Write("a", "");
    ASSERT_EQ(symlink("nowhere", (m_directory / "b").c_str()), 0);
    m_directory.Write("c", "");
    EXPECT_EQ(Find(m_directory / "*"), Names{"a"});
}

TEST_F(OsUserFindFileTest, DanglingLinkInFrontLeavesNothing) {
    ASSERT_EQ(symlink("nowhere", (m_directory / "a").c_str()), 0);
    m_directory.Write("b", "");
    EXPECT_EQ(Find(m_directory / "*"), Names{});
}

TEST_F(OsUserFindFileTest, NamesOfFullLengthFit) {
    const std::string name(255, 'n');
    m_directory.Write(name, "");
    EXPECT_EQ(Find(m_directory / "*"), Names{name});
}

TEST_F(OsUserFindFileTest, PathsOf1024CharactersAndMoreAreSkipped) {
    std::string directory;
    while (m_directory.Path().size() + directory.size() < 900) {
        directory += std::string(80, 'd') + "/";
        ASSERT_EQ(mkdir((m_directory / directory).c_str(), 0755), 0);
    }
    const std::size_t length = (m_directory / directory).size();
    const std::string tooLong(1024 - length, 'a');
    const std::string fits(1023 - length, 'b');
    for (const std::string& name : {tooLong, fits}) {
        m_directory.Write(directory + name, "");
    }
    EXPECT_EQ(Find(m_directory / (directory + "*")), Names{fits});
    EXPECT_EQ(Find(m_directory / (directory + "a*")), Names{});
}

TEST_F(OsUserFindFileTest, NullHandlesGiveZero) {
    EXPECT_EQ(OsUserFindNextFile(nullptr, &m_data), 0);
    EXPECT_EQ(OsUserFindClose(nullptr), 0);
}

} // namespace
