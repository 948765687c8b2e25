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

    HangingLog(const HangingLog&) = delete;
    HangingLog& operator=(const HangingLog&) = delete;

private:
    SyslogSink& m_log;
    std::mutex m_mutex;
    std::condition_variable m_released;
    bool m_isReleased = false;
};
