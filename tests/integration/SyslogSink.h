#pragma once

#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

// One message as it arrived at /dev/log.
struct SyslogLine {
    int facility; // the number alone: 16 is LOG_LOCAL0
    int priority; // 0 to 7
    std::string ident;
    pid_t pid; // 0 if the message names none
    std::string text;
};

// The machine's system log: a datagram socket at /dev/log, read on a thread of its own until the destructor.
// All members may be called from any thread.
class SyslogSink {
public:
    SyslogSink();
    ~SyslogSink();
    SyslogSink(const SyslogSink&) = delete;
    SyslogSink& operator=(const SyslogSink&) = delete;

    // What has arrived so far, in order of arrival.
    std::vector<SyslogLine> Lines() const;
    std::vector<std::string> Texts() const;
    std::size_t Count(const std::string& text) const;

    // Waits for a line with exactly this text, or one that starts with it. False after the time limit.
    bool WaitFor(const std::string& text) const;
    bool WaitForStart(const std::string& start) const;

    // Called on the sink's thread for every line from now on, before the line can be seen in Lines. Null ends it.
    void SetWatcher(std::function<void(const SyslogLine&)> watcher);

    // Forgets what has arrived.
    void Clear();

private:
    void Receive();
    bool WaitUntil(const std::function<bool(const SyslogLine&)>& wanted) const;

    int m_socket = -1;
    int m_stopPipe[2] = {-1, -1};
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_arrived;
    std::vector<SyslogLine> m_lines;
    std::mutex m_watcherMutex;
    std::function<void(const SyslogLine&)> m_watcher;
    std::thread m_thread;
};
