#include "log/LogQueue.h"

#include <syslog.h>

#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

namespace {

constexpr std::chrono::milliseconds TIME_FOR_THE_REST{2000};

struct TLine {
    int priority;
    std::string text;
};

} // namespace

struct CLogQueue::TState {
    std::mutex mutex;
    std::condition_variable arrived;
    std::condition_variable written;
    std::deque<TLine> lines;
    std::size_t dropped = 0;
    bool hasWriter = false;
    bool isWriting = false;
    bool isEnding = false;

    bool IsDone() const { return lines.empty() && dropped == 0 && !isWriting; }
};

CLogQueue::CLogQueue() : m_state(std::make_shared<TState>()) {}

CLogQueue::~CLogQueue() {
    Flush(TIME_FOR_THE_REST);
    const std::lock_guard lock(m_state->mutex);
    m_state->isEnding = true;
    m_state->arrived.notify_all();
}

void CLogQueue::Put(int priority, const char* text) noexcept {
    const std::lock_guard lock(m_state->mutex);
    try {
        if (m_state->lines.size() < CAPACITY) {
            m_state->lines.push_back({priority, text});
        } else {
            ++m_state->dropped;
        }
    } catch (const std::exception&) { // no memory
        ++m_state->dropped;
    }
    StartWriter();
    m_state->arrived.notify_one();
}

bool CLogQueue::Flush(std::chrono::milliseconds limit) {
    std::unique_lock lock(m_state->mutex);
    if (!m_state->IsDone()) {
        StartWriter();
    }
    if (!m_state->hasWriter) {
        // Rather late than never.
        WriteAll(lock, *m_state);
    }
    return m_state->written.wait_for(lock, limit, [this] { return m_state->IsDone(); });
}

void CLogQueue::StartWriter() noexcept {
    if (m_state->hasWriter) {
        return;
    }
    try {
        std::thread(Write, m_state).detach();
        m_state->hasWriter = true;
    } catch (const std::exception&) { // no thread or no memory
    }
}

void CLogQueue::Write(const std::shared_ptr<TState>& state) {
    std::unique_lock lock(state->mutex);
    do {
        WriteAll(lock, *state);
        state->written.notify_all();
        state->arrived.wait(lock, [&] { return !state->IsDone() || state->isEnding; });
    } while (!state->IsDone());
}

void CLogQueue::WriteAll(std::unique_lock<std::mutex>& lock, TState& state) {
    while (!state.IsDone()) {
        TLine line{};
        std::size_t dropped = 0;
        if (state.lines.empty()) {
            dropped = std::exchange(state.dropped, 0);
        } else {
            line = std::move(state.lines.front());
            state.lines.pop_front();
        }
        state.isWriting = true;
        lock.unlock();
        if (dropped != 0) {
            syslog(LOG_WARNING, "Warning: Logger: %zu lines were dropped while the system log took none", dropped);
        } else {
            syslog(line.priority, "%s", line.text.c_str());
        }
        lock.lock();
        state.isWriting = false;
    }
}
