#pragma once

#include <cstddef>
#include <cstdint>

#include "dictionary/ObjResult.h"
#include "platform/LittleEndian.h"

// The request record of a read or write: a head of 18 packed bytes, the data behind it. A view; the bytes are the
// frame's.
class CRequestRecord {
public:
    static constexpr std::uint32_t HEAD_SIZE = 18;

    static constexpr std::uint8_t FLAG_COMPLETE_ACCESS = 1;
    static constexpr std::uint8_t FLAG_SERVICE_ACCESS = 2;

    explicit CRequestRecord(unsigned char* bytes) : m_bytes(bytes) {}

    std::uint16_t Command() const { return LoadLe<std::uint16_t>(m_bytes); }

    std::uint16_t Index() const { return LoadLe<std::uint16_t>(m_bytes + 2); }

    bool IsCompleteAccess() const { return (m_bytes[4] & FLAG_COMPLETE_ACCESS) != 0; }

    bool IsServiceAccess() const { return (m_bytes[4] & FLAG_SERVICE_ACCESS) != 0; }

    std::uint8_t SubIndex() const { return m_bytes[5]; }

    std::uint32_t Length() const { return LoadLe<std::uint32_t>(m_bytes + 14); }

    unsigned char* Data() const { return m_bytes + HEAD_SIZE; }

    // The code goes out with its sign, in 64 bits.
    void SetResult(ObjResult result) {
        StoreLe(m_bytes + 6, static_cast<std::int64_t>(static_cast<std::int32_t>(result)));
    }

    void SetLength(std::uint32_t length) { StoreLe(m_bytes + 14, length); }

private:
    unsigned char* m_bytes;
};
