#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>

namespace Gateway {

struct Session {
    std::string user;
    bool mayLook = false;
    bool mayChange = false;
};

using SteadyNow = std::function<std::chrono::steady_clock::time_point()>;

/// Who is signed in. A session ends when it is signed out, when nobody has used it for a while, after a working day in
/// any case, and with the gateway. For use by several threads.
class Sessions {
public:
    static constexpr std::chrono::minutes Idle{30};
    static constexpr std::chrono::hours Longest{12};
    static constexpr std::size_t Most = 256; ///< the one that was not used for longest makes room

    explicit Sessions(SteadyNow now = std::chrono::steady_clock::now) : m_now(std::move(now)) {}

    /// The token of a new session: 256 random bits in hexadecimal digits. Empty if there is no randomness to be had.
    std::string Begin(Session session);

    /// The session of the token, whose use is noted.
    std::optional<Session> Find(const std::string& token);

    /// As Find, without noting a use: a page that is only open does not keep its session.
    bool IsThere(const std::string& token);

    void End(const std::string& token);

private:
    struct Kept {
        Session session;
        std::chrono::steady_clock::time_point begun;
        std::chrono::steady_clock::time_point used;
    };

    void DropOld();

    SteadyNow m_now;
    std::mutex m_mutex;
    std::map<std::string, Kept> m_sessions;
};

/// So many random bytes of the system, in hexadecimal digits; empty if there are none to be had.
std::string RandomHex(std::size_t bytes);

/// How often somebody may fail. Keys are accounts or addresses; each that fails too often waits, twice as long every
/// time. For use by several threads.
class Attempts {
public:
    static constexpr unsigned Free = 5; ///< failures before the first wait
    static constexpr std::chrono::seconds FirstWait{30};
    static constexpr std::chrono::seconds LongestWait{900}; ///< and a key is forgotten after as long without failure
    static constexpr std::size_t Most = 4096;               ///< keys at once; beyond it everybody new waits

    explicit Attempts(SteadyNow now = std::chrono::steady_clock::now) : m_now(std::move(now)) {}

    /// Seconds to wait before the next attempt; 0 if it may be made now. What may be made counts as a failure until
    /// Succeed: many at once are not free.
    std::chrono::seconds Begin(const std::string& key);

    void Succeed(const std::string& key);

private:
    struct Kept {
        unsigned failures = 0;
        std::chrono::steady_clock::time_point last;
        std::chrono::steady_clock::time_point until;
    };

    SteadyNow m_now;
    std::mutex m_mutex;
    std::map<std::string, Kept> m_kept;
};

} // namespace Gateway
