#pragma once

#include <atomic>

#include "dictionary/AddRefRelease.h"
#include "dictionary/ObjResult.h"
#include "platform/OsUserCriticalSection.h"

// Sleep and wake of a module: its header stays, its data objects and timers exist only while clients use them. The
// dictionary calls Activate on every request for the module's slot and Deactivate some time after the last one.
class CModuleActivator : public CAddRefRelease {
public:
    // Makes the module's objects and starts its timers; replaced by every module. Called under the section, on the
    // thread of a client that has a shared hold on the dictionary.
    virtual ObjResult DoActivate();
    // Takes back what DoActivate made. Called under the section and the dictionary's exclusive hold.
    virtual ObjResult DoDeactivate();

    // Wakes the module if it sleeps and stamps the time, also where waking failed: the next request tries again.
    ObjResult Activate();
    // Puts the module to sleep if it is awake; one that refuses stays awake. Called under the dictionary's exclusive
    // hold; OBJ_E_BUSY where another thread is waking the module all the same.
    ObjResult Deactivate();

    void SetActivationTS();
    // Milliseconds since the stamp; 0 where there is none.
    std::uint64_t GetMilisSinceLastActivation();

    bool IsActive() const { return m_active.load(std::memory_order_relaxed); }

private:
    CSection m_section;
    std::atomic<std::uint64_t> m_lastActivation{0}; // system time as file time, units of 100 ns
    std::atomic<bool> m_active{false};
};
