// Frames that no client in its right mind sends, and clients that vanish. The service closes such a connection without
// a byte, stays as it was, and answers the next.
#include <string>
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
    for (const std::uint64_t length : {0U, 1U, 8U, 17U, 23U}) {
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
