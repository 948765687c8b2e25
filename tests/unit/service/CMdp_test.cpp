#include "service/CMdp.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>

#include "../common/Hex.h"
#include "ServiceStandIn.h"
#include "dictionary/ObjServiceTransfer.h"
#include "service/PipeCommunication.h"
#include "service/TransactionFrame.h"

using Hesperd::CMdp;
using namespace std::chrono_literals;

namespace {

struct TReply {
    ObjResult result;
    unsigned int returned;
    std::string record;

    bool operator==(const TReply&) const = default;
};

void PrintTo(const TReply& reply, std::ostream* out) {
    *out << std::hex << reply.result << ", " << std::dec << reply.returned << " bytes:" << std::hex;
    for (const char byte : reply.record) {
        *out << ' ' << (static_cast<unsigned int>(byte) & 0xFFU);
    }
    *out << std::dec;
}

class MdpTest : public ServiceStandIn {
protected:
    void SetUp() override {
        ServiceStandIn::SetUp();
        AddVariable(0x8001, TYPE_UNSIGNED32, ACCESS_READ | ACCESS_WRITE, "abcd");
    }

    static TReply Read(std::string record, unsigned int size) {
        TReply reply{0, 4711, ""};
        reply.result = CMdp::MDP_Read(size, reinterpret_cast<unsigned char*>(record.data()), &reply.returned);
        reply.record = record;
        return reply;
    }

    static TReply Read(const std::string& record) { return Read(record, static_cast<unsigned int>(record.size())); }

    static TReply Write(std::string record, unsigned int size) {
        TReply reply{0, 0, ""};
        reply.result = CMdp::MDP_Write(size, reinterpret_cast<unsigned char*>(record.data()));
        reply.record = record;
        return reply;
    }

    static TReply Write(const std::string& record) { return Write(record, static_cast<unsigned int>(record.size())); }

    // How long a service write takes, in whole seconds.
    long SecondsOfWrite() {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(Write("00 00  10 B0  02  01  FF FF FF FF FF FF FF FF  02 00 00 00  68 69"_hex),
                  (TReply{0, 0, "00 00  10 B0  02  01  00 00 00 00 00 00 00 00  02 00 00 00  68 69"_hex}));
        return static_cast<long>((std::chrono::steady_clock::now() - start) / 1s);
    }
};

} // namespace

TEST_F(MdpTest, ReadPutsValueCodeAndLengthIntoTheRecord) {
    EXPECT_EQ(Read("00 00  01 80  00  00  FF FF FF FF FF FF FF FF  06 00 00 00  23 23 23 23 23 23"_hex),
              (TReply{0, 22, "00 00  01 80  00  00  00 00 00 00 00 00 00 00  04 00 00 00  61 62 63 64 23 23"_hex}));
}

TEST_F(MdpTest, ReadTellsAFailureInTheRecordWithItsSign) {
    EXPECT_EQ(Read("00 00  02 80  00  00  00 00 00 00 00 00 00 00  01 00 00 00  23"_hex),
              (TReply{0, 18, "00 00  02 80  00  00  00 01 A6 EC FF FF FF FF  00 00 00 00  23"_hex}));
    EXPECT_EQ(Read("00 00  01 80  00  00  00 00 00 00 00 00 00 00  03 00 00 00  23 23 23"_hex),
              (TReply{0, 18, "00 00  01 80  00  00  02 01 A6 EC FF FF FF FF  00 00 00 00  23 23 23"_hex}));
}

TEST_F(MdpTest, ReadWithoutAPlaceForTheSizeLeavesTheLength) {
    std::string record = "00 00  01 80  00  00  00 00 00 00 00 00 00 00  05 00 00 00  23 23 23 23 23"_hex;
    EXPECT_EQ(CMdp::MDP_Read(23, reinterpret_cast<unsigned char*>(record.data()), nullptr), 0U);
    EXPECT_EQ(record, "00 00  01 80  00  00  00 00 00 00 00 00 00 00  05 00 00 00  61 62 63 64 23"_hex);
    EXPECT_EQ(CMdp::MDP_Read(3, nullptr, nullptr), 87U);
}

