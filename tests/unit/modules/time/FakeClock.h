#pragma once

#include <sys/time.h>

#include <optional>
#include <vector>

// Stands in for the machine's clock: the calls of the code under test are led here.
struct FakeClock {
    // What the clock tells; nothing lets it tell the real time.
    static std::optional<timeval> now;
    // The times that it was set to, in order. It goes on telling what it told.
    static std::vector<timeval> set;
    // The error of every setting, 0 for none.
    static int error;
    // The error of the next setting of a variable of the environment, 0 for none.
    static int environmentError;
};
