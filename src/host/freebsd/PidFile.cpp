#include "host/PidFile.h"

#include <sys/param.h>

#include <libutil.h>

namespace Host {

PidFileHandle* PidFileOpen(const char* path, mode_t mode, pid_t* otherPid) {
    return reinterpret_cast<PidFileHandle*>(pidfile_open(path, mode, otherPid));
}

int PidFileWrite(PidFileHandle* handle) {
    return pidfile_write(reinterpret_cast<pidfh*>(handle));
}

int PidFileRemove(PidFileHandle* handle) {
    return pidfile_remove(reinterpret_cast<pidfh*>(handle));
}

} // namespace Host
