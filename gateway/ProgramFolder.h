#pragma once

#include <string>

namespace Gateway {

/// The folder of the running program's file; empty where the system does not tell.
std::string ProgramFolder();

} // namespace Gateway
