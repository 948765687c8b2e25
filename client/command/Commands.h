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
std::unique_ptr<Command> MakeWatchCommand();
std::unique_ptr<Command> MakeNetCommand();
std::unique_ptr<Command> MakeTimeCommand();
std::unique_ptr<Command> MakeZoneCommand();
std::unique_ptr<Command> MakeNtpCommand();
std::unique_ptr<Command> MakeDrivesCommand();
std::unique_ptr<Command> MakeDiscsCommand();
std::unique_ptr<Command> MakeSensorsCommand();
std::unique_ptr<Command> MakeGpioCommand();
std::unique_ptr<Command> MakeUpsCommand();
std::unique_ptr<Command> MakeRuntimeCommand();
std::unique_ptr<Command> MakeRoutesCommand();
std::unique_ptr<Command> MakeUserCommand();
std::unique_ptr<Command> MakeGroupCommand();
std::unique_ptr<Command> MakeSaveCommand();
std::unique_ptr<Command> MakeDiffCommand();
std::unique_ptr<Command> MakeApplyCommand();
std::unique_ptr<Command> MakeListCommand();
std::unique_ptr<Command> MakeGetCommand();
std::unique_ptr<Command> MakePutCommand();
std::unique_ptr<Command> MakeCopyCommand();
std::unique_ptr<Command> MakeMoveCommand();
std::unique_ptr<Command> MakeRemoveCommand();
std::unique_ptr<Command> MakeMakeDirectoryCommand();

} // namespace MdpCommand
