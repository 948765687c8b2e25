#include "sysconfig/ReplaceFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <thread>

using testing::ElementsAre;
using testing::UnorderedElementsAre;
using ZMBSD::ReplaceFile;

namespace {

class ReplaceFileTest : public testing::Test {
protected:
    ReplaceFileTest() {
        char directory[] = "/tmp/replace-test-XXXXXX";
        m_directory = mkdtemp(directory);
    }

    ~ReplaceFileTest() override { std::filesystem::remove_all(m_directory); }

    std::string Path(const std::string& name) const { return m_directory + "/" + name; }

    std::string Write(const std::string& name, const std::string& text) const {
        std::ofstream(Path(name)) << text;
        return Path(name);
    }

    std::string Text(const std::string& name) const {
        std::ifstream file(Path(name));
        return {std::istreambuf_iterator<char>(file), {}};
    }

    // All names in the directory, hidden ones too.
    std::set<std::string> Names() const {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(m_directory)) {
            names.insert(entry.path().filename());
        }
        return names;
    }

    static struct stat StatusOf(const std::string& path) {
        struct stat status = {};
        EXPECT_EQ(lstat(path.c_str(), &status), 0);
        return status;
    }

    std::string m_directory;
};

// Files of this process end at that size, as on a full disk.
class CFileSizeLimit {
public:
    explicit CFileSizeLimit(rlim_t size) {
        m_handler = signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &m_before);
        const struct rlimit limit = {size, m_before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }

    ~CFileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &m_before);
        signal(SIGXFSZ, m_handler);
    }

    CFileSizeLimit(const CFileSizeLimit&) = delete;
    CFileSizeLimit& operator=(const CFileSizeLimit&) = delete;

private:
    void (*m_handler)(int) = nullptr;
    struct rlimit m_before = {};
};

} // namespace

TEST_F(ReplaceFileTest, ContentIsTheNewOneAndNothingLiesBeside) {
    const std::string path = Write("file", "a much longer old text\n");
    EXPECT_EQ(ReplaceFile(path, "new\n"), 0U);
    EXPECT_EQ(Text("file"), "new\n");
    EXPECT_EQ(ReplaceFile(path, ""), 0U);
    EXPECT_EQ(Text("file"), "");
    EXPECT_THAT(Names(), ElementsAre("file"));
}

TEST_F(ReplaceFileTest, ReaderThatHasTheOldFileOpenReadsItToItsEnd) {
    std::ifstream reader(Write("file", "old one\nold two\n"));
    std::string line;
    std::getline(reader, line);
    EXPECT_EQ(ReplaceFile(Path("file"), "new\n"), 0U);
    reader.sync();
    std::getline(reader, line);
    EXPECT_EQ(line, "old two");
}

TEST_F(ReplaceFileTest, OtherNameOfTheOldFileKeepsItsContent) {
    const std::string path = Write("file", "old\n");
    std::filesystem::create_hard_link(path, Path("other"));
    EXPECT_EQ(ReplaceFile(path, "new\n"), 0U);
    EXPECT_EQ(Text("other"), "old\n");
}

TEST_F(ReplaceFileTest, OwnerAndModeStay) {
    const std::string path = Write("file", "old\n");
    chmod(path.c_str(), 0640);
    const bool isRoot = geteuid() == 0 && chown(path.c_str(), 7, 9) == 0;
    EXPECT_EQ(ReplaceFile(path, "new\n"), 0U);
    EXPECT_EQ(StatusOf(path).st_mode, static_cast<mode_t>(S_IFREG | 0640));
    if (isRoot) {
        EXPECT_EQ(StatusOf(path).st_uid, 7U);
        EXPECT_EQ(StatusOf(path).st_gid, 9U);
    }
}

TEST_F(ReplaceFileTest, NewFileHasTheModeThatTheUmaskLeaves) {
    const mode_t before = umask(027);
    EXPECT_EQ(ReplaceFile(Path("file"), "new\n"), 0U);
    umask(before);
    EXPECT_EQ(StatusOf(Path("file")).st_mode, static_cast<mode_t>(S_IFREG | 0640));
    EXPECT_EQ(Text("file"), "new\n");
}

