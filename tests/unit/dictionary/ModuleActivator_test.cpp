#include "dictionary/ModuleActivator.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "DictionaryTest.h"

namespace {

using namespace std::chrono_literals;

// A module in slot 0 whose data object is 0x8001, and one in slot 2 whose data object is 0x8021.
class ActivationTest : public DictionaryTest {
protected:
    void SetUp() override {
        DictionaryTest::SetUp();
        m_first = CRef(new CCountingActivator(0x8001));
        m_other = CRef(new CCountingActivator(0x8021));
        AddModule("T", "first", 27);
        ASSERT_EQ(Dictionary().SetModuleActivator(0, m_first.Get()), 0U);
        ASSERT_EQ(Dictionary().SetModuleActivator(2, m_other.Get()), 0U);
    }

    void TearDown() override {
        DictionaryTest::TearDown();
        EXPECT_FALSE(m_first->IsActive() && m_first->m_deactivateResult == 0);
    }

    static bool WaitUntil(const std::function<bool()>& isSo) {
        const auto deadline = std::chrono::steady_clock::now() + 20s;
        while (!isSo()) {
            if (std::chrono::steady_clock::now() > deadline) {
                return false;
            }
            std::this_thread::sleep_for(2ms);
        }
        return true;
    }

    CRef<CCountingActivator> m_first;
    CRef<CCountingActivator> m_other;
};

class ActivatingIndex : public ActivationTest, public testing::WithParamInterface<unsigned short> {};

class IndexThatWakesNothing : public ActivationTest, public testing::WithParamInterface<unsigned short> {};

std::string IndexName(const testing::TestParamInfo<unsigned short>& test) {
    char text[8];
    std::snprintf(text, sizeof text, "x%04X", test.param);
    return text;
}

} // namespace

// The activator alone

TEST(ModuleActivator, TheBaseStampsAndIsNotImplemented) {
    CModuleActivator activator;
    EXPECT_EQ(activator.DoActivate(), 0xECA60F00U);
    EXPECT_EQ(activator.DoDeactivate(), 0xECA60F00U);
    EXPECT_EQ(activator.Activate(), 0xECA60F00U);
    EXPECT_FALSE(activator.IsActive());
    EXPECT_EQ(activator.Deactivate(), 0U);
}

TEST(ModuleActivator, TellsTheTimeSinceTheStampAndNothingWithoutOne) {
    CModuleActivator activator;
    EXPECT_EQ(activator.GetMilisSinceLastActivation(), 0U);
    std::thread([&] { activator.SetActivationTS(); }).join(); // the section is free
    std::this_thread::sleep_for(30ms);
    const std::uint64_t passed = activator.GetMilisSinceLastActivation();
    EXPECT_GE(passed, 28U);
    EXPECT_LT(passed, 20000U);
    activator.SetActivationTS();
    EXPECT_LT(activator.GetMilisSinceLastActivation(), passed);
}

namespace {

class CScriptedActivator : public CModuleActivator {
public:
    ObjResult DoActivate() override {
        ++activations;
        return activateResult;
    }

    ObjResult DoDeactivate() override {
        ++deactivations;
        return deactivateResult;
    }

    int activations = 0;
    int deactivations = 0;
    ObjResult activateResult = 0;
    ObjResult deactivateResult = 0;
};

} // namespace

TEST(ModuleActivator, WakesOnceAndSleepsOnce) {
    CScriptedActivator activator;
    EXPECT_EQ(activator.Deactivate(), 0U);
    EXPECT_EQ(activator.deactivations, 0);
    EXPECT_EQ(activator.Activate(), 0U);
    EXPECT_EQ(activator.Activate(), 0U);
    EXPECT_TRUE(activator.IsActive());
    EXPECT_EQ(activator.activations, 1);
    EXPECT_EQ(activator.Deactivate(), 0U);
    EXPECT_EQ(activator.Deactivate(), 0U);
    EXPECT_FALSE(activator.IsActive());
    EXPECT_EQ(activator.deactivations, 1);
}

