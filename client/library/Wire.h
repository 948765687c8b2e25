#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "mdp/Client.h"

// Little-endian numbers on the wire.

namespace Mdp::Wire {

template <typename T>
void Put(Bytes& out, T value) {
    for (std::size_t i = 0; i < sizeof(T); ++i) {
        out.push_back(static_cast<std::uint8_t>(static_cast<std::uint64_t>(value) >> (8 * i)));
    }
}

inline void PutText(Bytes& out, std::string_view text) {
    out.insert(out.end(), text.begin(), text.end());
}

// The number of up to eight bytes at the start of the view; the view is as long as the number.
inline std::uint64_t GetNumber(ByteView bytes) {
    std::uint64_t value = 0;
    for (std::size_t i = bytes.size(); i > 0; --i) {
        value = value << 8 | bytes[i - 1];
    }
    return value;
}

// The caller has made sure that offset and width lie inside.
template <typename T>
T Get(ByteView bytes, std::size_t offset) {
    return static_cast<T>(GetNumber(bytes.subspan(offset, sizeof(T))));
}

inline std::string GetText(ByteView bytes, std::size_t offset, std::size_t length) {
    const ByteView text = bytes.subspan(offset, length);
    return {text.begin(), text.end()};
}

} // namespace Mdp::Wire

namespace Mdp {

// The name of the Turn at a service object: that of one job with its response.
inline std::string TurnName(std::uint16_t index) {
    return "job-" + std::to_string(index);
}

} // namespace Mdp
