#pragma once

#include <string>

#include "mdp/Result.h"

namespace MdpCommand {

// What a user can do about a failure, to be put behind its message with a semicolon between; empty where the message
// says it. What to do about a connection depends on whether the service is on this machine.
std::string AdviceOn(const Mdp::Error& error, bool isHere);

} // namespace MdpCommand
