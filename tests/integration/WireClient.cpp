#include "WireClient.h"

#include <linux/sockios.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <stdexcept>
#include <system_error>
#include <thread>

namespace {

constexpr int s_timeLimit = 60000; // milliseconds

[[noreturn]] void Fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

int Digit(char character) {
    if (character >= '0' && character <= '9') {
        return character - '0';
    }
    if (character >= 'A' && character <= 'F') {
        return character - 'A' + 10;
    }
    if (character >= 'a' && character <= 'f') {
        return character - 'a' + 10;
    }
    throw std::invalid_argument(std::string("not a hexadecimal digit: ") + character);
}

} // namespace

Bytes operator""_hex(const char* text, std::size_t length) {
    Bytes bytes;
    for (std::size_t i = 0; i < length;) {
        if (text[i] == ' ' || text[i] == '\n') {
            ++i;
            continue;
        }
        if (i + 1 == length) {
            throw std::invalid_argument("half a byte at the end of a hexadecimal text");
        }
        bytes.push_back(static_cast<std::uint8_t>(Digit(text[i]) * 16 + Digit(text[i + 1])));
        i += 2;
    }
    return bytes;
}

std::string ToHex(const Bytes& bytes) {
    constexpr const char* digits = "0123456789ABCDEF";
    std::string text;
    for (const auto byte : bytes) {
        if (!text.empty()) {
            text += ' ';
        }
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

Bytes Join(std::initializer_list<Bytes> parts) {
    Bytes whole;
    for (const auto& part : parts) {
        whole.insert(whole.end(), part.begin(), part.end());
    }
    return whole;
}

Bytes Little(std::uint64_t value, std::size_t width) {
    Bytes bytes;
    for (std::size_t i = 0; i < width; ++i) {
        bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    }
    return bytes;
}

WireClient::WireClient() {
    m_socket = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (m_socket < 0) {
        Fail("socket");
    }
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, Path, sizeof address.sun_path - 1);
    if (connect(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        const int error = errno;
        close(m_socket);
        errno = error;
        Fail("connect to /tmp/MDP0");
    }
}

WireClient::~WireClient() {
    Close();
}

void WireClient::Close() {
    if (m_socket >= 0) {
        close(m_socket);
        m_socket = -1;
    }
}

bool WireClient::TrySend(const Bytes& bytes) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t count = send(m_socket, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            if (errno == EPIPE || errno == ECONNRESET) {
                return false;
            }
            Fail("send");
        }
        sent += static_cast<std::size_t>(count);
    }
    return true;
}

void WireClient::Send(const Bytes& bytes) {
    if (!TrySend(bytes)) {
        Fail("send");
    }
}

void WireClient::WaitUntilTaken() const {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(s_timeLimit);
    int waiting = 1;
    while (ioctl(m_socket, SIOCOUTQ, &waiting) == 0 && waiting > 0) {
        if (std::chrono::steady_clock::now() > deadline) {
            throw std::runtime_error("the service does not read what was sent");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

void WireClient::EndSending() {
    if (shutdown(m_socket, SHUT_WR) != 0 && errno != ENOTCONN) {
        Fail("shutdown");
    }
}

Bytes WireClient::Receive(std::size_t count) {
    Bytes bytes(count);
    std::size_t received = 0;
    while (received < count) {
        if (!HasAnswerWithin(s_timeLimit)) {
            throw std::runtime_error("no answer within the time limit");
        }
        const ssize_t got = recv(m_socket, bytes.data() + received, count - received, 0);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        // A service that closes with bytes of ours unread ends the connection with ECONNRESET instead of an end of
        // file.
        if (got == 0 || (got < 0 && errno == ECONNRESET)) {
            break;
        }
        if (got < 0) {
            Fail("recv");
        }
        received += static_cast<std::size_t>(got);
    }
    bytes.resize(received);
    return bytes;
}

Bytes WireClient::ReceiveAll() {
    Bytes all;
    for (;;) {
        const Bytes piece = Receive(65536);
        all.insert(all.end(), piece.begin(), piece.end());
        if (piece.size() < 65536) {
            return all;
        }
    }
}

bool WireClient::HasAnswerWithin(int milliseconds) const {
    pollfd waiting{m_socket, POLLIN, 0};
    int result = 0;
    do {
        result = poll(&waiting, 1, milliseconds);
    } while (result < 0 && errno == EINTR);
    return result > 0;
}

Bytes WireClient::Transact(const Bytes& frame) {
    WireClient client;
    client.TrySend(frame);
    return client.ReceiveAll();
}
