#include "host/HardwareAccess.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "host/WholeFile.h"
#include "host/linux/BoardSensors.h"

// Most boards have no such driver: their sensors are read from the kernel's own, and board and BIOS from DMI, as if the
// driver told them. The descriptor is then that of the directory of the sensors.
namespace Host {

namespace {

constexpr const char* SENSORS = "/sys/class/hwmon";
constexpr const char* DMI = "/sys/class/dmi/id/";

constexpr int NOT_SUPPORTED = 0x20000701; // as the driver tells it

constexpr std::uint32_t GROUP_GENERAL = 0x0000;
constexpr std::uint32_t OFFSET_BOARD = 0x02;
constexpr std::uint32_t GROUP_SENSORS = 0x2000;
constexpr std::uint32_t OFFSET_SENSOR_COUNT = 0x00;

using TBytes = std::vector<unsigned char>;

int Fail(int error) {
    errno = error;
    return -1;
}

void Put32(TBytes& bytes, std::size_t offset, std::uint32_t number) {
    std::memcpy(bytes.data() + offset, &number, sizeof number);
}

// The text up to its last byte that fits, and no further.
void PutText(TBytes& bytes, std::size_t offset, std::size_t width, const std::string& text) {
    std::memcpy(bytes.data() + offset, text.data(), std::min(width, text.size()));
}

std::string DmiText(const char* name) {
    return ReadFirstLine(std::string(DMI) + name);
}

// The first numbers of a text, such as 1 and 23 of "V1.23.4"; 0 for those that it has not.
std::array<unsigned long, 2> NumbersOf(const std::string& text) {
    std::array<unsigned long, 2> numbers{};
    const char* rest = text.c_str();
    for (unsigned long& number : numbers) {
        while (*rest != '\0' && std::isdigit(static_cast<unsigned char>(*rest)) == 0) {
            ++rest;
        }
        char* end = nullptr;
        number = std::strtoul(rest, &end, 10);
        rest = end;
    }
    return numbers;
}

unsigned char ToBcd(unsigned long number) {
    number = std::min(number, 99UL);
    return static_cast<unsigned char>(number / 10 << 4 | number % 10);
}

// Name, revision, and major and minor version of the BIOS.
int AnswerBoard(TBytes& answer) {
    const std::string name = DmiText("board_name");
    if (name.empty()) {
        return NOT_SUPPORTED;
    }
    std::string bios = DmiText("bios_release");
    if (bios.empty()) {
        bios = DmiText("bios_version");
    }
    answer.resize(12);
    PutText(answer, 0, 8, name);
    answer[8] = static_cast<unsigned char>(std::min(NumbersOf(DmiText("board_version"))[0], 255UL));
    const auto version = NumbersOf(bios);
    answer[9] = ToBcd(version[0]);
    answer[10] = ToBcd(version[1]);
    return 0;
}

int AnswerSensor(std::uint32_t number, TBytes& answer) {
    const std::vector<TBoardSensor> sensors = ListBoardSensors();
    if (number == OFFSET_SENSOR_COUNT) {
        answer.resize(4);
        Put32(answer, 0, static_cast<std::uint32_t>(sensors.size()));
        return 0;
    }
    if (number > sensors.size()) {
        return EINVAL;
    }
    const TBoardSensor& sensor = sensors[number - 1];
    std::int32_t reading = 0;
    if (const int error = ReadBoardSensor(sensor, reading); error != 0) {
        return error;
    }
    answer.resize(56);
    Put32(answer, 0, sensor.kind);
    Put32(answer, 4, sensor.location);
    Put32(answer, 8, static_cast<std::uint32_t>(reading));
    PutText(answer, 44, 11, sensor.description); // its last byte stays a NUL
    return 0;
}

int AnswerRequest(const DeviceControlRecord& record, TBytes& answer) {
    if (record.indexGroup == GROUP_SENSORS) {
        return AnswerSensor(record.indexOffset, answer);
    }
    if (record.indexGroup == GROUP_GENERAL && record.indexOffset == OFFSET_BOARD) {
        return AnswerBoard(answer);
    }
    return NOT_SUPPORTED;
}

} // namespace

int OpenHardwareAccess(const char* path) {
    const int descriptor = open(path, O_RDWR | O_CLOEXEC);
    if (descriptor >= 0 || errno != ENOENT) {
        return descriptor;
    }
    if (!HasBoardSensors()) {
        return Fail(ENOENT);
    }
    return open(SENSORS, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

int ControlHardwareAccess(int descriptor, unsigned long request, DeviceControlRecord* record) {
    struct stat status = {};
    if (fstat(descriptor, &status) != 0 || !S_ISDIR(status.st_mode)) {
        return ioctl(descriptor, request, record);
    }
    TBytes answer;
    if (const int error = AnswerRequest(*record, answer); error != 0) {
        return Fail(error);
    }
    if (record->out == nullptr || record->outSize != answer.size()) {
        return Fail(EINVAL);
    }
    std::memcpy(record->out, answer.data(), answer.size());
    if (record->returned != nullptr) {
        *record->returned = static_cast<std::uint32_t>(answer.size());
    }
    return 0;
}

} // namespace Host
