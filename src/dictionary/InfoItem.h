#pragma once

#include <cstdint>

#include "dictionary/ObjResult.h"

struct TInfoItem;

// Fills the item's buffer with the live value. Runs under the section of the item's object.
using TOnRead = ObjResult (*)(TInfoItem* item, unsigned short index, unsigned char subIndex);

// Applies `size` bytes of the client; the item still holds the old value. Runs under the section of the item's object.
// After a result without bit 31 the dictionary stores the bytes in the item.
using TOnWrite = ObjResult (*)(TInfoItem* item, unsigned short index, unsigned char subIndex, void* data,
                               unsigned int size);

// Data type codes of the object dictionary.
inline constexpr std::uint16_t TYPE_BOOLEAN = 1;
inline constexpr std::uint16_t TYPE_INTEGER8 = 2;
inline constexpr std::uint16_t TYPE_INTEGER16 = 3;
inline constexpr std::uint16_t TYPE_INTEGER32 = 4;
inline constexpr std::uint16_t TYPE_UNSIGNED8 = 5;
inline constexpr std::uint16_t TYPE_UNSIGNED16 = 6;
inline constexpr std::uint16_t TYPE_UNSIGNED32 = 7;
inline constexpr std::uint16_t TYPE_REAL32 = 8;
inline constexpr std::uint16_t TYPE_VISIBLE_STRING = 9;
inline constexpr std::uint16_t TYPE_OCTET_STRING = 10;
inline constexpr std::uint16_t TYPE_EIGHT_BYTES = 11;
inline constexpr std::uint16_t TYPE_UNSIGNED24 = 22;
inline constexpr std::uint16_t TYPE_UNSIGNED40 = 24;
inline constexpr std::uint16_t TYPE_UNSIGNED48 = 25;
inline constexpr std::uint16_t TYPE_UNSIGNED56 = 26;
inline constexpr std::uint16_t TYPE_UNSIGNED64 = 27;
inline constexpr std::uint16_t TYPE_BIT1 = 48;
inline constexpr std::uint16_t TYPE_BIT8 = 55;

inline constexpr std::uint16_t ACCESS_READ = 1;
inline constexpr std::uint16_t ACCESS_WRITE = 2;
inline constexpr std::uint16_t ACCESS_MARK = 4; // marks items that hold constants; no operation evaluates it

// Object codes.
inline constexpr unsigned int OBJCODE_VARIABLE = 7;
inline constexpr unsigned int OBJCODE_ARRAY = 8;
inline constexpr unsigned int OBJCODE_RECORD = 9;

// One sub-index of an object. A plain record: modules fill it in on the stack and AppendInfoItem copies it.
struct TInfoItem {
    std::uint16_t type = 0;
    std::uint16_t access = 0;
    TOnRead onRead = nullptr;
    TOnWrite onWrite = nullptr;
    std::uint32_t size = 0;        // bytes in data
    unsigned char* data = nullptr; // from array new, owned by the item once it lies in an object
    void* context = nullptr;       // free for the triggers
    std::int64_t nameId = 0;       // text id of the entry's name, 0 for none
};

// Type and access of an item as the one number in which tables give them: type | access << 16.
constexpr std::uint32_t TypeAccess(std::uint16_t type, std::uint16_t access) {
    return type | static_cast<std::uint32_t>(access) << 16;
}

// A view of an item for use inside triggers; it owns nothing.
class CInfoItem {
public:
    explicit CInfoItem(const TInfoItem* item) : m_item(const_cast<TInfoItem*>(item)) {}

    ~CInfoItem() { m_item = nullptr; }

    CInfoItem(const CInfoItem&) = delete;
    CInfoItem& operator=(const CInfoItem&) = delete;

    void Attach(const TInfoItem* item) { m_item = const_cast<TInfoItem*>(item); }

    TInfoItem* Detach();

    // Makes `length` bytes of text the item's value, without a NUL; 0xFFFFFFFF stands for the text's own length.
    // Returns 0 or the error of AllocateBuffer.
    ObjResult SetString(char* text, unsigned int length);
    ObjResult SetStringA(char* text, unsigned int length);
    // Wide texts are not kept in items: does nothing and returns 0.
    ObjResult SetStringW(wchar_t* text, unsigned int length);

private:
    TInfoItem* m_item;
};
