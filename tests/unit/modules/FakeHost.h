#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

// Stands in for the host's counters and its uptime clock: linked instead of them, so that a test says what they tell.
struct FakeHost {
    // A counter that is not here cannot be read.
    static std::map<std::string, std::uint64_t> counters;
    // The names read, in order.
    static std::string read;
    // Nothing makes the clock fail.
    static std::optional<unsigned long> uptime;
};
