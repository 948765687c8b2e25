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
    CSectionLock lock(m_section);
    if (!IsActive()) {
        return OBJ_E_NOERR;
    }
    const ObjResult result = DoDeactivate();
    m_active.store(IsError(result), std::memory_order_relaxed);
    return result;
}

void CModuleActivator::SetActivationTS() {
    CSectionLock lock(m_section);
    m_lastActivation = SystemFileTime();
}

std::uint64_t CModuleActivator::GetMilisSinceLastActivation() {
    CSectionLock lock(m_section);
    if (m_lastActivation == 0) {
        return 0;
    }
    return (SystemFileTime() - m_lastActivation) / FILETIME_UNITS_PER_MS;
}
