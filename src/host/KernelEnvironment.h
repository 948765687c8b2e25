#pragma once

#include <string>

namespace Host {

// The value of a variable of the kernel's environment, under FreeBSD's name and cut to 254 bytes; empty where there is
// none.
std::string GetKernelEnvironment(const std::string& name);

} // namespace Host
