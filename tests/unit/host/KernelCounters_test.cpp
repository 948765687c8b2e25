#include "host/KernelCounters.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>

namespace {

class KernelCounters : public ::testing::Test {
protected:
    std::uint64_t ValueOf(const char* name) const {
        std::uint32_t value = 0;
        EXPECT_EQ(m_counters.Read(name, value), 0) << name;
        return value;
    }

    const Host::CKernelCounters m_counters;
};

TEST_F(KernelCounters, PageSizeIsThatOfTheSystem) {
    EXPECT_EQ(ValueOf("vm.stats.vm.v_page_size"), static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE)));
}

TEST_F(KernelCounters, PagesAddUpToTheMemoryOfTheMachine) {
    const std::uint64_t sum = ValueOf("vm.stats.vm.v_active_count") + ValueOf("vm.stats.vm.v_wire_count") +
                              ValueOf("vm.stats.vm.v_free_count") + ValueOf("vm.stats.vm.v_inactive_count") +
                              ValueOf("vm.stats.vm.v_cache_count");
    const auto physical = static_cast<std::uint64_t>(sysconf(_SC_PHYS_PAGES));
    // FreeBSD leaves the pages out that the kernel took before it began to count.
    EXPECT_LE(sum, physical);
    EXPECT_GE(sum, physical - physical / 10);
}

TEST_F(KernelCounters, SomeMemoryIsFreeAndSomeIsUsed) {
    EXPECT_GT(ValueOf("vm.stats.vm.v_free_count"), 0U);
    EXPECT_GT(ValueOf("vm.stats.vm.v_active_count"), 0U);
    EXPECT_GT(ValueOf("vm.stats.vm.v_wire_count"), 0U);
}

TEST_F(KernelCounters, AnUnknownNameFailsAndLeavesTheValue) {
    std::uint32_t narrow = 7;
    std::uint64_t wide = 8;
    errno = 0;
    EXPECT_EQ(m_counters.Read("vm.stats.vm.v_no_such_count", narrow), -1);
    EXPECT_EQ(errno, ENOENT);
    errno = 0;
    EXPECT_EQ(m_counters.Read("vm.stats.vm.v_no_such_count", wide), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(narrow, 7U);
    EXPECT_EQ(wide, 8U);
}

TEST_F(KernelCounters, SizeOfTheZfsFileCacheIsToldWhereThereIsOne) {
    std::uint64_t size = 5;
    errno = 0;
    const int status = m_counters.Read("kstat.zfs.misc.arcstats.size", size);
    if (status == 0) {
        EXPECT_GT(size, 0U);
    } else {
        EXPECT_EQ(status, -1);
        EXPECT_EQ(errno, ENOENT);
        EXPECT_EQ(size, 5U);
    }
}

} // namespace
