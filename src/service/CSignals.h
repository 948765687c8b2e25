#pragma once

#include <atomic>
#include <chrono>

namespace Hesperd {

// The signals of the process: SIGTERM ends it, SIGPIPE is logged. No other is handled.
class CSignals {
public:
    // Throws SignalException where a handler cannot be set.
    static void InitSignals();

    // Whether SIGTERM has arrived. Never reset.
    static bool SignalTerminateState();

    // Waits for a signal, a Wake or, unless it is negative, the end of the time. For one thread, which is then to call
    // LogSignals.
    static void Wait(std::chrono::milliseconds limit);
    // Ends the wait, or the next one. May be called from a signal handler.
    static void Wake();

    static void SignalHandlerTerminate(int signal);
    static void SignalHandlerPipe(int signal);

    // Logs what the handlers noted since the last call. They cannot log by themselves: a signal may arrive in the
    // middle of the allocator or the system log, which would then wait for itself.
    static void LogSignals();

private:
    static std::atomic<bool> signalTerminate;
};

} // namespace Hesperd
