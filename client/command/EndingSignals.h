#pragma once

#include <array>
#include <csignal>

namespace MdpCommand {

// Sets a handler for the signals by which users and systems end a program, but for those that are ignored, as under
// nohup. What was set before is set again with the end of the object.
class EndingSignals {
public:
    explicit EndingSignals(void (*handler)(int));
    ~EndingSignals();

    // A handler that only notes its signal, and the noted one, or 0. A later one, of someone who does not want to wait
    // any longer, ends the program at once; one that comes with the first does not: timeout(1) sends two, and so does
    // who ends a process and then its group.
    static void Note(int signal);
    static int Noted();
    // Lets the noted signal do what it does when it is not noted, and forgets it.
    static void RaiseNoted();
    // Ends the program by the signal. For handlers too.
    static void EndBy(int signal);

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
