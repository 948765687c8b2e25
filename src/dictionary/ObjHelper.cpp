#include "dictionary/ObjHelper.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>

namespace {

unsigned int MinimumSize(std::uint16_t type) {
    switch (type) {
    case TYPE_BOOLEAN:
    case TYPE_INTEGER8:
    case TYPE_UNSIGNED8:
        return 1;
    case TYPE_INTEGER16:
    case TYPE_UNSIGNED16:
        return 2;
    case TYPE_UNSIGNED24:
        return 3;
    case TYPE_INTEGER32:
    case TYPE_UNSIGNED32:
    case TYPE_REAL32:
        return 4;
    case TYPE_UNSIGNED40:
        return 5;
    case TYPE_UNSIGNED48:
        return 6;
    case TYPE_UNSIGNED56:
        return 7;
    case TYPE_EIGHT_BYTES:
    case TYPE_UNSIGNED64:
        return 8;
    default:
        return type >= TYPE_BIT1 && type <= TYPE_BIT8 ? 1 : 0;
    }
}

} // namespace

ObjResult AllocateBuffer(TInfoItem* item, unsigned int size) {
    const unsigned int wanted = std::max(size, MinimumSize(item->type));
    if (wanted == item->size && item->data != nullptr) {
        return OBJ_E_NOERR;
    }
    DeallocateBuffer(item);
    item->size = 0;
    if (wanted == 0) {
        return OBJ_E_INVALIDSIZE;
    }
    item->data = new (std::nothrow) unsigned char[wanted]();
    if (item->data == nullptr) {
        return OBJ_E_OUTOFMEMORY;
    }
    item->size = wanted;
    return OBJ_E_NOERR;
}

void DeallocateBuffer(TInfoItem* item) {
    if (item == nullptr || item->data == nullptr) {
        return;
    }
    delete[] item->data;
    item->data = nullptr;
    item->size = 0;
}

ObjResult RdNotSupported(TInfoItem* /*item*/, unsigned short /*index*/, unsigned char /*subIndex*/) {
    return OBJ_E_NOTSUPPORTED;
}

ObjResult WrNotSupported(TInfoItem* /*item*/, unsigned short /*index*/, unsigned char /*subIndex*/, void* /*data*/,
                         unsigned int /*size*/) {
    return OBJ_E_NOTSUPPORTED;
}

ObjResult GetStringFromItem(TInfoItem* item, std::string& out) {
    if (item == nullptr || item->type != TYPE_VISIBLE_STRING || item->data == nullptr || item->size == 0) {
        return OBJ_E_INVALIDDATA;
    }
    out.assign(reinterpret_cast<const char*>(item->data), item->size);
    return OBJ_E_NOERR;
}

void BinaryToHexString(const unsigned char* data, unsigned int size, std::string& out) {
    out = "0x";
    for (unsigned int i = 0; i < size; ++i) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", data[i]);
        out += digits;
    }
}

void HexStringToBuffer(const std::string& text, unsigned char** out, unsigned int* size) {
    *out = new unsigned char[text.size() * 3]();
    // Meant: any of the prefix's characters at the front skips two, so "01ff" without a prefix loses its first byte.
    std::size_t at = text.find_first_of("0xX") == 0 ? 2 : 0;
    unsigned int written = 0;
    while (at + 2 <= text.size()) {
        const std::string digits = "0x" + text.substr(at, 2);
        unsigned int value = 0;
        std::sscanf(digits.c_str(), "0x%02x", &value);
        std::memcpy(*out + written, &value, sizeof value);
        ++written;
        at += 2;
        while (at < text.size() && text[at] == ' ') {
            ++at;
        }
    }
    *size = written;
}
