#include "host/KernelEnvironment.h"

#include <fstream>
#include <map>

namespace Host {

std::string GetKernelEnvironment(const std::string& name) {
    static const std::map<std::string, const char*> s_files = {
        {"smbios.bios.version", "/sys/class/dmi/id/bios_version"},
    };
    const auto file = s_files.find(name);
    std::string value;
    if (file != s_files.end()) {
        std::ifstream stream(file->second);
        std::getline(stream, value);
    }
    return value.substr(0, 254);
}

} // namespace Host
