#include "modules/ups/ObjectUPS.h"

#include <gmock/gmock.h>

#include <cerrno>

#include "FakeRuntime.h"
#include "SensorTest.h"
#include "dictionary/ObjHelper.h"
#include "modules/ups/ObjectApcUps.h"
#include "modules/ups/ObjectKUps.h"
#include "modules/ups/ObjectQrUps.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class UpsModule : public SensorTest {
protected:
    static constexpr unsigned short STATE = FIRST + 1;
    static constexpr unsigned short GPIO = FIRST + 2;

    void SetUp() override {
        FakeRuntime::Reset();
        SensorTest::SetUp();
    }

    // The layout that all kinds share: types with the access of reading, and texts.
    void ExpectLayout(unsigned int accessOfTest) {
        const unsigned int types[] = {9, 9, 5, 5, 6, 9, 5, 5, 5, 5, 7, 1, 7, 1, 1, 1, 9, 1};
        const std::int64_t texts[] = {10190, 10191, 10192, 10193, 10194, 10195, 10196, 10197, 10205,
                                      10198, 10199, 10200, 10201, 10202, 10203, 10204, 10209, 10210};
        EXPECT_EQ(Read(STATE, 0), Value("12 00"));
        for (int subIndex = 1; subIndex <= 18; ++subIndex) {
            const unsigned int access = subIndex == 16 ? accessOfTest : 1;
            EXPECT_EQ(AccessOf(STATE, subIndex), types[subIndex - 1] | access << 16) << subIndex;
            EXPECT_EQ(TextOf(STATE, subIndex), texts[subIndex - 1]) << subIndex;
        }
        EXPECT_EQ(Read(GPIO, 0), Value("03 00"));
        for (int subIndex = 1; subIndex <= 3; ++subIndex) {
            EXPECT_EQ(AccessOf(GPIO, subIndex), subIndex == 1 ? 0x10006U : 0x10005U);
            EXPECT_EQ(TextOf(GPIO, subIndex), 10205 + subIndex);
        }
        EXPECT_EQ(TextOf(STATE), 1281);
        EXPECT_EQ(TextOf(GPIO), 1282);
    }
};

class KUpsModule : public UpsModule {
protected:
    void CreateUps(const std::string& state = "C7") {
        FakeDevice::Answer(0x5000, 0x01, Bytes(state));
        FakeDevice::Answer(0x5000, 0x02, Bytes("01 04 1B 00"));
        FakeDevice::Answer(0x5000, 0x03, Bytes("03 00 00 00"));
        FakeDevice::Answer(0x5000, 0x09, "");
        FakeDevice::Answer(0x5000, 0x0A, Bytes("78 00 00 00"));
        FakeDevice::Answer(0x5000, 0xA0, Bytes("34 12 56 78 00 00 00 00"));
        ASSERT_EQ(UPS::Create(), 0U);
    }

    static void TickOnce() { Tick<UPS::CKUpsActivator>(FIRST); }

    // Status, charge and runtime after a tick with this byte of the state.
    std::vector<TAnswer> After(const std::string& byte) {
        FakeDevice::Answer(0x5000, 0x01, Bytes(byte));
        TickOnce();
        return {Read(STATE, 7), Read(STATE, 10), Read(STATE, 11)};
    }
};

class ApcModule : public UpsModule {};

class QrModule : public UpsModule {
protected:
    void Install() {
        FakeRuntime::isInstalled = true;
        FakeRuntime::port = 7;
        FakeRuntime::values[{0x5000, 2}] = Bytes("03 00 00 00");
        FakeRuntime::values[{0x5001, 7}] = Bytes("40 00 00 00");
        FakeRuntime::values[{0x5002, 7}] = Bytes("41 00 00 00");
        FakeRuntime::values[{0x9002, 0x1010}] = Bytes("10");
        FakeRuntime::values[{0x9002, 0x1011}] = Bytes("50");
    }

    // The supply that a client finds.
    static std::pair<ObjResult, std::uint32_t> Find() {
        UPS::CZelmora client;
        client.wrap.LoadDll();
        std::uint32_t id = 0;
        const ObjResult result = client.GetQR3300PowerSupplierID(&id);
        return {result, id};
    }
};

} // namespace

