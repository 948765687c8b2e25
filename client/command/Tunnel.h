#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

#include "HostList.h"
#include "mdp/Client.h"

// The way to the service of another machine: ssh(1), which forwards a socket of this side to that of the service.

namespace MdpCommand {

struct TunnelOptions {
    std::string remoteSocket;
    std::vector<std::string> sshOptions; // as ssh takes them behind -o; they go before what stands here
    bool asks = false;                   // ssh may ask the user, who has a terminal, for passwords and the like
    Mdp::Milliseconds connectTimeout{0};
};

// A path of the other machine that can be given to ssh and to any shell.
bool IsForwardable(const std::string& path);

// One ssh with its forward. It runs a few words in the other machine's shell, which tell who owns the socket there, so
// that nobody else can stand in for the service, and that ssh has come so far; then it waits for the end of its input.
// So ssh ends, too, when this program was killed. Signals of the terminal do not reach ssh: what has to be tidied up on
// the other machine needs it still.
class Tunnel {
public:
    enum class State { Connecting, Open, Ended };

    // `socket`: where the forward is on this side, in a directory that nobody else may enter.
    Tunnel(const Host& host, std::string socket, const TunnelOptions& options);
    // Ends ssh and deletes the socket.
    ~Tunnel();
    Tunnel(const Tunnel&) = delete;
    Tunnel& operator=(const Tunnel&) = delete;

    State Is() const { return m_state; }

    const std::string& Socket() const { return m_socket; }

    // What ssh puts out, to be waited for with poll(2) and then taken; -1 at the end of each.
    int Output() const { return m_output; }

    int Errors() const { return m_errors; }

    // Take what is there. The texts of the second are given back, too.
    void TakeOutput();
    std::string TakeErrors();

    // In a process that was forked: these are the other's.
    void CloseDescriptors();

    // Ends it for a reason of the caller's.
    void GiveUp(std::string reason);

    // Why it ended; without the words of ssh where the user has been shown them.
    std::string Reason(bool isShown) const;

private:
    void Start(const TunnelOptions& options);
    void LookAtGreeting();
    // Why the other machine's socket is not to be used, or nothing.
    std::string CheckOwner(const std::string& greeting) const;
    // ssh has so long to end of its own.
    void End(std::chrono::milliseconds grace);
    bool WaitForEnd(std::chrono::milliseconds limit);

    Host m_host;
    std::string m_socket;
    std::string m_remoteSocket;
    State m_state = State::Connecting;
    std::string m_greeting;  // what ssh put out until it was open
    std::string m_complaint; // the last lines of what ssh put out as errors
    std::string m_reason;
    bool m_wasOpen = false;
    pid_t m_process = -1;
    int m_exitStatus = -1;
    int m_input = -1;
    int m_output = -1;
    int m_errors = -1;
};

} // namespace MdpCommand
