#pragma once

#include <cstdint>
#include <string>

#include "dictionary/InfoItem.h"
#include "dictionary/Object.h"

// Appends an item of these bytes; an empty text makes one without a buffer.
inline ObjResult Append(CObject& object, std::uint16_t type, std::uint16_t access, std::string bytes,
                        TOnRead onRead = nullptr, TOnWrite onWrite = nullptr, void* context = nullptr) {
    TInfoItem item;
    item.type = type;
    item.access = access;
    item.onRead = onRead;
    item.onWrite = onWrite;
    item.size = static_cast<std::uint32_t>(bytes.size());
    item.data = bytes.empty() ? nullptr : reinterpret_cast<unsigned char*>(bytes.data());
    item.context = context;
    return object.AppendInfoItem(item);
}

// The value that the item holds now.
inline std::string BytesOf(const TInfoItem& item) {
    return {reinterpret_cast<const char*>(item.data), item.size};
}

struct TReadAnswer {
    ObjResult result;
    unsigned int bytesRead;
    std::string buffer; // all of it, as it was filled with "#" before the read

    bool operator==(const TReadAnswer&) const = default;
};

inline TReadAnswer Read(CObject& object, unsigned char subIndex, unsigned int size, bool isComplete = false) {
    TReadAnswer answer{0, 4711, std::string(size, '#')};
    answer.result = object.ReadItem(subIndex, answer.buffer.data(), size, isComplete ? 1 : 0, &answer.bytesRead);
    return answer;
}

inline void PrintTo(const TReadAnswer& answer, std::ostream* out) {
    *out << "result " << std::hex << answer.result << ", " << std::dec << answer.bytesRead << " bytes of ";
    for (const char byte : answer.buffer) {
        *out << std::hex << (static_cast<unsigned int>(byte) & 0xFFU) << ' ';
    }
    *out << std::dec;
}
