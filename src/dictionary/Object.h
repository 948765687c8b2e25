#pragma once

#include <memory>
#include <vector>

#include "dictionary/AddRefRelease.h"
#include "dictionary/InfoItem.h"
#include "platform/OsUserCriticalSection.h"

// One index of the dictionary: an ordered list of items, the position being the sub-index. The object owns its items
// and their buffers. Every access to an item, its triggers included, runs under the object's recursive section, so one
// object serves one request at a time.
class CObject : public CAddRefRelease {
public:
    CObject() = default;
    ~CObject() override = default;

    // `objectCode`: OBJCODE_..., of which the low four bits count; `nameId`: text id of the object's name. Returns 0.
    ObjResult Init(unsigned short index, unsigned int objectCode, std::int64_t nameId);

    // Appends a copy of the item and of its buffer; the caller's buffer stays the caller's. OBJ_E_OUTOFMEMORY where 255
    // items are there already or memory is short.
    virtual ObjResult AppendInfoItem(TInfoItem& item);
    // Takes the item out; later items move down by one. OBJ_E_INVALIDIDX where there is none. Takes no lock.
    virtual ObjResult RemoveItem(unsigned char subIndex);
    virtual unsigned int GetCoutOfInfoItems();
    virtual ObjResult RemoveAllItems();
    // Calls the write trigger and then stores the value.
    virtual ObjResult WriteItem(unsigned char subIndex, void* data, unsigned int size, int completeAccess);
    // Calls the read trigger and copies the value, or with complete access all values from `subIndex` on, packed.
    // `*bytesRead`, which may be null, counts what was copied, also where a later item fails.
    virtual ObjResult ReadItem(unsigned char subIndex, void* buffer, unsigned int size, int completeAccess,
                               unsigned int* bytesRead);

    // The item, or null. It stays the object's: use it under Section() only.
    TInfoItem* GetItem(unsigned char subIndex);

    CSection& Section() { return m_section; }

    unsigned short Index() const { return m_index; }

    unsigned int ObjectCode() const { return m_objectCode; }

    std::int64_t NameId() const { return m_nameId; }

    void SetNameId(std::int64_t nameId) { m_nameId = nameId; }

protected:
    struct CItemDeleter {
        void operator()(TInfoItem* item) const;
    };

    using CItemPtr = std::unique_ptr<TInfoItem, CItemDeleter>;

    bool HasCountItem() const { return m_objectCode == OBJCODE_ARRAY || m_objectCode == OBJCODE_RECORD; }

    std::vector<CItemPtr>& Items() { return m_items; }

private:
    ObjResult StoreValue(TInfoItem* item, const void* data, unsigned int size);

    CSection m_section;
    unsigned short m_index = 0;
    unsigned short m_objectCode = 0;
    std::int64_t m_nameId = 0;
    std::vector<CItemPtr> m_items;
};
