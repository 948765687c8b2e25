#include "dictionary/ModuleActivator.h"

#include "platform/OsUserTime.h"

namespace {

constexpr std::uint64_t FILETIME_UNITS_PER_MS = 10000;

std::uint64_t SystemFileTime() {
    _SYSTEMTIME now;
    _FILETIME fileTime = 0;
    OsUserGetSystemTime(&now);
    OsUserSystemTimeToFileTime(&now, &fileTime);
    return fileTime;
}

} // namespace

ObjResult CModuleActivator::DoActivate() {
    SetActivationTS();
    return OBJ_E_NOTIMPL;
}

ObjResult CModuleActivator::DoDeactivate() {
    return OBJ_E_NOTIMPL;
}

ObjResult CModuleActivator::Activate() {
    CSectionLock lock(m_section);
    ObjResult result = OBJ_E_NOERR;
    if (!IsActive()) {
        result = DoActivate();
        m_active.store(!IsError(result), std::memory_order_relaxed);
    }
    SetActivationTS();
    return result;
}

ObjResult CModuleActivator::Deactivate() {
    // Waking takes the section and then passes the gate, which the caller of this holds: a wait here would turn that
    // order round. There is nothing to wait for: who wakes a module has a shared hold, and there is none beside the
    // exclusive one.
    const CSectionTryLock lock(m_section);
    if (!lock) {
        return OBJ_E_BUSY;
    }
    if (!IsActive()) {
        return OBJ_E_NOERR;
    }
    const ObjResult result = DoDeactivate();
    m_active.store(IsError(result), std::memory_order_relaxed);
    return result;
}

void CModuleActivator::SetActivationTS() {
    m_lastActivation.store(SystemFileTime(), std::memory_order_relaxed);
}

std::uint64_t CModuleActivator::GetMilisSinceLastActivation() {
    const std::uint64_t last = m_lastActivation.load(std::memory_order_relaxed);
    return last == 0 ? 0 : (SystemFileTime() - last) / FILETIME_UNITS_PER_MS;
}
