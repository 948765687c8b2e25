#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

// The start-up configuration of the throw-away machine that a test runs in.
inline void WriteRcConf(const std::string& text) {
    std::ofstream("/etc/rc.conf") << text;
}

inline std::string ReadRcConf() {
    std::ifstream file("/etc/rc.conf");
    return {std::istreambuf_iterator<char>(file), {}};
}
