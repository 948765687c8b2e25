#include <string>

#include "DeviceType.h"
#include "ServiceTest.h"

namespace {

std::string RefusedLine(const std::string& code) {
    return "Error: PipeCommunication: ExtractPipeTransactionPackage failed: " + code;
}

class TransportTest : public ServiceTest {
protected:
    // The connection closes without a byte, the line tells the code, and the service goes on.
    void ExpectRefused(const Bytes& frame, const std::string& code) {
        m_log.Clear();
        EXPECT_EQ(WireClient::Transact(frame), Bytes{});
        EXPECT_TRUE(m_log.WaitFor(RefusedLine(code))) << testing::PrintToString(m_log.Texts());
        for (const auto& line : m_log.Lines()) {
            if (line.text == RefusedLine(code)) {
                EXPECT_EQ(line.priority, 3);
            }
        }
        EXPECT_EQ(WireClient::Transact(ReadDeviceType), DeviceTypeAnswer);
    }
};

} // namespace

TEST_F(TransportTest, AFrameWithBothAreasEmptyIsAnsweredWithTheLengthZero) {
    EXPECT_EQ(WireClient::Transact("18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"_hex),
              "00 00 00 00"_hex);
}

TEST_F(TransportTest, AReadAnswersWithTheRecordAndItsValue) {
    EXPECT_EQ(WireClient::Transact(ReadDeviceType), DeviceTypeAnswer);
}

TEST_F(TransportTest, AReadWithRoomToSpareAnswersWithTheBytesDelivered) {
    EXPECT_EQ(WireClient::Transact("32 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"
                                   "00 00  00 10  00  00  00 00 00 00 00 00 00 00  08 00 00 00"
                                   "00 00 00 00 00 00 00 00"_hex),
              DeviceTypeAnswer);
}

TEST_F(TransportTest, WhatTheClientLeavesInTheResultIsOverwritten) {
    EXPECT_EQ(WireClient::Transact("2E 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"
                                   "00 00  00 10  00  00  AA AA AA AA AA AA AA AA  04 00 00 00  BB BB BB BB"_hex),
              DeviceTypeAnswer);
}

TEST_F(TransportTest, AReadOfACountGivesTwoBytes) {
    EXPECT_EQ(WireClient::Transact("2C 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"
                                   "00 00  18 10  00  00  00 00 00 00 00 00 00 00  02 00 00 00  FF FF"_hex),
              "14 00 00 00  00 00  18 10  00  00  00 00 00 00 00 00 00 00  02 00 00 00  04 00"_hex);
}

TEST_F(TransportTest, ACompleteReadGivesAllItemsPacked) {
    EXPECT_EQ(WireClient::Transact("3C 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"
                                   "00 00  00 F0  01  00  00 00 00 00 00 00 00 00  12 00 00 00"
                                   "00 00  00 00 00 00  00 00 00 00  00 00 00 00  00 00 00 00"_hex),
              "24 00 00 00  00 00  00 F0  01  00  00 00 00 00 00 00 00 00  12 00 00 00"
              "04 00  10 00 00 00  FF 00 00 00  00 00 00 00  0F 00 00 00"_hex);
}

TEST_F(TransportTest, ACompleteReadThatFailsLaterAnswersWithTheCodeAndTheBytesSoFar) {
    // The identity has a vendor, but no product code.
    EXPECT_EQ(WireClient::Transact("3C 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"
                                   "00 00  18 10  01  00  00 00 00 00 00 00 00 00  12 00 00 00"
                                   "00 00  00 00 00 00  00 00 00 00  00 00 00 00  00 00 00 00"_hex),
              "18 00 00 00  00 00  18 10  01  00  00 10 A6 EC FF FF FF FF  06 00 00 00  04 00  02 00 00 00"_hex);
}

TEST_F(TransportTest, AnUnknownIndexIsAnsweredWithItsCode) {
    EXPECT_EQ(WireClient::Transact("2E 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"
                                   "00 00  34 12  00  00  00 00 00 00 00 00 00 00  04 00 00 00  00 00 00 00"_hex),
              "12 00 00 00  00 00  34 12  00  00  00 01 A6 EC FF FF FF FF  00 00 00 00"_hex);
}

