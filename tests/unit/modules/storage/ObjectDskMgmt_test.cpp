// Stand-ins for zpool and zfs, and the mounts of a throw-away machine.
#include "modules/dskmgmt/ObjectDskMgmt.h"

#include <sys/mount.h>

#include <fstream>

#include "StandIns.h"
#include "StorageModuleTest.h"
#include "host/Programs.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace fs = std::filesystem;

namespace {

class Discs : public StorageModuleTest {
protected:
    void SetUp() override {
        m_standIns = std::make_unique<CStandIns>();
        m_standIns->Add("/sbin/zpool", 0, "cat /run/pools 2>/dev/null || :");
        m_standIns->Add("/sbin/zfs", 0, "cat \"/run/$4 $5\"");
        Host::ExtendSearchPath();
        fs::create_directories("/media");
        StorageModuleTest::SetUp();
        ASSERT_EQ(DiskManagement::Create(), 0U);
    }

    static void SetPools(const std::string& names) { std::ofstream("/run/pools") << names; }

    static void SetPool(const std::string& name, std::uint64_t available, std::uint64_t used) {
        std::ofstream("/run/avail " + name) << available << "\n";
        std::ofstream("/run/used " + name) << used << "\n";
    }

    static void Mount(const std::string& path, const char* source = "stick") {
        fs::create_directories(path);
        ASSERT_EQ(mount(source, path.c_str(), "tmpfs", 0, "size=1m"), 0) << path;
    }

    static void Unmount(const std::string& path) { ASSERT_EQ(umount(path.c_str()), 0) << path; }

    // Whether a tick made the arrays anew: the free bytes that a read has left are gone then.
    bool TickPublishes() {
        EXPECT_EQ(Element(6, 1).result, 0U);
        EXPECT_EQ(SizeOf(6), 8U);
        EXPECT_TRUE(FakeTimers::Fire());
        return SizeOf(6) != 8;
    }

    // Bytes that the first element holds, without a read.
    std::uint32_t SizeOf(unsigned int k) {
        const auto object = Dictionary().GetObjectRef(static_cast<unsigned short>(HEADER + k));
        const TInfoItem* item = object ? object->GetItem(1) : nullptr;
        return item == nullptr || item->data == nullptr ? 0 : item->size;
    }

    std::unique_ptr<CStandIns> m_standIns;
};

} // namespace

// --- the module and its arrays ---------------------------------------------------------------------------------------

TEST_F(Discs, HeaderTellsItsTypeAndSleepsUntilItIsAskedFor) {
    EXPECT_EQ(Read(HEADER, 1), Value("00 00 1D 00"));
    EXPECT_EQ(Read(HEADER, 2), Text("DiskManagement"));
    EXPECT_EQ(Read(HEADER, 3), Text("DiskManagement"));
    EXPECT_EQ(Dictionary().GetObjectRef(HEADER)->NameId(), 1270);
    SleepAll();
    EXPECT_FALSE(Dictionary().GetObjectRef(HEADER + 1));
    EXPECT_EQ(Count(1), 0);
    ASSERT_EQ(FakeTimers::timers.size(), 1U);
    const FakeTimers::TTimer& timer = FakeTimers::timers.begin()->second;
    EXPECT_EQ(timer.periodMs, 2000U);
    EXPECT_EQ(timer.parameter, 0U);
    EXPECT_EQ(timer.flags, 0U);
}

TEST_F(Discs, ArraysHaveTheirTextsTypesAndRights) {
    Mount("/media/x");
    const int types[] = {9, 9, 9, 7, 27, 27};
    const std::int64_t texts[] = {10220, 10221, 10222, 10223, 10224, 10224};
    for (unsigned int k = 1; k <= 6; ++k) {
        EXPECT_EQ(Count(k), 1) << k;
        const auto object = Dictionary().GetObjectRef(static_cast<unsigned short>(HEADER + k));
        ASSERT_TRUE(object) << k;
        EXPECT_EQ(object->NameId(), 1270 + k);
        EXPECT_EQ(object->ObjectCode(), 8U) << k;
        EXPECT_EQ(static_cast<const CObjectArray*>(object.Get())->elementType, types[k - 1]) << k;
        const TInfoItem* item = object->GetItem(1);
        ASSERT_NE(item, nullptr) << k;
        EXPECT_EQ(item->nameId, texts[k - 1]) << k;
        EXPECT_EQ(item->type, static_cast<unsigned int>(types[k - 1])) << k;
        EXPECT_EQ(item->access, k == 2 ? 3 : 1) << k;
    }
    EXPECT_EQ(SizeOf(1), 8U) << "the text without its end";
    EXPECT_EQ(SizeOf(6), 0U) << "no value before it is read";
}

