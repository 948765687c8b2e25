#include "host/MountTable.h"

#include <sys/param.h>

#include <sys/mount.h>

#include <algorithm>

namespace Host {

namespace {

static_assert(sizeof(struct statfs) == 2344);
static_assert(MNT_NOWAIT == 2);

} // namespace

int GetMountPoints(std::vector<std::string>& paths) {
    paths.clear();
    const int expected = getfsstat(nullptr, 0, MNT_NOWAIT);
    if (expected < 0) {
        return -1;
    }
    std::vector<struct statfs> table(static_cast<std::size_t>(expected));
    const int count = getfsstat(table.data(), static_cast<long>(table.size() * sizeof table[0]), MNT_NOWAIT);
    if (count < 0) {
        return -1;
    }
    table.resize(static_cast<std::size_t>(std::min(count, expected)));
    for (const struct statfs& entry : table) {
        paths.emplace_back(entry.f_mntonname);
    }
    return 0;
}

int GetFileSystem(const std::string& path, TFileSystem& system) {
    struct statfs status;
    if (statfs(path.c_str(), &status) != 0) {
        return -1;
    }
    const auto available = static_cast<std::uint64_t>(status.f_bavail);
    system = {status.f_mntfromname, status.f_fstypename, status.f_bsize, status.f_blocks, available};
    return 0;
}

} // namespace Host
