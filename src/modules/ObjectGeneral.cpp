#include "modules/ObjectGeneral.h"

#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <vector>

#include "dictionary/ItemTable.h"
#include "dictionary/ObjDictionary.h"
#include "dictionary/ObjHelper.h"
#include "host/HostName.h"
#include "log/Logger.h"
#include "platform/StringHelper.h"
#include "sysconfig/CSettingsLock.h"
#include "sysconfig/CSystem.h"

using ZMBSD::CSystem;

namespace General {

namespace {

constexpr unsigned short INDEX_DEVICE_TYPE = 0x1000;
constexpr unsigned short INDEX_DEVICE_NAME = 0x1008;
constexpr unsigned short INDEX_HARDWARE_VERSION = 0x1009;
constexpr unsigned short INDEX_SOFTWARE_VERSION = 0x100A;
constexpr unsigned short INDEX_IDENTITY = 0x1018;
constexpr unsigned short INDEX_SERIAL_NUMBER = 0xF9F0;

constexpr std::uint32_t DEVICE_TYPE = 10000U << 16 | 5001;
constexpr std::uint32_t VENDOR_ID = 2;

constexpr std::uint32_t NUMBER_MARK = TypeAccess(TYPE_UNSIGNED32, ACCESS_READ | ACCESS_MARK);
constexpr std::uint32_t TEXT_MARK = TypeAccess(TYPE_VISIBLE_STRING, ACCESS_READ | ACCESS_MARK);
constexpr std::uint32_t TEXT_WRITABLE = TypeAccess(TYPE_VISIBLE_STRING, ACCESS_READ | ACCESS_WRITE);

constexpr std::size_t HOST_NAME_SIZE = 256;
constexpr unsigned int MAX_NAME_WRITE = 1024;
constexpr std::size_t HARDWARE_VERSION_SIZE = 256;
constexpr std::size_t SERIAL_NUMBER_SIZE = 128;

// Question marks are escaped where they would form a trigraph.
constexpr const char* UNKNOWN_VERSION = "??????;v??.?;???\?-?\?-??";
constexpr const char* UNKNOWN_DATE = "???\?-?\?-??";

constexpr const char* RELEASE_FILE = "/etc/os-release.d/666-vth";
constexpr std::string_view RELEASE_KEY = "ZMBSD_BUILD=";
constexpr std::size_t RELEASE_TEXT_SIZE = 255;

// Adds a single variable with one item. Where the index is taken the earlier object stays and this one goes.
void AddVariable(CObjDictionary& dictionary, unsigned short index, const TItemRow& row) {
    const CRef<CObject> object(new CObject);
    object->Init(index, OBJCODE_VARIABLE, 0);
    AppendItems(*object, {row});
    dictionary.AddObject(object.Get());
}

std::string HardwareVersion() {
    char text[HARDWARE_VERSION_SIZE] = {};
    GetHardwareVersion(text);
    return text;
}

std::string SoftwareVersion() {
    char* text = nullptr;
    if (GetOsAndImageVersion(&text) != OBJ_E_NOERR) {
        return "???";
    }
    const std::unique_ptr<char[]> owner(text);
    return text;
}

std::string SerialNumber() {
    char text[SERIAL_NUMBER_SIZE] = {};
    return GetSerialNumberEx(text, sizeof text) == OBJ_E_NOERR ? text : "";
}

} // namespace

ObjResult CObj0x1018::Init() {
    const ObjResult result = CObjectRecord::Init(INDEX_IDENTITY, OBJCODE_RECORD, 0);
    AppendItems(*this, {
                           {1, NUMBER_MARK, 0, nullptr, nullptr, ItemValue(VENDOR_ID)},
                           {2, NUMBER_MARK, 0, RdNotSupported},
                           {3, NUMBER_MARK, 0, RdNotSupported},
                           {4, NUMBER_MARK, 0, RdNotSupported},
                       });
    return result;
}

ObjResult Create() {
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "==>Namespace General::Create()");
    CDictionaryRef dictionary;
    if (dictionary) {
        AddVariable(*dictionary.Get(), INDEX_DEVICE_TYPE,
                    {0, NUMBER_MARK, 500, nullptr, nullptr, ItemValue(GetDeviceType())});
        AddVariable(*dictionary.Get(), INDEX_DEVICE_NAME,
                    {0, TEXT_WRITABLE, 501, OnRead_DeviceName, OnWrite_DeviceName});
        AddVariable(*dictionary.Get(), INDEX_HARDWARE_VERSION,
                    {0, TEXT_MARK, 502, nullptr, nullptr, HardwareVersion()});
        AddVariable(*dictionary.Get(), INDEX_SOFTWARE_VERSION,
                    {0, TEXT_MARK, 503, nullptr, nullptr, SoftwareVersion()});
        const CRef<CObj0x1018> identity(new CObj0x1018);
        identity->Init();
        dictionary->AddObject(identity.Get());
        AddVariable(*dictionary.Get(), INDEX_SERIAL_NUMBER, {0, TEXT_MARK, 504, nullptr, nullptr, SerialNumber()});
    }
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "<==Namespace General::Create()");
    return OBJ_E_NOERR;
}

