#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace Host {

// The memory of the machine by use, in pages. The five counts add up to all of it.
struct TMemoryPages {
    std::uint64_t active;
    std::uint64_t wired;
    std::uint64_t free;
    std::uint64_t inactive;
    std::uint64_t cached;
};

// From the text of /proc/meminfo and the page size in bytes; nothing where a line is missing.
std::optional<TMemoryPages> ParseMemoryPages(std::string_view memInfo, std::uint64_t pageSize);

// The size of the ZFS file cache in bytes, from the text of /proc/spl/kstat/zfs/arcstats.
std::optional<std::uint64_t> ParseArcSize(std::string_view arcStats);

} // namespace Host
