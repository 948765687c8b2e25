#include "host/FileTimes.h"

#include <sys/stat.h>

namespace Host {

std::timespec GetBirthTime(const char* path) {
    struct stat status;
    return stat(path, &status) == 0 ? status.st_birthtim : std::timespec{-1, 0};
}

std::timespec GetBirthTime(int descriptor) {
    struct stat status;
    return fstat(descriptor, &status) == 0 ? status.st_birthtim : std::timespec{-1, 0};
}

} // namespace Host
