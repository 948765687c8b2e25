#include "runtime/KorSyncWrap.h"

#include <gtest/gtest.h>

#include "../common/LogOf.h"
#include "RuntimeLibrary.h"

namespace {

constexpr const char* UP = "[runtime]\nnet_id = 5.8.15.47.1.1\n";

void IgnoreEvent(int /*event*/, void* /*user*/) {}

void IgnoreOldEvent(int /*event*/, std::uint32_t /*user*/) {}

class KorSyncWrapTest : public testing::Test {
protected:
    void SetUp() override { g_pLogger = &m_logger; }

    void TearDown() override { g_pLogger = nullptr; }

    CLogger m_logger;
};

} // namespace

TEST_F(KorSyncWrapTest, GivesMinusOneForEverythingWithoutTheLibrary) {
    RemoveRuntimeLibrary();
    CKorSyncWrap wrap;
    MirnAddr address{};
    char name[16];
    KorVersion version{};
    std::uint16_t state = 0;
    std::uint32_t number = 0;
    EXPECT_EQ(wrap.LoadDll(), 0);
    EXPECT_EQ(wrap.KorGetDllVersion(), -1);
    EXPECT_EQ(wrap.KorPortOpen(), -1);
    EXPECT_EQ(wrap.KorPortClose(), -1);
    EXPECT_EQ(wrap.KorGetLocalAddress(&address), -1);
    EXPECT_EQ(wrap.KorSyncWriteReq(&address, 1, 2, 0, nullptr), -1);
    EXPECT_EQ(wrap.KorSyncReadReq(&address, 1, 2, 0, nullptr), -1);
    EXPECT_EQ(wrap.KorSyncReadReqEx(&address, 1, 2, 0, nullptr, &number), -1);
    EXPECT_EQ(wrap.KorSyncReadWriteReq(&address, 1, 2, 0, nullptr, 0, nullptr), -1);
    EXPECT_EQ(wrap.KorSyncReadWriteReqEx(&address, 1, 2, 0, nullptr, 0, nullptr, &number), -1);
    EXPECT_EQ(wrap.KorSyncReadDeviceInfoReq(&address, name, &version), -1);
    EXPECT_EQ(wrap.KorSyncWriteControlReq(&address, 1, 2, 0, nullptr), -1);
    EXPECT_EQ(wrap.KorSyncReadStateReq(&address, &state, &state), -1);
    EXPECT_EQ(wrap.KorSyncAddDeviceNotificationReq(&address, 1, 2, nullptr, nullptr, 0, &number), -1);
    EXPECT_EQ(wrap.KorSyncDelDeviceNotificationReq(&address, 1), -1);
    EXPECT_EQ(wrap.KorSyncSetTimeout(500), -1);
    EXPECT_EQ(wrap.KorGetLastError(), -1);
    EXPECT_EQ(wrap.KorMirnRegisterRouterNotification(nullptr), -1);
    EXPECT_EQ(wrap.KorMirnUnRegisterRouterNotification(), -1);
    EXPECT_EQ(wrap.KorPortOpenEx(), -1);
    EXPECT_EQ(wrap.KorPortCloseEx(1), -1);
    EXPECT_EQ(wrap.KorGetLocalAddressEx(1, &address), -1);
    EXPECT_EQ(wrap.KorMirnRegisterRouterNotificationEx(1, IgnoreOldEvent, 0), -1);
    EXPECT_EQ(wrap.KorMirnRegisterRouterNotificationEx2(1, IgnoreEvent, nullptr), -1);
    EXPECT_EQ(wrap.KorMirnUnRegisterRouterNotificationEx(1), -1);
}

TEST_F(KorSyncWrapTest, ForwardsToTheLibrary) {
    InstallRuntimeLibrary(PLAIN);
    SetScenario(UP);
    CKorSyncWrap wrap;
    ASSERT_EQ(wrap.LoadDll(), 1);
    EXPECT_EQ(wrap.KorGetDllVersion(), 0x00010203);
    const std::int32_t port = wrap.KorPortOpenEx();
    EXPECT_GT(port, 0);
    MirnAddr address{};
    EXPECT_EQ(wrap.KorGetLocalAddressEx(port, &address), 0);
    EXPECT_EQ(address.netId.b[1], 8);
    EXPECT_EQ(address.netId.b[5], 1);
    EXPECT_EQ(address.port, port);
    EXPECT_EQ(wrap.KorSyncSetTimeout(500), 0);
    address.port = 10000;
    const unsigned char data[] = {1, 2};
    EXPECT_EQ(wrap.KorSyncWriteReq(&address, 200, 7, 2, data), 0);
    EXPECT_EQ(wrap.KorMirnUnRegisterRouterNotification(), 0); // the library spells it another way
    EXPECT_EQ(wrap.KorMirnRegisterRouterNotificationEx2(port, IgnoreEvent, nullptr), 0);
    EXPECT_EQ(wrap.KorMirnUnRegisterRouterNotificationEx(port), 0);
    EXPECT_EQ(wrap.KorPortCloseEx(port), 0);
    EXPECT_EQ(RuntimeCalls("KorSyncSetTimeout"), std::vector<std::string>{"KorSyncSetTimeout 500"});
    EXPECT_EQ(RuntimeCalls("KorSyncWriteReq"), std::vector<std::string>{"KorSyncWriteReq 10000:200 7 0102"});
    wrap.Unload();
}

