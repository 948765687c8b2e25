#include "FailingCalls.h"

#include <pthread.h>

#include <utility>

namespace {

int s_threadCreationResult = 0;

} // namespace

namespace FailingCalls {

void FailNextThreadCreation(int result) {
    s_threadCreationResult = result;
}

} // namespace FailingCalls

// The linker leads calls of pthread_create here.
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
}
