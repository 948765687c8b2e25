#include "FailingCalls.h"

#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace {

int s_threadCreationResult = 0;
bool s_forkFails = false;

} // namespace

namespace FailingCalls {

void FailNextThreadCreation(int result) {
    s_threadCreationResult = result;
}

void FailNextFork() {
    s_forkFails = true;
}

} // namespace FailingCalls

// The linker leads the calls here.
extern "C" {
int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*routine)(void*), void* argument);
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*routine)(void*), void* argument);

int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*routine)(void*),
                          void* argument) {
    if (const int result = std::exchange(s_threadCreationResult, 0); result != 0) {
        return result;
    }
    return __real_pthread_create(thread, attributes, routine, argument);
}

pid_t __real_fork();
pid_t __wrap_fork();

pid_t __wrap_fork() {
    if (std::exchange(s_forkFails, false)) {
        errno = EAGAIN;
        return -1;
    }
    return __real_fork();
}
}