std::uint32_t GetDeviceType() {
    return DEVICE_TYPE;
}

ObjResult OnRead_DeviceName(TInfoItem* item, unsigned short /*index*/, unsigned char /*subIndex*/) {
    CDictionaryRef dictionary;
    if (!dictionary) {
        return OBJ_E_UNEXPECTED;
    }
    char name[HOST_NAME_SIZE + 1] = {};
    if (gethostname(name, HOST_NAME_SIZE) != 0) {
        return OBJ_E_UNEXPECTED;
    }
    return CInfoItem(item).SetStringA(name, 0xFFFFFFFF);
}

ObjResult OnWrite_DeviceName(TInfoItem* /*item*/, unsigned short /*index*/, unsigned char /*subIndex*/, void* data,
                             unsigned int size) {
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "==>{General}::WrDeviceName(pData=0x%08x, cbData=%i)",
                      static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(data)), static_cast<int>(size));
    ObjResult result = OBJ_E_INVALIDDATA;
    if (data != nullptr && size != 0 && size <= MAX_NAME_WRITE) {
        std::string name(static_cast<const char*>(data), size);
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "{General}::WrDeviceName() new name = %s", name.c_str());
        result = SetDeviceName(name.data());
    }
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "<=={General}::WrDeviceName() ret = 0x%08x", result);
    return result;
}

ObjResult GetDeviceName(std::string& name) {
    char text[HOST_NAME_SIZE + 1] = {};
    if (gethostname(text, HOST_NAME_SIZE) != 0) {
        return OsResult(static_cast<std::uint32_t>(errno));
    }
    name = text;
    return OBJ_E_NOERR;
}

ObjResult SetDeviceName(char* name) {
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "==>SetDeviceName()");
    if (name == nullptr) {
        g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "<==SetDeviceName() ret = [OBJ_E_INVALIDDATA]");
        return OBJ_E_INVALIDDATA;
    }
    if (!IsValidDeviceName(name)) {
        g_pLogger->LogMsg(LOG_SEVERITY_ERROR, "SetDeviceName: Computername is invalid");
        g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "<==SetDeviceName()  ret = [OBJ_E_INVALIDARG]");
        return OBJ_E_INVALIDARG;
    }
    int status = 0;
    if (Host::SetHostName(name) != 0) {
        status = errno;
    } else {
        // Through the shell: the character set of a device name has nothing that the shell would take as its own.
        char command[512];
        const ZMBSD::CSettingsLock lock;
        std::snprintf(command, sizeof command, "sysrc hostname=\"%s\"", name);
        status = std::system(command);
    }
    const ObjResult result = status == 0 ? OBJ_E_NOERR : OsResult(static_cast<std::uint32_t>(status));
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "<==SetDeviceName() ret = [0x%08x]", result);
    return result;
}

