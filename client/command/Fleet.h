#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "Command.h"
#include "HostList.h"
#include "Report.h"

// One command on other machines, by ssh.

namespace MdpCommand {

struct FleetOptions {
    std::vector<Host> hosts;
    std::string remoteSocket;
    std::vector<std::string> sshOptions;
    std::uint64_t atOnce = 0; // machines, at most
    Mdp::Milliseconds connectTimeout{0};
    bool json = false;
};

// Where a command runs for one machine.
struct Workplace {
    std::string socket; // leads to the service of the machine
    const Host& host;
    Streams streams;
    const Report* report; // null if there is this one machine only
};

// The command itself, in a process of its own for each machine, and its exit status.
using Work = std::function<int(const Workplace& place)>;

// Tells that the only machine cannot be reached, and gives the exit status.
using FailAlone = std::function<int(const Host& host, const std::string& reason)>;

// Reaches the machines, several at once, runs the work for each and ends with the exit status for all. With one machine
// the work has the streams of this program and its exit status counts; of several the output is gathered and shown
// together when the last one has ended, or at once and line by line where the work says that it is a stream. A signal
// that ends this program reaches each work before, and leaves neither an ssh nor a socket behind. This process has one
// thread.
int RunOnHosts(const FleetOptions& options, Streams streams, const Work& work, const FailAlone& failAlone);

} // namespace MdpCommand
