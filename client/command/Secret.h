#pragma once

#include <cstdint>
#include <optional>
#include <string>

// Passwords of a command: never among its words, and wiped after their use.

namespace MdpCommand {

// The most bytes of a password that the service takes.
inline constexpr std::size_t s_longestPassword = 255;

// Bytes that are overwritten before their memory goes back. It cannot be copied.
class Secret {
public:
    // `room`: the most bytes that it will have. It never moves to larger memory: the smaller one would keep it.
    explicit Secret(std::size_t room);
    ~Secret();
    Secret(Secret&& other) noexcept;
    Secret& operator=(Secret&&) = delete;

    const std::string& Bytes() const { return m_bytes; }

    void Append(char byte);
    void Append(const std::string& bytes);

private:
    std::string m_bytes;
};

// Where passwords come from: the terminal, without echo, or the lines of a descriptor.
class PasswordSource {
public:
    explicit PasswordSource(std::optional<std::uint64_t> descriptor) : m_descriptor(descriptor) {}

    // The next password; the prompt is shown on a terminal. Nothing, and then what is wrong, where there is none.
    std::optional<Secret> Ask(const std::string& prompt, std::string& wrong) const;
    // The same for one that is set: a terminal asks twice, and takes an empty one, as the end of the input is, for
    // none.
    std::optional<Secret> AskNew(const std::string& prompt, std::string& wrong) const;

private:
    std::optional<std::uint64_t> m_descriptor;
};

} // namespace MdpCommand
