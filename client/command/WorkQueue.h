#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>

#include "mdp/Result.h"

namespace MdpCommand {

// What has to be asked for, some of it at a time: the service answers each connection on a thread of its own, so that
// it takes less time than one after another.
class WorkQueue {
public:
    // Talks to the service once or a few times. An error is one that makes all the rest useless.
    using Work = std::function<Mdp::Result<void>()>;

    struct Failure {
        std::size_t number;
        Mdp::Error error;
    };

    // Behind what was added before. Work that runs may add more. The number tells whose failure it was.
    void Add(std::size_t number, Work work);

    // Does it all, on this thread and a few more, and returns when none of it runs any more. Where threads cannot be
    // had, fewer do it. After a failure nothing more begins; of several that of the lowest number is given. An
    // exception ends it in the same way, and is thrown on.
    std::optional<Failure> Run();

private:
    struct Item {
        std::size_t number;
        Work work;
    };

    // What one thread does.
    void TakeEachNext();
    void Do(const Item& item);

    std::mutex m_mutex; // of all that follows
    std::condition_variable m_changed;
    std::deque<Item> m_items;
    std::size_t m_running = 0;
    bool m_ends = false; // by a failure
    std::optional<Failure> m_failure;
    std::exception_ptr m_thrown;
};

} // namespace MdpCommand
