#include "platform/OsUserSystem.h"

#include <unistd.h>

#include <cerrno>
#include <ctime>

int OsUserGetLastError() {
    return errno;
}

std::uint32_t OsUserGetLastWin32Error() {
    switch (errno) {
    case ENOMEM:
        return 14;
    case EACCES:
        return 5;
    case EEXIST:
        return 183;
    case EINVAL:
        return 13;
    case ETIMEDOUT:
        return 1460;
    default:
        return 10000 + static_cast<std::uint32_t>(errno);
    }
}

std::uint32_t OsUserGetTickCount() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint32_t>(now.tv_sec) * 1000 + static_cast<std::uint32_t>(now.tv_nsec / 1000000);
}

void OsUserSleep(std::uint32_t milliseconds) {
    usleep(milliseconds * 1000);
}
