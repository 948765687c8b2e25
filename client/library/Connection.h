#pragma once

#include <chrono>
#include <string>

#include "mdp/Client.h"

namespace Mdp {

// One connection, which carries one transaction: a frame out, a length and that many bytes back. The socket is closed
// with the object.
class Connection {
public:
    // A timeout of 0 waits for ever; the time counts for everything that the connection does.
    explicit Connection(Milliseconds timeout);
    // The time counts anew from now.
    void AllowTime(Milliseconds timeout);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    // Only root or the user of this program may be who listens there.
    Result<void> Open(const std::string& path);
    // Sends the parts of a frame, one behind the other.
    Result<void> Send(std::span<const ByteView> parts);
    // Replaces the contents of the buffer, whose memory is used again, by the answer.
    Result<void> Receive(Bytes& answer);

private:
    using Clock = std::chrono::steady_clock;

    Result<void> CheckPeer(const std::string& path) const;
    // Lets a large frame out without waiting, as far as the system allows.
    void MakeRoom(std::size_t size) const;
    // Bytes of the answer into the whole of the buffer.
    Result<void> ReceiveExactly(std::span<std::uint8_t> buffer);
    // Waits until the socket is ready for the events of poll(2).
    Result<void> WaitFor(short events);

    bool Expired() const { return m_limited && Clock::now() >= m_deadline; }

    // The time left in milliseconds, at least 1 while there is any, or -1 for no limit.
    int TimeLeft() const;

    int m_socket = -1;
    bool m_limited = false;
    Clock::time_point m_deadline;
};

} // namespace Mdp
