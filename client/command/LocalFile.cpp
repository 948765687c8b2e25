#include "LocalFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace MdpCommand {
namespace {

constexpr std::array s_endingSignals{SIGINT, SIGTERM, SIGHUP};

// What the signal handler deletes; null while nothing is being written. The text outlives the pointer to it.
const char* volatile s_partialPath = nullptr;

void DeletePartial(int signal) {
    if (s_partialPath != nullptr) {
        unlink(s_partialPath);
    }
    // The handler was set for one signal only: the second ends the program as if there had been none.
    raise(signal);
}

// What the signals did before, to be put back.
std::array<struct sigaction, s_endingSignals.size()> s_formerActions;

void HandleSignals() {
    struct sigaction action {};

    action.sa_handler = DeletePartial;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
    for (std::size_t i = 0; i < s_endingSignals.size(); ++i) {
        sigaction(s_endingSignals[i], nullptr, &s_formerActions[i]);
        // One that is ignored, as under nohup, stays so.
        if (s_formerActions[i].sa_handler != SIG_IGN) {
            sigaction(s_endingSignals[i], &action, nullptr);
        }
    }
}

void RestoreSignals() {
    for (std::size_t i = 0; i < s_endingSignals.size(); ++i) {
        sigaction(s_endingSignals[i], &s_formerActions[i], nullptr);
    }
}

mode_t UserMask() {
    const mode_t mask = umask(0);
    umask(mask);
    return mask;
}

} // namespace

LocalFile::~LocalFile() {
    if (m_owned) {
        close(m_descriptor);
    }
    if (!m_partial.empty()) {
        unlink(m_partial.c_str());
        s_partialPath = nullptr;
        RestoreSignals();
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
    m_mode = exists ? status.st_mode & 0777 : 0666 & ~UserMask();
    const std::size_t name = path.rfind('/') + 1;
    std::string pattern = path.substr(0, name) + "." + path.substr(name, 200) + ".XXXXXX";
    m_descriptor = mkstemp(pattern.data());
    if (m_descriptor < 0) {
        m_owned = false;
        return Failure();
    }
    m_partial = pattern;
    s_partialPath = m_partial.c_str();
    HandleSignals();
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
        RestoreSignals();
        m_partial.clear();
    }
    return {};
}

} // namespace MdpCommand
