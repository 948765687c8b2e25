#include "FakeHost.h"

#include "host/KernelCounters.h"
#include "host/UptimeClock.h"

std::map<std::string, std::uint64_t> FakeHost::counters;
std::string FakeHost::read;
std::optional<unsigned long> FakeHost::uptime;

namespace Host {

namespace {

template <typename T>
int ReadAs(const char* name, T& value) {
    FakeHost::read += std::string(name) + "\n";
    const auto counter = FakeHost::counters.find(name);
    if (counter == FakeHost::counters.end()) {
        return -1;
    }
    value = static_cast<T>(counter->second);
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

int GetUptime(unsigned long& seconds) {
    if (!FakeHost::uptime) {
        return -1;
    }
    seconds = *FakeHost::uptime;
    return 0;
}

} // namespace Host