ObjResult GetHardwareVersion(char* out) {
    std::string product;
    std::string version;
    std::string date;
    if (CSystem::Execute("kenv smbios.system.product", product) != 0 ||
        CSystem::Execute("kenv smbios.system.version", version) != 0 ||
        CSystem::Execute("kenv smbios.chassis.tag", date) != 0) {
        std::snprintf(out, HARDWARE_VERSION_SIZE, "%s", UNKNOWN_VERSION);
        return OBJ_E_NOERR;
    }
    tm parsed{};
    const bool isDate = strptime(date.c_str(), "%Y-%m-%d", &parsed) != nullptr;
    std::snprintf(out, HARDWARE_VERSION_SIZE, "%s;v%s;%s", product.c_str(), version.c_str(),
                  isDate ? date.c_str() : UNKNOWN_DATE);
    return OBJ_E_NOERR;
}

ObjResult GetOsAndImageVersion(char** out) {
    std::vector<std::string> lines;
    const std::uint32_t status = CSystem::ReadFile(RELEASE_FILE, lines);
    if (status != 0) {
        return OsResult(status);
    }
    const std::size_t found = lines.empty() ? std::string::npos : lines[0].find(RELEASE_KEY);
    if (found == std::string::npos) {
        return OBJ_E_NODATA;
    }
    const std::string text = lines[0].substr(found + RELEASE_KEY.size());
    *out = new char[RELEASE_TEXT_SIZE];
    std::snprintf(*out, RELEASE_TEXT_SIZE, "%s", text.c_str());
    return OBJ_E_NOERR;
}

ObjResult GetSerialNumberEx(char* out, long size) {
    if (out == nullptr) {
        return STATUS_INVALID_ARGUMENT;
    }
    std::string serial;
    if (CSystem::Execute("kenv smbios.system.serial", serial) == 0 && size > 0) {
        std::strncpy(out, serial.c_str(), static_cast<std::size_t>(size));
        out[size - 1] = '\0';
    }
    return IsValidSerialNumber(out, size) ? OBJ_E_NOERR : OBJ_E_NODATA;
}

bool IsValidSerialNumber(const char* text, long size) {
    if (text == nullptr || size < 1 || *text == '\0') {
        return false;
    }
    const std::string serial = CStringHelper::Trim(std::string(text, strnlen(text, static_cast<std::size_t>(size))));
    return !serial.empty() && serial != "OEM" && serial.find("O.E.M.") == std::string::npos;
}

ObjResult GetProdCodeAndRevNo(unsigned int& /*productCode*/, unsigned int& /*revision*/) {
    return OBJ_E_NOTIMPL;
}

ObjResult GetSerialNumber(unsigned int* serial) {
    // Meant: the low half of this code is the one of OBJ_E_NODATA.
    return serial == nullptr ? STATUS_NULL_POINTER : OsResult(0x0105);
}

} // namespace General

bool IsValidDeviceName(const char* name) {
    constexpr std::string_view reserved[] = {"qr_", "qr-", "lm-", "lm_", "tv-", "wn-"};
    const auto isLetterOrDigit = [](char character) {
        return std::isalnum(static_cast<unsigned char>(character)) != 0;
    };

    if (name == nullptr || !isLetterOrDigit(*name)) {
        return false;
    }
    const std::string_view text = name;
    const bool allowed = std::all_of(text.begin(), text.end(), [&](char character) {
        return isLetterOrDigit(character) || character == '-' || character == '.' || character == '_';
    });
    return allowed && std::none_of(std::begin(reserved), std::end(reserved), [&](std::string_view prefix) {
               return strncasecmp(name, prefix.data(), prefix.size()) == 0;
           });
}
