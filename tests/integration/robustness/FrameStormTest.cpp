// 100,000 frames that no honest client would write, to the real service: it goes on answering.
#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sys/wait.h>

#include "../ServiceProcess.h"

namespace {

using Frame = std::vector<std::uint8_t>;

constexpr unsigned s_frames = 100'000;
constexpr unsigned s_clients = 8;

const Frame s_readDeviceType = {46, 0, 0, 0, 0,    0, 0, 0, 24, 0, 0, 0, 0, 0, 0, 0, 24, 0, 0, 0, 0, 0, 0,
                                0,  0, 0, 0, 0x10, 0, 0, 0, 0,  0, 0, 0, 0, 0, 0, 4, 0,  0, 0, 0, 0, 0, 0};
const Frame s_deviceType = {22, 0, 0, 0, 0, 0, 0, 0x10, 0, 0,    0,    0,    0,
                            0,  0, 0, 0, 0, 4, 0, 0,    0, 0x89, 0x13, 0x10, 0x27};

std::vector<Frame> SeedFrames() {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(SYLVARIN_FRAME_CORPUS)) {
        files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end()); // the order of a directory is not the same everywhere
    std::vector<Frame> frames;
    for (const auto& file : files) {
        std::ifstream stream(file, std::ios::binary);
        frames.emplace_back(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
    }
    return frames;
}

// Makes one broken frame after the other; the same seed gives the same frames on every machine.
class FrameMutator {
public:
    FrameMutator(const std::vector<Frame>& seeds, unsigned seed) : m_seeds(seeds), m_random(seed) {}

    Frame Next() {
        if (Below(10) == 0) {
            return RandomBytes(Below(200));
        }
        Frame frame = m_seeds[Below(static_cast<unsigned>(m_seeds.size()))];
        for (unsigned rounds = Below(4); rounds > 0; --rounds) {
            Mutate(frame);
        }
        if (Below(2) == 0) {
            MakeLengthTrue(frame);
        }
        return frame;
    }

    ClientOptions Client() { return {Below(2) == 0, Below(10) == 0}; }

private:
    unsigned Below(unsigned limit) { return static_cast<unsigned>(m_random() % limit); }

    Frame RandomBytes(unsigned size) {
        Frame frame(size);
        std::generate(frame.begin(), frame.end(), [this] { return static_cast<std::uint8_t>(Below(256)); });
        return frame;
    }

    // Numbers at which lengths, offsets, indexes and commands change their meaning.
    std::uint64_t Number() {
        static constexpr std::array<std::uint64_t, 24> s_numbers = {
            0,  1,  2,  3,   4,      5,      17,     18,     23,     24,         25,         41,
            42, 43, 64, 512, 0x1000, 0x2000, 0xB000, 0xF060, 0xFFFF, 0x7FFFFFFF, 0xFFFFFFFF, 0xFFFFFFFFFFFFFFFF};
        return s_numbers[Below(s_numbers.size())];
    }

    void Put(Frame& frame, std::size_t offset, std::uint64_t number, std::size_t width) {
        if (offset + width <= frame.size()) {
            std::memcpy(frame.data() + offset, &number, width);
        }
    }

    static void MakeLengthTrue(Frame& frame) {
        const std::uint64_t size = frame.size();
        if (size >= sizeof size) {
            std::memcpy(frame.data(), &size, sizeof size);
        }
    }

    void Mutate(Frame& frame) {
        // Offset and width of the fields of the header and of a record behind it.
        static constexpr std::array<std::pair<std::size_t, std::size_t>, 9> s_fields = {
            {{0, 8}, {8, 8}, {16, 8}, {24, 2}, {26, 2}, {28, 1}, {29, 1}, {30, 8}, {38, 4}}};
        switch (Below(6)) {
        case 0: { // a field with a number of note
            const auto [offset, width] = s_fields[Below(s_fields.size())];
            Put(frame, offset, Number(), width);
            break;
        }
        case 1: { // an offset anywhere in the frame or just outside it
            const auto [offset, width] = s_fields[1 + Below(2)];
            Put(frame, offset, Below(static_cast<unsigned>(frame.size()) + 4), width);
            break;
        }
        case 2: // the end missing
            frame.resize(Below(static_cast<unsigned>(frame.size()) + 1));
            break;
        case 3: { // more than there should be
            const Frame more = RandomBytes(1 + Below(600));
            frame.insert(frame.end(), more.begin(), more.end());
            break;
        }
        case 4: // a random byte
            if (!frame.empty()) {
                frame[Below(static_cast<unsigned>(frame.size()))] = static_cast<std::uint8_t>(Below(256));
            }
            break;
        default: // a number of note anywhere
            Put(frame, Below(static_cast<unsigned>(frame.size()) + 1), Number(), std::size_t{1} << Below(4));
            break;
        }
    }

    const std::vector<Frame>& m_seeds;
    std::mt19937_64 m_random;
};

bool IsWholeFrame(const Frame& frame) {
    std::uint64_t claimed = 0;
    if (frame.size() < 24) {
        return false;
    }
    std::memcpy(&claimed, frame.data(), sizeof claimed);
    return claimed <= frame.size();
}

bool IsWholeReply(const Frame& reply) {
    std::uint32_t length = 0;
    if (reply.size() < sizeof length) {
        return reply.empty();
    }
    std::memcpy(&length, reply.data(), sizeof length);
    return reply.size() - sizeof length == length;
}

TEST(FrameStorm, AHundredThousandRandomAndMutatedFramesLeaveAServiceThatStillAnswers) {
    const std::vector<Frame> seeds = SeedFrames();
    ASSERT_GT(seeds.size(), 50U);
    ServiceProcess service(SYLVARIN_SERVICE);
    ASSERT_EQ(Transact(s_readDeviceType), s_deviceType);

    std::atomic<unsigned> answered{0};
    std::atomic<unsigned> refused{0};
    std::vector<std::thread> clients;
    for (unsigned client = 0; client < s_clients; ++client) {
        clients.emplace_back([&, client] {
            FrameMutator mutator(seeds, client + 1);
            for (unsigned i = 0; i < s_frames / s_clients; ++i) {
                const Frame frame = mutator.Next();
                ClientOptions options = mutator.Client();
                // The service waits for the rest of a frame as long as its client is there.
                options.endsWriting = options.endsWriting || !IsWholeFrame(frame);
                try {
                    const Frame reply = Transact(frame, options);
                    ASSERT_TRUE(IsWholeReply(reply)) << "client " << client << ", frame " << i;
                    ++(reply.empty() ? refused : answered);
                    if (i % 500 == 0) {
                        ASSERT_EQ(Transact(s_readDeviceType), s_deviceType) << "client " << client << ", frame " << i;
                    }
                } catch (const std::exception& error) {
                    FAIL() << error.what() << ": client " << client << ", frame " << i;
                }
            }
        });
    }
    for (std::thread& client : clients) {
        client.join();
    }

    EXPECT_TRUE(service.IsRunning());
    EXPECT_EQ(Transact(s_readDeviceType), s_deviceType);
    EXPECT_GT(answered, s_frames / 10) << "the frames are too broken to get anywhere";
    EXPECT_GT(refused, s_frames / 10);
    const int status = service.Stop();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
}

} // namespace
