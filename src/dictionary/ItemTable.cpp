#include "dictionary/ItemTable.h"

ObjResult AppendItems(CObject& object, std::span<const TItemRow> rows) {
    for (const TItemRow& row : rows) {
        if (object.GetCoutOfInfoItems() != row.subIndex) {
            return OBJ_E_UNEXPECTED;
        }
        std::string value = row.value;
        TInfoItem item;
        item.type = static_cast<std::uint16_t>(row.typeAccess & 0xFFFFU);
        item.access = static_cast<std::uint16_t>(row.typeAccess >> 16);
        item.onRead = row.onRead;
        item.onWrite = row.onWrite;
        item.size = static_cast<std::uint32_t>(value.size());
        item.data = value.empty() ? nullptr : reinterpret_cast<unsigned char*>(value.data());
        item.context = row.context;
        item.nameId = row.nameId;
        const ObjResult result = object.AppendInfoItem(item);
        if (result != OBJ_E_NOERR) {
            return result;
        }
    }
    return OBJ_E_NOERR;
}
