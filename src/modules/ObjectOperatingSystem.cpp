#include "modules/ObjectOperatingSystem.h"

#include <cstring>

#include "dictionary/ItemTable.h"
#include "dictionary/ModuleObjects.h"
#include "dictionary/ObjHelper.h"
#include "log/Logger.h"
#include "platform/Platform.h"

namespace MDPOperatingSystem {

namespace {

constexpr unsigned short MODULE_TYPE = 24;
constexpr const char* MODULE_NAME = "OperatingSystem";
constexpr std::int64_t TEXT_ID_MODULE = 1210;
constexpr std::int64_t TEXT_ID_VERSION = 1211;
constexpr std::int64_t TEXT_ID_STATUS = 1212;

constexpr std::size_t MAX_INSTANCE_NAME = 254;

constexpr std::uint32_t NUMBER = TypeAccess(TYPE_UNSIGNED32, ACCESS_READ);
constexpr std::uint32_t WIDE_NUMBER = TypeAccess(TYPE_UNSIGNED64, ACCESS_READ);
constexpr std::uint32_t TEXT = TypeAccess(TYPE_VISIBLE_STRING, ACCESS_READ);

// A code as the log shows it.
long LogCode(ObjResult result) {
    return static_cast<std::int32_t>(result);
}

} // namespace

ObjResult Create() {
    _OSVERSIONINFOA version = {};
    OsUserGetVersionInfo(&version);
    std::string name;
    GetWinVerName(version, name);

    CDictionaryRef dictionary;
    if (!dictionary) {
        return STATUS_UNSPECIFIED;
    }
    const unsigned short slot = AddModuleHeader(*dictionary.Get(), MODULE_NAME,
                                                name.substr(0, MAX_INSTANCE_NAME).c_str(), MODULE_TYPE, TEXT_ID_MODULE);
    AddModuleObject<COsObj0x8nn1>(*dictionary.Get(), TEXT_ID_VERSION, DataIndex(slot, 1), version, TEXT_ID_VERSION);
    AddModuleObject<COsObj0x8nn2>(*dictionary.Get(), TEXT_ID_STATUS, DataIndex(slot, 2), TEXT_ID_STATUS);
    return OBJ_E_NOERR;
}

ObjResult GetWinVerName(const _OSVERSIONINFOA& version, std::string& name) {
    name.assign(version.szCSDVersion, strnlen(version.szCSDVersion, sizeof version.szCSDVersion - 1));
    return OBJ_E_NOERR;
}

ObjResult COsObj0x8nn1::Init(unsigned short index, _OSVERSIONINFOA version, std::int64_t nameId) {
    const ObjResult result = CObjectRecord::Init(index, OBJCODE_RECORD, nameId);
    std::string name;
    GetWinVerName(version, name);
    AppendItems(*this, {
                           {1, NUMBER, 10100, nullptr, nullptr, ItemValue(version.dwMajorVersion)},
                           {2, NUMBER, 10101, nullptr, nullptr, ItemValue(version.dwMinorVersion)},
                           {3, NUMBER, 10102, nullptr, nullptr, ItemValue(version.dwBuildNumber)},
                           {4, TEXT, 10103, nullptr, nullptr, name},
                       });
    return result;
}

ObjResult COsObj0x8nn2::Init(unsigned short index, std::int64_t nameId) {
    const ObjResult result = CObjectRecord::Init(index, OBJCODE_RECORD, nameId);
    AppendItems(*this, {{1, WIDE_NUMBER, 10110, OnRead_UptimeInSeconds}});
    return result;
}

ObjResult COsObj0x8nn2::OnRead_UptimeInSeconds(TInfoItem* item, unsigned short /*index*/, unsigned char /*subIndex*/) {
    const CDictionaryRef dictionary;
    if (!dictionary) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "OnRead_UptimeInSeconds - pDict is nullptr");
        return OBJ_E_UNEXPECTED;
    }
    unsigned long seconds = 0;
    ObjResult result = Platform::UptimeInSeconds(seconds);
    if (result != OBJ_E_NOERR) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "OnRead_UptimeInSeconds - Platform::UptimeInSeconds failed: %ld",
                          LogCode(result));
        return result;
    }
    const std::uint64_t value = seconds;
    result = AllocateBuffer(item, sizeof value);
    if (result != OBJ_E_NOERR) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "OnRead_UptimeInSeconds - AllocateBuffer failed: %ld",
                          LogCode(result));
        return result;
    }
    std::memcpy(item->data, &value, sizeof value);
    return OBJ_E_NOERR;
}

} // namespace MDPOperatingSystem
