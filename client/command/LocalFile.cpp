#include "LocalFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace MdpCommand {
namespace {

// What the signal handler deletes; null while nothing is being written. The text outlives the pointer to it.
const char* volatile s_partialPath = nullptr;

void DeletePartial(int signal) {
    if (s_partialPath != nullptr) {
        unlink(s_partialPath);
    }
    EndingSignals::EndBy(signal);
}

} // namespace

LocalFile::~LocalFile() {
    if (m_owned) {
        close(m_descriptor);
    }
    if (!m_partial.empty()) {
        unlink(m_partial.c_str());
        s_partialPath = nullptr;
    }
}

Mdp::Error LocalFile::Failure() const {
    return {Mdp::ErrorKind::Local, 0, errno, m_path};
}

Mdp::Result<void> LocalFile::Open(const std::string& path) {
    m_path = path;
    if (path == "-") {
        m_descriptor = STDOUT_FILENO;
        return {};
    }
    m_owned = true;

    struct stat status {};

    const bool exists = stat(path.c_str(), &status) == 0;
    if (exists && !S_ISREG(status.st_mode)) {
        m_descriptor = open(path.c_str(), O_WRONLY | O_CLOEXEC);
        m_owned = m_descriptor >= 0;
        return m_descriptor >= 0 ? Mdp::Result<void>() : Failure();
    }
    // The mode of the machine's file does not come along: it may be nobody else's to read. An existing file keeps its
    // own, but what it does for its owner was meant for its former content.
    m_mode = exists ? status.st_mode & 0777 : 0600;
    const std::size_t name = path.rfind('/') + 1;
    std::string pattern = path.substr(0, name) + "." + path.substr(name, 200) + ".XXXXXX";
    // A signal between the file and its handler would leave the file.
    const HeldSignals held;
    m_descriptor = mkostemp(pattern.data(), O_CLOEXEC);
    if (m_descriptor < 0) {
        m_owned = false;
        return Failure();
    }
    m_partial = pattern;
    s_partialPath = m_partial.c_str();
    m_signals.emplace(DeletePartial);
    return {};
}

Mdp::Result<void> LocalFile::Write(Mdp::ByteView bytes) {
    while (!bytes.empty()) {
        const ssize_t written = write(m_descriptor, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written < 0) {
            return Failure();
        }
        bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
    return {};
}

Mdp::Result<void> LocalFile::Commit() {
    if (!m_owned) {
        return {};
    }
    if (!m_partial.empty() && fchmod(m_descriptor, m_mode) != 0) {
        return Failure();
    }
    m_owned = false;
    if (close(m_descriptor) != 0) {
        return Failure();
    }
    if (!m_partial.empty()) {
        if (rename(m_partial.c_str(), m_path.c_str()) != 0) {
            return Failure();
        }
        s_partialPath = nullptr;
        m_signals.reset();
        m_partial.clear();
    }
    return {};
}

} // namespace MdpCommand
