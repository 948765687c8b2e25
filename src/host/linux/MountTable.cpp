#include "host/MountTable.h"

#include <sys/statvfs.h>

#include <cerrno>

#include "host/WholeFile.h"
#include "host/linux/MountInfo.h"

namespace Host {

namespace {

constexpr const char* MOUNTS_FILE = "/proc/self/mountinfo";

int ReadMounts(std::vector<TMountInfo>& mounts) {
    std::string text;
    if (const int error = ReadWholeFile(MOUNTS_FILE, text); error != 0) {
        errno = error;
        return -1;
    }
    mounts = ParseMountInfo(text);
    return 0;
}

} // namespace

int GetMountPoints(std::vector<std::string>& paths) {
    paths.clear();
    std::vector<TMountInfo> mounts;
    if (ReadMounts(mounts) != 0) {
        return -1;
    }
    for (TMountInfo& mount : mounts) {
        paths.push_back(std::move(mount.path));
    }
    return 0;
}

int GetFileSystem(const std::string& path, TFileSystem& system) {
    std::vector<TMountInfo> mounts;
    struct statvfs status = {};
    if (ReadMounts(mounts) != 0 || statvfs(path.c_str(), &status) != 0) {
        return -1;
    }
    // Of several mounts at one place the last one is seen.
    for (auto mount = mounts.rbegin(); mount != mounts.rend(); ++mount) {
        if (mount->path == path) {
            system = {mount->source, mount->type, status.f_frsize, status.f_blocks, status.f_bavail};
            return 0;
        }
    }
    errno = ENOENT;
    return -1;
}

} // namespace Host
