#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Host {

// A file system that is mounted.
struct TFileSystem {
    std::string source;      // what is mounted, such as "/dev/da0s1"
    std::string type;        // as mount(8) names it, such as "ufs"
    std::uint64_t blockSize; // bytes
    std::uint64_t blocks;
    std::uint64_t blocksAvailable; // to users without privileges
};

// All mount points in the table's order, every character as it is. 0, or -1 with errno.
int GetMountPoints(std::vector<std::string>& paths);

// The file system at a mount point. 0, or -1 with errno; `system` is then left as it was.
int GetFileSystem(const std::string& path, TFileSystem& system);

} // namespace Host