TEST(ModuleActivator, AnyCodeWithoutBit31IsASuccess) {
    CScriptedActivator activator;
    activator.activateResult = 0x7FFFFFFF;
    activator.deactivateResult = 1;
    EXPECT_EQ(activator.Activate(), 0x7FFFFFFFU);
    EXPECT_TRUE(activator.IsActive());
    EXPECT_EQ(activator.Activate(), 0U);
    EXPECT_EQ(activator.Deactivate(), 1U);
    EXPECT_FALSE(activator.IsActive());
}

TEST(ModuleActivator, AFailureIsTriedAgainAndStampsNevertheless) {
    CScriptedActivator activator;
    activator.activateResult = 0x80004005;
    EXPECT_EQ(activator.Activate(), 0x80004005U);
    EXPECT_FALSE(activator.IsActive());
    std::this_thread::sleep_for(20ms);
    EXPECT_GE(activator.GetMilisSinceLastActivation(), 18U); // not 0: it was stamped
    EXPECT_EQ(activator.Activate(), 0x80004005U);
    EXPECT_EQ(activator.activations, 2);
    activator.activateResult = 0;
    activator.Activate();
    activator.deactivateResult = 0x80004005;
    EXPECT_EQ(activator.Deactivate(), 0x80004005U);
    EXPECT_TRUE(activator.IsActive());
    EXPECT_EQ(activator.Deactivate(), 0x80004005U);
    EXPECT_EQ(activator.deactivations, 2);
}

TEST(ModuleActivator, AnActiveModuleIsStampedAgain) {
    CScriptedActivator activator;
    activator.Activate();
    std::this_thread::sleep_for(50ms);
    activator.Activate();
    EXPECT_LT(activator.GetMilisSinceLastActivation(), 50U);
}

// The activator in the dictionary

TEST_F(ActivationTest, AReadOfASleepingModuleGivesItsValueAtOnce) {
    EXPECT_FALSE(HasObject(0x8001));
    EXPECT_EQ(ReadObject(0x8001, 0, 1), (TReadAnswer{0, 1, "\x01"}));
    EXPECT_TRUE(m_first->IsActive());
    EXPECT_FALSE(m_other->IsActive());
}

TEST_F(ActivationTest, AWriteWakesToo) {
    EXPECT_EQ(WriteObject(0x8001, 0, "x"), 0xECA60101U);
    EXPECT_TRUE(m_first->IsActive());
}

TEST_F(ActivationTest, AFailedWakingLeavesTheLookupToDecideAndIsTriedAgain) {
    m_first->m_activateResult = OBJ_E_FAILED;
    EXPECT_EQ(ReadObject(0x8001, 0, 1), (TReadAnswer{0xECA60100, 0, "#"}));
    EXPECT_EQ(ReadObject(0x8000, 3, 5), (TReadAnswer{0, 5, "first"}));
    EXPECT_EQ(m_first->m_activations, 2);
    m_first->m_activateResult = 0;
    EXPECT_EQ(ReadObject(0x8001, 0, 1).result, 0U);
}

TEST_P(ActivatingIndex, IsAnyWithTheSlotInTheModulesRange) {
    char byte = 0;
    Dictionary().ReadObject(GetParam(), 0, &byte, 1, 0, nullptr);
    EXPECT_TRUE(m_first->IsActive());
    EXPECT_EQ(ReadObject(0x8001, 0, 1), (TReadAnswer{0, 1, "\x01"}));
}

INSTANTIATE_TEST_SUITE_P(Indexes, ActivatingIndex,
                         testing::Values(0x2000, 0x8000, 0x800F, 0x9001, 0xB000, 0xB00F, 0xE00F), IndexName);

TEST_P(IndexThatWakesNothing, LeavesModulesAsleepInReadsAndWrites) {
    char byte = 0;
    Dictionary().ReadObject(GetParam(), 0, &byte, 1, 0, nullptr);
    Dictionary().WriteObject(GetParam(), 0, &byte, 1, 0);
    EXPECT_FALSE(m_first->IsActive());
}

INSTANTIATE_TEST_SUITE_P(Indexes, IndexThatWakesNothing,
                         testing::Values(0x0000, 0x1000, 0x1F00, 0xF000, 0x8010, 0x8FF0), IndexName);

