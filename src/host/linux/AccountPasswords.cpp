#include "host/AccountPasswords.h"

#include <crypt.h>
#include <fcntl.h>
#include <shadow.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <string_view>

#include "host/Secrets.h"

namespace Host {

namespace {

constexpr const char* SHADOW_FILE = "/etc/shadow";
constexpr const char* LOCK_FILE = "/etc/.pwd.lock";

constexpr int LOCK_ROUNDS = 50;
constexpr useconds_t LOCK_ROUND_US = 100000;

constexpr std::time_t SECONDS_OF_DAY = 86400;

// Larger than a line of the shadow file gets.
constexpr std::size_t ENTRY_SIZE = 4096;

class CDescriptor {
public:
    explicit CDescriptor(int descriptor) : m_descriptor(descriptor) {}

    ~CDescriptor() {
        if (m_descriptor >= 0) {
            close(m_descriptor);
        }
    }

    CDescriptor(const CDescriptor&) = delete;
    CDescriptor& operator=(const CDescriptor&) = delete;

    explicit operator bool() const { return m_descriptor >= 0; }

    int Get() const { return m_descriptor; }

private:
    int m_descriptor;
};

// The lock of lckpwdf(3), which all programs that change accounts take. That call itself is none for a process with
// threads: it ends its wait with SIGALRM, which any of them may get, and threads do not exclude each other.
class CDatabaseLock {
public:
    explicit CDatabaseLock(int rounds = LOCK_ROUNDS) : m_file(open(LOCK_FILE, O_WRONLY | O_CREAT | O_CLOEXEC, 0600)) {
        for (int round = 0; m_file && !m_held && round < rounds; ++round) {
            if (round > 0) {
                usleep(LOCK_ROUND_US);
            }
            m_held = Set(F_WRLCK);
            m_busy = !m_held && (errno == EAGAIN || errno == EACCES || errno == EINTR);
            if (!m_busy) {
                break;
            }
        }
    }

    ~CDatabaseLock() {
        if (m_held) {
            Set(F_UNLCK); // a program that another thread is just starting may have the descriptor still
        }
    }

    CDatabaseLock(const CDatabaseLock&) = delete;
    CDatabaseLock& operator=(const CDatabaseLock&) = delete;

    explicit operator bool() const { return m_held; }

    // Another program has held it all the time.
    bool IsBusy() const { return m_busy; }

private:
    bool Set(short type) const {
        struct flock whole {};

        whole.l_type = type;
        whole.l_whence = SEEK_SET;
        return fcntl(m_file.Get(), F_OFD_SETLK, &whole) == 0;
    }

    CDescriptor m_file;
    bool m_held = false;
    bool m_busy = false;
};

bool ReadWhole(int file, std::size_t size, std::string& content) {
    content.resize(size);
    std::size_t done = 0;
    while (done < size) {
        const ssize_t count = read(file, content.data() + done, size - done);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return false;
        }
        done += static_cast<std::size_t>(count);
    }
    return true;
}

bool WriteWhole(int file, const std::string& content) {
    std::size_t done = 0;
    while (done < content.size()) {
        const ssize_t count = write(file, content.data() + done, content.size() - done);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            return false;
        }
        done += static_cast<std::size_t>(count);
    }
    return true;
}

// Today in the shadow file. On day 0, of a clock that was never set, nothing: 0 would ask for a new password.
std::string DateOfChange() {
    const std::time_t days = std::time(nullptr) / SECONDS_OF_DAY;
    return days > 0 ? std::to_string(days) : std::string();
}

// The content with the user's hash and date of change replaced, all else as it was. False where the user has no line,
// or one that is no entry.
bool ReplaceEntry(std::string_view content, std::string_view user, std::string_view hash, std::string& changed) {
    if (user.find_first_of(":\n") != std::string_view::npos) {
        return false;
    }
    std::size_t line = 0;
    while (line < content.size() &&
           !(content.substr(line, user.size()) == user && content.substr(line + user.size(), 1) == ":")) {
        line = content.find('\n', line);
        line = line == std::string_view::npos ? content.size() : line + 1;
    }
    if (line >= content.size()) {
        return false;
    }
    const std::size_t end = content.find('\n', line);
    const std::size_t start = line + user.size() + 1;
    const std::size_t date = content.find(':', start);
    const std::size_t rest = date == std::string_view::npos ? date : content.find(':', date + 1);
    if (rest == std::string_view::npos || rest > end) {
        return false;
    }
    const std::string today = DateOfChange();
    changed.reserve(content.size() + hash.size() + today.size() + 1);
    changed.append(content.substr(0, start)).append(hash).append(":").append(today).append(content.substr(rest));
    return true;
}

