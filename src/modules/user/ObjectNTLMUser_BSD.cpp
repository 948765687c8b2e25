#include "modules/user/ObjectNTLMUser_BSD.h"

#include <grp.h>
#include <pwd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <optional>
#include <string>

#include "dictionary/ItemTable.h"
#include "dictionary/ModuleObjects.h"
#include "dictionary/ObjHelper.h"
#include "log/Logger.h"
#include "modules/user/ObjectNTLMUser_BSDPassword.h"
#include "modules/user/ObjectNTLMUser_BSDServices.h"

namespace NTLMUser {

namespace {

constexpr unsigned short MODULE_TYPE = 4;
constexpr const char* MODULE_NAME = "User Management";
constexpr std::int64_t TEXT_ID_MODULE = 1080;

constexpr std::uint32_t TEXT = TypeAccess(TYPE_VISIBLE_STRING, ACCESS_READ);
constexpr std::uint32_t NUMBER = TypeAccess(TYPE_UNSIGNED32, ACCESS_READ);

// Behind the index of the header.
constexpr unsigned int LIST_NAMES = 1;
constexpr unsigned int LIST_RESERVED_TEXTS = 2;
constexpr unsigned int LIST_MEMBERSHIPS = 3;
constexpr unsigned int LIST_GROUPS = 4;
constexpr unsigned int LIST_RESERVED_NUMBERS = 5;

struct TList {
    unsigned int number;
    std::uint16_t elementType;
    std::int64_t textId;
};

constexpr TList LISTS[] = {
    {LIST_NAMES, TYPE_VISIBLE_STRING, 1081},         {LIST_RESERVED_TEXTS, TYPE_VISIBLE_STRING, 1082},
    {LIST_MEMBERSHIPS, TYPE_VISIBLE_STRING, 1087},   {LIST_GROUPS, TYPE_VISIBLE_STRING, 20015},
    {LIST_RESERVED_NUMBERS, TYPE_UNSIGNED32, 10042},
};

// The lists with one element for each account, in the order in which they are locked.
struct TUserList {
    unsigned int number;
    std::uint32_t typeAccess;
    std::int64_t nameId;
    TOnRead onRead;
};

constexpr TUserList USER_LISTS[] = {
    {LIST_NAMES, TEXT, 10012, nullptr},
    {LIST_RESERVED_TEXTS, TEXT, 10013, RdNotSupported},
    {LIST_MEMBERSHIPS, TEXT, 20014, nullptr},
    {LIST_RESERVED_NUMBERS, NUMBER, 11090, RdNotSupported},
};

// Room for the texts of one entry. Meant: one that needs more ends the walk.
constexpr std::size_t ENTRY_SIZE = 4096;

void AddList(CObjDictionary& dictionary, unsigned short header, const TList& list) {
    const CRef<CObjectArray> object(new CObjectArray);
    object->Init(DataIndex(header, list.number), OBJCODE_ARRAY, list.textId);
    object->elementType = list.elementType;
    dictionary.AddObject(object.Get());
}

// A full list refuses the element, which is then left out.
void AppendElement(CObject& list, std::uint32_t typeAccess, std::int64_t nameId, TOnRead onRead,
                   const std::string& value) {
    const auto subIndex = static_cast<unsigned char>(list.GetCoutOfInfoItems());
    AppendItems(list, {{subIndex, typeAccess, nameId, onRead, nullptr, value}});
}

// True with the next entry of a database. `status` and `found`: what the call gave. glibc tells the end as ENOENT.
bool HasEntry(const char* call, int status, const void* found) {
    if (status != 0 && status != ENOENT) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "%s error: %d", call, status);
    }
    return status == 0 && found != nullptr;
}

// Both walks of a database run under the lock of the module.
template <typename Visitor>
void ForEachGroup(Visitor visit) {
    setgrent();
    while (true) {
        std::array<char, ENTRY_SIZE> buffer{};
        group entry{};
        group* found = nullptr;
        const int status = getgrent_r(&entry, buffer.data(), buffer.size(), &found);
        if (!HasEntry("getgrent_r", status, found)) {
            break;
        }
        visit(*found);
    }
    endgrent();
}

template <typename Visitor>
void ForEachUser(Visitor visit) {
    setpwent();
    while (true) {
        std::array<char, ENTRY_SIZE> buffer{};
        passwd entry{};
        passwd* found = nullptr;
        const int status = getpwent_r(&entry, buffer.data(), buffer.size(), &found);
        if (!HasEntry("getpwent_r", status, found)) {
            break;
        }
        visit(*found);
    }
    endpwent();
}

