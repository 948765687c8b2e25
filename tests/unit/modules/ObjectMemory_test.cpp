#include "modules/ObjectMemory_BSD.h"

#include <gmock/gmock.h>

#include "FakeHost.h"
#include "ModuleTest.h"

namespace {

using ::testing::HasSubstr;
using ::testing::StrEq;
using Record = Memory::CObj0x8nn1;

constexpr unsigned short HEADER = 0x8000;
constexpr unsigned short RECORD = 0x8001;

class ObjectMemory : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        Record::ui32Total = Record::ui32Available = 0;
        Record::ui64Total = Record::ui64Available = 0;
        FakeHost::read.clear();
        // 4096 bytes a page: 1000 pages in all, of which 600 are available.
        FakeHost::counters = {
            {"vm.stats.vm.v_page_size", 4096}, {"vm.stats.vm.v_active_count", 100},   {"vm.stats.vm.v_wire_count", 300},
            {"vm.stats.vm.v_free_count", 400}, {"vm.stats.vm.v_inactive_count", 150}, {"vm.stats.vm.v_cache_count", 50},
        };
    }

    // 8 GiB, of which 6 GiB are available.
    static void SetEightGibibytes() {
        FakeHost::counters["vm.stats.vm.v_active_count"] = 0x40000;
        FakeHost::counters["vm.stats.vm.v_wire_count"] = 0x40000;
        FakeHost::counters["vm.stats.vm.v_free_count"] = 0x100000;
        FakeHost::counters["vm.stats.vm.v_inactive_count"] = 0x80000;
        FakeHost::counters["vm.stats.vm.v_cache_count"] = 0;
    }
};

TEST_F(ObjectMemory, CreateMakesHeaderAndRecordAndRegistersTheModule) {
    EXPECT_EQ(Memory::Create(), OBJ_E_NOERR);
    EXPECT_EQ(Read(HEADER, 1), (TAnswer{0, Bytes("00 00 0c 00")}));
    EXPECT_EQ(Read(HEADER, 2), (TAnswer{0, "Memory"}));
    EXPECT_EQ(Read(HEADER, 3), (TAnswer{0, "Memory"}));
    EXPECT_EQ(Read(HEADER, 4), (TAnswer{0, Bytes("10 27 0c 00")}));
    EXPECT_EQ(Read(0xF020, 1), (TAnswer{0, Bytes("00 00 0c 00")}));
    EXPECT_EQ(Dictionary().GetObjectRef(HEADER)->NameId(), 1050);
    EXPECT_EQ(Dictionary().GetObjectRef(RECORD)->NameId(), 1051);
    EXPECT_EQ(Dictionary().GetObjectRef(RECORD)->ObjectCode(), 9U);
    EXPECT_EQ(Read(RECORD, 0), (TAnswer{0, Bytes("07 00")}));
}

TEST_F(ObjectMemory, ItemsHaveTheirTypesAccessAndTextIdsInBothForms) {
    struct TExpected {
        std::uint16_t type;
        std::uint16_t access;
        std::int64_t nameId;
    };

    const TExpected expected[] = {{5, 1, 104},   {7, 1, 10004}, {7, 1, 10005},  {7, 1, 10006},
                                  {7, 1, 10007}, {7, 3, 10070}, {27, 1, 10004}, {27, 1, 10005}};
    for (const bool wide : {false, true}) {
        if (wide) {
            SetEightGibibytes();
        }
        Record record;
        EXPECT_EQ(record.Init(RECORD), OBJ_E_NOERR);
        ASSERT_EQ(record.GetCoutOfInfoItems(), std::size(expected));
        for (unsigned char sub = 0; sub < std::size(expected); ++sub) {
            const TInfoItem* item = record.GetItem(sub);
            EXPECT_EQ(item->type, expected[sub].type) << sub;
            EXPECT_EQ(item->access, expected[sub].access) << sub;
            EXPECT_EQ(item->nameId, expected[sub].nameId) << sub;
        }
    }
}

TEST_F(ObjectMemory, CountersAreReadInTheirOrderAndThenTheFileCache) {
    Record::UpdateAll();
    EXPECT_THAT(FakeHost::read, StrEq("vm.stats.vm.v_page_size\nvm.stats.vm.v_active_count\nvm.stats.vm.v_wire_count\n"
                                      "vm.stats.vm.v_free_count\nvm.stats.vm.v_inactive_count\n"
                                      "vm.stats.vm.v_cache_count\nkstat.zfs.misc.arcstats.size\n"));
}