TEST_F(KorSyncWrapTest, NeverRegistersInTheOlderFormEvenIfTheLibraryHasIt) {
    InstallRuntimeLibrary(PLAIN);
    SetScenario(UP);
    CKorSyncWrap wrap;
    ASSERT_EQ(wrap.LoadDll(), 1);
    EXPECT_EQ(wrap.KorMirnRegisterRouterNotificationEx(1, IgnoreOldEvent, 0), -1);
    wrap.Unload();
}

TEST_F(KorSyncWrapTest, FindsTheRegistrationByItsMangledName) {
    InstallRuntimeLibrary(MANGLED);
    SetScenario(UP);
    CKorSyncWrap wrap;
    ASSERT_EQ(wrap.LoadDll(), 1);
    const std::int32_t port = wrap.KorPortOpenEx();
    EXPECT_EQ(wrap.KorMirnRegisterRouterNotificationEx2(port, IgnoreEvent, nullptr), 0);
    EXPECT_EQ(wrap.KorMirnUnRegisterRouterNotificationEx(port), 0);
    EXPECT_EQ(RuntimeCalls("KorMirnRegisterRouterNotificationEx2").size(), 1U);
    wrap.Unload();
}

TEST_F(KorSyncWrapTest, LeavesOutWhatTheLibraryLacks) {
    InstallRuntimeLibrary(PARTIAL);
    SetScenario(UP);
    CKorSyncWrap wrap;
    EXPECT_EQ(wrap.LoadDll(), 1);
    EXPECT_GT(wrap.KorPortOpen(), 0);
    EXPECT_EQ(wrap.KorPortOpenEx(), -1);
    EXPECT_EQ(wrap.KorMirnRegisterRouterNotificationEx2(1, IgnoreEvent, nullptr), -1);
    wrap.Unload();
}

TEST_F(KorSyncWrapTest, LoadingAgainClosesTheLibraryAndTakesWhatIsThereThen) {
    InstallRuntimeLibrary(PARTIAL);
    SetScenario(UP);
    CKorSyncWrap wrap;
    ASSERT_EQ(wrap.LoadDll(), 1);
    ASSERT_EQ(wrap.KorPortOpenEx(), -1);
    InstallRuntimeLibrary(PLAIN);
    const auto log = LogOf({LOG_SEVERITY_TRACE}, [&] { EXPECT_EQ(wrap.LoadDll(), 1); });
    EXPECT_EQ(log, (std::vector<std::string>{"None: ==>CKorSyncWrap::LoadDll()", "None: ==>CKorSyncWrap::Unload()",
                                             "None: ==>CKorSyncWrap::Unload() FreeLibrary() =1",
                                             "None: <==CKorSyncWrap::LoadDll()"}));
    EXPECT_GT(wrap.KorPortOpenEx(), 0);
    RemoveRuntimeLibrary();
    EXPECT_EQ(wrap.LoadDll(), 0);
    EXPECT_EQ(wrap.KorPortOpenEx(), -1);
}

TEST_F(KorSyncWrapTest, TracesItsLife) {
    RemoveRuntimeLibrary();
    const auto log = LogOf({LOG_SEVERITY_TRACE}, [] {
        CKorSyncWrap wrap;
        wrap.LoadDll();
        wrap.Unload();
    });
    EXPECT_EQ(log, (std::vector<std::string>{
                       "None: ==>CKorSyncWrap::CKorSyncWrap(void)", "None: <==CKorSyncWrap::CKorSyncWrap(void)",
                       "None: ==>CKorSyncWrap::LoadDll()", "None: ==>CKorSyncWrap::Unload()",
                       "None: ==>CKorSyncWrap::Unload() FreeLibrary() =1", "None: ==>CKorSyncWrap::~CKorSyncWrap(void)",
                       "None: <==CKorSyncWrap::~CKorSyncWrap(void)"}));
}
