#include "runtime/CZelmoraStatusWatch.h"

#include "log/Logger.h"
#include "platform/OsUserEvent.h"
#include "platform/OsUserSystem.h"
#include "platform/OsUserThread.h"

namespace Zelmora {

namespace {

constexpr int EVENT_STARTED = 1;
constexpr int EVENT_GONE = 2;

constexpr std::uint32_t RETRY_MS = 1000;

// One works and one waits: what the second would find is what a third would find.
constexpr unsigned int MOST_WORKERS = 2;

std::int64_t SignExtended(ObjResult result) {
    return static_cast<std::int32_t>(result);
}

CSection s_watchSection; // held while pZmStatus changes or a call of the library relies on it

// A call of the library may come late, for a watch that is gone.
_OsUserHandle* RestartWatch(const void* watch) {
    const CSectionLock lock(s_watchSection);
    CZelmoraStatusWatch* current = pZmStatus;
    return watch == current ? InitZmStatusWatchAsync(current) : nullptr;
}

} // namespace

std::atomic<CZelmoraStatusWatch*> pZmStatus{nullptr};

std::atomic<std::time_t> CZelmoraStatusWatch::t1{0};

CZelmoraStatusWatch::CZelmoraStatusWatch() : m_noWorkers(OsUserCreateEvent(nullptr, 1, 1, nullptr)) {}

CZelmoraStatusWatch::~CZelmoraStatusWatch() {
    Deinitialize();
    Unload();
}

void CZelmoraStatusWatch::Initialize() {
    const CSectionLock turn(m_turn);
    if (m_registered) {
        return;
    }
    if (!HasPort()) {
        const ObjResult result = MyKorPortOpenEx();
        if (result != OBJ_E_NOERR) {
            m_lastStatus = SignExtended(result);
            g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "CZelmoraStatusWatch KorPortOpen failed: 0x%X ", result);
            return;
        }
    }
    m_lastStatus = 0;
    g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "CZelmoraStatusWatch port opened: %d", Port());
    const std::int32_t status = KorMirnRegisterRouterNotificationEx2(Port(), MirnRouterNotificationFuncEx3, this);
    m_lastStatus = status;
    if (status == 0) {
        m_registered = true;
    } else {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "KorMirnRegisterRouterNotificationEx2 failed: 0x%X",
                          static_cast<unsigned int>(status));
    }
}

void CZelmoraStatusWatch::Deinitialize() {
    const CSectionLock turn(m_turn);
    if (m_registered) {
        m_registered = false;
        KorMirnUnRegisterRouterNotificationEx(Port());
    }
    MyKorPortCloseEx();
    g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "CZelmoraStatusWatch::Deinitialized.");
}

void CZelmoraStatusWatch::Shutdown() {
    m_stop = true;
}

bool CZelmoraStatusWatch::WaitForWorkers(std::uint32_t milliseconds) {
    if (OsUserWaitForSingleObject(m_noWorkers.get(), milliseconds) != OSUSER_WAIT_OBJECT_0) {
        return false;
    }
    const CSectionLock lock(m_workersSection); // the last one is out of EndWorker
    return m_workers == 0;
}

bool CZelmoraStatusWatch::BeginWorker() {
    const CSectionLock lock(m_workersSection);
    if (m_stop || m_workers >= MOST_WORKERS) {
        return false;
    }
    ++m_workers;
    OsUserResetEvent(m_noWorkers.get());
    return true;
}

void CZelmoraStatusWatch::EndWorker() {
    bool isOwner = false;
    {
        const CSectionLock lock(m_workersSection);
        if (--m_workers == 0) {
            isOwner = m_isLeftToWorkers;
            OsUserSetEvent(m_noWorkers.get());
        }
    }
    if (isOwner) {
        delete this;
    }
}

bool CZelmoraStatusWatch::LeaveToWorkers() {
    const CSectionLock lock(m_workersSection);
    m_isLeftToWorkers = m_workers > 0;
    return m_isLeftToWorkers;
}

