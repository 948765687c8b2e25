#include "host/PidFile.h"

#include <bsd/libutil.h>
#include <fcntl.h>

namespace Host {

PidFileHandle* PidFileOpen(const char* path, mode_t mode, pid_t* otherPid) {
    pidfh* file = pidfile_open(path, mode, otherPid);
    // Unlike FreeBSD's, this library leaves the lock to the programs that the process runs.
    if (file != nullptr) {
        fcntl(pidfile_fileno(file), F_SETFD, FD_CLOEXEC);
    }
    return reinterpret_cast<PidFileHandle*>(file);
}

int PidFileWrite(PidFileHandle* handle) {
    return pidfile_write(reinterpret_cast<pidfh*>(handle));
}

int PidFileRemove(PidFileHandle* handle) {
    return pidfile_remove(reinterpret_cast<pidfh*>(handle));
}

} // namespace Host
