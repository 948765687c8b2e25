#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/LittleEndian.h"

// A transaction frame as it came from the client; the service answers inside it. A view on cbData bytes.
struct _tagTPipeTransact {
    static constexpr std::uint32_t HEADER_SIZE = 24;
    static constexpr std::uint64_t MAX_SIZE = 0xFFFFFFFF;

    unsigned char* bytes;

    // Length of the whole frame, this header included.
    std::uint64_t cbData() const { return LoadLe<std::uint64_t>(bytes); }

    // Where the request record starts, and where the answer area does; both run to the next or to the end.
    std::uint64_t writeOffset() const { return LoadLe<std::uint64_t>(bytes + 8); }

    std::uint64_t readOffset() const { return LoadLe<std::uint64_t>(bytes + 16); }
};

// Owns the memory of one frame. Passwords come in frames: the front of one, where a request to the user management has
// its place, is overwritten before the memory goes to the next user.
class CFrameMemory {
public:
    // Room for most frames, which hold one short value, on the stack of their thread.
    CFrameMemory() : m_bytes(m_small) {}

    ~CFrameMemory();
    CFrameMemory(const CFrameMemory&) = delete;
    CFrameMemory& operator=(const CFrameMemory&) = delete;

    // Makes room for `size` bytes, the first `used` of which stay; to be called once. False where there is no memory.
    // It is taken from the system as it is touched, so that a header that lies about its length costs nothing. What it
    // holds is the last user's: nothing of it is looked at before the client's bytes are there.
    bool Grow(std::size_t size, std::size_t used);

    unsigned char* Bytes() { return m_bytes; }

    std::size_t Room() const { return m_room; }

private:
    static constexpr std::size_t SMALL_FRAME = 1024;
    // The allocator serves chunks of files faster than the system, which clears each page; beyond, it has a limit.
    static constexpr std::size_t LARGEST_ALLOCATED = 4U << 20;

    static constexpr std::size_t WIPED = 4096;

    std::size_t m_room = SMALL_FRAME;
    std::size_t m_mapped = 0;
    unsigned char* m_bytes;
    unsigned char m_small[SMALL_FRAME];
};
