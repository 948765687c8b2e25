#include "Commands.h"

#include "RemoteFiles.h"
#include "Text.h"

namespace MdpCommand {
namespace {

class RemoveCommand : public Command {
public:
    void Declare(Arguments& arguments) override {
        arguments.Positional("PATH", &m_paths, "files or empty directories of the machine, or patterns")
            .Required()
            .Take(TakeRemotePath());
        arguments.Flag("-r,--recursive", m_recursive, "delete directories with their content");
    }

    int Run(const Context& context) override {
        const auto files = FindFiles(context, m_paths.front());
        if (!files) {
            return context.Fail(files.Error(), m_paths.front());
        }
        Json done = Json::Array();
        for (const std::string& path : m_paths) {
            if (path.find_first_not_of("/.") == std::string::npos) {
                return context.Fail(ExitUsage, path + ": this is not deleted; name what is in it");
            }
            const auto targets = ExpandRemote(*files, path);
            if (!targets) {
                return FailFile(context, FileAction::Delete, targets.Error(), path);
            }
            for (const RemotePath& target : *targets) {
                if (const Mdp::Result<void> deleted = files->Delete(target.path, m_recursive); !deleted) {
                    return FailFile(context, m_recursive ? FileAction::DeleteTree : FileAction::Delete, deleted.Error(),
                                    target.path);
                }
                done.Add(TextJson(target.path));
            }
        }
        if (context.json) {
            context.Print({{"deleted", done}});
        }
        return ExitOk;
    }

    std::vector<Candidate> Complete(const Context& context, const std::vector<std::string>&,
                                    const std::string& word) override {
        return CompleteRemote(context, word);
    }

private:
    std::vector<std::string> m_paths;
    bool m_recursive = false;
};

} // namespace

std::unique_ptr<Command> MakeRemoveCommand() {
    return std::make_unique<RemoveCommand>();
}

} // namespace MdpCommand
