// Frames that no client in its right mind sends, and clients that vanish. The service closes such a connection without
// a byte, stays as it was, and answers the next.
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "DeviceType.h"
#include "ServiceTest.h"

namespace {

std::string MismatchLine(std::size_t bytesRead, std::uint64_t cbData) {
    return "Error: HandleRequest: Number of bytes read does not match data length! bytesRead:" +
           std::to_string(bytesRead) + " cbData:" + std::to_string(cbData);
}

class BrokenFramesTest : public ServiceTest {
protected:
    void SetUp() override {
        ServiceTest::SetUp();
        EXPECT_EQ(WireClient::Transact(ReadDeviceType), DeviceTypeAnswer);
        m_idle = m_service->WaitUntilSteady();
    }

    void TearDown() override {
        // No thread may be left to spin or to wait on a connection that is gone.
        EXPECT_TRUE(m_service->WaitForUsage(m_idle));
        EXPECT_EQ(WireClient::Transact(ReadDeviceType), DeviceTypeAnswer);
        ServiceTest::TearDown();
    }

    static void ExpectClosed(const Bytes& frame) { EXPECT_EQ(WireClient::Transact(frame), Bytes{}) << ToHex(frame); }

    // The same for a client that has no more to send.
    static void ExpectClosedAfterEnd(const Bytes& frame) {
        WireClient client;
        client.TrySend(frame);
        client.EndSending();
        EXPECT_EQ(client.ReceiveAll(), Bytes{}) << ToHex(frame);
    }

    Usage m_idle;
};

} // namespace

TEST_F(BrokenFramesTest, ALengthBelowTheHeaderCloses) {
    for (const std::uint64_t length : {0, 1, 8, 17, 23}) {
        ExpectClosed(Join({Little(length, 8), Little(24, 8), Little(24, 8)}));
        if (length != 0) {
            EXPECT_TRUE(m_log.WaitFor(MismatchLine(24, length))) << length;
        }
    }
}

TEST_F(BrokenFramesTest, ALengthOfMoreThanThirtyTwoBitsCloses) {
    for (const std::uint64_t length :
         {0x100000000ULL, 0x100000018ULL, 0x10000002EULL, 0x8000000000000018ULL, 0xFFFFFFFFFFFFFFFFULL}) {
        ExpectClosed(Join({Little(length, 8), Little(24, 8), Little(24, 8),
                           "00 00  00 10  00  00  00 00 00 00 00 00 00 00  04 00 00 00  00 00 00 00"_hex}));
        EXPECT_TRUE(m_log.WaitFor(MismatchLine(24, length))) << length;
    }
}

TEST_F(BrokenFramesTest, ALengthThatLiesCostsNoMemory) {
    const std::size_t before = m_service->ResidentKiB();
    std::vector<std::unique_ptr<WireClient>> clients;
    for (int i = 0; i < 8; ++i) {
        clients.push_back(std::make_unique<WireClient>());
        clients.back()->Send(Join({Little(0xFFFFFFFF, 8), Little(24, 8), Little(24, 8), Bytes(1000)}));
        clients.back()->WaitUntilTaken();
    }

    EXPECT_LT(m_service->ResidentKiB(), before + 8 * 1024);

    clients.clear();
    EXPECT_TRUE(m_log.WaitFor(MismatchLine(1024, 0xFFFFFFFF)));
}

TEST_F(BrokenFramesTest, AWriteOffsetOutsideTheFrameCloses) {
    for (const std::uint64_t offset :
         {47ULL, 48ULL, 4096ULL, 0x7FFFFFFFULL, 0xFFFFFFFFULL, 0x100000018ULL, 0xFFFFFFFFFFFFFFFFULL}) {
        ExpectClosed(Join({Little(46, 8), Little(offset, 8), Little(24, 8), Bytes(22)}));
        ExpectClosed(Join({Little(46, 8), Little(offset, 8), Little(46, 8), Bytes(22)}));
        ExpectClosed(Join({Little(46, 8), Little(offset, 8), Little(offset, 8), Bytes(22)}));
    }
}

TEST_F(BrokenFramesTest, AReadOffsetOutsideTheFrameCloses) {
    for (const std::uint64_t offset :
         {47ULL, 48ULL, 4096ULL, 0x7FFFFFFFULL, 0xFFFFFFFFULL, 0x100000018ULL, 0xFFFFFFFFFFFFFFFFULL}) {
        ExpectClosed(Join({Little(46, 8), Little(24, 8), Little(offset, 8), Bytes(22)}));
    }
}

