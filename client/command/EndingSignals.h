#pragma once

#include <array>
#include <csignal>

namespace MdpCommand {

// Sets a handler for the signals by which users and systems end a program, but for those that are ignored, as under
// nohup. It is called for the first of each: the second ends the program as if there had been none. What was set
// before is set again with the end of the object.
class EndingSignals {
public:
    explicit EndingSignals(void (*handler)(int));
    ~EndingSignals();

    // A handler that only notes its signal, and the noted one, or 0.
    static void Note(int signal);
    static int Noted();
    // Lets the noted signal do what it does when it is not noted, and forgets it.
    static void RaiseNoted();

    EndingSignals(const EndingSignals&) = delete;
    EndingSignals& operator=(const EndingSignals&) = delete;

private:
    static constexpr std::array s_signals{SIGINT, SIGTERM, SIGHUP};

    friend class HeldSignals;

    std::array<struct sigaction, s_signals.size()> m_former;
};

// While it exists those signals wait.
class HeldSignals {
public:
    HeldSignals();
    ~HeldSignals();
    HeldSignals(const HeldSignals&) = delete;
    HeldSignals& operator=(const HeldSignals&) = delete;

private:
    sigset_t m_former;
};

} // namespace MdpCommand
