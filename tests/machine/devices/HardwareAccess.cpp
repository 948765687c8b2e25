// The hardware access device of a board: /dev/hwapi, there while the scenario has a section [hwapi].
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <span>

#include "Device.h"
#include "Scenario.h"

namespace {

using TBytes = std::vector<std::uint8_t>;

constexpr const char* PATH = "/dev/hwapi";
constexpr unsigned long REQUEST = 0xC0385201;
constexpr int NOT_SUPPORTED = 0x20000701; // of the board's interface, as its driver tells it

// The record of the request, on a 64-bit machine.
struct TRecord {
    std::uint32_t group;
    std::uint32_t offset;
    const std::uint8_t* in;
    std::uint32_t inSize;
    std::uint8_t* out;
    std::uint32_t outSize;
    std::uint32_t* returned;
    void* mode;
};

static_assert(sizeof(TRecord) == 56);

// What a row of the table answers: the bytes of the output, or none where the scenario does not tell them.
using TAnswer = std::optional<TBytes>;

struct TQuestion {
    const CScenario& scenario;
    std::uint32_t offset;
    std::span<const std::uint8_t> in;
};

void Put(TBytes& bytes, std::int64_t number, std::size_t width) {
    for (std::size_t byte = 0; byte < width; ++byte) {
        bytes.push_back(static_cast<std::uint8_t>(static_cast<std::uint64_t>(number) >> (8 * byte)));
    }
}

void PutText(TBytes& bytes, const std::string& text, std::size_t width) {
    for (std::size_t byte = 0; byte < width; ++byte) {
        bytes.push_back(byte < text.size() ? static_cast<std::uint8_t>(text[byte]) : 0);
    }
}

// Settings of one section as numbers of that width each; none where the first is missing, 0 where another is.
TAnswer Numbers(const TQuestion& question, const char* section, std::initializer_list<const char*> keys,
                std::size_t width) {
    TBytes bytes;
    for (const char* key : keys) {
        const auto number = question.scenario.Number(section, key);
        if (!number && bytes.empty()) {
            return std::nullopt;
        }
        Put(bytes, number.value_or(0), width);
    }
    return bytes;
}

// A setting of several numbers with blanks or points between them, each of the width that is given for it.
TAnswer Fields(const TQuestion& question, const char* section, const char* key,
               std::initializer_list<std::size_t> widths) {
    const auto text = question.scenario.Text(section, key);
    if (!text) {
        return std::nullopt;
    }
    TBytes bytes;
    const char* rest = text->c_str();
    for (const std::size_t width : widths) {
        char* end = nullptr;
        Put(bytes, static_cast<std::int64_t>(std::strtoul(rest, &end, 0)), width);
        rest = *end == '\0' ? end : end + 1;
    }
    return bytes;
}

std::int64_t Word(const TQuestion& question, const std::string& section, const char* key,
                  std::initializer_list<std::pair<const char*, std::int64_t>> words) {
    const auto text = question.scenario.Text(section, key).value_or("0");
    for (const auto& [word, number] : words) {
        if (text == word) {
            return number;
        }
    }
    return question.scenario.Number(section, key).value_or(0);
}

TAnswer Version(const TQuestion& question) {
    return Numbers(question, "hwapi", {"version"}, 4);
}

TAnswer Board(const TQuestion& question) {
    const auto name = question.scenario.Text("board", "name");
    if (!name) {
        return std::nullopt;
    }
    TBytes bytes;
    PutText(bytes, *name, 8);
    for (const char* key : {"revision", "bios_major", "bios_minor"}) {
        Put(bytes, question.scenario.Number("board", key).value_or(0), 1);
    }
    Put(bytes, 0, 1);
    return bytes;
}

std::int64_t CountSensors(const CScenario& scenario) {
    std::int64_t highest = 0;
    for (const std::string& name : scenario.NamesOf("sensor")) {
        highest = std::max<std::int64_t>(highest, std::atoi(name.c_str()));
    }
    return highest;
}

TAnswer Sensor(const TQuestion& question) {
    TBytes bytes;
    if (question.offset == 0) {
        Put(bytes, CountSensors(question.scenario), 4);
        return bytes;
    }
    const std::string section = "sensor " + std::to_string(question.offset);
    const auto reading = question.scenario.Number(section, "reading");
    if (!reading) {
        return std::nullopt;
    }
    Put(bytes, Word(question, section, "kind", {{"temperature", 1}, {"voltage", 2}, {"fan", 3}}), 4);
    Put(bytes, Word(question, section, "location", {{"processor", 2}, {"mainboard", 5}}), 4);
    Put(bytes, *reading, 4);
    Put(bytes, 0, 4);
    Put(bytes, question.scenario.Number(section, "reference").value_or(0), 4);
    bytes.resize(44);
    PutText(bytes, question.scenario.Text(section, "description").value_or("").substr(0, 11), 12);
    return bytes;
}

TAnswer GpioIn(const TQuestion& question) {
    // A pin that this side drives reads back what it drives.
    const auto out = question.scenario.Number("gpio", "out");
    const auto mask = question.scenario.Number("gpio", "mask");
    const auto in = question.scenario.Number("gpio", "in");
    if (!in) {
        return std::nullopt;
    }
    TBytes bytes;
    Put(bytes, (*in & mask.value_or(0xFF)) | (out.value_or(0) & ~mask.value_or(0xFF)), 1);
    return bytes;
}

TAnswer GpioOut(const TQuestion& question) {
    return Numbers(question, "gpio", {"out"}, 1);
}

TAnswer GpioMask(const TQuestion& question) {
    return Numbers(question, "gpio", {"mask"}, 1);
}

TAnswer WriteGpio(const TQuestion& question, const char* key) {
    if (!question.scenario.Number("gpio", key) || question.in.size() != 1) {
        return std::nullopt;
    }
    question.scenario.Remember("gpio", key, question.in[0]);
    return TBytes();
}

TAnswer WriteGpioOut(const TQuestion& question) {
    return WriteGpio(question, "out");
}

TAnswer WriteGpioMask(const TQuestion& question) {
    return WriteGpio(question, "mask");
}

TAnswer OperationTime(const TQuestion& question) {
    return Numbers(question, "power", {"operation_time"}, 4);
}

TAnswer MinMaxTemperature(const TQuestion& question) {
    return Numbers(question, "power", {"min_temperature", "max_temperature"}, 1);
}

TAnswer MinMaxVoltage(const TQuestion& question) {
    return Numbers(question, "power", {"min_voltage", "max_voltage"}, 1);
}

TAnswer SerialNumber(const TQuestion& question) {
    const auto text = question.scenario.Text("power", "serial");
    if (!text) {
        return std::nullopt;
    }
    TBytes bytes;
    PutText(bytes, text->substr(0, 16), 17);
    return bytes;
}

TAnswer BootCounter(const TQuestion& question) {
    return Numbers(question, "power", {"boot_counter"}, 4);
}

TAnswer ProductionDate(const TQuestion& question) {
    return Numbers(question, "power", {"production_week", "production_year"}, 1);
}

// The supply of a port: its setting, or null for a port that there is not.
const char* Supply(std::uint8_t port, bool second) {
    switch (port) {
    case 1:
        return second ? "up2" : "up1";
    case 2:
        return second ? "us2" : "us1";
    default:
        return nullptr;
    }
}

TAnswer EtherCatPState(const TQuestion& question) {
    const char* supply =
        question.in.size() == 1 ? Supply(question.in[0] & 0x7F, (question.in[0] & 0x80) != 0) : nullptr;
    return supply == nullptr ? std::nullopt : Numbers(question, "ethercatp", {supply}, 1);
}

TAnswer SetEtherCatPState(const TQuestion& question) {
    const char* supply = question.in.size() == 2 ? Supply(question.in[0], (question.in[1] & 0x80) != 0) : nullptr;
    if (supply == nullptr || !question.scenario.Number("ethercatp", supply)) {
        return std::nullopt;
    }
    question.scenario.Remember("ethercatp", supply, question.in[1] & 0x01);
    return TBytes();
}

TAnswer UpsState(const TQuestion& question) {
    return Numbers(question, "ups", {"state"}, 1);
}

TAnswer UpsRevision(const TQuestion& question) {
    return Fields(question, "ups", "revision", {1, 1, 2});
}

TAnswer PowerFails(const TQuestion& question) {
    return Numbers(question, "ups", {"power_fails"}, 4);
}

TAnswer StartCapacityTest(const TQuestion& question) {
    return question.scenario.HasSection("ups") ? TAnswer(TBytes()) : std::nullopt;
}

TAnswer TestResult(const TQuestion& question) {
    return Numbers(question, "ups", {"test_result"}, 4);
}

TAnswer UpsGpio(const TQuestion& question) {
    return Fields(question, "ups", "gpio", {2, 1, 1, 4});
}

constexpr std::uint32_t SENSOR_GROUP = 0x2000; // every offset of it is one row

struct TRow {
    std::uint32_t group;
    std::uint32_t offset;
    TAnswer (*answer)(const TQuestion& question);
};

constexpr TRow ROWS[] = {
    {0x0000, 0x00, Version},           {0x0000, 0x02, Board},          {0x3000, 0x01, GpioIn},
    {0x3000, 0x03, GpioOut},           {0x3000, 0x05, GpioMask},       {0x3000, 0x07, WriteGpioOut},
    {0x3000, 0x09, WriteGpioMask},     {0x4000, 0x03, OperationTime},  {0x4000, 0x04, MinMaxTemperature},
    {0x4000, 0x05, MinMaxVoltage},     {0x4000, 0x06, SerialNumber},   {0x4000, 0x07, BootCounter},
    {0x4000, 0x08, ProductionDate},    {0x4000, 0x21, EtherCatPState}, {0x4000, 0x22, SetEtherCatPState},
    {0x5000, 0x01, UpsState},          {0x5000, 0x02, UpsRevision},    {0x5000, 0x03, PowerFails},
    {0x5000, 0x09, StartCapacityTest}, {0x5000, 0x0A, TestResult},     {0x5000, 0xA0, UpsGpio},
};

TAnswer AnswerOf(std::uint32_t group, const TQuestion& question) {
    if (group == SENSOR_GROUP) {
        return Sensor(question);
    }
    for (const TRow& row : ROWS) {
        if (row.group == group && row.offset == question.offset) {
            return row.answer(question);
        }
    }
    return std::nullopt;
}

// The setting for a request in [failures] or [delays]: under its group and offset, or under its whole group.
std::optional<std::int64_t> SettingOf(const CScenario& scenario, const char* section, const TRecord& record) {
    char key[32] = {};
    std::snprintf(key, sizeof key, "0x%04X:0x%02X", record.group, record.offset);
    if (scenario.Text(section, key)) {
        return scenario.Number(section, key);
    }
    std::snprintf(key, sizeof key, "0x%04X:*", record.group);
    return scenario.Text(section, key) ? scenario.Number(section, key) : std::nullopt;
}

void Record(const CScenario& scenario, const TRecord& record) {
    char line[64] = {};
    std::snprintf(line, sizeof line, "0x%04X:0x%02X", record.group, record.offset);
    std::string text = line;
    for (std::uint32_t byte = 0; record.in != nullptr && byte < record.inSize; ++byte) {
        std::snprintf(line, sizeof line, " %02X", record.in[byte]);
        text += line;
    }
    scenario.Record(text);
}

bool IsPresent(const CScenario& scenario) {
    return scenario.HasSection("hwapi") && scenario.Text("hwapi", "present").value_or("yes") != "no";
}

int Open(const std::string& path) {
    if (path != PATH) {
        return TDeviceClass::NOT_SIMULATED;
    }
    const auto scenario = CScenario::Now();
    if (!scenario->HasSection("hwapi")) {
        return TDeviceClass::NOT_SIMULATED;
    }
    if (!IsPresent(*scenario)) {
        return ENOENT;
    }
    return static_cast<int>(scenario->Text("hwapi", "open") ? scenario->Number("hwapi", "open").value_or(0) : 0);
}

int Fail(int error) {
    errno = error;
    return -1;
}

int Control(const std::string& /*path*/, unsigned long request, void* argument) {
    if (request != REQUEST) {
        return Fail(ENOTTY);
    }
    const auto& record = *static_cast<const TRecord*>(argument);
    auto scenario = CScenario::Now();
    Record(*scenario, record);
    const auto delay = SettingOf(*scenario, "delays", record);
    if (delay.value_or(0) > 0) {
        timespec left = {*delay / 1000, *delay % 1000 * 1000000};
        while (nanosleep(&left, &left) != 0) {
        }
        scenario = CScenario::Now();
    }
    if (!IsPresent(*scenario)) {
        return Fail(ENXIO);
    }
    if (const auto error = SettingOf(*scenario, "failures", record); error.value_or(0) != 0) {
        return Fail(static_cast<int>(*error));
    }
    const TQuestion question = {*scenario, record.offset, {record.in, record.in != nullptr ? record.inSize : 0}};
    const TAnswer answer = AnswerOf(record.group, question);
    if (!answer) {
        return Fail(NOT_SUPPORTED);
    }
    if (answer->size() != (record.out != nullptr ? record.outSize : 0)) {
        return Fail(EINVAL);
    }
    if (!answer->empty()) {
        std::memcpy(record.out, answer->data(), answer->size());
    }
    if (record.returned != nullptr) {
        *record.returned = static_cast<std::uint32_t>(answer->size());
    }
    return 0;
}

} // namespace

const TDeviceClass HARDWARE_ACCESS = {Open, Control};
