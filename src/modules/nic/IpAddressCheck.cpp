#include "modules/nic/IpAddressCheck.h"

#include <cctype>
#include <cstdint>

bool IsValidIPAddress(const char* text) {
    return IsValidIPAddressNetmask(text, 0);
}

bool IsValidNetmask(const char* text) {
    return IsValidIPAddressNetmask(text, 1);
}

bool IsValidIPAddressNetmask(const char* text, int netmask) {
    if (text == nullptr) {
        return false;
    }
    std::uint32_t bits = 0;
    for (int number = 0; number < 4; ++number) {
        if (number > 0 && *text++ != '.') {
            return false;
        }
        if (std::isdigit(static_cast<unsigned char>(*text)) == 0) {
            return false;
        }
        std::uint32_t value = 0;
        for (; std::isdigit(static_cast<unsigned char>(*text)) != 0; ++text) {
            value = value * 10 + static_cast<std::uint32_t>(*text - '0');
            if (value > 255) {
                return false;
            }
        }
        bits = bits << 8 | value;
    }
    if (*text != '\0') {
        return false;
    }
    const std::uint32_t hostBits = ~bits;
    return netmask != 1 || (hostBits & (hostBits + 1)) == 0;
}
