#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "EndingSignals.h"
#include "mdp/Client.h"

namespace MdpCommand {

// A file of this side that is being written. Until Commit it has a name of its own beside the final one, so that the
// final name never stands for a part; without Commit nothing is left, also when a signal ends the program. Something
// that exists and is not a regular file, such as a device, is written to directly; a regular one leaves its mode,
// without setuid and setgid, and a new one has the mode 0600. One at a time in a process.
class LocalFile {
public:
    LocalFile() = default;
    ~LocalFile();
    LocalFile(const LocalFile&) = delete;
    LocalFile& operator=(const LocalFile&) = delete;

    // "-" is the standard output.
    Mdp::Result<void> Open(const std::string& path);
    Mdp::Result<void> Write(Mdp::ByteView bytes);
    // Closes the file and gives it its final name.
    Mdp::Result<void> Commit();

    // What is written is there at once, and stays without Commit.
    bool IsDirect() const { return m_partial.empty(); }

private:
    Mdp::Error Failure() const;

    std::string m_path;
    std::string m_partial; // empty where the file is written directly
    mode_t m_mode = 0;     // of the file under its final name
    int m_descriptor = -1;
    bool m_owned = false; // the descriptor is to be closed
    std::optional<EndingSignals> m_signals;
};

} // namespace MdpCommand
