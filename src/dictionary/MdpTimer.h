#pragma once

#include <cstdint>
#include <map>
#include <memory>

#include "platform/CHandle.h"
#include "platform/OsUserCriticalSection.h"

// What a timer calls, on the timer's own thread and with no lock held. It may block: other timers go on.
class IMdpTimerCallback {
public:
    virtual ~IMdpTimerCallback() = default;
    virtual void MdpTimerproc(unsigned int timerId, unsigned int parameter, void* pointer) = 0;
};

// The timer is removed after its first firing.
inline constexpr unsigned int MDP_TIMER_ONE_SHOT = 16;

// Calls `callback` every `periodMs` milliseconds, for the first time one period from now. The callback must live until
// MdpKillTimer has returned. Returns the timer's id, which is never 0.
unsigned int MdpSetTimer(IMdpTimerCallback* callback, unsigned int periodMs, unsigned int parameter, void* pointer,
                         unsigned int flags);

// Stops a timer and waits until a callback that is running has ended, for up to 10 seconds. Unknown ids have no effect.
void MdpKillTimer(unsigned int timerId);

class CMdpTimerObject;

// The timers of the process: one master thread that decides when a timer is due, and a thread for each timer that runs
// its callback. Made on first use, and there until the process ends. Times are the wall clock's, in milliseconds since
// the epoch: steps of the clock reach the timers.
class CMdpTimer {
public:
    static CMdpTimer* GetInstance();
    static bool GetHasInstance();

    unsigned int AddTimer(IMdpTimerCallback* callback, unsigned int periodMs, unsigned int parameter, void* pointer,
                          unsigned int flags);
    // 1 if there was a timer of that id, else 0.
    int RemoveTimer(unsigned int timerId);

    static bool RunCallback(double now, double last, unsigned int period);
    // Milliseconds until a timer is due; 10 for one that is overdue.
    static unsigned int GetNextCallbackProcessingMinimalWaitTime(unsigned int period, double now, double last);

private:
    CMdpTimer();
    static std::uint32_t timerThreadProc(void* self);
    // Fires what is due and removes what fired for the last time. Returns the milliseconds to sleep.
    std::uint32_t ProcessTimers();
    void StopAll();

    std::map<unsigned int, CMdpTimerObject*> m_timers; // each deletes itself at the end of its thread
    unsigned int m_lastId = 0;
    CHandle m_master;
    CHandle m_wakeEvent;
    CHandle m_stopEvent;
    CSection m_section;
};
