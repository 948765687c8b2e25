#include "host/FreeMemory.h"

#include <malloc.h>

namespace Host {

namespace {

// A chunk of a file with its head is a little larger than 1 MiB, and a few are on their way at once.
constexpr int LARGEST_KEPT = 8 << 20;
constexpr int MOST_KEPT = 16 << 20;

} // namespace

void KeepFreeMemory() {
    // One heap: each further one would keep the largest blocks that it ever gave out, and not give them back when
    // asked.
    mallopt(M_ARENA_MAX, 1);
    mallopt(M_MMAP_THRESHOLD, LARGEST_KEPT);
    mallopt(M_TRIM_THRESHOLD, MOST_KEPT);
}

void ReturnFreeMemory() {
    malloc_trim(0);
}

} // namespace Host
