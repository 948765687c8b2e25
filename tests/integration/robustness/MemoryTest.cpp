// The memory that the service holds, measured on the build that is installed.
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "../ServiceProcess.h"

namespace {

constexpr unsigned s_transactions = 200'000;
constexpr std::size_t s_limit = std::size_t{8} * 1024 * 1024;
// What the allocator and the stacks of threads may come to differ by; a leak of 8 bytes a transaction is 1.5 MiB.
constexpr std::size_t s_tolerance = std::size_t{512} * 1024;

const std::vector<std::uint8_t> s_readDeviceType = {46, 0, 0, 0, 0, 0, 0, 0, 24, 0, 0, 0,    0, 0, 0, 0,
                                                    24, 0, 0, 0, 0, 0, 0, 0, 0,  0, 0, 0x10, 0, 0, 0, 0,
                                                    0,  0, 0, 0, 0, 0, 4, 0, 0,  0, 0, 0,    0, 0};

TEST(Memory, TheServiceStaysBelowEightMebibytesAndDoesNotGrowOverTwoHundredThousandTransactions) {
    ServiceProcess service(SYLVARIN_SERVICE);
    const std::size_t afterStart = service.ResidentBytes();
    for (unsigned i = 0; i < s_transactions; ++i) {
        ASSERT_EQ(Transact(s_readDeviceType).size(), 26U) << "transaction " << i;
    }
    const std::size_t afterAll = service.ResidentBytes();
    RecordProperty("ResidentAfterStart", std::to_string(afterStart));
    RecordProperty("ResidentAfterAll", std::to_string(afterAll));

    EXPECT_GT(afterStart, 0U);
    EXPECT_LT(afterStart, s_limit);
    EXPECT_LT(afterAll, s_limit);
    EXPECT_LT(afterAll, afterStart + s_tolerance);
}

} // namespace
