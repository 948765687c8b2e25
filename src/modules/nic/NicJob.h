#pragma once

#include <mutex>

#include "dictionary/Object.h"
#include "platform/OsUserThread.h"

namespace NIC {

// One kind of work that an object does in the background, on a thread that nobody waits for. One run is under way, and
// at most one more waits for its end, however often it is asked for: that one sees all that was written until it
// begins.
class CNicJob {
public:
    // A member of `owner`, which lives at least until the last run has ended. `parameter` is the routine's, `name`
    // stands in the log.
    CNicJob(CObject& owner, OsUserThreadRoutine routine, void* parameter, const char* name)
        : m_owner(owner), m_routine(routine), m_parameter(parameter), m_name(name) {}

    // Never waits and never throws. Without memory or threads the log tells that the work is not done.
    void Request() noexcept;

private:
    static std::uint32_t Thread(void* job);

    void Run() noexcept;
    bool IsAskedForAgain();

    CObject& m_owner;
    OsUserThreadRoutine m_routine;
    void* m_parameter;
    const char* m_name;

    std::mutex m_mutex;
    bool m_underWay = false;
    bool m_waiting = false;
};

} // namespace NIC
