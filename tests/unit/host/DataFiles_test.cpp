#include "host/DataFiles.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace {

const std::filesystem::path s_shared =
    std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path() / "share/sylvarin";

// In a throw-away machine: the files go with it.
void MakeFile(const std::filesystem::path& path) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path) << "content";
}

} // namespace

TEST(DataFiles, FileOfTheAdministratorCountsFirst) {
    MakeFile("/usr/local/bin/names.xml");
    MakeFile(s_shared / "names.xml");
    EXPECT_EQ(Host::FindDataFile("/usr/local/bin/names.xml"), "/usr/local/bin/names.xml");
}

TEST(DataFiles, FileThatIsNotThereIsTakenFromThePackage) {
    MakeFile(s_shared / "names.xml");
    EXPECT_EQ(Host::FindDataFile("/usr/local/bin/names.xml"), s_shared / "names.xml");
}

TEST(DataFiles, FileThatIsNowhereKeepsItsPath) {
    MakeFile(s_shared / "other.xml");
    EXPECT_EQ(Host::FindDataFile("/usr/local/bin/names.xml"), "/usr/local/bin/names.xml");
    EXPECT_EQ(Host::FindDataFile(""), "");
}
