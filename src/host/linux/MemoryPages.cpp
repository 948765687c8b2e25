#include "host/linux/MemoryPages.h"

#include <algorithm>
#include <charconv>

namespace Host {

namespace {

// The text behind the line's first word, which is the name; empty where there is no such line.
std::string_view FindLine(std::string_view text, std::string_view name) {
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        if (line.starts_with(name) && line.substr(name.size()).starts_with(' ')) {
            return line.substr(name.size());
        }
        text.remove_prefix(std::min(line.size() + 1, text.size()));
    }
    return {};
}

// The line's first or last number.
std::optional<std::uint64_t> NumberAt(std::string_view text, std::size_t position) {
    if (position == std::string_view::npos) {
        return std::nullopt;
    }
    std::uint64_t number = 0;
    const auto result = std::from_chars(text.data() + position, text.data() + text.size(), number);
    return result.ec == std::errc() ? std::optional(number) : std::nullopt;
}

std::optional<std::uint64_t> FirstNumber(std::string_view text) {
    return NumberAt(text, text.find_first_not_of(' '));
}

std::optional<std::uint64_t> LastNumber(std::string_view text) {
    const std::size_t blank = text.find_last_of(' ');
    return NumberAt(text, blank == std::string_view::npos ? blank : blank + 1);
}

} // namespace

std::optional<TMemoryPages> ParseMemoryPages(std::string_view memInfo, std::uint64_t pageSize) {
    const auto pagesOf = [memInfo, pageSize](std::string_view name) -> std::optional<std::uint64_t> {
        const std::optional<std::uint64_t> kibibytes = FirstNumber(FindLine(memInfo, name));
        return kibibytes ? std::optional(*kibibytes * 1024 / pageSize) : std::nullopt;
    };
    const auto total = pagesOf("MemTotal:");
    const auto free = pagesOf("MemFree:");
    const auto available = pagesOf("MemAvailable:");
    const auto activeAnonymous = pagesOf("Active(anon):");
    const auto inactiveAnonymous = pagesOf("Inactive(anon):");
    if (!total || !free || !available || !activeAnonymous || !inactiveAnonymous) {
        return std::nullopt;
    }
    // What an administrator reads in `free` as total and available comes out as all five, and as the last three. The
    // kernel keeps a reserve that it takes off the available memory, but not off the free: hence the smaller of both.
    const std::uint64_t usable = std::min(*available, *total);
    const std::uint64_t used = *total - usable;
    TMemoryPages pages = {};
    pages.active = std::min(*activeAnonymous + *inactiveAnonymous, used); // memory of programs
    pages.wired = used - pages.active;                                    // the kernel's own, the ZFS file cache too
    pages.free = std::min(*free, usable);
    pages.inactive = usable - pages.free; // file cache and what else is given back on demand
    pages.cached = 0;                     // no such list, as on FreeBSD since 11
    return pages;
}

std::optional<std::uint64_t> ParseArcSize(std::string_view arcStats) {
    // name, kind of the value, value
    return LastNumber(FindLine(arcStats, "size"));
}

} // namespace Host
