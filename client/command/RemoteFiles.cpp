#include "RemoteFiles.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include "HostList.h"
#include "Text.h"

namespace MdpCommand {
namespace {

Mdp::Error NotThere(const std::string& path) {
    return {Mdp::ErrorKind::Object, Mdp::OBJ_E_OS_BASE | ENOENT, 0, path};
}

// The directory part of a path with its slash, empty where there is none.
std::string DirectoryPart(std::string_view path) {
    return std::string(path.substr(0, path.rfind('/') + 1));
}

// Where the service may run, and so where a relative path may start: in the directory of this program, or as a daemon
// in the root. An absolute path is the same behind both.
constexpr std::array s_bases{"", "/"};

struct AdviceRow {
    FileAction action;
    Mdp::Code code;
    const char* advice;
};

constexpr Mdp::Code Os(int number) {
    return Mdp::OBJ_E_OS_BASE | static_cast<Mdp::Code>(number);
}

constexpr std::array s_advice{
    AdviceRow{FileAction::List, Os(ENOENT),
              "nothing on the machine matches; mdp ls of its directory shows what is there"},
    AdviceRow{FileAction::Read, Os(ENOENT), "no such file on the machine; mdp ls of its directory shows what is there"},
    AdviceRow{FileAction::Read, Mdp::OBJ_E_INVALIDDATA,
              "the machine cannot open the file for reading; mdp ls shows whether it is there and a file"},
    AdviceRow{FileAction::Read, Mdp::OBJ_E_INVALIDARG, "another client read a file at the same time; try again"},
    AdviceRow{FileAction::Write, Mdp::OBJ_E_FAILED,
              "the machine cannot write the file; make sure that its directory exists (mdp mkdir -p) and is no special "
              "file, and that the disk has room"},
    AdviceRow{FileAction::Write, Os(ENOSPC), "the disk of the machine is full"},
    AdviceRow{FileAction::Write, Mdp::OBJ_E_INVALIDARG, "another client wrote a file at the same time; try again"},
    AdviceRow{FileAction::Copy, Os(EEXIST), "the destination exists; -f overwrites it"},
    AdviceRow{FileAction::Copy, Os(ENOENT), "the source, or the directory of the destination, does not exist"},
    AdviceRow{FileAction::Copy, Os(EISDIR), "only files can be copied"},
    AdviceRow{FileAction::Copy, Os(ENOSPC), "the disk is full; the copy is there in part, mdp rm deletes it"},
    AdviceRow{FileAction::Move, Os(EEXIST), "the destination exists; -f overwrites it"},
    AdviceRow{FileAction::Move, Os(ENOENT), "the source, or the directory of the destination, does not exist"},
    AdviceRow{FileAction::Move, Os(EXDEV),
              "source and destination are on different file systems; use mdp cp and mdp rm"},
    AdviceRow{FileAction::Delete, Os(ENOENT), "no such file or directory on the machine"},
    AdviceRow{FileAction::Delete, Mdp::OBJ_E_FAILED,
              "it was not deleted; for a directory with content use -r, and special files cannot be deleted"},
    AdviceRow{FileAction::DeleteTree, Os(ENOENT), "no such file or directory on the machine"},
    AdviceRow{FileAction::DeleteTree, Mdp::OBJ_E_FAILED,
              "not all of it was deleted; what is left may have a name that begins with a dot, be a symbolic link or a "
              "special file, or be protected by the system; mdp ls -a shows it"},
    AdviceRow{FileAction::MakeDirectory, Os(EEXIST), "it exists already"},
    AdviceRow{FileAction::MakeDirectory, Os(ENOENT), "a parent directory is missing; -p makes it, too"},
    AdviceRow{FileAction::MakeDirectory, Os(ENOTDIR), "a parent is a file and not a directory"},
};

const char* AdviceFor(FileAction action, Mdp::Code code) {
    for (const AdviceRow& row : s_advice) {
        if (row.action == action && row.code == code) {
            return row.advice;
        }
    }
    return code == Mdp::OBJ_E_BUSY ? "another client is using the service; try again" : nullptr;
}

} // namespace

Mdp::Result<Mdp::FileServices> FindFiles(const Context& context, const std::string& subject) {
    auto files = Mdp::FileServices::Find(context.client, context.JobOptions(subject));
    if (!files && files.Error().kind == Mdp::ErrorKind::Argument) {
        return Mdp::Error{Mdp::ErrorKind::Argument, 0, 0, files.Error().detail + "; mdp modules lists what it has"};
    }
    return files;
}

TakeText TakeLocalPath() {
    return [](const std::string& path) { return std::string(path.empty() ? "the path is empty" : ""); };
}

TakeText TakeRemotePath() {
    return [](std::string& path) {
        path = NormalPath(path);
        return std::string(path.empty() ? "the path is empty" : "");
    };
}

TakeText TakeHostPath(std::string& host) {
    return [&host](std::string& path) {
        if (auto parts = SplitHostPath(path)) {
            host = parts->first;
            path = parts->second;
        }
        return TakeRemotePath()(path);
    };
}

std::string NormalPath(std::string_view path) {
    std::string normal;
    for (const char c : path) {
        const bool slash = c == '/' || c == '\\';
        if (slash && normal.ends_with('/')) {
            continue;
        }
        normal += slash ? '/' : c;
        if (normal.ends_with("/./")) {
            normal.resize(normal.size() - 2);
        }
    }
    if (normal.ends_with("/.")) {
        normal.pop_back();
    }
    return normal.starts_with("./") && normal.size() > 2 ? normal.substr(2) : normal;
}

std::string BaseName(std::string_view path) {
    while (path.size() > 1 && path.back() == '/') {
        path.remove_suffix(1);
    }
    return path == "/" ? "/" : std::string(path.substr(path.rfind('/') + 1));
}

std::string JoinPath(std::string_view directory, std::string_view name) {
    return std::string(directory) + (directory.ends_with('/') ? "" : "/") + std::string(name);
}

bool HasWildcard(std::string_view path) {
    return path.find_first_of("*?[") != std::string_view::npos;
}

Mdp::Result<std::vector<RemotePath>> ExpandRemote(const Mdp::FileServices& files, const std::string& path) {
    const auto status = files.Status(path);
    if (!status) {
        return status.Error();
    }
    std::vector<RemotePath> found;
    if (*status) {
        found.push_back({path, **status});
        return found;
    }
    if (!HasWildcard(path)) {
        return NotThere("");
    }
    // Only names come back, so that their directory has to be certain.
    const std::string directory = DirectoryPart(path);
    if (HasWildcard(directory)) {
        return Mdp::Error{Mdp::ErrorKind::Argument, 0, 0, "wildcards are possible only behind the last slash"};
    }
    const auto listing = files.List(path);
    if (!listing) {
        return listing.Error();
    }
    for (const std::string& name : listing->directories) {
        found.push_back({directory + name, {true, 0}});
    }
    for (const Mdp::RemoteFile& file : listing->files) {
        found.push_back({directory + file.name, {false, file.size}});
    }
    return found;
}

bool IsLocalLink(const std::string& path) {
    return std::any_of(s_bases.begin(), s_bases.end(), [&](const char* base) {
        struct stat status {};

        return lstat((base + path).c_str(), &status) == 0 && S_ISLNK(status.st_mode);
    });
}

bool IsLocalFile(const std::string& path, const struct stat& file) {
    for (const char* base : s_bases) {
        struct stat status {};

        if (stat((base + path).c_str(), &status) == 0 && status.st_dev == file.st_dev && status.st_ino == file.st_ino) {
            return true;
        }
    }
    return false;
}

bool AreOneFile(const std::string& left, const std::string& right) {
    for (const char* base : s_bases) {
        struct stat status {};

        if (stat((base + left).c_str(), &status) == 0 && IsLocalFile(right, status)) {
            return true;
        }
    }
    return left == right;
}

Mdp::Result<std::string> DestinationOf(const Mdp::FileServices& files, const std::string& destination,
                                       std::string_view name) {
    if (destination.ends_with('/')) {
        return JoinPath(destination, name);
    }
    const auto status = files.Status(destination);
    if (!status) {
        return status.Error();
    }
    return *status && (*status)->isDirectory ? JoinPath(destination, name) : destination;
}

int FailFile(const Context& context, FileAction action, const Mdp::Error& error, const std::string& subject,
             const std::string& aftermath) {
    Mdp::Error told = error;
    if (error.kind == Mdp::ErrorKind::Object) {
        const char* advice = AdviceFor(action, error.code);
        told.detail = advice != nullptr ? advice : "";
    }
    if (!aftermath.empty()) {
        told.detail += (told.detail.empty() ? "" : "; ") + aftermath;
    }
    const int status = context.Fail(told, subject);
    return error.kind == Mdp::ErrorKind::Timeout && context.jobTimeout.count() > 0 ? ExitRunning : status;
}

std::vector<Candidate> CompleteRemote(const Context& context, const std::string& word) {
    const auto files = FindFiles(context, word);
    const std::string directory = DirectoryPart(word);
    if (!files || !word.starts_with('/')) {
        return {};
    }
    const auto listing = files->List(Mdp::EscapePattern(word) + "*");
    std::vector<Candidate> candidates;
    if (listing) {
        for (const std::string& name : listing->directories) {
            candidates.push_back({directory + name + "/", ""});
        }
        for (const Mdp::RemoteFile& file : listing->files) {
            candidates.push_back({directory + file.name, ""});
        }
    }
    return candidates;
}

} // namespace MdpCommand
