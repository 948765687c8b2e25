#include "host/FreeMemory.h"

namespace Host {

// The system's allocator keeps large blocks for a while and then gives them back, both by itself.

void KeepFreeMemory() {}

void ReturnFreeMemory() {}

} // namespace Host
