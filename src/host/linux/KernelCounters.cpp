#include "host/KernelCounters.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <limits>
#include <optional>

#include "host/WholeFile.h"
#include "host/linux/MemoryPages.h"

namespace Host {

namespace {

constexpr const char* MEMINFO_FILE = "/proc/meminfo";
constexpr const char* ARCSTATS_FILE = "/proc/spl/kstat/zfs/arcstats";

std::string ReadProcFile(const char* path) {
    std::string content;
    ReadWholeFile(path, content);
    return content;
}

std::uint64_t PageSize() {
    return static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
}

template <std::uint64_t TMemoryPages::*count>
std::optional<std::uint64_t> Pages(const std::string& memInfo) {
    const std::optional<TMemoryPages> pages = ParseMemoryPages(memInfo, PageSize());
    return pages ? std::optional((*pages).*count) : std::nullopt;
}

struct TCounter {
    const char* name;
    std::optional<std::uint64_t> (*read)(const std::string& memInfo);
};

// How the pages are told apart is in ParseMemoryPages: total is MemTotal, and available is MemAvailable, plus the ZFS
// file cache, which Linux counts as used memory although it is given back on demand.
constexpr TCounter COUNTERS[] = {
    {"vm.stats.vm.v_page_size", [](const std::string&) { return std::optional(PageSize()); }},
    {"vm.stats.vm.v_active_count", Pages<&TMemoryPages::active>},     // Active(anon) + Inactive(anon)
    {"vm.stats.vm.v_wire_count", Pages<&TMemoryPages::wired>},        // MemTotal - MemAvailable - active
    {"vm.stats.vm.v_free_count", Pages<&TMemoryPages::free>},         // MemFree
    {"vm.stats.vm.v_inactive_count", Pages<&TMemoryPages::inactive>}, // MemAvailable - MemFree
    {"vm.stats.vm.v_cache_count", Pages<&TMemoryPages::cached>},      // 0
    {"kstat.zfs.misc.arcstats.size", [](const std::string&) { return ParseArcSize(ReadProcFile(ARCSTATS_FILE)); }},
};

template <typename T>
int ReadAs(const std::string& memInfo, const char* name, T& value) {
    for (const TCounter& counter : COUNTERS) {
        if (std::strcmp(counter.name, name) != 0) {
            continue;
        }
        const std::optional<std::uint64_t> number = counter.read(memInfo);
        if (number && *number <= std::numeric_limits<T>::max()) {
            value = static_cast<T>(*number);
            return 0;
        }
        errno = number ? ERANGE : ENOENT;
        return -1;
    }
    errno = ENOENT;
    return -1;
}

} // namespace

CKernelCounters::CKernelCounters() : m_memInfo(ReadProcFile(MEMINFO_FILE)) {}

int CKernelCounters::Read(const char* name, std::uint32_t& value) const {
    return ReadAs(m_memInfo, name, value);
}

int CKernelCounters::Read(const char* name, std::uint64_t& value) const {
    return ReadAs(m_memInfo, name, value);
}

} // namespace Host
