#include <cstring>
#include <vector>

#include "dictionary/ObjDictionary.h"
#include "dictionary/SdoValueInfo.h"
#include "host/DataFiles.h"
#include "log/Logger.h"
#include "platform/StringHelper.h"

namespace {

constexpr const char* STRING_TABLE_FILE = "/usr/local/bin/mdpmessage.xml";

constexpr unsigned int COUNTS_SIZE = 10;
constexpr std::uint64_t NOT_PRESENT = ~std::uint64_t{0};

// Value info flags of a request, and those that are cleared on the way out.
constexpr std::uint16_t INFO_ACCESS = 1;
constexpr std::uint16_t INFO_MAPPING1 = 2;
constexpr std::uint16_t INFO_MAPPING2 = 4;
constexpr std::uint16_t INFO_OUT_MASK = 0xFF87;

constexpr std::uint16_t OBJECT_READABLE = 7;
constexpr std::uint16_t OBJECT_WRITABLE = 56;

// Trace lines tell pointers by their low half.
unsigned int PointerForLog(const void* pointer) {
    return static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(pointer));
}

std::uint16_t ObjectAccess(const TInfoItem& item, std::uint16_t valueInfo) {
    unsigned int access = 0;
    if ((valueInfo & INFO_ACCESS) != 0) {
        access += (item.access & ACCESS_READ) != 0 ? OBJECT_READABLE : 0;
        access += (item.access & ACCESS_WRITE) != 0 ? OBJECT_WRITABLE : 0;
    }
    if ((valueInfo & INFO_MAPPING1) != 0) {
        access |= 1U << 8;
    }
    if ((valueInfo & INFO_MAPPING2) != 0) {
        access |= 1U << 9;
    }
    return static_cast<std::uint16_t>(access);
}

} // namespace

ObjResult CObjDictionary::GetOdList(unsigned short listType, void* buffer, unsigned int* size) {
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "==>CObjDictionary::GetOdList()");
    if (buffer == nullptr || size == nullptr) {
        g_pLogger->LogMsg(LOG_SEVERITY_TRACE,
                          "<==CObjDictionary::GetOdList() return inval arg (pData=0x%08x, pcbData=0x%08x)",
                          PointerForLog(buffer), PointerForLog(size));
        return OBJ_E_INVALIDARG;
    }
    CSharedHold hold(*this);

    std::vector<CRef<CModuleActivator>> activators;
    {
        CSectionLock lock(m_mapSection);
        for (const auto& [slot, activator] : m_activators) {
            activators.push_back(activator);
        }
    }
    for (const auto& activator : activators) {
        activator->Activate();
    }
    StartCleanupTimer();

    std::vector<std::uint16_t> indexes;
    {
        CSectionLock lock(m_mapSection);
        indexes.reserve(m_objects.size());
        for (const auto& [index, object] : m_objects) {
            indexes.push_back(index);
        }
    }

    switch (listType) {
    case 0: {
        if (*size < COUNTS_SIZE) {
            g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "<==CObjDictionary::GetOdList() return INVAL ARG (*pcbData = 0x%08x)",
                              *size);
            return OBJ_E_INVALIDARG;
        }
        const auto count = static_cast<std::uint16_t>(indexes.size());
        const std::uint16_t counts[COUNTS_SIZE / 2] = {count, 0, 0, count, count};
        std::memset(buffer, 0, *size);
        std::memcpy(buffer, counts, sizeof counts);
        g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "<==CObjDictionary::GetOdList() (OBJ_E_NOERR (1))");
        return OBJ_E_NOERR;
    }
    case 1:
    case 4:
    case 5: {
        const unsigned int capacity = *size;
        *size = static_cast<unsigned int>(indexes.size() * sizeof(std::uint16_t));
        if (capacity < *size) {
            g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "<==CObjDictionary::GetOdList() (OBJ_E_BUFFERTOOSMALL)");
            return OBJ_E_BUFFERTOOSMALL;
        }
        std::memcpy(buffer, indexes.data(), *size);
        g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "<==CObjDictionary::GetOdList() (OBJ_E_NOERR) (2)");
        return OBJ_E_NOERR;
    }
    default:
        std::memset(buffer, 0, *size);
        *size = 0;
        g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "<==CObjDictionary::GetOdList() (OBJ_E_NOERR) (3)");
        return OBJ_E_NOERR;
    }
}

