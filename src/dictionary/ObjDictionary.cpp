#include "dictionary/ObjDictionary.h"

#include <sched.h>

#include <cstring>
#include <exception>

#include "dictionary/ItemTable.h"
#include "dictionary/ObjHelper.h"
#include "log/Logger.h"
#include "platform/OsUserEvent.h"
#include "platform/OsUserHandle.h"
#include "platform/OsUserThread.h"

namespace {

constexpr unsigned short FIRST_HEADER = 0x8000;
constexpr unsigned short HEADER_DISTANCE = 0x10;

// Modules sleep and wake only for requests in this range.
constexpr unsigned short FIRST_MODULE_INDEX = 0x2000;
constexpr unsigned short LAST_MODULE_INDEX = 0xEFFF;

constexpr unsigned short LIST_PROFILE = 0xF000;
constexpr unsigned short LIST_IDENTS = 0xF010;
constexpr unsigned short LIST_ADDRESSES = 0xF020;
constexpr unsigned short LIST_TYPES = 0xF030;
constexpr unsigned short LIST_TYPES2 = 0xF050;
constexpr unsigned short LIST_NAMES = 0xF060;

constexpr std::uint32_t CLEANUP_SHORTEST_PAUSE_MS = 50;
constexpr std::uint32_t CLEANUP_STOP_WAIT_MS = 10000;
constexpr std::uint32_t THREAD_CREATE_SUSPENDED = 4;

std::atomic<CObjDictionary*> g_pDict{nullptr};
std::atomic<std::uint32_t> nRef{0};
std::atomic<_OsUserHandle*> g_hEventFinalReleaseDone{nullptr}; // made by the first constructor run and then kept

// Serialises the first and the last use; every other use only counts. Never destroyed: a thread that no stop waits for
// may still come here.
CSection& LifeSection() {
    static auto* section = new CSection;
    return *section;
}

// The dictionary that this thread ends or cleans up. The modules that it puts to sleep find it also while it ends, and
// their uses are not counted: the end waits for this thread, which so must never be the one to bring it about.
thread_local CObjDictionary* t_own = nullptr;

// Counts one more use if there is one already.
bool AddUse() {
    std::uint32_t uses = nRef.load();
    while (uses != 0) {
        const std::uint32_t seen = InterlockedCompareExchange(&nRef, uses + 1, uses);
        if (seen == uses) {
            return true;
        }
        uses = seen;
    }
    return false;
}

// Counts one use less unless it is the last.
bool DropUse() {
    std::uint32_t uses = nRef.load();
    while (uses > 1) {
        const std::uint32_t seen = InterlockedCompareExchange(&nRef, uses - 1, uses);
        if (seen == uses) {
            return true;
        }
        uses = seen;
    }
    return false;
}

} // namespace

CObjDictionary* CObjDictionary::QueryDictionary() {
    if (t_own != nullptr) {
        return t_own;
    }
    if (AddUse()) {
        return g_pDict.load();
    }
    {
        CSectionLock lock(LifeSection());
        if (AddUse()) {
            return g_pDict.load();
        }
        if (_OsUserHandle* done = g_hEventFinalReleaseDone.load(); done != nullptr) {
            OsUserResetEvent(done);
        }
        InterlockedIncrement(&nRef);
    }
    auto* dictionary = new CObjDictionary;
    g_pDict.store(dictionary);
    return dictionary;
}

void CObjDictionary::ReleaseDictionary(void* /*dictionary*/) {
    if (t_own != nullptr || DropUse()) {
        return;
    }
    CObjDictionary* ending = nullptr;
    {
        CSectionLock lock(LifeSection());
        if (DropUse()) {
            return;
        }
        // The last use is kept until the end: whoever comes meanwhile finds no dictionary and makes none.
        ending = g_pDict.exchange(nullptr);
    }
    t_own = ending;
    delete ending;
    t_own = nullptr;

    CSectionLock lock(LifeSection());
    if (InterlockedDecrement(&nRef) == 0) {
        if (_OsUserHandle* done = g_hEventFinalReleaseDone.load(); done != nullptr) {
            OsUserSetEvent(done);
        }
    }
}

