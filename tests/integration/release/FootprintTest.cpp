#include <cstddef>
#include <thread>
#include <vector>

#include "DeviceType.h"
#include "ServiceTest.h"

namespace {

constexpr std::size_t s_mostKiB = 8 * 1024;

class FootprintTest : public ServiceTest {
protected:
    ServiceStart Start() override { return {}; }
};

} // namespace

TEST_F(FootprintTest, TheServiceTakesLessThanEightMebibytesAfterItsStart) {
    m_service->WaitUntilSteady();
    EXPECT_LT(m_service->ResidentKiB(), s_mostKiB);
}

TEST_F(FootprintTest, TwoHundredThousandTransactionsLeaveTheMemoryAsItWas) {
    constexpr int threads = 64;
    const Usage idle = m_service->WaitUntilSteady();
    auto transact = [](int count) {
        for (int i = 0; i < count; ++i) {
            ASSERT_EQ(WireClient::Transact(ReadDeviceType), DeviceTypeAnswer);
        }
    };
    auto transactOnAllThreads = [&transact](int count) {
        std::vector<std::thread> clients;
        for (int i = 0; i < threads; ++i) {
            clients.emplace_back(transact, count / threads);
        }
        for (auto& client : clients) {
            client.join();
        }
    };
    // The allocator's arenas for the threads, their stacks' first pages and rare code are taken once, but it takes a
    // while until all of them have been needed.
    transactOnAllThreads(200000);
    m_service->WaitUntilSteady();
    const std::size_t before = m_service->ResidentKiB();

    transactOnAllThreads(200000);

    m_service->WaitUntilSteady();
    EXPECT_LT(m_service->ResidentKiB(), s_mostKiB);
    // A leak of one byte a transaction would be 195 KiB; the kernel counts pages in batches of some dozens a thread.
    EXPECT_LT(m_service->ResidentKiB(), before + 128);
    // The threads that all those clients needed end by themselves.
    EXPECT_TRUE(m_service->WaitForUsage(idle));
}
