#pragma once

#include <cctype>
#include <stdexcept>
#include <string>

// "2E 00"_hex: the bytes that the digits tell, with blanks between them at will.
inline std::string operator""_hex(const char* text, std::size_t length) {
    std::string bytes;
    std::string pair;
    for (const char* at = text; at != text + length; ++at) {
        if (*at == ' ') {
            continue;
        }
        if (std::isxdigit(static_cast<unsigned char>(*at)) == 0) {
            throw std::invalid_argument("not a hexadecimal digit");
        }
        pair += *at;
        if (pair.size() == 2) {
            bytes += static_cast<char>(std::stoi(pair, nullptr, 16));
            pair.clear();
        }
    }
    if (!pair.empty()) {
        throw std::invalid_argument("half a byte");
    }
    return bytes;
}