TEST_F(BrokenFramesTest, AnAnswerAreaInFrontOfTheRequestCloses) {
    ExpectClosed(Join({Little(68, 8), Little(46, 8), Little(24, 8), Bytes(44)}));
    ExpectClosed(Join({Little(46, 8), Little(46, 8), Little(24, 8), Bytes(22)}));
}

TEST_F(BrokenFramesTest, AHeaderThatEndsTooEarlyCloses) {
    for (std::size_t length = 1; length < 24; ++length) {
        ExpectClosedAfterEnd(Bytes(ReadDeviceType.begin(), ReadDeviceType.begin() + static_cast<long>(length)));
        EXPECT_TRUE(m_log.WaitFor(MismatchLine(length, 46))) << length;
    }
}

TEST_F(BrokenFramesTest, AFrameThatEndsTooEarlyCloses) {
    for (std::size_t length = 24; length < ReadDeviceType.size(); ++length) {
        ExpectClosedAfterEnd(Bytes(ReadDeviceType.begin(), ReadDeviceType.begin() + static_cast<long>(length)));
        EXPECT_TRUE(m_log.WaitFor(MismatchLine(length, 46))) << length;
    }
}

TEST_F(BrokenFramesTest, ALongFrameThatEndsTooEarlyCloses) {
    for (const std::size_t length : {512U, 513U, 1024U, 5000U, 9999U}) {
        ExpectClosedAfterEnd(Join({Little(10000, 8), Little(24, 8), Little(24, 8), Bytes(length - 24)}));
        EXPECT_TRUE(m_log.WaitFor(MismatchLine(length, 10000))) << length;
    }
}

TEST_F(BrokenFramesTest, AConnectionWithoutAByteIsClosedWithoutALine) {
    m_log.Clear();
    ExpectClosedAfterEnd({});
    EXPECT_TRUE(m_service->WaitForUsage(m_idle));
    EXPECT_EQ(m_log.Texts(), std::vector<std::string>{});
}

TEST_F(BrokenFramesTest, BytesBehindTheFrameAreNotLookedAt) {
    EXPECT_EQ(WireClient::Transact(Join({ReadDeviceType, Bytes(100, 0xFF)})), DeviceTypeAnswer);
}

TEST_F(BrokenFramesTest, AClientMayVanishAtEveryByteOfItsFrame) {
    for (std::size_t length = 0; length <= ReadDeviceType.size(); ++length) {
        WireClient client;
        client.Send(Bytes(ReadDeviceType.begin(), ReadDeviceType.begin() + static_cast<long>(length)));
    }
}

TEST_F(BrokenFramesTest, AClientMayVanishAfterTheServiceHasTakenAPartOfItsFrame) {
    for (std::size_t length = 1; length < ReadDeviceType.size(); length += 5) {
        WireClient client;
        client.Send(Bytes(ReadDeviceType.begin(), ReadDeviceType.begin() + static_cast<long>(length)));
        client.WaitUntilTaken();
    }
}

TEST_F(BrokenFramesTest, AClientMayVanishAtEveryByteOfItsAnswer) {
    for (std::size_t length = 0; length <= DeviceTypeAnswer.size(); ++length) {
        WireClient client;
        client.Send(ReadDeviceType);
        client.Receive(length);
    }
}

TEST_F(BrokenFramesTest, AClientMayVanishInTheMiddleOfALongFrame) {
    for (int i = 0; i < 20; ++i) {
        WireClient client;
        client.TrySend(Join({Little(1 << 20, 8), Little(24, 8), Little(24, 8), Bytes(100000)}));
    }
    EXPECT_TRUE(m_log.WaitFor(MismatchLine(100024, 1 << 20)));
}

TEST_F(BrokenFramesTest, SilentClientsHoldNothingButTheirOwnThread) {
    std::vector<std::unique_ptr<WireClient>> clients;
    for (int i = 0; i < 50; ++i) {
        clients.push_back(std::make_unique<WireClient>());
    }
    EXPECT_EQ(WireClient::Transact(ReadDeviceType), DeviceTypeAnswer);
    clients.clear();
}

