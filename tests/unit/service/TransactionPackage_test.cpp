// Whole frames, answered in place.

#include <gtest/gtest.h>

#include <cstring>

#include "../common/Hex.h"
#include "ServiceStandIn.h"
#include "service/PipeCommunication.h"

using namespace std::string_literals;
using Hesperd::PipeCommunication;

namespace {

struct TReply {
    ObjResult result;
    unsigned int offset;
    std::string bytes; // none where the frame is refused

    bool operator==(const TReply&) const = default;
};

void PrintTo(const TReply& reply, std::ostream* out) {
    *out << std::hex << reply.result << ", at " << std::dec << reply.offset << ':' << std::hex;
    for (const char byte : reply.bytes) {
        *out << ' ' << (static_cast<unsigned int>(byte) & 0xFFU);
    }
    *out << std::dec;
}

class TransactionPackageTest : public ServiceStandIn {
protected:
    void SetUp() override {
        ServiceStandIn::SetUp();
        AddVariable(0x8001, TYPE_UNSIGNED32, ACCESS_READ | ACCESS_WRITE, "abcd");
    }

    TReply Run(const std::string& frame) {
        m_frame = frame;
        _tagTPipeTransact view{reinterpret_cast<unsigned char*>(m_frame.data())};
        unsigned int length = 4711;
        TReply reply{0, 4711, ""};
        reply.result = PipeCommunication::ExtractPipeTransactionPackage(&view, &length, &reply.offset);
        if (reply.result == OBJ_E_NOERR) {
            reply.bytes = m_frame.substr(reply.offset, length);
        }
        return reply;
    }

    std::string m_frame;
};

} // namespace

TEST_F(TransactionPackageTest, BothAreasEmptyGiveAnEmptyReply) {
    EXPECT_EQ(Run("18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"_hex), (TReply{0, 0, ""}));
}

TEST_F(TransactionPackageTest, AReadIsAnsweredInItsPlace) {
    EXPECT_EQ(Run("2E 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"
                  "00 00  01 80  00  00  00 00 00 00 00 00 00 00  04 00 00 00  00 00 00 00"_hex),
              (TReply{0, 24, "00 00  01 80  00  00  00 00 00 00 00 00 00 00  04 00 00 00  61 62 63 64"_hex}));
}

TEST_F(TransactionPackageTest, AWriteAloneIsAnsweredWithItsHead) {
    EXPECT_EQ(Run("2E 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  2E 00 00 00 00 00 00 00"
                  "00 00  01 80  00  00  FF FF FF FF FF FF FF FF  04 00 00 00  41 42 43 44"_hex),
              (TReply{0, 24, "00 00  01 80  00  00  00 00 00 00 00 00 00 00  00 00 00 00"_hex}));
    EXPECT_EQ(ReadObject(0x8001, 0, 4).buffer, "ABCD");
}

TEST_F(TransactionPackageTest, AWriteIsFollowedByItsReadAlsoWhenItFailed) {
    EXPECT_EQ(Run("43 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  2D 00 00 00 00 00 00 00"
                  "00 00  01 80  00  00  00 00 00 00 00 00 00 00  03 00 00 00  41 42 43"
                  "00 00  01 80  00  00  00 00 00 00 00 00 00 00  04 00 00 00  00 00 00 00"_hex),
              (TReply{0, 45, "00 00  01 80  00  00  00 00 00 00 00 00 00 00  04 00 00 00  61 62 63 64"_hex}));
    EXPECT_EQ(m_frame.substr(24, 18), "00 00  01 80  00  00  02 01 A6 EC FF FF FF FF  03 00 00 00"_hex);
}

