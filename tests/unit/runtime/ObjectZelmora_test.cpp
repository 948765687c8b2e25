#include "runtime/ObjectZelmora.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <thread>

#include "../common/LogOf.h"
#include "../modules/ModuleTest.h"
#include "RuntimeLibrary.h"
#include "runtime/CZelmoraStatusWatch.h"
#include "runtime/ObjectZelmoraRoutes.h"
#include "runtime/ZelmoraRegistry.h"

using namespace Zelmora;
using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr unsigned short HEADER = 0x8000; // the only module of these tests
constexpr unsigned short ADD_ROUTE = 0xB000;
constexpr unsigned short DELETE_ROUTE = 0xB001;

constexpr const char* RUNTIME = R"([runtime]
version = 3.1.4024
net_id = 5.8.15.47.1.1
state = 5
full_revision = 41
system_id = 33221100554477668899aabbccddeeff
figures = 100 90 3 4 5 1 7 8
)";

constexpr const char* TWO_ROUTES = R"(
[route alpha]
net_id = 1.2.3.4.1.1
address = 192.168.10.5
flags = 32
timeout = 5000
transport = 1

[route beta]
net_id = 9.8.7.6.1.1
address = beta.example
flags = 0x21
timeout = 2000
transport = 7
sub = one 9.8.7.6.2.1 64 two 9.8.7.6.3.1 65
)";

bool Soon(const std::function<bool()>& holds) {
    for (int i = 0; i < 1000; ++i) {
        if (holds()) {
            return true;
        }
        std::this_thread::sleep_for(10ms);
    }
    return false;
}

class ObjectZelmoraTest : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        bZmRegistryPathsInitialized = false;
        InstallRuntimeLibrary(PLAIN);
        SetScenario(RUNTIME);
    }

    void TearDown() override {
        Destroy();
        ModuleTest::TearDown();
    }

    // Puts the module to sleep as the dictionary does.
    void Sleep() {
        Dictionary().SetInactivityLimit(0);
        std::this_thread::sleep_for(5ms);
        Dictionary().CheckCleanup();
    }

    TAnswer RunService(unsigned short index, const std::string& request) {
        EXPECT_EQ(Write(index, 1, request), OBJ_E_NOERR);
        EXPECT_TRUE(Soon([&] {
            const TAnswer status = Read(index, 2);
            return status.bytes.size() == 1 && static_cast<unsigned char>(status.bytes[0]) < 4;
        }));
        return Read(index, 3);
    }

    static std::string AddRequest(const std::string& name, const std::string& address) {
        return AddRequest(name, address, 28 + name.size() + address.size());
    }

    static std::string AddRequest(const std::string& name, const std::string& address, std::size_t total) {
        return Number(total) + Bytes("20 00 00 00  88 13 00 00  01 00  0a 0b 0c 0d 0e 0f") + Number(name.size()) +
               Number(address.size()) + name + address;
    }

    static std::string DeleteRequest(const std::string& name) { return Number(name.size()) + name; }

    static std::string Number(std::size_t number) {
        const auto value = static_cast<std::uint32_t>(number);
        return {reinterpret_cast<const char*>(&value), sizeof value};
    }
};

const std::string FAILED = Bytes("03 00");
const std::string DONE = Bytes("00 00");

} // namespace

TEST_F(ObjectZelmoraTest, ShowsTheRuntime) {
    ASSERT_EQ(Create(), OBJ_E_NOERR);
    EXPECT_EQ(Read(HEADER, 0), (TAnswer{0, Bytes("04 00")}));
    EXPECT_EQ(Read(HEADER, 1), (TAnswer{0, Bytes("00 00 08 00")}));
    EXPECT_EQ(Read(HEADER, 2), (TAnswer{0, "Zelmora"}));
    EXPECT_EQ(Read(HEADER, 3), (TAnswer{0, "Zelmora"}));
    EXPECT_EQ(Read(HEADER, 4), (TAnswer{0, Bytes("10 27 08 00")}));

    EXPECT_EQ(Read(0x8001, 0), (TAnswer{0, Bytes("0d 00")}));
    EXPECT_EQ(Read(0x8001, 1), (TAnswer{0, Bytes("03 00")}));
    EXPECT_EQ(Read(0x8001, 2), (TAnswer{0, Bytes("01 00")}));
    EXPECT_EQ(Read(0x8001, 3), (TAnswer{0, Bytes("b8 0f")}));
    EXPECT_EQ(Read(0x8001, 4), (TAnswer{0, std::string("5.8.15.47.1.1") + std::string(11, '\0')}));
    EXPECT_EQ(Read(0x8001, 5).result, OBJ_E_NOTSUPPORTED);
    EXPECT_EQ(Read(0x8001, 6), (TAnswer{0, Bytes("05 00")}));
    for (int subIndex = 7; subIndex <= 10; ++subIndex) {
        EXPECT_EQ(Read(0x8001, subIndex).result, OBJ_E_NOTSUPPORTED);
        EXPECT_EQ(Write(0x8001, subIndex, "1234"), OBJ_E_NOTSUPPORTED);
    }
    EXPECT_EQ(Read(0x8001, 11), (TAnswer{0, "00112233-4455-6677-8899-AABBCCDDEEFF"}));
    EXPECT_EQ(Read(0x8001, 12), (TAnswer{0, Bytes("29 00")}));

    EXPECT_EQ(Read(0x8008, 0).result, OBJ_E_NOTSUPPORTED);
    EXPECT_EQ(Read(0x8009, 0, true),
              (TAnswer{0, Bytes("08 00  64 00 00 00 00 00 00 00  5a 00 00 00 00 00 00 00  03 00 00 00  04 00 00 00"
                                "05 00 00 00  01  07 00 00 00  08 00 00 00")}));
    EXPECT_EQ(Read(0x800A, 0), (TAnswer{0, Bytes("02 00")}));
    EXPECT_EQ(Read(0x800A, 1).result, OBJ_E_NOTSUPPORTED);
    EXPECT_EQ(Read(0x800A, 2).result, OBJ_E_NOTSUPPORTED);
}

