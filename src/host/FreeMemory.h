#pragma once

namespace Host {

// Lets blocks of a few MiB that were given back be used again without a word to the system, by any thread. To be called
// before there is a second thread.
void KeepFreeMemory();

// Gives the memory that is free back to the system. Any thread may call it.
void ReturnFreeMemory();

} // namespace Host
