#include "EndingSignals.h"

namespace MdpCommand {
namespace {

volatile std::sig_atomic_t s_noted = 0;

} // namespace

EndingSignals::EndingSignals(void (*handler)(int)) {
    struct sigaction action {};

    action.sa_handler = handler;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
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
    s_noted = signal;
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
