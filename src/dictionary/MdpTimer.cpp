#include "dictionary/MdpTimer.h"

#include <atomic>
#include <chrono>
#include <exception>
#include <mutex>
#include <vector>

#include "log/Logger.h"
#include "platform/OsUserEvent.h"
#include "platform/OsUserHandle.h"
#include "platform/OsUserThread.h"
#include "platform/OsUserWaitMultiple.h"

namespace {

constexpr std::uint32_t MAX_SLEEP_MS = 1000;
constexpr std::uint32_t MIN_SLEEP_MS = 10;
constexpr std::uint32_t WORKER_END_WAIT_MS = 10000;

std::atomic<CMdpTimer*> m_instance{nullptr};

// Traces the entry and the exit of a function.
class CTracedCall {
public:
    explicit CTracedCall(const char* function) : m_function(function) {
        g_pLogger->LogMsg(LOG_SEVERITY_TRACE, " ==>%s()", m_function);
    }

    ~CTracedCall() { g_pLogger->LogMsg(LOG_SEVERITY_TRACE, " <==%s()", m_function); }

    CTracedCall(const CTracedCall&) = delete;
    CTracedCall& operator=(const CTracedCall&) = delete;

private:
    const char* m_function;
};

double NowMs() {
    using namespace std::chrono;
    const auto now = system_clock::now().time_since_epoch();
    return static_cast<double>(duration_cast<microseconds>(now).count()) / 1000;
}

} // namespace

// One timer, and its thread.
class CMdpTimerObject {
public:
    CMdpTimerObject(IMdpTimerCallback* callback, unsigned int periodMs, unsigned int timerId, unsigned int parameter,
                    void* pointer, unsigned int timerFlags)
        : period(periodMs), last(NowMs()), flags(timerFlags), fireEvent(OsUserCreateEvent(nullptr, 0, 0, nullptr)),
          stopEvent(OsUserCreateEvent(nullptr, 0, 0, nullptr)), m_callback(callback), m_timerId(timerId),
          m_parameter(parameter), m_pointer(pointer) {
        worker.reset(OsUserCreateThread(nullptr, 0, timerObjectThreadProc, this, OSUSER_CREATE_SUSPENDED, nullptr));
        // Resumed only now: the thread may end, and with it this object, before the handle is stored.
        if (worker != nullptr) {
            OsUserThreadResume(worker.get());
        }
    }

    // The following are the timer service's, under its section.
    const unsigned int period;
    double last; // time of the last firing
    const unsigned int flags;
    CHandle worker;
    CHandle fireEvent;
    CHandle stopEvent;

private:
    static std::uint32_t timerObjectThreadProc(void* object) {
        const CTracedCall traced("CMdpTimerObject::timerObjectThreadProc");
        // The timer ends with its thread.
        std::unique_ptr<CMdpTimerObject> self(static_cast<CMdpTimerObject*>(object));
        _OsUserHandle* const events[] = {self->fireEvent.get(), self->stopEvent.get()};
        for (;;) {
            switch (OsUserWaitForMultipleObjects(2, events, 0, OSUSER_INFINITE)) {
            case 0:
                try {
                    self->m_callback->MdpTimerproc(self->m_timerId, self->m_parameter, self->m_pointer);
                } catch (const std::exception&) {
                    // For want of memory, mostly: this time is lost, the next one tries again.
                }
                break;
            case 1:
                return 0;
            default: {
                g_pLogger->LogMsg(LOG_SEVERITY_ERROR, " CMdpTimerObject.subworker() unknown EventID TimerID=%d",
                                  static_cast<int>(self->m_timerId));
                [[maybe_unused]] const CMdpTimerObject* stillInTheTable = self.release();
                return 0;
            }
            }
        }
    }

    IMdpTimerCallback* const m_callback;
    const unsigned int m_timerId;
    const unsigned int m_parameter;
    void* const m_pointer;
};

unsigned int MdpSetTimer(IMdpTimerCallback* callback, unsigned int periodMs, unsigned int parameter, void* pointer,
                         unsigned int flags) {
    const CTracedCall traced("MdpSetTimer");
    return CMdpTimer::GetInstance()->AddTimer(callback, periodMs, parameter, pointer, flags);
}

void MdpKillTimer(unsigned int timerId) {
    const CTracedCall traced("MdpKillTimer");
    CMdpTimer::GetInstance()->RemoveTimer(timerId);
}

CMdpTimer* CMdpTimer::GetInstance() {
    static std::once_flag once;
    std::call_once(once, [] { m_instance.store(new CMdpTimer); });
    return m_instance.load();
}

bool CMdpTimer::GetHasInstance() {
    return m_instance.load() != nullptr;
}

