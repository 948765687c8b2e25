#include "EndingSignals.h"

#include <atomic>
#include <cstdint>
#include <ctime>

namespace MdpCommand {
namespace {

volatile std::sig_atomic_t s_noted = 0;
std::atomic<std::int64_t> s_notedAt{0};
static_assert(std::atomic<std::int64_t>::is_always_lock_free); // it is a handler's

// Signals within that time of the first were sent by the same hand.
constexpr std::int64_t s_togetherMs = 500;

std::int64_t NowMs() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

} // namespace

EndingSignals::EndingSignals(void (*handler)(int)) {
    struct sigaction action {};

    action.sa_handler = handler;
    action.sa_flags = SA_NODEFER;
    for (std::size_t i = 0; i < s_signals.size(); ++i) {
        sigaction(s_signals[i], nullptr, &m_former[i]);
        if (m_former[i].sa_handler != SIG_IGN) {
            sigaction(s_signals[i], &action, nullptr);
        }
    }
}

EndingSignals::~EndingSignals() {
    for (std::size_t i = 0; i < s_signals.size(); ++i) {
        sigaction(s_signals[i], &m_former[i], nullptr);
    }
}

void EndingSignals::Note(int signal) {
    if (s_noted == 0) {
        s_notedAt = NowMs();
        s_noted = signal;
    } else if (NowMs() - s_notedAt > s_togetherMs) {
        EndBy(signal);
    }
}

void EndingSignals::EndBy(int signal) {
    std::signal(signal, SIG_DFL);
    raise(signal);
}

int EndingSignals::Noted() {
    return static_cast<int>(s_noted); // a long on some systems
}

void EndingSignals::RaiseNoted() {
    if (const int signal = Noted(); signal != 0) {
        s_noted = 0;
        raise(signal);
    }
}

HeldSignals::HeldSignals() {
    sigset_t held;
    sigemptyset(&held);
    for (const int signal : EndingSignals::s_signals) {
        sigaddset(&held, signal);
    }
    pthread_sigmask(SIG_BLOCK, &held, &m_former);
}

HeldSignals::~HeldSignals() {
    pthread_sigmask(SIG_SETMASK, &m_former, nullptr);
}

} // namespace MdpCommand
