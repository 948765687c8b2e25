#include "modules/ObjectIO.h"

#include <gmock/gmock.h>

#include <cerrno>

#include "SensorTest.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class IoModule : public SensorTest {
protected:
    void CreateSupplies() {
        FakeDevice::Answer(0x4000, 0x21, Bytes("01"));
        FakeDevice::Answer(0x4000, 0x22, "");
        ASSERT_EQ(IO::Create(), 0U);
        FakeDevice::TakeRequests();
    }

    static FakeDevice::TRequest Get(const std::string& digits) { return {0x4000, 0x21, Bytes(digits)}; }

    static FakeDevice::TRequest Set(const std::string& digits) { return {0x4000, 0x22, Bytes(digits)}; }

    static constexpr unsigned short RECORD = 0x8001;
};

} // namespace

TEST_F(IoModule, ObjectsAreThereFromTheStart) {
    CreateSupplies();
    EXPECT_EQ(Read(FIRST, 1), Value("00 00 22 00"));
    EXPECT_EQ(Read(FIRST, 2), Text("IO"));
    EXPECT_EQ(Read(FIRST, 3), Text("IO"));
    EXPECT_EQ(TextOf(FIRST), 1360);
    EXPECT_EQ(TextOf(RECORD), 1361);
    for (int subIndex = 1; subIndex <= 4; ++subIndex) {
        EXPECT_EQ(AccessOf(RECORD, subIndex), 0x30001U);
        EXPECT_EQ(TextOf(RECORD, subIndex), 10299 + subIndex);
    }
    EXPECT_EQ(AccessOf(RECORD, 5), 0U);
}

TEST_F(IoModule, StartAsksOnceWhetherTheSuppliesAreThere) {
    FakeDevice::Answer(0x4000, 0x21, Bytes("01"));
    EXPECT_EQ(IO::Create(), 0U);
    EXPECT_THAT(FakeDevice::TakeRequests(), ElementsAre(Get("02")));
    EXPECT_EQ(CZmVtDevWrapper::RefCounter(), 0);
}

TEST_F(IoModule, HardwareWithoutTheSuppliesHasNoModule) {
    for (const int error : {0x20000701, 0x20000702, 0x20000703}) {
        FakeDevice::Fail(0x4000, 0x21, error);
        EXPECT_EQ(IO::Create(), NOT_SUPPORTED) << std::hex << error;
        EXPECT_FALSE(IO::GetIoSupported());
    }
    FakeDevice::FailOpen(ENOENT);
    EXPECT_EQ(IO::Create(), NOT_SUPPORTED);
    EXPECT_FALSE(IO::GetIoSupported());
    EXPECT_EQ(Read(0xF030, 0), Value("00 00"));
}

TEST_F(IoModule, AnyOtherErrorOfTheQuestionDoesNotStopIt) {
    FakeDevice::Fail(0x4000, 0x21, 5);
    EXPECT_EQ(IO::Create(), 0U);
    EXPECT_TRUE(IO::GetIoSupported());
    EXPECT_EQ(Read(0xF030, 0), Value("01 00"));
    FakeDevice::Fail(0x4000, 0x21, 0x20000801);
    EXPECT_TRUE(IO::CObj0x8nn1::IsSupported());
}

TEST_F(IoModule, EachItemHasItsPortAndChannel) {
    CreateSupplies();
    for (int subIndex = 1; subIndex <= 4; ++subIndex) {
        EXPECT_EQ(Read(RECORD, subIndex), Value("01"));
        EXPECT_EQ(Write(RECORD, subIndex, Bytes("00")), 0U);
    }
    EXPECT_THAT(FakeDevice::TakeRequests(), ElementsAre(Get("02"), Set("02 00"), Get("82"), Set("02 80"), Get("01"),
                                                        Set("01 00"), Get("81"), Set("01 80")));
}

TEST_F(IoModule, AnyByteButZeroSwitchesOn) {
    CreateSupplies();
    EXPECT_EQ(Write(RECORD, 3, Bytes("40")), 0U);
    EXPECT_THAT(FakeDevice::TakeRequests(), ElementsAre(Set("01 01")));
    // The item keeps the byte as it was written: seen where the next read fails without being an error.
    FakeDevice::Fail(0x4000, 0x21, 5);
    EXPECT_EQ(Read(RECORD, 3), Value("40"));
}

