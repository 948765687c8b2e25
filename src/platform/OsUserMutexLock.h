#pragma once

#include <pthread.h>

// Holds a mutex from its construction to the end of its scope.
class CMutexLock {
public:
    explicit CMutexLock(pthread_mutex_t& mutex) : m_mutex(mutex) { pthread_mutex_lock(&m_mutex); }

    ~CMutexLock() { pthread_mutex_unlock(&m_mutex); }

    CMutexLock(const CMutexLock&) = delete;
    CMutexLock& operator=(const CMutexLock&) = delete;

private:
    pthread_mutex_t& m_mutex;
};
