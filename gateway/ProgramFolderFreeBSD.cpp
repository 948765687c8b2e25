#include <sys/types.h>

#include <sys/sysctl.h>

#include <climits>
#include <filesystem>

#include "ProgramFolder.h"

namespace Gateway {

std::string ProgramFolder() {
    const int name[] = {CTL_KERN, KERN_PROC, KERN_PROC_PATHNAME, -1};
    char path[PATH_MAX] = "";
    std::size_t length = sizeof path;
    if (sysctl(name, 4, path, &length, nullptr, 0) != 0) {
        return {};
    }
    return std::filesystem::path(path).parent_path().string();
}

} // namespace Gateway
