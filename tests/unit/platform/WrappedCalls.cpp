#include "WrappedCalls.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <utility>

namespace {

struct TPopen {
    std::string command;
    std::string* meant;
};

struct TSetTimeOfDay {
    timeval* time;
    bool fails;
};

int s_threadCreationResult = 0;
bool s_forkFails = false;
std::optional<std::time_t> s_time;
std::optional<std::optional<std::string>> s_uname;
std::optional<TPopen> s_popen;
std::optional<TSetTimeOfDay> s_setTimeOfDay;
std::string* s_openPath = nullptr;
int s_flockError = 0;
WrappedCalls::TIoctl* s_ioctl = nullptr;

} // namespace

namespace WrappedCalls {

void FailNextThreadCreation(int result) {
    s_threadCreationResult = result;
}

void FailNextFork() {
    s_forkFails = true;
}

void SetTime(std::optional<std::time_t> time) {
    s_time = time;
}

void AnswerNextUname(std::optional<std::string> release) {
    s_uname = std::move(release);
}

void RedirectNextPopen(const std::string& command, std::string* meant) {
    s_popen = TPopen{command, meant};
}

void CatchNextSetTimeOfDay(timeval* time, bool fails) {
    s_setTimeOfDay = TSetTimeOfDay{time, fails};
}

void CatchNextOpen(std::string* path) {
    s_openPath = path;
}

void FailNextFlock(int error) {
    s_flockError = error;
}

void AnswerNextIoctl(TIoctl* call) {
    s_ioctl = call;
}

} // namespace WrappedCalls

// The linker leads the calls here.
extern "C" {
int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*routine)(void*), void* argument);
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*routine)(void*), void* argument);
pid_t __real_fork();
pid_t __wrap_fork();
std::time_t __real_time(std::time_t* time);
std::time_t __wrap_time(std::time_t* time);
int __real_uname(utsname* system);
int __wrap_uname(utsname* system);
std::FILE* __real_popen(const char* command, const char* mode);
std::FILE* __wrap_popen(const char* command, const char* mode);
int __real_settimeofday(const timeval* time, const void* zone);
int __wrap_settimeofday(const timeval* time, const void* zone);
int __real_open(const char* path, int flags, ...);
int __wrap_open(const char* path, int flags, ...);
int __real_flock(int descriptor, int operation);
int __wrap_flock(int descriptor, int operation);
int __real_ioctl(int descriptor, unsigned long request, ...);
int __wrap_ioctl(int descriptor, unsigned long request, ...);

int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*routine)(void*),
                          void* argument) {
    if (const int result = std::exchange(s_threadCreationResult, 0); result != 0) {
        return result;
    }
    return __real_pthread_create(thread, attributes, routine, argument);
}

pid_t __wrap_fork() {
    if (std::exchange(s_forkFails, false)) {
        errno = EAGAIN;
        return -1;
    }
    return __real_fork();
}

std::time_t __wrap_time(std::time_t* time) {
    if (!s_time) {
        return __real_time(time);
    }
    if (time != nullptr) {
        *time = *s_time;
    }
    return *s_time;
}

int __wrap_uname(utsname* system) {
    const auto answer = std::exchange(s_uname, std::nullopt);
    if (!answer) {
        return __real_uname(system);
    }
    if (!*answer) {
        return -1;
    }
    std::snprintf(system->release, sizeof system->release, "%s", (*answer)->c_str());
    return 0;
}

std::FILE* __wrap_popen(const char* command, const char* mode) {
    const auto redirection = std::exchange(s_popen, std::nullopt);
    if (!redirection) {
        return __real_popen(command, mode);
    }
    *redirection->meant = command;
    return __real_popen(redirection->command.c_str(), mode);
}

int __wrap_settimeofday(const timeval* time, const void* zone) {
    const auto caught = std::exchange(s_setTimeOfDay, std::nullopt);
    if (!caught) {
        return __real_settimeofday(time, zone);
    }
    *caught->time = *time;
    if (caught->fails) {
        errno = EPERM;
        return -1;
    }
    return 0;
}

int __wrap_open(const char* path, int flags, ...) {
    if (std::string* caught = std::exchange(s_openPath, nullptr)) {
        *caught = path;
        errno = ENOENT;
        return -1;
    }
    va_list arguments;
    va_start(arguments, flags);
    const unsigned mode = (flags & O_CREAT) != 0 ? va_arg(arguments, unsigned) : 0;
    va_end(arguments);
    return __real_open(path, flags, mode);
}

int __wrap_flock(int descriptor, int operation) {
    if (const int error = std::exchange(s_flockError, 0); error != 0) {
        errno = error;
        return -1;
    }
    return __real_flock(descriptor, operation);
}

int __wrap_ioctl(int descriptor, unsigned long request, ...) {
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    WrappedCalls::TIoctl* call = std::exchange(s_ioctl, nullptr);
    if (call == nullptr) {
        return __real_ioctl(descriptor, request, argument);
    }
    call->request = request;
    std::memcpy(call->received, argument, sizeof call->received);
    std::memcpy(argument, call->answer, sizeof call->answer);
    return call->result;
}
}