TEST_F(ActivationTest, TheRangeReachesTo0xEFFF) {
    const CRef<CCountingActivator> last(new CCountingActivator(0x8FF1));
    Dictionary().SetModuleActivator(0xFF, last.Get());
    ReadObject(0x1FFF, 0, 1);
    ReadObject(0xFFFF, 0, 1);
    EXPECT_EQ(last->m_activations, 0);
    ReadObject(0xEFFF, 0, 1);
    EXPECT_EQ(last->m_activations, 1);
}

TEST_F(ActivationTest, GetObjectWakesNothing) {
    EXPECT_FALSE(HasObject(0x8001));
    EXPECT_FALSE(m_first->IsActive());
}

// The cleanup pass

TEST_F(ActivationTest, APassPutsOldModulesToSleepAndLeavesTheYoung) {
    ReadObject(0x8001, 0, 1);
    Dictionary().CheckCleanup();
    EXPECT_TRUE(m_first->IsActive());
    Dictionary().SetInactivityLimit(0);
    Dictionary().CheckCleanup();
    EXPECT_FALSE(m_first->IsActive());
    EXPECT_EQ(m_first->m_removeResult, 0U);
    EXPECT_FALSE(HasObject(0x8001));
    EXPECT_EQ(ReadObject(0x8000, 3, 5), (TReadAnswer{0, 5, "first"})); // the header stays
    EXPECT_EQ(m_other->m_deactivations, 0);
    EXPECT_EQ(ReadObject(0x8001, 0, 1), (TReadAnswer{0, 1, "\x02"})); // made anew (and by the header's read before)
}

TEST_F(ActivationTest, AModuleThatCannotSleepStaysAwakeUntilTheNextPass) {
    ReadObject(0x8001, 0, 1);
    ReadObject(0x8021, 0, 1);
    m_first->m_deactivateResult = OBJ_E_FAILED;
    Dictionary().SetInactivityLimit(0);
    Dictionary().CheckCleanup();
    EXPECT_TRUE(m_first->IsActive());
    EXPECT_FALSE(m_other->IsActive()); // those behind it are not kept awake
    EXPECT_TRUE(HasObject(0x8001));
    const int tries = m_first->m_deactivations;
    EXPECT_GE(tries, 1);
    m_first->m_deactivateResult = 0;
    Dictionary().CheckCleanup();
    EXPECT_FALSE(m_first->IsActive());
}

TEST_F(ActivationTest, TheCleanupThreadPutsAModuleToSleepAfterTheLimit) {
    Dictionary().SetInactivityLimit(200);
    const auto start = std::chrono::steady_clock::now();
    ReadObject(0x8001, 0, 1);
    EXPECT_TRUE(WaitUntil([&] { return !m_first->IsActive(); }));
    EXPECT_GE(std::chrono::steady_clock::now() - start, 199ms);
    EXPECT_EQ(m_first->m_deactivations, 1);
    EXPECT_FALSE(HasObject(0x8001));
    // And again, when it has been woken again.
    EXPECT_EQ(ReadObject(0x8001, 0, 1), (TReadAnswer{0, 1, "\x02"}));
    EXPECT_TRUE(WaitUntil([&] { return !m_first->IsActive(); }));
}

TEST_F(ActivationTest, RequestsKeepAModuleAwake) {
    Dictionary().SetInactivityLimit(600);
    for (int i = 0; i < 40; ++i) {
        ReadObject(0x8001, 0, 1);
        std::this_thread::sleep_for(50ms);
    }
    EXPECT_EQ(m_first->m_activations, 1);
    EXPECT_EQ(m_first->m_deactivations, 0);
}

TEST_F(ActivationTest, TheTimerCanBeStartedAndStoppedByHand) {
    Dictionary().SetInactivityLimit(0);
    m_first->Activate(); // not by a request: nothing starts the cleanup
    std::this_thread::sleep_for(150ms);
    EXPECT_TRUE(m_first->IsActive());
    Dictionary().StartCleanupTimer();
    EXPECT_TRUE(WaitUntil([&] { return !m_first->IsActive(); }));
    Dictionary().StopCleanupTimer();
}

