#include "modules/ObjectOperatingSystem.h"

#include <sys/utsname.h>

#include <cstring>

#include "FakeHost.h"
#include "ModuleTest.h"

namespace {

constexpr unsigned short HEADER = 0x8000;
constexpr unsigned short VERSION = 0x8001;
constexpr unsigned short STATUS = 0x8002;

class ObjectOperatingSystem : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        FakeHost::uptime = 0x0102030405;
    }
};

TEST_F(ObjectOperatingSystem, CreateMakesHeaderAndRecordsAndRegistersTheModule) {
    EXPECT_EQ(MDPOperatingSystem::Create(), OBJ_E_NOERR);
    EXPECT_EQ(Read(HEADER, 1), (TAnswer{0, Bytes("00 00 18 00")}));
    EXPECT_EQ(Read(HEADER, 2), (TAnswer{0, "OperatingSystem"}));
    EXPECT_EQ(Read(HEADER, 3), (TAnswer{0, "Zelmora/BSD"}));
    EXPECT_EQ(Read(HEADER, 4), (TAnswer{0, Bytes("10 27 18 00")}));
    EXPECT_EQ(Read(0xF060, 1), (TAnswer{0, "Zelmora/BSD"}));
    EXPECT_EQ(Dictionary().GetObjectRef(HEADER)->NameId(), 1210);
    EXPECT_EQ(Dictionary().GetObjectRef(VERSION)->NameId(), 1211);
    EXPECT_EQ(Dictionary().GetObjectRef(STATUS)->NameId(), 1212);
    EXPECT_EQ(Dictionary().GetObjectRef(VERSION)->ObjectCode(), 9U);
    EXPECT_EQ(Dictionary().GetObjectRef(STATUS)->ObjectCode(), 9U);
}

TEST_F(ObjectOperatingSystem, VersionRecordTellsVersionBuildAndText) {
    _OSVERSIONINFOA version = {};
    version.dwMajorVersion = 13;
    version.dwMinorVersion = 2;
    std::strcpy(version.szCSDVersion, "Zelmora/BSD");
    auto* record = new MDPOperatingSystem::COsObj0x8nn1;
    EXPECT_EQ(record->Init(VERSION, version, 1211), OBJ_E_NOERR);
    ASSERT_EQ(Dictionary().AddObject(record), OBJ_E_NOERR);

    EXPECT_EQ(Read(VERSION, 0, true),
              (TAnswer{0, Bytes("04 00  0d 00 00 00  02 00 00 00  00 00 00 00") + "Zelmora/BSD"}));
    const std::uint16_t types[] = {5, 7, 7, 7, 9};
    const std::int64_t nameIds[] = {104, 10100, 10101, 10102, 10103};
    for (unsigned char sub = 0; sub < 5; ++sub) {
        EXPECT_EQ(record->GetItem(sub)->type, types[sub]);
        EXPECT_EQ(record->GetItem(sub)->access, 1U);
        EXPECT_EQ(record->GetItem(sub)->nameId, nameIds[sub]);
    }
}

TEST_F(ObjectOperatingSystem, VersionIsThatOfTheRunningKernel) {
    MDPOperatingSystem::Create();
    utsname system = {};
    ASSERT_EQ(uname(&system), 0);
    const auto major = static_cast<char>(std::atoi(system.release));
    EXPECT_EQ(Read(VERSION, 1), (TAnswer{0, std::string(1, major) + Bytes("00 00 00")}));
}

TEST_F(ObjectOperatingSystem, VersionTextHasAtMost127Characters) {
    _OSVERSIONINFOA version = {};
    std::memset(version.szCSDVersion, 'x', sizeof version.szCSDVersion);
    std::string name;
    EXPECT_EQ(MDPOperatingSystem::GetWinVerName(version, name), OBJ_E_NOERR);
    EXPECT_EQ(name, std::string(127, 'x'));
}

TEST_F(ObjectOperatingSystem, UptimeIsFreshAtEveryReadInEightBytes) {
    MDPOperatingSystem::Create();
    EXPECT_EQ(Read(STATUS, 0), (TAnswer{0, Bytes("01 00")}));
    EXPECT_EQ(Read(STATUS, 1), (TAnswer{0, Bytes("05 04 03 02 01 00 00 00")}));
    FakeHost::uptime = 0x0102030406;
    EXPECT_EQ(Read(STATUS, 1), (TAnswer{0, Bytes("06 04 03 02 01 00 00 00")}));

    const auto record = Dictionary().GetObjectRef(STATUS);
    EXPECT_EQ(record->GetItem(1)->type, 27U);
    EXPECT_EQ(record->GetItem(1)->access, 1U);
    EXPECT_EQ(record->GetItem(1)->nameId, 10110);
    EXPECT_EQ(Write(STATUS, 1, Bytes("00 00 00 00 00 00 00 00")), 0xECA60101);
}

TEST_F(ObjectOperatingSystem, UptimeWithoutAClockIsNoDataAndLogged) {
    MDPOperatingSystem::Create();
    FakeHost::uptime.reset();
    g_pLogger->AddRoute(LOG_SEVERITY_PROGRESS, LOG_TARGET_CONSOLE);
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(Read(STATUS, 1), (TAnswer{0xECA60105, ""}));
    EXPECT_EQ(::testing::internal::GetCapturedStdout(),
              "None: OnRead_UptimeInSeconds - Platform::UptimeInSeconds failed: -324665083\n");
}

} // namespace
