#include <unistd.h>

#include <csignal>
#include <iostream>

#include "Command.h"

int main(int argc, char** argv) {
    // A reader that goes away (as head does) is a failed write, not a death.
    std::signal(SIGPIPE, SIG_IGN);
    const bool outIsTerminal = isatty(STDOUT_FILENO) == 1;
    const bool errIsTerminal = isatty(STDERR_FILENO) == 1;
    return MdpCommand::RunMdp({argv + 1, argv + argc}, {std::cout, std::cerr, outIsTerminal, errIsTerminal});
}
