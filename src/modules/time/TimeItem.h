#pragma once

#include "dictionary/ObjHelper.h"
#include "platform/LittleEndian.h"

namespace Time {

// Makes the number the item's value: 0, or the error of AllocateBuffer.
template <typename T>
ObjResult SetNumber(TInfoItem* item, T number) {
    const ObjResult result = AllocateBuffer(item, sizeof number);
    if (result == OBJ_E_NOERR) {
        StoreLe(item->data, number);
    }
    return result;
}

} // namespace Time
