#include "modules/ItemValues.h"

#include <algorithm>
#include <cstring>

#include "dictionary/ObjHelper.h"

void StoreItemValue(CObject& object, unsigned char subIndex, std::uint32_t number) {
    CSectionLock lock(object.Section());
    TInfoItem* item = object.GetItem(subIndex);
    if (item != nullptr && AllocateBuffer(item, 0) == OBJ_E_NOERR) {
        std::memcpy(item->data, &number, std::min<std::size_t>(item->size, sizeof number));
    }
}

void RemoveItemValue(CObject& object, unsigned char subIndex) {
    CSectionLock lock(object.Section());
    DeallocateBuffer(object.GetItem(subIndex));
}

unsigned short HeaderIndexOf(CObj0x8nn0& header) {
    std::int64_t address = 0;
    header.GetAddress(address);
    return static_cast<unsigned short>(0x8000U | (static_cast<unsigned int>(address) & 0xFFU) << 4);
}

std::string ItemValueLow16(std::uint32_t number) {
    return ItemValue(static_cast<std::uint16_t>(number));
}
