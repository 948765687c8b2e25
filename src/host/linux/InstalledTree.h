#pragma once

#include <filesystem>

namespace Host {

// The directory above that of the running executable: what is installed with the service lies below it. Empty when the
// executable cannot be told.
const std::filesystem::path& InstalledTree();

} // namespace Host