std::uint32_t CZelmoraStatusWatch::WorkerThread(void* watch) {
    const std::uint32_t result = InitZmStatusWatchWorker(watch);
    static_cast<CZelmoraStatusWatch*>(watch)->EndWorker();
    return result;
}

void CZelmoraStatusWatch::ResetStartTime() {
    t1 = std::time(nullptr);
}

ObjResult CZelmoraStatusWatch::GetLastZelmoraStatusChange(unsigned long& seconds) {
    const std::time_t changed = t1;
    if (changed == 0) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS,
                          "CZelmoraStatusWatch::GetLastZelmoraStatusChange: No Zm status change, yet.");
        return OBJ_E_NODATA;
    }
    const std::time_t now = std::time(nullptr);
    if (now < changed) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS,
                          "CZelmoraStatusWatch::GetLastZelmoraStatusChange: t2 is lower than t1!");
        return OBJ_E_NODATA;
    }
    seconds = static_cast<unsigned long>(std::difftime(now, changed));
    return OBJ_E_NOERR;
}

void CZelmoraStatusWatch::MirnRouterNotificationFuncEx3(int event, void* watch) {
    g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "MirnRouterNotificationFuncEx3 callback (new) nEvent: %d", event);
    if (event == EVENT_STARTED || event == EVENT_GONE) {
        ResetStartTime();
    }
    if (event == EVENT_GONE) {
        // The registration went with the router.
        const CHandle worker(RestartWatch(watch));
    }
}

void CZelmoraStatusWatch::MirnRouterNotificationFuncEx2(int event, unsigned int /*user*/) {
    g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "MirnRouterNotificationFuncEx2 callback (old) nEvent: %d", event);
    if (event == EVENT_STARTED || event == EVENT_GONE) {
        ResetStartTime();
    }
    if (event == EVENT_GONE) {
        // The user value has no room for a pointer; there is one watch.
        const CHandle worker(RestartWatch(pZmStatus));
    }
}

CZelmoraStatusWatch* ExchangeZmStatus(CZelmoraStatusWatch* watch) {
    const CSectionLock lock(s_watchSection);
    return pZmStatus.exchange(watch);
}

_OsUserHandle* InitZmStatusWatchAsync(CZelmoraStatusWatch* watch) {
    if (watch == nullptr || !watch->BeginWorker()) {
        return nullptr;
    }
    _OsUserHandle* worker = OsUserCreateThread(nullptr, 0, CZelmoraStatusWatch::WorkerThread, watch, 0, nullptr);
    if (worker == nullptr) {
        watch->EndWorker();
    }
    return worker;
}

std::uint32_t InitZmStatusWatchWorker(void* argument) {
    auto* watch = static_cast<CZelmoraStatusWatch*>(argument);
    if (watch == nullptr) {
        return OBJ_E_FAILED;
    }
    const CSectionLock turn(watch->m_turn);
    // The state has changed where something was torn down, or where an attempt failed before the one that did not.
    bool changed = false;
    while (!watch->IsStopped()) {
        if (watch->HasPort()) {
            watch->Deinitialize();
            changed = true;
        }
        watch->LoadDll();
        watch->Initialize();
        if (watch->LastStatus() == 0) {
            if (changed) {
                CZelmoraStatusWatch::ResetStartTime();
            }
            g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "InitZmStatusWatchWorker finished: Status is OK! Port: %u",
                              static_cast<unsigned int>(watch->Port()));
            return OBJ_E_NOERR;
        }
        changed = true;
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "InitZmStatusWatchWorker Status: %ld! try again...",
                          static_cast<long>(watch->LastStatus()));
        OsUserSleep(RETRY_MS);
    }
    g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "InitZmStatusWatchWorker stopped: Sylvarin is closing!");
    return OBJ_E_FAILED;
}

} // namespace Zelmora
