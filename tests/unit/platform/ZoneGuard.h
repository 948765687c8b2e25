#pragma once

#include <cstdlib>
#include <ctime>

// Puts the process into a time zone until the end of its scope.
class ZoneGuard {
public:
    explicit ZoneGuard(const char* zone) {
        setenv("TZ", zone, 1);
        tzset();
    }

    ~ZoneGuard() {
        unsetenv("TZ");
        tzset();
    }

    ZoneGuard(const ZoneGuard&) = delete;
    ZoneGuard& operator=(const ZoneGuard&) = delete;
};
