#include <filesystem>
#include <system_error>

#include "ProgramFolder.h"

namespace Gateway {

std::string ProgramFolder() {
    std::error_code failure;
    return std::filesystem::read_symlink("/proc/self/exe", failure).parent_path().string();
}

} // namespace Gateway