bool HasMember(const group& candidate, const char* user) {
    for (char** member = candidate.gr_mem; *member != nullptr; ++member) {
        if (std::strcmp(*member, user) == 0) {
            return true;
        }
    }
    return false;
}

std::string GroupsOf(const passwd& user) {
    std::string groups;
    if (const group* primary = getgrgid(user.pw_gid); primary != nullptr) {
        groups = std::string(primary->gr_name) + sDelimiter;
    }
    ForEachGroup([&](const group& candidate) {
        if (!HasMember(candidate, user.pw_name)) {
            return;
        }
        // Meant: found anywhere, so a group whose name ends an earlier one's is taken for that.
        const std::string name = std::string(candidate.gr_name) + sDelimiter;
        if (groups.find(name) == std::string::npos) {
            groups += name;
        }
    });
    if (!groups.empty()) {
        groups.pop_back();
    }
    return groups;
}

} // namespace

ObjResult Create() {
    CDictionaryRef dictionary;
    if (!dictionary) {
        return OBJ_E_FAILED;
    }
    const unsigned short header =
        AddModuleHeader(*dictionary.Get(), MODULE_NAME, MODULE_NAME, MODULE_TYPE, TEXT_ID_MODULE);
    for (const TList& list : LISTS) {
        AddList(*dictionary.Get(), header, list);
    }
    AddModuleObject<CObj0xBnn0>(*dictionary.Get(), 1083, ServiceIndex(header, 0));
    AddModuleObject<CObj0xBnn1>(*dictionary.Get(), 1084, ServiceIndex(header, 1));
    AddModuleObject<CObj0xBnn2>(*dictionary.Get(), 1085, ServiceIndex(header, 2));
    AddModuleObject<CObj0xBnn3>(*dictionary.Get(), 1086, ServiceIndex(header, 3));
    AddModuleObject<CObj0xBnnXAddDelGroup>(*dictionary.Get(), 1088, ServiceIndex(header, 4));
    AddModuleObject<CObj0xBnnXAddDelGroup>(*dictionary.Get(), 1089, ServiceIndex(header, 5));
    AddModuleObject<CObj0xBnn6>(*dictionary.Get(), 11091, ServiceIndex(header, 6));

    if (const ObjResult result = UpdateLocalGroups(header); result != OBJ_E_NOERR) {
        return result;
    }
    const ObjResult result = LoadAllUsers(header);
    std::srand(static_cast<unsigned int>(std::time(nullptr))); // of the salts, which are no secret
    return result;
}

ObjResult UpdateLocalGroups(unsigned short header) {
    CDictionaryRef dictionary;
    if (!dictionary) {
        return OBJ_E_UNEXPECTED;
    }
    const CRef<CObject> object = dictionary->GetObjectRef(DataIndex(header, LIST_GROUPS));
    if (!object) {
        return OBJ_E_UNEXPECTED;
    }
    CSectionLock accounts(AccountSection());
    CSectionLock lock(object->Section());
    auto& list = static_cast<CObjectArray&>(*object);
    list.RemoveAllElements();
    ForEachGroup([&](const group& entry) { AppendElement(list, TEXT, 11090, nullptr, entry.gr_name); });
    return OBJ_E_NOERR;
}

ObjResult LoadAllUsers(unsigned short header) {
    CDictionaryRef dictionary;
    if (!dictionary) {
        return OBJ_E_UNEXPECTED;
    }
    std::array<CRef<CObject>, std::size(USER_LISTS)> lists;
    for (std::size_t i = 0; i < lists.size(); ++i) {
        lists[i] = dictionary->GetObjectRef(DataIndex(header, USER_LISTS[i].number));
        if (!lists[i]) {
            return OBJ_E_UNEXPECTED;
        }
    }
    CSectionLock accounts(AccountSection());
    // All sections are held for the whole walk: no reader sees lists that do not belong together.
    std::array<std::optional<CSectionLock>, std::size(USER_LISTS)> locks;
    for (std::size_t i = 0; i < lists.size(); ++i) {
        locks[i].emplace(lists[i]->Section());
        static_cast<CObjectArray&>(*lists[i]).RemoveAllElements();
    }
    ForEachUser([&](const passwd& user) {
        const std::string values[std::size(USER_LISTS)] = {user.pw_name, {}, GroupsOf(user), {}};
        for (std::size_t i = 0; i < lists.size(); ++i) {
            AppendElement(*lists[i], USER_LISTS[i].typeAccess, USER_LISTS[i].nameId, USER_LISTS[i].onRead, values[i]);
        }
    });
    return OBJ_E_NOERR;
}

CSection& AccountSection() {
    static CSection& s_section = *new CSection; // never deleted: services that no stop waits for may still hold it
    return s_section;
}

} // namespace NTLMUser
