#include "FakeFirmware.h"

#include "host/KernelEnvironment.h"

std::map<std::string, std::string> FakeFirmware::strings;

namespace Host {

std::string GetKernelEnvironment(const std::string& name) {
    const auto found = FakeFirmware::strings.find(name);
    return found != FakeFirmware::strings.end() ? found->second : std::string();
}

} // namespace Host