TEST_F(TransportTest, AnUnknownSubIndexIsAnsweredWithItsCode) {
    EXPECT_EQ(WireClient::Transact("2E 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"
                                   "00 00  00 10  00  01  00 00 00 00 00 00 00 00  04 00 00 00  00 00 00 00"_hex),
              "12 00 00 00  00 00  00 10  00  01  00 01 A6 EC FF FF FF FF  00 00 00 00"_hex);
}

TEST_F(TransportTest, ATooSmallLengthIsAnsweredWithItsCode) {
    EXPECT_EQ(WireClient::Transact("2D 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"
                                   "00 00  00 10  00  00  00 00 00 00 00 00 00 00  03 00 00 00  00 00 00"_hex),
              "12 00 00 00  00 00  00 10  00  00  02 01 A6 EC FF FF FF FF  00 00 00 00"_hex);
}

TEST_F(TransportTest, AReadWithLengthZeroIsAnsweredWithItsCode) {
    EXPECT_EQ(WireClient::Transact("2A 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"
                                   "00 00  00 10  00  00  00 00 00 00 00 00 00 00  00 00 00 00"_hex),
              "12 00 00 00  00 00  00 10  00  00  02 01 A6 EC FF FF FF FF  00 00 00 00"_hex);
}

TEST_F(TransportTest, AWriteOnlyFrameIsAnsweredWithTheHeadOfItsRecord) {
    // The device name becomes "box-1".
    EXPECT_EQ(WireClient::Transact("2F 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  2F 00 00 00 00 00 00 00"
                                   "00 00  08 10  00  00  00 00 00 00 00 00 00 00  05 00 00 00  62 6F 78 2D 31"_hex),
              "12 00 00 00  00 00  08 10  00  00  00 00 00 00 00 00 00 00  00 00 00 00"_hex);
    EXPECT_EQ(WireClient::Transact("32 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"
                                   "00 00  08 10  00  00  00 00 00 00 00 00 00 00  08 00 00 00"
                                   "00 00 00 00 00 00 00 00"_hex),
              "17 00 00 00  00 00  08 10  00  00  00 00 00 00 00 00 00 00  05 00 00 00  62 6F 78 2D 31"_hex);
}

TEST_F(TransportTest, AWriteOnlyFrameThatIsRefusedCarriesTheCode) {
    // The device type is read-only.
    EXPECT_EQ(WireClient::Transact("2E 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  2E 00 00 00 00 00 00 00"
                                   "00 00  00 10  00  00  00 00 00 00 00 00 00 00  04 00 00 00  01 02 03 04"_hex),
              "12 00 00 00  00 00  00 10  00  00  01 01 A6 EC FF FF FF FF  00 00 00 00"_hex);
}

TEST_F(TransportTest, ACompleteWriteDoesNotExist) {
    EXPECT_EQ(WireClient::Transact("2F 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  2F 00 00 00 00 00 00 00"
                                   "00 00  08 10  01  00  00 00 00 00 00 00 00 00  05 00 00 00  62 6F 78 2D 31"_hex),
              "12 00 00 00  00 00  08 10  01  00  01 01 A6 EC FF FF FF FF  00 00 00 00"_hex);
}

TEST_F(TransportTest, AWriteFollowedByAReadAnswersWithTheRead) {
    EXPECT_EQ(WireClient::Transact("49 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  2F 00 00 00 00 00 00 00"
                                   "00 00  08 10  00  00  00 00 00 00 00 00 00 00  05 00 00 00  62 6F 78 2D 32"
                                   "00 00  08 10  00  00  00 00 00 00 00 00 00 00  08 00 00 00"
                                   "00 00 00 00 00 00 00 00"_hex),
              "17 00 00 00  00 00  08 10  00  00  00 00 00 00 00 00 00 00  05 00 00 00  62 6F 78 2D 32"_hex);
}

TEST_F(TransportTest, AFailedWriteDoesNotStopTheReadBehindIt) {
    EXPECT_EQ(WireClient::Transact("44 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  2E 00 00 00 00 00 00 00"
                                   "00 00  00 10  00  00  00 00 00 00 00 00 00 00  04 00 00 00  01 02 03 04"
                                   "00 00  00 10  00  00  00 00 00 00 00 00 00 00  04 00 00 00  00 00 00 00"_hex),
              DeviceTypeAnswer);
}

