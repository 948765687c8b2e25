#include "modules/time/ObjectTime_BSD.h"

#include <cstdlib>

#include "dictionary/ItemTable.h"
#include "dictionary/ModuleObjects.h"
#include "dictionary/ObjHelper.h"

namespace Time {

namespace {

constexpr unsigned short MODULE_TYPE = 3;
constexpr const char* MODULE_NAME = "Time";
constexpr std::int64_t TEXT_ID_MODULE = 1120;
constexpr std::int64_t TEXT_ID_SETTINGS = 1121;
constexpr std::int64_t TEXT_ID_ZONES = 1122;
constexpr std::int64_t TEXT_ID_FURTHER_ZONES = 1123;
constexpr std::int64_t TEXT_ID_ZONE = 10026;

constexpr unsigned int SETTINGS = 1;
constexpr unsigned int ZONES = 2;
constexpr unsigned int FURTHER_ZONES = 3;

// An array's items but the count.
constexpr std::size_t ZONES_PER_ARRAY = 254;

constexpr std::uint16_t WRITABLE = ACCESS_READ | ACCESS_WRITE;
constexpr std::uint32_t TEXT = TypeAccess(TYPE_VISIBLE_STRING, WRITABLE);
constexpr std::uint32_t NUMBER = TypeAccess(TYPE_UNSIGNED32, WRITABLE);
constexpr std::uint32_t SHORT_NUMBER = TypeAccess(TYPE_UNSIGNED16, WRITABLE);
constexpr std::uint32_t SIGNED_NUMBER = TypeAccess(TYPE_INTEGER32, WRITABLE);

// Appends the zones from `first` on until the array is full.
void AppendZones(CObjectArray& array, std::size_t first) {
    for (std::size_t zone = first; zone < CObj0x8nn1::m_arrTimezones.size(); ++zone) {
        std::string name = CObj0x8nn1::m_arrTimezones[zone];
        TInfoItem item;
        item.type = TYPE_VISIBLE_STRING;
        item.access = ACCESS_READ;
        item.size = static_cast<std::uint32_t>(name.size());
        item.data = reinterpret_cast<unsigned char*>(name.data());
        item.nameId = TEXT_ID_ZONE;
        if (array.AppendInfoItem(item) == OBJ_E_OUTOFMEMORY) {
            return;
        }
    }
}

ObjResult InitZones(CObjectArray& array, unsigned short index, std::size_t first) {
    const ObjResult result = array.Init(index, static_cast<unsigned short>(OBJCODE_ARRAY), 0);
    array.elementType = TYPE_VISIBLE_STRING;
    AppendZones(array, first);
    return result;
}

// Makes room for the variable that the zone is kept in while nobody else looks at the environment: later it changes in
// place under the eyes of other threads.
void MakeRoomForZoneVariable() {
    if (std::getenv("TZ") == nullptr) {
        setenv("TZ", "UTC", 1);
        unsetenv("TZ");
    }
}

} // namespace

ObjResult Create() {
    MakeRoomForZoneVariable();
    CDictionaryRef dictionary;
    if (!dictionary) {
        return OBJ_E_NOERR;
    }
    const unsigned short header =
        AddModuleHeader(*dictionary.Get(), MODULE_NAME, MODULE_NAME, MODULE_TYPE, TEXT_ID_MODULE);
    const CRef<CTimeActivator> activator(new CTimeActivator(header));
    dictionary->SetModuleActivator(SlotOfIndex(header), activator.Get());
    return OBJ_E_NOERR;
}

ObjResult CTimeActivator::DoActivate() {
    const CDictionaryRef dictionary;
    if (!dictionary) {
        return OBJ_E_UNEXPECTED;
    }
    CObj0x8nn1::LoadTimezones();
    AddModuleObject<CObj0x8nn1>(*dictionary.Get(), TEXT_ID_SETTINGS, DataIndex(m_header, SETTINGS));
    AddModuleObject<CObj0x8nn2>(*dictionary.Get(), TEXT_ID_ZONES, DataIndex(m_header, ZONES));
    AddModuleObject<CObj0x8nn3>(*dictionary.Get(), TEXT_ID_FURTHER_ZONES, DataIndex(m_header, FURTHER_ZONES));
    return OBJ_E_NOERR;
}

ObjResult CTimeActivator::DoDeactivate() {
    const CDictionaryRef dictionary;
    if (!dictionary) {
        return OBJ_E_UNEXPECTED;
    }
    for (const unsigned int k : {SETTINGS, ZONES, FURTHER_ZONES}) {
        dictionary->RemoveObject(DataIndex(m_header, k));
    }
    CObj0x8nn1::FreeTimeZoneInfo();
    return OBJ_E_NOERR;
}

ObjResult CObj0x8nn1::Init(unsigned short index) {
    const ObjResult result = CObjectRecord::Init(index, OBJCODE_RECORD, 0);
    AppendItems(*this, {
                           {1, TEXT, 10020, ReadNTPServer, WriteNTPServer},
                           {2, NUMBER, 10021, ReadNTPRefresh, WriteNTPRefresh},
                           {3, NUMBER, 10023, ReadTimeUtc, WriteTimeUtc},
                           {4, TEXT, 10022, ReadTimeFormat, WriteTimeFormat},
                           {5, SHORT_NUMBER, 10024, ReadTZ, WriteTZ},
                           {6, SIGNED_NUMBER, 10025, RdNotSupported, WrNotSupported},
                           {7, NUMBER, 10027, ReadTimeLocal, WrNotSupported},
                       });
    return result;
}

ObjResult CObj0x8nn2::Init(unsigned short index) {
    return InitZones(*this, index, 0);
}

ObjResult CObj0x8nn3::Init(unsigned short index) {
    return InitZones(*this, index, ZONES_PER_ARRAY);
}

} // namespace Time
