#include "host/linux/MountInfo.h"

#include <gmock/gmock.h>

#include <ostream>

namespace Host {

bool operator==(const TMountInfo& left, const TMountInfo& right) {
    return left.path == right.path && left.type == right.type && left.source == right.source;
}

std::ostream& operator<<(std::ostream& out, const TMountInfo& mount) {
    return out << mount.path << " / " << mount.type << " / " << mount.source;
}

} // namespace Host

namespace {

using Host::ParseMountInfo;
using Host::TMountInfo;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// The mount point that a line with this field has.
std::string PathOf(const std::string& field) {
    const auto mounts = ParseMountInfo("36 35 98:0 / " + field + " rw - ext4 /dev/sda1 rw\n");
    return mounts.size() == 1 ? mounts[0].path : "none";
}

TEST(MountInfo, HasAPathATypeAndASourceWithAnyNumberOfTags) {
    EXPECT_THAT(ParseMountInfo("25 1 8:1 / / rw,relatime shared:1 - ext4 /dev/sda1 rw\n"
                               "26 25 0:5 / /proc rw - proc proc rw\n"
                               "27 25 8:17 /sub /media/stick rw,nosuid shared:2 master:1 propagate_from:3 - vfat "
                               "/dev/sdb1 rw,uid=1000\n"),
                ElementsAre(TMountInfo{"/", "ext4", "/dev/sda1"}, TMountInfo{"/proc", "proc", "proc"},
                            TMountInfo{"/media/stick", "vfat", "/dev/sdb1"}));
}

TEST(MountInfo, GivesEveryEscapedCharacterBack) {
    EXPECT_EQ(PathOf("/media/a\\040b"), "/media/a b");
    EXPECT_EQ(PathOf("/media/a\\011b"), "/media/a\tb");
    EXPECT_EQ(PathOf("/media/a\\012b"), "/media/a\nb");
    EXPECT_EQ(PathOf("/media/a\\134b"), "/media/a\\b");
    EXPECT_EQ(PathOf("/media/a\\043b"), "/media/a#b");
    EXPECT_EQ(PathOf("\\040\\040"), "  ");
    EXPECT_EQ(PathOf("/media/\\303\\244"), "/media/\xC3\xA4");
}

TEST(MountInfo, UnescapesOnce) {
    EXPECT_EQ(PathOf("/a\\134040b"), "/a\\040b");
    EXPECT_EQ(PathOf("/a\\134\\134"), "/a\\\\");
}

TEST(MountInfo, LeavesABackslashWithoutThreeOctalDigitsAlone) {
    for (const char* field : {"/a\\", "/a\\0", "/a\\04", "/a\\049", "/a\\x40", "/a\\9", "/a\\\\"}) {
        EXPECT_EQ(PathOf(field), field);
    }
}

TEST(MountInfo, UnescapesTypeAndSourceToo) {
    EXPECT_THAT(ParseMountInfo("1 2 0:3 / /x rw - fuse.a\\040b //server/my\\040share rw\n"),
                ElementsAre(TMountInfo{"/x", "fuse.a b", "//server/my share"}));
}

TEST(MountInfo, MayHaveAnEmptySource) {
    EXPECT_THAT(ParseMountInfo("1 2 0:3 / /x rw - tmpfs  rw\n"), ElementsAre(TMountInfo{"/x", "tmpfs", ""}));
}

TEST(MountInfo, MayEndWithoutALineFeed) {
    EXPECT_THAT(ParseMountInfo("1 2 0:3 / /x rw - tmpfs s rw"), ElementsAre(TMountInfo{"/x", "tmpfs", "s"}));
}

TEST(MountInfo, PassesOverWhatIsNoMount) {
    EXPECT_THAT(ParseMountInfo(""), IsEmpty());
    EXPECT_THAT(ParseMountInfo("\n\n \n-\n- - - - - - -\n1 2 3\n1 2 0:3 / /x rw\n1 2 0:3 / /x rw shared:1 tmpfs s rw\n"
                               "1 2 0:3 / /x rw -\n1 2 0:3 / /x rw - tmpfs\n"),
                IsEmpty());
    EXPECT_THAT(ParseMountInfo("rubbish\n1 2 0:3 / /x rw - tmpfs s rw\nrubbish"),
                ElementsAre(TMountInfo{"/x", "tmpfs", "s"}));
}

} // namespace
