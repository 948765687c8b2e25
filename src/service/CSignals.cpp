#include "service/CSignals.h"

#include <semaphore.h>

#include <cerrno>
#include <csignal>
#include <ctime>

#include "log/Logger.h"
#include "service/Exceptions.h"

namespace Hesperd {

namespace {

// Noted by the handlers, so they must be changeable without a lock.
std::atomic<bool> s_terminateToLog{false};
std::atomic<unsigned int> s_pipesToLog{0};

// What the main thread waits for; a semaphore may be posted by a handler. Never destroyed: handlers run to the end.
sem_t* WakeUps() {
    static sem_t* const semaphore = [] {
        static sem_t made;
        sem_init(&made, 0, 0);
        return &made;
    }();
    return semaphore;
}

static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<unsigned int>::is_always_lock_free);

} // namespace

std::atomic<bool> CSignals::signalTerminate{false};

void CSignals::InitSignals() {
    WakeUps(); // made before a handler needs it
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

void CSignals::Wait(std::chrono::milliseconds limit) {
    sem_t* wakeUps = WakeUps();
    if (limit.count() < 0) {
        while (sem_wait(wakeUps) != 0 && errno == EINTR) {
        }
    } else {
        timespec end{};
        clock_gettime(CLOCK_REALTIME, &end);
        const auto nanoseconds = std::chrono::nanoseconds(limit).count() + end.tv_nsec;
        end.tv_sec += nanoseconds / 1000000000;
        end.tv_nsec = nanoseconds % 1000000000;
        while (sem_timedwait(wakeUps, &end) != 0 && errno == EINTR) {
        }
    }
    // One look answers them all.
    while (sem_trywait(wakeUps) == 0) {
    }
}

void CSignals::Wake() {
    const int error = errno;
    sem_post(WakeUps());
    errno = error;
}

void CSignals::SignalHandlerTerminate(int /*signal*/) {
    s_terminateToLog.store(true);
    signalTerminate.store(true);
    Wake();
}

void CSignals::SignalHandlerPipe(int /*signal*/) {
    s_pipesToLog.fetch_add(1);
    Wake();
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
