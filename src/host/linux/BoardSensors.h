#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Host {

// A measured value of a chip that the kernel knows: an input of /sys/class/hwmon.
struct TBoardSensor {
    enum EKind : std::uint32_t { TEMPERATURE = 1, VOLTAGE = 2, FAN = 3 };

    enum ELocation : std::uint32_t { ELSEWHERE = 0, PROCESSOR = 2, MAINBOARD = 5 };

    EKind kind{};
    ELocation location{};
    std::string description; // the label, the input's name where it has none
    std::string file;        // of the value
};

// Whether the kernel knows a chip at all.
bool HasBoardSensors();

// All inputs: chips and inputs in the order of the kernel's names, so that a sensor keeps its place. Reads no value.
std::vector<TBoardSensor> ListBoardSensors();

// The value in degrees Celsius, 10 mV or turns a minute: 0, or an errno.
int ReadBoardSensor(const TBoardSensor& sensor, std::int32_t& reading);

} // namespace Host