TEST_F(ObjectZelmoraTest, TakesTheFlagOfTheRouterForTrueOnlyIfItIsOne) {
    SetScenario("[runtime]\nfigures = 0 0 0 0 0 2 0 0\n");
    ASSERT_EQ(Create(), OBJ_E_NOERR);
    EXPECT_EQ(Read(0x8009, 6), (TAnswer{0, Bytes("00")}));
}

TEST_F(ObjectZelmoraTest, StaysWithoutTheLibraryWithCodesForValues) {
    RemoveRuntimeLibrary();
    ASSERT_EQ(Create(), OBJ_E_NOERR);
    EXPECT_EQ(Read(HEADER, 2), (TAnswer{0, "Zelmora"}));
    for (const int subIndex : {1, 2, 3, 4, 12}) {
        EXPECT_EQ(Read(0x8001, subIndex).result, OBJ_E_NODATA) << subIndex;
    }
    EXPECT_EQ(Read(0x8001, 6).result, 0xECA8FFFFU);
    EXPECT_EQ(Read(0x8001, 11).result, OBJ_E_NODATA); // an empty text
    EXPECT_EQ(Read(0x8001, 13).result, OBJ_E_NODATA);
    EXPECT_EQ(Read(0x8009, 1).result, OBJ_E_NODATA);
    EXPECT_EQ(Read(0x8002, 0), (TAnswer{0, Bytes("00 00")}));
    EXPECT_EQ(Write(0x8001, 4, "1.2.3.4.5.6"), 0xECA8FFFFU);
    EXPECT_EQ(RunService(ADD_ROUTE, AddRequest("a", "b")), (TAnswer{0, FAILED + Bytes("ff ff a8 ec")}));
}

TEST_F(ObjectZelmoraTest, APortThatCannotBeOpenedHasACodeOfItsOwnForWhatChangesTheRuntime) {
    SetScenario(std::string(RUNTIME) + "[runtime failures]\nKorPortOpen = 1\n");
    ASSERT_EQ(Create(), OBJ_E_NOERR);
    EXPECT_EQ(Read(0x8001, 1).result, OBJ_E_NODATA);
    EXPECT_EQ(Read(0x8001, 6).result, OBJ_E_PORTCLOSED);
    EXPECT_EQ(Write(0x8001, 4, "1.2.3.4.5.6"), OBJ_E_PORTCLOSED);
    EXPECT_EQ(RunService(DELETE_ROUTE, DeleteRequest("a")), (TAnswer{0, FAILED + Bytes("21 04 af ec")}));
}

TEST_F(ObjectZelmoraTest, AsksTheRuntimeForANetIdAndKeepsShowingTheOldOne) {
    ASSERT_EQ(Create(), OBJ_E_NOERR);
    EXPECT_EQ(Write(0x8001, 4, "1.2.3.4.5.6"), OBJ_E_NOERR);
    EXPECT_THAT(RuntimeCalls("KorSyncWriteReq"),
                ElementsAre("KorSyncWriteReq 10000:200 0 "
                            "534f4654574152455c566f727468616e655c5a656c6d6f7261335c53797374656d00"
                            "5265717565737465644d69726e4e6574496400"
                            "03000000010203040506"));
    // Also where it is read for the first time after the write.
    EXPECT_EQ(Read(0x8001, 4).bytes.c_str(), std::string("5.8.15.47.1.1"));
    EXPECT_EQ(Write(0x8001, 4, "6.5.4.3.2.1"), OBJ_E_NOERR);
    EXPECT_EQ(Read(0x8001, 4).bytes.c_str(), std::string("5.8.15.47.1.1"));
}

