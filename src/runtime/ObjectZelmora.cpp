#include "runtime/ObjectZelmora.h"

#include <chrono>
#include <cstdio>
#include <cstring>
#include <utility>

#include "dictionary/ItemTable.h"
#include "dictionary/ModuleObjects.h"
#include "dictionary/ObjHelper.h"
#include "platform/CHandle.h"
#include "platform/LittleEndian.h"
#include "platform/OsUserEvent.h"
#include "platform/OsUserThread.h"
#include "runtime/CZelmoraStatusWatch.h"
#include "runtime/ObjectZelmoraRoutes.h"
#include "runtime/ZelmoraRegistry.h"

namespace Zelmora {

namespace {

constexpr unsigned short MODULE_TYPE = 8;
constexpr const char* MODULE_NAME = "Zelmora";
constexpr std::int64_t TEXT_ID_MODULE = 1130;

constexpr std::uint32_t TEXT = TypeAccess(TYPE_VISIBLE_STRING, ACCESS_READ);
constexpr std::uint32_t TEXT_WRITABLE = TypeAccess(TYPE_VISIBLE_STRING, ACCESS_READ | ACCESS_WRITE);
constexpr std::uint32_t FLAG = TypeAccess(TYPE_BOOLEAN, ACCESS_READ);
constexpr std::uint32_t SHORT = TypeAccess(TYPE_UNSIGNED16, ACCESS_READ);
constexpr std::uint32_t SHORT_WRITABLE = TypeAccess(TYPE_UNSIGNED16, ACCESS_READ | ACCESS_WRITE);
constexpr std::uint32_t NUMBER = TypeAccess(TYPE_UNSIGNED32, ACCESS_READ);
constexpr std::uint32_t NUMBER_WRITABLE = TypeAccess(TYPE_UNSIGNED32, ACCESS_READ | ACCESS_WRITE);
constexpr std::uint32_t WIDE = TypeAccess(TYPE_UNSIGNED64, ACCESS_READ);

constexpr unsigned char SUB_VERSION = 1;
constexpr unsigned char SUB_REVISION = 2;
constexpr unsigned char SUB_BUILD = 3;
constexpr unsigned char SUB_NET_ID = 4;

constexpr unsigned char ROUTER_FIGURES = 8;
constexpr unsigned char WIDE_ROUTER_FIGURES = 2; // the first ones
constexpr unsigned char SUB_ROUTER_FLAG = 6;

constexpr unsigned int NET_ID_SIZE = 24;

// Raw strings: "??-" would be taken for a trigraph.
constexpr const char* UNKNOWN_ID_OLD = R"(????-????-???)";
constexpr const char* UNKNOWN_ID = R"(????????-????-????-????-????????????)";
constexpr std::uint8_t GENERATION_3 = 3;

// What all calls of the library together may delay the end of the service.
constexpr std::chrono::milliseconds END_LIMIT{2000};

CSection s_helperSection;
std::shared_ptr<CZelmora> pZmHelper; // under s_helperSection

std::shared_ptr<CZelmora> ExchangeZmHelper(std::shared_ptr<CZelmora> helper) {
    const CSectionLock lock(s_helperSection);
    return std::exchange(pZmHelper, std::move(helper));
}

// The threads that drop something. One that hangs outlives the process' static objects: this is none.
class CDrops {
public:
    static CDrops& Instance() {
        static CDrops& drops = *new CDrops;
        return drops;
    }

    void Begin() {
        const CSectionLock lock(m_section);
        ++m_running;
        OsUserResetEvent(m_none.get());
    }

    void End() {
        const CSectionLock lock(m_section);
        if (--m_running == 0) {
            OsUserSetEvent(m_none.get());
        }
    }

