#pragma once

#include <cstdint>
#include <string>

namespace Host {

// The named counters of the kernel, under FreeBSD's sysctl names. Counters read from one object belong together as far
// as the system allows.
class CKernelCounters {
public:
    CKernelCounters();

    // 0, or -1 with errno; the value is then left as it was.
    int Read(const char* name, std::uint32_t& value) const;
    int Read(const char* name, std::uint64_t& value) const;

private:
    std::string m_memInfo; // what the system told of its memory at the construction; empty where each read asks anew
};

} // namespace Host
