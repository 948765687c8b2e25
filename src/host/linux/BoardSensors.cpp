#include "host/linux/BoardSensors.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <optional>
#include <string_view>
#include <system_error>
#include <tuple>
#include <utility>

#include "host/WholeFile.h"

namespace Host {

namespace {

namespace fs = std::filesystem;

constexpr const char* CHIPS = "/sys/class/hwmon";

// What the board's driver calls the processor's own sensor, and what is looked for under that name.
constexpr const char* PROCESSOR_SENSOR = "CPU dig.";

// Beginnings of the names of chips that are the processor, and of those that are neither it nor the mainboard.
constexpr std::string_view PROCESSOR_CHIPS[] = {"coretemp",     "k8temp",      "k10temp",    "zenpower",
                                                "fam15h_power", "via_cputemp", "cpu_thermal"};
constexpr std::string_view OTHER_CHIPS[] = {"nvme", "drivetemp", "amdgpu",  "radeon", "nouveau", "iwlwifi", "ath",
                                            "mt7",  "jc42",      "spd5118", "BAT",    "AC",      "hidpp",   "ucsi"};
// Beginnings of the labels with which a chip of the mainboard tells that it measures the processor.
constexpr std::string_view PROCESSOR_LABELS[] = {"CPU", "Vcore", "VCORE", "Package", "Core "};

// The kinds by the names of their inputs, in the order of the names.
struct TKind {
    std::string_view prefix;
    TBoardSensor::EKind kind;
    std::int64_t unitsPerReading; // of the kernel
};

constexpr TKind KINDS[] = {
    {"fan", TBoardSensor::FAN, 1},
    {"in", TBoardSensor::VOLTAGE, 10},         // mV
    {"temp", TBoardSensor::TEMPERATURE, 1000}, // thousandths of a degree
};

constexpr std::string_view INPUT = "_input";

template <std::size_t N>
bool BeginsWithOneOf(std::string_view text, const std::string_view (&beginnings)[N]) {
    return std::any_of(std::begin(beginnings), std::end(beginnings),
                       [text](std::string_view beginning) { return text.starts_with(beginning); });
}

// The number that is the whole text.
template <typename T>
std::optional<T> ToNumber(std::string_view text) {
    T number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() && !text.empty() ? std::optional(number)
                                                                                     : std::nullopt;
}

std::vector<std::string> NamesIn(const fs::path& directory) {
    std::vector<std::string> names;
    std::error_code error;
    for (fs::directory_iterator entry(directory, error), end; !error && entry != end; entry.increment(error)) {
        names.push_back(entry->path().filename());
    }
    return names;
}

// The numbers of the chips, hwmon2 before hwmon10.
std::vector<unsigned int> ChipNumbers() {
    constexpr std::string_view prefix = "hwmon";
    std::vector<unsigned int> numbers;
    for (const std::string& name : NamesIn(CHIPS)) {
        if (name.starts_with(prefix)) {
            if (const auto number = ToNumber<unsigned int>(std::string_view(name).substr(prefix.size())); number) {
                numbers.push_back(*number);
            }
        }
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

// An input of a chip as its kind's place in the table and its number: "temp2_input".
using TInput = std::pair<std::size_t, unsigned int>;

std::optional<TInput> InputOf(std::string_view name) {
    if (!name.ends_with(INPUT)) {
        return std::nullopt;
    }
    name.remove_suffix(INPUT.size());
    for (std::size_t kind = 0; kind < std::size(KINDS); ++kind) {
        if (name.starts_with(KINDS[kind].prefix)) {
            if (const auto number = ToNumber<unsigned int>(name.substr(KINDS[kind].prefix.size())); number) {
                return TInput(kind, *number);
            }
        }
    }
    return std::nullopt;
}

TBoardSensor::ELocation LocationOf(std::string_view chip, std::string_view label) {
    if (BeginsWithOneOf(chip, PROCESSOR_CHIPS)) {
        return TBoardSensor::PROCESSOR;
    }
    if (BeginsWithOneOf(chip, OTHER_CHIPS)) {
        return TBoardSensor::ELSEWHERE;
    }
    return BeginsWithOneOf(label, PROCESSOR_LABELS) ? TBoardSensor::PROCESSOR : TBoardSensor::MAINBOARD;
}

void AppendChip(const fs::path& directory, bool& hasProcessor, std::vector<TBoardSensor>& sensors) {
    const std::string chip = ReadFirstLine(directory / "name");
    std::vector<TInput> inputs;
    for (const std::string& name : NamesIn(directory)) {
        if (const auto input = InputOf(name); input) {
            inputs.push_back(*input);
        }
    }
    std::sort(inputs.begin(), inputs.end());
    for (const auto& [kind, number] : inputs) {
        const std::string name = std::string(KINDS[kind].prefix) + std::to_string(number);
        TBoardSensor sensor;
        sensor.kind = KINDS[kind].kind;
        sensor.file = directory / (name + std::string(INPUT));
        sensor.description = ReadFirstLine(directory / (name + "_label"));
        sensor.location = LocationOf(chip, sensor.description);
        if (sensor.description.empty()) {
            sensor.description = name;
        }
        // The first temperature of the processor's own chip is that of the whole processor.
        if (!hasProcessor && sensor.kind == TBoardSensor::TEMPERATURE && BeginsWithOneOf(chip, PROCESSOR_CHIPS)) {
            hasProcessor = true;
            sensor.description = PROCESSOR_SENSOR;
        }
        sensors.push_back(std::move(sensor));
    }
}

// The text of a file of the kernel: 0 or an errno, which is how a sensor tells that it has no value.
int ReadText(const std::string& path, std::string& text) {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        return errno;
    }
    std::array<char, 64> buffer{};
    const ssize_t length = read(file, buffer.data(), buffer.size());
    const int error = length < 0 ? errno : 0;
    close(file);
    if (error == 0) {
        text.assign(buffer.data(), static_cast<std::size_t>(length));
    }
    return error;
}

std::int64_t DivideRounding(std::int64_t value, std::int64_t divisor) {
    return (value + (value < 0 ? -divisor : divisor) / 2) / divisor;
}

} // namespace

bool HasBoardSensors() {
    return !ChipNumbers().empty();
}

std::vector<TBoardSensor> ListBoardSensors() {
    std::vector<TBoardSensor> sensors;
    bool hasProcessor = false;
    for (const unsigned int number : ChipNumbers()) {
        AppendChip(fs::path(CHIPS) / ("hwmon" + std::to_string(number)), hasProcessor, sensors);
    }
    return sensors;
}

int ReadBoardSensor(const TBoardSensor& sensor, std::int32_t& reading) {
    std::string text;
    if (const int error = ReadText(sensor.file, text); error != 0) {
        return error;
    }
    while (!text.empty() && text.back() == '\n') {
        text.pop_back();
    }
    const auto value = ToNumber<std::int64_t>(text);
    if (!value) {
        return EIO;
    }
    const auto* kind =
        std::find_if(std::begin(KINDS), std::end(KINDS), [&](const TKind& row) { return row.kind == sensor.kind; });
    reading = static_cast<std::int32_t>(
        DivideRounding(std::clamp<std::int64_t>(*value, INT32_MIN, INT32_MAX), kind->unitsPerReading));
    return 0;
}

} // namespace Host
