#include "host/KernelEnvironment.h"

#include <algorithm>
#include <fstream>
#include <string_view>
#include <utility>

namespace Host {

namespace {

constexpr std::pair<std::string_view, const char*> FILES[] = {
    {"smbios.bios.version", "/sys/class/dmi/id/bios_version"},
};

} // namespace

std::string GetKernelEnvironment(const std::string& name) {
    const auto* file =
        std::find_if(std::begin(FILES), std::end(FILES), [&](const auto& row) { return row.first == name; });
    std::string value;
    if (file != std::end(FILES)) {
        std::ifstream stream(file->second);
        std::getline(stream, value);
    }
    return value.substr(0, 254);
}

} // namespace Host
