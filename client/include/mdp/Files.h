#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "mdp/Client.h"

namespace Mdp {

/// Module type of the file services.
inline constexpr std::uint16_t ModuleTypeFiles = 16;

struct RemoteFile {
    std::string name; ///< without its directory
    std::uint64_t size = 0;
};

struct Listing {
    std::vector<std::string> directories; ///< names without their directory; special files are among them
    std::vector<RemoteFile> files;
};

/// What is known of one path.
struct RemoteStatus {
    bool isDirectory = false; ///< also true for special files, which the service does not tell apart
    std::uint64_t size = 0;   ///< of a file, in bytes
};

/// The path as a pattern that matches it alone: its wildcards in brackets.
std::string EscapePattern(std::string_view path);

/// Takes bytes of a file that is read. An error ends the transfer and is what it gives.
using ChunkSink = std::function<Result<void>(ByteView)>;

/// Fills the span with bytes of a file that is written, from its start, and gives their number; 0 at the end.
using ChunkSource = std::function<Result<std::size_t>(std::span<std::uint8_t>)>;

/// The files of the machine, through the service and with its rights. Paths are those of the machine; the service takes
/// a backslash for a slash, and a relative path from the directory in which it runs, as a daemon the root.
///
/// The service keeps one file open for reading and one for writing, and each service object keeps one response, for all
/// clients, and a response does not tell whose it is. Programs of one user that come by this library keep apart: each
/// has its Turn (mdp/Turn.h) at the service object for a listing, a copy, a move, a deletion and a directory, and a
/// listing whose names do not fit its pattern is an error of the kind Protocol. Those of other users may still take
/// one another's response for a deletion or a copy. A transfer has many jobs: a second one of the same kind ends the
/// first, whose error then is OBJ_E_INVALIDARG if it notices. Whoever reads or writes files takes the Turn "get" or
/// "put" for as long, as the mdp command does.
class FileServices {
public:
    /// Finds the module. Error kind Argument tells that the machine has none. The options hold for each single job.
    static Result<FileServices> Find(Client client, CallOptions options = {});

    /// What a shell pattern matches, such as "/etc/*.conf"; a path without wildcards matches itself. Nothing at all is
    /// the error OBJ_E_OS_BASE + ENOENT. A name that begins with a dot needs a pattern that does, too. A symbolic link
    /// to nothing ends the listing: what comes behind it in the order of names is left out.
    Result<Listing> List(std::string_view pattern) const;

    /// What the path is; nothing if it does not exist.
    Result<std::optional<RemoteStatus>> Status(std::string_view path) const;

    /// Reads a whole file in chunks and gives the number of bytes. The expected size only helps to choose good chunks.
    Result<std::uint64_t> Read(std::string_view path, const ChunkSink& sink, std::uint64_t expectedSize = 0) const;

    /// Writes a whole file in chunks, replacing what it held, and gives the number of bytes. After an error the file is
    /// there in part.
    Result<std::uint64_t> Write(std::string_view path, const ChunkSource& source) const;

    /// Without overwrite an existing destination is the error OBJ_E_OS_BASE + EEXIST. With it a copy empties the
    /// destination first and a move deletes it, even if they then fail or the source is the same file, which is lost.
    Result<void> Copy(std::string_view source, std::string_view destination, bool overwrite) const;
    Result<void> Move(std::string_view source, std::string_view destination, bool overwrite) const;

    /// Deletes a file or a directory, with its content if recursive. That follows symbolic links to directories and
    /// empties those, and leaves names that begin with a dot and what a listing leaves out; the error is then
    /// OBJ_E_FAILED.
    Result<void> Delete(std::string_view path, bool recursive) const;

    /// Makes a directory, with missing parents if asked for. One that exists is the error OBJ_E_OS_BASE + EEXIST.
    Result<void> MakeDirectory(std::string_view path, bool parents) const;

private:
    FileServices(Client client, CallOptions options, Module module);

    using Ahead = std::optional<Transaction>;

    Result<void> Begin(unsigned service, std::span<const ByteView> request, Ahead ahead = std::nullopt) const;
    // The response data of a job that succeeded, in the buffer.
    Result<ByteView> Finish(unsigned service, std::uint32_t capacity, Bytes& buffer, Ahead ahead = std::nullopt) const;
    // Both, for a short response.
    Result<Bytes> Call(unsigned service, ByteView request, std::uint32_t capacity) const;
    Result<void> CallWithoutData(unsigned service, ByteView request) const;
    Result<void> CopyOrMove(std::string_view source, std::string_view destination, std::uint32_t flags) const;

    Client m_client;
    CallOptions m_options;
    Module m_module;
};

} // namespace Mdp
