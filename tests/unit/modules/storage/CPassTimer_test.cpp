#include "modules/CPassTimer.h"

#include <future>
#include <thread>

#include "../ModuleTest.h"
#include "FakeTimers.h"

namespace {

class CSleeper : public CModuleActivator, public IMdpTimerCallback {
public:
    CSleeper() : timer(*this, *this) {}

    void MdpTimerproc(unsigned int /*timerId*/, unsigned int /*parameter*/, void* /*pointer*/) override {}

    CPassTimer timer;
};

class PassTimer : public ModuleTest {
protected:
    void SetUp() override {
        FakeTimers::Reset();
        ModuleTest::SetUp();
    }

    bool MayPass() {
        const CPassTimer::CPass pass(m_sleeper->timer);
        return static_cast<bool>(pass);
    }

    // Stops the timer while a pass of another thread is under way.
    ObjResult StopDuringAPass() {
        std::promise<void> begun;
        std::promise<void> end;
        std::thread pass([&] {
            const CPassTimer::CPass scope(m_sleeper->timer);
            EXPECT_TRUE(scope);
            begun.set_value();
            end.get_future().wait();
        });
        begun.get_future().wait();
        const ObjResult result = m_sleeper->timer.Stop(Dictionary());
        end.set_value();
        pass.join();
        return result;
    }

    const CRef<CSleeper> m_sleeper{new CSleeper};
};

} // namespace

TEST_F(PassTimer, LetsPassesBeginFromOpenToStop) {
    EXPECT_FALSE(MayPass());
    m_sleeper->timer.Open();
    EXPECT_TRUE(MayPass());
    m_sleeper->timer.Start(5000, 0x8040);
    EXPECT_TRUE(MayPass());
    EXPECT_EQ(m_sleeper->timer.Stop(Dictionary()), 0U);
    EXPECT_FALSE(MayPass());
    m_sleeper->timer.Open();
    EXPECT_TRUE(MayPass());
}

TEST_F(PassTimer, KillsItsTimerOnce) {
    m_sleeper->timer.Open();
    m_sleeper->timer.Start(5000, 0x8040);
    ASSERT_EQ(FakeTimers::timers.size(), 1U);
    const auto& [id, timer] = *FakeTimers::timers.begin();
    EXPECT_EQ(timer.callback, static_cast<IMdpTimerCallback*>(m_sleeper.Get()));
    EXPECT_EQ(timer.periodMs, 5000U);
    EXPECT_EQ(timer.parameter, 0x8040U);
    EXPECT_EQ(timer.flags, 0U);
    const std::vector<unsigned int> killed = {id};
    EXPECT_EQ(m_sleeper->timer.Stop(Dictionary()), 0U);
    EXPECT_EQ(FakeTimers::killed, killed);
    EXPECT_EQ(m_sleeper->timer.Stop(Dictionary()), 0U);
    EXPECT_EQ(FakeTimers::killed, killed);
}

TEST_F(PassTimer, RefusesToStopDuringAPassAndGoesOn) {
    m_sleeper->timer.Open();
    m_sleeper->timer.Start(5000, 0);
    EXPECT_EQ(StopDuringAPass(), OBJ_E_BUSY);
    EXPECT_EQ(FakeTimers::timers.size(), 1U);
    EXPECT_TRUE(MayPass());
    EXPECT_EQ(m_sleeper->timer.Stop(Dictionary()), 0U);
    EXPECT_TRUE(FakeTimers::timers.empty());
}

TEST_F(PassTimer, WaitsForThePassThatIsUnderWayBeforeTheNext) {
    m_sleeper->timer.Open();
    auto first = std::make_unique<CPassTimer::CPass>(m_sleeper->timer);
    std::promise<void> begun;
    std::thread second([&] {
        begun.set_value();
        EXPECT_TRUE(MayPass());
    });
    begun.get_future().wait();
    EXPECT_EQ(m_sleeper->timer.Stop(Dictionary()), OBJ_E_BUSY);
    first.reset();
    second.join();
}
