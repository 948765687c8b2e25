// Stand-ins for zpool and zfs, and the mounts of a throw-away machine.
#include "modules/dskmgmt/CLogicalDisc.h"

#include <gmock/gmock.h>
#include <sys/mount.h>

#include <filesystem>

#include "LogCapture.h"
#include "StandIns.h"
#include "host/Programs.h"

using DiskManagement::CLogicalDisc;
using DiskManagement::CLogicalDiscBSD;
using DiskManagement::CLogicalDiscEnumerator;
using DiskManagement::CLogicalDiscMedia;
using DiskManagement::CMissingProgram;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr const char* ZPOOL = "/sbin/zpool";
constexpr const char* ZFS = "/sbin/zfs";

constexpr std::uint32_t NOT_FOUND = 127 << 8;

class LogicalDisc : public ::testing::Test {
protected:
    void SetUp() override {
        m_standIns.Add(ZFS, 1);
        Host::ExtendSearchPath(); // by the directories that are there
    }

    // The path of a call and its arguments in one text.
    std::vector<std::string> Calls() const {
        std::vector<std::string> texts;
        for (const auto& call : m_standIns.Calls()) {
            std::string text;
            for (const std::string& word : call) {
                text += (text.empty() ? "" : " ") + word;
            }
            texts.push_back(text);
        }
        return texts;
    }

    static std::string NextName(CLogicalDiscEnumerator& enumerator) {
        CLogicalDisc* disc = nullptr;
        if (!enumerator.Next(&disc)) {
            EXPECT_EQ(disc, nullptr);
            return "-";
        }
        return CRef<CLogicalDisc>::Adopt(disc)->VolumeName();
    }

    // All but the record of the stand-ins.
    static long CountTemporaryFiles() {
        const auto files = std::filesystem::directory_iterator("/tmp");
        return std::count_if(begin(files), end(files), [](const std::filesystem::directory_entry& entry) {
            return !entry.path().filename().string().starts_with("stand-in");
        });
    }

    CLogCapture m_log;
    CStandIns m_standIns;
};

// --- pools -----------------------------------------------------------------------------------------------------------

TEST_F(LogicalDisc, APoolTellsItsSizesByZfs) {
    m_standIns.Add(ZFS, 0, "[ $4 = avail ] && echo 700 || echo 300");
    const CRef<CLogicalDiscBSD> disc(new CLogicalDiscBSD("tank"));
    EXPECT_EQ(disc->DriveType(), 0U);
    EXPECT_EQ(disc->Update(), 0U);
    EXPECT_STREQ(disc->VolumePath(), "/");
    EXPECT_STREQ(disc->VolumeName(), "tank");
    EXPECT_STREQ(disc->FileSystem(), "ZFS");
    EXPECT_EQ(disc->DriveType(), 1U);
    EXPECT_EQ(disc->TotalBytes(), 1000U);
    EXPECT_EQ(disc->FreeBytes(), 700U);
    EXPECT_THAT(Calls(), ElementsAre("/sbin/zfs list -p -Ho avail tank", "/sbin/zfs list -p -Ho used tank"));
}

TEST_F(LogicalDisc, APoolWhoseUsedBytesAreUnknownHasNoTotal) {
    m_standIns.Add(ZFS, 0, "[ $4 = avail ] && echo 700 || exit 1");
    const CRef<CLogicalDiscBSD> disc(new CLogicalDiscBSD("tank"));
    EXPECT_EQ(disc->Update(), 0U);
    EXPECT_EQ(disc->TotalBytes(), 0U);
    EXPECT_EQ(disc->FreeBytes(), 700U);
}

TEST_F(LogicalDisc, APoolWithoutNumbersIsStillAPool) {
    for (const char* answer : {"exit 1", "echo -", "echo many", ":", "echo 99999999999999999999999"}) {
        m_standIns.Add(ZFS, 0, answer);
        const CRef<CLogicalDiscBSD> disc(new CLogicalDiscBSD("tank"));
        EXPECT_EQ(disc->Update(), 0U) << answer;
        EXPECT_EQ(disc->TotalBytes(), 0U) << answer;
        EXPECT_EQ(disc->FreeBytes(), 0U) << answer;
        EXPECT_EQ(disc->DriveType(), 1U) << answer;
    }
}

