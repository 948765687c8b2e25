#include "modules/dskmgmt/ObjectDskMgmt.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <string>

#include "dictionary/ItemTable.h"
#include "dictionary/ModuleObjects.h"
#include "dictionary/ObjHelper.h"
#include "host/MountTable.h"
#include "log/Logger.h"
#include "modules/ObjectsLock.h"

namespace DiskManagement {

namespace {

constexpr unsigned short MODULE_TYPE = 29;
constexpr const char* MODULE_NAME = "DiskManagement";
constexpr std::int64_t TEXT_ID_MODULE = 1270;

constexpr unsigned int PASS_PERIOD_MS = 2000;

constexpr std::uint32_t TEXT = TypeAccess(TYPE_VISIBLE_STRING, ACCESS_READ);
constexpr std::uint32_t TEXT_WRITABLE = TypeAccess(TYPE_VISIBLE_STRING, ACCESS_READ | ACCESS_WRITE);
constexpr std::uint32_t NARROW = TypeAccess(TYPE_UNSIGNED32, ACCESS_READ);
constexpr std::uint32_t WIDE = TypeAccess(TYPE_UNSIGNED64, ACCESS_READ);

constexpr unsigned int PATHS = 1;
constexpr unsigned int FREE_BYTES = 6;

// Array k of the module that `index` belongs to.
constexpr unsigned short ArrayBeside(unsigned short index, unsigned int k) {
    return DataIndex(index & 0xFFF0, k);
}

void GetDiscs(CLogicalDiscs& list) {
    CLogicalDiscEnumerator enumerator;
    enumerator.Init();
    for (CLogicalDisc* pool = nullptr; enumerator.Next(&pool) && pool != nullptr;) {
        auto disc = CRef<CLogicalDisc>::Adopt(pool);
        if (disc->DriveType() != DRIVE_TYPE_UNKNOWN) {
            list.push_back(std::move(disc));
        }
    }
    std::vector<std::string> mountPoints;
    if (Host::GetMountPoints(mountPoints) != 0) {
        return;
    }
    for (const std::string& mountPoint : mountPoints) {
        const CRef<CLogicalDiscMedia> disc(new CLogicalDiscMedia(mountPoint));
        if (disc->IsMediaDevice()) {
            disc->Update(); // one that fails stays in the list, with its path alone
            list.emplace_back(disc.Get());
        }
    }
}

// Read trigger of the free bytes, at the element that has the disc's place.
ObjResult RdFreeSpace(TInfoItem* /*item*/, unsigned short index, unsigned char subIndex) {
    const CDictionaryRef dictionary;
    if (!dictionary) {
        return OBJ_E_UNEXPECTED;
    }
    const CRef<CObject> objects[] = {dictionary->GetObjectRef(ArrayBeside(index, PATHS)),
                                     dictionary->GetObjectRef(ArrayBeside(index, FREE_BYTES))};
    const auto& [paths, freeBytes] = objects;
    if (!paths || !freeBytes) {
        return OBJ_E_UNEXPECTED;
    }
    // The reader holds the second one already: whoever takes both takes it first.
    const CObjectsLock lock(objects);
    std::string path;
    GetStringFromItem(paths->GetItem(subIndex), path);
    CLogicalDiscs discs;
    GetDiscs(discs);
    // Meant: of discs with one path, as pools are, the first answers for all.
    const auto disc =
        std::find_if(discs.begin(), discs.end(), [&path](const auto& known) { return path == known->VolumePath(); });
    TInfoItem* item = freeBytes->GetItem(subIndex);
    if (disc == discs.end() || item == nullptr) {
        return OBJ_E_UNEXPECTED;
    }
    const std::uint64_t bytes = (*disc)->FreeBytes();
    if (const ObjResult result = AllocateBuffer(item, sizeof bytes); result != OBJ_E_NOERR) {
        return result;
    }
    std::memcpy(item->data, &bytes, sizeof bytes);
    return OBJ_E_NOERR;
}

// Meant: a name is offered for writing, but no write is carried out.
ObjResult WrVolumeLabel(TInfoItem* /*item*/, unsigned short /*index*/, unsigned char /*subIndex*/, void* /*data*/,
                        unsigned int /*size*/) {
    return OBJ_E_NOTSUPPORTED;
}

// An array behind the header, and its elements.
struct TArrayRow {
    unsigned int k;
    std::uint32_t typeAccess;
    std::int64_t textId;
    std::int64_t elementTextId;
    TOnRead onRead;
    TOnWrite onWrite;
    std::string (*value)(const CLogicalDisc& disc);
};

const TArrayRow ARRAYS[] = {
    {PATHS, TEXT, 1271, 10220, nullptr, nullptr, [](const CLogicalDisc& disc) { return ItemValue(disc.VolumePath()); }},
    {2, TEXT_WRITABLE, 1272, 10221, nullptr, WrVolumeLabel,
     [](const CLogicalDisc& disc) { return ItemValue(disc.VolumeName()); }},
    {3, TEXT, 1273, 10222, nullptr, nullptr, [](const CLogicalDisc& disc) { return ItemValue(disc.FileSystem()); }},
    {4, NARROW, 1274, 10223, nullptr, nullptr, [](const CLogicalDisc& disc) { return ItemValue(disc.DriveType()); }},
    {5, WIDE, 1275, 10224, nullptr, nullptr, [](const CLogicalDisc& disc) { return ItemValue(disc.TotalBytes()); }},
    // No value until it is read. One text for both sizes: meant.
    {FREE_BYTES, WIDE, 1276, 10224, RdFreeSpace, nullptr, [](const CLogicalDisc&) { return std::string(); }},
};

bool IsSameDisc(const CRef<CLogicalDisc>& left, const CRef<CLogicalDisc>& right) {
    return std::strcmp(left->VolumeName(), right->VolumeName()) == 0 &&
           std::strcmp(left->VolumePath(), right->VolumePath()) == 0 &&
           std::strcmp(left->FileSystem(), right->FileSystem()) == 0 && left->TotalBytes() == right->TotalBytes() &&
           left->DriveType() == right->DriveType();
}

} // namespace

ObjResult Create() {
    CDictionaryRef dictionary;
    if (!dictionary) {
        return OBJ_E_NOERR;
    }
    const unsigned short slot =
        AddModuleHeader(*dictionary.Get(), MODULE_NAME, MODULE_NAME, MODULE_TYPE, TEXT_ID_MODULE);
    const CRef<CObject> header = dictionary->GetObjectRef(slot);
    const CRef<CDiskMgmtActivator> activator(new CDiskMgmtActivator(static_cast<CObj0x8nn0*>(header.Get())));
    dictionary->SetModuleActivator(SlotOfIndex(slot), activator.Get());
    return OBJ_E_NOERR;
}

ObjResult CDiskMgmtActivator::DoActivate() {
    const CDictionaryRef dictionary;
    if (!dictionary) {
        return OBJ_E_UNEXPECTED;
    }
    for (const TArrayRow& row : ARRAYS) {
        const CRef<CObjectArray> array(new CObjectArray);
        array->elementType = static_cast<std::uint16_t>(row.typeAccess & 0xFFFF);
        array->Init(DataIndex(m_header->Index(), row.k), OBJCODE_ARRAY, row.textId);
        dictionary->AddObject(array.Get());
    }
    m_timer.Open();
    {
        const CPassTimer::CPass pass(m_timer);
        UpdateDiscs(1);
    }
    m_timer.Start(PASS_PERIOD_MS, 0);
    return OBJ_E_NOERR;
}

ObjResult CDiskMgmtActivator::DoDeactivate() {
    const CDictionaryRef dictionary;
    const ObjResult result = dictionary ? m_timer.Stop(*dictionary.Get()) : OBJ_E_UNEXPECTED;
    if (IsError(result)) {
        return result;
    }
    m_lastDiscs.clear();
    for (const TArrayRow& row : ARRAYS) {
        dictionary->RemoveObject(DataIndex(m_header->Index(), row.k));
    }
    return OBJ_E_NOERR;
}

void CDiskMgmtActivator::MdpTimerproc(unsigned int /*timerId*/, unsigned int /*parameter*/, void* /*pointer*/) {
    try {
        if (const CPassTimer::CPass pass(m_timer); pass) {
            UpdateDiscs(0);
        }
    } catch (const std::exception& failure) { // memory was short: the next pass tries again
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "DiskManagement: %s", failure.what());
    }
}

