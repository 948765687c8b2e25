#include "Progress.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iomanip>
#include <sstream>

#include "Text.h"

namespace MdpCommand {
namespace {

constexpr std::chrono::milliseconds s_interval{200};
constexpr std::size_t s_barWidth = 20;
constexpr double s_longestShown = 359999; // 99:59:59

std::string Decimals(double number, int decimals) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(decimals) << number;
    return text.str();
}

std::string TimeText(double seconds) {
    const auto whole = std::lround(std::min(seconds, s_longestShown));
    const auto twoDigits = [](long number) { return PadLeft(std::to_string(number), 2, '0'); };
    const long minutes = whole / 60;
    return (whole >= 3600 ? std::to_string(minutes / 60) + ":" + twoDigits(minutes % 60) : std::to_string(minutes)) +
           ":" + twoDigits(whole % 60);
}

} // namespace

std::string SizeText(double bytes) {
    constexpr std::array units{"B", "KiB", "MiB", "GiB", "TiB", "PiB"};
    std::size_t unit = 0;
    while (bytes >= 1024 && unit + 1 < units.size()) {
        bytes /= 1024;
        ++unit;
    }
    return Decimals(bytes, unit == 0 ? 0 : 1) + " " + units[unit];
}

std::string ProgressText(const std::string& name, std::uint64_t done, std::optional<std::uint64_t> total,
                         double seconds) {
    const double amount = static_cast<double>(done);
    const double rate = seconds > 0 ? amount / seconds : 0;
    std::string text = name + "  ";
    if (total && *total > 0) {
        const double share = std::min(amount / static_cast<double>(*total), 1.0);
        const auto filled = static_cast<std::size_t>(share * s_barWidth);
        const std::string bar = std::string(filled, '#') + std::string(s_barWidth - filled, ' ');
        text += "[" + bar + "] " + PadLeft(Decimals(share * 100, 0), 3, ' ') + "%  " + SizeText(amount) + " of " +
                SizeText(static_cast<double>(*total));
    } else {
        text += SizeText(amount);
    }
    if (rate > 0) {
        text += "  " + SizeText(rate) + "/s";
        if (total && *total > done) {
            text += "  " + TimeText(static_cast<double>(*total - done) / rate) + " left";
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