    void Wait(std::uint32_t milliseconds) const { OsUserWaitForSingleObject(m_none.get(), milliseconds); }

private:
    CSection m_section;
    unsigned int m_running = 0; // under m_section
    const CHandle m_none{OsUserCreateEvent(nullptr, 1, 1, nullptr)};
};

template <typename T>
std::uint32_t DropRoutine(void* kept) {
    delete static_cast<T*>(kept);
    CDrops::Instance().End();
    return 0;
}

// Drops what calls the library when it goes, on a thread of its own: the library may hang. Without a thread it is done
// here.
template <typename T>
void DropInBackground(std::unique_ptr<T> kept) {
    CDrops::Instance().Begin();
    T* const pointer = kept.release();
    const CHandle thread(OsUserCreateThread(nullptr, 0, DropRoutine<T>, pointer, 0, nullptr));
    if (thread == nullptr) {
        DropRoutine<T>(pointer);
    }
}

void DropHelper() {
    DropInBackground(std::make_unique<std::shared_ptr<CZelmora>>(ExchangeZmHelper(nullptr)));
}

class CTimeLeft {
public:
    std::uint32_t Milliseconds() const {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(m_end - std::chrono::steady_clock::now());
        return left.count() > 0 ? static_cast<std::uint32_t>(left.count()) : 0;
    }

private:
    std::chrono::steady_clock::time_point m_end = std::chrono::steady_clock::now() + END_LIMIT;
};

std::string SystemIdText() {
    if (mZmVersion.version == 0) {
        return {};
    }
    if (mZmVersion.version < GENERATION_3) {
        return UNKNOWN_ID_OLD;
    }
    std::string id;
    return QuerySysIdZm3(id) != 0 ? id : UNKNOWN_ID;
}

template <typename T>
ObjResult StoreNumber(TInfoItem* item, T number) {
    const ObjResult result = AllocateBuffer(item, 0);
    if (result == OBJ_E_NOERR) {
        std::memset(item->data, 0, item->size);
        StoreLe(item->data, number);
    }
    return result;
}

} // namespace

KorVersion mZmVersion{};

std::shared_ptr<CZelmora> GetZmHelper() {
    const CSectionLock lock(s_helperSection);
    return pZmHelper;
}

ObjResult Create() {
    const CDictionaryRef dictionary;
    if (!dictionary) {
        return OBJ_E_NOERR;
    }
    const unsigned short slot =
        AddModuleHeader(*dictionary.Get(), MODULE_NAME, MODULE_NAME, MODULE_TYPE, TEXT_ID_MODULE);
    const CRef<CZMActivator> activator(new CZMActivator(slot));
    dictionary->SetModuleActivator(SlotOfIndex(slot), activator.Get());

    auto watch = std::make_unique<CZelmoraStatusWatch>();
    watch->LoadDll();
    // Known before its worker registers it: the first event may come at once.
    CZelmoraStatusWatch* const current = watch.release();
    ExchangeZmStatus(current);
    const CHandle worker(InitZmStatusWatchAsync(current));
    return OBJ_E_NOERR;
}

void Destroy() {
    const CTimeLeft left;
    DropHelper();
    std::unique_ptr<CZelmoraStatusWatch> watch(ExchangeZmStatus(nullptr));
    if (watch != nullptr) {
        watch->Shutdown();
        if (!watch->WaitForWorkers(left.Milliseconds()) && watch->LeaveToWorkers()) {
            (void)watch.release(); // the workers'
        } else {
            DropInBackground(std::move(watch));
        }
    }
    // What the sleep of the module has left is among them: no library goes while the process ends.
    CDrops::Instance().Wait(left.Milliseconds());
}

int IsZmInstalled() {
    return 1;
}

int QuerySysIdZm3(std::string& id) {
    const std::shared_ptr<CZelmora> helper = GetZmHelper();
    _GUID guid{};
    if (helper == nullptr || IsError(helper->GetSystemIdZm3(guid))) {
        return 0;
    }
    const unsigned char* bytes = guid.data;
    char text[37];
    std::snprintf(text, sizeof text, "%08X-%04hX-%04hX-%02hhX%02hhX-%02hhX%02hhX%02hhX%02hhX%02hhX%02hhX",
                  LoadLe<std::uint32_t>(bytes), LoadLe<std::uint16_t>(bytes + 4), LoadLe<std::uint16_t>(bytes + 6),
                  bytes[8], bytes[9], bytes[10], bytes[11], bytes[12], bytes[13], bytes[14], bytes[15]);
    id = text;
    return 1;
}

int QuerySysId(std::string& /*id*/) {
    return 0;
}

int QuerySysId(char* /*id*/, unsigned int /*size*/) {
    return 0;
}

ObjResult CZMActivator::DoActivate() {
    std::shared_ptr<CZelmora> helper = GetZmHelper();
    if (helper == nullptr) {
        helper = std::make_shared<CZelmora>();
        helper->LoadDll();
        ExchangeZmHelper(helper);
    }
    if (IsError(helper->GetVersion(&mZmVersion))) {
        mZmVersion = {};
    }
    InitZmRegistryPaths(mZmVersion);

    const CDictionaryRef dictionary;
    if (!dictionary) {
        return OBJ_E_UNEXPECTED;
    }
    CObjDictionary& objects = *dictionary.Get();
    AddModuleObject<CObj0x8nn1>(objects, 1131, DataIndex(m_header, 1));
    AddModuleObject<CObj0x8nn2>(objects, 1132, DataIndex(m_header, 2));
    AddModuleObject<CObj0x8nn3>(objects, 1133, DataIndex(m_header, 3));
    AddModuleObject<CObj0x8nn4>(objects, 1134, DataIndex(m_header, 4));
    AddModuleObject<CObj0x8nn5>(objects, 1135, DataIndex(m_header, 5));
    AddModuleObject<CObj0x8nn6>(objects, 1136, DataIndex(m_header, 6));
    AddModuleObject<CObj0x8nn7>(objects, 1137, DataIndex(m_header, 7));
    AddModuleObject<CObj0x8nn8>(objects, 1138, DataIndex(m_header, 8));
    AddModuleObject<CObj0x8nn9>(objects, 1141, DataIndex(m_header, 9));
    AddModuleObject<CObj0x8nnA>(objects, 1142, DataIndex(m_header, 10));
    AddModuleObject<CObj0xBnn0>(objects, 1139, ServiceIndex(m_header, 0));
    AddModuleObject<CObj0xBnn1>(objects, 1140, ServiceIndex(m_header, 1));
    helper->LoadRoutes(m_header);
    return OBJ_E_NOERR;
}

ObjResult CZMActivator::DoDeactivate() {
    {
        const CDictionaryRef dictionary;
        if (dictionary) {
            // Meant: 0x8nnA stays.
            for (unsigned int k = 1; k <= 9; ++k) {
                dictionary->RemoveObject(DataIndex(m_header, k));
            }
            dictionary->RemoveObject(ServiceIndex(m_header, 0));
            dictionary->RemoveObject(ServiceIndex(m_header, 1));
        }
    }
    // The dictionary is held by this thread alone: nobody waits for the library here.
    DropHelper();
    return OBJ_E_NOERR;
}

ObjResult CObj0x8nn1::Init(unsigned short index) {
    const ObjResult result = CObjectRecord::Init(index, OBJCODE_RECORD, 0);
    AppendItems(*this, {
                           {1, SHORT, 10030, RdZmVersion},
                           {2, SHORT, 10031, RdZmVersion},
                           {3, SHORT, 10032, RdZmVersion},
                           {4, TEXT_WRITABLE, 10033, RdNetId, WrNetId},
                           {5, NUMBER, 10034, RdNotSupported},
                           {6, SHORT, 10035, RdZmState},
                           {7, SHORT_WRITABLE, 10036, RdNotSupported, WrNotSupported},
                           {8, SHORT_WRITABLE, 10037, RdNotSupported, WrNotSupported},
                           {9, NUMBER_WRITABLE, 10038, RdNotSupported, WrNotSupported},
                           {10, TEXT_WRITABLE, 10039, RdNotSupported, WrNotSupported},
                           {11, TEXT, 20040, nullptr, nullptr, SystemIdText()},
                           {12, SHORT, 20041, RdZmRevision},
                           {13, WIDE, 20052, RdZmStateChange},
                       });
    return result;
}

ObjResult CObj0x8nn1::WriteItem(unsigned char subIndex, void* data, unsigned int size, int completeAccess) {
    const CSectionLock lock(Section());
    TInfoItem* item = subIndex == SUB_NET_ID ? GetItem(subIndex) : nullptr;
    if (item == nullptr) {
        return CObjectRecord::WriteItem(subIndex, data, size, completeAccess);
    }
    unsigned char* const keptData = std::exchange(item->data, nullptr);
    const std::uint32_t keptSize = std::exchange(item->size, 0);
    const ObjResult result = CObjectRecord::WriteItem(subIndex, data, size, completeAccess);
    DeallocateBuffer(item);
    item->data = keptData;
    item->size = keptSize;
    return result;
}

ObjResult CObj0x8nn1::RdZmVersion(TInfoItem* item, unsigned short /*index*/, unsigned char subIndex) {
    if (item->data != nullptr) {
        return OBJ_E_NOERR;
    }
    const std::shared_ptr<CZelmora> helper = GetZmHelper();
    if (helper == nullptr) {
        return OBJ_E_UNEXPECTED;
    }
    KorVersion version{};
    const ObjResult result = helper->GetVersion(&version);
    if (IsError(result)) {
        return result;
    }
    switch (subIndex) {
    case SUB_VERSION:
        return StoreNumber<std::uint16_t>(item, version.version);
    case SUB_REVISION:
        return StoreNumber<std::uint16_t>(item, version.revision);
    case SUB_BUILD:
        return StoreNumber(item, version.build);
    default:
        return OBJ_E_UNEXPECTED;
    }
}

ObjResult CObj0x8nn1::RdNetId(TInfoItem* item, unsigned short /*index*/, unsigned char /*subIndex*/) {
    if (item->data != nullptr) {
        return OBJ_E_NOERR;
    }
    const std::shared_ptr<CZelmora> helper = GetZmHelper();
    if (helper == nullptr) {
        return OBJ_E_UNEXPECTED;
    }
    char text[NET_ID_SIZE] = {};
    ObjResult result = helper->GetNetId(text, sizeof text);
    if (result == OBJ_E_NOERR) {
        result = AllocateBuffer(item, sizeof text);
    }
    if (result == OBJ_E_NOERR) {
        std::memcpy(item->data, text, sizeof text);
    }
    return result;
}

ObjResult CObj0x8nn1::RdZmRevision(TInfoItem* item, unsigned short /*index*/, unsigned char /*subIndex*/) {
    if (item->data != nullptr) {
        return OBJ_E_NOERR;
    }
    const std::shared_ptr<CZelmora> helper = GetZmHelper();
    if (helper == nullptr) {
        return OBJ_E_UNEXPECTED;
    }
    _tagZmFullVersion version{};
    const ObjResult result = helper->GetZmFullVersion(&version);
    return result == OBJ_E_NOERR ? StoreNumber(item, version.revision) : result;
}

ObjResult CObj0x8nn1::RdZmState(TInfoItem* item, unsigned short /*index*/, unsigned char /*subIndex*/) {
    const std::shared_ptr<CZelmora> helper = GetZmHelper();
    if (helper == nullptr) {
        return OBJ_E_UNEXPECTED;
    }
    std::uint16_t state = 0;
    const ObjResult result = helper->GetSystemState(state);
    if (IsError(result)) {
        return result;
    }
    // A positive error of the library counts as success, with the state 0.
    const ObjResult stored = StoreNumber(item, state);
    return IsError(stored) ? stored : result;
}

ObjResult CObj0x8nn1::RdZmStateChange(TInfoItem* item, unsigned short /*index*/, unsigned char /*subIndex*/) {
    if (pZmStatus == nullptr) {
        return OBJ_E_NOTSUPPORTED;
    }
    unsigned long seconds = 0;
    const ObjResult result = CZelmoraStatusWatch::GetLastZelmoraStatusChange(seconds);
    return result == OBJ_E_NOERR ? StoreNumber<std::uint64_t>(item, seconds) : result;
}

ObjResult CObj0x8nn1::WrNetId(TInfoItem* /*item*/, unsigned short /*index*/, unsigned char /*subIndex*/, void* data,
                              unsigned int size) {
    const std::shared_ptr<CZelmora> helper = GetZmHelper();
    return helper == nullptr ? OBJ_E_UNEXPECTED : helper->SetNetId(static_cast<const char*>(data), size);
}

ObjResult CObj0x8nn8::Init(unsigned short index) {
    const ObjResult result = CObject::Init(index, 0, 0);
    AppendItems(*this, {{0, TEXT, 1138, RdNotSupported}});
    return result;
}

ObjResult CObj0x8nn9::Init(unsigned short index) {
    const ObjResult result = CObjectRecord::Init(index, OBJCODE_RECORD, 0);
    AppendItems(*this, {
                           {1, WIDE, 20042, RdRouterInfo},
                           {2, WIDE, 20043, RdRouterInfo},
                           {3, NUMBER, 20044, RdRouterInfo},
                           {4, NUMBER, 20045, RdRouterInfo},
                           {5, NUMBER, 20046, RdRouterInfo},
                           {6, FLAG, 20047, RdRouterInfo},
                           {7, NUMBER, 20048, RdRouterInfo},
                           {8, NUMBER, 20049, RdRouterInfo},
                       });
    return result;
}

ObjResult CObj0x8nn9::RdRouterInfo(TInfoItem* item, unsigned short /*index*/, unsigned char subIndex) {
    const std::shared_ptr<CZelmora> helper = GetZmHelper();
    if (helper == nullptr || subIndex < 1 || subIndex > ROUTER_FIGURES) {
        return OBJ_E_UNEXPECTED;
    }
    RouterStatusInfo info{};
    const ObjResult result = helper->GetRouterStateInfo(info);
    if (IsError(result)) {
        return result;
    }
    const std::uint32_t figure = info.figures[subIndex - 1];
    if (subIndex <= WIDE_ROUTER_FIGURES) {
        return StoreNumber<std::uint64_t>(item, figure);
    }
    return subIndex == SUB_ROUTER_FLAG ? StoreNumber<std::uint8_t>(item, figure == 1 ? 1 : 0)
                                       : StoreNumber(item, figure);
}

ObjResult CObj0x8nnA::Init(unsigned short index) {
    const ObjResult result = CObjectRecord::Init(index, OBJCODE_RECORD, 0);
    AppendItems(*this, {{1, WIDE, 20050, RdNotSupported}, {2, WIDE, 20051, RdNotSupported}});
    return result;
}

} // namespace Zelmora