void CDiskMgmtActivator::UpdateDiscs(int force) {
    m_discs.clear(); // of a pass that ended early for want of memory
    GetDiscs(m_discs);
    if (GetDiscsChanged() != 0 || force != 0) {
        PrintDiscs();
    }
    m_discs.clear();
}

int CDiskMgmtActivator::GetDiscsChanged() {
    if (std::equal(m_discs.begin(), m_discs.end(), m_lastDiscs.begin(), m_lastDiscs.end(), IsSameDisc)) {
        return 0;
    }
    // What was compared is what is published: a second enumeration could differ from it.
    m_lastDiscs = m_discs;
    return 1;
}

void CDiskMgmtActivator::PrintDiscs() {
    CRef<CObject> objects[std::size(ARRAYS)];
    {
        const CDictionaryRef dictionary;
        if (!dictionary) {
            return;
        }
        for (std::size_t at = 0; at < std::size(ARRAYS); ++at) {
            objects[at] = dictionary->GetObjectRef(DataIndex(m_header->Index(), ARRAYS[at].k));
            if (!objects[at]) {
                return;
            }
        }
    }
    // The free bytes first: their readers hold them when they come for the paths.
    CRef<CObject> order[std::size(ARRAYS)];
    std::rotate_copy(std::begin(objects), std::end(objects) - 1, std::end(objects), order);
    const CObjectsLock lock(order);
    for (const CRef<CObject>& object : objects) {
        static_cast<CObjectArray*>(object.Get())->RemoveAllElements();
    }
    std::stable_sort(m_discs.begin(), m_discs.end(), [](const auto& left, const auto& right) {
        return std::strcmp(left->VolumePath(), right->VolumePath()) < 0;
    });
    for (const CRef<CLogicalDisc>& disc : m_discs) {
        for (std::size_t at = 0; at < std::size(ARRAYS); ++at) {
            const TArrayRow& row = ARRAYS[at];
            const auto position = static_cast<unsigned char>(objects[at]->GetCoutOfInfoItems());
            AppendItems(*objects[at],
                        {{position, row.typeAccess, row.elementTextId, row.onRead, row.onWrite, row.value(*disc)}});
        }
    }
}

} // namespace DiskManagement
