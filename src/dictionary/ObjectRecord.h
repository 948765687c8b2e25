#pragma once

#include "dictionary/Object.h"

// An object whose item 0 counts the items behind it.
class CObjectRecordBase : public CObject {
public:
    // Makes the object with item 0 in it. Returns 0.
    ObjResult Init(unsigned short index, unsigned short objectCode, std::int64_t nameId);

    ObjResult AppendInfoItem(TInfoItem& item) override;
    ObjResult RemoveItem(unsigned char subIndex) override;
    // Frees all items but item 0, which becomes 0: how an array is emptied before it is filled anew. Returns 0.
    virtual ObjResult RemoveAllElements();

    // Sets item 0 to the number of items behind it, if it exists.
    void UpdateRecordSize();
};

// The base of all records.
class CObjectRecord : public CObjectRecordBase {};

// An array; all elements have one type.
class CObjectArray : public CObjectRecordBase {
public:
    // What an object description tells as the data type of the array.
    std::uint16_t elementType = 0;
};
