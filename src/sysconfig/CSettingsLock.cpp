#include "sysconfig/CSettingsLock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <chrono>
#include <mutex>
#include <optional>
#include <thread>

#include "platform/CFileDescriptor.h"

namespace ZMBSD {

namespace {

constexpr const char* s_lockFile = "/var/run/rc.conf.lock";
constexpr auto s_longestWait = std::chrono::seconds(30);
constexpr auto s_pollInterval = std::chrono::milliseconds(5);

std::recursive_mutex s_mutex;

// Both guarded by the mutex.
int s_exclusions = 0;
std::optional<CFileDescriptor> s_file;

bool TakeFile() {
    s_file.emplace(open(s_lockFile, O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (!*s_file) {
        return true;
    }
    const auto end = std::chrono::steady_clock::now() + s_longestWait;
    while (flock(s_file->Get(), LOCK_EX | LOCK_NB) != 0) {
        if ((errno != EWOULDBLOCK && errno != EINTR) || std::chrono::steady_clock::now() > end) {
            s_file.reset();
            return false;
        }
        std::this_thread::sleep_for(s_pollInterval);
    }
    return true;
}

void ReleaseFile() {
    // Closing it would not do: a child of another thread may still be on its way to its program with a copy.
    if (*s_file) {
        flock(s_file->Get(), LOCK_UN);
    }
    s_file.reset();
}

} // namespace

CSettingsLock::CSettingsLock() {
    s_mutex.lock();
}

CSettingsLock::~CSettingsLock() {
    if (m_excludes && --s_exclusions == 0) {
        ReleaseFile();
    }
    s_mutex.unlock();
}

bool CSettingsLock::ExcludeSysrc() {
    if (m_excludes) {
        return true;
    }
    if (s_exclusions == 0 && !TakeFile()) {
        return false;
    }
    ++s_exclusions;
    m_excludes = true;
    return true;
}

} // namespace ZMBSD
