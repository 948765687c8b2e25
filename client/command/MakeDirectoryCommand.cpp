#include "Commands.h"

#include <cerrno>

#include "RemoteFiles.h"
#include "Text.h"

namespace MdpCommand {
namespace {

class MakeDirectoryCommand : public Command {
public:
    void Declare(Arguments& arguments) override {
        arguments.Positional("PATH", &m_path, "the directory to make on the machine").Required().Take(TakeRemotePath());
        arguments.Flag("-p,--parents", m_parents, "make missing parents, too; an existing directory is no error");
    }

    int Run(const Context& context) override {
        const auto files = FindFiles(context, m_path);
        if (!files) {
            return context.Fail(files.Error(), m_path);
        }
        if (const Mdp::Result<void> made = files->MakeDirectory(m_path, m_parents); !made) {
            const bool exists = m_parents && made.Error().code == (Mdp::OBJ_E_OS_BASE | EEXIST);
            const auto status = exists ? files->Status(m_path) : made.Error();
            if (!status || !*status || !(*status)->isDirectory) {
                return FailFile(context, FileAction::MakeDirectory, made.Error(), m_path);
            }
        }
        if (context.json) {
            context.Print({{"path", TextJson(m_path)}});
        }
        return ExitOk;
    }

    std::vector<Candidate> Complete(const Context& context, const std::vector<std::string>& positionals,
                                    const std::string& word) override {
        return positionals.empty() ? CompleteRemote(context, word) : std::vector<Candidate>();
    }

private:
    std::string m_path;
    bool m_parents = false;
};

} // namespace

std::unique_ptr<Command> MakeMakeDirectoryCommand() {
    return std::make_unique<MakeDirectoryCommand>();
}

} // namespace MdpCommand