ObjResult CObjDictionary::GetObjDescription(unsigned short index, unsigned int language, unsigned char* objectCode,
                                            unsigned short* dataType, unsigned char* itemCount, char* name,
                                            unsigned int* nameLength) {
    CSharedHold hold(*this);
    ActivateModule(SlotOfIndex(index)); // for any index: no range is looked at here
    CRef<CObject> object = GetObjectRef(index);
    if (!object) {
        g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "<==CObjDictionary::GetObjDescription() (ret=OBJ_E_INVALIDIDX)");
        return OBJ_E_INVALIDIDX;
    }
    if (objectCode != nullptr) {
        *objectCode = static_cast<unsigned char>(object->ObjectCode());
    }
    if (dataType != nullptr) {
        *dataType = 0;
        if (object->ObjectCode() == OBJCODE_ARRAY) {
            const auto* array = dynamic_cast<const CObjectArray*>(object.Get());
            *dataType = array != nullptr ? array->elementType : 0;
        } else if (object->ObjectCode() == OBJCODE_VARIABLE) {
            CSectionLock lock(object->Section());
            const TInfoItem* item = object->GetItem(0);
            *dataType = item != nullptr ? item->type : 0;
        }
    }
    if (itemCount != nullptr) {
        *itemCount = static_cast<unsigned char>(object->GetCoutOfInfoItems());
    }
    if (name == nullptr || nameLength == nullptr) {
        return OBJ_E_NOERR;
    }
    const std::string text = FindText(object->NameId(), language);
    const unsigned int capacity = *nameLength;
    *nameLength = static_cast<unsigned int>(text.size());
    std::strncpy(name, text.c_str(), capacity);
    return text.size() > capacity ? OBJ_E_BUFFERTOOSMALL : OBJ_E_NOERR;
}

ObjResult CObjDictionary::GetEntryDescription(unsigned short index, unsigned char subIndex, unsigned int language,
                                              TMdpSDOValueInfo* info) {
    if (info == nullptr) {
        return STATUS_NULL_POINTER;
    }
    if (info->size < sizeof(TMdpSDOValueInfo)) {
        return STATUS_INVALID_ARGUMENT;
    }
    CSharedHold hold(*this);
    ActivateModule(SlotOfIndex(index));
    CRef<CObject> object = GetObjectRef(index);
    if (!object) {
        return OBJ_E_INVALIDIDX;
    }
    std::int64_t nameId = 0;
    {
        CSectionLock lock(object->Section());
        const TInfoItem* item = object->GetItem(subIndex);
        if (item == nullptr) {
            return OBJ_E_INVALIDIDX;
        }
        const bool isCount =
            subIndex == 0 && (object->ObjectCode() == OBJCODE_ARRAY || object->ObjectCode() == OBJCODE_RECORD);
        info->dataType = item->type;
        info->bitLength = isCount ? 16 : static_cast<std::uint16_t>(item->size * 8);
        info->objectAccess = ObjectAccess(*item, info->valueInfo);
        nameId = item->nameId;
    }
    info->offsetUnit = NOT_PRESENT;
    info->offsetDefault = NOT_PRESENT;
    info->offsetMinimum = NOT_PRESENT;
    info->offsetMaximum = NOT_PRESENT;
    info->valueInfo &= INFO_OUT_MASK;
    info->offsetName = sizeof(TMdpSDOValueInfo);

    const std::string text = FindText(nameId, language);
    const std::uint64_t capacity = info->size - sizeof(TMdpSDOValueInfo);
    // A name that is too long is cut without an error.
    std::strncpy(reinterpret_cast<char*>(info) + sizeof(TMdpSDOValueInfo), text.c_str(), capacity);
    info->lengthName = capacity < text.size() ? capacity : text.size();
    return OBJ_E_NOERR;
}

std::string CObjDictionary::FindText(std::int64_t nameId, unsigned int language) {
    CSectionLock lock(m_strings.Section());
    if (m_strings.IsEmpty()) {
        CMdpStringTable::LoadXmlStringTable(CStringHelper::AnsiToWide(Host::FindDataFile(STRING_TABLE_FILE)).c_str(),
                                            &m_strings);
        StartCleanupTimer();
    }
    const char* text = m_strings.GetString(nameId, language);
    return text != nullptr ? text : "";
}
