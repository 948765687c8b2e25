#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include <sys/socket.h>
#include <sys/un.h>

// The one transaction that the load generator asks for and the yardstick answers, as bytes.
namespace Bench {

// A read-only frame for index 0x1000, sub-index 0, with room for a value of 4 bytes.
inline constexpr std::array<std::uint8_t, 46> s_readRequest = {
    46,   0,    0, 0, 0, 0, 0, 0, // cbData
    24,   0,    0, 0, 0, 0, 0, 0, // writeOffset
    24,   0,    0, 0, 0, 0, 0, 0, // readOffset
    0x00, 0x00,                   // command
    0x00, 0x10,                   // index
    0x00,                         // flags
    0x00,                         // subIndex
    0,    0,    0, 0, 0, 0, 0, 0, // result
    4,    0,    0, 0,             // length
    0,    0,    0, 0,             // data
};

// Its answer: a length, then the record with the device type.
inline constexpr std::array<std::uint8_t, 26> s_readReply = {
    22,   0,    0,    0,                // length of the reply
    0x00, 0x00,                         // command
    0x00, 0x10,                         // index
    0x00,                               // flags
    0x00,                               // subIndex
    0,    0,    0,    0,    0, 0, 0, 0, // result
    4,    0,    0,    0,                // length
    0x89, 0x13, 0x10, 0x27,             // data: 0x27101389
};

inline constexpr std::size_t s_headerSize = 24;
inline constexpr std::size_t s_chunkSize = 512; // the service reads a frame in pieces of this size
inline constexpr int s_backlog = 10;            // and lets this many connections wait

// The address of a socket file; a path that is too long is cut.
inline sockaddr_un SocketAddress(const char* path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    for (std::size_t i = 0; i + 1 < sizeof address.sun_path && path[i] != '\0'; ++i) {
        address.sun_path[i] = path[i];
    }
    return address;
}

} // namespace Bench
