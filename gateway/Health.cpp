#include "Health.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace Gateway {
namespace {

constexpr std::size_t s_languages = 2;

// Each kind of finding. In the texts, %1 is the subject and %2 the figure.
struct Kind {
    const char* id;
    Severity severity;
    const char* view;
    const char* texts[s_languages];
};

constexpr Kind s_kinds[] = {
    {"drive-worn-out",
     Severity::Critical,
     "drives",
     {"Drive %1 is worn out: replace it now", "Das Laufwerk %1 ist abgenutzt: sofort ersetzen"}},
    {"drive-no-spares",
     Severity::Critical,
     "drives",
     {"Drive %1 has no spare blocks left: replace it now",
      "Das Laufwerk %1 hat keine Reserveblöcke mehr: sofort ersetzen"}},
    {"drive-unreadable-sectors",
     Severity::Critical,
     "drives",
     {"Drive %1 has sectors that cannot be read (%2): save its data and replace it",
      "Das Laufwerk %1 hat unlesbare Sektoren (%2): Daten sichern und ersetzen"}},
    {"drive-spin-up-fails",
     Severity::Warning,
     "drives",
     {"Drive %1 did not come up to speed at once (%2 times)",
      "Das Laufwerk %1 kam nicht sofort auf Drehzahl (%2-mal)"}},
    {"drive-nearly-worn-out",
     Severity::Warning,
     "drives",
     {"Drive %1 is nearly worn out: %2 % of its life are left",
      "Das Laufwerk %1 ist fast abgenutzt: %2 % der Lebensdauer sind übrig"}},
    {"drive-few-spares",
     Severity::Warning,
     "drives",
     {"Drive %1 has few spare blocks left: %2 %", "Das Laufwerk %1 hat nur noch wenige Reserveblöcke: %2 %"}},
    {"drive-bad-sectors",
     Severity::Notice,
     "drives",
     {"Drive %1 has replaced bad sectors (%2)", "Das Laufwerk %1 hat schlechte Sektoren ersetzt (%2)"}},
    {"drive-cable-errors",
     Severity::Notice,
     "drives",
     {"Drive %1 had transfer errors (%2): look at its cable",
      "Das Laufwerk %1 hatte Übertragungsfehler (%2): Kabel prüfen"}},
    {"fan-stopped", Severity::Critical, "sensors", {"%1 stands still", "%1 steht still"}},
    {"temperature-critical", Severity::Critical, "sensors", {"%1 is too hot: %2 °C", "%1 ist zu heiß: %2 °C"}},
    {"temperature-high", Severity::Warning, "sensors", {"%1 is hot: %2 °C", "%1 ist heiß: %2 °C"}},
    {"voltage-off",
     Severity::Warning,
     "sensors",
     {"The supply %1 is off by %2 %", "Die Versorgung %1 weicht um %2 % ab"}},
    {"ups-battery-low",
     Severity::Critical,
     "ups",
     {"%1 is on battery, and only %2 % of its charge are left",
      "%1 läuft auf Batterie, und nur %2 % der Ladung sind übrig"}},
    {"ups-on-battery", Severity::Warning, "ups", {"%1 is on battery", "%1 läuft auf Batterie"}},
    {"ups-battery-error",
     Severity::Warning,
     "ups",
     {"%1 reports an error of its battery", "%1 meldet einen Fehler der Batterie"}},
    {"disc-full", Severity::Critical, "discs", {"%1 is full: %2 % are free", "%1 ist voll: %2 % sind frei"}},
    {"disc-nearly-full",
     Severity::Warning,
     "discs",
     {"%1 is nearly full: %2 % are free", "%1 ist fast voll: %2 % sind frei"}},
    {"memory-low",
     Severity::Warning,
     "system",
     {"Memory is nearly used up: %2 % are available", "Der Speicher ist fast verbraucht: %2 % sind verfügbar"}},
    {"runtime-not-running",
     Severity::Warning,
     "runtime",
     {"The automation runtime does not run (state %2)", "Die Laufzeitumgebung läuft nicht (Zustand %2)"}},
    {"adapter-without-address",
     Severity::Notice,
     "network",
     {"Network adapter %1 has no address", "Der Netzwerkadapter %1 hat keine Adresse"}},
};

// From which figures on something is wrong.
constexpr double s_fewPercent = 10;      // of a drive's life or spares, of a pool's space
constexpr double s_hardlyAnyPercent = 3; // of a pool's space
constexpr double s_lowMemoryPercent = 5;
constexpr double s_lowChargePercent = 20;
constexpr double s_hotProcessor = 85; // °C
constexpr double s_tooHotProcessor = 95;
constexpr double s_hotBoard = 70;
constexpr double s_tooHotBoard = 80;
constexpr double s_voltagePercent = 10;
constexpr double s_onBattery = 2;

const Kind& KindOf(const char* id) {
    return *std::find_if(std::begin(s_kinds), std::end(s_kinds),
                         [id](const Kind& kind) { return std::strcmp(kind.id, id) == 0; });
}

std::string Rounded(double number) {
    return std::to_string(std::lround(number));
}

std::string Filled(const char* text, const std::string& subject, const Number& figure) {
    std::string filled;
    for (; *text != '\0'; ++text) {
        if (text[0] == '%' && (text[1] == '1' || text[1] == '2')) {
            ++text;
            filled += *text == '1' ? subject : figure ? Rounded(*figure) : "-";
        } else {
            filled += *text;
        }
    }
    return filled;
}

Finding Make(const char* id, Language language, const std::string& subject, const Number& figure = std::nullopt) {
    const Kind& kind = KindOf(id);
    return {kind.id, kind.severity, subject, Filled(kind.texts[static_cast<std::size_t>(language)], subject, figure),
            kind.view};
}

std::string NameOf(const Drive& drive) {
    const std::string serial = drive.serial.value_or("");
    return drive.model && !drive.model->empty() ? *drive.model + " (" + serial + ")" : serial;
}

std::optional<Finding> FindingOf(const Drive& drive, Language language) {
    const auto isSome = [](const Number& count) { return count && *count > 0; };
    const auto atMost = [](const Number& percent, double limit) { return percent && *percent <= limit; };
    const std::pair<bool, std::pair<const char*, const Number&>> looks[] = {
        {atMost(drive.lifeLeftPercent, 0), {"drive-worn-out", drive.lifeLeftPercent}},
        {atMost(drive.spareLeftPercent, 0), {"drive-no-spares", drive.spareLeftPercent}},
        {isSome(drive.pendingSectors), {"drive-unreadable-sectors", drive.pendingSectors}},
        {isSome(drive.spinRetries), {"drive-spin-up-fails", drive.spinRetries}},
        {atMost(drive.lifeLeftPercent, s_fewPercent), {"drive-nearly-worn-out", drive.lifeLeftPercent}},
        {atMost(drive.spareLeftPercent, s_fewPercent), {"drive-few-spares", drive.spareLeftPercent}},
        {isSome(drive.reallocatedSectors), {"drive-bad-sectors", drive.reallocatedSectors}},
        {isSome(drive.crcErrors), {"drive-cable-errors", drive.crcErrors}},
    };
    for (const auto& [isSo, what] : looks) {
        if (isSo) {
            return Make(what.first, language, NameOf(drive), what.second);
        }
    }
    return std::nullopt;
}

Number PercentOf(const Number& part, const Number& whole) {
    return part && whole && *whole > 0 ? Number(*part / *whole * 100) : std::nullopt;
}

} // namespace