TEST_F(MdpTest, ReadRefusesMalformedRecords) {
    const std::string good = "00 00  01 80  00  00  00 00 00 00 00 00 00 00  04 00 00 00  00 00 00 00"_hex;
    EXPECT_EQ(CMdp::MDP_Read(22, nullptr, nullptr), 87U);
    for (const unsigned int size : {0U, 1U, 17U, 18U, 21U}) {
        EXPECT_EQ(Read(good, size), (TReply{87, 0, good})) << size;
    }
    EXPECT_EQ(Read(good + "x"), (TReply{87, 0, good + "x"}));
    // A length that only fits after it has run over.
    const std::string over = "00 00  01 80  00  00  00 00 00 00 00 00 00 00  FF FF FF FF"_hex;
    EXPECT_EQ(Read(over, 18), (TReply{87, 0, over}));
    const std::string command = "01 00  01 80  00  00  00 00 00 00 00 00 00 00  00 00 00 00"_hex;
    EXPECT_EQ(Read(command), (TReply{0xECA60103, 0, command}));
    EXPECT_EQ(Read(command + "x"), (TReply{87, 0, command + "x"})); // the length is looked at first
}

TEST_F(MdpTest, ServiceReadGivesTheResponseItem) {
    AddService([](int, unsigned char&) -> ObjResult { return OBJ_E_NOERR; });
    EXPECT_EQ(
        Read("00 00  10 B0  02  01  00 00 00 00 00 00 00 00  08 00 00 00  23 23 23 23 23 23 23 23"_hex),
        (TReply{0, 26, "00 00  10 B0  02  01  00 00 00 00 00 00 00 00  08 00 00 00  72 65 73 70 6F 6E 73 65"_hex}));
    EXPECT_EQ(s_readings, 0);
}

TEST_F(MdpTest, ServiceAccessIsForTheRequestItemOfServiceObjects) {
    for (const char* head : {"00 00  10 80  02  01", "00 00  10 C0  02  01", "00 00  10 A0  02  01",
                             "00 00  10 B0  02  00", "00 00  10 B0  02  02", "00 00  10 B0  03  03"}) {
        const std::string record = operator""_hex(head, std::strlen(head)) + "00 00 00 00 00 00 00 00  00 00 00 00"_hex;
        EXPECT_EQ(Read(record), (TReply{0xECA60101, 0, record})) << head;
        EXPECT_EQ(Write(record), (TReply{0xECA60101, 0, record})) << head;
    }
}

TEST_F(MdpTest, BitZeroAsksForCompleteAccess) {
    EXPECT_EQ(Read("00 00  00 F0  01  00  00 00 00 00 00 00 00 00  06 00 00 00  23 23 23 23 23 23"_hex),
              (TReply{0, 24, "00 00  00 F0  01  00  02 01 A6 EC FF FF FF FF  06 00 00 00  04 00 10 00 00 00"_hex}));
    EXPECT_EQ(Write("00 00  01 80  01  00  00 00 00 00 00 00 00 00  00 00 00 00"_hex),
              (TReply{0, 0, "00 00  01 80  01  00  01 01 A6 EC FF FF FF FF  00 00 00 00"_hex}));
}

TEST_F(MdpTest, WriteStoresTheDataAndPutsTheCodeIntoTheRecord) {
    EXPECT_EQ(Write("00 00  01 80  00  00  FF FF FF FF FF FF FF FF  05 00 00 00  41 42 43 44 45"_hex),
              (TReply{0, 0, "00 00  01 80  00  00  00 00 00 00 00 00 00 00  05 00 00 00  41 42 43 44 45"_hex}));
    EXPECT_EQ(ReadObject(0x8001, 0, 4).buffer, "ABCD");
    EXPECT_EQ(Write("00 00  01 80  00  00  00 00 00 00 00 00 00 00  01 00 00 00  41"_hex),
              (TReply{0, 0, "00 00  01 80  00  00  02 01 A6 EC FF FF FF FF  01 00 00 00  41"_hex}));
}

TEST_F(MdpTest, WriteRefusesMalformedRecordsWithItsOwnCodes) {
    const std::string good = "00 00  01 80  00  00  00 00 00 00 00 00 00 00  04 00 00 00  00 00 00 00"_hex;
    EXPECT_EQ(CMdp::MDP_Write(22, nullptr), 87U);
    for (const unsigned int size : {0U, 1U, 2U, 17U, 18U, 21U}) {
        EXPECT_EQ(Write(good, size), (TReply{87, 0, good})) << size;
    }
    const std::string command = "01 00  01 80  00  00  00 00 00 00 00 00 00 00  07 00 00 00"_hex;
    EXPECT_EQ(Write(command), (TReply{0xECA61000, 0, command})); // the command is looked at first
    EXPECT_EQ(Write(command, 2), (TReply{0xECA61000, 0, command}));
    EXPECT_EQ(Write(command, 1), (TReply{87, 0, command}));
}

