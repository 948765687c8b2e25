#pragma once

namespace Host {

// Whole seconds since the start of the system: 0, or -1 with errno.
int GetUptime(unsigned long& seconds);

} // namespace Host