bool CObjDictionary::WaitForFinalRelease(unsigned int milliseconds) {
    _OsUserHandle* done = g_hEventFinalReleaseDone.load();
    return done != nullptr && OsUserWaitForSingleObject(done, milliseconds) == OSUSER_WAIT_OBJECT_0;
}

CObjDictionary::CObjDictionary() {
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "==> *CObjDictionary::CObjDictionary()");
    if (g_hEventFinalReleaseDone.load() == nullptr) {
        g_hEventFinalReleaseDone.store(OsUserCreateEvent(nullptr, 1, 0, nullptr));
    }
    m_cleanupEvent.reset(OsUserCreateEvent(nullptr, 1, 0, nullptr));
    m_stopEvent.reset(OsUserCreateEvent(nullptr, 1, 0, nullptr));
    m_cleanupThread.reset(OsUserCreateThread(nullptr, 0, CleanupRoutine, this, THREAD_CREATE_SUSPENDED, nullptr));
    {
        CExclusiveHold hold(*this);
        m_nextHeader = FIRST_HEADER;
        AddListObjects();
    }
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "<== *CObjDictionary::CObjDictionary()");
}

CObjDictionary::~CObjDictionary() {
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "==> ~CObjDictionary::CObjDictionary()");
    m_stopping = true;
    OsUserSetEvent(m_stopEvent.get());
    OsUserSetEvent(m_cleanupEvent.get());
    if (m_cleanupThread) {
        OsUserThreadResume(m_cleanupThread.get());
        // A pass that is held up by a module still uses the dictionary: it is waited for again. So it is after a
        // wake-up without a cause.
        do {
            OsUserWaitForSingleObject(m_cleanupThread.get(), CLEANUP_STOP_WAIT_MS);
        } while (!m_cleanupEnded);
        m_cleanupThread.reset();
    }
    {
        CExclusiveHold hold(*this);
        OsUserResetEvent(m_cleanupEvent.get());
        for (auto& [slot, activator] : m_activators) {
            activator->Deactivate();
            activator.Reset();
        }
        m_activators.clear();
        // One by one: the map's own way of clearing itself keeps no order.
        for (auto& [index, object] : m_objects) {
            object.Reset();
        }
        m_objects.clear();
    }
    m_cleanupEvent.reset();
    m_stopEvent.reset();
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "<== ~CObjDictionary::CObjDictionary()");
}

void CObjDictionary::AddListObjects() {
    for (const unsigned short index :
         {LIST_IDENTS, LIST_ADDRESSES, LIST_TYPES, LIST_TYPES2, LIST_NAMES, LIST_PROFILE}) {
        auto* list = new CObjectArray;
        list->Init(index, OBJCODE_ARRAY, 0);
        list->elementType = index; // meant: the lists tell their own index as the type of their elements
        if (index == LIST_PROFILE) {
            constexpr std::uint32_t number = TypeAccess(TYPE_UNSIGNED32, ACCESS_READ);
            AppendItems(*list, {
                                   {1, number, 170, nullptr, nullptr, ItemValue(std::uint32_t{HEADER_DISTANCE})},
                                   {2, number, 171, nullptr, nullptr, ItemValue(std::uint32_t{255})},
                                   {3, number, 0, nullptr, nullptr, ItemValue(std::uint32_t{0})},
                                   {4, number, 0, nullptr, nullptr, ItemValue(std::uint32_t{15})},
                               });
        }
        AddObject(list);
    }
}

ObjResult CObjDictionary::AddObject(CObject* object) {
    CSharedHold hold(*this);
    CSectionLock lock(m_mapSection);
    // A taken index must not cost the object its life: the count is raised only for what is inserted.
    if (m_objects.contains(object->Index())) {
        return OBJ_E_INVALIDIDX;
    }
    m_objects.emplace(object->Index(), CRef<CObject>(object));
    return OBJ_E_NOERR;
}