namespace {

// A write of the device type (refused), then a read of 600 bytes of it. The frame reaches past the place that decides
// whether the read is done, 8 bytes at 6 + 24 * 24 = 582.
Bytes WriteAndLongRead(std::size_t place, std::uint8_t value) {
    Bytes frame = Join({"98 02 00 00 00 00 00 00  18 00 00 00 00 00 00 00  2E 00 00 00 00 00 00 00"_hex,
                        "00 00  00 10  00  00  00 00 00 00 00 00 00 00  04 00 00 00  01 02 03 04"_hex,
                        "00 00  00 10  00  00  00 00 00 00 00 00 00 00  58 02 00 00"_hex, Bytes(600)});
    frame.at(place) = value;
    return frame;
}

const Bytes s_writeRefused = "12 00 00 00  00 00  00 10  00  00  01 01 A6 EC FF FF FF FF  00 00 00 00"_hex;

} // namespace

TEST_F(TransportTest, AnythingButZeroAtTheDecidingPlaceSkipsTheRead) {
    for (std::size_t place = 582; place < 590; ++place) {
        EXPECT_EQ(WireClient::Transact(WriteAndLongRead(place, 0x80)), s_writeRefused) << place;
    }
}

TEST_F(TransportTest, BytesBesideTheDecidingPlaceDoNotSkipTheRead) {
    EXPECT_EQ(WireClient::Transact(WriteAndLongRead(581, 0x80)), DeviceTypeAnswer);
    EXPECT_EQ(WireClient::Transact(WriteAndLongRead(590, 0x80)), DeviceTypeAnswer);
}

TEST_F(TransportTest, TheDecidingPlaceMovesWithTheOffsetOfTheWrite) {
    // The record starts at 25: 6 + 24 * 25 = 606.
    Bytes frame = Join({"99 02 00 00 00 00 00 00  19 00 00 00 00 00 00 00  2F 00 00 00 00 00 00 00  00"_hex,
                        "00 00  00 10  00  00  00 00 00 00 00 00 00 00  04 00 00 00  01 02 03 04"_hex,
                        "00 00  00 10  00  00  00 00 00 00 00 00 00 00  58 02 00 00"_hex, Bytes(600)});
    frame.at(582) = 1;
    EXPECT_EQ(WireClient::Transact(frame), DeviceTypeAnswer);
    frame.at(606) = 1;
    EXPECT_EQ(WireClient::Transact(frame), s_writeRefused);
}

TEST_F(TransportTest, ARecordMayLieBehindAGap) {
    EXPECT_EQ(WireClient::Transact("36 00 00 00 00 00 00 00  20 00 00 00 00 00 00 00  20 00 00 00 00 00 00 00"
                                   "EE EE EE EE EE EE EE EE"
                                   "00 00  00 10  00  00  00 00 00 00 00 00 00 00  04 00 00 00  00 00 00 00"_hex),
              DeviceTypeAnswer);
}

TEST_F(TransportTest, CommandsAboveThreeAreRefused) {
    for (const Bytes& command : {"04 00"_hex, "05 00"_hex, "00 01"_hex, "FF FF"_hex}) {
        ExpectRefused(Join({"2E 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"_hex, command,
                            "00 10  00  00  00 00 00 00 00 00 00 00  04 00 00 00  00 00 00 00"_hex}),
                      "-324661248");
    }
}

TEST_F(TransportTest, AReadRecordShorterThanItsHeadIsRefused) {
    for (std::size_t length = 2; length < 18; ++length) {
        ExpectRefused(Join({Little(24 + length, 8), Little(24, 8), Little(24, 8), Bytes(length)}), "87");
    }
}

TEST_F(TransportTest, AReadRecordWhoseLengthDoesNotFitIsRefused) {
    for (const Bytes& length : {"00 00 00 00"_hex, "03 00 00 00"_hex, "05 00 00 00"_hex, "04 00 00 01"_hex,
                                "F2 FF FF FF"_hex, "FF FF FF FF"_hex}) {
        ExpectRefused(Join({"2E 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"
                            "00 00  00 10  00  00  00 00 00 00 00 00 00 00"_hex,
                            length, "00 00 00 00"_hex}),
                      "87");
    }
}

