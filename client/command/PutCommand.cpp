#include "Commands.h"

#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <random>

#include "Completion.h"
#include "EndingSignals.h"
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

// In the directory of the file, so that it can be moved to its own name, and not to be guessed.
std::string NameBeside(const std::string& path) {
    constexpr std::size_t longest = 200; // bytes of a name that leave room for more
    const std::size_t name = path.rfind('/') + 1;
    std::random_device random;
    return path.substr(0, name) + "." + path.substr(name, longest) + ".mdp-" + HexText(random(), 8).substr(2);
}

class PutCommand : public Command {
public:
    void Declare(Arguments& arguments) override {
        arguments.Positional("LOCAL", &m_local, "a file of this side, or - for the standard input")
            .Required()
            .Take(TakeLocalPath());
        arguments.Positional("[HOST:]REMOTE", &m_remote, "where to put it on the machine: a file, or a directory")
            .Required()
            .Take(TakeHostPath(m_host));
    }

    std::string NamedHost() const override { return m_host; }

    int Prepare(const Context& context) override {
        return m_local == "-" ? context.Fail(ExitUsage, "the standard input can go to one machine only; for several "
                                                        "keep it in a file and put that")
                              : ExitOk;
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
        const auto files = FindFiles(context, m_remote);
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
        if (context.host.empty() && S_ISREG(status.st_mode) && IsLocalFile(*remote, status)) {
            return context.Fail(ExitUsage, m_local + ": this is the same file as " + *remote + " on the machine");
        }
        const auto total = BytesLeft(input.Number(), status);
        Mdp::Result<std::uint64_t> bytes = std::uint64_t{0};
        {
            const EndingSignals signals(EndingSignals::Note);
            bytes = Put(context, *files, input, *remote, total);
        }
        EndingSignals::RaiseNoted();
        if (!bytes) {
            return FailFile(context, FileAction::Write, bytes.Error(),
                            bytes.Error().kind == Mdp::ErrorKind::Local ? m_local : *remote, m_aftermath);
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
    // Writes the file under a name beside its own and moves it there when it is whole.
    Mdp::Result<std::uint64_t> Put(const Context& context, const Mdp::FileServices& files, const LocalInput& input,
                                   const std::string& remote, std::optional<std::uint64_t> total) {
        const auto present = files.Status(remote);
        if (!present) {
            return present.Error();
        }
        if (*present && (*present)->isDirectory) {
            return Mdp::Error{Mdp::ErrorKind::Object, Mdp::OBJ_E_FAILED, 0, {}};
        }
        if (context.host.empty() && IsLocalLink(remote)) {
            // A move would replace the link, not what it points to.
            m_aftermath = "the file on the machine may be there in part";
            return Send(context, files, input, remote, remote, total);
        }
        const std::string beside = NameBeside(remote);
        // The wire carries no mode: a copy of the file brings its own, and is written over.
        const Mdp::Result<void> made = *present ? files.Copy(remote, beside, false) : Mdp::Result<void>();
        Mdp::Result<std::uint64_t> sent = made ? Send(context, files, input, remote, beside, total) : made.Error();
        const Mdp::Result<void> moved = sent ? Move(files, beside, remote) : sent.Error();
        if (moved) {
            return sent;
        }
        // A move deletes what is in the way before it finds out that it cannot be done.
        const auto left = files.Status(remote);
        if (sent && *present && (!left || !*left)) {
            m_aftermath = "the file is on the machine as " + beside;
            return moved.Error();
        }
        const Mdp::Result<void> deleted = files.Delete(beside, false);
        m_aftermath = "the file on the machine is as it was";
        if (!deleted && deleted.Error().code != (Mdp::OBJ_E_OS_BASE | ENOENT)) {
            m_aftermath += ", and " + beside + " may be left there";
        }
        return moved.Error();
    }

    static Mdp::Result<void> Move(const Mdp::FileServices& files, const std::string& beside,
                                  const std::string& remote) {
        Mdp::Result<void> moved = files.Move(beside, remote, false);
        const bool exists = !moved && moved.Error().code == (Mdp::OBJ_E_OS_BASE | EEXIST);
        return exists ? files.Move(beside, remote, true) : moved;
    }

    // Writes all of the input to a place on the machine, and looks whether it is there.
    static Mdp::Result<std::uint64_t> Send(const Context& context, const Mdp::FileServices& files,
                                           const LocalInput& input, const std::string& remote, const std::string& place,
                                           std::optional<std::uint64_t> total) {
        const auto failed = [](Mdp::ErrorKind kind, int number, std::string detail) {
            return Mdp::Error{kind, 0, number, std::move(detail)};
        };
        Mdp::Result<std::uint64_t> written = std::uint64_t{0};
        {
            Progress progress(context, BaseName(remote), total);
            written = files.Write(place, [&](std::span<std::uint8_t> room) -> Mdp::Result<std::size_t> {
                const ssize_t got = input.Read(room);
                if (got < 0) {
                    return failed(Mdp::ErrorKind::Local, errno, "it was not read to its end");
                }
                if (EndingSignals::Noted() != 0) {
                    return failed(Mdp::ErrorKind::Local, EINTR, "it was not read to its end");
                }
                progress.Add(static_cast<std::uint64_t>(got));
                return static_cast<std::size_t>(got);
            });
        }
        if (!written) {
            return written;
        }
        if (total && *written != *total) {
            return failed(Mdp::ErrorKind::Local, 0,
                          std::to_string(*written) + " bytes were sent of " + std::to_string(*total) +
                              " that the file had; it changed meanwhile, or is the same file as " + remote +
                              " on the machine");
        }
        const auto status = files.Status(place);
        if (!status) {
            return status.Error();
        }
        if (*status && (*status)->size != *written) {
            return failed(Mdp::ErrorKind::Protocol, 0,
                          std::to_string(*written) + " bytes were sent, but the file has " +
                              std::to_string((*status)->size) +
                              "; another client disturbed, or the disk is full: try again");
        }
        return written;
    }

    std::string m_local;
    std::string m_host;
    std::string m_remote;
    std::string m_aftermath; // what a failure leaves on the machine
};

} // namespace

std::unique_ptr<Command> MakePutCommand() {
    return std::make_unique<PutCommand>();
}

} // namespace MdpCommand
