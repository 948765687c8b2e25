#include "platform/OsUserSystemInfo.h"

#include <gtest/gtest.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cstring>

#include "TemporaryDirectory.h"
#include "WrappedCalls.h"

namespace {

_OSVERSIONINFOA VersionOf(std::optional<std::string> release) {
    WrappedCalls::AnswerNextUname(std::move(release));
    _OSVERSIONINFOA info;
    std::memset(&info, 0xFF, sizeof info);
    EXPECT_EQ(OsUserGetVersionInfo(&info), 1);
    return info;
}

TEST(OsUserSystemInfoTest, VersionComesFromTheRelease) {
    const _OSVERSIONINFOA info = VersionOf("13.2-RELEASE-p3");
    EXPECT_EQ(info.dwOSVersionInfoSize, 148u);
    EXPECT_EQ(info.dwMajorVersion, 13u);
    EXPECT_EQ(info.dwMinorVersion, 2u);
    EXPECT_EQ(info.dwBuildNumber, 0u);
    EXPECT_EQ(info.dwPlatformId, 0u);
    EXPECT_STREQ(info.szCSDVersion, "Zelmora/BSD");
    // The rest is cleared.
    EXPECT_TRUE(std::all_of(std::begin(info.szCSDVersion) + std::strlen(info.szCSDVersion), std::end(info.szCSDVersion),
                            [](char character) { return character == '\0'; }));
}

TEST(OsUserSystemInfoTest, OtherReleasesAreReadTheSameWay) {
    const struct {
        const char* release;
        std::uint32_t major;
        std::uint32_t minor;
    } rows[] = {{"6.1.0-18-amd64", 6, 1}, {"14.0", 14, 0}, {"14-CURRENT.7", 14, 0}, {"", 0, 0}, {"-1.2", 0, 0}};

    for (const auto& row : rows) {
        const _OSVERSIONINFOA info = VersionOf(row.release);
        EXPECT_EQ(info.dwMajorVersion, row.major) << row.release;
        EXPECT_EQ(info.dwMinorVersion, row.minor) << row.release;
    }
}

TEST(OsUserSystemInfoTest, VersionThatCannotBeReadIsZero) {
    const _OSVERSIONINFOA info = VersionOf(std::nullopt);
    EXPECT_EQ(info.dwOSVersionInfoSize, 148u);
    EXPECT_EQ(info.dwMajorVersion, 0u);
    EXPECT_EQ(info.dwMinorVersion, 0u);
    EXPECT_STREQ(info.szCSDVersion, "Zelmora/BSD");
}

TEST(OsUserSystemInfoTest, SystemInfoTellsProcessorsAndPageSize) {
    _SYSTEM_INFO info;
    std::memset(&info, 0xFF, sizeof info);
    OsUserGetSystemInfo(&info);
    EXPECT_EQ(info.dwProcessorArchitecture, 9u);
    EXPECT_EQ(info.dwPageSize, static_cast<std::uint32_t>(sysconf(_SC_PAGESIZE)));
    EXPECT_EQ(info.lpMinimumApplicationAddress, nullptr);
    EXPECT_EQ(info.lpMaximumApplicationAddress, nullptr);
    EXPECT_EQ(info.dwNumberOfProcessors, static_cast<std::uint32_t>(sysconf(_SC_NPROCESSORS_CONF)));
    const long online = std::min(sysconf(_SC_NPROCESSORS_ONLN), 32L);
    EXPECT_EQ(std::popcount(info.dwActiveProcessorMask), online);
    EXPECT_EQ(std::countr_one(info.dwActiveProcessorMask), online);
    EXPECT_TRUE(
        std::all_of(std::begin(info.reserved), std::end(info.reserved), [](unsigned char byte) { return byte == 0; }));
    OsUserGetSystemInfo(nullptr);
}

class SearchCoresInDmesgBootTest : public testing::Test {
protected:
    bool Search(const std::string& lines, long& cores) {
        m_directory.Write("dmesg", lines);
        std::string meant;
        WrappedCalls::RedirectNextPopen("cat " + m_directory.Path() + "/dmesg", &meant);
        const bool found = SearchCoresInDmesgBoot(cores);
        EXPECT_EQ(meant, "grep -i FreeBSD/SMP:.*core /var/run/dmesg.boot");
        return found;
    }

    TemporaryDirectory m_directory;
};

TEST_F(SearchCoresInDmesgBootTest, CoresAreTheProductOfPackagesAndCores) {
    long cores = 0;
    EXPECT_TRUE(Search("FreeBSD/SMP: 2 package(s) x 4 core(s)\n", cores));
    EXPECT_EQ(cores, 8);
}

TEST_F(SearchCoresInDmesgBootTest, LaterMatchingLineReplacesAnEarlierOne) {
    long cores = 0;
    EXPECT_TRUE(Search("FreeBSD/SMP: 1 package(s) x 2 core(s)\n"
                       "FreeBSD/SMP: 1 package(s) x 6 core(s) x 2 hardware threads\n"
                       "FreeBSD/SMP: some other core\n",
                       cores));
    EXPECT_EQ(cores, 6);
}

TEST_F(SearchCoresInDmesgBootTest, WithoutAMatchingLineNothingIsFound) {
    long cores = 77;
    EXPECT_FALSE(Search("FreeBSD/SMP: Multiprocessor System, 4 cores\n", cores));
    EXPECT_FALSE(Search("freebsd/smp: 1 package(s) x 2 core(s)\n", cores));
    EXPECT_FALSE(Search("", cores));
    EXPECT_EQ(cores, 77);
}

TEST_F(SearchCoresInDmesgBootTest, OverlongLinesAreReadInPieces) {
    long cores = 0;
    EXPECT_TRUE(Search(std::string(255, 'x') + "FreeBSD/SMP: 1 package(s) x 3 core(s)\n", cores));
    EXPECT_EQ(cores, 3);
}

} // namespace
