#include "log/LogQueue.h"

#include <fcntl.h>
#include <poll.h>
#include <syslog.h>
#include <unistd.h>

#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include "platform/CFileDescriptor.h"

namespace {

constexpr std::chrono::milliseconds TIME_FOR_THE_REST{2000};
// Longer than a parent takes that is not stopped itself.
constexpr int TIME_FOR_THE_PARENT_MS = 5000;

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
    std::optional<CFileDescriptor> fromParent; // tells how many of the parent's lines are lost
    std::optional<CFileDescriptor> toChild;
    bool isStarted = false;
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

void CLogQueue::Start() noexcept {
    const std::lock_guard lock(m_state->mutex);
    m_state->isStarted = true;
    if (!m_state->IsDone()) {
        StartWriter();
    }
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
    if (m_state->isStarted) {
        StartWriter();
    }
    m_state->arrived.notify_one();
}

bool CLogQueue::Flush(std::chrono::milliseconds limit) {
    std::unique_lock lock(m_state->mutex);
    m_state->isStarted = true;
    if (!m_state->IsDone()) {
        StartWriter();
    }
    if (!m_state->hasWriter) {
        // Rather late than never.
        WriteAll(lock, *m_state);
    }
    return m_state->written.wait_for(lock, limit, [this] { return m_state->IsDone(); });
}

void CLogQueue::PrepareFork() noexcept {
    int ends[2] = {-1, -1};
    // Without it the lines may come out of their order.
    if (pipe2(ends, O_CLOEXEC) == 0) {
        m_state->fromParent.emplace(ends[0]);
        m_state->toChild.emplace(ends[1]);
    }
}

void CLogQueue::ParentAfterFork(std::chrono::milliseconds limit) {
    m_state->fromParent.reset();
    Flush(limit);
    const std::lock_guard lock(m_state->mutex);
    const std::size_t lost = m_state->lines.size() + m_state->dropped + (m_state->isWriting ? 1 : 0);
    if (m_state->toChild) {
        [[maybe_unused]] const ssize_t unchecked = write(m_state->toChild->Get(), &lost, sizeof lost);
    }
}

void CLogQueue::ChildAfterFork() {
    m_state->toChild.reset();
    m_state->lines.clear();
    m_state->dropped = 0;
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
    WaitForParent(*state);
    std::unique_lock lock(state->mutex);
    do {
        WriteAll(lock, *state);
        state->written.notify_all();
        state->arrived.wait(lock, [&] { return !state->IsDone() || state->isEnding; });
    } while (!state->IsDone());
}

void CLogQueue::WaitForParent(TState& state) {
    // Nobody but the writer has to do with it from the fork on.
    if (!state.fromParent) {
        return;
    }
    pollfd waiting{state.fromParent->Get(), POLLIN, 0};
    std::size_t lost = 0;
    if (poll(&waiting, 1, TIME_FOR_THE_PARENT_MS) > 0 &&
        read(state.fromParent->Get(), &lost, sizeof lost) == sizeof lost) {
        const std::lock_guard lock(state.mutex);
        state.dropped += lost;
    }
    state.fromParent.reset();
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
