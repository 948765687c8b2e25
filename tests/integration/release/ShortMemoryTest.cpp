// Address space runs out: requests and services fail one by one, and the process goes on. The sanitizers need more
// address space than there is, so only this build can tell.

#include <sys/resource.h>

#include <fstream>
#include <string>

#include "DeviceType.h"
#include "ServiceTest.h"

namespace {

class ShortMemoryTest : public ServiceTest {
protected:
    ServiceStart Start() override { return {}; }

    // Lets the service have so much address space more than it has.
    void Limit(rlim_t more) const {
        std::ifstream statm("/proc/" + std::to_string(m_service->Pid()) + "/statm");
        rlim_t pages = 0;
        statm >> pages;
        const rlimit limit{pages * 4096 + more, RLIM_INFINITY};
        ASSERT_EQ(prlimit(m_service->Pid(), RLIMIT_AS, &limit, nullptr), 0);
    }

    void Unlimit() const {
        const rlimit limit{RLIM_INFINITY, RLIM_INFINITY};
        ASSERT_EQ(prlimit(m_service->Pid(), RLIMIT_AS, &limit, nullptr), 0);
    }

    // A request without data to each service that may be there: each starts a thread, or fails to.
    static void StartServices() {
        for (std::uint16_t index = 0xB000; index < 0xB100; ++index) {
            WireClient::Transact(Join({Little(24 + 18 + 4, 8),
                                       Little(24, 8),
                                       Little(24 + 18 + 4, 8),
                                       Little(0, 2),
                                       Little(index, 2),
                                       {0, 1},
                                       Little(0, 8),
                                       Little(4, 4),
                                       Bytes(4)}));
        }
    }

    // A read with room for a value of this size.
    static Bytes Read(std::uint16_t index, std::size_t room) {
        return WireClient::Transact(Join({Little(24 + 18 + room, 8),
                                          Little(24, 8),
                                          Little(24, 8),
                                          Little(0, 2),
                                          Little(index, 2),
                                          {1, 0},
                                          Little(0, 8),
                                          Little(room, 4),
                                          Bytes(room)}));
    }
};

} // namespace

TEST_F(ShortMemoryTest, WithoutRoomForAThreadRequestsAreAnsweredAndServicesFail) {
    Limit(0);
    for (int i = 0; i < 50; ++i) {
        EXPECT_EQ(WireClient::Transact(ReadDeviceType), DeviceTypeAnswer);
    }
    StartServices();
    EXPECT_TRUE(m_service->IsRunning()) << m_service->Output();
    Unlimit();
    EXPECT_EQ(WireClient::Transact(ReadDeviceType), DeviceTypeAnswer);
}

TEST_F(ShortMemoryTest, AtEveryDegreeOfShortageTheServiceGoesOn) {
    for (rlim_t more = 0; more < 96; more += 8) {
        Limit(more << 20);
        std::vector<std::unique_ptr<WireClient>> silent;
        for (int i = 0; i < 6; ++i) {
            silent.push_back(std::make_unique<WireClient>());
        }
        silent.clear();
        for (const std::size_t room : {std::size_t{64}, std::size_t{1} << 20, std::size_t{6} << 20}) {
            Read(0xF060, room);
            Read(0x8001, room);
        }
        StartServices();
        ASSERT_TRUE(m_service->IsRunning()) << more << " MiB\n" << m_service->Output();
        Unlimit();
        ASSERT_EQ(WireClient::Transact(ReadDeviceType), DeviceTypeAnswer);
    }
}
