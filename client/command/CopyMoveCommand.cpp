#include "Commands.h"

#include <cerrno>

#include "RemoteFiles.h"
#include "Text.h"

namespace MdpCommand {
namespace {

// cp and mv differ in one call.
class CopyMoveCommand : public Command {
public:
    explicit CopyMoveCommand(FileAction action) : m_action(action) {}

    void Declare(Arguments& arguments) override {
        arguments.Positional("SOURCE", &m_source, "a file of the machine, or a pattern")
            .Required()
            .Take(TakeRemotePath());
        arguments.Positional("DESTINATION", &m_destination, "a file or directory of the machine")
            .Required()
            .Take(TakeRemotePath());
        arguments.Flag("-f,--force", m_overwrite, "overwrite an existing file");
    }

    int Run(const Context& context) override {
        const auto files = FindFiles(context, m_source);
        if (!files) {
            return context.Fail(files.Error(), m_source);
        }
        const auto sources = ExpandRemote(*files, m_source);
        if (!sources) {
            return FailFile(context, m_action, sources.Error(), m_source);
        }
        Json done = Json::Array();
        for (const RemotePath& source : *sources) {
            const auto destination = DestinationOf(*files, m_destination, BaseName(source.path));
            if (!destination) {
                return FailFile(context, m_action, destination.Error(), m_destination);
            }
            if (sources->size() > 1 && *destination == m_destination) {
                return context.Fail(ExitUsage, m_destination +
                                                   ": for several files this must be a directory; mdp mkdir makes one");
            }
            // With overwriting, a copy empties its destination and a move deletes it: the file itself must not be that.
            if (context.host.empty() ? AreOneFile(source.path, *destination) : source.path == *destination) {
                return context.Fail(ExitUsage, source.path + ": this is the same file as " + *destination);
            }
            if (m_action == FileAction::Copy && source.status.isDirectory) {
                return context.Fail(ExitUsage, source.path + ": only files can be copied; name those in it");
            }
            const Mdp::Result<void> result = m_action == FileAction::Copy
                                                 ? files->Copy(source.path, *destination, m_overwrite)
                                                 : Move(*files, source.path, *destination);
            if (!result) {
                return FailFile(context, m_action, result.Error(), source.path + " to " + *destination);
            }
            done.Add({{"source", TextJson(source.path)}, {"destination", TextJson(*destination)}});
        }
        if (context.json) {
            context.Print(done);
        }
        return ExitOk;
    }

    std::vector<Candidate> Complete(const Context& context, const std::vector<std::string>& positionals,
                                    const std::string& word) override {
        return positionals.size() < 2 ? CompleteRemote(context, word) : std::vector<Candidate>();
    }

private:
    // The service deletes what may be overwritten even if the move then fails: it may only where it has told that
    // something is in the way.
    Mdp::Result<void> Move(const Mdp::FileServices& files, const std::string& source,
                           const std::string& destination) const {
        Mdp::Result<void> moved = files.Move(source, destination, false);
        const bool exists = !moved && moved.Error().code == (Mdp::OBJ_E_OS_BASE | EEXIST);
        return exists && m_overwrite ? files.Move(source, destination, true) : moved;
    }

    FileAction m_action;
    std::string m_source;
    std::string m_destination;
    bool m_overwrite = false;
};

} // namespace

std::unique_ptr<Command> MakeCopyCommand() {
    return std::make_unique<CopyMoveCommand>(FileAction::Copy);
}

std::unique_ptr<Command> MakeMoveCommand() {
    return std::make_unique<CopyMoveCommand>(FileAction::Move);
}

} // namespace MdpCommand
