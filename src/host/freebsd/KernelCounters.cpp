#include "host/KernelCounters.h"

#include <sys/types.h>

#include <sys/sysctl.h>

#include <cerrno>

namespace Host {

namespace {

template <typename T>
int ReadAs(const char* name, T& value) {
    T counter = 0;
    std::size_t size = sizeof(counter);
    if (sysctlbyname(name, &counter, &size, nullptr, 0) != 0) {
        return -1;
    }
    if (size != sizeof(counter)) {
        errno = EINVAL;
        return -1;
    }
    value = counter;
    return 0;
}

} // namespace

CKernelCounters::CKernelCounters() = default;

int CKernelCounters::Read(const char* name, std::uint32_t& value) const {
    return ReadAs(name, value);
}

int CKernelCounters::Read(const char* name, std::uint64_t& value) const {
    return ReadAs(name, value);
}

} // namespace Host
