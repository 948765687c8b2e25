#include "modules/nic/NicJob.h"

#include <exception>

#include "log/Logger.h"
#include "platform/CHandle.h"
#include "platform/Interlocked.h"

namespace NIC {

namespace {

bool StartThread(OsUserThreadRoutine routine, void* parameter) {
    try {
        // Closing the handle lets the thread go its own way.
        const CHandle thread(OsUserCreateThread(nullptr, 0, routine, parameter, 0, nullptr));
        return thread != nullptr;
    } catch (const std::exception&) {
        return false;
    }
}

} // namespace

void CNicJob::Request() noexcept {
    {
        const std::lock_guard lock(m_mutex);
        if (m_underWay) {
            m_waiting = true;
            return;
        }
        m_underWay = true;
    }
    InterlockedIncrement(&m_owner.m_refCount);
    if (StartThread(Thread, this)) {
        return;
    }
    {
        const std::lock_guard lock(m_mutex);
        m_underWay = false;
        m_waiting = false;
    }
    g_pLogger->LogMsg(LOG_SEVERITY_ERROR, "NIC::%s - No thread for it, not done!", m_name);
    CRef<CObject>::Adopt(&m_owner);
}

std::uint32_t CNicJob::Thread(void* job) {
    auto& self = *static_cast<CNicJob*>(job);
    const CRef<CObject> owner = CRef<CObject>::Adopt(&self.m_owner);
    do {
        self.Run();
    } while (self.IsAskedForAgain());
    return 0;
}

void CNicJob::Run() noexcept {
    try {
        m_routine(m_parameter);
    } catch (const std::exception& failure) {
        g_pLogger->LogMsg(LOG_SEVERITY_ERROR, "NIC::%s - Failed: %s", m_name, failure.what());
    }
}

bool CNicJob::IsAskedForAgain() {
    const std::lock_guard lock(m_mutex);
    m_underWay = m_waiting;
    m_waiting = false;
    return m_underWay;
}

} // namespace NIC
