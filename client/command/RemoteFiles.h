#pragma once

#include <sys/stat.h>

#include <string>
#include <string_view>
#include <vector>

#include "Arguments.h"
#include "Command.h"
#include "mdp/Files.h"

// What the commands on the machine's files share.

namespace MdpCommand {

// The subject is what a user who waits for a job is told of.
Mdp::Result<Mdp::FileServices> FindFiles(const Context& context, const std::string& subject);

// For arguments that take a path: an empty one is a usage error, and a path of the machine becomes its NormalPath.
TakeText TakeLocalPath();
TakeText TakeRemotePath();
// The same with HOST: in front, which goes to the host.
TakeText TakeHostPath(std::string& host);

// The path in one spelling of the many that the service takes for the same: with slashes for backslashes, each alone,
// and no "." between them. A trailing slash, which stands for a directory, stays.
std::string NormalPath(std::string_view path);

// The last component of a path, without slashes at its end.
std::string BaseName(std::string_view path);
std::string JoinPath(std::string_view directory, std::string_view name);

bool HasWildcard(std::string_view path);

// A file or directory of the machine that a command line names.
struct RemotePath {
    std::string path;
    Mdp::RemoteStatus status;
};

// What a command line's path stands for: itself if it exists, else what it matches as a pattern with its wildcards in
// the last component. Nothing is an error that tells how to look.
Mdp::Result<std::vector<RemotePath>> ExpandRemote(const Mdp::FileServices& files, const std::string& path);

// Whether a path of the machine is that file of this side, or two of them are one file under two names. The service is
// mostly on this side; where it is not, or this side may not look, nothing is known and the answer is no.
bool IsLocalFile(const std::string& path, const struct stat& file);
bool IsLocalLink(const std::string& path);
bool AreOneFile(const std::string& left, const std::string& right);

// The path to write to: inside the destination if that is a directory or ends with a slash.
Mdp::Result<std::string> DestinationOf(const Mdp::FileServices& files, const std::string& destination,
                                       std::string_view name);

// What a command was doing when the service answered with a code.
enum class FileAction { List, Read, Write, Copy, Move, Delete, DeleteTree, MakeDirectory };

// Tells a failure together with what a user can do about it and, where there is any, what it leaves behind.
int FailFile(const Context& context, FileAction action, const Mdp::Error& error, const std::string& subject,
             const std::string& aftermath = "");

// Paths of the machine that begin like the word; directories end with a slash.
std::vector<Candidate> CompleteRemote(const Context& context, const std::string& word);

} // namespace MdpCommand
