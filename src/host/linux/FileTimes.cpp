#include "host/FileTimes.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace Host {

namespace {

std::timespec BirthTimeOf(int directory, const char* path, int flags) {
    struct statx status;
    if (statx(directory, path, flags, STATX_BTIME, &status) != 0 || (status.stx_mask & STATX_BTIME) == 0) {
        return {-1, 0};
    }
    return {status.stx_btime.tv_sec, status.stx_btime.tv_nsec};
}

} // namespace

std::timespec GetBirthTime(const char* path) {
    return BirthTimeOf(AT_FDCWD, path, 0);
}

std::timespec GetBirthTime(int descriptor) {
    return BirthTimeOf(descriptor, "", AT_EMPTY_PATH);
}

} // namespace Host
