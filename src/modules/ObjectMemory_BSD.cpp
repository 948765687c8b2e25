#include "modules/ObjectMemory_BSD.h"

#include <cstring>
#include <limits>

#include "dictionary/ItemTable.h"
#include "dictionary/ModuleObjects.h"
#include "dictionary/ObjHelper.h"
#include "host/KernelCounters.h"
#include "log/Logger.h"

namespace Memory {

namespace {

constexpr unsigned short MODULE_TYPE = 12;
constexpr const char* MODULE_NAME = "Memory";
constexpr std::int64_t TEXT_ID_MODULE = 1050;
constexpr std::int64_t TEXT_ID_RECORD = 1051;

constexpr std::uint32_t NARROW = TypeAccess(TYPE_UNSIGNED32, ACCESS_READ);
constexpr std::uint32_t NARROW_WRITABLE = TypeAccess(TYPE_UNSIGNED32, ACCESS_READ | ACCESS_WRITE);
constexpr std::uint32_t WIDE = TypeAccess(TYPE_UNSIGNED64, ACCESS_READ);

constexpr std::uint32_t TOO_MUCH = 0xFFFFFFFF;

struct TPageCounter {
    const char* name;
    std::uint32_t* value;
};

constexpr TPageCounter PAGE_COUNTERS[] = {
    {"vm.stats.vm.v_page_size", &CObj0x8nn1::v_page_size},
    {"vm.stats.vm.v_active_count", &CObj0x8nn1::v_active_count},
    {"vm.stats.vm.v_wire_count", &CObj0x8nn1::v_wire_count},
    {"vm.stats.vm.v_free_count", &CObj0x8nn1::v_free_count},
    {"vm.stats.vm.v_inactive_count", &CObj0x8nn1::v_inactive_count},
    {"vm.stats.vm.v_cache_count", &CObj0x8nn1::v_cache_count},
};

// The figure after a new calculation, into the item's buffer.
template <typename T>
ObjResult ReadFigure(TInfoItem* item, const T& figure) {
    if (item->size < sizeof figure) {
        return OBJ_E_INVALACCESS;
    }
    CObj0x8nn1::UpdateAll();
    std::memcpy(item->data, &figure, sizeof figure);
    return OBJ_E_NOERR;
}

} // namespace

std::uint32_t CObj0x8nn1::v_page_size = 0;
std::uint32_t CObj0x8nn1::v_active_count = 0;
std::uint32_t CObj0x8nn1::v_wire_count = 0;
std::uint32_t CObj0x8nn1::v_free_count = 0;
std::uint32_t CObj0x8nn1::v_inactive_count = 0;
std::uint32_t CObj0x8nn1::v_cache_count = 0;
std::uint32_t CObj0x8nn1::ui32Total = 0;
std::uint32_t CObj0x8nn1::ui32Available = 0;
std::uint64_t CObj0x8nn1::ui64Total = 0;
std::uint64_t CObj0x8nn1::ui64Available = 0;

ObjResult Create() {
    CDictionaryRef dictionary;
    if (!dictionary) {
        return OBJ_E_NOERR;
    }
    const unsigned short slot =
        AddModuleHeader(*dictionary.Get(), MODULE_NAME, MODULE_NAME, MODULE_TYPE, TEXT_ID_MODULE);
    AddModuleObject<CObj0x8nn1>(*dictionary.Get(), TEXT_ID_RECORD, DataIndex(slot, 1));
    return OBJ_E_NOERR;
}

ObjResult CObj0x8nn1::Init(unsigned short index) {
    const ObjResult result = CObjectRecord::Init(index, OBJCODE_RECORD, 0);
    UpdateAll();
    if (ui32Total == TOO_MUCH) {
        AppendItems(*this, {
                               {1, NARROW, 10004, RdNotSupported, WrNotSupported},
                               {2, NARROW, 10005, RdNotSupported, WrNotSupported},
                           });
    } else {
        AppendItems(*this, {
                               {1, NARROW, 10004, nullptr, nullptr, ItemValue(ui32Total)},
                               {2, NARROW, 10005, RdMemAvail, nullptr, ItemValue(ui32Available)},
                           });
    }
    AppendItems(*this, {
                           {3, NARROW, 10006, RdNotSupported, WrNotSupported},
                           {4, NARROW, 10007, RdNotSupported, WrNotSupported},
                           {5, NARROW_WRITABLE, 10070, RdNotSupported, WrNotSupported},
                           {6, WIDE, 10004, nullptr, nullptr, ItemValue(ui64Total)},
                           {7, WIDE, 10005, RdMemAvailEx, nullptr, ItemValue(ui64Available)},
                       });
    return result;
}

void CObj0x8nn1::UpdateAll() {
    if (UpdateVmStats() != 0) {
        return;
    }
    // The ZFS file cache counts as available, not as wired. All counts are of 32 bits and wrap.
    const std::uint32_t arcPages = GetZfsArcSizeCount();
    v_wire_count -= arcPages;
    v_cache_count += arcPages;

    const std::uint32_t availablePages = v_cache_count + v_free_count + v_inactive_count;
    const std::uint32_t allPages = v_wire_count + availablePages + v_active_count;
    ui64Total = std::uint64_t{allPages} * v_page_size;
    ui64Available = std::uint64_t{availablePages} * v_page_size;
    const bool fits = ui64Total < TOO_MUCH;
    ui32Total = fits ? static_cast<std::uint32_t>(ui64Total) : TOO_MUCH;
    ui32Available = fits ? static_cast<std::uint32_t>(ui64Available) : TOO_MUCH;
}

ObjResult CObj0x8nn1::RdMemAvail(TInfoItem* item, unsigned short /*index*/, unsigned char /*subIndex*/) {
    return ReadFigure(item, ui32Available);
}

ObjResult CObj0x8nn1::RdMemAvailEx(TInfoItem* item, unsigned short /*index*/, unsigned char /*subIndex*/) {
    return ReadFigure(item, ui64Available);
}

int CObj0x8nn1::UpdateVmStats() {
    const Host::CKernelCounters counters;
    for (const TPageCounter& counter : PAGE_COUNTERS) {
        const int status = counters.Read(counter.name, *counter.value);
        if (status != 0) {
            g_pLogger->LogMsg(LOG_SEVERITY_ERROR, "Could not read %s: %d", counter.name, status);
            return status;
        }
    }
    return 0;
}

std::uint32_t CObj0x8nn1::GetZfsArcSizeCount() {
    std::uint64_t bytes = 0;
    if (Host::CKernelCounters().Read("kstat.zfs.misc.arcstats.size", bytes) != 0 || v_page_size == 0) {
        return 0;
    }
    const std::uint64_t pages = bytes / v_page_size;
    return pages <= std::numeric_limits<std::uint32_t>::max() ? static_cast<std::uint32_t>(pages) : 0;
}

} // namespace Memory
