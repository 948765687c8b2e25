#include "platform/OsUserSystemInfo.h"

#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>

std::int32_t OsUserGetVersionInfo(_OSVERSIONINFOA* info) {
    *info = {};
    utsname system;
    if (uname(&system) >= 0) {
        std::string release = system.release;
        release.resize(std::min(release.find('-'), release.size()));
        info->dwMajorVersion = static_cast<std::uint32_t>(std::atoi(release.c_str()));
        if (const std::size_t point = release.find('.'); point != std::string::npos) {
            info->dwMinorVersion = static_cast<std::uint32_t>(std::atoi(release.c_str() + point + 1));
        }
    }
    info->dwOSVersionInfoSize = sizeof *info;
    std::snprintf(info->szCSDVersion, sizeof info->szCSDVersion, "%s", "Zelmora/BSD");
    return 1;
}

void OsUserGetSystemInfo(_SYSTEM_INFO* info) {
    const long configured = sysconf(_SC_NPROCESSORS_CONF);
    const long online = sysconf(_SC_NPROCESSORS_ONLN);
    const long pageSize = sysconf(_SC_PAGESIZE);
    if (info == nullptr) {
        return;
    }
    *info = {};
    info->dwProcessorArchitecture = 9;
    info->dwPageSize = static_cast<std::uint32_t>(pageSize);
    info->dwNumberOfProcessors = static_cast<std::uint32_t>(configured);
    for (long processor = 0; processor < online; ++processor) {
        info->dwActiveProcessorMask |= 1u << (processor % 32);
    }
}

bool SearchCoresInDmesgBoot(long& cores) {
    std::FILE* lines = popen("grep -i FreeBSD/SMP:.*core /var/run/dmesg.boot", "re");
    if (lines == nullptr) {
        return false;
    }
    bool found = false;
    char line[256];
    while (std::fgets(line, sizeof line, lines) != nullptr) {
        unsigned packages = 0;
        unsigned coresOfEach = 0;
        if (std::sscanf(line, "FreeBSD/SMP: %u package(s) x %u core(s)", &packages, &coresOfEach) == 2) {
            cores = static_cast<long>(packages) * static_cast<long>(coresOfEach);
            found = true;
        }
    }
    pclose(lines);
    return found;
}
