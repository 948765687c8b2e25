#pragma once

#include <chrono>

namespace Hesperd {

// A connection that has not sent a whole header yet. Those that exist are known to each other, so that the ones that
// say nothing for long can be ended when others need their descriptors, threads and memory.
class CSilentClient {
public:
    // From then on it may be ended.
    static constexpr std::chrono::seconds PATIENCE{30};

    // The socket must stay open until the destructor has run.
    explicit CSilentClient(int socket);
    ~CSilentClient();
    CSilentClient(const CSilentClient&) = delete;
    CSilentClient& operator=(const CSilentClient&) = delete;

    // Ends the connections that have been silent for `patience`: their threads read the end of the file. Any thread.
    static void EndThose(std::chrono::milliseconds patience = PATIENCE);

private:
    const int m_socket;
    const std::chrono::steady_clock::time_point m_since;
    CSilentClient* m_previous;
    CSilentClient* m_next;
};

} // namespace Hesperd