TEST_F(KUpsModule, HeaderTellsTheKindAndNumber) {
    CreateUps();
    EXPECT_EQ(Read(FIRST, 1), Value("00 00 1E 00"));
    EXPECT_EQ(Read(FIRST, 2), Text("UPS"));
    EXPECT_EQ(Read(FIRST, 3), Text("UPS0"));
    EXPECT_EQ(TextOf(FIRST), 1280);
    const auto header = Dictionary().GetObjectRef(FIRST);
    const auto* kupsHeader = dynamic_cast<UPS::CKUpsObj0x8nn0*>(header.Get());
    ASSERT_NE(kupsHeader, nullptr);
    EXPECT_EQ(kupsHeader->kind, UPS::USV_TYPE_KUPS);
}

TEST_F(KUpsModule, WithoutASupplyThereIsNoModule) {
    EXPECT_EQ(UPS::Create(), 0U); // the state cannot be read
    FakeDevice::FailOpen(ENOENT);
    EXPECT_EQ(UPS::Create(), 0U);
    EXPECT_EQ(Read(0xF030, 0), Value("00 00"));
    EXPECT_EQ(CZmVtDevWrapper::RefCounter(), 0);
}

TEST_F(KUpsModule, LayoutIsThatOfAllKinds) {
    CreateUps();
    ExpectLayout(2);
}

TEST_F(KUpsModule, ConstantsAndValuesOfTheActivation) {
    CreateUps();
    EXPECT_EQ(Read(STATE, 1), Text(std::string("K-UPS\0", 6)));
    EXPECT_EQ(Read(STATE, 2), Text(std::string("Vorthane\0", 9)));
    EXPECT_EQ(Read(STATE, 3), Value("01"));
    EXPECT_EQ(Read(STATE, 4), Value("04"));
    EXPECT_EQ(Read(STATE, 5), Value("1B 00"));
    EXPECT_EQ(Read(STATE, 7), Value("01"));
    EXPECT_EQ(Read(STATE, 10), Value("46"));
    EXPECT_EQ(Read(STATE, 11), Value("54 00 00 00"));
    EXPECT_EQ(Read(STATE, 12), Value("01"));
    EXPECT_EQ(Read(STATE, 13), Value("03 00 00 00"));
    for (const int subIndex : {6, 8, 9, 14, 15, 17, 18}) {
        EXPECT_EQ(Read(STATE, subIndex), None(NOT_SUPPORTED)) << subIndex;
    }
    EXPECT_EQ(Read(GPIO, 1), Value("34 12"));
    EXPECT_EQ(Read(GPIO, 2), Value("56"));
    EXPECT_EQ(Read(GPIO, 3), Value("78"));
}

TEST_F(KUpsModule, ValuesThatCannotBeReadAreItemsWithoutThem) {
    CreateUps();
    for (const std::uint32_t offset : {0x01U, 0x02U, 0x03U, 0x0AU, 0xA0U}) {
        FakeDevice::Fail(0x5000, offset, EIO);
    }
    for (const int subIndex : {3, 4, 5, 7, 10, 11, 13}) {
        EXPECT_EQ(Read(STATE, subIndex), None(NO_DATA)) << subIndex;
    }
    for (const int subIndex : {1, 2, 3}) {
        EXPECT_EQ(Read(GPIO, subIndex), None(NO_DATA)) << subIndex;
    }
}

TEST_F(KUpsModule, StateByteTellsStatusAndCharge) {
    CreateUps();
    Read(STATE, 1);
    EXPECT_THAT(After("C7"), ElementsAre(Value("01"), Value("46"), Value("54 00 00 00")));
    EXPECT_THAT(After("D2"), ElementsAre(Value("02"), Value("14"), Value("18 00 00 00")));
    EXPECT_THAT(After("41"), ElementsAre(Value("00"), Value("00"), Value("00 00 00 00")));
    EXPECT_THAT(After("D5"), ElementsAre(Value("02"), Value("32"), Value("3C 00 00 00"))) << "120 at 50 percent is 60";
    EXPECT_THAT(After("C0"), ElementsAre(Value("01"), Value("00"), Value("00 00 00 00")));
}

