#include "Jobs.h"

#include <system_error>
#include <thread>

#include "Sessions.h"

namespace Gateway {
namespace {

constexpr std::size_t s_idBytes = 16;

} // namespace

void Jobs::DropOld() const {
    const auto now = std::chrono::steady_clock::now();
    std::erase_if(m_shared->jobs,
                  [&](const auto& pair) { return pair.second.job.outcome && now - pair.second.ended > Kept; });
}

std::optional<Jobs::Job> Jobs::Start(const std::string& owner, std::uint16_t index, Mdp::Bytes request,
                                     std::chrono::milliseconds patience) {
    const std::string id = RandomHex(s_idBytes);
    std::unique_lock lock(m_shared->mutex);
    DropOld();
    if (id.empty() || m_shared->running >= MostRunning || m_shared->jobs.size() >= MostKept) {
        return std::nullopt;
    }
    try {
        std::thread([shared = m_shared, id, index, request = std::move(request)] {
            Mdp::CallOptions options;
            options.timeout = Longest;
            auto outcome = shared->client.CallService(index, request, options);
            const std::lock_guard done(shared->mutex);
            Entry& entry = shared->jobs[id];
            entry.job.outcome.emplace(std::move(outcome));
            entry.ended = std::chrono::steady_clock::now();
            --shared->running;
            shared->ended.notify_all();
        }).detach();
    } catch (const std::system_error&) {
        return std::nullopt;
    }
    ++m_shared->running;
    Entry& entry = m_shared->jobs[id];
    entry.job = {id, index, owner, std::nullopt};
    m_shared->ended.wait_for(lock, patience, [&] { return entry.job.outcome.has_value(); });
    return entry.job;
}

std::optional<Jobs::Job> Jobs::Find(const std::string& owner, const std::string& id) {
    const std::lock_guard lock(m_shared->mutex);
    DropOld();
    const auto found = m_shared->jobs.find(id);
    return found != m_shared->jobs.end() && found->second.job.owner == owner ? std::optional(found->second.job)
                                                                             : std::nullopt;
}

} // namespace Gateway