const char* SeverityName(Severity severity) {
    constexpr const char* names[] = {"good", "notice", "warning", "critical"};
    return names[static_cast<std::size_t>(severity)];
}

DriveState StateOf(const Drive& drive, Language language) {
    const bool isGerman = language == Language::German;
    if (auto finding = FindingOf(drive, language)) {
        return {finding->id + std::strlen("drive-"), finding->severity, std::move(finding->text)};
    }
    const bool isKnown = drive.lifeLeftPercent || drive.spareLeftPercent || drive.reallocatedSectors ||
                         drive.spinRetries || drive.pendingSectors;
    if (!isKnown) {
        return {"not-known", Severity::Good, isGerman ? "nicht bekannt" : "not known"};
    }
    return {"good", Severity::Good, isGerman ? "gut" : "good"};
}

std::vector<Finding> FindingsOf(Look& look, Language language) {
    std::vector<Finding> findings;
    const auto add = [&](const char* id, const std::string& subject, const Number& figure = std::nullopt) {
        findings.push_back(Make(id, language, subject, figure));
    };
    for (const Drive& drive : look.ReadDrives()) {
        if (auto finding = FindingOf(drive, language)) {
            findings.push_back(std::move(*finding));
        }
    }
    for (const Fan& fan : look.ReadFans()) {
        if (fan.rpm && *fan.rpm <= 0) {
            add("fan-stopped", fan.name);
        }
    }
    const auto judgeHeat = [&](const std::string& name, const Number& celsius, double hot, double tooHot) {
        if (celsius && *celsius >= hot) {
            add(*celsius >= tooHot ? "temperature-critical" : "temperature-high", name, celsius);
        }
    };
    for (const Processor& processor : look.ReadProcessors()) {
        judgeHeat(processor.name, processor.celsius, s_hotProcessor, s_tooHotProcessor);
    }
    for (const Temperature& board : look.ReadBoardTemperatures()) {
        judgeHeat(board.name, board.celsius, s_hotBoard, s_tooHotBoard);
    }
    for (const Voltage& voltage : look.ReadVoltages()) {
        const Number percent = PercentOf(voltage.volts, voltage.nominalVolts);
        if (percent && std::abs(*percent - 100) > s_voltagePercent) {
            add("voltage-off", voltage.name, *percent - 100);
        }
    }
    for (const Ups& ups : look.ReadUps()) {
        if (ups.powerStatus == s_onBattery) {
            const bool isLow = ups.chargePercent && *ups.chargePercent <= s_lowChargePercent;
            add(isLow ? "ups-battery-low" : "ups-on-battery", ups.name, ups.chargePercent);
        }
        if (ups.batteryError == true) {
            add("ups-battery-error", ups.name);
        }
    }
    for (const Disc& disc : look.ReadDiscs()) {
        const Number free = PercentOf(disc.freeBytes, disc.sizeBytes);
        // Media are often full on purpose.
        if (disc.isPool && free && *free < s_fewPercent) {
            add(*free < s_hardlyAnyPercent ? "disc-full" : "disc-nearly-full", disc.path.value_or(""), free);
        }
    }
    const Memory memory = look.ReadMemory();
    if (const Number free = PercentOf(memory.availableBytes, memory.totalBytes); free && *free < s_lowMemoryPercent) {
        add("memory-low", "", free);
    }
    if (const auto runtime = look.ReadRuntime(); runtime && runtime->state && *runtime->state != Runtime::Runs) {
        add("runtime-not-running", "", runtime->state);
    }
    for (const Adapter& adapter : look.ReadAdapters()) {
        if (adapter.address && (adapter.address->empty() || adapter.address == "0.0.0.0")) {
            add("adapter-without-address", adapter.name);
        }
    }
    std::stable_sort(findings.begin(), findings.end(),
                     [](const Finding& a, const Finding& b) { return a.severity > b.severity; });
    return findings;
}

} // namespace Gateway