TEST_F(ObjectMemory, TotalIsTheSumOfAllPagesAndAvailableThatOfThreeKinds) {
    Record::UpdateAll();
    EXPECT_EQ(Record::ui64Total, 4096000U);
    EXPECT_EQ(Record::ui64Available, 2457600U);
    EXPECT_EQ(Record::ui32Total, 4096000U);
    EXPECT_EQ(Record::ui32Available, 2457600U);
}

TEST_F(ObjectMemory, FileCacheCountsAsAvailableAndLeavesTheTotal) {
    FakeHost::counters["kstat.zfs.misc.arcstats.size"] = 200 * 4096 + 4095;
    Record::UpdateAll();
    EXPECT_EQ(Record::v_wire_count, 100U);
    EXPECT_EQ(Record::v_cache_count, 250U);
    EXPECT_EQ(Record::ui64Total, 4096000U);
    EXPECT_EQ(Record::ui64Available, 800U * 4096);
}

TEST_F(ObjectMemory, FileCacheLargerThanTheWiredMemoryWrapsTheCount) {
    FakeHost::counters["kstat.zfs.misc.arcstats.size"] = 301 * 4096;
    Record::UpdateAll();
    EXPECT_EQ(Record::v_wire_count, 0xFFFFFFFFU);
    // The sum wraps back: the total stays, and the available pages are one too many.
    EXPECT_EQ(Record::ui64Total, 4096000U);
    EXPECT_EQ(Record::ui64Available, 901U * 4096);
}

TEST_F(ObjectMemory, SumOfPagesIsTakenIn32Bits) {
    FakeHost::counters["vm.stats.vm.v_active_count"] = 0xFFFFFFFF;
    Record::UpdateAll();
    EXPECT_EQ(Record::ui64Total, 899U * 4096);
}

TEST_F(ObjectMemory, SizeOfTheFileCacheIsZeroWhereItCannotBeTold) {
    Record::UpdateVmStats();
    EXPECT_EQ(Record::GetZfsArcSizeCount(), 0U);

    FakeHost::counters["kstat.zfs.misc.arcstats.size"] = 8192;
    EXPECT_EQ(Record::GetZfsArcSizeCount(), 2U);

    FakeHost::counters["kstat.zfs.misc.arcstats.size"] = 0xFFFFFFFFULL * 4096;
    EXPECT_EQ(Record::GetZfsArcSizeCount(), 0xFFFFFFFFU);
    FakeHost::counters["kstat.zfs.misc.arcstats.size"] = 0x100000000ULL * 4096;
    EXPECT_EQ(Record::GetZfsArcSizeCount(), 0U);

    FakeHost::counters["kstat.zfs.misc.arcstats.size"] = 8192;
    FakeHost::counters["vm.stats.vm.v_page_size"] = 0;
    Record::UpdateVmStats();
    EXPECT_EQ(Record::GetZfsArcSizeCount(), 0U);
}

TEST_F(ObjectMemory, MemoryThatFits32BitsIsReadInBothWidths) {
    Memory::Create();
    EXPECT_EQ(Read(RECORD, 1), (TAnswer{0, Bytes("00 80 3e 00")}));
    EXPECT_EQ(Read(RECORD, 2), (TAnswer{0, Bytes("00 80 25 00")}));
    EXPECT_EQ(Read(RECORD, 6), (TAnswer{0, Bytes("00 80 3e 00 00 00 00 00")}));
    EXPECT_EQ(Read(RECORD, 7), (TAnswer{0, Bytes("00 80 25 00 00 00 00 00")}));
    for (const int sub : {3, 4, 5}) {
        EXPECT_EQ(Read(RECORD, sub), (TAnswer{0xECA61000, ""})) << sub;
    }
}

TEST_F(ObjectMemory, EightGibibytesAreReadInTheWideItemsAlone) {
    SetEightGibibytes();
    Memory::Create();
    for (const int sub : {1, 2, 3, 4, 5}) {
        EXPECT_EQ(Read(RECORD, sub), (TAnswer{0xECA61000, ""})) << sub;
    }
    EXPECT_EQ(Read(RECORD, 6), (TAnswer{0, Bytes("00 00 00 00 02 00 00 00")}));
    EXPECT_EQ(Read(RECORD, 7), (TAnswer{0, Bytes("00 00 00 80 01 00 00 00")}));
}

