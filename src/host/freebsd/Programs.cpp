#include "host/Programs.h"

namespace Host {

std::string FindProgram(const std::string& path) {
    return path;
}

void ExtendSearchPath() {}

} // namespace Host