CObject* CObjDictionary::GetObject(unsigned short index) {
    CSharedHold hold(*this);
    CSectionLock lock(m_mapSection);
    const auto found = m_objects.find(index);
    if (found == m_objects.end()) {
        return nullptr;
    }
    InterlockedIncrement(&found->second->m_refCount);
    return found->second.Get();
}

ObjResult CObjDictionary::RemoveObject(unsigned short index) {
    CRef<CObject> removed;
    {
        CExclusiveHold hold(*this);
        CSectionLock lock(m_mapSection);
        const auto found = m_objects.find(index);
        if (found == m_objects.end()) {
            return OBJ_E_INVALIDIDX;
        }
        removed = std::move(found->second);
        m_objects.erase(found);
    }
    return OBJ_E_NOERR;
}

ObjResult CObjDictionary::ReadObject(unsigned short index, unsigned char subIndex, void* buffer, unsigned int size,
                                     int completeAccess, unsigned int* bytesRead) {
    if (bytesRead != nullptr) {
        *bytesRead = 0;
    }
    CSharedHold hold(*this);
    if (index >= FIRST_MODULE_INDEX && index <= LAST_MODULE_INDEX) {
        ActivateModule(SlotOfIndex(index));
    }
    CRef<CObject> object = GetObjectRef(index);
    if (!object) {
        return OBJ_E_INVALIDIDX;
    }
    CSectionLock lock(object->Section());
    return object->ReadItem(subIndex, buffer, size, completeAccess, bytesRead);
}

ObjResult CObjDictionary::WriteObject(unsigned short index, unsigned char subIndex, void* data, unsigned int size,
                                      int completeAccess) {
    CSharedHold hold(*this);
    if (index >= FIRST_MODULE_INDEX && index <= LAST_MODULE_INDEX) {
        ActivateModule(SlotOfIndex(index));
    }
    CRef<CObject> object = GetObjectRef(index);
    if (!object) {
        return OBJ_E_INVALIDIDX;
    }
    CSectionLock lock(object->Section());
    return object->WriteItem(subIndex, data, size, completeAccess);
}

unsigned short CObjDictionary::GetNextFree0x8nn0Slot() {
    return m_nextHeader;
}

void CObjDictionary::AppendToList(unsigned short list, TInfoItem& item, bool& missing) {
    CRef<CObject> object = GetObjectRef(list);
    if (!object) {
        missing = true;
        return;
    }
    object->AppendInfoItem(item);
}

ObjResult CObjDictionary::RegisterObject(CObj0x8nn0* header) {
    // The slot is claimed here and nowhere else, before anything can fail. Past 256 headers the indexes run on.
    m_nextHeader = static_cast<unsigned short>(m_nextHeader + HEADER_DISTANCE);

    std::uint32_t number = 0;
    TInfoItem item;
    item.type = TYPE_UNSIGNED32;
    item.access = ACCESS_READ;
    item.size = sizeof number;
    item.data = reinterpret_cast<unsigned char*>(&number);
    bool missing = false;

    header->ReadItem(1, &number, sizeof number, 0, nullptr);
    AppendToList(LIST_ADDRESSES, item, missing);
    if (missing) {
        return OBJ_E_UNEXPECTED;
    }
    header->ReadItem(4, &number, sizeof number, 0, nullptr);
    AppendToList(LIST_IDENTS, item, missing);
    if (missing) {
        return OBJ_E_UNEXPECTED;
    }

    std::string name;
    header->GetName(name);
    TInfoItem text = item;
    text.type = TYPE_VISIBLE_STRING;
    text.size = static_cast<std::uint32_t>(name.size());
    text.data = reinterpret_cast<unsigned char*>(name.data());
    AppendToList(LIST_NAMES, text, missing);
    if (missing) {
        return OBJ_E_UNEXPECTED;
    }

    auto moduleType = static_cast<std::uint16_t>(number >> 16);
    item.type = TYPE_UNSIGNED16;
    item.size = sizeof moduleType;
    item.data = reinterpret_cast<unsigned char*>(&moduleType);
    AppendToList(LIST_TYPES, item, missing);
    if (missing) {
        return OBJ_E_UNEXPECTED;
    }
    AppendToList(LIST_TYPES2, item, missing);
    return missing ? OBJ_E_UNEXPECTED : OBJ_E_NOERR;
}

