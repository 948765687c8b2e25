#include "host/UptimeClock.h"

#include <ctime>

namespace Host {

int GetUptime(unsigned long& seconds) {
    timespec now = {};
    if (clock_gettime(CLOCK_UPTIME, &now) != 0) {
        return -1;
    }
    seconds = static_cast<unsigned long>(now.tv_sec);
    return 0;
}

} // namespace Host