TEST_F(ObjectZelmoraTest, RefusesWhatIsNoNetId) {
    ASSERT_EQ(Create(), OBJ_E_NOERR);
    for (const char* text : {"", "1.2.3.4.5", "1.2.3.4.5.6.7", "256.0.0.0.0.0", "1.2.3.4.5.6x", "a.b.c.d.e.f",
                             "1.2.3.4.5.6               ", "111.111.111.111.111.1111"}) {
        EXPECT_EQ(Write(0x8001, 4, text), OBJ_E_INVALIDDATA) << text;
    }
    EXPECT_THAT(RuntimeCalls("KorSyncWriteReq"), IsEmpty());
    // Meant: there is no lower limit.
    EXPECT_EQ(Write(0x8001, 4, "-1.0.0.0.0.0"), OBJ_E_NOERR);
    ASSERT_THAT(RuntimeCalls("KorSyncWriteReq"), SizeIs(1));
    EXPECT_TRUE(RuntimeCalls("KorSyncWriteReq")[0].ends_with("03000000ff0000000000"));
}

TEST_F(ObjectZelmoraTest, ClosesThePortOfARefusedNetId) {
    SetScenario(std::string(RUNTIME) + "[runtime failures]\n10000:200 = 0x70b\n");
    ASSERT_EQ(Create(), OBJ_E_NOERR);
    EXPECT_EQ(Write(0x8001, 4, "1.2.3.4.5.6"), 0xECA8070BU);
    EXPECT_EQ(RuntimeCalls().back(), "KorPortClose");
}

TEST_F(ObjectZelmoraTest, TheFirstGoodReadOfTheVersionIsKept) {
    ASSERT_EQ(Create(), OBJ_E_NOERR);
    EXPECT_EQ(Read(0x8001, 1), (TAnswer{0, Bytes("03 00")}));
    EXPECT_EQ(Read(0x8001, 12), (TAnswer{0, Bytes("29 00")}));
    EXPECT_EQ(Read(0x8001, 4).result, OBJ_E_NOERR);
    SetScenario("[runtime]\nversion = 4.2.1\nnet_id = 9.9.9.9.9.9\nfull_revision = 1\n");
    EXPECT_EQ(Read(0x8001, 1), (TAnswer{0, Bytes("03 00")}));
    EXPECT_EQ(Read(0x8001, 12), (TAnswer{0, Bytes("29 00")}));
    EXPECT_EQ(Read(0x8001, 4).bytes.c_str(), std::string("5.8.15.47.1.1"));
    EXPECT_THAT(RuntimeCalls(), IsEmpty());
    EXPECT_EQ(Read(0x8001, 2), (TAnswer{0, Bytes("02 00")})); // was not read before
}

TEST_F(ObjectZelmoraTest, NothingBehindThePortIsStateSix) {
    ASSERT_EQ(Create(), OBJ_E_NOERR);
    ASSERT_EQ(Read(0x8001, 6), (TAnswer{0, Bytes("05 00")}));
    SetScenario(std::string(RUNTIME) + "router = down\n");
    EXPECT_EQ(Read(0x8001, 6), (TAnswer{0, Bytes("06 00")}));
    EXPECT_EQ(RuntimeCalls().back(), "KorPortClose");
}

TEST_F(ObjectZelmoraTest, APositiveErrorOfTheStateIsNoFailureAndKeepsThePort) {
    SetScenario(std::string(RUNTIME) + "[runtime failures]\nKorSyncReadStateReq = 1861\n");
    ASSERT_EQ(Create(), OBJ_E_NOERR);
    EXPECT_EQ(Read(0x8001, 6), (TAnswer{0, Bytes("00 00")}));
    EXPECT_THAT(RuntimeCalls("KorPortClose"), IsEmpty());
}

TEST_F(ObjectZelmoraTest, ANegativeErrorOfTheStateIsMappedAndClosesThePort) {
    SetScenario(std::string(RUNTIME) + "[runtime failures]\nKorSyncReadStateReq = -2\n");
    ASSERT_EQ(Create(), OBJ_E_NOERR);
    EXPECT_EQ(Read(0x8001, 6).result, 0xECA8FFFEU);
    EXPECT_EQ(RuntimeCalls().back(), "KorPortClose");
}

TEST_F(ObjectZelmoraTest, AFailedRequestClosesThePortAndTheNextOneOpensAFreshOne) {
    ASSERT_EQ(Create(), OBJ_E_NOERR);
    Read(0x8001, 6);
    ASSERT_TRUE(
        Soon([] { return !RuntimeCalls("KorMirnRegisterRouterNotificationEx2").empty(); })); // the watch is quiet
    SetScenario(std::string(RUNTIME) + "[runtime failures]\n1:1 = 0x745\n");
    EXPECT_EQ(Read(0x8009, 1).result, 0xECA80745U);
    EXPECT_THAT(RuntimeCalls(), ElementsAre("KorSyncReadReq 1:1 1 32", "KorPortClose"));
    SetScenario(RUNTIME);
    EXPECT_EQ(Read(0x8009, 3), (TAnswer{0, Bytes("03 00 00 00")}));
    EXPECT_THAT(RuntimeCalls(), ElementsAre("KorPortOpen", "KorSyncSetTimeout 500", "KorGetLocalAddress",
                                            "KorSyncReadDeviceInfoReq 10000", "KorSyncReadReq 1:1 1 32"));
}