// A file beside the one that it is to replace, gone again at the end unless it has. The name is always the same, so
// that what a crash left is replaced: the lock keeps others out.
class CReplacement {
public:
    explicit CReplacement(const std::string& path)
        : m_path(path), m_beside(path + ".sylvarin"), m_directory(path.substr(0, path.rfind('/') + 1)) {
        unlink(m_beside.c_str());
        m_file = std::make_unique<CDescriptor>(
            open(m_beside.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    }

    ~CReplacement() {
        if (*m_file && !m_done) {
            unlink(m_beside.c_str());
        }
    }

    CReplacement(const CReplacement&) = delete;
    CReplacement& operator=(const CReplacement&) = delete;

    explicit operator bool() const { return static_cast<bool>(*m_file); }

    bool Fill(const std::string& content, const struct stat& original) const {
        const int file = m_file->Get();
        return fchown(file, original.st_uid, original.st_gid) == 0 && fchmod(file, original.st_mode & 07777) == 0 &&
               WriteWhole(file, content) && fsync(file) == 0;
    }

    bool Commit() {
        m_done = rename(m_beside.c_str(), m_path.c_str()) == 0;
        if (m_done) {
            const CDescriptor directory(open(m_directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
            fsync(directory.Get()); // the change is made, whatever comes of it
        }
        return m_done;
    }

private:
    std::string m_path;
    std::string m_beside;
    std::string m_directory;
    std::unique_ptr<CDescriptor> m_file;
    bool m_done = false;
};

} // namespace

bool HashPassword(const std::string& password, const std::string& setting, std::string& hash) {
    const auto data = std::make_unique<crypt_data>();
    const char* result = crypt_r(password.c_str(), setting.c_str(), data.get());
    const bool isHash = result != nullptr && result[0] != '*'; // how this library tells a failure
    if (isHash) {
        hash = result;
    }
    explicit_bzero(data.get(), sizeof *data);
    return isHash;
}

bool GetPasswordHash(const std::string& user, std::string& hash) {
    std::array<char, ENTRY_SIZE> buffer{};
    spwd entry{};
    spwd* found = nullptr;
    const bool isThere =
        getspnam_r(user.c_str(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr;
    if (isThere) {
        hash = found->sp_pwdp;
    }
    explicit_bzero(buffer.data(), buffer.size());
    return isThere;
}

const char* ReplacePasswordHash(const std::string& user, const std::string& hash) {
    const CDatabaseLock lock;
    if (!lock) {
        return "pw_lock";
    }
    char path[PATH_MAX];

    struct stat status {};

    const CDescriptor original(realpath(SHADOW_FILE, path) != nullptr ? open(path, O_RDONLY | O_CLOEXEC) : -1);
    if (!original || fstat(original.Get(), &status) != 0) {
        return "pw_copy";
    }
    CReplacement replacement(path);
    if (!replacement) {
        return "pw_tmp";
    }
    std::string content;
    const CWipeAtEnd contentWipe(content);
    std::string changed;
    const CWipeAtEnd changedWipe(changed);
    if (!ReadWhole(original.Get(), static_cast<std::size_t>(status.st_size), content) ||
        !ReplaceEntry(content, user, hash, changed) || !replacement.Fill(changed, status)) {
        return "pw_copy";
    }
    return replacement.Commit() ? nullptr : "pw_mkdb";
}

bool WaitForDatabase() {
    return !CDatabaseLock().IsBusy();
}

bool IsDatabaseBusy() {
    return CDatabaseLock(1).IsBusy();
}

} // namespace Host