TEST_F(KUpsModule, RuntimeIsWorkedOutIn32Bits) {
    CreateUps();
    FakeDevice::Answer(0x5000, 0x0A, Bytes("FF FF FF FF"));
    Read(STATE, 1);
    // 0xFFFFFFFF times 50 leaves 0xFFFFFFCE.
    EXPECT_THAT(After("C5"), ElementsAre(Value("01"), Value("32"), Value("28 5C 8F 02")));
}

TEST_F(KUpsModule, SupplyThatGoesSilentLosesItsValuesUntilItIsBack) {
    CreateUps();
    Read(STATE, 7);
    FakeDevice::Fail(0x5000, 0x01, EIO);
    TickOnce();
    EXPECT_EQ(Read(STATE, 7), None(NO_DATA));
    EXPECT_EQ(Read(STATE, 10), None(NO_DATA));
    EXPECT_EQ(Read(STATE, 11), None(NO_DATA));
    EXPECT_EQ(Read(STATE, 3), Value("01"));
    EXPECT_THAT(After("C3"), ElementsAre(Value("01"), Value("1E"), Value("24 00 00 00")));
}

TEST_F(KUpsModule, PowerFailuresAreCountedAtTheRead) {
    CreateUps();
    EXPECT_EQ(Read(STATE, 13), Value("03 00 00 00"));
    FakeDevice::Answer(0x5000, 0x03, Bytes("04 00 00 00"));
    EXPECT_EQ(Read(STATE, 13), Value("04 00 00 00"));
    FakeDevice::Fail(0x5000, 0x03, EIO);
    EXPECT_EQ(Read(STATE, 13), None(NO_DATA));
    FakeDevice::Answer(0x5000, 0x03, Bytes("05 00 00 00"));
    EXPECT_EQ(Read(STATE, 13), Value("05 00 00 00"));
}

TEST_F(KUpsModule, AnythingButZeroStartsACapacityTest) {
    CreateUps();
    Read(STATE, 1);
    const auto starts = [this](const std::string& bytes) {
        FakeDevice::TakeRequests();
        EXPECT_EQ(Write(STATE, 16, bytes), 0U);
        const auto requests = FakeDevice::TakeRequests();
        return std::count(requests.begin(), requests.end(), FakeDevice::TRequest{0x5000, 0x09, ""});
    };
    EXPECT_EQ(starts(Bytes("00")), 0);
    EXPECT_EQ(starts(Bytes("01")), 1);
    EXPECT_EQ(starts(Bytes("00 00 00 00")), 0);
    EXPECT_EQ(starts(Bytes("00 00 00 01")), 1) << "32 bits count";
    EXPECT_EQ(starts(Bytes("00 00 00 00 01")), 0) << "and no more";
    FakeDevice::Fail(0x5000, 0x09, EIO);
    EXPECT_EQ(starts(Bytes("01")), 1) << "what comes of it is not told";
}

TEST_F(KUpsModule, StartOfATestCannotBeRead) {
    CreateUps();
    EXPECT_EQ(Read(STATE, 16), None(0xECA60101));
    EXPECT_EQ(Dictionary().GetObjectRef(STATE)->GetItem(16)->size, 1U);
}

TEST_F(KUpsModule, DeviceThatHasGoneLeavesItemsWithoutValues) {
    CreateUps();
    FakeDevice::FailOpen(ENOENT);
    EXPECT_EQ(Read(STATE, 7), None(NO_DATA));
    EXPECT_EQ(Read(STATE, 13), None(NO_DATA));
    EXPECT_EQ(Read(STATE, 1), Text(std::string("K-UPS\0", 6)));
    EXPECT_EQ(Write(STATE, 16, Bytes("01")), 0U);
    SleepAll();
    EXPECT_EQ(CZmVtDevWrapper::RefCounter(), 0);
    FakeDevice::FailOpen(0);
    EXPECT_EQ(Read(STATE, 7), Value("01"));
}

