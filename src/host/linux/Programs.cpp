#include "host/Programs.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "host/linux/InstalledTree.h"

namespace Host {

namespace {

// Empty when the executable cannot be told, so that no path is put through a tree.
const std::string& AdaptersTree() {
    // Never destroyed: threads that the end of the process ends still ask for it.
    static const std::string& s_tree =
        *new std::string(InstalledTree().empty() ? "" : InstalledTree() / "libexec/sylvarin/adapters");
    return s_tree;
}

} // namespace

std::string FindProgram(const std::string& path) {
    if (AdaptersTree().empty() || path.empty() || path.front() != '/') {
        return path;
    }
    std::string adapter = AdaptersTree() + path;
    return access(adapter.c_str(), X_OK) == 0 ? adapter : path;
}

void ExtendSearchPath() {
    if (AdaptersTree().empty()) {
        return;
    }
    const char* current = std::getenv("PATH");
    std::string searchPath = current != nullptr ? current : "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin";
    for (const char* directory : {"/usr/local/bin", "/usr/local/sbin", "/usr/bin", "/usr/sbin", "/bin", "/sbin"}) {
        const std::string adapters = AdaptersTree() + directory;
        if (access(adapters.c_str(), X_OK) == 0) {
            searchPath.insert(0, adapters + ':');
        }
    }
    setenv("PATH", searchPath.c_str(), 1);
}

} // namespace Host
