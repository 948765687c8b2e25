#include "host/AccountPasswords.h"

#include <sys/param.h>

#include <pwd.h> // first: libutil.h has the calls for accounts only behind it

#include <err.h>
#include <fcntl.h>
#include <libutil.h>
#include <unistd.h>

#include <cerrno>
#include <csetjmp>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "host/Secrets.h"

namespace Host {

namespace {

constexpr int LOCK_ROUNDS = 50;
constexpr useconds_t LOCK_ROUND_US = 100000;

struct CPasswdDeleter {
    void operator()(passwd* entry) const {
        explicit_bzero(entry->pw_passwd, std::strlen(entry->pw_passwd));
        std::free(entry);
    }
};

std::jmp_buf s_outOfLock;

void LeaveLock(int /*status*/) {
    std::longjmp(s_outOfLock, 1);
}

// 0 once the lock is free, EWOULDBLOCK where another program has held it all the time, or another errno where there is
// no database.
int WaitForLock(int rounds = LOCK_ROUNDS) {
    for (int round = 0; round < rounds; ++round) {
        if (round > 0) {
            usleep(LOCK_ROUND_US);
        }
        const int file = flopen(_PATH_MASTERPASSWD, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        if (file != -1) {
            close(file);
            return 0;
        }
        if (errno != EWOULDBLOCK) {
            return errno;
        }
    }
    return EWOULDBLOCK;
}

// pw_lock ends the process where it does not get the lock: as that is another program's doing, it must not.
int Lock() {
    if (WaitForLock() != 0) {
        return -1;
    }
    err_set_exit(LeaveLock);
    volatile int descriptor = -1;
    if (setjmp(s_outOfLock) == 0) {
        descriptor = pw_lock();
    }
    err_set_exit(nullptr);
    return descriptor;
}

} // namespace

bool HashPassword(const std::string& password, const std::string& setting, std::string& hash) {
    const auto data = std::make_unique<crypt_data>();
    const char* result = crypt_r(password.c_str(), setting.c_str(), data.get());
    if (result != nullptr) {
        hash = result;
    }
    explicit_bzero(data.get(), sizeof *data);
    return result != nullptr;
}

bool GetPasswordHash(const std::string& user, std::string& hash) {
    const passwd* entry = getpwnam(user.c_str());
    if (entry == nullptr) {
        return false;
    }
    hash = entry->pw_passwd;
    return true;
}

const char* ReplacePasswordHash(const std::string& user, const std::string& hash) {
    std::string password = hash;
    const CWipeAtEnd wipe(password);
    passwd* found = getpwnam(user.c_str());
    if (found == nullptr) {
        return "pw_dup";
    }
    found->pw_passwd = password.data();
    const std::unique_ptr<passwd, CPasswdDeleter> changed(pw_dup(found));
    passwd* old = getpwnam(user.c_str());
    if (changed == nullptr || old == nullptr) {
        return "pw_dup";
    }
    if (pw_init(nullptr, nullptr) != 0) {
        return "pw_init";
    }
    const int lock = Lock();
    if (lock == -1) {
        return "pw_lock";
    }
    const char* failed = nullptr;
    if (const int copy = pw_tmp(-1); copy == -1) {
        failed = "pw_tmp";
    } else {
        fcntl(copy, F_SETFD, FD_CLOEXEC);
        if (pw_copy(lock, copy, changed.get(), old) == -1) {
            failed = "pw_copy";
        } else if (pw_mkdb(changed->pw_name) == -1) {
            failed = "pw_mkdb";
        }
        close(copy);
    }
    pw_fini();
    return failed;
}

bool WaitForDatabase() {
    return WaitForLock() != EWOULDBLOCK;
}

bool IsDatabaseBusy() {
    return WaitForLock(1) == EWOULDBLOCK;
}

} // namespace Host
