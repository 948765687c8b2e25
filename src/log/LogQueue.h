#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <mutex>

// Lines on their way to the system log, written in their order by a thread of their own: a log daemon that hangs holds
// up nobody else. Any thread may call it, but for what surrounds a fork.
class CLogQueue {
public:
    // So many lines wait at most.
    static constexpr std::size_t CAPACITY = 8192;

    // Keeps the lines until it is started.
    CLogQueue();
    // Gives the lines that still wait a short time.
    ~CLogQueue();
    CLogQueue(const CLogQueue&) = delete;
    CLogQueue& operator=(const CLogQueue&) = delete;

    // Never waits for the system log: a line that finds the queue full is counted, and the count told once there is
    // room again. `priority` is syslog's.
    void Put(int priority, const char* text) noexcept;

    // From here on the first line that waits starts the writer.
    void Start() noexcept;

    // Starts it too, and waits until every line is written. False where that takes longer; the writer is then inside
    // the system log.
    bool Flush(std::chrono::milliseconds limit);

    // Around a fork whose child goes on with the log, of a queue that was not started: it has no thread that the child
    // would lack. The parent's lines bear its own process number, so it writes them itself, for as long as `limit` at
    // most, and what then still waits is the child's to count as dropped. The child's writer begins when the parent is
    // done.
    void PrepareFork() noexcept;
    void ParentAfterFork(std::chrono::milliseconds limit);
    void ChildAfterFork();

private:
    struct TState;

    static void Write(const std::shared_ptr<TState>& state);
    // Waits for the end of the parent's lines, but not for ever.
    static void WaitForParent(TState& state);
    // Takes the lock and gives it back held, as the state's mutex is free while the system log has a line.
    static void WriteAll(std::unique_lock<std::mutex>& lock, TState& state);
    // With the state's mutex held. Where no thread can be had the next line tries again.
    void StartWriter() noexcept;

    std::shared_ptr<TState> m_state; // the writer's too: it may hang in the system log for longer than this lives
};
