#include "host/KernelEnvironment.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "host/WholeFile.h"

namespace Host {

namespace {

constexpr std::pair<std::string_view, const char*> FILES[] = {
    {"smbios.bios.version", "/sys/class/dmi/id/bios_version"},
};

} // namespace

std::string GetKernelEnvironment(const std::string& name) {
    const auto* file =
        std::find_if(std::begin(FILES), std::end(FILES), [&](const auto& row) { return row.first == name; });
    return file != std::end(FILES) ? ReadFirstLine(file->second).substr(0, 254) : std::string();
}

} // namespace Host
