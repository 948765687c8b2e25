#pragma once

#include <string>
#include <utility>
#include <variant>

#include "mdp/Codes.h"

namespace Mdp {

/// What kind of thing went wrong.
enum class ErrorKind {
    Connect,   ///< no connection to the service
    Timeout,   ///< the time of the transaction or of the service job ran out
    Closed,    ///< the service closed the connection without an answer: it refuses the request
    Transport, ///< sending or receiving failed
    Protocol,  ///< the answer does not have the form of one
    Object,    ///< the object layer answered with an error code
    Argument,  ///< the caller's value cannot be used; nothing was sent
    Local,     ///< the caller's own reading or writing failed
};

/// A failure, with all that is known about it.
struct Error {
    ErrorKind kind = ErrorKind::Transport;
    Code code = 0;       ///< the object layer's code, for kind Object
    int systemError = 0; ///< errno, where the operating system told the cause
    std::string detail;  ///< what was being done or what is wrong, for a human reader

    /// One line for a human reader, with the code's number, name and meaning where there is one.
    std::string Message() const;
};

/// A value or the failure that took its place.
template <typename T>
class [[nodiscard]] Result {
public:
    Result(T value) : m_content(std::in_place_index<0>, std::move(value)) {}

    Result(Mdp::Error error) : m_content(std::in_place_index<1>, std::move(error)) {}

    explicit operator bool() const { return m_content.index() == 0; }

    /// The value. Only for a result that is true.
    T& operator*() { return *std::get_if<0>(&m_content); }

    const T& operator*() const { return *std::get_if<0>(&m_content); }

    T* operator->() { return std::get_if<0>(&m_content); }

    const T* operator->() const { return std::get_if<0>(&m_content); }

    /// The failure. Only for a result that is false.
    const Mdp::Error& Error() const { return *std::get_if<1>(&m_content); }

private:
    std::variant<T, Mdp::Error> m_content;
};

/// Success without a value, or a failure.
template <>
class [[nodiscard]] Result<void> {
public:
    Result() = default;

    Result(Mdp::Error error) : m_failed(true), m_error(std::move(error)) {}

    explicit operator bool() const { return !m_failed; }

    /// The failure. Only for a result that is false.
    const Mdp::Error& Error() const { return m_error; }

private:
    bool m_failed = false;
    Mdp::Error m_error;
};

} // namespace Mdp
