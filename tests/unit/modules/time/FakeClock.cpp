#include "FakeClock.h"

#include <cerrno>
#include <ctime>
#include <utility>

std::optional<timeval> FakeClock::now;
std::vector<timeval> FakeClock::set;
int FakeClock::error = 0;
int FakeClock::environmentError = 0;

extern "C" {
std::time_t __real_time(std::time_t* time);
std::time_t __wrap_time(std::time_t* time);
int __real_gettimeofday(timeval* time, void* zone);
int __wrap_gettimeofday(timeval* time, void* zone);
int __wrap_settimeofday(const timeval* time, const void* zone);
int __real_setenv(const char* name, const char* value, int overwrite);
int __wrap_setenv(const char* name, const char* value, int overwrite);

std::time_t __wrap_time(std::time_t* time) {
    return FakeClock::now ? FakeClock::now->tv_sec : __real_time(time);
}

int __wrap_gettimeofday(timeval* time, void* zone) {
    if (!FakeClock::now) {
        return __real_gettimeofday(time, zone);
    }
    *time = *FakeClock::now;
    return 0;
}

int __wrap_settimeofday(const timeval* time, const void* /*zone*/) {
    if (FakeClock::error != 0) {
        errno = FakeClock::error;
        return -1;
    }
    FakeClock::set.push_back(*time);
    return 0;
}

int __wrap_setenv(const char* name, const char* value, int overwrite) {
    if (const int error = std::exchange(FakeClock::environmentError, 0); error != 0) {
        errno = error;
        return -1;
    }
    return __real_setenv(name, value, overwrite);
}
}
