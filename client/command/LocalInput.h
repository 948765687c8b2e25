#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <span>
#include <string>

#include "EndingSignals.h"

namespace MdpCommand {

// A file of this side that is read, "-" being the standard input. Closed with the object, but for the standard input.
class LocalInput {
public:
    // Opens it; errno tells why Number is negative then.
    explicit LocalInput(const std::string& path)
        : m_number(path == "-" ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC)) {}

    ~LocalInput() {
        if (m_number > STDERR_FILENO) {
            close(m_number);
        }
    }

    LocalInput(const LocalInput&) = delete;
    LocalInput& operator=(const LocalInput&) = delete;

    int Number() const { return m_number; }

    // As read(2), but a signal does not end it, unless it is one that ends the program and was noted.
    ssize_t Read(std::span<std::uint8_t> room) const {
        ssize_t got = -1;
        do {
            got = read(m_number, room.data(), room.size());
        } while (got < 0 && errno == EINTR && EndingSignals::Noted() == 0);
        return got;
    }

private:
    int m_number;
};

} // namespace MdpCommand
