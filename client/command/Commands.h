#pragma once

#include "Command.h"

// The makers of all commands, each in a file of its own.

namespace MdpCommand {

std::unique_ptr<Command> MakeModulesCommand();
std::unique_ptr<Command> MakeReadCommand();
std::unique_ptr<Command> MakeWriteCommand();
std::unique_ptr<Command> MakeTreeCommand();
std::unique_ptr<Command> MakeDescribeCommand();
std::unique_ptr<Command> MakeCallCommand();

} // namespace MdpCommand
