#pragma once

#include <sys/types.h>

// The lock file that keeps a second instance out. The lock is held by the process for its life, and not by the programs
// that it runs.
namespace Host {

struct PidFileHandle;

// Opens and locks the file. Null with errno: EEXIST where another process holds it, whose pid goes to `*otherPid`.
PidFileHandle* PidFileOpen(const char* path, mode_t mode, pid_t* otherPid);

// Writes the pid of this process. 0, or -1 with errno.
int PidFileWrite(PidFileHandle* handle);

// Removes the file and ends the handle. 0, or -1 with errno, also for a null handle.
int PidFileRemove(PidFileHandle* handle);

} // namespace Host