TEST_F(TransactionPackageTest, TheBytesAt582DecideWhetherTheReadFollows) {
    // A write record of 18 + 540 bytes from 24, the answer area from 600: the place lies in the write's data.
    for (const std::size_t at : {std::size_t{581}, std::size_t{582}, std::size_t{589}, std::size_t{590}}) {
        std::string frame = "6E 02 00 00 00 00 00 00  18 00 00 00 00 00 00 00  58 02 00 00 00 00 00 00"
                            "00 00  01 80  00  00  00 00 00 00 00 00 00 00  2E 02 00 00"_hex +
                            std::string(558, '\0') +
                            "00 00  01 80  00  00  00 00 00 00 00 00 00 00  04 00 00 00  00 00 00 00"_hex;
        ASSERT_EQ(frame.size(), 0x26EU);
        frame[at] = 1;
        const bool isSkipped = at == 582 || at == 589;
        const TReply reply = Run(frame);
        EXPECT_EQ(reply.offset, isSkipped ? 24U : 600U) << at;
        EXPECT_EQ(reply.bytes.size(), isSkipped ? 18U : 22U) << at;
    }
}

TEST_F(TransactionPackageTest, ARefusedWriteGivesItsCodeAndALengthOfZero) {
    EXPECT_EQ(Run("2B 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  2B 00 00 00 00 00 00 00"
                  "00 00  01 80  00  00  00 00 00 00 00 00 00 00  04 00 00 00  41"_hex),
              (TReply{87, 24, ""}));
    EXPECT_EQ(m_frame.substr(38, 4), "00 00 00 00"_hex);
    // One that has no room for its head stays as it is.
    EXPECT_EQ(Run("1A 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  1A 00 00 00 00 00 00 00  00 00"_hex),
              (TReply{87, 24, ""}));
}

TEST_F(TransactionPackageTest, CommandsAboveThreeAreRefused) {
    for (const char command : "\x04\x05\x7F"s) {
        std::string frame = "2A 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"
                            "00 00  01 80  00  00  00 00 00 00 00 00 00 00  00 00 00 00"_hex;
        frame[24] = command;
        EXPECT_EQ(Run(frame).result, 0xECA61000U);
        frame[24] = 0;
        frame[25] = command; // the command is a word
        EXPECT_EQ(Run(frame).result, 0xECA61000U);
    }
}

TEST_F(TransactionPackageTest, OffsetsOutsideTheFrameAreRefused) {
    for (const char* offsets : {"1B 00 00 00 00 00 00 00  1B 00 00 00 00 00 00 00", //
                                "18 00 00 00 00 00 00 00  1B 00 00 00 00 00 00 00", //
                                "1A 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00", //
                                "18 00 00 00 01 00 00 00  18 00 00 00 01 00 00 00", //
                                "FF FF FF FF FF FF FF FF  FF FF FF FF FF FF FF FF"}) {
        EXPECT_EQ(Run("1A 00 00 00 00 00 00 00"_hex + operator""_hex(offsets, std::strlen(offsets)) + "00 00"s).result,
                  87U)
            << offsets;
    }
    // One byte is no command.
    EXPECT_EQ(Run("19 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  00"_hex).result, 87U);
}

// The object list

TEST_F(TransactionPackageTest, AListReplacesItsRequest) {
    EXPECT_EQ(Run("26 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"
                  "01 00  01 00  00 00 00 00 00 00 00 00 00 00"_hex),
              (TReply{0, 24, "01 80  00 F0  10 F0  20 F0  30 F0  50 F0  60 F0"_hex}));
}

TEST_F(TransactionPackageTest, CountsFillTheWholeAnswerArea) {
    EXPECT_EQ(Run("28 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  1C 00 00 00 00 00 00 00"
                  "01 00  00 00  FF FF FF FF FF FF FF FF FF FF FF FF"_hex),
              (TReply{0, 28, "07 00 00 00 00 00 07 00 07 00 00 00"_hex}));
}

TEST_F(TransactionPackageTest, AListThatDoesNotFitHasNoReply) {
    EXPECT_EQ(Run("25 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"
                  "01 00  01 00  00 00 00 00 00 00 00 00 00"_hex)
                  .result,
              0xECA60102U);
    EXPECT_EQ(Run("21 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"
                  "01 00  00 00  00 00 00 00 00"_hex)
                  .result,
              0xECA60107U);
}

