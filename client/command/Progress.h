#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "Command.h"

namespace MdpCommand {

// "512 B", "1.5 MiB".
std::string SizeText(double bytes);

// One line about a transfer: "name  [#####     ]  50%  1.0 MiB of 2.0 MiB  10.0 MiB/s  0:05 left". Without a total
// there is no bar and no time left. The times are in seconds.
std::string ProgressText(const std::string& name, std::uint64_t done, std::optional<std::uint64_t> total,
                         double seconds);

// Shows how a transfer goes on, on a terminal only: a pipe gets nothing. Rubbed out at its end.
class Progress {
public:
    Progress(const Context& context, const std::string& name, std::optional<std::uint64_t> total);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void Add(std::uint64_t bytes);

private:
    using Clock = std::chrono::steady_clock;

    Streams m_streams;
    bool m_enabled;
    bool m_shown = false;
    std::string m_name;
    std::optional<std::uint64_t> m_total;
    std::uint64_t m_done = 0;
    Clock::time_point m_start;
    Clock::time_point m_next;
};

} // namespace MdpCommand