TEST_F(ObjectMemory, AllOnesAreTheFirstSizeThatDoesNotFit) {
    FakeHost::counters["vm.stats.vm.v_page_size"] = 1;
    FakeHost::counters["vm.stats.vm.v_active_count"] = 0xFFFFFFFE - 900;
    Record::UpdateAll();
    EXPECT_EQ(Record::ui32Total, 0xFFFFFFFEU);
    EXPECT_EQ(Record::ui32Available, 600U);

    FakeHost::counters["vm.stats.vm.v_active_count"] = 0xFFFFFFFF - 900;
    Record::UpdateAll();
    EXPECT_EQ(Record::ui64Total, 0xFFFFFFFFU);
    EXPECT_EQ(Record::ui32Total, 0xFFFFFFFFU);
    EXPECT_EQ(Record::ui32Available, 0xFFFFFFFFU);
}

TEST_F(ObjectMemory, AvailableIsFreshAtEveryReadAndTheTotalIsFixed) {
    Memory::Create();
    FakeHost::counters["vm.stats.vm.v_free_count"] = 401;
    EXPECT_EQ(Read(RECORD, 2), (TAnswer{0, Bytes("00 90 25 00")}));
    FakeHost::counters["vm.stats.vm.v_free_count"] = 402;
    EXPECT_EQ(Read(RECORD, 7), (TAnswer{0, Bytes("00 a0 25 00 00 00 00 00")}));
    EXPECT_EQ(Read(RECORD, 1), (TAnswer{0, Bytes("00 80 3e 00")}));
    EXPECT_EQ(Read(RECORD, 6), (TAnswer{0, Bytes("00 80 3e 00 00 00 00 00")}));
}

TEST_F(ObjectMemory, CompleteReadStopsAtTheFirstItemThatIsNotSupported) {
    Memory::Create();
    EXPECT_EQ(Read(RECORD, 0, true), (TAnswer{0xECA61000, Bytes("07 00  00 80 3e 00  00 80 25 00")}));
}

TEST_F(ObjectMemory, CompleteReadOfTheWideFormStopsBehindTheCount) {
    SetEightGibibytes();
    Memory::Create();
    EXPECT_EQ(Read(RECORD, 0, true), (TAnswer{0xECA61000, Bytes("07 00")}));
}

TEST_F(ObjectMemory, WriteIsNotSupportedByTheOneWritableItemAndRefusedByTheOthers) {
    Memory::Create();
    for (const int sub : {0, 1, 2, 3, 4, 6, 7}) {
        EXPECT_EQ(Write(RECORD, sub, Bytes("01 02 03 04 05 06 07 08")), 0xECA60101) << sub;
    }
    EXPECT_EQ(Write(RECORD, 5, Bytes("01 02 03 04")), 0xECA61000);
}

TEST_F(ObjectMemory, FailedCounterIsLoggedByItsNameAndTheLastValueIsRead) {
    Memory::Create();
    g_pLogger->AddRoute(LOG_SEVERITY_ERROR, LOG_TARGET_CONSOLE);
    for (const char* name : {"vm.stats.vm.v_page_size", "vm.stats.vm.v_active_count", "vm.stats.vm.v_wire_count",
                             "vm.stats.vm.v_free_count", "vm.stats.vm.v_inactive_count", "vm.stats.vm.v_cache_count"}) {
        const auto counter = FakeHost::counters.extract(name);
        ::testing::internal::CaptureStdout();
        EXPECT_EQ(Read(RECORD, 2), (TAnswer{0, Bytes("00 80 25 00")})) << name;
        EXPECT_EQ(Read(RECORD, 7), (TAnswer{0, Bytes("00 80 25 00 00 00 00 00")})) << name;
        const std::string line = "Error: Could not read " + std::string(name) + ": -1\n";
        EXPECT_EQ(::testing::internal::GetCapturedStdout(), line + line);
        EXPECT_EQ(Record::UpdateVmStats(), -1);
        FakeHost::counters[name] = counter.mapped();
    }
}

TEST_F(ObjectMemory, TriggersRefuseAnItemThatIsTooSmall) {
    unsigned char data[8] = {};
    TInfoItem item;
    item.data = data;
    item.size = 3;
    EXPECT_EQ(Record::RdMemAvail(&item, RECORD, 2), 0xECA60101);
    item.size = 7;
    EXPECT_EQ(Record::RdMemAvailEx(&item, RECORD, 7), 0xECA60101);
    EXPECT_EQ(data[0] | data[1] | data[2], 0);

    item.size = 4;
    EXPECT_EQ(Record::RdMemAvail(&item, RECORD, 2), 0U);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(data), 4), Bytes("00 80 25 00"));
}

} // namespace
