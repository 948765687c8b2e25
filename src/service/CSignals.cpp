#include "service/CSignals.h"

#include <csignal>

#include "log/Logger.h"
#include "service/Exceptions.h"

namespace Hesperd {

namespace {

// Noted by the handlers, so they must be changeable without a lock.
std::atomic<bool> s_terminateToLog{false};
std::atomic<unsigned int> s_pipesToLog{0};
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<unsigned int>::is_always_lock_free);

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
    s_pipesToLog.fetch_add(1);
}

void CSignals::LogSignals() {
    for (unsigned int pipes = s_pipesToLog.exchange(0); pipes > 0; --pipes) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "Sylvarin->SignalHandlerPipe: Client crashed!");
    }
    if (s_terminateToLog.exchange(false)) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "Sylvarin->SignalHandlerTerminate: Got terminate signal!");
    }
}

} // namespace Hesperd