TEST_F(LogicalDisc, SizesBeyond32BitsAreWhole) {
    m_standIns.Add(ZFS, 0, "[ $4 = avail ] && echo 17592186044416 || echo 1");
    const CRef<CLogicalDiscBSD> disc(new CLogicalDiscBSD("tank"));
    EXPECT_EQ(disc->Update(), 0U);
    EXPECT_EQ(disc->TotalBytes(), 17592186044417U);
}

TEST_F(LogicalDisc, ANameWithBlanksIsOneArgument) {
    m_standIns.Add(ZFS, 0, "echo 1");
    const CRef<CLogicalDiscBSD> disc(new CLogicalDiscBSD("old pool:1"));
    EXPECT_EQ(disc->Update(), 0U);
    EXPECT_THAT(m_standIns.Calls(), ElementsAre(ElementsAre(ZFS, "list", "-p", "-Ho", "avail", "old pool:1"),
                                                ElementsAre(ZFS, "list", "-p", "-Ho", "used", "old pool:1")));
}

TEST_F(LogicalDisc, ANameThatNoPoolCanHaveIsNotPutIntoACommand) {
    m_standIns.Add(ZFS, 0, "echo 1");
    for (const char* name : {"a;touch /tmp/done", "$(touch /tmp/done)", "a' 'b", "", "a\tb"}) {
        const CRef<CLogicalDiscBSD> disc(new CLogicalDiscBSD(name));
        EXPECT_EQ(disc->Update(), 0U) << name;
        EXPECT_EQ(disc->TotalBytes(), 0U) << name;
        EXPECT_EQ(disc->DriveType(), 1U) << name;
    }
    EXPECT_THAT(Calls(), IsEmpty());
    EXPECT_FALSE(std::filesystem::exists("/tmp/done"));
}

TEST_F(LogicalDisc, TextsAreCutAt1023Bytes) {
    const CRef<CLogicalDiscBSD> pool(new CLogicalDiscBSD(std::string(2000, 'p')));
    EXPECT_EQ(std::string(pool->VolumeName()), std::string(1023, 'p'));
    const CRef<CLogicalDiscMedia> medium(new CLogicalDiscMedia("/media/" + std::string(2000, 'm')));
    EXPECT_EQ(std::string(medium->VolumePath()), "/media/" + std::string(1016, 'm'));
}

// --- the enumeration of pools ----------------------------------------------------------------------------------------

TEST_F(LogicalDisc, EveryStepOfTheEnumerationAsksZpool) {
    m_standIns.Add(ZPOOL, 0, "printf 'tank\\nold\\n'");
    m_standIns.Add(ZFS, 0, "echo 1");
    CLogicalDiscEnumerator enumerator;
    EXPECT_TRUE(enumerator.Init());
    EXPECT_EQ(NextName(enumerator), "tank");
    EXPECT_EQ(NextName(enumerator), "old");
    EXPECT_EQ(NextName(enumerator), "-");
    EXPECT_THAT(Calls(), ElementsAre("/sbin/zpool list -Ho name", "/sbin/zfs list -p -Ho avail tank",
                                     "/sbin/zfs list -p -Ho used tank", "/sbin/zpool list -Ho name",
                                     "/sbin/zfs list -p -Ho avail old", "/sbin/zfs list -p -Ho used old",
                                     "/sbin/zpool list -Ho name"));
    EXPECT_TRUE(enumerator.DeInit());
    EXPECT_EQ(NextName(enumerator), "tank");
}

TEST_F(LogicalDisc, AFailingOrEmptyListHasNoPools) {
    CLogicalDiscEnumerator enumerator;
    m_standIns.Add(ZPOOL, 1, "echo tank");
    EXPECT_EQ(NextName(enumerator), "-");
    m_standIns.Add(ZPOOL, 0);
    EXPECT_EQ(NextName(enumerator), "-");
    EXPECT_THAT(m_log.TakeLines(), IsEmpty());
}

TEST_F(LogicalDisc, AMissingZpoolIsToldOnceAndLeftAlone) {
    CLogicalDiscEnumerator enumerator;
    EXPECT_EQ(NextName(enumerator), "-");
    EXPECT_THAT(m_log.TakeLines(), ElementsAre("None: DiskManagement: there is no zpool, and so there are no pools"));
    m_standIns.Add(ZPOOL, 0, "echo tank");
    for (int pass = 0; pass < 5; ++pass) {
        EXPECT_EQ(NextName(enumerator), "-"); // it is asked for again in a minute
    }
    EXPECT_THAT(m_log.TakeLines(), IsEmpty());
    EXPECT_THAT(Calls(), IsEmpty());
}