TEST_F(KUpsModule, TestTellsWhetherThereIsASupply) {
    EXPECT_EQ(UPS::CheckKUps(), NOT_SUPPORTED); // 0x20000701
    FakeDevice::Fail(0x5000, 0x01, 0x20000702);
    EXPECT_EQ(UPS::CheckKUps(), 0xECA70702U);
    FakeDevice::Fail(0x5000, 0x01, EIO);
    EXPECT_EQ(UPS::CheckKUps(), 0xECA70005U);
    FakeDevice::Answer(0x5000, 0x01, Bytes("C7"));
    EXPECT_EQ(UPS::CheckKUps(), 0U);
    FakeDevice::FailOpen(ENOENT);
    EXPECT_EQ(UPS::CheckKUps(), 0xECA70002U);
    CZmVtDevWrapper::LoadDll(); // from here on the device stays lost
    EXPECT_EQ(UPS::CheckKUps(), 0xECA60001U);
    CZmVtDevWrapper::UnloadDll();
}

TEST_F(ApcModule, HasTheLayoutAndNoSourceOfValues) {
    UPS::CreateUps(&Dictionary(), 1, UPS::USV_TYPE_APC);
    EXPECT_EQ(Read(FIRST, 3), Text("UPS1"));
    EXPECT_NE(dynamic_cast<UPS::CUpsObj0x8nn0*>(Dictionary().GetObjectRef(FIRST).Get()), nullptr);
    ExpectLayout(3);
    for (const int subIndex : {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 13, 14, 15, 17, 18}) {
        EXPECT_EQ(Read(STATE, subIndex), None(NO_DATA)) << subIndex;
    }
    EXPECT_EQ(Read(STATE, 12), Value("00"));
    EXPECT_EQ(Read(STATE, 16), None(NOT_SUPPORTED));
    EXPECT_EQ(Write(STATE, 16, Bytes("01")), NOT_SUPPORTED);
    for (const int subIndex : {1, 2, 3}) {
        EXPECT_EQ(Read(GPIO, subIndex), None(NOT_SUPPORTED)) << subIndex;
    }
    SleepAll();
    EXPECT_FALSE(Dictionary().GetObjectRef(STATE));
    EXPECT_FALSE(Dictionary().GetObjectRef(GPIO));
    EXPECT_THAT(FakeDevice::TakeRequests(), IsEmpty());
}

TEST_F(ApcModule, ReadTakesAValueAwayThatAnItemHolds) {
    UPS::CreateUps(&Dictionary(), 1, UPS::USV_TYPE_APC);
    Read(STATE, 1);
    const auto object = Dictionary().GetObjectRef(STATE);
    for (const int subIndex : {7, 8, 9, 10, 11, 13, 14, 15, 18}) {
        TInfoItem* item = object->GetItem(static_cast<unsigned char>(subIndex));
        AllocateBuffer(item, 0);
        EXPECT_EQ(Read(STATE, subIndex), None(NO_DATA)) << subIndex;
        EXPECT_EQ(item->data, nullptr) << subIndex;
    }
}

TEST_F(ApcModule, OperationsClearTheirNumbersAndFail) {
    using A = UPS::CApcObj0x8nn1;
    std::string text = "kept";
    for (auto* operation :
         {A::getVendor, A::getModel, A::getFirmwareRev, A::getSerialNumber, A::getBatteryReplaceDate}) {
        EXPECT_EQ(operation(&text), 0xECA60001U);
    }
    EXPECT_EQ(A::getRegQuery("name", &text), 0xECA60001U);
    EXPECT_EQ(text, "kept");
    for (auto* operation : {A::getPowerStatus, A::getBatteryCapacity, A::getBatteryStatus, A::getFanError,
                            A::getNoBattery, A::getIntervalServiceStatus, A::getCommunicationStatus}) {
        std::uint8_t number = 7;
        EXPECT_EQ(operation(&number), 0xECA60001U);
        EXPECT_EQ(number, 0);
    }
    std::uint32_t number = 7;
    EXPECT_EQ(A::getTotalUPSRuntime(&number), 0xECA60001U);
    EXPECT_EQ(number, 0U);
    number = 7;
    EXPECT_EQ(A::getPowerFailCount(&number), 0xECA60001U);
    EXPECT_EQ(number, 0U);
    number = 7;
    EXPECT_EQ(A::getRegQuery("name", &number), 0xECA60001U);
    EXPECT_EQ(number, 0U);
    EXPECT_EQ(UPS::CheckApcUps(0), NOT_SUPPORTED);
}

