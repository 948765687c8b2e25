#include "dictionary/Obj0x8nn0.h"

#include <cstring>

#include "dictionary/ItemTable.h"
#include "dictionary/ObjHelper.h"

namespace {

constexpr unsigned char SUB_ADDRESS = 1;
constexpr unsigned char SUB_TYPE = 2;
constexpr unsigned char SUB_NAME = 3;
constexpr unsigned char SUB_IDENT = 4;

// Low half of every module ident.
constexpr std::uint32_t IDENT_LOW = 0x2710;

} // namespace

ObjResult CObj0x8nn0::Init(unsigned short index, const char* type, const char* name, unsigned short moduleType,
                           std::int64_t nameId) {
    constexpr std::uint32_t number = TypeAccess(TYPE_UNSIGNED32, ACCESS_READ);
    constexpr std::uint32_t text = TypeAccess(TYPE_VISIBLE_STRING, ACCESS_READ);

    CObjectRecord::Init(index, OBJCODE_RECORD, nameId);
    if (type == nullptr || name == nullptr) {
        return OBJ_E_UNEXPECTED;
    }
    const std::uint32_t high = static_cast<std::uint32_t>(moduleType) << 16;
    return AppendItems(*this, {
                                  {SUB_ADDRESS, number, 100, nullptr, nullptr, ItemValue(high | SlotOfIndex(index))},
                                  {SUB_TYPE, text, 101, nullptr, nullptr, type},
                                  {SUB_NAME, text, 102, nullptr, nullptr, name},
                                  {SUB_IDENT, number, 103, nullptr, nullptr, ItemValue(high | IDENT_LOW)},
                              });
}

ObjResult CObj0x8nn0::GetAddress(std::int64_t& address) {
    CSectionLock lock(Section());
    TInfoItem* item = GetItem(SUB_ADDRESS);
    if (item == nullptr || item->data == nullptr || item->size < sizeof(std::uint32_t)) {
        return OBJ_E_UNEXPECTED;
    }
    std::memcpy(&address, item->data, sizeof(std::uint32_t));
    return OBJ_E_NOERR;
}

ObjResult CObj0x8nn0::GetType(std::string& type) {
    return GetText(SUB_TYPE, type);
}

ObjResult CObj0x8nn0::GetName(std::string& name) {
    return GetText(SUB_NAME, name);
}

ObjResult CObj0x8nn0::GetText(unsigned char subIndex, std::string& text) {
    CSectionLock lock(Section());
    TInfoItem* item = GetItem(subIndex);
    return item == nullptr ? OBJ_E_UNEXPECTED : GetStringFromItem(item, text);
}
