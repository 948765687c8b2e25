#include "Commands.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <string_view>
#include <thread>

#include "Table.h"
#include "Text.h"
#include "TimeModule.h"

namespace MdpCommand {
namespace {

constexpr const char* s_now = "now";

// Whether the text has the form, in which 0 stands for any digit.
bool HasForm(std::string_view text, std::string_view form) {
    return std::equal(text.begin(), text.end(), form.begin(), form.end(),
                      [](char c, char f) { return f == '0' ? c >= '0' && c <= '9' : c == f; });
}

// An ISO 8601 time with its offset in the form that the service takes: "2026-11-22T14:05:09.0+01:00". A blank may stand
// for the T, "Z" for no offset; the part of a second, which the clock cannot be set to, is left out.
std::optional<std::string> ServiceForm(const std::string& text) {
    constexpr std::size_t DATE = 10;
    constexpr std::size_t SECOND = 19;
    std::string time = text.substr(0, SECOND);
    std::string offset = text.substr(time.size());
    if (offset.starts_with('.')) {
        const std::size_t end = std::min(offset.find_first_not_of("0123456789", 1), offset.size());
        if (end == 1) {
            return std::nullopt;
        }
        offset.erase(0, end);
    }
    if (offset == "Z") {
        offset = "+00:00";
    }
    if (!(HasForm(time, "0000-00-00T00:00:00") || HasForm(time, "0000-00-00 00:00:00")) ||
        !(HasForm(offset, "+00:00") || HasForm(offset, "-00:00"))) {
        return std::nullopt;
    }
    time[DATE] = 'T';
    return time.append(".0").append(offset);
}

// What the machine takes: years from this one on, and no second behind what it keeps seconds since 1970 in, because it
// tells of no such clock though it could be set.
constexpr const char* s_firstYear = "1980";
constexpr std::int64_t s_lastSecond = 0xFFFFFFFF;

// Seconds since 1970 of a time in the service's form; nothing for one that no calendar or clock has.
std::optional<std::int64_t> UtcSeconds(const std::string& time) {
    using namespace std::chrono;
    const auto number = [&](std::size_t at, std::size_t digits) {
        return static_cast<int>(ParseNumber(time.substr(at, digits), 9999).value_or(0));
    };
    const auto part = [&](std::size_t at) { return static_cast<unsigned>(number(at, 2)); };
    const year_month_day date(year(number(0, 4)), month(part(5)), day(part(8)));
    constexpr std::size_t offset = 21; // behind "2026-11-22T14:05:09.0"
    if (!date.ok() || part(11) > 23 || part(14) > 59 || part(17) > 59 || part(offset + 1) > 23 ||
        part(offset + 4) > 59) {
        return std::nullopt;
    }
    const seconds east = hours(part(offset + 1)) + minutes(part(offset + 4));
    const seconds clock = hours(part(11)) + minutes(part(14)) + seconds(part(17));
    return (sys_days(date).time_since_epoch() + clock - (time[offset] == '-' ? -east : east)).count();
}

class TimeCommand : public Command {
public:
    void Declare(Arguments& arguments) override {
        arguments.Positional("ACTION", &m_action, "set sets the clock; without it the time is shown").OneOf({"set"});
        arguments.Positional(
            "TEXT", &m_text,
            "the time with its offset, such as 2026-11-22T14:05:09+01:00, or now for this side's clock");
    }

    int Run(const Context& context) override {
        std::optional<std::string> time;
        if (!m_action.empty() && m_text != s_now) {
            time = ServiceForm(m_text);
            if (!time) {
                return context.Fail(ExitUsage, "write the time with its offset: mdp time set "
                                               "2026-11-22T14:05:09+01:00, or mdp time set now");
            }
            const auto seconds = UtcSeconds(*time);
            if (!seconds) {
                return context.Fail(ExitUsage, m_text + ": there is no such day or time of day");
            }
            if (time->compare(0, 4, s_firstYear) < 0 || *seconds > s_lastSecond) {
                return context.Fail(ExitUsage,
                                    m_text + ": the machine takes times from 1980 up to 2106-02-07T06:28:15Z");
            }
        }
        const auto module = TimeModule::Find(context.client);
        if (!module) {
            return context.Fail(module.Error(), "finding the clock");
        }
        if (!m_action.empty()) {
            const auto result = time ? module->WriteText(TimeModule::SubTimeText, *time) : SetNow(*module);
            if (!result) {
                return context.Fail(result.Error(), "setting the clock");
            }
        }
        return Show(context, *module);
    }

    std::vector<Candidate> Complete(const Context&, const std::vector<std::string>& positionals,
                                    const std::string&) override {
        if (positionals.empty()) {
            return {{"set", "set the clock"}};
        }
        return positionals.size() == 1 ? std::vector<Candidate>{{s_now, "this side's clock"}}
                                       : std::vector<Candidate>();
    }

private:
    // The clock takes whole seconds, so it is set when one begins.
    static Mdp::Result<void> SetNow(const TimeModule& module) {
        using std::chrono::system_clock;
        const auto next = std::chrono::ceil<std::chrono::seconds>(system_clock::now());
        std::this_thread::sleep_until(next);
        return module.WriteNumber(TimeModule::SubUtcSeconds,
                                  static_cast<std::uint64_t>(next.time_since_epoch().count()), 4);
    }

    static int Show(const Context& context, const TimeModule& module) {
        const auto text = module.ReadText(TimeModule::SubTimeText);
        const auto utc = module.ReadNumber(TimeModule::SubUtcSeconds);
        const auto zone = module.ReadZone();
        for (const Mdp::Error* error :
             {text ? nullptr : &text.Error(), utc ? nullptr : &utc.Error(), zone ? nullptr : &zone.Error()}) {
            if (error != nullptr) {
                return context.Fail(*error, "reading the clock");
            }
        }
        if (context.json) {
            context.Print(
                {{"time", TextJson(*text)}, {"utcSeconds", *utc}, {"zone", zone->empty() ? Json() : TextJson(*zone)}});
            return ExitOk;
        }
        Table table({"TIME", "UTC SECONDS", "ZONE"});
        table.Add({PrintableText(*text), std::to_string(*utc), zone->empty() ? "-" : PrintableText(*zone)});
        context.Show(table);
        return ExitOk;
    }

    std::string m_action;
    std::string m_text;
};

} // namespace

std::unique_ptr<Command> MakeTimeCommand() {
    return std::make_unique<TimeCommand>();
}

} // namespace MdpCommand
