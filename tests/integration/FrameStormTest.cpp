// 100,000 frames that no honest client would write, to the real service: it goes on answering.
#include <atomic>
#include <thread>

#include "BrokenFrames.h"
#include "DeviceType.h"
#include "ServiceTest.h"

namespace {

constexpr unsigned s_frames = 100'000;
constexpr unsigned s_clients = 8;

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
