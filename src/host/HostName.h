#pragma once

#include <string_view>

namespace Host {

// Sets the running host name. 0, or -1 with errno.
int SetHostName(std::string_view name);

} // namespace Host
