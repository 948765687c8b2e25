// 100,000 frames that no honest client would write, to the real service: it goes on answering.
#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <thread>
#include <utility>
#include <vector>

#include "DeviceType.h"
#include "ServiceTest.h"

namespace {

constexpr unsigned s_frames = 100'000;
constexpr unsigned s_clients = 8;

// The frames that the fuzz target starts from too.
std::vector<Bytes> SeedFrames() {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(SYLVARIN_FRAME_CORPUS)) {
        files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end()); // the order of a directory is not the same everywhere
    std::vector<Bytes> frames;
    for (const auto& file : files) {
        std::ifstream stream(file, std::ios::binary);
        frames.emplace_back(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
    }
    return frames;
}

// Makes one broken frame after the other; the same seed gives the same frames on every machine.
class FrameMutator {
public:
    FrameMutator(const std::vector<Bytes>& seeds, unsigned seed) : m_seeds(seeds), m_random(seed) {}

    Bytes Next() {
        if (Below(10) == 0) {
            return RandomBytes(Below(200));
        }
        Bytes frame = m_seeds[Below(static_cast<unsigned>(m_seeds.size()))];
        for (unsigned rounds = Below(4); rounds > 0; --rounds) {
            Mutate(frame);
        }
        if (Below(2) == 0) {
            MakeLengthTrue(frame);
        }
        return frame;
    }

    bool OneIn(unsigned number) { return Below(number) == 0; }

private:
    unsigned Below(unsigned limit) { return static_cast<unsigned>(m_random() % limit); }

    Bytes RandomBytes(unsigned size) {
        Bytes frame(size);
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

    void Put(Bytes& frame, std::size_t offset, std::uint64_t number, std::size_t width) {
        if (offset + width <= frame.size()) {
            std::memcpy(frame.data() + offset, &number, width);
        }
    }

    static void MakeLengthTrue(Bytes& frame) {
        const std::uint64_t size = frame.size();
        if (size >= sizeof size) {
            std::memcpy(frame.data(), &size, sizeof size);
        }
    }

    void Mutate(Bytes& frame) {
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
            const Bytes more = RandomBytes(1 + Below(600));
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

    const std::vector<Bytes>& m_seeds;
    std::mt19937_64 m_random;
};

bool IsWholeFrame(const Bytes& frame) {
    std::uint64_t claimed = 0;
    if (frame.size() < 24) {
        return false;
    }
    std::memcpy(&claimed, frame.data(), sizeof claimed);
    return claimed <= frame.size();
}

bool IsWholeReply(const Bytes& reply) {
    std::uint32_t length = 0;
    if (reply.size() < sizeof length) {
        return reply.empty();
    }
    std::memcpy(&length, reply.data(), sizeof length);
    return reply.size() - sizeof length == length;
}

// Sends the frame; a client that vanishes does not wait for the answer.
Bytes SendBroken(const Bytes& frame, bool endsSending, bool vanishes) {
    WireClient client;
    client.TrySend(frame);
    if (endsSending) {
        client.EndSending();
    }
    return vanishes ? Bytes{} : client.ReceiveAll();
}

using FrameStormTest = ServiceTest;

TEST_F(FrameStormTest, AHundredThousandRandomAndMutatedFramesLeaveAServiceThatAnswers) {
    const std::vector<Bytes> seeds = SeedFrames();
    ASSERT_GT(seeds.size(), 50U);

    std::atomic<unsigned> answered{0};
    std::atomic<unsigned> refused{0};
    std::vector<std::thread> clients;
    for (unsigned client = 0; client < s_clients; ++client) {
        clients.emplace_back([&, client] {
            FrameMutator mutator(seeds, client + 1);
            for (unsigned i = 0; i < s_frames / s_clients; ++i) {
                const Bytes frame = mutator.Next();
                // The service waits for the rest of a frame as long as its client is there.
                const bool endsSending = mutator.OneIn(2) || !IsWholeFrame(frame);
                try {
                    const Bytes reply = SendBroken(frame, endsSending, mutator.OneIn(10));
                    ASSERT_TRUE(IsWholeReply(reply)) << ToHex(frame);
                    ++(reply.empty() ? refused : answered);
                    if (i % 500 == 0) {
                        ASSERT_EQ(WireClient::Transact(ReadDeviceType), DeviceTypeAnswer) << "after " << ToHex(frame);
                    }
                } catch (const std::exception& error) {
                    FAIL() << error.what() << ", client " << client << ", frame " << i << ": " << ToHex(frame);
                }
            }
        });
    }
    for (std::thread& client : clients) {
        client.join();
    }

    EXPECT_EQ(WireClient::Transact(ReadDeviceType), DeviceTypeAnswer);
    // Or the frames say nothing of the paths behind the first checks.
    EXPECT_GT(answered, s_frames / 10);
    EXPECT_GT(refused, s_frames / 10);
}

} // namespace
