#pragma once

#include <string>

// A class of simulated devices. Its functions are called on any thread, several at once, and may block as a device
// does.
struct TDeviceClass {
    static constexpr int NOT_SIMULATED = -1;

    // What open answers for a path: 0 for a device there, an errno, or NOT_SIMULATED where the path is the system's.
    int (*open)(const std::string& path);
    // What a control request of the device answers: the result, or -1 with errno.
    int (*control)(const std::string& path, unsigned long request, void* argument);
};

// One source file each; the table of them is in Calls.cpp.
extern const TDeviceClass DRIVES;
extern const TDeviceClass HARDWARE_ACCESS;
