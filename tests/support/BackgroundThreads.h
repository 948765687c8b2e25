#pragma once

#include <cstddef>

// Waits at its end for the threads that were started since its begin and that nobody else waits for.
class CBackgroundThreads {
public:
    CBackgroundThreads();
    ~CBackgroundThreads();
    CBackgroundThreads(const CBackgroundThreads&) = delete;
    CBackgroundThreads& operator=(const CBackgroundThreads&) = delete;

private:
    std::size_t m_atBegin;
};
