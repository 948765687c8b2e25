#include "service/CSignals.h"

#include <csignal>

#include "service/Exceptions.h"
#include "service/Logger.h"

namespace Hesperd {

namespace {

// Noted by the handlers, so they must be changeable without a lock.
std::atomic<bool> s_terminateToLog{false};
std::atomic<bool> s_pipeToLog{false};
static_assert(std::atomic<bool>::is_always_lock_free);

} // namespace

std::atomic<bool> CSignals::signalTerminate{false};

void CSignals::InitSignals() {
    if (std::signal(SIGTERM, SignalHandlerTerminate) == SIG_ERR) {
        throw SignalException("Could not initialize Signal: SIGTERM");
    }
    if (std::signal(SIGPIPE, SignalHandlerPipe) == SIG_ERR) {
        throw SignalException("Could not initialize Signal: SIGPIPE");
    }
}

bool CSignals::SignalTerminateState() {
    return signalTerminate.load();
}

void CSignals::SignalHandlerTerminate(int /*signal*/) {
    s_terminateToLog.store(true);
    signalTerminate.store(true);
}

void CSignals::SignalHandlerPipe(int /*signal*/) {
    s_pipeToLog.store(true);
}

void CSignals::LogSignals() {
    if (s_pipeToLog.exchange(false)) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "Sylvarin->SignalHandlerPipe: Client crashed!");
    }
    if (s_terminateToLog.exchange(false)) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "Sylvarin->SignalHandlerTerminate: Got terminate signal!");
    }
}

} // namespace Hesperd
