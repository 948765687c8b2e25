#pragma once

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

// The command line as a test uses it.

struct Outcome {
    int status;
    std::string output;
};

// Standard output and standard error of a script, with its exit status.
inline Outcome Shell(const std::string& script) {
    FILE* pipe = popen(("exec 2>&1; " + script).c_str(), "r");
    Outcome outcome{-1, {}};
    std::array<char, 4096> buffer;
    while (const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), pipe)) {
        outcome.output.append(buffer.data(), count);
    }
    const int status = pclose(pipe);
    outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return outcome;
}

inline Outcome Mdp(const std::string& arguments) {
    return Shell(SYLVARIN_MDP " " + arguments);
}

inline std::string Content(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}
