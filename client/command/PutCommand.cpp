#include "Commands.h"

#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "Completion.h"
#include "LocalInput.h"
#include "Progress.h"
#include "RemoteFiles.h"
#include "Text.h"
#include "TransferLock.h"

namespace MdpCommand {
namespace {

// How much of the input is still to be read, as far as it tells: files of /proc have bytes, but the length 0.
std::optional<std::uint64_t> BytesLeft(int input, const struct stat& status) {
    const off_t position = S_ISREG(status.st_mode) && status.st_size > 0 ? lseek(input, 0, SEEK_CUR) : -1;
    if (position < 0) {
        return std::nullopt;
    }
    return static_cast<std::uint64_t>(std::max<off_t>(status.st_size - position, 0));
}

class PutCommand : public Command {
public:
    void Declare(Arguments& arguments) override {
        arguments.Positional("LOCAL", &m_local, "a file of this side, or - for the standard input")
            .Required()
            .Take(TakeLocalPath());
        arguments.Positional("REMOTE", &m_remote, "where to put it on the machine: a file, or a directory")
            .Required()
            .Take(TakeRemotePath());
    }

    int Run(const Context& context) override {
        const LocalInput input(m_local);
        const auto localError = [&](int number) {
            return context.Fail(Mdp::Error{Mdp::ErrorKind::Local, 0, number, ""}, m_local);
        };
        if (input.Number() < 0) {
            return localError(errno);
        }
        // In "mdp get A - | mdp put - B" only the put whose get has its turn takes one: two such pipes would otherwise
        // wait for each other.
        pollfd readable{input.Number(), POLLIN, 0};
        poll(&readable, 1, -1);
        TransferLock lock;
        if (const Mdp::Result<void> turn = lock.WaitToPut(context); !turn) {
            return context.Fail(turn.Error(), m_local);
        }

        struct stat status {};

        if (fstat(input.Number(), &status) != 0) {
            return localError(errno);
        }
        if (S_ISDIR(status.st_mode)) {
            return localError(EISDIR);
        }
        const auto files = FindFiles(context);
        if (!files) {
            return context.Fail(files.Error(), m_remote);
        }
        const auto remote = DestinationOf(*files, m_remote, BaseName(m_local));
        if (!remote) {
            return FailFile(context, FileAction::List, remote.Error(), m_remote);
        }
        if (m_local == "-" && *remote != m_remote) {
            return context.Fail(ExitUsage, m_remote +
                                               ": this is a directory, and the standard input has no name; write "
                                               "the name of a file");
        }
        // The service empties the file before it has got more than the first chunk.
        if (S_ISREG(status.st_mode) && IsLocalFile(*remote, status)) {
            return context.Fail(ExitUsage, m_local + ": this is the same file as " + *remote + " on the machine");
        }
        const auto total = BytesLeft(input.Number(), status);
        const auto bytes = Put(context, *files, input, *remote, total);
        if (!bytes) {
            return bytes.Error().kind == Mdp::ErrorKind::Local
                       ? context.Fail(bytes.Error(), m_local)
                       : FailFile(context, FileAction::Write, bytes.Error(), *remote);
        }
        if (total && *bytes != *total) {
            return context.Fail(ExitLocal, m_local + ": " + std::to_string(*bytes) + " bytes were sent of " +
                                               std::to_string(*total) +
                                               " that the file had; it changed meanwhile, or is the same file as " +
                                               *remote + " on the machine");
        }
        if (context.json) {
            context.Print({{"local", TextJson(m_local)}, {"remote", TextJson(*remote)}, {"bytes", *bytes}});
        }
        return ExitOk;
    }

    std::vector<Candidate> Complete(const Context& context, const std::vector<std::string>& positionals,
                                    const std::string& word) override {
        return positionals.empty() ? std::vector<Candidate>{{s_completeFiles, ""}} : CompleteRemote(context, word);
    }

private:
    static Mdp::Result<std::uint64_t> Put(const Context& context, const Mdp::FileServices& files,
                                          const LocalInput& input, const std::string& remote,
                                          std::optional<std::uint64_t> total) {
        Mdp::Result<std::uint64_t> written = std::uint64_t{0};
        {
            Progress progress(context, BaseName(remote), total);
            written = files.Write(remote, [&](std::span<std::uint8_t> room) -> Mdp::Result<std::size_t> {
                const ssize_t got = input.Read(room);
                if (got < 0) {
                    return Mdp::Error{Mdp::ErrorKind::Local, 0, errno,
                                      "it was not read to its end, and the file on the machine may be there in part"};
                }
                progress.Add(static_cast<std::uint64_t>(got));
                return static_cast<std::size_t>(got);
            });
        }
        if (!written) {
            return written;
        }
        const auto status = files.Status(remote);
        if (!status) {
            return status.Error();
        }
        if (*status && (*status)->size != *written) {
            return Mdp::Error{Mdp::ErrorKind::Protocol, 0, 0,
                              std::to_string(*written) + " bytes were sent, but the file has " +
                                  std::to_string((*status)->size) +
                                  "; another client disturbed, or the disk is full: try again"};
        }
        return written;
    }

    std::string m_local;
    std::string m_remote;
};

} // namespace

std::unique_ptr<Command> MakePutCommand() {
    return std::make_unique<PutCommand>();
}

} // namespace MdpCommand