TEST_F(TransportTest, AWriteRecordOfOneByteIsRefused) {
    ExpectRefused("19 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  19 00 00 00 00 00 00 00  00"_hex, "87");
}

TEST_F(TransportTest, AWriteRecordShorterThanItsHeadIsRefused) {
    for (std::size_t length = 2; length < 18; ++length) {
        ExpectRefused(Join({Little(24 + length, 8), Little(24, 8), Little(24 + length, 8), Bytes(length)}), "87");
    }
}

TEST_F(TransportTest, AWriteRecordWhoseLengthDoesNotFitIsRefused) {
    for (const Bytes& length : {"00 00 00 00"_hex, "04 00 00 00"_hex, "06 00 00 00"_hex, "F3 FF FF FF"_hex}) {
        ExpectRefused(Join({"2F 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  2F 00 00 00 00 00 00 00"
                            "00 00  08 10  00  00  00 00 00 00 00 00 00 00"_hex,
                            length, "62 6F 78 2D 33"_hex}),
                      "87");
    }
}

TEST_F(TransportTest, AReadBehindAWriteWithACommandOfItsOwnIsRefused) {
    ExpectRefused("44 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  2E 00 00 00 00 00 00 00"
                  "00 00  00 10  00  00  00 00 00 00 00 00 00 00  04 00 00 00  01 02 03 04"
                  "01 00  00 10  00  00  00 00 00 00 00 00 00 00  04 00 00 00  00 00 00 00"_hex,
                  "-324665085");
}

TEST_F(TransportTest, AReadBehindAWriteWhoseLengthDoesNotFitIsRefused) {
    ExpectRefused("44 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  2E 00 00 00 00 00 00 00"
                  "00 00  00 10  00  00  00 00 00 00 00 00 00 00  04 00 00 00  01 02 03 04"
                  "00 00  00 10  00  00  00 00 00 00 00 00 00 00  05 00 00 00  00 00 00 00"_hex,
                  "87");
}

TEST_F(TransportTest, ServiceAccessIsRefusedOutsideOfServiceObjects) {
    // A read of index 0x8010.
    ExpectRefused("2E 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"
                  "00 00  10 80  02  01  00 00 00 00 00 00 00 00  04 00 00 00  00 00 00 00"_hex,
                  "-324665087");
    // A write of it.
    ExpectRefused("2E 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  2E 00 00 00 00 00 00 00"
                  "00 00  10 80  02  01  00 00 00 00 00 00 00 00  04 00 00 00  00 00 00 00"_hex,
                  "-324665087");
}

TEST_F(TransportTest, ServiceAccessIsRefusedOnOtherSubIndexesThanOne) {
    for (const Bytes& subIndex : {"00"_hex, "02"_hex, "03"_hex}) {
        ExpectRefused(Join({"2E 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"
                            "00 00  10 B0  02"_hex,
                            subIndex, "00 00 00 00 00 00 00 00  04 00 00 00  00 00 00 00"_hex}),
                      "-324665087");
        ExpectRefused(Join({"2E 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  2E 00 00 00 00 00 00 00"
                            "00 00  10 B0  02"_hex,
                            subIndex, "00 00 00 00 00 00 00 00  04 00 00 00  00 00 00 00"_hex}),
                      "-324665087");
    }
}

TEST_F(TransportTest, ServiceAccessToAServiceThatDoesNotExistIsAnsweredAtOnce) {
    // Index 0xBFF0: no machine has that many modules.
    EXPECT_EQ(WireClient::Transact("2E 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"
                                   "00 00  F0 BF  02  01  00 00 00 00 00 00 00 00  04 00 00 00  00 00 00 00"_hex),
              "12 00 00 00  00 00  F0 BF  02  01  00 01 A6 EC FF FF FF FF  00 00 00 00"_hex);
    EXPECT_EQ(WireClient::Transact("2E 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  2E 00 00 00 00 00 00 00"
                                   "00 00  F0 BF  02  01  00 00 00 00 00 00 00 00  04 00 00 00  00 00 00 00"_hex),
              "12 00 00 00  00 00  F0 BF  02  01  00 01 A6 EC FF FF FF FF  00 00 00 00"_hex);
}

