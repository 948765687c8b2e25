#include "Secret.h"

#include <readpassphrase.h>
#include <string.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

namespace MdpCommand {

Secret::Secret(std::size_t room) {
    m_bytes.reserve(room);
}

Secret::~Secret() {
    explicit_bzero(m_bytes.data(), m_bytes.size());
}

Secret::Secret(Secret&& other) noexcept {
    std::swap(m_bytes, other.m_bytes);
}

void Secret::Append(char byte) {
    m_bytes += byte;
}

void Secret::Append(const std::string& bytes) {
    m_bytes += bytes;
}

std::optional<Secret> PasswordSource::Ask(const std::string& prompt, std::string& wrong) const {
    Secret password(s_longestPassword + 1);
    if (m_descriptor) {
        // Byte by byte: what is behind the line is for others.
        char byte = 0;
        ssize_t count = 0;
        while (password.Bytes().size() <= s_longestPassword) {
            count = read(static_cast<int>(*m_descriptor), &byte, 1);
            if (count < 0 && errno == EINTR) {
                continue;
            }
            if (count <= 0 || byte == '\n') {
                break;
            }
            password.Append(byte);
        }
        byte = 0;
        if (count < 0) {
            wrong = "--password-fd: " + std::generic_category().message(errno);
            return std::nullopt;
        }
        if (count == 0 && password.Bytes().empty()) {
            wrong = "--password-fd: there is no line for each password";
            return std::nullopt;
        }
    } else {
        std::array<char, s_longestPassword + 2> line{};
        const bool isRead = readpassphrase(prompt.c_str(), line.data(), line.size(), RPP_REQUIRE_TTY) != nullptr;
        for (const char* byte = line.data(); isRead && *byte != '\0'; ++byte) {
            password.Append(*byte);
        }
        explicit_bzero(line.data(), line.size());
        if (!isRead) {
            wrong = "there is no terminal to ask for the password; give it with --password-fd";
            return std::nullopt;
        }
    }
    if (password.Bytes().size() > s_longestPassword) {
        wrong = "a password has at most 255 bytes";
        return std::nullopt;
    }
    return password;
}

std::optional<Secret> PasswordSource::AskNew(const std::string& prompt, std::string& wrong) const {
    std::optional<Secret> password = Ask(prompt, wrong);
    if (!password || m_descriptor) {
        return password;
    }
    if (password->Bytes().empty()) {
        wrong = "there is no password";
        return std::nullopt;
    }
    const std::optional<Secret> again = Ask("Again: ", wrong);
    if (again && again->Bytes() != password->Bytes()) {
        wrong = "the two passwords differ";
    }
    return wrong.empty() ? std::move(password) : std::nullopt;
}

} // namespace MdpCommand
