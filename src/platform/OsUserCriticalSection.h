#pragma once

#include <pthread.h>

// A recursive lock in storage of the caller.
using OsUserCriticalSection = pthread_mutex_t;

// Falls back to a mutex of the default type where the recursive attribute cannot be had.
void OsUserInitializeCriticalSection(OsUserCriticalSection* section);
void OsUserDeleteCriticalSection(OsUserCriticalSection* section);
void OsUserEnterCriticalSection(OsUserCriticalSection* section);
void OsUserLeaveCriticalSection(OsUserCriticalSection* section);

// Nonzero when the section was free, or held by this thread, and is now entered.
int OsUserTryEnterCriticalSection(OsUserCriticalSection* section);

// Owns a critical section for as long as it lives.
class CSection {
public:
    CSection() { OsUserInitializeCriticalSection(&m_section); }

    ~CSection() { OsUserDeleteCriticalSection(&m_section); }

    CSection(const CSection&) = delete;
    CSection& operator=(const CSection&) = delete;

    void Enter() { OsUserEnterCriticalSection(&m_section); }

    void Leave() { OsUserLeaveCriticalSection(&m_section); }

    bool TryEnter() { return OsUserTryEnterCriticalSection(&m_section) != 0; }

private:
    OsUserCriticalSection m_section;
};

// Holds a section from its construction to the end of its scope.
class CSectionLock {
public:
    explicit CSectionLock(CSection& section) : m_section(section) { m_section.Enter(); }

    ~CSectionLock() { m_section.Leave(); }

    CSectionLock(const CSectionLock&) = delete;
    CSectionLock& operator=(const CSectionLock&) = delete;

private:
    CSection& m_section;
};

// Holds a section to the end of its scope if that was free, or this thread's, at the start.
class CSectionTryLock {
public:
    explicit CSectionTryLock(CSection& section) : m_section(section), m_entered(section.TryEnter()) {}

    ~CSectionTryLock() {
        if (m_entered) {
            m_section.Leave();
        }
    }

    CSectionTryLock(const CSectionTryLock&) = delete;
    CSectionTryLock& operator=(const CSectionTryLock&) = delete;

    explicit operator bool() const { return m_entered; }

private:
    CSection& m_section;
    const bool m_entered;
};
