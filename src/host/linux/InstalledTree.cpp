#include "host/linux/InstalledTree.h"

namespace Host {

const std::filesystem::path& InstalledTree() {
    // Never destroyed: threads that the end of the process ends still ask for it.
    static const std::filesystem::path& s_tree = *[] {
        std::error_code error;
        const std::filesystem::path executable = std::filesystem::read_symlink("/proc/self/exe", error);
        return new std::filesystem::path(error ? std::filesystem::path() : executable.parent_path().parent_path());
    }();
    return s_tree;
}

} // namespace Host