CMdpTimer::CMdpTimer()
    : m_wakeEvent(OsUserCreateEvent(nullptr, 0, 0, nullptr)), m_stopEvent(OsUserCreateEvent(nullptr, 0, 0, nullptr)) {
    m_master.reset(OsUserCreateThread(nullptr, 0, timerThreadProc, this, 0, nullptr));
}

unsigned int CMdpTimer::AddTimer(IMdpTimerCallback* callback, unsigned int periodMs, unsigned int parameter,
                                 void* pointer, unsigned int flags) {
    const CTracedCall traced("CMdpTimer::AddTimer");
    unsigned int timerId = 0;
    {
        CSectionLock lock(m_section);
        do {
            ++m_lastId;
        } while (m_lastId == 0 || m_timers.contains(m_lastId));
        timerId = m_lastId;
        m_timers.emplace(timerId, new CMdpTimerObject(callback, periodMs, timerId, parameter, pointer, flags));
    }
    OsUserSetEvent(m_wakeEvent.get());
    return timerId;
}

int CMdpTimer::RemoveTimer(unsigned int timerId) {
    const CTracedCall traced("CMdpTimer::RemoveTimer");
    CMdpTimerObject* timer = nullptr;
    {
        CSectionLock lock(m_section);
        const auto found = m_timers.find(timerId);
        if (found == m_timers.end()) {
            return 0;
        }
        timer = found->second;
        m_timers.erase(found);
        g_pLogger->LogMsg(LOG_SEVERITY_TRACE, " CMdpTimer::RemoveTimer() timer removed ID=%d",
                          static_cast<int>(timerId));
    }
    if (timer->worker == nullptr) {
        g_pLogger->LogMsg(LOG_SEVERITY_ERROR, " CMdpTimer::RemoveTimer() unspecific error");
        delete timer;
        return 1;
    }
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, " CMdpTimer::RemoveTimer() SubWorkerThread closed ");
    // The timer deletes itself once it is told to stop, so the handle to wait on is taken from it before.
    const CHandle worker = std::move(timer->worker);
    OsUserSetEvent(timer->stopEvent.get());
    OsUserWaitForSingleObject(worker.get(), WORKER_END_WAIT_MS);
    return 1;
}

bool CMdpTimer::RunCallback(double now, double last, unsigned int period) {
    return now - last >= period;
}

unsigned int CMdpTimer::GetNextCallbackProcessingMinimalWaitTime(unsigned int period, double now, double last) {
    if (now == last) {
        return period;
    }
    const double due = period + last;
    if (due >= now) {
        return static_cast<unsigned int>(due - now);
    }
    if (now > due) {
        return MIN_SLEEP_MS;
    }
    return MAX_SLEEP_MS; // one of the times is no number
}

std::uint32_t CMdpTimer::timerThreadProc(void* self) {
    const CTracedCall traced("CMdpTimer::timerThreadProc");
    auto* timers = static_cast<CMdpTimer*>(self);
    _OsUserHandle* const events[] = {timers->m_wakeEvent.get(), timers->m_stopEvent.get()};
    for (;;) {
        const std::uint32_t sleep = timers->ProcessTimers();
        if (OsUserWaitForMultipleObjects(2, events, 0, sleep) == 1) {
            timers->StopAll();
            return 0;
        }
    }
}

std::uint32_t CMdpTimer::ProcessTimers() {
    const double now = NowMs();
    CSectionLock lock(m_section);
    std::uint32_t sleep = MAX_SLEEP_MS;
    std::vector<unsigned int> done;
    for (const auto& [timerId, timer] : m_timers) {
        if (RunCallback(now, timer->last, timer->period)) {
            if (timer->worker != nullptr) {
                timer->last = now;
                OsUserSetEvent(timer->fireEvent.get());
            }
            if ((timer->flags & MDP_TIMER_ONE_SHOT) != 0) {
                done.push_back(timerId);
            }
        }
        const unsigned int wait = GetNextCallbackProcessingMinimalWaitTime(timer->period, now, timer->last);
        if (wait < sleep) {
            sleep = wait < MIN_SLEEP_MS ? MIN_SLEEP_MS : wait;
        }
    }
    for (const unsigned int timerId : done) {
        OsUserSetEvent(m_timers.at(timerId)->stopEvent.get());
        m_timers.erase(timerId);
    }
    return m_timers.empty() ? OSUSER_INFINITE : sleep;
}

void CMdpTimer::StopAll() {
    CSectionLock lock(m_section);
    for (const auto& [timerId, timer] : m_timers) {
        OsUserSetEvent(timer->stopEvent.get());
    }
    m_timers.clear();
}