TEST_F(ActivationTest, TheEndPutsEveryModuleToSleepWhateverItsAge) {
    ReadObject(0x8001, 0, 1);
    EndDictionary();
    EXPECT_FALSE(m_first->IsActive());
    EXPECT_EQ(m_first->m_deactivations, 1);
    EXPECT_EQ(m_first->m_removeResult, 0U);
    EXPECT_EQ(m_other->m_deactivations, 0);
}

namespace {

// Says when it is being put to sleep, and stays there until it may go on.
class CSlowSleeper : public CModuleActivator {
public:
    ObjResult DoActivate() override { return OBJ_E_NOERR; }

    ObjResult DoDeactivate() override {
        isFallingAsleep = true;
        while (!mayGoOn) {
            std::this_thread::sleep_for(1ms);
        }
        const CDictionaryRef dictionary;
        foundDictionary = static_cast<bool>(dictionary);
        return OBJ_E_NOERR;
    }

    std::atomic<bool> isFallingAsleep{false};
    std::atomic<bool> mayGoOn{false};
    std::atomic<bool> foundDictionary{false};
};

} // namespace

TEST_F(ActivationTest, AnEndThatComesDuringACleanupPassWaitsForItAndIsNotHeldUp) {
    const CRef<CSlowSleeper> sleeper(new CSlowSleeper);
    Dictionary().SetModuleActivator(5, sleeper.Get());
    Dictionary().SetInactivityLimit(0);
    ReadObject(0x8051, 0, 1);
    ASSERT_TRUE(WaitUntil([&] { return sleeper->isFallingAsleep.load(); }));

    const auto start = std::chrono::steady_clock::now();
    std::thread release([&] {
        std::this_thread::sleep_for(100ms); // by now the end has set its events, and the pass resets one of them
        sleeper->mayGoOn = true;
    });
    EndDictionary();
    const auto took = std::chrono::steady_clock::now() - start;
    release.join();

    EXPECT_TRUE(CObjDictionary::WaitForFinalRelease(0));
    EXPECT_TRUE(sleeper->foundDictionary);
    EXPECT_GE(took, 100ms);
    EXPECT_LT(took, 8s);
}

TEST_F(ActivationTest, TenThousandWakingsLeaveNothingBehind) {
    Dictionary().SetInactivityLimit(0);
    const int before = CCountingActivator::s_destroyed;
    for (int i = 0; i < 10000; ++i) {
        ASSERT_EQ(ReadObject(0x8001, 0, 1).result, 0U);
        Dictionary().CheckCleanup();
        ASSERT_FALSE(HasObject(0x8001));
    }
    EXPECT_EQ(m_first->m_activations, 10000);
    EXPECT_EQ(m_first->m_deactivations, 10000);
    EXPECT_EQ(CCountingActivator::s_destroyed, before);
    EXPECT_EQ(m_first->m_refCount, 2U);
}

// The limit of the service itself, at its real length.
TEST_F(ActivationTest, WithoutRequestsAModuleSleepsAfter31SecondsAndWithin39) {
    EXPECT_EQ(Dictionary().InactivityLimit(), 31000U);
    ReadObject(0x8001, 0, 1);
    const auto start = std::chrono::steady_clock::now();
    std::this_thread::sleep_for(20s);
    ReadObject(0x8021, 0, 1); // keeps the other one awake for longer
    std::this_thread::sleep_until(start + 30500ms);
    EXPECT_TRUE(m_first->IsActive());
    std::this_thread::sleep_until(start + 30900ms);
    EXPECT_TRUE(WaitUntil([&] { return !m_first->IsActive(); }));
    const auto took = std::chrono::steady_clock::now() - start;
    EXPECT_GE(took, 30990ms);
    EXPECT_LT(took, 40500ms); // and some time that the machine may be busy
    EXPECT_FALSE(HasObject(0x8001));
    EXPECT_TRUE(HasObject(0x8000));
    EXPECT_TRUE(m_other->IsActive());
    EXPECT_TRUE(HasObject(0x8021));
}