TEST_F(QrModule, HasTheLayoutAndItsConstants) {
    Install();
    UPS::CreateUps(&Dictionary(), 2, UPS::USV_TYPE_QR);
    EXPECT_EQ(Read(FIRST, 3), Text("UPS2"));
    ExpectLayout(3);
    EXPECT_EQ(Read(STATE, 1), Text(std::string("QR4470-UPS\0", 11)));
    EXPECT_EQ(Read(STATE, 2), Text(std::string("Vorthane\0", 9)));
    for (const int subIndex : {3, 4, 5, 6, 8, 9, 11, 12, 13, 14, 15, 16, 17, 18}) {
        EXPECT_EQ(Read(STATE, subIndex), None(NOT_SUPPORTED)) << subIndex;
    }
    EXPECT_EQ(Write(STATE, 16, Bytes("01")), NOT_SUPPORTED);
    for (const int subIndex : {1, 2, 3}) {
        EXPECT_EQ(Read(GPIO, subIndex), None(NOT_SUPPORTED)) << subIndex;
    }
}

TEST_F(QrModule, WakesByFindingItsSupplyAndSleepsWithoutAPort) {
    Install();
    UPS::CreateUps(&Dictionary(), 0, UPS::USV_TYPE_QR);
    Read(STATE, 1);
    EXPECT_THAT(FakeRuntime::TakeCalls(), ElementsAre("open", "timeout 500", "read 300 5000:2", "read 300 5001:7",
                                                      "read 300 5002:7", "read 300 9002:1010", "read 300 9002:1011"));
    SleepAll();
    EXPECT_THAT(FakeRuntime::TakeCalls(), ElementsAre("close", "unload"));
    EXPECT_FALSE(Dictionary().GetObjectRef(STATE));
    EXPECT_FALSE(Dictionary().GetObjectRef(GPIO));
}

TEST_F(QrModule, StatusIsTheHighHalfOfItsByte) {
    Install();
    UPS::CreateUps(&Dictionary(), 0, UPS::USV_TYPE_QR);
    const std::pair<const char*, const char*> rows[] = {{"1F", "01"}, {"20", "01"}, {"30", "02"}, {"4F", "02"},
                                                        {"00", "00"}, {"0F", "00"}, {"50", "00"}, {"FF", "00"}};
    for (const auto& [byte, status] : rows) {
        Read(STATE, 1);
        FakeRuntime::values[{0x9002, 0x1010}] = Bytes(byte);
        EXPECT_EQ(Read(STATE, 7), Value(status)) << byte;
    }
    FakeRuntime::values.erase({0x9002, 0x1010});
    EXPECT_EQ(Read(STATE, 7), None(NO_DATA));
}

TEST_F(QrModule, ChargeIsAskedOnlyWithoutAPort) {
    Install();
    UPS::CreateUps(&Dictionary(), 0, UPS::USV_TYPE_QR);
    EXPECT_EQ(Read(STATE, 10), None(NO_DATA));
    SleepAll();
    FakeRuntime::port = 0;
    FakeRuntime::values[{0x9000, 0x1011}] = Bytes("5A");
    EXPECT_EQ(Read(STATE, 10), Value("5A"));
    EXPECT_EQ(Read(STATE, 7), None(NO_DATA));
    FakeRuntime::values.clear();
    EXPECT_EQ(Read(STATE, 10), None(NO_DATA));
}

TEST_F(QrModule, WithoutTheLibraryTheItemsHaveNoValues) {
    UPS::CreateUps(&Dictionary(), 0, UPS::USV_TYPE_QR);
    EXPECT_EQ(Read(STATE, 1), Text(std::string("QR4470-UPS\0", 11)));
    EXPECT_EQ(Read(STATE, 7), None(NO_DATA));
    EXPECT_EQ(Read(STATE, 10), None(NO_DATA));
    EXPECT_EQ(UPS::CheckQrUps(), 0U);
}

