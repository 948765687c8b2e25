#pragma once

#include <cstdio>
#include <cstdlib>

// A promise that holds for every input: ends the process, which libFuzzer then reports, where it does not.
inline void Require(bool promise, const char* text) {
    if (!promise) {
        std::fprintf(stderr, "%s\n", text);
        std::abort();
    }
}
