#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Host {

struct TMountInfo {
    std::string path;
    std::string type;
    std::string source;
};

// The lines of /proc/self/mountinfo. The kernel writes blanks, tabs, line feeds, backslashes and "#" as a backslash and
// three octal digits: they come back here. Lines that are no mounts are passed over.
std::vector<TMountInfo> ParseMountInfo(std::string_view text);

} // namespace Host
