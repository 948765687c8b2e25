#include "Sessions.h"

#include <sys/random.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

#include "mdp/Value.h"

namespace Gateway {
namespace {

constexpr std::size_t s_tokenBytes = 32;

} // namespace

std::string RandomHex(std::size_t bytes) {
    std::vector<std::uint8_t> random(bytes);
    return getentropy(random.data(), random.size()) == 0 ? Mdp::ToHex(random) : std::string();
}

void Sessions::DropOld() {
    const auto now = m_now();
    std::erase_if(m_sessions,
                  [&](const auto& pair) { return now - pair.second.used > Idle || now - pair.second.begun > Longest; });
}

std::string Sessions::Begin(Session session) {
    std::string token = RandomHex(s_tokenBytes);
    if (token.empty()) {
        return token;
    }
    const std::lock_guard lock(m_mutex);
    DropOld();
    if (m_sessions.size() >= Most) {
        m_sessions.erase(std::min_element(m_sessions.begin(), m_sessions.end(),
                                          [](const auto& a, const auto& b) { return a.second.used < b.second.used; }));
    }
    const auto now = m_now();
    m_sessions.emplace(token, Kept{std::move(session), now, now});
    return token;
}

std::optional<Session> Sessions::Find(const std::string& token) {
    if (token.empty()) {
        return std::nullopt;
    }
    const std::lock_guard lock(m_mutex);
    DropOld();
    const auto found = m_sessions.find(token);
    if (found == m_sessions.end()) {
        return std::nullopt;
    }
    found->second.used = m_now();
    return found->second.session;
}

bool Sessions::IsThere(const std::string& token) {
    const std::lock_guard lock(m_mutex);
    DropOld();
    return m_sessions.count(token) > 0;
}

void Sessions::End(const std::string& token) {
    const std::lock_guard lock(m_mutex);
    m_sessions.erase(token);
}

std::chrono::seconds Attempts::Begin(const std::string& key) {
    const std::lock_guard lock(m_mutex);
    const auto now = m_now();
    std::erase_if(m_kept,
                  [&](const auto& pair) { return now - std::max(pair.second.last, pair.second.until) > LongestWait; });
    const auto found = m_kept.find(key);
    if (found == m_kept.end() && m_kept.size() >= Most) {
        return FirstWait;
    }
    Kept& kept = found != m_kept.end() ? found->second : m_kept[key];
    if (now < kept.until) {
        return std::chrono::ceil<std::chrono::seconds>(kept.until - now);
    }
    ++kept.failures;
    kept.last = now;
    if (kept.failures >= Free) {
        const unsigned doublings = std::min(kept.failures - Free, 8U);
        kept.until = now + std::min(FirstWait * (1 << doublings), LongestWait);
    }
    return std::chrono::seconds(0);
}

void Attempts::Succeed(const std::string& key) {
    const std::lock_guard lock(m_mutex);
    m_kept.erase(key);
}

} // namespace Gateway
