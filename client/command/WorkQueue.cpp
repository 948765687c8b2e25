#include "WorkQueue.h"

#include <algorithm>
#include <thread>
#include <utility>
#include <vector>

namespace MdpCommand {
namespace {

// So many connections at once. More are no quicker on two cores, and would fill the service's queue of ten where others
// ask too.
constexpr std::size_t s_atOnce = 4;

} // namespace

void WorkQueue::Add(std::size_t number, Work work) {
    {
        const std::lock_guard lock(m_mutex);
        m_items.push_back({number, std::move(work)});
    }
    m_changed.notify_one();
}

std::optional<WorkQueue::Failure> WorkQueue::Run() {
    const std::size_t threads = std::min(m_items.size(), s_atOnce);
    std::vector<std::thread> others;
    try {
        while (others.size() + 1 < threads) {
            others.emplace_back([this] { TakeEachNext(); });
        }
    } catch (const std::exception&) { // no more threads, or no memory for them: those that are there do it
    }
    TakeEachNext();
    for (std::thread& other : others) {
        other.join();
    }
    if (m_thrown) {
        std::rethrow_exception(m_thrown);
    }
    return m_failure;
}

void WorkQueue::TakeEachNext() {
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_changed.wait(lock, [&] { return m_ends || !m_items.empty() || m_running == 0; });
        if (m_ends || m_items.empty()) {
            return;
        }
        const Item item = std::move(m_items.front());
        m_items.pop_front();
        ++m_running;
        lock.unlock();
        Do(item);
        lock.lock();
        if (--m_running == 0 || m_ends) {
            m_changed.notify_all();
        }
    }
}

void WorkQueue::Do(const Item& item) {
    try {
        const Mdp::Result<void> done = item.work();
        if (!done) {
            const std::lock_guard lock(m_mutex);
            m_ends = true;
            if (!m_failure || item.number < m_failure->number) {
                m_failure = Failure{item.number, done.Error()};
            }
        }
    } catch (...) {
        const std::lock_guard lock(m_mutex);
        m_ends = true;
        m_thrown = std::current_exception();
    }
}

} // namespace MdpCommand
