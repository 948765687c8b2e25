#pragma once

#include <string.h>

#include <string>

// Passwords and hashes do not outlive their use: their memory is overwritten before it goes back.
namespace Host {

// Overwrites all memory of the text and empties it. What an earlier growth of the text left behind is out of reach: a
// secret is assigned whole, or its room reserved.
inline void Wipe(std::string& secret) {
    secret.resize(secret.capacity());
    explicit_bzero(secret.data(), secret.size());
    secret.clear();
}

// Wipes a text at the end of its scope.
class CWipeAtEnd {
public:
    explicit CWipeAtEnd(std::string& secret) : m_secret(secret) {}

    ~CWipeAtEnd() { Wipe(m_secret); }

    CWipeAtEnd(const CWipeAtEnd&) = delete;
    CWipeAtEnd& operator=(const CWipeAtEnd&) = delete;

private:
    std::string& m_secret;
};

} // namespace Host
