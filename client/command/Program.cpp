#include "Program.h"

#include <algorithm>

namespace MdpCommand {

ProgramCommand::ProgramCommand(const CommandRow& row) : name(row.name), summary(row.summary), command(row.make()) {
    command->Declare(arguments);
}

Program::Program() {
    common.Version("--version", "show the version");
    common.Option("--socket", &client.socketPath, "the socket of the service")
        .ShowDefault()
        .Offer({{s_completeFiles, ""}});
    common.Flag("--json", json, "print JSON");
    common.Option("--lang", &language, "language of names: en, de or a language identifier (LCID)")
        .Offer({{"en", "English"}, {"de", "German"}});
    common.Option("--color", &colour, "colours: auto, always or never; auto is for a terminal without NO_COLOR")
        .OneOf({"auto", "always", "never"})
        .Offer({{"auto", "on a terminal, unless NO_COLOR is set"}, {"always", ""}, {"never", ""}});
    common.Option("--timeout", &timeout, "seconds to wait for an answer (30 if not given) or a job (no limit)")
        .InRange(0.001, 1e9);
    common.Option("--host", &hosts,
                  "other machines, reached by ssh: [USER@]HOST[:PORT],... or @FILE with one a line; may be repeated");
    common.Option("--jobs", &jobs, "how many of several machines at once").InRange(1, 1000).ShowDefault();
    common.Option("--connect-timeout", &connectTimeout, "seconds for ssh to reach a machine")
        .InRange(1, 3600)
        .ShowDefault();
    common.Option("--ssh-option", &sshOptions, "an option for ssh as behind its -o; may be repeated");
    for (const CommandRow& row : Commands()) {
        commands.emplace_back(row);
    }
}

const ProgramCommand* Program::Find(const std::string& name) const {
    const auto found = std::find_if(commands.begin(), commands.end(),
                                    [&](const ProgramCommand& command) { return command.name == name; });
    return found == commands.end() ? nullptr : &*found;
}

} // namespace MdpCommand
