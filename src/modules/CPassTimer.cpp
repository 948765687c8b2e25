#include "modules/CPassTimer.h"

void CPassTimer::Open() {
    const std::lock_guard<std::mutex> lock(m_pass);
    m_open = true;
}

void CPassTimer::Start(unsigned int periodMs, unsigned int parameter, void* pointer) {
    m_timerId = MdpSetTimer(&m_callback, periodMs, parameter, pointer, 0);
}

ObjResult CPassTimer::Stop(const CObjDictionary& dictionary) {
    bool closed = Close();
    if (!closed && !dictionary.IsEnding()) {
        return OBJ_E_BUSY;
    }
    if (m_timerId != 0) {
        MdpKillTimer(m_timerId);
        m_timerId = 0;
    }
    closed = closed || Close();
    if (!closed) {
        // The process ends, and the pass may outlive all that it has been waited for: its activator stays.
        InterlockedIncrement(&m_activator.m_refCount);
    }
    return OBJ_E_NOERR;
}

bool CPassTimer::Close() {
    const std::unique_lock<std::mutex> lock(m_pass, std::try_to_lock);
    if (!lock.owns_lock()) {
        return false;
    }
    m_open = false;
    return true;
}