// The wait for a service

TEST_F(MdpTest, WriteToAServiceThatHasEndedComesBackAtOnce) {
    AddService([](int, unsigned char& state) -> ObjResult {
        state = 3;
        return OBJ_E_NOERR;
    });
    EXPECT_EQ(SecondsOfWrite(), 0);
    EXPECT_EQ(s_readings, 1);
}

TEST_F(MdpTest, WriteWaitsRoundsOfASecondForTheEndOfTheService) {
    AddService([](int reading, unsigned char& state) -> ObjResult {
        state = reading < 3 ? 4 : 1;
        return OBJ_E_NOERR;
    });
    EXPECT_EQ(SecondsOfWrite(), 2);
    EXPECT_EQ(s_readings, 3);
}

TEST_F(MdpTest, AStateThatCannotBeReadIsTheLastOneOrAtFirstThatOfTheEnd) {
    AddService([](int reading, unsigned char& state) -> ObjResult {
        state = reading == 1 ? 255 : 0;
        return reading == 2 ? OBJ_E_FAILED : OBJ_E_NOERR;
    });
    EXPECT_EQ(SecondsOfWrite(), 2);
    EXPECT_EQ(s_readings, 3);
    Dictionary().RemoveObject(SERVICE);
    AddService([](int, unsigned char&) -> ObjResult { return OBJ_E_FAILED; });
    EXPECT_EQ(SecondsOfWrite(), 0);
}

TEST_F(MdpTest, AWriteThatFailsOrIsNoServiceAccessDoesNotWait) {
    AddService([](int, unsigned char& state) -> ObjResult {
        state = 100;
        return OBJ_E_NOERR;
    });
    EXPECT_EQ(Write("00 00  10 B0  00  01  00 00 00 00 00 00 00 00  00 00 00 00"_hex).result, 0U);
    EXPECT_EQ(Write("00 00  11 B0  02  01  00 00 00 00 00 00 00 00  00 00 00 00"_hex),
              (TReply{0, 0, "00 00  11 B0  02  01  00 01 A6 EC FF FF FF FF  00 00 00 00"_hex}));
    EXPECT_EQ(s_readings, 0);
}

TEST_F(MdpTest, AJobThatTakesLongerGoesOnBehindTheAnswer) {
    static std::atomic<bool> s_isAnswered;

    class CSlowService : public CObjServiceTransfer {
    protected:
        void DoWork(void* /*argument*/) override {
            while (!s_isAnswered) {
                std::this_thread::sleep_for(1ms);
            }
            Finish(0, "done", 4);
        }
    };

    s_isAnswered = false;
    const CRef<CSlowService> service(new CSlowService);
    service->Init(0xB020);
    ASSERT_EQ(Dictionary().AddObject(service.Get()), OBJ_E_NOERR);
    std::string frame = "2C 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  2C 00 00 00 00 00 00 00"
                        "00 00  20 B0  02  01  FF FF FF FF FF FF FF FF  02 00 00 00  68 69"_hex;
    _tagTPipeTransact transact{reinterpret_cast<unsigned char*>(frame.data())};
    unsigned int length = 0;
    unsigned int offset = 0;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(Hesperd::PipeCommunication::ExtractPipeTransactionPackage(&transact, &length, &offset), OBJ_E_NOERR);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 16s);
    EXPECT_EQ(frame.substr(offset, length), "00 00  20 B0  02  01  00 00 00 00 00 00 00 00  00 00 00 00"_hex);

    s_isAnswered = true;
    while (service->m_refCount.load() > 2) {
        std::this_thread::sleep_for(1ms);
    }
    EXPECT_EQ(ReadObject(0xB020, 3, 16).buffer.substr(0, 6), std::string("\x01\0done", 6));
}

TEST_F(MdpTest, AServiceThatTakesLongerIsWaitedForSixteenSeconds) {
    AddService([](int, unsigned char& state) -> ObjResult {
        state = 100;
        return OBJ_E_NOERR;
    });
    const long seconds = SecondsOfWrite();
    EXPECT_GE(seconds, 16);
    EXPECT_EQ(s_readings, 16); // the last round ends with its pause
}
