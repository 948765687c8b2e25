#pragma once

#include <atomic>
#include <ctime>

#include "platform/CHandle.h"
#include "runtime/CZelmora.h"

// Notices when the runtime's message router starts or goes away. The router tells it to a port of the watch's own, for
// which the watch must be registered; that can fail for as long as the runtime is down, so worker threads keep trying.
namespace Zelmora {

class CZelmoraStatusWatch : public CZelmora {
public:
    CZelmoraStatusWatch();
    // Takes the registration back. All workers have ended.
    ~CZelmoraStatusWatch() override;

    // One attempt at the port and the registration; LastStatus tells the outcome.
    void Initialize();
    void Deinitialize();
    // No worker begins another attempt. Wakes nobody: a worker sees it within a second.
    void Shutdown();
    // True when all workers have ended within that many milliseconds.
    bool WaitForWorkers(std::uint32_t milliseconds);
    // Lets the last worker delete the watch. False where there is none: the watch stays the caller's.
    bool LeaveToWorkers();

    bool IsRegistered() const { return m_registered; }

    // Of the last Initialize: 0, or a code sign-extended.
    std::int64_t LastStatus() const { return m_lastStatus; }

    bool IsStopped() const { return m_stop; }

    bool HasPort() const { return Port() != 0; }

    static void ResetStartTime();
    // Seconds since the last change of state. OBJ_E_NODATA, logged, where none was seen yet or the clock went back.
    static ObjResult GetLastZelmoraStatusChange(unsigned long& seconds);

    // What the library calls, on a thread of its own. The second is the older form, which is not registered.
    static void MirnRouterNotificationFuncEx3(int event, void* watch);
    static void MirnRouterNotificationFuncEx2(int event, unsigned int user);

private:
    friend _OsUserHandle* InitZmStatusWatchAsync(CZelmoraStatusWatch* watch);

    static std::uint32_t WorkerThread(void* watch);
    bool BeginWorker();
    void EndWorker();

    bool m_registered = false; // under m_turn, as is the port
    std::int64_t m_lastStatus = 0;
    std::atomic<bool> m_stop{false};
    CSection m_turn; // of the one worker that works; a second one waits for it
    CSection m_workersSection;
    // Both under m_workersSection.
    unsigned int m_workers = 0;
    bool m_isLeftToWorkers = false;
    CHandle m_noWorkers;

    friend std::uint32_t InitZmStatusWatchWorker(void* watch);

    static std::atomic<std::time_t> t1; // time of the last change of state, 0 until one was seen
};

// The watch of the module, or null.
extern std::atomic<CZelmoraStatusWatch*> pZmStatus;

// Makes `watch`, or null, the watch of the module, and gives the one before: the library's late calls no longer reach
// it.
CZelmoraStatusWatch* ExchangeZmStatus(CZelmoraStatusWatch* watch);

// Starts a worker and gives its thread. Null for null, without a thread, and where one waits already to do the same.
_OsUserHandle* InitZmStatusWatchAsync(CZelmoraStatusWatch* watch);

// A worker's job: registers anew, trying once a second until it stands. 0, or OBJ_E_FAILED for null or when stopped.
std::uint32_t InitZmStatusWatchWorker(void* watch);

} // namespace Zelmora
