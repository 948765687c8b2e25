#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <random>
#include <span>
#include <thread>
#include <vector>

#include "ServiceTest.h"
#include "mdp/Client.h"
#include "mdp/Files.h"

namespace {

constexpr std::uint64_t s_fileSize = 1U << 30;
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

// The file, of which no two chunks are alike.
class Content {
public:
    Content() {
        std::mt19937 random(4711);
        std::ranges::generate(m_block, [&random] { return static_cast<std::uint8_t>(random()); });
    }

    Mdp::ChunkSource Source() {
        return [this](std::span<std::uint8_t> room) -> Mdp::Result<std::size_t> {
            const std::size_t size = std::min<std::uint64_t>({room.size(), s_fileSize - m_offset, LeftOfBlock()});
            std::memcpy(room.data(), Next(size), size);
            return size;
        };
    }

    Mdp::ChunkSink Sink() {
        m_offset = 0;
        return [this](Mdp::ByteView bytes) -> Mdp::Result<void> {
            while (!bytes.empty()) {
                const std::size_t size = std::min<std::uint64_t>(bytes.size(), LeftOfBlock());
                m_isEqual = m_isEqual && std::memcmp(Next(size), bytes.data(), size) == 0;
                bytes = bytes.subspan(size);
            }
            return {};
        };
    }

    bool IsEqual() const { return m_isEqual && m_offset == s_fileSize; }

private:
    std::uint64_t LeftOfBlock() const { return m_block.size() - m_offset % m_block.size(); }

    // The next bytes, which lie in one block; each block begins with its number.
    const std::uint8_t* Next(std::uint64_t size) {
        const std::uint64_t number = m_offset / m_block.size();
        std::memcpy(m_block.data(), &number, sizeof number);
        const std::uint8_t* const bytes = &m_block[m_offset % m_block.size()];
        m_offset += size;
        return bytes;
    }

    std::vector<std::uint8_t> m_block = std::vector<std::uint8_t>(1U << 20);
    std::uint64_t m_offset = 0;
    bool m_isEqual = true;
};

} // namespace

TEST_F(TransferTest, AGibibyteGoesInAndOutAsItIsInLittleMemory) {
    const Mdp::Result<Mdp::FileServices> files = Mdp::FileServices::Find(Mdp::Client());
    ASSERT_TRUE(files);
    Content content;

    const Mdp::Result<std::uint64_t> written = files->Write("/tmp/file", content.Source());
    const std::size_t afterPut = m_service->ResidentKiB();
    ASSERT_TRUE(written);
    EXPECT_EQ(*written, s_fileSize);
    EXPECT_EQ(std::filesystem::file_size("/tmp/file"), s_fileSize);

    const Mdp::Result<std::uint64_t> read = files->Read("/tmp/file", content.Sink(), s_fileSize);
    const std::size_t afterGet = m_service->ResidentKiB();
    ASSERT_TRUE(read);
    EXPECT_EQ(*read, s_fileSize);
    EXPECT_TRUE(content.IsEqual());

    // A few chunks of 1 MiB on their way and the allocator's spare room, nothing of the file's size.
    EXPECT_LT(afterPut, s_mostKiB);
    EXPECT_LT(afterGet, s_mostKiB);
    EXPECT_TRUE(GoesBackBelow(s_mostIdleKiB));
}
