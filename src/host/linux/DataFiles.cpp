#include "host/DataFiles.h"

#include <filesystem>

#include "host/linux/InstalledTree.h"

namespace Host {

std::string FindDataFile(const std::string& path) {
    std::error_code error;
    if (path.empty() || InstalledTree().empty() || std::filesystem::exists(path, error)) {
        return path;
    }
    std::string shared = InstalledTree() / "share/sylvarin" / std::filesystem::path(path).filename();
    return std::filesystem::exists(shared, error) ? shared : path;
}

} // namespace Host