TEST_F(ObjectZelmoraTest, AVersionThatFailsWhileThePortOpensLeavesThePortToItsRequest) {
    SetScenario(std::string(RUNTIME) + "[runtime failures]\nKorSyncReadDeviceInfoReq = 0x745\n");
    ASSERT_EQ(Create(), OBJ_E_NOERR);
    Read(0x8001, 1); // wakes the module; its version requests fail and close the port
    SetScenario(std::string(RUNTIME) + "[runtime failures]\nKorSyncReadDeviceInfoReq = 0x745\n#\n");
    Read(0x8001, 1);
    SetScenario(std::string(RUNTIME) + "[runtime failures]\nKorSyncReadDeviceInfoReq = 0x745\n##\n");
    EXPECT_EQ(Read(0x8009, 3), (TAnswer{0, Bytes("03 00 00 00")}));
    EXPECT_THAT(RuntimeCalls("KorPortClose"), IsEmpty());
}

TEST_F(ObjectZelmoraTest, TheSystemIdDependsOnTheGeneration) {
    SetScenario("[runtime]\nversion = 2.11.2250\n");
    ASSERT_EQ(Create(), OBJ_E_NOERR);
    EXPECT_EQ(Read(0x8001, 11), (TAnswer{0, R"(????-????-???)"}));
    EXPECT_STREQ(REG_ZELMORA_SYSTEM, "SOFTWARE\\Vorthane\\Zelmora\\System");

    // A newer runtime comes up: the id follows it, the keys stay.
    Sleep();
    SetScenario("[runtime]\nversion = 3.1.4024\n");
    EXPECT_EQ(Read(0x8001, 11), (TAnswer{0, R"(????????-????-????-????-????????????)"}));
    EXPECT_STREQ(REG_ZELMORA_SYSTEM, "SOFTWARE\\Vorthane\\Zelmora\\System");
}

TEST_F(ObjectZelmoraTest, KeysOfAProcessThatFirstWokeWithoutTheRuntimeStay) {
    SetScenario("[runtime]\nrouter = down\n");
    ASSERT_EQ(Create(), OBJ_E_NOERR);
    EXPECT_EQ(Read(0x8001, 11).result, OBJ_E_NODATA);
    SetScenario(RUNTIME);
    EXPECT_EQ(Write(0x8001, 4, "1.2.3.4.5.6"), OBJ_E_NOERR);
    EXPECT_STREQ(REG_ZELMORA_SYSTEM, "SOFTWARE\\Vorthane\\Zelmora\\System");
}

TEST_F(ObjectZelmoraTest, OneObjectStaysWhenTheModuleSleeps) {
    ASSERT_EQ(Create(), OBJ_E_NOERR);
    ASSERT_EQ(Read(0x8001, 1).result, OBJ_E_NOERR);
    ASSERT_NE(GetZmHelper(), nullptr);
    Sleep();
    EXPECT_EQ(GetZmHelper(), nullptr);
    for (const unsigned short index :
         std::initializer_list<unsigned short>{0x8001, 0x8002, 0x8007, 0x8008, 0x8009, 0xB000, 0xB001}) {
        EXPECT_FALSE(Dictionary().GetObjectRef(index)) << std::hex << index;
    }
    EXPECT_TRUE(Dictionary().GetObjectRef(HEADER));
    EXPECT_TRUE(Dictionary().GetObjectRef(0x800A));
    // It wakes as before, with that object in place.
    EXPECT_EQ(Read(0x800A, 1).result, OBJ_E_NOTSUPPORTED);
    EXPECT_EQ(Read(0x8001, 1), (TAnswer{0, Bytes("03 00")}));
}