TEST_F(TransportTest, AServiceWriteReturnsWhenTheServiceHasEndedAndAServiceReadGivesItsResponse) {
    // The renewal of the first adapter's address, which is not by DHCP: nothing to do, and nothing to tell.
    EXPECT_EQ(WireClient::Transact("2A 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  2A 00 00 00 00 00 00 00"
                                   "00 00  00 B0  02  01  00 00 00 00 00 00 00 00  00 00 00 00"_hex),
              "12 00 00 00  00 00  00 B0  02  01  00 00 00 00 00 00 00 00  00 00 00 00"_hex);
    EXPECT_EQ(WireClient::Transact("32 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"
                                   "00 00  00 B0  02  01  00 00 00 00 00 00 00 00  08 00 00 00"
                                   "FF FF FF FF FF FF FF FF"_hex),
              "14 00 00 00  00 00  00 B0  02  01  00 00 00 00 00 00 00 00  02 00 00 00  00 00"_hex);
}

TEST_F(TransportTest, AServiceWriteFollowedByAReadGivesTheResponseInOneTransaction) {
    EXPECT_EQ(WireClient::Transact("44 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  2A 00 00 00 00 00 00 00"
                                   "00 00  00 B0  02  01  00 00 00 00 00 00 00 00  00 00 00 00"
                                   "00 00  00 B0  02  01  00 00 00 00 00 00 00 00  08 00 00 00"
                                   "FF FF FF FF FF FF FF FF"_hex),
              "14 00 00 00  00 00  00 B0  02  01  00 00 00 00 00 00 00 00  02 00 00 00  00 00"_hex);
}

TEST_F(TransportTest, OtherFlagBitsAreIgnored) {
    EXPECT_EQ(WireClient::Transact("2E 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"
                                   "00 00  00 10  FC  00  00 00 00 00 00 00 00 00  04 00 00 00  00 00 00 00"_hex),
              "16 00 00 00  00 00  00 10  FC  00  00 00 00 00 00 00 00 00  04 00 00 00  89 13 10 27"_hex);
}

TEST_F(TransportTest, AConnectionCarriesOneTransactionAndCloses) {
    WireClient client;
    client.Send(ReadDeviceType);
    EXPECT_EQ(client.ReceiveAll(), DeviceTypeAnswer);
    EXPECT_FALSE(client.TrySend(ReadDeviceType));
}

TEST_F(TransportTest, AFrameMayArriveByteByByte) {
    WireClient client;
    for (const auto byte : ReadDeviceType) {
        client.Send({byte});
        client.WaitUntilTaken();
    }
    EXPECT_EQ(client.ReceiveAll(), DeviceTypeAnswer);
}

TEST_F(TransportTest, AnAnswerComesWithoutWaitingForTheEndOfTheClientsSending) {
    WireClient client;
    client.Send(ReadDeviceType);
    EXPECT_EQ(client.Receive(DeviceTypeAnswer.size()), DeviceTypeAnswer);
}

TEST_F(TransportTest, FramesOfManyChunksArriveWhole) {
    // Sizes around the multiples of the 512 bytes that are read at a time.
    for (const std::size_t room : {469U, 470U, 471U, 981U, 982U, 983U, 100000U, 1000000U}) {
        const Bytes frame =
            Join({Little(24 + 18 + room, 8), Little(24, 8), Little(24, 8),
                  "00 00  00 10  00  00  00 00 00 00 00 00 00 00"_hex, Little(room, 4), Bytes(room, 0xEE)});
        EXPECT_EQ(WireClient::Transact(frame), DeviceTypeAnswer) << room;
    }
}

TEST_F(TransportTest, AClientDoesNotWaitForAnother) {
    WireClient slow;
    slow.Send("2E 00 00 00"_hex);
    slow.WaitUntilTaken();
    EXPECT_EQ(WireClient::Transact(ReadDeviceType), DeviceTypeAnswer);
}

TEST_F(TransportTest, ManyConnectionsInARowLeaveNothingBehind) {
    const Usage idle = m_service->WaitUntilSteady();
    for (int i = 0; i < 2000; ++i) {
        ASSERT_EQ(WireClient::Transact(ReadDeviceType), DeviceTypeAnswer);
    }
    EXPECT_TRUE(m_service->WaitForUsage(idle));
}