TEST_F(TransactionPackageTest, OtherListsAreEmpty) {
    EXPECT_EQ(Run("1C 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  01 00  02 00"_hex),
              (TReply{0, 24, ""}));
    EXPECT_EQ(Run("1B 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  01 00  02"_hex).result,
              87U);
}

// Descriptions

TEST_F(TransactionPackageTest, AnObjectsDescriptionTellsCodeTypeAndCount) {
    EXPECT_EQ(Run("28 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"
                  "02 00  01 80  09 04 00 00  FF FF FF FF FF FF FF FF"_hex),
              (TReply{0, 24, "07  07 00  01  00 00 00 00 00 00 00 00"_hex}));
    EXPECT_EQ(Run("2C 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  20 00 00 00 00 00 00 00"
                  "02 00  60 F0  09 04 00 00  FF FF FF FF FF FF FF FF FF FF FF FF"_hex),
              (TReply{0, 32, "08  60 F0  01  00 00 00 00 00 00 00 00"_hex}));
}

TEST_F(TransactionPackageTest, AnObjectThatIsNotThereHasNoReply) {
    EXPECT_EQ(Run("24 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"
                  "02 00  02 80  09 04 00 00  00 00 00 00"_hex)
                  .result,
              0xECA60100U);
    EXPECT_EQ(m_frame.substr(28, 8), "00 01 A6 EC 00 00 00 00"_hex); // without its sign
}

TEST_F(TransactionPackageTest, AnObjectAnswerNeedsRoomForItsHead) {
    EXPECT_EQ(Run("23 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"
                  "02 00  01 80  09 04 00 00  00 00 00"_hex)
                  .result,
              87U);
}

TEST_F(TransactionPackageTest, AnEntrysDescriptionIsAsLongAsItsSizeTells) {
    const std::string none = "FF FF FF FF FF FF FF FF"_hex;
    // A size of 66: the reply has 66 bytes of the answer area, its first 8 being the result.
    EXPECT_EQ(Run("6B 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  21 00 00 00 00 00 00 00"
                  "03 00  01 80  00  09 04 00 00"
                  "EE EE EE EE EE EE EE EE  42 00 00 00 00 00 00 00  01 00"_hex +
                  std::string(56, '\xEE')),
              (TReply{0, 33,
                      "00 00 00 00 00 00 00 00  42 00 00 00 00 00 00 00  01 00  07 00  20 00  3F 00"_hex + none + none +
                          none + none + "40 00 00 00 00 00 00 00  00 00"_hex}));
}

TEST_F(TransactionPackageTest, AnEntryThatIsNotThereHasNoReply) {
    EXPECT_EQ(Run("69 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  21 00 00 00 00 00 00 00"
                  "03 00  01 80  01  09 04 00 00"
                  "EE EE EE EE EE EE EE EE  40 00 00 00 00 00 00 00"_hex +
                  std::string(56, '\0'))
                  .result,
              0xECA60100U);
    EXPECT_EQ(m_frame.substr(33, 8), "00 01 A6 EC 00 00 00 00"_hex);
}

TEST_F(TransactionPackageTest, AnEntrysSizeLiesBetweenItsHeadAndTheFramesEnd) {
    for (const auto& [size, code] :
         {std::pair{"3F 00 00 00 00 00 00 00", 0x80070057U}, std::pair{"41 00 00 00 00 00 00 00", 87U},
          std::pair{"40 00 00 00 01 00 00 00", 87U}}) {
        EXPECT_EQ(Run("69 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  21 00 00 00 00 00 00 00"
                      "03 00  01 80  00  09 04 00 00  EE EE EE EE EE EE EE EE"_hex +
                      operator""_hex(size, std::strlen(size)) + std::string(56, '\0'))
                      .result,
                  code)
            << size;
    }
    EXPECT_EQ(Run("30 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  21 00 00 00 00 00 00 00"
                  "03 00  01 80  00  09 04 00 00  EE EE EE EE EE EE EE EE  40 00 00 00 00 00 00"_hex)
                  .result,
              87U);
}
