#include "platform/OsUserFile.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <memory>

#include "TemporaryDirectory.h"
#include "platform/OsUserSystem.h"

namespace {

using File = std::unique_ptr<std::FILE, decltype(&std::fclose)>;

class OsUserFileTest : public testing::Test {
protected:
    // A path in the directory, spelled as a client of another system might.
    std::string Foreign(const std::string& name) const {
        std::string path = m_directory.Path() + "//" + name;
        std::replace(path.begin(), path.end(), '/', '\\');
        return path;
    }

    mode_t ModeOf(const std::string& name) const {
        struct stat status = {};
        EXPECT_EQ(stat((m_directory / name).c_str(), &status), 0);
        return status.st_mode & 07777;
    }

    TemporaryDirectory m_directory;
};

TEST_F(OsUserFileTest, FopenNormalisesThePath) {
    m_directory.Write("file", "text");
    const File file(os_fopen(Foreign("file").c_str(), "rb"), &std::fclose);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(std::fgetc(file.get()), 't');
    errno = 0;
    EXPECT_EQ(os_fopen(Foreign("missing").c_str(), "rb"), nullptr);
    EXPECT_EQ(OsUserGetLastError(), ENOENT);
}

TEST_F(OsUserFileTest, FopenForAppendAndReadStartsAtTheStart) {
    m_directory.Write("file", "text");
    for (const char* mode : {"a+", "a+b"}) {
        const File file(os_fopen(Foreign("file").c_str(), mode), &std::fclose);
        ASSERT_NE(file, nullptr);
        EXPECT_EQ(std::ftell(file.get()), 0);
        EXPECT_EQ(std::fgetc(file.get()), 't');
        std::fseek(file.get(), 0, SEEK_CUR);
        std::fputs("+", file.get());
    }
    EXPECT_EQ(m_directory.Read("file"), "text++");
}

TEST_F(OsUserFileTest, MkdirAndRmdirGiveThePlainResults) {
    EXPECT_EQ(os_mkdir(Foreign("sub").c_str(), 0700), 0);
    EXPECT_EQ(ModeOf("sub"), 0700u);
    EXPECT_EQ(os_mkdir(Foreign("sub").c_str(), 0700), -1);
    EXPECT_EQ(errno, EEXIST);
    EXPECT_EQ(os_rmdir(Foreign("sub").c_str()), 0);
    EXPECT_EQ(os_rmdir(Foreign("sub").c_str()), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(OsUserFileTest, DeleteUnlinksTheNormalisedPath) {
    ASSERT_EQ(OsUserCreateDirectory((m_directory / "a").c_str()), 1);
    ASSERT_EQ(OsUserCreateDirectory((m_directory / "a/b").c_str()), 1);
    m_directory.Write("a/b/c", "");
    EXPECT_EQ(OsUserDeleteFile((m_directory.Path() + "/a\\b//c").c_str()), 1);
    EXPECT_FALSE(m_directory.Exists("a/b/c"));
    EXPECT_EQ(OsUserDeleteFile((m_directory.Path() + "/a\\b//c").c_str()), 0);
    EXPECT_EQ(OsUserGetLastError(), ENOENT);
}

TEST_F(OsUserFileTest, DirectoriesAreMadeForTheGroupAndRemoved) {
    const mode_t mask = umask(0);
    EXPECT_EQ(OsUserCreateDirectory(Foreign("sub").c_str()), 1);
    umask(mask);
    EXPECT_EQ(ModeOf("sub"), 0775u);
    EXPECT_EQ(OsUserCreateDirectory(Foreign("sub").c_str()), 0);
    EXPECT_EQ(OsUserGetLastError(), EEXIST);
    EXPECT_EQ(OsUserRemoveDirectory(Foreign("sub").c_str()), 1);
    EXPECT_EQ(OsUserRemoveDirectory(Foreign("sub").c_str()), 0);
    EXPECT_EQ(OsUserGetLastError(), ENOENT);
}

TEST_F(OsUserFileTest, CurrentDirectoryIsTold) {
    char buffer[4096];
    EXPECT_EQ(OsUserGetCurrentDirectory(sizeof buffer, buffer), 1);
    EXPECT_EQ(std::filesystem::path(buffer), std::filesystem::current_path());
    EXPECT_EQ(OsUserGetCurrentDirectory(1, buffer), 0);
    EXPECT_EQ(OsUserGetLastError(), ERANGE);
}

TEST_F(OsUserFileTest, AttributesTellTheKind) {
    m_directory.Write("file", "");
    ASSERT_EQ(mkfifo((m_directory / "fifo").c_str(), 0600), 0);
    ASSERT_EQ(symlink(m_directory.Path().c_str(), (m_directory / "link").c_str()), 0);
    EXPECT_EQ(OsUserGetFileAttributes(m_directory.Path().c_str()), 16u);
    EXPECT_EQ(OsUserGetFileAttributes(Foreign("file").c_str()), 128u);
    EXPECT_EQ(OsUserGetFileAttributes(Foreign("link").c_str()), 16u);
    EXPECT_EQ(OsUserGetFileAttributes(Foreign("fifo").c_str()), 0xFFFFFFFFu);
    errno = 0;
    EXPECT_EQ(OsUserGetFileAttributes(Foreign("missing").c_str()), 0xFFFFFFFFu);
    EXPECT_EQ(OsUserGetLastError(), ENOENT);
}

TEST_F(OsUserFileTest, OnlyRegularFilesExist) {
    m_directory.Write("file", "");
    ASSERT_EQ(mkfifo((m_directory / "fifo").c_str(), 0600), 0);
    EXPECT_TRUE(OsUserPathFileExists(Foreign("file").c_str()));
    EXPECT_FALSE(OsUserPathFileExists(m_directory.Path().c_str()));
    EXPECT_FALSE(OsUserPathFileExists(Foreign("fifo").c_str()));
    EXPECT_FALSE(OsUserPathFileExists(Foreign("missing").c_str()));
}

TEST_F(OsUserFileTest, MoveRefusesToReplaceARegularFile) {
    m_directory.Write("from", "new");
    m_directory.Write("to", "old");
    EXPECT_EQ(OsUserMoveFile(Foreign("from").c_str(), Foreign("to").c_str(), 0), 0);
    EXPECT_EQ(OsUserGetLastError(), EEXIST);
    EXPECT_EQ(OsUserMoveFile(Foreign("from").c_str(), Foreign("to").c_str(), 2), 0);
    EXPECT_EQ(m_directory.Read("to"), "old");

    EXPECT_EQ(OsUserMoveFile(Foreign("from").c_str(), Foreign("to").c_str(), 1), 1);
    EXPECT_EQ(m_directory.Read("to"), "new");
    EXPECT_FALSE(m_directory.Exists("from"));

    EXPECT_EQ(OsUserMoveFile(Foreign("to").c_str(), Foreign("free").c_str(), 0), 1);
    EXPECT_EQ(m_directory.Read("free"), "new");
    EXPECT_EQ(OsUserMoveFile(Foreign("to").c_str(), Foreign("other").c_str(), 0), 0);
    EXPECT_EQ(OsUserGetLastError(), ENOENT);
}

TEST_F(OsUserFileTest, MoveOntoADirectoryIsLeftToRename) {
    ASSERT_EQ(OsUserCreateDirectory(Foreign("from").c_str()), 1);
    m_directory.Write("from/file", "text");
    ASSERT_EQ(OsUserCreateDirectory(Foreign("to").c_str()), 1);
    EXPECT_EQ(OsUserMoveFile(Foreign("from").c_str(), Foreign("to").c_str(), 0), 1);
    EXPECT_EQ(m_directory.Read("to/file"), "text");

    m_directory.Write("file", "");
    EXPECT_EQ(OsUserMoveFile(Foreign("file").c_str(), Foreign("to").c_str(), 0), 0);
    EXPECT_EQ(OsUserGetLastError(), EISDIR);
}

TEST_F(OsUserFileTest, CopyTakesContentsAndMode) {
    const std::string text(3 * 65536 + 17, 'x');
    m_directory.Write("from", text, static_cast<std::filesystem::perms>(0647));
    m_directory.Write("to", std::string(500000, 'y'), static_cast<std::filesystem::perms>(0600));
    for (const char* name : {"to", "new"}) {
        EXPECT_EQ(OsUserCopyFile(Foreign("from").c_str(), Foreign(name).c_str(), 0), 1);
        EXPECT_EQ(m_directory.Read(name), text);
        EXPECT_EQ(ModeOf(name), 0647u);
    }
    m_directory.Write("empty", "");
    EXPECT_EQ(OsUserCopyFile(Foreign("empty").c_str(), Foreign("to").c_str(), 0), 1);
    EXPECT_EQ(m_directory.Read("to"), "");
}

TEST_F(OsUserFileTest, ACopyIsNeverSetuidOrSetgid) {
    m_directory.Write("from", "text");
    ASSERT_EQ(chmod((m_directory / "from").c_str(), 07755), 0);
    EXPECT_EQ(OsUserCopyFile(Foreign("from").c_str(), Foreign("to").c_str(), 0), 1);
    EXPECT_EQ(ModeOf("to"), 01755U);
}

TEST_F(OsUserFileTest, CopyMayBeAskedToFailOnAnExistingFile) {
    m_directory.Write("from", "new");
    m_directory.Write("to", "old");
    EXPECT_EQ(OsUserCopyFile(Foreign("from").c_str(), Foreign("to").c_str(), 1), 0);
    EXPECT_EQ(OsUserGetLastError(), EEXIST);
    EXPECT_EQ(m_directory.Read("to"), "old");
    EXPECT_EQ(OsUserCopyFile(Foreign("from").c_str(), Foreign("free").c_str(), 1), 1);
    EXPECT_EQ(m_directory.Read("free"), "new");
}

TEST_F(OsUserFileTest, CopyOfAMissingFileLeavesTheDestination) {
    m_directory.Write("to", "old");
    EXPECT_EQ(OsUserCopyFile(Foreign("missing").c_str(), Foreign("to").c_str(), 0), 0);
    EXPECT_EQ(OsUserGetLastError(), ENOENT);
    EXPECT_EQ(m_directory.Read("to"), "old");
    m_directory.Write("from", "new");
    EXPECT_EQ(OsUserCopyFile(Foreign("from").c_str(), Foreign("missing\\to").c_str(), 0), 0);
    EXPECT_EQ(OsUserGetLastError(), ENOENT);
}

TEST_F(OsUserFileTest, CopyThatFailsLeavesThePartialDestination) {
    ASSERT_EQ(OsUserCreateDirectory(Foreign("from").c_str()), 1);
    EXPECT_EQ(OsUserCopyFile(Foreign("from").c_str(), Foreign("to").c_str(), 0), 0);
    EXPECT_EQ(OsUserGetLastError(), EISDIR);
    EXPECT_EQ(m_directory.Read("to"), "");
    EXPECT_TRUE(m_directory.Exists("to"));

    const std::string text(100000, 'x');
    m_directory.Write("large", text);
    rlimit limit;
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
    const rlimit small = {70000, limit.rlim_max};
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    const std::int32_t result = OsUserCopyFile(Foreign("large").c_str(), Foreign("to").c_str(), 0);
    const int error = OsUserGetLastError();
    setrlimit(RLIMIT_FSIZE, &limit);
    std::signal(SIGXFSZ, handler);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(error, EFBIG);
    EXPECT_EQ(m_directory.Read("to"), text.substr(0, 70000));
}

} // namespace
