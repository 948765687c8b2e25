#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

using Bytes = std::vector<std::uint8_t>;

// "2E 00 00 00"_hex: two digits a byte, blanks and line ends between bytes as one likes. Throws on anything else.
Bytes operator""_hex(const char* text, std::size_t length);
std::string ToHex(const Bytes& bytes);
Bytes Join(std::initializer_list<Bytes> parts);
// A number as it stands on the wire: the given width in bytes, the lowest byte first.
Bytes Little(std::uint64_t value, std::size_t width);

// One connection to the service's socket that sends and takes exactly the bytes it is told. It shares no code with the
// service or the client library. Failures to connect or send throw std::system_error.
class WireClient {
public:
    static constexpr const char* Path = "/tmp/MDP0";

    WireClient();
    ~WireClient();
    WireClient(const WireClient&) = delete;
    WireClient& operator=(const WireClient&) = delete;

    void Send(const Bytes& bytes);
    // Sends what the peer takes before it closes; false if it closed early.
    bool TrySend(const Bytes& bytes);
    // Waits until the service has taken all that was sent.
    void WaitUntilTaken() const;
    // Ends the sending direction: the service reads an end of file.
    void EndSending();
    // Waits for exactly this number of bytes; fewer come back only if the connection ended.
    Bytes Receive(std::size_t count);
    // Everything up to the end of the connection. Throws if that does not come within the time limit.
    Bytes ReceiveAll();
    // Whether the service has bytes or the end of the connection for us within the time.
    bool HasAnswerWithin(int milliseconds) const;
    void Close();

    // A whole transaction on a connection of its own: what came back up to the end of it.
    static Bytes Transact(const Bytes& frame);

private:
    int m_socket = -1;
};