TEST_F(IoModule, ErrorThatIsNoFailureAnswersWithWhatTheItemHolds) {
    CreateSupplies();
    FakeDevice::Fail(0x4000, 0x21, 5);
    EXPECT_EQ(Read(RECORD, 1), None(NO_DATA));
    FakeDevice::Answer(0x4000, 0x21, Bytes("01"));
    EXPECT_EQ(Read(RECORD, 1), Value("01"));
    FakeDevice::Fail(0x4000, 0x21, 5);
    EXPECT_EQ(Read(RECORD, 1), Value("01"));
    EXPECT_EQ(IO::OnRead_Us(Dictionary().GetObjectRef(RECORD)->GetItem(1), RECORD, 1), 5U);
}

TEST_F(IoModule, ErrorsOfTheBiosInterfaceReachTheClient) {
    CreateSupplies();
    FakeDevice::Fail(0x4000, 0x21, 0x20000801);
    FakeDevice::Fail(0x4000, 0x22, 0x20000801);
    EXPECT_EQ(Read(RECORD, 2), None(0xECA80801));
    EXPECT_EQ(Write(RECORD, 2, Bytes("01")), 0xECA80801U);
    FakeDevice::Fail(0x4000, 0x21, 0x20000702);
    FakeDevice::Fail(0x4000, 0x22, 0x20000703);
    EXPECT_EQ(Read(RECORD, 2), None(NOT_SUPPORTED));
    EXPECT_EQ(Write(RECORD, 2, Bytes("01")), NOT_SUPPORTED);
}

TEST_F(IoModule, CodesAreMapped) {
    EXPECT_EQ(IO::MapBAPIErrorCode(0), 0U);
    EXPECT_EQ(IO::MapBAPIErrorCode(5), 5U);
    EXPECT_EQ(IO::MapBAPIErrorCode(0x20000700), 0xECA80700U);
    EXPECT_EQ(IO::MapBAPIErrorCode(0x20000701), NOT_SUPPORTED);
    EXPECT_EQ(IO::MapBAPIErrorCode(0x20000703), NOT_SUPPORTED);
    EXPECT_EQ(IO::MapBAPIErrorCode(0x20000704), 0xECA80704U);
    EXPECT_EQ(IO::MapBAPIErrorCode(0x20010701), 0x20010701U);
}

TEST_F(IoModule, EmptyWriteIsRefusedAndSendsNothing) {
    CreateSupplies();
    EXPECT_EQ(Write(RECORD, 1, ""), 0xECA60107U);
    EXPECT_EQ(Write(RECORD, 4, ""), 0xECA60107U);
    EXPECT_THAT(FakeDevice::TakeRequests(), IsEmpty());
}

TEST_F(IoModule, ReadTriggerNeedsAnItem) {
    EXPECT_EQ(IO::OnRead_Us(nullptr, RECORD, 1), 0xECA60107U);
    EXPECT_EQ(IO::OnRead_Up(nullptr, RECORD, 3), 0xECA60107U);
}

TEST_F(IoModule, DeviceIsOpenWhileTheModuleIsInUse) {
    CreateSupplies();
    Read(RECORD, 1);
    EXPECT_EQ(CZmVtDevWrapper::RefCounter(), 1);
    SleepAll();
    EXPECT_EQ(CZmVtDevWrapper::RefCounter(), 0);
    EXPECT_TRUE(Dictionary().GetObjectRef(RECORD)) << "asleep, the record stays";
}

TEST_F(IoModule, DeviceThatHasGoneIsNotSupportedAndItsUseIsGivenBack) {
    CreateSupplies();
    FakeDevice::FailOpen(ENOENT);
    EXPECT_EQ(Read(RECORD, 1), None(NOT_SUPPORTED));
    EXPECT_EQ(Write(RECORD, 1, Bytes("01")), NOT_SUPPORTED);
    EXPECT_EQ(CZmVtDevWrapper::RefCounter(), 1);
    SleepAll();
    EXPECT_EQ(CZmVtDevWrapper::RefCounter(), 0);
    FakeDevice::FailOpen(0);
    EXPECT_EQ(Read(RECORD, 1), Value("01"));
}
