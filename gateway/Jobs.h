#pragma once

#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "mdp/Client.h"

namespace Gateway {

/// Jobs of service objects, each in a thread of its own, with their ends. For use by several threads.
class Jobs {
public:
    static constexpr std::size_t MostRunning = 16;
    static constexpr std::size_t MostKept = 256;
    static constexpr std::chrono::minutes Kept{10};    ///< after the end
    static constexpr std::chrono::minutes Longest{15}; ///< that a job is waited for

    struct Job {
        std::string id;
        std::uint16_t index = 0;
        std::string owner;
        std::optional<Mdp::Result<Mdp::ServiceResponse>> outcome; ///< none while it runs
    };

    explicit Jobs(const Mdp::Client& client) : m_shared(std::make_shared<Shared>(client)) {}

    /// Starts it and waits for its end, at most for the time. None where there is no room for one more.
    std::optional<Job> Start(const std::string& owner, std::uint16_t index, Mdp::Bytes request,
                             std::chrono::milliseconds patience);

    /// None for a job that is not known, or not the owner's.
    std::optional<Job> Find(const std::string& owner, const std::string& id);

private:
    struct Entry {
        Job job;
        std::chrono::steady_clock::time_point ended;
    };

    // What the threads hold: one that still waits for its job outlives the rest.
    struct Shared {
        explicit Shared(Mdp::Client asked) : client(std::move(asked)) {}

        const Mdp::Client client;
        std::mutex mutex;
        std::condition_variable ended;
        std::map<std::string, Entry> jobs;
        std::size_t running = 0;
    };

    void DropOld() const;

    std::shared_ptr<Shared> m_shared;
};

} // namespace Gateway
