#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

// The one owner of a file descriptor; closes it at the end and leaves errno as it is.
class CFileDescriptor {
public:
    explicit CFileDescriptor(int descriptor = -1) : m_descriptor(descriptor) {}

    ~CFileDescriptor() {
        if (m_descriptor >= 0) {
            const int error = errno;
            close(m_descriptor);
            errno = error;
        }
    }

    CFileDescriptor(CFileDescriptor&& other) noexcept : m_descriptor(other.Release()) {}

    CFileDescriptor& operator=(CFileDescriptor&&) = delete;

    explicit operator bool() const { return m_descriptor >= 0; }

    int Get() const { return m_descriptor; }

    int Release() { return std::exchange(m_descriptor, -1); }

private:
    int m_descriptor;
};
