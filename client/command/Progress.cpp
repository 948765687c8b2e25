#include "Progress.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <ostream>

#include <fmt/format.h>

#include "Text.h"

namespace MdpCommand {
namespace {

constexpr std::chrono::milliseconds s_interval{200};
constexpr int s_barWidth = 20;
constexpr double s_longestShown = 359999; // 99:59:59

std::string TimeText(double seconds) {
    const auto whole = std::lround(std::min(seconds, s_longestShown));
    return whole >= 3600 ? fmt::format("{}:{:02}:{:02}", whole / 3600, whole / 60 % 60, whole % 60)
                         : fmt::format("{}:{:02}", whole / 60, whole % 60);
}

} // namespace

std::string SizeText(double bytes) {
    constexpr std::array units{"B", "KiB", "MiB", "GiB", "TiB", "PiB"};
    std::size_t unit = 0;
    while (bytes >= 1024 && unit + 1 < units.size()) {
        bytes /= 1024;
        ++unit;
    }
    return unit == 0 ? fmt::format("{:.0f} B", bytes) : fmt::format("{:.1f} {}", bytes, units[unit]);
}

std::string ProgressText(const std::string& name, std::uint64_t done, std::optional<std::uint64_t> total,
                         double seconds) {
    const double amount = static_cast<double>(done);
    const double rate = seconds > 0 ? amount / seconds : 0;
    std::string text = name + "  ";
    if (total && *total > 0) {
        const double share = std::min(amount / static_cast<double>(*total), 1.0);
        const int filled = static_cast<int>(share * s_barWidth);
        text += fmt::format("[{}{}] {:3.0f}%  {} of {}", std::string(static_cast<std::size_t>(filled), '#'),
                            std::string(static_cast<std::size_t>(s_barWidth - filled), ' '), share * 100,
                            SizeText(amount), SizeText(static_cast<double>(*total)));
    } else {
        text += SizeText(amount);
    }
    if (rate > 0) {
        text += fmt::format("  {}/s", SizeText(rate));
        if (total && *total > done) {
            text += fmt::format("  {} left", TimeText(static_cast<double>(*total - done) / rate));
        }
    }
    return text;
}

Progress::Progress(const Context& context, const std::string& name, std::optional<std::uint64_t> total)
    : m_streams(context.streams), m_enabled(context.streams.errIsTerminal && !context.json),
      m_name(PrintableText(name)), m_total(total), m_start(Clock::now()), m_next(m_start + s_interval) {}

Progress::~Progress() {
    if (m_shown) {
        m_streams.err << "\r\x1b[K" << std::flush;
    }
}

void Progress::Add(std::uint64_t bytes) {
    m_done += bytes;
    const auto now = Clock::now();
    if (m_enabled && now >= m_next) {
        m_next = now + s_interval;
        m_shown = true;
        const double seconds = std::chrono::duration<double>(now - m_start).count();
        m_streams.err << "\r\x1b[K" << ProgressText(m_name, m_done, m_total, seconds) << std::flush;
    }
}

} // namespace MdpCommand