TEST_F(Discs, WithoutPoolsAndMediaASecondPassChangesNothing) {
    for (unsigned int k = 1; k <= 6; ++k) {
        EXPECT_EQ(Count(k), 0) << k;
    }
    m_standIns->ForgetCalls();
    EXPECT_TRUE(FakeTimers::Fire());
    EXPECT_EQ(Count(1), 0);
    EXPECT_EQ(m_standIns->Calls().size(), 1U);
}

// --- media -----------------------------------------------------------------------------------------------------------

TEST_F(Discs, MediaComeAndGoWithTheTick) {
    EXPECT_EQ(Count(1), 0);
    Mount("/media/stick");
    EXPECT_TRUE(FakeTimers::Fire());
    EXPECT_THAT(Elements(1), ElementsAre(Text("/media/stick")));
    EXPECT_FALSE(TickPublishes());
    Unmount("/media/stick");
    EXPECT_TRUE(FakeTimers::Fire());
    EXPECT_EQ(Count(1), 0);
}

TEST_F(Discs, OnlyWhatLiesBelowTheFolderOfMediaIsListed) {
    Mount("/mediastore");
    Mount("/media/x/y");
    Mount("/mnt/media/z");
    EXPECT_THAT(Elements(1), ElementsAre(Text("/media/x/y")));
}

TEST_F(Discs, MediaStandInTheOrderOfTheirPaths) {
    for (const char* path : {"/media/b", "/media/c", "/media/B", "/media/a", "/media/a/a"}) {
        Mount(path, path + 7);
    }
    EXPECT_THAT(Elements(1), ElementsAre(Text("/media/B"), Text("/media/a"), Text("/media/a/a"), Text("/media/b"),
                                         Text("/media/c")));
    EXPECT_THAT(Elements(2), ElementsAre(Text("B"), Text("a"), Text("a/a"), Text("b"), Text("c")));
    EXPECT_FALSE(TickPublishes()) << "the order of the mount table is what is compared";
}

TEST_F(Discs, EveryCharacterOfAPathComesBack) {
    const std::string path = "/media/a b\tc\nd\\e#f\\040g";
    Mount(path, "so urce");
    EXPECT_THAT(Elements(1), ElementsAre(Text(path)));
    EXPECT_THAT(Elements(2), ElementsAre(Text("so urce")));
    EXPECT_EQ(Element(6, 1), Wide(1048576));
}

TEST_F(Discs, AMountThatCannotBeReachedHasItsPathAlone) {
    Mount("/media/sub/x");
    Mount("/media/sub"); // hides the first one
    EXPECT_THAT(Elements(1), ElementsAre(Text("/media/sub"), Text("/media/sub/x")));
    EXPECT_EQ(Element(2, 2), None(NO_DATA));
    EXPECT_EQ(Element(3, 2), None(NO_DATA));
    EXPECT_EQ(Element(4, 2), Value("00 00 00 00"));
    EXPECT_EQ(Element(5, 2), Wide(0));
    EXPECT_EQ(Element(6, 2), Wide(0));
}

TEST_F(Discs, FreeBytesAreThoseOfTheMomentAndMakeNoNewTable) {
    Mount("/media/x");
    EXPECT_EQ(Element(6, 1), Wide(1048576));
    std::ofstream("/media/x/file") << std::string(8192, 'x');
    EXPECT_EQ(Element(6, 1), Wide(1048576 - 8192));
    EXPECT_EQ(Element(5, 1), Wide(1048576));
    EXPECT_FALSE(TickPublishes());
}

TEST_F(Discs, FreeBytesOfAMediumThatHasGoneAreAnErrorUntilTheTick) {
    Mount("/media/a");
    Mount("/media/b");
    EXPECT_EQ(Count(1), 2);
    Unmount("/media/b");
    EXPECT_EQ(Element(1, 2), Text("/media/b"));
    EXPECT_EQ(Element(6, 2), None(UNEXPECTED));
    EXPECT_EQ(Element(6, 1), Wide(1048576));
    EXPECT_TRUE(FakeTimers::Fire());
    EXPECT_EQ(Element(6, 2), None(INVALID_INDEX));
}

TEST_F(Discs, AnotherMediumAtTheSamePlaceIsAChange) {
    Mount("/media/a", "first");
    EXPECT_THAT(Elements(2), ElementsAre(Text("first")));
    Unmount("/media/a");
    Mount("/media/a", "second");
    EXPECT_TRUE(TickPublishes());
    EXPECT_THAT(Elements(2), ElementsAre(Text("second")));
    ASSERT_EQ(mount("second", "/media/a", "tmpfs", MS_REMOUNT, "size=2m"), 0);
    EXPECT_TRUE(TickPublishes());
    EXPECT_THAT(Elements(5), ElementsAre(Wide(2097152)));
}