TEST_F(ObjectZelmoraTest, TellsTheRoutesWithTheirSubRoutes) {
    SetScenario(std::string(RUNTIME) + TWO_ROUTES);
    ASSERT_EQ(Create(), OBJ_E_NOERR);
    EXPECT_EQ(Read(0x8002, 0, true), (TAnswer{0, Bytes("04 00") + "alphabetabeta/onebeta/two"}));
    EXPECT_EQ(Read(0x8003, 0, true), (TAnswer{0, Bytes("04 00") + "192.168.10.5beta.examplebeta.examplebeta.example"}));
    EXPECT_EQ(Read(0x8004, 0, true), (TAnswer{0, Bytes("04 00") + "1.2.3.4.1.19.8.7.6.1.19.8.7.6.2.19.8.7.6.3.1"}));
    EXPECT_EQ(Read(0x8005, 0, true), (TAnswer{0, Bytes("04 00  20 00 00 00  21 00 00 00  40 00 00 00  41 00 00 00")}));
    EXPECT_EQ(Read(0x8006, 0, true), (TAnswer{0, Bytes("04 00  88 13 00 00  d0 07 00 00  d0 07 00 00  d0 07 00 00")}));
    EXPECT_EQ(Read(0x8007, 0, true), (TAnswer{0, Bytes("04 00  01 00  07 00  07 00  07 00")}));

    // Meant: the array tells another type than its elements.
    unsigned char code = 0;
    unsigned short type = 0;
    EXPECT_EQ(Dictionary().GetObjDescription(0x8007, 0, &code, &type, nullptr, nullptr, nullptr), OBJ_E_NOERR);
    EXPECT_EQ(type, TYPE_UNSIGNED16);
    EXPECT_EQ(Dictionary().GetObjectRef(0x8007)->GetItem(1)->type, TYPE_UNSIGNED32);
    EXPECT_EQ(Dictionary().GetObjectRef(0x8007)->GetItem(1)->size, 2U);

    auto names = Dictionary().GetObjectRef(0x8002);
    EXPECT_EQ(static_cast<Zelmora::CObj0x8nn2&>(*names).IndexOf("beta/one"), 3);
    EXPECT_EQ(static_cast<Zelmora::CObj0x8nn2&>(*names).IndexOf("bet"), 0);
}

TEST_F(ObjectZelmoraTest, ARouterWithoutRoutesHasEmptyTables) {
    ASSERT_EQ(Create(), OBJ_E_NOERR);
    for (unsigned short index = 0x8002; index <= 0x8007; ++index) {
        EXPECT_EQ(Read(index, 0), (TAnswer{0, Bytes("00 00")}));
    }
}

TEST_F(ObjectZelmoraTest, AListOfRoutesThatNeverEndsIsCut) {
    SetScenario(std::string(RUNTIME) + "endless_routes = yes\n[route r]\naddress = a\n");
    ASSERT_EQ(Create(), OBJ_E_NOERR);
    EXPECT_EQ(Read(0x8002, 0), (TAnswer{0, Bytes("fe 00")})); // 254 elements are all that an array holds
    EXPECT_THAT(RuntimeCalls("KorSyncReadReq 10000:803"), SizeIs(256));

    // One that gives nothing but records without a route has an end, too: what is empty is a route like others.
    Sleep();
    SetScenario(std::string(RUNTIME) + "endless_routes = yes\n[route r]\nrecord = ff\n");
    EXPECT_EQ(Read(0x8002, 0), (TAnswer{0, Bytes("fe 00")}));
}

TEST_F(ObjectZelmoraTest, AddsARouteAndReadsTheListAnew) {
    ASSERT_EQ(Create(), OBJ_E_NOERR);
    EXPECT_EQ(RunService(ADD_ROUTE, AddRequest("mach", "10.0.0.7")), (TAnswer{0, DONE}));
    EXPECT_THAT(RuntimeCalls("KorSyncWriteReq"),
                ElementsAre("KorSyncWriteReq 10000:801 0 0a0b0c0d0e0f01002000000088130000"
                            "000000000000000000000000000000000900000005000000000000003130"
                            "2e302e302e37006d61636800"));
    EXPECT_EQ(Read(0x8002, 1), (TAnswer{0, "mach"}));
    EXPECT_EQ(Read(0x8003, 1), (TAnswer{0, "10.0.0.7"}));
    EXPECT_EQ(Read(0x8004, 1), (TAnswer{0, "10.11.12.13.14.15"}));
    EXPECT_EQ(Read(0x8005, 1), (TAnswer{0, Bytes("20 00 00 00")}));
    EXPECT_EQ(Read(0x8006, 1), (TAnswer{0, Bytes("88 13 00 00")}));
    EXPECT_EQ(Read(0x8007, 1), (TAnswer{0, Bytes("01 00")}));

    EXPECT_EQ(RunService(DELETE_ROUTE, DeleteRequest("mach")), (TAnswer{0, DONE}));
    EXPECT_EQ(RuntimeCalls("KorSyncWriteReq").back(), "KorSyncWriteReq 10000:802 0 6d61636800");
    EXPECT_EQ(Read(0x8002, 0), (TAnswer{0, Bytes("00 00")}));
}

