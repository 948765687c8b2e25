#include "Commands.h"

#include <sys/stat.h>

#include <cerrno>

#include "Completion.h"
#include "LocalFile.h"
#include "Progress.h"
#include "RemoteFiles.h"
#include "Text.h"
#include "TransferLock.h"

namespace MdpCommand {
namespace {

bool IsLocalDirectory(const std::string& path) {
    struct stat status {};

    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

class GetCommand : public Command {
public:
    void Declare(Arguments& arguments) override {
        arguments.Positional("[HOST:]REMOTE", &m_remote, "a file of the machine, or a pattern such as '/var/log/*.log'")
            .Required()
            .Take(TakeHostPath(m_host));
        arguments.Positional("LOCAL", &m_local, "where to put it: a file, a directory or - for the standard output")
            .Take(TakeLocalPath());
        arguments.Flag("--any-length", m_anyLength,
                       "take what arrives even if its length is not the listed one, as with files of /proc");
    }

    std::string NamedHost() const override { return m_host; }

    int Prepare(const Context& context) override {
        if (m_local == "-" || !IsLocalDirectory(m_local)) {
            return context.Fail(ExitUsage, m_local + ": name a directory; the files of each machine go to a directory "
                                                     "of its name in that one");
        }
        return ExitOk;
    }

    int Run(const Context& context) override {
        if (context.report != nullptr) {
            m_local = JoinPath(m_local, context.host);
            if (mkdir(m_local.c_str(), 0777) != 0 && errno != EEXIST) {
                return context.Fail(Mdp::Error{Mdp::ErrorKind::Local, 0, errno, ""}, m_local);
            }
        }
        const auto files = FindFiles(context, m_remote);
        if (!files) {
            return context.Fail(files.Error(), m_remote);
        }
        // Before the lengths are looked up: what is waited for may change them. One turn for all files, so that a put
        // behind a pipe, which has its own, is not left waiting between two of them.
        TransferLock lock;
        if (const Mdp::Result<void> turn = lock.WaitToGet(context); !turn) {
            return context.Fail(turn.Error(), m_remote);
        }
        auto sources = ExpandRemote(*files, m_remote);
        if (!sources) {
            return FailFile(context, FileAction::Read, sources.Error(), m_remote);
        }
        const bool single = sources->size() == 1 && sources->front().path == m_remote;
        if (single && sources->front().status.isDirectory) {
            return context.Fail(ExitUsage, m_remote + ": this is a directory or a special file; '" +
                                               JoinPath(m_remote, "*") + "' names the files in a directory");
        }
        std::erase_if(*sources, [](const RemotePath& source) { return source.status.isDirectory; });
        if (sources->empty()) {
            return context.Fail(ExitUsage,
                                m_remote + ": only directories and special files match; mdp ls shows what is there");
        }
        if (!single && m_local != "-" && !IsLocalDirectory(m_local)) {
            return context.Fail(ExitUsage, m_local + ": to get several files this must be a directory");
        }
        Json done = Json::Array();
        for (const RemotePath& source : *sources) {
            const std::string local =
                m_local != "-" && IsLocalDirectory(m_local) ? JoinPath(m_local, BaseName(source.path)) : m_local;
            const auto bytes = Get(context, *files, source, local);
            if (!bytes) {
                return FailFile(context, FileAction::Read, bytes.Error(), source.path);
            }
            done.Add({{"remote", TextJson(source.path)}, {"local", TextJson(local)}, {"bytes", *bytes}});
        }
        // With the file itself on the output there is no place for words about it.
        if (context.json && m_local != "-") {
            context.Print(done);
        }
        return ExitOk;
    }

    std::vector<Candidate> Complete(const Context& context, const std::vector<std::string>& positionals,
                                    const std::string& word) override {
        return positionals.empty() ? CompleteRemote(context, word) : std::vector<Candidate>{{s_completeFiles, ""}};
    }

private:
    Mdp::Result<std::uint64_t> Get(const Context& context, const Mdp::FileServices& files, const RemotePath& source,
                                   const std::string& localPath) const {
        LocalFile local;
        if (const Mdp::Result<void> opened = local.Open(localPath); !opened) {
            return opened.Error();
        }
        Progress progress(context, BaseName(source.path), source.status.size);
        auto bytes = files.Read(
            source.path,
            [&](Mdp::ByteView chunk) {
                progress.Add(chunk.size());
                return local.Write(chunk);
            },
            source.status.size);
        if (!bytes) {
            return bytes.Error();
        }
        if (*bytes != source.status.size && !m_anyLength) {
            return Mdp::Error{Mdp::ErrorKind::Protocol, 0, 0,
                              std::to_string(*bytes) + " bytes arrived of " + std::to_string(source.status.size) +
                                  " that were listed" + (local.IsDirect() ? "" : ", and nothing was kept") +
                                  "; the file changes, or another client disturbed: try again, or use --any-length"};
        }
        if (const Mdp::Result<void> committed = local.Commit(); !committed) {
            return committed.Error();
        }
        return bytes;
    }

    std::string m_host;
    std::string m_remote;
    std::string m_local = ".";
    bool m_anyLength = false;
};

} // namespace

std::unique_ptr<Command> MakeGetCommand() {
    return std::make_unique<GetCommand>();
}

} // namespace MdpCommand