TEST_F(LogicalDisc, NoTemporaryFileStaysWhateverACommandDoes) {
    m_standIns.Add(ZPOOL, 3, "echo tank");
    const auto before = CountTemporaryFiles();
    m_standIns.Add(ZFS, 1);
    CLogicalDiscEnumerator enumerator;
    EXPECT_EQ(NextName(enumerator), "-");
    m_standIns.Add(ZPOOL, 0, "echo tank");
    EXPECT_EQ(NextName(enumerator), "tank");
    EXPECT_EQ(CountTemporaryFiles(), before);
}

// --- programs that the machine may not have --------------------------------------------------------------------------

TEST(MissingProgram, IsAskedForAgainAfterAMinute) {
    const CMissingProgram::TTime begin{};
    CMissingProgram program;
    EXPECT_TRUE(program.MayRun(begin));
    EXPECT_TRUE(program.Ran(NOT_FOUND, begin)) << "it has only now gone missing";
    EXPECT_FALSE(program.MayRun(begin));
    EXPECT_FALSE(program.MayRun(begin + std::chrono::milliseconds(59999)));
    const auto later = begin + std::chrono::seconds(60);
    EXPECT_TRUE(program.MayRun(later));
    EXPECT_FALSE(program.Ran(NOT_FOUND, later)) << "it was missing before";
    EXPECT_FALSE(program.MayRun(later + std::chrono::seconds(59)));
    EXPECT_TRUE(program.MayRun(later + std::chrono::seconds(60)));
}

TEST(MissingProgram, ThatCameIsRunEveryTimeAndMayGoMissingAgain) {
    const CMissingProgram::TTime begin{};
    CMissingProgram program;
    EXPECT_TRUE(program.Ran(NOT_FOUND, begin));
    EXPECT_FALSE(program.Ran(0, begin + std::chrono::seconds(60)));
    EXPECT_TRUE(program.MayRun(begin + std::chrono::seconds(60)));
    EXPECT_TRUE(program.Ran(NOT_FOUND, begin + std::chrono::seconds(62)));
}

TEST(MissingProgram, AFailureIsNotAnAbsence) {
    const CMissingProgram::TTime begin{};
    CMissingProgram program;
    for (const std::uint32_t status : {0U, 1U, 1U << 8, 126U << 8, 127U, 9U, 0x8007000EU}) {
        EXPECT_FALSE(program.Ran(status, begin)) << status;
        EXPECT_TRUE(program.MayRun(begin)) << status;
    }
}

// --- media -----------------------------------------------------------------------------------------------------------

TEST_F(LogicalDisc, AMediumTellsItsFileSystem) {
    std::filesystem::create_directories("/media/stick");
    ASSERT_EQ(mount("source", "/media/stick", "tmpfs", 0, "size=1m"), 0);
    const CRef<CLogicalDiscMedia> disc(new CLogicalDiscMedia("/media/stick"));
    EXPECT_EQ(disc->DriveType(), 0U);
    EXPECT_EQ(disc->Update(), 0U);
    EXPECT_STREQ(disc->VolumePath(), "/media/stick");
    EXPECT_STREQ(disc->VolumeName(), "source");
    EXPECT_STREQ(disc->FileSystem(), "tmpfs");
    EXPECT_EQ(disc->DriveType(), 2U);
    EXPECT_EQ(disc->TotalBytes(), 1048576U);
    EXPECT_EQ(disc->FreeBytes(), 1048576U);
    ASSERT_EQ(umount("/media/stick"), 0);
    EXPECT_EQ(disc->Update(), 0x80004005U);
    EXPECT_STREQ(disc->VolumeName(), "source") << "nothing has changed";
    EXPECT_EQ(disc->DriveType(), 2U);
}

TEST_F(LogicalDisc, MediaAreWhatLiesBelowTheirFolder) {
    const auto isMedium = [](const std::string& path) {
        return CRef<CLogicalDiscMedia>(new CLogicalDiscMedia(path))->IsMediaDevice();
    };
    EXPECT_TRUE(isMedium("/media/x"));
    EXPECT_TRUE(isMedium("/media/x/y"));
    EXPECT_TRUE(isMedium("/media/"));
    EXPECT_FALSE(isMedium("/media"));
    EXPECT_FALSE(isMedium("/mediastore"));
    EXPECT_FALSE(isMedium("/mnt/media/x"));
    EXPECT_FALSE(isMedium("/Media/x"));
    EXPECT_FALSE(isMedium(""));
}

} // namespace