TEST_F(ObjectZelmoraTest, ASlashInTheNameOfAnAddedRouteBecomesABackslash) {
    ASSERT_EQ(Create(), OBJ_E_NOERR);
    EXPECT_EQ(RunService(ADD_ROUTE, AddRequest("a/b", "h")), (TAnswer{0, DONE}));
    EXPECT_EQ(Read(0x8002, 1), (TAnswer{0, "a\\b"}));
    // It stays when a route is deleted: there is none of that name.
    EXPECT_EQ(RunService(DELETE_ROUTE, DeleteRequest("a/b")), (TAnswer{0, FAILED + Bytes("0c 07 a8 ec")}));
    EXPECT_EQ(RunService(DELETE_ROUTE, DeleteRequest("a\\b")), (TAnswer{0, DONE}));
}

TEST_F(ObjectZelmoraTest, RefusesRecordsOfRoutesThatDoNotFit) {
    ASSERT_EQ(Create(), OBJ_E_NOERR);
    const TAnswer refused{0, FAILED + Bytes("06 01 a6 ec")};
    EXPECT_EQ(RunService(ADD_ROUTE, ""), refused);
    EXPECT_EQ(RunService(ADD_ROUTE, std::string(27, '\0')), refused);
    EXPECT_EQ(RunService(ADD_ROUTE, AddRequest("name", "host", 28 + 8 + 1)), refused);
    EXPECT_EQ(RunService(ADD_ROUTE, AddRequest("name", "host", 28 + 8 - 1)), refused);
    EXPECT_EQ(RunService(ADD_ROUTE, AddRequest(std::string(1025, 'n'), "h")), refused);
    EXPECT_EQ(RunService(ADD_ROUTE, AddRequest("n", std::string(1025, 'h'))), refused);
    const std::string cut = AddRequest("name", "host");
    EXPECT_EQ(RunService(ADD_ROUTE, cut.substr(0, cut.size() - 1)), refused);
    EXPECT_EQ(RunService(ADD_ROUTE, Bytes("1b 00 00 00") + std::string(16, '\0') + Bytes("ff ff ff ff  00 00 00 00")),
              refused);

    EXPECT_EQ(RunService(DELETE_ROUTE, ""), refused);
    EXPECT_EQ(RunService(DELETE_ROUTE, Bytes("05 00 00 00") + "name"), refused);
    EXPECT_EQ(RunService(DELETE_ROUTE, DeleteRequest(std::string(1025, 'n'))), refused);
    EXPECT_EQ(RunService(DELETE_ROUTE, Bytes("ff ff ff ff") + "name"), refused);
    EXPECT_THAT(RuntimeCalls("KorSyncWriteReq"), IsEmpty());

    EXPECT_EQ(RunService(ADD_ROUTE, AddRequest(std::string(1024, 'n'), "h")), (TAnswer{0, DONE}));
}

TEST_F(ObjectZelmoraTest, ARouteThatTheRouterRefusesKeepsThePortAndTheTables) {
    SetScenario(std::string(RUNTIME) + TWO_ROUTES + "[runtime failures]\n10000:801 = 1807\n");
    ASSERT_EQ(Create(), OBJ_E_NOERR);
    EXPECT_EQ(RunService(ADD_ROUTE, AddRequest("a", "b")), (TAnswer{0, FAILED + Bytes("20 04 af ec")}));
    EXPECT_THAT(RuntimeCalls("KorPortClose"), IsEmpty());
    EXPECT_EQ(Read(0x8002, 0), (TAnswer{0, Bytes("04 00")}));

    SetScenario(std::string(RUNTIME) + TWO_ROUTES + "[runtime failures]\n10000:801 = 1808\n");
    EXPECT_EQ(RunService(ADD_ROUTE, AddRequest("a", "b")), (TAnswer{0, FAILED + Bytes("10 07 a8 ec")}));
    EXPECT_EQ(RuntimeCalls().back(), "KorPortClose");
}

TEST_F(ObjectZelmoraTest, WhatTheRuntimeSeesOfAModuleThatSleepsIsAClosedPort) {
    ASSERT_EQ(Create(), OBJ_E_NOERR);
    ASSERT_EQ(Read(0x8001, 6).result, OBJ_E_NOERR);
    SetScenario(RUNTIME);
    Sleep();
    EXPECT_TRUE(Soon([] { return RuntimeCalls("KorPortClose").size() == 1; }));
}

TEST_F(ObjectZelmoraTest, TheWatchThatFindsTheRuntimeUpSeesNoChange) {
    const auto log = LogOf({LOG_SEVERITY_PROGRESS}, [this] {
        ASSERT_EQ(Create(), OBJ_E_NOERR);
        ASSERT_TRUE(Soon([] { return pZmStatus.load()->WaitForWorkers(0); }));
        EXPECT_EQ(Read(0x8001, 13).result, OBJ_E_NODATA);
    });
    EXPECT_THAT(log, ElementsAre(testing::StartsWith("None: MyKorPortOpenEx port opened: "),
                                 testing::StartsWith("None: CZelmoraStatusWatch port opened: "),
                                 testing::StartsWith("None: InitZmStatusWatchWorker finished: Status is OK! Port: "),
                                 "None: CZelmoraStatusWatch::GetLastZelmoraStatusChange: No Zm status change, yet."));
}

