#include "platform/OsUserDeadline.h"

timespec OsUserAddMilliseconds(timespec time, std::int32_t milliseconds) {
    constexpr long NANOSECONDS_PER_SECOND = 1000000000;
    time.tv_sec += milliseconds / 1000;
    time.tv_nsec += static_cast<long>(milliseconds % 1000) * 1000000;
    if (time.tv_nsec >= NANOSECONDS_PER_SECOND) {
        time.tv_nsec -= NANOSECONDS_PER_SECOND;
        ++time.tv_sec;
    }
    return time;
}

bool OsUserGetDeadline(std::int32_t milliseconds, timespec* deadline) {
    timespec now;
    if (clock_gettime(CLOCK_REALTIME, &now) != 0) {
        return false;
    }
    *deadline = OsUserAddMilliseconds(now, milliseconds);
    return true;
}
