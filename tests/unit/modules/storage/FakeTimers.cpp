#include "FakeTimers.h"

std::map<unsigned int, FakeTimers::TTimer> FakeTimers::timers;
std::vector<unsigned int> FakeTimers::killed;

namespace {

unsigned int s_lastId = 0;

} // namespace

void FakeTimers::Reset() {
    timers.clear();
    killed.clear();
    s_lastId = 0;
}

bool FakeTimers::Fire() {
    if (timers.size() != 1) {
        return false;
    }
    const auto& [id, timer] = *timers.begin();
    timer.callback->MdpTimerproc(id, timer.parameter, nullptr);
    return true;
}

extern "C" {
unsigned int __wrap__Z11MdpSetTimerP17IMdpTimerCallbackjjPvj(IMdpTimerCallback* callback, unsigned int periodMs,
                                                             unsigned int parameter, void* pointer, unsigned int flags);
void __wrap__Z12MdpKillTimerj(unsigned int timerId);

unsigned int __wrap__Z11MdpSetTimerP17IMdpTimerCallbackjjPvj(IMdpTimerCallback* callback, unsigned int periodMs,
                                                             unsigned int parameter, void* /*pointer*/,
                                                             unsigned int flags) {
    FakeTimers::timers[++s_lastId] = {callback, periodMs, parameter, flags};
    return s_lastId;
}

void __wrap__Z12MdpKillTimerj(unsigned int timerId) {
    FakeTimers::timers.erase(timerId);
    FakeTimers::killed.push_back(timerId);
}
}
