// What runs in the background for an adapter where memory lacks: the log tells that it is not done, the process goes
// on, and what is asked for afterwards is done.

#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "NicFixture.h"
#include "RcConf.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

enum class TLack { none, onThisThread, onTheOthers };

std::atomic<TLack> s_lack{TLack::none};
const std::thread::id s_testThread = std::this_thread::get_id();

// While one lives, a thread or all but that find no memory.
class NoMemory {
public:
    explicit NoMemory(TLack lack) { s_lack = lack; }

    ~NoMemory() { s_lack = TLack::none; }

    NoMemory(const NoMemory&) = delete;
    NoMemory& operator=(const NoMemory&) = delete;
};

} // namespace

// In the place of the library's, all that belong together.
void* operator new(std::size_t size) {
    const TLack lack = s_lack;
    const bool isLacking =
        lack != TLack::none && (lack == TLack::onThisThread) == (std::this_thread::get_id() == s_testThread);
    void* const memory = isLacking ? nullptr : std::malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    try {
        return ::operator new(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

namespace {

class NicJobTest : public NicFixture {
protected:
    NicJobTest() {
        WriteRcConf("ifconfig_DEFAULT=\"DHCP\"\n");
        m_log.TakeLines();
    }

    bool WaitForLine(const std::string& line) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (std::chrono::steady_clock::now() < end) {
            for (const std::string& logged : m_log.TakeLines()) {
                if (logged == line) {
                    return true;
                }
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        return false;
    }

    NIC::CObject0x8nn1& m_record = Record("em1");

    struct TJob {
        const char* name;
        void (*ask)(NIC::CObject0x8nn1&);
        std::vector<Call> calls;
    };

    const std::vector<TJob> m_jobs = {
        {"RestartNetwork",
         [](NIC::CObject0x8nn1& record) { record.RestartNetworkAsync(); },
         {{"/etc/rc.d/routing", "restart"}, {"/etc/rc.d/netif", "restart", "em1"}}},
        {"RenewIP",
         [](NIC::CObject0x8nn1& record) { record.RenewIPAsync(); },
         {{"/etc/rc.d/dhclient", "restart", "em1"}}},
        {"UpdateResolvConf",
         [](NIC::CObject0x8nn1& record) { record.UpdateResolvConfAsync(); },
         {{"/sbin/resolvconf", "-u"}}},
    };
};

} // namespace

TEST_F(NicJobTest, JobThatFindsNoMemoryIsToldAndTheNextOneIsDone) {
    for (const TJob& job : m_jobs) {
        {
            const NoMemory noMemory(TLack::onTheOthers);
            job.ask(m_record);
            // The log is read with memory, by this thread.
            EXPECT_TRUE(WaitForLine(std::string("Error: NIC::") + job.name + " - Failed: std::bad_alloc")) << job.name;
        }
        EXPECT_THAT(m_standIns.Calls(), IsEmpty()) << job.name;

        job.ask(m_record);
        EXPECT_EQ(m_standIns.WaitForCalls(job.calls.size()), job.calls) << job.name;
        m_standIns.ForgetCalls();
    }
}

TEST_F(NicJobTest, JobWithoutMemoryForItsThreadIsToldAndTheNextOneIsDone) {
    for (const TJob& job : m_jobs) {
        {
            const NoMemory noMemory(TLack::onThisThread);
            job.ask(m_record);
        }
        EXPECT_THAT(m_log.TakeLines(),
                    ElementsAre(std::string("Error: NIC::") + job.name + " - No thread for it, not done!"));
        EXPECT_THAT(m_standIns.Calls(), IsEmpty()) << job.name;

        job.ask(m_record);
        EXPECT_EQ(m_standIns.WaitForCalls(job.calls.size()), job.calls) << job.name;
        m_standIns.ForgetCalls();
        m_log.TakeLines();
    }
}
