#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "Arguments.h"
#include "Command.h"

namespace MdpCommand {

// A command with what its command line takes.
struct ProgramCommand {
    explicit ProgramCommand(const CommandRow& row);

    std::string name;
    std::string summary;
    std::unique_ptr<Command> command;
    Arguments arguments;
};

// The command line as a whole: what all commands take, and the commands with their own.
struct Program {
    Program();

    // The command of that name, or null.
    const ProgramCommand* Find(const std::string& name) const;

    Mdp::ClientOptions client;
    bool json = false;
    std::string language;
    std::string colour = "auto";
    double timeout = 0; // seconds; 0 if not given
    std::vector<std::string> hosts;
    std::uint64_t jobs = 16;
    double connectTimeout = 15; // seconds
    std::vector<std::string> sshOptions;
    Arguments common;
    std::deque<ProgramCommand> commands;
};

} // namespace MdpCommand
