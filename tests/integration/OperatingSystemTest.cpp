#include <sys/utsname.h>

#include <algorithm>
#include <cstdio>
#include <ctime>

#include "ServiceTest.h"
#include "mdp/Client.h"

namespace {

class OperatingSystemTest : public ServiceTest {
protected:
    void SetUp() override {
        ServiceTest::SetUp();
        const auto modules = m_client.ListModules();
        ASSERT_TRUE(modules) << modules.Error().Message();
        const auto system =
            std::find_if(modules->begin(), modules->end(), [](const Mdp::Module& module) { return module.type == 24; });
        ASSERT_NE(system, modules->end());
        EXPECT_EQ(system->typeName, "OperatingSystem");
        EXPECT_EQ(system->name, "Zelmora/BSD");
        m_header = system->index;
    }

    // The answer to a read with complete access from sub-index 0 of object k and room for 64 bytes.
    Bytes ReadComplete(unsigned k) const {
        return WireClient::Transact(
            Join({"6A 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  00 00"_hex,
                  Little(m_header + k, 2), "01 00  00 00 00 00 00 00 00 00  40 00 00 00"_hex, Bytes(64)}));
    }

    Bytes Answer(unsigned k, const Bytes& value) const {
        return Join({Little(18 + value.size(), 4), "00 00"_hex, Little(m_header + k, 2),
                     "01 00  00 00 00 00 00 00 00 00"_hex, Little(value.size(), 4), value});
    }

    static std::uint64_t SecondsSinceBoot() {
        timespec now = {};
        EXPECT_EQ(clock_gettime(CLOCK_BOOTTIME, &now), 0);
        return static_cast<std::uint64_t>(now.tv_sec);
    }

    const Mdp::Client m_client;
    unsigned m_header = 0;
};

} // namespace

TEST_F(OperatingSystemTest, VersionIsThatOfTheKernel) {
    utsname system = {};
    ASSERT_EQ(uname(&system), 0);
    unsigned major = 0;
    unsigned minor = 0;
    ASSERT_EQ(std::sscanf(system.release, "%u.%u", &major, &minor), 2);
    EXPECT_EQ(ReadComplete(1), Answer(1, Join({"04 00"_hex, Little(major, 4), Little(minor, 4), "00 00 00 00"_hex,
                                               "5A 65 6C 6D 6F 72 61 2F 42 53 44"_hex})));
}

TEST_F(OperatingSystemTest, UptimeIsToldInWholeSecondsAndEightBytes) {
    const std::uint64_t before = SecondsSinceBoot();
    const Bytes answer = ReadComplete(2);
    const std::uint64_t after = SecondsSinceBoot();
    bool isBetween = false;
    for (std::uint64_t seconds = before; seconds <= after; ++seconds) {
        isBetween = isBetween || answer == Answer(2, Join({"01 00"_hex, Little(seconds, 8)}));
    }
    EXPECT_TRUE(isBetween) << ToHex(answer);
}