TEST_F(Discs, AVolumeNameIsOfferedForWritingButStays) {
    Mount("/media/a", "name");
    EXPECT_EQ(Count(1), 1);
    EXPECT_EQ(Write(HEADER + 2, 1, "other"), NOT_SUPPORTED);
    EXPECT_EQ(Element(2, 1), Text("name"));
    EXPECT_NE(Write(HEADER + 1, 1, "other"), 0U);
    EXPECT_EQ(Element(1, 1), Text("/media/a"));
}

// --- pools -----------------------------------------------------------------------------------------------------------

TEST_F(Discs, PoolsStandInFrontInTheOrderOfTheirList) {
    Mount("/media/a");
    SetPools("zebra\nant\n");
    SetPool("zebra", 700, 300);
    SetPool("ant", 20, 30);
    EXPECT_THAT(Elements(1), ElementsAre(Text("/"), Text("/"), Text("/media/a")));
    EXPECT_THAT(Elements(2), ElementsAre(Text("zebra"), Text("ant"), Text("stick")));
    EXPECT_THAT(Elements(3), ElementsAre(Text("ZFS"), Text("ZFS"), Text("tmpfs")));
    EXPECT_THAT(Elements(4), ElementsAre(Value("01 00 00 00"), Value("01 00 00 00"), Value("02 00 00 00")));
    EXPECT_THAT(Elements(5), ElementsAre(Wide(1000), Wide(50), Wide(1048576)));
    EXPECT_THAT(Elements(6), ElementsAre(Wide(700), Wide(700), Wide(1048576))) << "the first pool answers for all";
}

TEST_F(Discs, ASteadySumOfAPoolIsNoChange) {
    SetPools("tank\n");
    SetPool("tank", 700, 300);
    EXPECT_THAT(Elements(5), ElementsAre(Wide(1000)));
    SetPool("tank", 600, 400);
    EXPECT_EQ(Element(6, 1), Wide(600));
    EXPECT_FALSE(TickPublishes());
    SetPool("tank", 600, 401);
    EXPECT_TRUE(TickPublishes());
    EXPECT_THAT(Elements(5), ElementsAre(Wide(1001)));
    SetPools("tank\nsecond\n");
    SetPool("second", 1, 1);
    EXPECT_TRUE(TickPublishes());
    SetPools("second\ntank\n");
    EXPECT_TRUE(TickPublishes());
    EXPECT_THAT(Elements(2), ElementsAre(Text("second"), Text("tank")));
}

TEST_F(Discs, APassAsksOncePerPoolAndOnceMore) {
    SetPools("tank\nold\n");
    SetPool("tank", 1, 1);
    SetPool("old", 1, 1);
    EXPECT_EQ(Count(1), 2);
    m_standIns->ForgetCalls();
    EXPECT_TRUE(FakeTimers::Fire());
    EXPECT_EQ(m_standIns->Calls().size(), 3U + 2 * 2);
}

// --- sleep and wake --------------------------------------------------------------------------------------------------

TEST_F(Discs, SleepTakesTheArraysBackAndWakingListsAnew) {
    Mount("/media/a");
    EXPECT_THAT(Elements(1), ElementsAre(Text("/media/a")));
    IMdpTimerCallback* const callback = FakeTimers::timers.begin()->second.callback;
    SleepAll();
    EXPECT_TRUE(FakeTimers::timers.empty());
    for (unsigned int k = 1; k <= 6; ++k) {
        EXPECT_FALSE(Dictionary().GetObjectRef(static_cast<unsigned short>(HEADER + k))) << k;
    }
    m_standIns->ForgetCalls();
    callback->MdpTimerproc(1, 0, nullptr); // a timer that fires once more
    EXPECT_THAT(m_standIns->Calls(), IsEmpty());
    Mount("/media/b");
    EXPECT_THAT(Elements(1), ElementsAre(Text("/media/a"), Text("/media/b")));
    SleepAll();
    EXPECT_THAT(Elements(1), ElementsAre(Text("/media/a"), Text("/media/b"))) << "also where nothing has changed";
}

TEST_F(Discs, WithOneArrayMissingNothingIsPublished) {
    EXPECT_EQ(Count(1), 0);
    Dictionary().RemoveObject(HEADER + 4);
    Mount("/media/a");
    EXPECT_TRUE(FakeTimers::Fire());
    EXPECT_EQ(Count(1), 0);
    EXPECT_EQ(Count(6), 0);
}
