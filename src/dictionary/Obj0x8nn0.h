#pragma once

#include <string>

#include "dictionary/ObjectRecord.h"

// The slot `nn` that an index belongs to, and the indexes of a slot. `header` is the index 0x8nn0 of the slot's header.
constexpr unsigned char SlotOfIndex(unsigned short index) {
    return static_cast<unsigned char>(index >> 4 & 0xFF);
}

constexpr unsigned short DataIndex(unsigned short header, unsigned int k) {
    return static_cast<unsigned short>(header + k);
}

constexpr unsigned short ServiceIndex(unsigned short header, unsigned int k) {
    return static_cast<unsigned short>((header & 0x0FF0U) | 0xB000U | k);
}

// The header of a module: its address, type name, instance name and ident.
class CObj0x8nn0 : public CObjectRecord {
public:
    // Strings are copied. OBJ_E_UNEXPECTED, with item 0 alone in the object, where one is null.
    ObjResult Init(unsigned short index, const char* type, const char* name, unsigned short moduleType,
                   std::int64_t nameId);

    // Stores the module address in the low 32 bits of `address`; the caller clears it first. OBJ_E_UNEXPECTED where the
    // item is missing or too short.
    ObjResult GetAddress(std::int64_t& address);
    // OBJ_E_UNEXPECTED for a missing item, OBJ_E_INVALIDDATA for one that is no string or empty.
    ObjResult GetType(std::string& type);
    ObjResult GetName(std::string& name);

private:
    ObjResult GetText(unsigned char subIndex, std::string& text);
};
