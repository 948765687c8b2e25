#include "dictionary/ObjectRecord.h"

#include "dictionary/ItemTable.h"

ObjResult CObjectRecordBase::Init(unsigned short index, unsigned short objectCode, std::int64_t nameId) {
    const ObjResult result = CObject::Init(index, objectCode, nameId);
    AppendItems(*this, {{0, TypeAccess(TYPE_UNSIGNED8, ACCESS_READ), TEXT_ID_COUNT, nullptr, nullptr,
                         ItemValue(std::uint8_t{0})}});
    return result;
}

ObjResult CObjectRecordBase::AppendInfoItem(TInfoItem& item) {
    CSectionLock lock(Section());
    const ObjResult result = CObject::AppendInfoItem(item);
    if (result == OBJ_E_NOERR) {
        UpdateRecordSize();
    }
    return result;
}

ObjResult CObjectRecordBase::RemoveItem(unsigned char subIndex) {
    const ObjResult result = CObject::RemoveItem(subIndex);
    if (result == OBJ_E_NOERR) {
        UpdateRecordSize();
    }
    return result;
}

ObjResult CObjectRecordBase::RemoveAllElements() {
    CSectionLock lock(Section());
    if (Items().size() > 1) {
        Items().resize(1);
    }
    UpdateRecordSize();
    return OBJ_E_NOERR;
}

void CObjectRecordBase::UpdateRecordSize() {
    if (!Items().empty() && Items()[0]->data != nullptr) {
        Items()[0]->data[0] = static_cast<unsigned char>(Items().size() - 1);
    }
}
