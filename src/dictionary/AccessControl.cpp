#include "dictionary/AccessControl.h"

#include <sched.h>

#include "platform/OsUserEvent.h"
#include "platform/OsUserHandle.h"

CAccessControl::CAccessControl() : m_noReaders(OsUserCreateEvent(nullptr, 1, 1, nullptr)) {}

// The gate is left while the count is not to be had, so that the two sections are never waited for together.
void CAccessControl::EnterGateAndCount() {
    m_gateSection.Enter();
    while (!m_countSection.TryEnter()) {
        m_gateSection.Leave();
        sched_yield();
        m_gateSection.Enter();
    }
}

void CAccessControl::Access() {
    EnterGateAndCount();
    if (m_readers++ == 0) {
        OsUserResetEvent(m_noReaders.get());
    }
    m_countSection.Leave();
    m_gateSection.Leave();
}

void CAccessControl::Unaccess() {
    CSectionLock lock(m_countSection);
    if (--m_readers == 0) {
        OsUserSetEvent(m_noReaders.get());
    }
}

void CAccessControl::AccessExcl() {
    for (;;) {
        OsUserWaitForSingleObject(m_noReaders.get(), OSUSER_INFINITE);
        EnterGateAndCount();
        const bool free = m_readers == 0;
        m_countSection.Leave();
        if (free) {
            return;
        }
        m_gateSection.Leave();
    }
}

void CAccessControl::UnaccessExcl() {
    m_gateSection.Leave();
}
