#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <sstream>

#include "ServiceTest.h"
#include "mdp/Client.h"

namespace {

class MemoryTest : public ServiceTest {
protected:
    void SetUp() override {
        ServiceTest::SetUp();
        const auto modules = m_client.ListModules();
        ASSERT_TRUE(modules) << modules.Error().Message();
        const auto memory =
            std::find_if(modules->begin(), modules->end(), [](const Mdp::Module& module) { return module.type == 12; });
        ASSERT_NE(memory, modules->end());
        EXPECT_EQ(memory->typeName, "Memory");
        EXPECT_EQ(memory->name, "Memory");
        m_index = memory->Data(1);
    }

    static std::uint64_t Total() {
        return static_cast<std::uint64_t>(sysconf(_SC_PHYS_PAGES)) * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
    }

    static bool FitsIn32Bits() { return Total() < 0xFFFFFFFF; }

    // The answer to a read with room for 32 bytes.
    Bytes Read(const Bytes& flagsAndSubIndex) const {
        return WireClient::Transact(
            Join({"4A 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  00 00"_hex,
                  Little(m_index, 2), flagsAndSubIndex, "00 00 00 00 00 00 00 00  20 00 00 00"_hex, Bytes(32)}));
    }

    Bytes Answer(const Bytes& flagsAndSubIndex, const Bytes& result, const Bytes& value) const {
        return Join({Little(18 + value.size(), 4), "00 00"_hex, Little(m_index, 2), flagsAndSubIndex, result,
                     Little(value.size(), 4), value});
    }

    std::uint64_t Available() const {
        const auto value = m_client.Read(m_index, 7);
        EXPECT_TRUE(value);
        EXPECT_EQ(value->size(), 8U);
        std::uint64_t number = 0;
        for (std::size_t byte = value->size(); byte > 0; --byte) {
            number = number << 8 | (*value)[byte - 1];
        }
        return number;
    }

    // What free(1) shows, and the ZFS file cache, in bytes.
    static std::uint64_t KernelAvailable() {
        return NumberInLine("/proc/meminfo", "MemAvailable:", 1) * 1024 +
               NumberInLine("/proc/spl/kstat/zfs/arcstats", "size", 2);
    }

    // The word at the position in the line that begins with the name; 0 where there is no such line.
    static std::uint64_t NumberInLine(const char* path, const std::string& name, int position) {
        std::ifstream file(path);
        for (std::string line; std::getline(file, line);) {
            std::istringstream words(line);
            std::string word;
            words >> word;
            if (word == name) {
                for (; position > 0; --position) {
                    words >> word;
                }
                return std::stoull(word);
            }
        }
        return 0;
    }

    const Mdp::Client m_client;
    std::uint16_t m_index = 0;
};

const Bytes s_noError = "00 00 00 00 00 00 00 00"_hex;
const Bytes s_notSupported = "00 10 A6 EC FF FF FF FF"_hex;
const Bytes s_invalidAccess = "01 01 A6 EC FF FF FF FF"_hex;

} // namespace

TEST_F(MemoryTest, TotalIsTheMemoryOfTheMachine) {
    EXPECT_EQ(Read("00 06"_hex), Answer("00 06"_hex, s_noError, Little(Total(), 8)));
    EXPECT_EQ(Read("00 01"_hex), FitsIn32Bits() ? Answer("00 01"_hex, s_noError, Little(Total(), 4))
                                                : Answer("00 01"_hex, s_notSupported, {}));
}

TEST_F(MemoryTest, AvailableIsWhatTheKernelTellsAtThatMoment) {
    // Other programs take and give back memory meanwhile: in a quiet moment the three figures are close together.
    constexpr std::uint64_t tolerance = 16U << 20;
    bool isBetween = false;
    for (int attempt = 0; attempt < 100 && !isBetween; ++attempt) {
        const std::uint64_t before = KernelAvailable();
        const std::uint64_t available = Available();
        const std::uint64_t after = KernelAvailable();
        isBetween = available + tolerance > std::min(before, after) && available < std::max(before, after) + tolerance;
    }
    EXPECT_TRUE(isBetween);
}

TEST_F(MemoryTest, ReservedItemsAreNotSupported) {
    EXPECT_EQ(Read("00 03"_hex), Answer("00 03"_hex, s_notSupported, {}));
    EXPECT_EQ(Read("00 04"_hex), Answer("00 04"_hex, s_notSupported, {}));
    EXPECT_EQ(Read("00 05"_hex), Answer("00 05"_hex, s_notSupported, {}));
}

TEST_F(MemoryTest, CompleteReadStopsAtTheFirstItemThatIsNotSupported) {
    const Bytes answer = Read("01 00"_hex);
    const std::size_t delivered = FitsIn32Bits() ? 10 : 2;
    ASSERT_EQ(answer.size(), 22 + delivered);
    EXPECT_EQ(Bytes(answer.begin() + 10, answer.begin() + 22), Join({s_notSupported, Little(delivered, 4)}));
    EXPECT_EQ(Bytes(answer.begin() + 22, answer.begin() + 24), "07 00"_hex);
}

TEST_F(MemoryTest, WriteIsNotSupportedByTheOneWritableItemAndRefusedByTheOthers) {
    const auto write = [this](const Bytes& flagsAndSubIndex) {
        return WireClient::Transact(
            Join({"2E 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  2E 00 00 00 00 00 00 00  00 00"_hex,
                  Little(m_index, 2), flagsAndSubIndex, "00 00 00 00 00 00 00 00  04 00 00 00  01 02 03 04"_hex}));
    };
    EXPECT_EQ(write("00 05"_hex), Answer("00 05"_hex, s_notSupported, {}));
    EXPECT_EQ(write("00 06"_hex), Answer("00 06"_hex, s_invalidAccess, {}));
    EXPECT_EQ(write("00 07"_hex), Answer("00 07"_hex, s_invalidAccess, {}));
}
