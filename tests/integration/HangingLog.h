#pragma once

#include <condition_variable>
#include <mutex>

#include "SyslogSink.h"

// The log daemon hangs from the next line on, until the end of the scope.
class HangingLog {
public:
    explicit HangingLog(SyslogSink& log) : m_log(log) {
        m_log.SetWatcher([this](const SyslogLine&) {
            std::unique_lock lock(m_mutex);
            m_hangs = true;
            m_hanging.notify_all();
            m_released.wait(lock, [this] { return m_isReleased; });
        });
    }

    ~HangingLog() {
        {
            const std::lock_guard lock(m_mutex);
            m_isReleased = true;
        }
        m_released.notify_all();
        m_log.SetWatcher(nullptr);
    }

    // Until it has taken the line that it hangs with.
    void WaitUntilItHangs() {
        std::unique_lock lock(m_mutex);
        m_hanging.wait(lock, [this] { return m_hangs; });
    }

    HangingLog(const HangingLog&) = delete;
    HangingLog& operator=(const HangingLog&) = delete;

private:
    SyslogSink& m_log;
    std::mutex m_mutex;
    std::condition_variable m_hanging;
    std::condition_variable m_released;
    bool m_hangs = false;
    bool m_isReleased = false;
};