ObjResult CObjDictionary::SetModuleActivator(unsigned char slot, CModuleActivator* activator) {
    // A plain count, not a CRef: refusing must not delete an activator that its maker still owns.
    InterlockedIncrement(&activator->m_refCount);
    CSharedHold hold(*this); // a cleanup pass walks the map
    CSectionLock lock(m_mapSection);
    CRef<CModuleActivator>& entry = m_activators[slot];
    if (entry) {
        InterlockedDecrement(&activator->m_refCount);
        return OBJ_E_FAILED;
    }
    entry = CRef<CModuleActivator>::Adopt(activator);
    return OBJ_E_NOERR;
}

CRef<CModuleActivator> CObjDictionary::FindActivator(unsigned char slot) {
    CSectionLock lock(m_mapSection);
    const auto found = m_activators.find(slot);
    return found == m_activators.end() ? CRef<CModuleActivator>() : found->second;
}

// Called with a shared hold. The lookup that follows decides, so the result of the activation does not matter.
void CObjDictionary::ActivateModule(unsigned char slot) {
    CRef<CModuleActivator> activator = FindActivator(slot);
    if (activator) {
        activator->Activate();
        StartCleanupTimer();
    }
}

void CObjDictionary::StartCleanupTimer() {
    OsUserSetEvent(m_cleanupEvent.get());
    if (m_cleanupThread) {
        OsUserThreadResume(m_cleanupThread.get());
    }
}

void CObjDictionary::StopCleanupTimer() {
    OsUserResetEvent(m_cleanupEvent.get());
    // The stop may have come meanwhile, and its wake-up with it.
    if (m_stopping) {
        OsUserSetEvent(m_cleanupEvent.get());
    }
}

std::uint32_t CObjDictionary::CleanupRoutine(void* dictionary) {
    auto* self = static_cast<CObjDictionary*>(dictionary);
    t_own = self;
    self->RunCleanup();
    self->m_cleanupEnded = true; // the dictionary may be gone from here
    return 0;
}

void CObjDictionary::RunCleanup() {
    for (;;) {
        // Until a module wakes or the stop comes: an idle service sleeps.
        OsUserWaitForSingleObject(m_cleanupEvent.get(), OSUSER_INFINITE);
        const std::uint32_t quarter = InactivityLimit() / 4;
        const std::uint32_t pause = quarter > CLEANUP_SHORTEST_PAUSE_MS ? quarter : CLEANUP_SHORTEST_PAUSE_MS;
        if (OsUserWaitForSingleObject(m_stopEvent.get(), pause) == OSUSER_WAIT_OBJECT_0 && m_stopping) {
            return;
        }
        try {
            CheckCleanup();
        } catch (const std::exception&) {
            // For want of memory, mostly: the next pass tries again.
        }
    }
}

void CObjDictionary::CheckCleanup() {
    CExclusiveHold hold(*this);
    std::size_t awake = 0;
    for (auto at = m_activators.begin(); at != m_activators.end();) {
        CModuleActivator& activator = *at->second;
        if (!activator.IsActive()) {
            ++at;
            continue;
        }
        if (activator.GetMilisSinceLastActivation() < InactivityLimit()) {
            ++awake;
            ++at;
            continue;
        }
        if (IsError(activator.Deactivate())) {
            // It stays awake; the next pass tries again.
            ++awake;
            ++at;
            continue;
        }
        // Requests get in between two modules, and may wake one again: the walk starts anew.
        UnaccessExcl();
        sched_yield();
        AccessExcl();
        awake = 0;
        at = m_activators.begin();
    }

    if (!m_strings.IsEmpty()) {
        if (m_strings.GetInactTime() <= InactivityLimit()) {
            return;
        }
        m_strings.Clean();
    }
    if (awake == 0) {
        StopCleanupTimer();
    }
}
