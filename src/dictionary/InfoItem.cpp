#include "dictionary/InfoItem.h"

#include <cstring>
#include <utility>

#include "dictionary/ObjHelper.h"

TInfoItem* CInfoItem::Detach() {
    return std::exchange(m_item, nullptr);
}

ObjResult CInfoItem::SetString(char* text, unsigned int length) {
    if (length == 0xFFFFFFFFU) {
        length = static_cast<unsigned int>(std::strlen(text));
    }
    const ObjResult result = AllocateBuffer(m_item, length);
    if (result != OBJ_E_NOERR) {
        return result;
    }
    std::memcpy(m_item->data, text, length);
    return OBJ_E_NOERR;
}

ObjResult CInfoItem::SetStringA(char* text, unsigned int length) {
    return SetString(text, length);
}

ObjResult CInfoItem::SetStringW(wchar_t* /*text*/, unsigned int /*length*/) {
    return OBJ_E_NOERR;
}