TEST_F(ObjectZelmoraTest, EventsOfTheRouterAreChanges) {
    SetScenario(std::string(RUNTIME) + "event = 0 0\n");
    ASSERT_EQ(Create(), OBJ_E_NOERR);
    ASSERT_TRUE(Soon([] { return pZmStatus.load()->WaitForWorkers(0); }));

    // 0 and others are no news.
    SetScenario(std::string(RUNTIME) + "event = 1 0\n");
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(Read(0x8001, 13).result, OBJ_E_NODATA);

    // 1: it has started. No worker has anything to do.
    SetScenario(std::string(RUNTIME) + "event = 2 1\n");
    EXPECT_TRUE(Soon([this] { return Read(0x8001, 13).result == OBJ_E_NOERR; }));
    EXPECT_EQ(Read(0x8001, 13).bytes.size(), 8U);
    EXPECT_THAT(RuntimeCalls("KorMirnRegisterRouterNotificationEx2"), IsEmpty());

    // 2: it has gone, and the registration with it.
    SetScenario(std::string(RUNTIME) + "event = 3 2\n");
    EXPECT_TRUE(Soon([] { return RuntimeCalls("KorMirnRegisterRouterNotificationEx2").size() == 1; }));
    std::vector<std::string> names;
    for (const std::string& call : RuntimeCalls()) {
        names.push_back(call.substr(0, call.find(' ')));
    }
    const std::vector<std::string> anew{"KorMirnUnRegisterRouterNotificationEx", "KorPortCloseEx", "KorPortOpenEx",
                                        "KorGetLocalAddressEx", "KorMirnRegisterRouterNotificationEx2"};
    EXPECT_NE(std::search(names.begin(), names.end(), anew.begin(), anew.end()), names.end());
}

TEST_F(ObjectZelmoraTest, ARouterThatGoesIsAChangeAlsoWhereNobodyCanRegisterAnew) {
    ASSERT_EQ(Create(), OBJ_E_NOERR);
    ASSERT_TRUE(Soon([] { return pZmStatus.load()->WaitForWorkers(0); }));
    SetScenario(std::string(RUNTIME) + "[runtime failures]\nKorPortOpenEx = 1\n");
    CZelmoraStatusWatch::MirnRouterNotificationFuncEx3(2, pZmStatus.load());
    EXPECT_EQ(Read(0x8001, 13).result, OBJ_E_NOERR);
    EXPECT_TRUE(Soon([] { return !RuntimeCalls("KorPortOpenEx").empty(); }));
    EXPECT_THAT(RuntimeCalls("KorMirnRegisterRouterNotificationEx2"), IsEmpty());
}

TEST_F(ObjectZelmoraTest, TheOlderFormOfTheCallbackTakesTheSameSteps) {
    ASSERT_EQ(Create(), OBJ_E_NOERR);
    ASSERT_TRUE(Soon([] { return pZmStatus.load()->WaitForWorkers(0); }));
    SetScenario(RUNTIME);
    const auto log = LogOf({LOG_SEVERITY_PROGRESS}, [this] {
        CZelmoraStatusWatch::MirnRouterNotificationFuncEx2(0, 0);
        CZelmoraStatusWatch::MirnRouterNotificationFuncEx2(1, 0);
        EXPECT_EQ(Read(0x8001, 13).result, OBJ_E_NOERR);
        EXPECT_TRUE(pZmStatus.load()->WaitForWorkers(0)) << "there is nothing to do for a worker";
        CZelmoraStatusWatch::MirnRouterNotificationFuncEx2(2, 0);
        EXPECT_TRUE(Soon([] { return RuntimeCalls("KorMirnRegisterRouterNotificationEx2").size() == 1; }));
        EXPECT_TRUE(Soon([] { return pZmStatus.load()->WaitForWorkers(0); }));
    });
    EXPECT_THAT(RuntimeCalls("KorMirnUnRegisterRouterNotificationEx"), SizeIs(1));
    for (const char* event : {"0", "1", "2"}) {
        EXPECT_THAT(log, Contains(std::string("None: MirnRouterNotificationFuncEx2 callback (old) nEvent: ") + event));
    }
}

