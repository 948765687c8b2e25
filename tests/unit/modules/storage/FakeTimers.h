#pragma once

#include <map>
#include <vector>

#include "dictionary/MdpTimer.h"

// Stands in for the timers of the process: linked instead of them, so that a test says when one fires.
struct FakeTimers {
    struct TTimer {
        IMdpTimerCallback* callback;
        unsigned int periodMs;
        unsigned int parameter;
        unsigned int flags;
    };

    // By id, those that run.
    static std::map<unsigned int, TTimer> timers;
    static std::vector<unsigned int> killed;

    static void Reset();
    // Calls the one timer that runs, on this thread. False where there is not just one.
    static bool Fire();
};
