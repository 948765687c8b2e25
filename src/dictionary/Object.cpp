#include "dictionary/Object.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "dictionary/ObjHelper.h"
#include "log/Logger.h"

namespace {

constexpr std::size_t MAX_ITEMS = 255;
// Sub-index 0 of arrays and records reads as a 16-bit value although its item has one byte.
constexpr unsigned int COUNT_LENGTH = 2;

} // namespace

void CObject::CItemDeleter::operator()(TInfoItem* item) const {
    DeallocateBuffer(item);
    delete item;
}

ObjResult CObject::Init(unsigned short index, unsigned int objectCode, std::int64_t nameId) {
    m_index = index;
    m_objectCode = static_cast<unsigned short>(objectCode & 0x0FU);
    m_nameId = nameId;
    return OBJ_E_NOERR;
}

ObjResult CObject::AppendInfoItem(TInfoItem& item) {
    CSectionLock lock(m_section);
    if (m_items.size() >= MAX_ITEMS) {
        return OBJ_E_OUTOFMEMORY;
    }
    CItemPtr copy(new (std::nothrow) TInfoItem(item));
    if (copy == nullptr) {
        return OBJ_E_OUTOFMEMORY;
    }
    copy->data = nullptr;
    copy->size = 0;
    if (item.data != nullptr && item.size != 0) {
        copy->data = new (std::nothrow) unsigned char[item.size];
        if (copy->data == nullptr) {
            return OBJ_E_OUTOFMEMORY;
        }
        std::memcpy(copy->data, item.data, item.size);
        copy->size = item.size;
    }
    m_items.push_back(std::move(copy));
    return OBJ_E_NOERR;
}

ObjResult CObject::RemoveItem(unsigned char subIndex) {
    if (subIndex >= m_items.size()) {
        return OBJ_E_INVALIDIDX;
    }
    m_items.erase(m_items.begin() + subIndex);
    return OBJ_E_NOERR;
}

unsigned int CObject::GetCoutOfInfoItems() {
    CSectionLock lock(m_section);
    return static_cast<unsigned int>(m_items.size());
}

ObjResult CObject::RemoveAllItems() {
    CSectionLock lock(m_section);
    m_items.clear();
    return OBJ_E_NOERR;
}

TInfoItem* CObject::GetItem(unsigned char subIndex) {
    CSectionLock lock(m_section);
    return subIndex < m_items.size() ? m_items[subIndex].get() : nullptr;
}

ObjResult CObject::ReadItem(unsigned char subIndex, void* buffer, unsigned int size, int completeAccess,
                            unsigned int* bytesRead) {
    if (bytesRead != nullptr) {
        *bytesRead = 0;
    }
    if (static_cast<unsigned char>(GetCoutOfInfoItems()) <= subIndex) {
        return OBJ_E_INVALIDIDX;
    }
    if (completeAccess != 0 && (m_objectCode == 1 || m_index < 0x1000 || subIndex > 1)) {
        return OBJ_E_INVALACCESS;
    }

    CSectionLock lock(m_section);
    auto* out = static_cast<unsigned char*>(buffer);
    // The list is looked at anew for each item: a trigger may have refilled it.
    for (std::size_t at = subIndex; at < m_items.size(); ++at) {
        TInfoItem* item = m_items[at].get();
        if ((item->access & ACCESS_READ) == 0) {
            return OBJ_E_INVALACCESS;
        }
        if (item->onRead != nullptr) {
            const ObjResult result = item->onRead(item, m_index, static_cast<unsigned char>(at));
            if (IsError(result)) {
                return result;
            }
        }
        if (item->data == nullptr) {
            return OBJ_E_NODATA;
        }
        const bool isCount = at == 0 && HasCountItem();
        const unsigned int length = isCount ? COUNT_LENGTH : item->size;
        if (isCount && size >= COUNT_LENGTH) {
            std::memset(out, 0, COUNT_LENGTH);
        }
        if (length > size) {
            return OBJ_E_BUFFERTOOSMALL;
        }
        std::memcpy(out, item->data, std::min(item->size, length));
        if (bytesRead != nullptr) {
            *bytesRead += length;
        }
        if (completeAccess == 0) {
            return OBJ_E_NOERR;
        }
        out += length;
        size -= length;
    }
    return OBJ_E_NOERR;
}

ObjResult CObject::WriteItem(unsigned char subIndex, void* data, unsigned int size, int completeAccess) {
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "==>CObject::WriteItem");
    // Meant: looser by one than in ReadItem; the second check catches a sub-index that equals the count.
    if (static_cast<unsigned char>(GetCoutOfInfoItems()) < subIndex) {
        g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "<==CObject::WriteItem, ret = OBJ_E_INVALIDIDX");
        return OBJ_E_INVALIDIDX;
    }
    if (completeAccess != 0) {
        g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "<==CObject::WriteItem, ret = OBJ_E_INVALACCESS");
        return OBJ_E_INVALACCESS;
    }

    CSectionLock lock(m_section);
    TInfoItem* item = GetItem(subIndex);
    if (item == nullptr) {
        g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "<==CObject::WriteItem, ret = OBJ_E_INVALIDIDX");
        return OBJ_E_INVALIDIDX;
    }
    if ((item->access & ACCESS_WRITE) == 0) {
        g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "<==CObject::WriteItem, ret = OBJ_E_INVALACCESS");
        return OBJ_E_INVALACCESS;
    }
    if (item->onWrite != nullptr) {
        g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "CALL write trigger");
        const ObjResult result = item->onWrite(item, m_index, subIndex, data, size);
        g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "DONE write trigger (0x%08x)", result);
        if (IsError(result)) {
            return result;
        }
    }
    const ObjResult result = StoreValue(item, data, size);
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "<==CObject::WriteItem, ret = 0x%08x", result);
    return result;
}

ObjResult CObject::StoreValue(TInfoItem* item, const void* data, unsigned int size) {
    if (item->type == TYPE_VISIBLE_STRING) {
        const ObjResult result = AllocateBuffer(item, size + 1);
        if (result != OBJ_E_NOERR) {
            return result;
        }
        if (size != 0) {
            std::memcpy(item->data, data, size);
        }
        item->data[size] = '\0';
        return OBJ_E_NOERR;
    }
    // A type without a fixed size cannot be written this way: its buffer goes and the code is OBJ_E_INVALIDSIZE.
    const ObjResult result = AllocateBuffer(item, 0);
    if (result != OBJ_E_NOERR) {
        return result;
    }
    if (item->size > size) {
        return OBJ_E_BUFFERTOOSMALL;
    }
    std::memcpy(item->data, data, item->size);
    return OBJ_E_NOERR;
}
