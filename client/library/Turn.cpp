#include "mdp/Turn.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <thread>
#include <vector>

namespace Mdp {
namespace {

constexpr Milliseconds s_interval{5};
constexpr Milliseconds s_patience{1000};

// Only there can nobody else put a file in the place of the lock, or hold the lock for ever.
bool IsOwnDirectory(const std::string& path) {
    struct stat status {};

    return path.starts_with('/') && stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
           status.st_uid == geteuid() && (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

std::vector<std::string> Directories(const std::string& socketPath) {
    std::vector<std::string> directories{socketPath.substr(0, socketPath.rfind('/') + 1)};
    if (geteuid() == 0) {
        directories.insert(directories.end(), {"/run", "/var/run"});
        return directories;
    }
    for (const char* variable : {"XDG_RUNTIME_DIR", "HOME"}) {
        if (const char* directory = std::getenv(variable); directory != nullptr) {
            directories.emplace_back(directory);
        }
    }
    return directories;
}

// The file, or -1 where there is no place for it.
int OpenLock(const std::string& socketPath, const std::string& name) {
    for (const std::string& directory : Directories(socketPath)) {
        if (!IsOwnDirectory(directory)) {
            continue;
        }
        std::string path = directory;
        path.append("/.mdp-").append(name).append(".lock");
        const int descriptor = open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600);
        if (descriptor >= 0) {
            return descriptor;
        }
    }
    return -1;
}

} // namespace

Turn::~Turn() {
    if (m_descriptor >= 0) {
        close(m_descriptor);
    }
}

bool Turn::Wait(const std::string& socketPath, const std::string& name, std::optional<Milliseconds> atMost,
                const std::function<void()>& waiting) {
    m_descriptor = OpenLock(socketPath, name);
    if (m_descriptor < 0) {
        return true;
    }
    const auto begin = std::chrono::steady_clock::now();
    bool told = false;
    while (flock(m_descriptor, LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK && errno != EINTR) {
            return true; // a file system without locks
        }
        const auto waited = std::chrono::steady_clock::now() - begin;
        if (atMost && waited >= *atMost) {
            return false;
        }
        if (waiting && !told && waited >= s_patience) {
            waiting();
            told = true;
        }
        std::this_thread::sleep_for(s_interval);
    }
    return true;
}

bool Turn::Wait(const ClientOptions& options, const std::string& name, std::optional<Milliseconds> atMost,
                const std::function<void()>& waiting) {
    // The directory of a socket that leads elsewhere may be this program's alone.
    return options.machine.empty() ? Wait(options.socketPath, name, atMost, waiting)
                                   : Wait("", options.machine + "-" + name, atMost, waiting);
}

} // namespace Mdp