TEST_F(ObjectZelmoraTest, TheWatchKeepsTryingUntilTheRuntimeIsThereAndThatIsAChange) {
    RemoveRuntimeLibrary();
    const auto log = LogOf({LOG_SEVERITY_PROGRESS}, [this] {
        ASSERT_EQ(Create(), OBJ_E_NOERR);
        std::this_thread::sleep_for(1200ms);
        EXPECT_FALSE(pZmStatus.load()->WaitForWorkers(0));
        InstallRuntimeLibrary(PLAIN);
        EXPECT_TRUE(Soon([] { return pZmStatus.load()->WaitForWorkers(0); }));
        const TAnswer seconds = Read(0x8001, 13);
        EXPECT_EQ(seconds.result, OBJ_E_NOERR);
        EXPECT_EQ(seconds.bytes.substr(1), std::string(7, '\0'));
        EXPECT_LT(seconds.bytes[0], 60);
    });
    EXPECT_THAT(log, Contains("None: CZelmoraStatusWatch KorPortOpen failed: 0xECA8FFFF "));
    EXPECT_THAT(log, Contains("None: InitZmStatusWatchWorker Status: -324468737! try again..."));
    EXPECT_THAT(log, Contains(testing::StartsWith("None: InitZmStatusWatchWorker finished: Status is OK! Port: ")));
}

TEST_F(ObjectZelmoraTest, ARegistrationThatFailsIsTriedAgainOnAFreshPort) {
    SetScenario(std::string(RUNTIME) + "[runtime failures]\nKorMirnRegisterRouterNotificationEx2 = 7\n");
    const auto log = LogOf({LOG_SEVERITY_PROGRESS}, [] {
        ASSERT_EQ(Create(), OBJ_E_NOERR);
        EXPECT_TRUE(Soon([] { return RuntimeCalls("KorMirnRegisterRouterNotificationEx2").size() == 2; }));
    });
    EXPECT_THAT(log, Contains("None: KorMirnRegisterRouterNotificationEx2 failed: 0x7"));
    EXPECT_THAT(log, Contains("None: InitZmStatusWatchWorker Status: 7! try again..."));
    EXPECT_THAT(log, Contains("None: CZelmoraStatusWatch::Deinitialized."));
    EXPECT_THAT(RuntimeCalls("KorMirnUnRegisterRouterNotificationEx"), IsEmpty());
    EXPECT_THAT(RuntimeCalls("KorPortCloseEx"), SizeIs(1));
}

TEST_F(ObjectZelmoraTest, TheStopEndsAWatchThatStillTries) {
    RemoveRuntimeLibrary();
    const auto log = LogOf({LOG_SEVERITY_PROGRESS}, [] {
        ASSERT_EQ(Create(), OBJ_E_NOERR);
        std::this_thread::sleep_for(50ms);
        Destroy();
        EXPECT_EQ(pZmStatus, nullptr);
    });
    EXPECT_THAT(log, Contains("None: InitZmStatusWatchWorker stopped: Sylvarin is closing!"));
    EXPECT_EQ(Read(0x8001, 13).result, OBJ_E_NOTSUPPORTED);
}

TEST_F(ObjectZelmoraTest, TheStopWaitsForWhatTheSleepLeftToItsThread) {
    SetScenario(std::string(RUNTIME) + "[runtime delays]\nKorPortClose = 400\n");
    ASSERT_EQ(Create(), OBJ_E_NOERR);
    ASSERT_EQ(Read(0x8001, 1).result, OBJ_E_NOERR);
    const auto start = std::chrono::steady_clock::now();
    Sleep();
    Destroy();
    EXPECT_GE(std::chrono::steady_clock::now() - start, 400ms);
}

TEST_F(ObjectZelmoraTest, ALibraryThatHangsDelaysTheStopNoLongerThanTwoSeconds) {
    SetScenario(std::string(RUNTIME) + "[runtime delays]\nKorMirnRegisterRouterNotificationEx2 = 6000\n");
    ASSERT_EQ(Create(), OBJ_E_NOERR);
    ASSERT_TRUE(Soon([] { return RuntimeCalls("KorMirnRegisterRouterNotificationEx2").size() == 1; }));
    const auto start = std::chrono::steady_clock::now();
    Destroy();
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s); // it would be six
    // The worker that was left behind ends by itself; the test's logger must outlive it.
    ASSERT_TRUE(Soon([] { return !RuntimeCalls("KorMirnRegisterRouterNotificationEx2").empty(); }));
    std::this_thread::sleep_for(6s);
}

TEST(CZelmoraStatusWatchTest, AWorkerWithoutAWatchFails) {
    EXPECT_EQ(InitZmStatusWatchWorker(nullptr), OBJ_E_FAILED);
    EXPECT_EQ(InitZmStatusWatchAsync(nullptr), nullptr);
}

TEST(ZelmoraTest, HasNoIdsOfOlderGenerations) {
    std::string id = "x";
    char text[] = "x";
    EXPECT_EQ(QuerySysId(id), 0);
    EXPECT_EQ(QuerySysId(text, sizeof text), 0);
    EXPECT_EQ(QuerySysIdZm3(id), 0); // the module sleeps
    EXPECT_EQ(IsZmInstalled(), 1);
    EXPECT_EQ(CZelmora::SetDriverFlags(nullptr, 0), OBJ_E_NOERR);
}
