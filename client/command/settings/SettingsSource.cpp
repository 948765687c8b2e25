#include "settings/SettingsSource.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include "LocalInput.h"
#include "RemoteFiles.h"
#include "Text.h"
#include "settings/SettingsDocument.h"
#include "settings/SettingsTable.h"

namespace MdpCommand {
namespace {

// Far beyond what the settings of a machine or a table of them need.
constexpr std::size_t s_longestFile = 1U << 20;

Mdp::Result<std::string> ReadAll(const std::string& path) {
    const LocalInput input(path);
    std::string text;
    std::array<std::uint8_t, 4096> room{};
    ssize_t got = input.Number() < 0 ? -1 : 1;
    while (got > 0 && text.size() <= s_longestFile) {
        got = input.Read(room);
        text.append(room.begin(), room.begin() + std::max<ssize_t>(got, 0));
    }
    if (got < 0) {
        return Mdp::Error{Mdp::ErrorKind::Local, 0, errno, path};
    }
    if (text.size() > s_longestFile) {
        return Mdp::Error{Mdp::ErrorKind::Local, 0, EFBIG, path};
    }
    return text;
}

} // namespace

void DeclareOnly(Arguments& arguments, std::vector<std::string>& only) {
    std::vector<Candidate> offered;
    for (const Section section : AllSections()) {
        offered.push_back({SectionName(section), ""});
    }
    arguments
        .Option(
            "--only", &only,
            "of the sections name, zone, ntp, groups, dns, gateway and net these alone, with commas between; net=em0 "
            "is one adapter")
        .Offer(std::move(offered));
}

void SettingsSource::Declare(Arguments& arguments) {
    arguments.Positional("FILE", &m_path, "the document, as mdp save writes it, or - for the standard input")
        .Required()
        .Take(TakeLocalPath());
    DeclareOnly(arguments, m_only);
    arguments.Option("--set", &m_values,
                     "another value than the document's, such as name=press-7 or net.em0.address=192.168.10.27");
    Argument& table =
        arguments
            .Option(
                "--values", &m_tablePath,
                "a table (CSV) of other values: a row each machine, whose name is in the first column, and a column "
                "each setting, such as net.em0.address in the first row")
            .Take(TakeLocalPath())
            .Offer({{s_completeFiles, ""}});
    arguments
        .Option("--machine", &m_machine,
                "the row of --values that holds for this machine; the name by --host if not given")
        .Needs(table);
}

int SettingsSource::Prepare(const Context& context) const {
    return m_path == "-"
               ? context.Fail(ExitUsage, "the standard input can go to one machine only; for several keep the "
                                         "document in a file")
               : ExitOk;
}

std::optional<Settings> SettingsSource::Load(const Context& context, int& status) const {
    SettingsChoice choice;
    for (const std::string& only : m_only) {
        if (const std::string wrong = choice.Add(only); !wrong.empty()) {
            status = context.Fail(ExitUsage, wrong);
            return std::nullopt;
        }
    }
    std::optional<Settings> settings = LoadDocument(context, status);
    if (!settings) {
        return std::nullopt;
    }
    status = PutValues(context, *settings);
    if (status != ExitOk) {
        return std::nullopt;
    }
    if (const std::vector<Fault> faults = CheckSettings(*settings); !faults.empty()) {
        status = FailFaults(context, faults);
        return std::nullopt;
    }
    if (const std::string missing = choice.Restrict(*settings); !missing.empty()) {
        status = context.Fail(ExitUsage, "--only: " + Name() + " holds no " + missing);
        return std::nullopt;
    }
    return settings;
}

int SettingsSource::FailFaults(const Context& context, const std::vector<Fault>& faults) const {
    if (context.json) {
        std::string all;
        for (const Fault& fault : faults) {
            all += (all.empty() ? "" : "; ") + FaultText(fault);
        }
        return context.Fail(ExitUsage, Name() + ": " + all);
    }
    for (const Fault& fault : faults) {
        context.Fail(ExitUsage, Name() + ": " + FaultText(fault));
    }
    return ExitUsage;
}

std::optional<Settings> SettingsSource::LoadDocument(const Context& context, int& status) const {
    const auto text = ReadAll(m_path);
    if (!text) {
        status = context.Fail(text.Error(), "reading the document");
        return std::nullopt;
    }
    std::vector<Fault> faults;
    auto settings = ParseDocument(*text, faults);
    if (!settings) {
        status = FailFaults(context, faults);
    }
    return settings;
}

// Those of the table first, so that the command line has the last word.
int SettingsSource::PutValues(const Context& context, Settings& settings) const {
    if (!m_tablePath.empty()) {
        const std::string machine = m_machine.empty() ? context.host : m_machine;
        if (machine.empty()) {
            return context.Fail(ExitUsage, "--values: name the row with --machine");
        }
        const auto text = ReadAll(m_tablePath);
        if (!text) {
            return context.Fail(text.Error(), "reading the table");
        }
        std::string wrong;
        const auto values = FindInTable(*text, machine, wrong);
        if (!values) {
            return context.Fail(ExitUsage, m_tablePath + ": " + wrong);
        }
        const std::string row = m_tablePath + ": " + machine + ": ";
        for (const TableValue& value : *values) {
            if (const std::string told = SetValue(settings, value.place, value.value); !told.empty()) {
                return context.Fail(ExitUsage, row + FaultText({value.place, told}));
            }
        }
    }
    for (const std::string& value : m_values) {
        const std::size_t equals = value.find('=');
        if (equals == std::string::npos) {
            return context.Fail(ExitUsage, "--set: write SETTING=VALUE, such as name=press-7");
        }
        const std::string place = value.substr(0, equals);
        if (const std::string told = SetValue(settings, place, value.substr(equals + 1)); !told.empty()) {
            return context.Fail(ExitUsage, "--set: " + FaultText({place, told}));
        }
    }
    return ExitOk;
}

} // namespace MdpCommand
