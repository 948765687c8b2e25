#include "platform/OsUserCriticalSection.h"

void OsUserInitializeCriticalSection(OsUserCriticalSection* section) {
    pthread_mutexattr_t attributes;
    if (pthread_mutexattr_init(&attributes) != 0) {
        pthread_mutex_init(section, nullptr);
        return;
    }
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(section, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

void OsUserDeleteCriticalSection(OsUserCriticalSection* section) {
    pthread_mutex_destroy(section);
}

void OsUserEnterCriticalSection(OsUserCriticalSection* section) {
    pthread_mutex_lock(section);
}

void OsUserLeaveCriticalSection(OsUserCriticalSection* section) {
    pthread_mutex_unlock(section);
}

int OsUserTryEnterCriticalSection(OsUserCriticalSection* section) {
    return pthread_mutex_trylock(section) == 0 ? 1 : 0;
}
