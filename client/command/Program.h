#pragma once

#include <map>

#include "Command.h"

namespace MdpCommand {

// The command line as a whole: the options of all commands and the commands with their own.
struct Program {
    Program();

    // The command whose words app.parse has taken.
    Command& Chosen() const;

    // The option that a word names, of the command, if there is one, or of all commands.
    const CLI::Option* FindOption(const CLI::App* sub, const std::string& word) const;

    CLI::App app;
    Mdp::ClientOptions client;
    bool json = false;
    std::string language;
    double timeout = 0; // seconds; 0 if not given
    std::map<const CLI::App*, std::unique_ptr<Command>> commands;
};

} // namespace MdpCommand
