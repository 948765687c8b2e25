#include "Connection.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <thread>

#include "PeerUser.h"
#include "Wire.h"

namespace Mdp {
namespace {

// How long a full accept queue is asked again where the system tells it as a refused connection, which is also what a
// socket file without a listener gives.
constexpr Milliseconds s_refusedPatience{250};
constexpr Milliseconds s_retryPause{2};

// Room for what is sent, so that a chunk of a file goes out without waiting for the service to read.
constexpr std::size_t s_largestRoom = 2U << 20;

// How often the rest of an answer is asked for before sleeping.
constexpr int s_yieldsForMore = 200;

// Parts of a frame that one call takes.
constexpr std::size_t s_partsAtOnce = 32;

Error SystemError(ErrorKind kind, int number, std::string detail) {
    return {kind, 0, number, std::move(detail)};
}

const Error s_timedOut{ErrorKind::Timeout, 0, 0, "the service did not answer in time"};
const Error s_closed{ErrorKind::Closed, 0, 0, "the service closed the connection without an answer"};

} // namespace

Connection::Connection(Milliseconds timeout) {
    AllowTime(timeout);
}

void Connection::AllowTime(Milliseconds timeout) {
    m_limited = timeout.count() > 0;
    m_deadline = Clock::now() + timeout;
}

Connection::~Connection() {
    if (m_socket >= 0) {
        close(m_socket);
    }
}

int Connection::TimeLeft() const {
    if (!m_limited) {
        return -1;
    }
    const auto left = std::chrono::ceil<Milliseconds>(m_deadline - Clock::now()).count();
    constexpr long long longest = 1000LL * 60 * 60;
    return static_cast<int>(left < 0 ? 0 : (left < longest ? left : longest));
}

Result<void> Connection::WaitFor(short events) {
    for (;;) {
        pollfd waited{m_socket, events, 0};
        const int ready = poll(&waited, 1, TimeLeft());
        if (ready > 0) {
            return {};
        }
        if (ready < 0 && errno != EINTR) {
            return SystemError(ErrorKind::Transport, errno, "waiting for the service");
        }
        if (Expired()) {
            return s_timedOut;
        }
    }
}

Result<void> Connection::Open(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof address.sun_path) {
        return Error{ErrorKind::Argument, 0, 0,
                     "the socket path \"" + path + "\" is not 1 to " + std::to_string(sizeof address.sun_path - 1) +
                         " bytes long"};
    }
    std::memcpy(address.sun_path, path.data(), path.size());

