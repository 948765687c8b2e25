#pragma once

#include <mutex>

#include "dictionary/MdpTimer.h"
#include "dictionary/ModuleActivator.h"
#include "dictionary/ObjDictionary.h"

// The timer of a module that asks its devices now and then, one pass at a time, and none while the module sleeps. A
// device may block for a minute: to put the module to sleep is refused meanwhile, as the dictionary, which stands still
// until its cleanup has what it wants, would wait too.
class CPassTimer {
public:
    // The activator owns this timer, and `callback` is a part of it.
    CPassTimer(CModuleActivator& activator, IMdpTimerCallback& callback)
        : m_activator(activator), m_callback(callback) {}

    // Lets passes begin.
    void Open();
    void Start(unsigned int periodMs, unsigned int parameter, void* pointer = nullptr);
    // Ends timer and passes. OBJ_E_BUSY, and both go on, where a pass is under way and the dictionary goes on too.
    ObjResult Stop(const CObjDictionary& dictionary);

    // A pass for the length of a scope: false where the module sleeps.
    class CPass {
    public:
        explicit CPass(CPassTimer& timer) : m_lock(timer.m_pass), m_open(timer.m_open) {}

        explicit operator bool() const { return m_open; }

    private:
        const std::lock_guard<std::mutex> m_lock;
        const bool m_open;
    };

private:
    bool Close();

    CModuleActivator& m_activator;
    IMdpTimerCallback& m_callback;
    unsigned int m_timerId = 0; // under the activator's section
    std::mutex m_pass;
    bool m_open = false;
};