namespace {

// Well-formed requests that the mutations start from.
const std::vector<Bytes>& Seeds() {
    static const std::vector<Bytes> seeds = {
        "18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"_hex,
        ReadDeviceType,
        // the device name, read and written
        "32 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"
        "00 00  08 10  00  00  00 00 00 00 00 00 00 00  08 00 00 00  00 00 00 00 00 00 00 00"_hex,
        "2F 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  2F 00 00 00 00 00 00 00"
        "00 00  08 10  00  00  00 00 00 00 00 00 00 00  05 00 00 00  2D 6F 78 2D 31"_hex,
        // a complete read of the identity
        "3C 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"
        "00 00  18 10  01  00  00 00 00 00 00 00 00 00  12 00 00 00"
        "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"_hex,
        // a refused write, then a read
        "44 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  2E 00 00 00 00 00 00 00"
        "00 00  00 10  00  00  00 00 00 00 00 00 00 00  04 00 00 00  01 02 03 04"
        "00 00  00 10  00  00  00 00 00 00 00 00 00 00  04 00 00 00  00 00 00 00"_hex,
        // the object list, the description of an object and of an entry
        "40 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  20 00 00 00 00 00 00 00"
        "01 00  00 00  00 00 00 00"
        "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"_hex,
        "44 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  20 00 00 00 00 00 00 00"
        "02 00  18 10  09 04 00 00"
        "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"_hex,
        "54 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  24 00 00 00 00 00 00 00"
        "03 00  18 10  01  09 04 00 00 00 00 00"
        "00 00 00 00 00 00 00 00  28 00 00 00 00 00 00 00  00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
        "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"_hex,
    };
    return seeds;
}

Bytes Mutated(std::mt19937& random) {
    static constexpr std::uint64_t interesting[] = {0,  1,  2,    17,   18,         19,         22,        23,
                                                    24, 25, 0x7F, 0xFF, 0x7FFFFFFF, 0xFFFFFFFF, 0x80000000};
    auto below = [&random](std::size_t limit) { return static_cast<std::size_t>(random() % limit); };
    if (below(10) == 0) {
        Bytes noise(below(200));
        for (auto& byte : noise) {
            byte = static_cast<std::uint8_t>(random());
        }
        return noise;
    }
    Bytes frame = Seeds()[below(Seeds().size())];
    for (std::size_t rounds = 1 + below(4); rounds > 0 && !frame.empty(); --rounds) {
        switch (below(6)) {
        case 0: // any byte
            frame[below(frame.size())] = static_cast<std::uint8_t>(random());
            break;
        case 1: // one bit
            frame[below(frame.size())] ^= static_cast<std::uint8_t>(1U << below(8));
            break;
        case 2: { // a telling number at a field of the header
            const Bytes number = Little(interesting[below(std::size(interesting))], 8);
            const std::size_t at = 8 * below(3);
            for (std::size_t i = 0; i < 8 && at + i < frame.size(); ++i) {
                frame[at + i] = number[i];
            }
            break;
        }
        case 3: { // a telling number anywhere
            const Bytes number = Little(interesting[below(std::size(interesting))], 4);
            const std::size_t at = below(frame.size());
            for (std::size_t i = 0; i < 4 && at + i < frame.size(); ++i) {
                frame[at + i] = number[i];
            }
            break;
        }
        case 4: // cut
            frame.resize(below(frame.size()) + 1);
            break;
        default: // longer, with a length that fits
            frame.resize(frame.size() + below(1200), static_cast<std::uint8_t>(random()));
            if (const Bytes length = Little(frame.size(), 8); frame.size() >= 8) {
                std::copy(length.begin(), length.end(), frame.begin());
            }
            break;
        }
    }
    return frame;
}

} // namespace

TEST_F(BrokenFramesTest, AHundredThousandRandomAndMutatedFramesLeaveAServiceThatAnswers) {
    constexpr int threads = 4;
    constexpr int framesPerThread = 25000;
    std::vector<std::thread> clients;
    for (unsigned seed = 1; seed <= threads; ++seed) {
        clients.emplace_back([seed] {
            std::mt19937 random(seed); // the same frames in every run
            for (int i = 0; i < framesPerThread; ++i) {
                const Bytes frame = Mutated(random);
                WireClient client;
                client.TrySend(frame);
                client.EndSending();
                client.ReceiveAll();
            }
        });
    }
    for (auto& client : clients) {
        client.join();
    }
    EXPECT_EQ(WireClient::Transact(ReadDeviceType), DeviceTypeAnswer);
}
