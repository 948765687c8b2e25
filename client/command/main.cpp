#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <iostream>

#include "Command.h"

namespace {

// What is opened later must not take the number of a missing input or output, which fails as if it were still missing.
void FillMissingStreams() {
    for (const int number : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(number, F_GETFD) < 0) {
            (void)open("/dev/null", number == STDIN_FILENO ? O_WRONLY : O_RDONLY);
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    FillMissingStreams();
    // A reader that goes away (as head does) is a failed write, not a death.
    std::signal(SIGPIPE, SIG_IGN);
    const bool outIsTerminal = isatty(STDOUT_FILENO) == 1;
    const bool errIsTerminal = isatty(STDERR_FILENO) == 1;
    return MdpCommand::RunMdp({argv + 1, argv + argc}, {std::cout, std::cerr, outIsTerminal, errIsTerminal});
}