TEST_F(QrModule, PortWhoseAddressCannotBeHadCountsAsClosedAndStaysOpen) {
    Install();
    FakeRuntime::addressError = 6;
    UPS::CreateUps(&Dictionary(), 0, UPS::USV_TYPE_QR);
    Read(STATE, 1);
    SleepAll();
    EXPECT_THAT(FakeRuntime::TakeCalls(), ElementsAre("open", "timeout 500", "unload"));
}

TEST_F(QrModule, SupplyIsTheFirstDeviceOfItsType) {
    Install();
    EXPECT_EQ(Find(), std::pair(0U, 2U));
    FakeRuntime::values.erase({0x5001, 7}); // a device that does not answer is passed over
    EXPECT_EQ(Find(), std::pair(0U, 2U));
}

TEST_F(QrModule, SearchFailsWithoutASupply) {
    EXPECT_EQ(Find(), std::pair(0xECA8FFFFU, 0U)) << "without the library";
    Install();
    FakeRuntime::values[{0x9002, 0x1010}] = Bytes("FF");
    EXPECT_EQ(Find(), std::pair(0xECA61000U, 0U)) << "the supply is not there";
    FakeRuntime::values.erase({0x9002, 0x1011});
    EXPECT_EQ(Find(), std::pair(0xECA80001U, 0U));
    FakeRuntime::values[{0x5002, 7}] = Bytes("40 00 00 00");
    EXPECT_EQ(Find(), std::pair(0xECA80001U, 0U)) << "the error of the last device";
    FakeRuntime::values[{0x5003, 7}] = Bytes("40 00 00 00");
    EXPECT_EQ(Find(), std::pair(0xECA61000U, 0U));
    FakeRuntime::values[{0x5000, 2}] = Bytes("00 00 00 00");
    EXPECT_EQ(Find(), std::pair(0xECA61000U, 0U));
    FakeRuntime::values.erase({0x5000, 2});
    EXPECT_EQ(Find(), std::pair(0xECA80001U, 0U));
}

TEST_F(QrModule, TestOpensAsksAndCloses) {
    Install();
    EXPECT_EQ(UPS::CheckQrUps(), 0U);
    const auto calls = FakeRuntime::TakeCalls();
    ASSERT_GE(calls.size(), 4U);
    EXPECT_EQ(calls.front(), "open");
    EXPECT_EQ(calls[1], "timeout 500");
    EXPECT_EQ(calls[calls.size() - 2], "close");
    EXPECT_EQ(calls.back(), "unload");
    FakeRuntime::values.clear();
    EXPECT_EQ(UPS::CheckQrUps(), 0xECA80001U);
}

TEST_F(QrModule, ClientOpensItsPortOnceAndClosesItOnce) {
    Install();
    UPS::CZelmora client;
    EXPECT_TRUE(UPS::CZelmora::IsZmInstalled());
    client.wrap.LoadDll();
    EXPECT_EQ(client.OpenKorPort(), 0U);
    EXPECT_EQ(client.OpenKorPort(), 0U);
    EXPECT_EQ(client.CloseKorPort(), 0U);
    EXPECT_EQ(client.CloseKorPort(), 0U);
    EXPECT_THAT(FakeRuntime::TakeCalls(), ElementsAre("open", "timeout 500", "close"));
    FakeRuntime::port = 0;
    EXPECT_EQ(client.OpenKorPort(), 0xECAF0421U);
    FakeRuntime::port = 7;
    FakeRuntime::addressError = 0x10006;
    EXPECT_EQ(client.OpenKorPort(), 0xECA80006U);
    EXPECT_EQ(client.port, 0);
    FakeRuntime::addressError = 0;
    FakeRuntime::closeError = 0x748;
    EXPECT_EQ(client.OpenKorPort(), 0U);
    EXPECT_EQ(client.CloseKorPort(), 0xECA80748U);
}
