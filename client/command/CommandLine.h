#pragma once

#include <string>
#include <vector>

#include "Program.h"

namespace MdpCommand {

// What a command line asks for: a command that has its arguments, or, where it is null and nothing is wrong, the help
// text or the version, which have been shown.
struct ParsedLine {
    Command* command = nullptr;
    std::string wrong;
};

// Takes the words apart into the targets of the program's arguments.
ParsedLine ParseCommandLine(const Program& program, std::vector<std::string> words, const Streams& streams);

} // namespace MdpCommand
