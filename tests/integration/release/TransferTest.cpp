#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "ServiceTest.h"

namespace {

constexpr std::size_t s_fileMiB = 1024;
constexpr std::size_t s_mostKiB = 12 * 1024;
constexpr std::size_t s_mostIdleKiB = 8 * 1024;

class TransferTest : public ServiceTest {
protected:
    ServiceStart Start() override { return {}; }

    // Whether the service gives memory back, a few seconds after it was last used.
    bool GoesBackBelow(std::size_t mostKiB) const {
        const auto deadline = std::chrono::steady_clock::now() + ServiceUnderTest::TimeLimit;
        while (m_service->ResidentKiB() >= mostKiB) {
            if (std::chrono::steady_clock::now() > deadline) {
                return false;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        return true;
    }
};

int Mdp(const std::string& arguments) {
    // NOLINTNEXTLINE(cert-env33-c): a command line as a user types it
    return std::system((SYLVARIN_MDP " " + arguments).c_str());
}

void MakeFile(const std::string& path) {
    std::ofstream file(path, std::ios::binary);
    std::mt19937_64 random(4711);
    std::vector<std::uint64_t> block((1U << 20) / sizeof(std::uint64_t));
    for (std::size_t i = 0; i < s_fileMiB; ++i) {
        for (std::uint64_t& number : block) {
            number = random();
        }
        file.write(reinterpret_cast<const char*>(block.data()),
                   static_cast<std::streamsize>(block.size() * sizeof(std::uint64_t)));
    }
    ASSERT_TRUE(file.flush());
}

bool HaveEqualSums(const std::string& one, const std::string& other) {
    const std::string command = "[ \"$(sha256sum <" + one + ")\" = \"$(sha256sum <" + other + ")\" ]";
    return std::system(command.c_str()) == 0; // NOLINT(cert-env33-c): paths of the test's own
}

} // namespace

TEST_F(TransferTest, AGibibyteGoesInAndOutWithEqualSumsInLittleMemory) {
    const std::string original = "/tmp/original";
    const std::string remote = "/tmp/remote";
    const std::string back = "/tmp/back";
    ASSERT_NO_FATAL_FAILURE(MakeFile(original));

    ASSERT_EQ(Mdp("put " + original + " " + remote), 0);
    const std::size_t afterPut = m_service->ResidentKiB();
    EXPECT_TRUE(HaveEqualSums(original, remote));
    std::filesystem::remove(original);

    ASSERT_EQ(Mdp("get " + remote + " " + back), 0);
    const std::size_t afterGet = m_service->ResidentKiB();
    EXPECT_TRUE(HaveEqualSums(remote, back));

    // A few chunks of 1 MiB on their way and the allocator's spare room, nothing of the file's size.
    EXPECT_LT(afterPut, s_mostKiB);
    EXPECT_LT(afterGet, s_mostKiB);
    EXPECT_TRUE(GoesBackBelow(s_mostIdleKiB));
}
