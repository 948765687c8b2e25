// Mounts of the throw-away machine, with the system's own tools as the judge.
#include "host/MountTable.h"

#include <gmock/gmock.h>
#include <sys/mount.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>

using ::testing::Contains;
using ::testing::Not;

namespace {

// What a command prints, without the last line feed.
std::string Output(const std::string& command) {
    FILE* pipe = popen(command.c_str(), "r");
    std::string output;
    std::array<char, 1024> buffer;
    while (const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), pipe)) {
        output.append(buffer.data(), count);
    }
    EXPECT_EQ(pclose(pipe), 0) << command;
    return output.substr(0, output.find_last_not_of('\n') + 1);
}

class MountTable : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(std::filesystem::exists("/run/machine")); }

    static void Mount(const std::string& path, const char* source) {
        std::filesystem::create_directories(path);
        ASSERT_EQ(mount(source, path.c_str(), "tmpfs", 0, "size=1m"), 0) << path;
    }

    static std::vector<std::string> Paths() {
        std::vector<std::string> paths = {"left from before"};
        EXPECT_EQ(Host::GetMountPoints(paths), 0);
        return paths;
    }
};

TEST_F(MountTable, ListsMountsInTheirOrderWithEveryCharacter) {
    const std::string odd = "/media/a b\tc\nd\\e#f";
    Mount("/media/z", "first");
    Mount(odd, "second");
    const std::vector<std::string> paths = Paths();
    ASSERT_GE(paths.size(), 3U);
    EXPECT_THAT(paths, Contains("/"));
    EXPECT_EQ(*(paths.end() - 2), "/media/z");
    EXPECT_EQ(paths.back(), odd);
    ASSERT_EQ(umount(odd.c_str()), 0);
    EXPECT_THAT(Paths(), Not(Contains(odd)));
}

TEST_F(MountTable, FileSystemAgreesWithTheSystemsTools) {
    Mount("/media/x", "source");
    std::ofstream("/media/x/file") << std::string(12345, 'x');
    for (const std::string path : {"/media/x", "/", "/proc", "/dev"}) {
        Host::TFileSystem system = {};
        ASSERT_EQ(Host::GetFileSystem(path, system), 0) << path;
        EXPECT_EQ(system.source, Output("findmnt -n -o SOURCE --mountpoint " + path + " | tail -n 1")) << path;
        EXPECT_EQ(system.type, Output("findmnt -n -o FSTYPE --mountpoint " + path + " | tail -n 1")) << path;
        if (path == "/media/x") { // others change meanwhile
            EXPECT_EQ(std::to_string(system.blocks * system.blockSize),
                      Output("df -B1 --output=size /media/x | tail -n 1 | tr -d ' '"));
            EXPECT_EQ(std::to_string(system.blocksAvailable * system.blockSize),
                      Output("df -B1 --output=avail /media/x | tail -n 1 | tr -d ' '"));
        }
    }
}

TEST_F(MountTable, OfTwoMountsAtOnePlaceTheLastIsSeen) {
    Mount("/media/x", "hidden");
    Mount("/media/x", "seen");
    Host::TFileSystem system = {};
    ASSERT_EQ(Host::GetFileSystem("/media/x", system), 0);
    EXPECT_EQ(system.source, "seen");
}

TEST_F(MountTable, WhatIsNoMountPointOrCannotBeReachedFails) {
    Mount("/media/sub/x", "hidden");
    Mount("/media/sub", "seen");
    std::filesystem::create_directories("/media/folder");
    Host::TFileSystem system = {"source", "type", 1, 2, 3};
    for (const char* path : {"/media/sub/x", "/media/folder", "/nowhere", ""}) {
        errno = 0;
        EXPECT_EQ(Host::GetFileSystem(path, system), -1) << path;
        EXPECT_EQ(errno, ENOENT) << path;
    }
    EXPECT_EQ(system.source, "source");
    EXPECT_EQ(system.blocksAvailable, 3U);
}

TEST_F(MountTable, WithoutTheKernelsListBothFail) {
    ASSERT_EQ(mount("test", "/proc", "tmpfs", 0, ""), 0);
    std::vector<std::string> paths;
    Host::TFileSystem system = {};
    errno = 0;
    EXPECT_EQ(Host::GetMountPoints(paths), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(Host::GetFileSystem("/", system), -1);
    ASSERT_EQ(umount("/proc"), 0);
}

} // namespace
