#include "host/KernelEnvironment.h"

#include <kenv.h>

namespace Host {

std::string GetKernelEnvironment(const std::string& name) {
    char value[256] = {};
    if (kenv(KENV_GET, name.c_str(), value, sizeof(value) - 1) < 0) {
        return {};
    }
    return value;
}

} // namespace Host