    m_socket = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (m_socket < 0) {
        return SystemError(ErrorKind::Transport, errno, "making a socket");
    }
    const auto refusedUntil = Clock::now() + s_refusedPatience;
    for (;;) {
        if (connect(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
            return CheckPeer(path);
        }
        const int error = errno;
        // EAGAIN: the queue of waiting connections is full at this moment.
        const bool full = error == EAGAIN || (error == ECONNREFUSED && Clock::now() < refusedUntil);
        if (error != EINTR && !full) {
            return SystemError(ErrorKind::Connect, error, "connecting to \"" + path + "\"");
        }
        if (Expired()) {
            return s_timedOut;
        }
        std::this_thread::sleep_for(s_retryPause);
    }
}

Result<void> Connection::CheckPeer(const std::string& path) const {
    // While the service is down anybody may listen in its place, where what root sends is not for everybody.
    const std::string connecting = "connecting to \"" + path + "\"";
    const std::optional<uid_t> user = PeerUser(m_socket);
    if (!user) {
        return SystemError(ErrorKind::Connect, errno, connecting);
    }
    if (*user != 0 && *user != geteuid()) {
        return Error{ErrorKind::Connect, 0, 0,
                     connecting + ": user " + std::to_string(*user) + " listens there, and neither root nor you"};
    }
    return {};
}

void Connection::MakeRoom(std::size_t size) const {
    constexpr std::size_t enough = 64U << 10;
    if (size <= enough) {
        return;
    }
    const auto room = static_cast<int>(std::min(size, s_largestRoom));
#ifdef SO_SNDBUFFORCE
    // Beyond the system's limit, where the caller may.
    if (setsockopt(m_socket, SOL_SOCKET, SO_SNDBUFFORCE, &room, sizeof room) == 0) {
        return;
    }
#endif
    // Less room only makes it slower.
    (void)setsockopt(m_socket, SOL_SOCKET, SO_SNDBUF, &room, sizeof room);
}

Result<void> Connection::Send(std::span<const ByteView> parts) {
    std::size_t size = 0;
    for (const ByteView part : parts) {
        size += part.size();
    }
    MakeRoom(size);
    std::size_t sentOfFirst = 0;
    while (!parts.empty()) {
        std::array<iovec, s_partsAtOnce> pieces{};
        const std::size_t count = std::min(parts.size(), pieces.size());
        for (std::size_t i = 0; i < count; ++i) {
            const ByteView part = parts[i].subspan(i == 0 ? sentOfFirst : 0);
            pieces[i] = {const_cast<std::uint8_t*>(part.data()), part.size()};
        }
        msghdr message{};
        message.msg_iov = pieces.data();
        message.msg_iovlen = static_cast<decltype(message.msg_iovlen)>(count);
        const ssize_t sent = sendmsg(m_socket, &message, MSG_NOSIGNAL);
        if (sent >= 0) {
            sentOfFirst += static_cast<std::size_t>(sent);
            while (!parts.empty() && sentOfFirst >= parts.front().size()) {
                sentOfFirst -= parts.front().size();
                parts = parts.subspan(1);
            }
            continue;
        }
        if (errno == EPIPE || errno == ECONNRESET) {
            return s_closed;
        }
        if (errno != EAGAIN && errno != EINTR) {
            return SystemError(ErrorKind::Transport, errno, "sending the request");
        }
        if (Result<void> ready = WaitFor(POLLOUT); !ready) {
            return ready;
        }
    }
    return {};
}

Result<void> Connection::ReceiveExactly(std::span<std::uint8_t> buffer) {
    const std::size_t wanted = buffer.size();
    int yields = 0;
    while (!buffer.empty()) {
        const ssize_t got = recv(m_socket, buffer.data(), buffer.size(), 0);
        if (got > 0) {
            buffer = buffer.subspan(static_cast<std::size_t>(got));
            yields = 0;
            continue;
        }
        // The rest of an answer is on its way: to sleep and be woken for each piece costs more than to ask again.
        if (got < 0 && errno == EAGAIN && yields < s_yieldsForMore) {
            ++yields;
            std::this_thread::yield();
            continue;
        }
        if (got == 0 || errno == ECONNRESET) {
            if (buffer.size() == wanted) {
                return s_closed;
            }
            return Error{ErrorKind::Protocol, 0, 0, "the answer ends in the middle"};
        }
        if (errno != EAGAIN && errno != EINTR) {
            return SystemError(ErrorKind::Transport, errno, "receiving the answer");
        }
        if (Result<void> ready = WaitFor(POLLIN); !ready) {
            return ready;
        }
    }
    return {};
}

Result<void> Connection::Receive(Bytes& answer) {
    std::array<std::uint8_t, 4> head{};
    if (Result<void> got = ReceiveExactly(head); !got) {
        return got;
    }
    // A length that lies costs no memory: the buffer grows with what arrives.
    constexpr std::size_t step = 4U << 20;
    const std::size_t length = Wire::Get<std::uint32_t>(head, 0);
    for (std::size_t received = 0; received < length;) {
        const std::size_t piece = std::min(length - received, step);
        if (answer.size() < received + piece) {
            answer.resize(received + piece);
        }
        if (Result<void> got = ReceiveExactly(std::span(answer).subspan(received, piece)); !got) {
            if (got.Error().kind == ErrorKind::Closed) {
                return Error{ErrorKind::Protocol, 0, 0, "the answer ends in the middle"};
            }
            return got;
        }
        received += piece;
    }
    answer.resize(length);
    return {};
}

} // namespace Mdp