TEST_F(ReplaceFileTest, FileBehindALinkIsReplacedAndTheLinkStays) {
    std::filesystem::create_directory(Path("real"));
    Write("real/file", "old\n");
    std::filesystem::create_symlink("real/file", Path("first"));
    std::filesystem::create_symlink(Path("first"), Path("second"));
    EXPECT_EQ(ReplaceFile(Path("second"), "new\n"), 0U);
    EXPECT_EQ(Text("real/file"), "new\n");
    EXPECT_EQ(std::filesystem::read_symlink(Path("first")), "real/file");
    EXPECT_EQ(std::filesystem::read_symlink(Path("second")), Path("first"));
    EXPECT_THAT(Names(), UnorderedElementsAre("first", "real", "second"));
}

TEST_F(ReplaceFileTest, LinkThatLeadsToNoFileYetGetsOne) {
    std::filesystem::create_symlink("absent", Path("link"));
    EXPECT_EQ(ReplaceFile(Path("link"), "new\n"), 0U);
    EXPECT_TRUE(std::filesystem::is_symlink(Path("link")));
    EXPECT_EQ(Text("absent"), "new\n");
}

TEST_F(ReplaceFileTest, LinksThatLeadInACircleAreRefused) {
    std::filesystem::create_symlink("b", Path("a"));
    std::filesystem::create_symlink("a", Path("b"));
    EXPECT_EQ(ReplaceFile(Path("a"), "new\n"), static_cast<std::uint32_t>(ELOOP));
    EXPECT_THAT(Names(), UnorderedElementsAre("a", "b"));
}

TEST_F(ReplaceFileTest, WhatAKilledProcessLeftBesideIsWrittenOverAndNeverFollowed) {
    const std::string path = Write("file", "old\n");
    Write(".file.new", "half of a te");
    EXPECT_EQ(ReplaceFile(path, "new\n"), 0U);
    EXPECT_EQ(Text("file"), "new\n");
    Write("victim", "kept\n");
    std::filesystem::create_symlink("victim", Path(".file.new"));
    EXPECT_EQ(ReplaceFile(path, "newer\n"), 0U);
    EXPECT_EQ(Text("victim"), "kept\n");
    EXPECT_EQ(Text("file"), "newer\n");
    EXPECT_THAT(Names(), UnorderedElementsAre("file", "victim"));
}

TEST_F(ReplaceFileTest, FileThatCannotBeWrittenWholeStaysAndNothingLiesBeside) {
    const std::string path = Write("file", "old\n");
    {
        const CFileSizeLimit limit(1000);
        EXPECT_EQ(ReplaceFile(path, std::string(5000, 'x')), static_cast<std::uint32_t>(EFBIG));
    }
    EXPECT_EQ(Text("file"), "old\n");
    EXPECT_THAT(Names(), ElementsAre("file"));
}

TEST_F(ReplaceFileTest, NameThatIsNoFilesIsRefusedAndStaysWhatItIs) {
    std::filesystem::create_directory(Path("directory"));
    EXPECT_EQ(ReplaceFile(Path("directory"), "new\n"), static_cast<std::uint32_t>(EINVAL));
    ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
    EXPECT_EQ(ReplaceFile(Path("pipe"), "new\n"), static_cast<std::uint32_t>(EINVAL));
    EXPECT_TRUE(S_ISFIFO(StatusOf(Path("pipe")).st_mode));
    EXPECT_EQ(ReplaceFile(Path("absent/file"), "new\n"), static_cast<std::uint32_t>(ENOENT));
    EXPECT_EQ(ReplaceFile(Write("file", "") + "/below", "new\n"), static_cast<std::uint32_t>(ENOTDIR));
    EXPECT_THAT(Names(), UnorderedElementsAre("directory", "file", "pipe"));
}

TEST_F(ReplaceFileTest, ReaderNeverSeesAnythingBetweenTheOldFileAndTheNewOne) {
    const std::string texts[] = {std::string(100'000, 'a'), std::string(50'000, 'b')};
    const std::string path = Write("file", texts[0]);
    std::atomic<bool> done{false};
    std::thread writer([&] {
        for (int i = 1; i <= 200; ++i) {
            EXPECT_EQ(ReplaceFile(path, texts[i % 2]), 0U);
        }
        done = true;
    });
    while (!done) {
        const std::string text = Text("file");
        EXPECT_TRUE(text == texts[0] || text == texts[1]) << text.size();
    }
    writer.join();
}
