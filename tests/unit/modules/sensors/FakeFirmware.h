#pragma once

#include <map>
#include <string>

// Stands in for the kernel's environment: linked instead of it, so that a test says what the firmware tells.
struct FakeFirmware {
    static std::map<std::string, std::string> strings;
};
