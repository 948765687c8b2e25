#include "modules/ObjectMisc.h"

#include <cstdio>
#include <memory>

#include "dictionary/ItemTable.h"
#include "dictionary/ModuleObjects.h"
#include "dictionary/ObjHelper.h"

namespace Misc {

namespace {

constexpr unsigned short MODULE_TYPE = 256;
constexpr const char* MODULE_NAME = "Misc";
constexpr std::int64_t TEXT_ID_MODULE = 1060;
constexpr std::int64_t TEXT_ID_SETTINGS = 1061;

constexpr std::uint32_t FLAG = TypeAccess(TYPE_BOOLEAN, ACCESS_READ);
constexpr std::uint32_t FLAG_WRITABLE = TypeAccess(TYPE_BOOLEAN, ACCESS_READ | ACCESS_WRITE);
constexpr std::uint32_t TEXT = TypeAccess(TYPE_VISIBLE_STRING, ACCESS_READ);

constexpr const char* WIZARD_ENABLED = "var secwiz = true;";
constexpr const char* WIZARD_DISABLED = "var secwiz = false;";

struct CFileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

using CFile = std::unique_ptr<std::FILE, CFileCloser>;

} // namespace

ObjResult Create() {
    CDictionaryRef dictionary;
    if (!dictionary) {
        return OBJ_E_NOERR;
    }
    const unsigned short slot =
        AddModuleHeader(*dictionary.Get(), MODULE_NAME, MODULE_NAME, MODULE_TYPE, TEXT_ID_MODULE);
    AddModuleObject<CObj0x8nn1>(*dictionary.Get(), TEXT_ID_SETTINGS, DataIndex(slot, 1));
    AddModuleObject<CObj0xBnn0>(*dictionary.Get(), 1062, ServiceIndex(slot, 0));
    AddModuleObject<CObj0xBnn1>(*dictionary.Get(), 1063, ServiceIndex(slot, 1));
    AddModuleObject<CObj0xBnn2>(*dictionary.Get(), 1064, ServiceIndex(slot, 2));
    return OBJ_E_NOERR;
}

ObjResult CObj0x8nn1::Init(unsigned short index) {
    const ObjResult result = CObjectRecord::Init(index, OBJCODE_RECORD, 0);
    const std::string zero = ItemValue(std::uint8_t{0});
    AppendItems(*this, {
                           {1, FLAG_WRITABLE, 20060, nullptr, WriteNumLock, zero},
                           {2, FLAG, 20061, RdRemoteDisplayState, nullptr, zero},
                           {3, FLAG_WRITABLE, 20062, RdRemoteDisplayEnabled, WrRemoteDisplayEnabled, zero},
                           {4, FLAG_WRITABLE, 20063, RdSecurityWizardEnabled, WrSecurityWizardEnabled, zero},
                           {5, TEXT, 20064, RdAutoLogonUser, nullptr, zero},
                           {6, FLAG_WRITABLE, 20065, RdCreateSelfSigned, WrCreateSelfSigned, zero},
                       });
    return result;
}

ObjResult CObj0x8nn1::WriteNumLock(TInfoItem* /*item*/, unsigned short /*index*/, unsigned char /*subIndex*/,
                                   void* /*data*/, unsigned int size) {
    return size != 0 ? OBJ_E_NOERR : OBJ_E_INVALIDDATA;
}

ObjResult CObj0x8nn1::RdRemoteDisplayState(TInfoItem* item, unsigned short index, unsigned char subIndex) {
    return RdNotSupported(item, index, subIndex);
}

ObjResult CObj0x8nn1::RdRemoteDisplayEnabled(TInfoItem* item, unsigned short index, unsigned char subIndex) {
    return RdNotSupported(item, index, subIndex);
}

ObjResult CObj0x8nn1::WrRemoteDisplayEnabled(TInfoItem* item, unsigned short index, unsigned char subIndex, void* data,
                                             unsigned int size) {
    return WrNotSupported(item, index, subIndex, data, size);
}

ObjResult CObj0x8nn1::RdSecurityWizardEnabled(TInfoItem* item, unsigned short index, unsigned char subIndex) {
    return RdNotSupported(item, index, subIndex);
}

ObjResult CObj0x8nn1::WrSecurityWizardEnabled(TInfoItem* item, unsigned short index, unsigned char subIndex, void* data,
                                              unsigned int size) {
    return WrNotSupported(item, index, subIndex, data, size);
}

ObjResult CObj0x8nn1::RdAutoLogonUser(TInfoItem* item, unsigned short index, unsigned char subIndex) {
    return RdNotSupported(item, index, subIndex);
}

ObjResult CObj0x8nn1::RdCreateSelfSigned(TInfoItem* item, unsigned short /*index*/, unsigned char /*subIndex*/) {
    const ObjResult result = AllocateBuffer(item, 1);
    if (result == OBJ_E_NOERR) {
        item->data[0] = 0;
    }
    return result;
}

ObjResult CObj0x8nn1::WrCreateSelfSigned(TInfoItem* item, unsigned short index, unsigned char subIndex, void* data,
                                         unsigned int size) {
    if (data == nullptr || size == 0) {
        return OBJ_E_INVALIDDATA;
    }
    return WrNotSupported(item, index, subIndex, data, size);
}

void CObj0xBnn0::DoWork(void* /*argument*/) {
    RunJob([](auto, TOutcome&) { return OBJ_E_NOTSUPPORTED; });
}

void CObj0xBnn1::DoWork(void* /*argument*/) {
    RunJob([](auto, TOutcome&) { return OBJ_E_NOTSUPPORTED; });
}

void CObj0xBnn2::DoWork(void* /*argument*/) {
    RunJob([](auto, TOutcome&) { return OBJ_E_NOTSUPPORTED; });
}

int GetNumLockState() {
    return 0;
}

void SetNumlockState(int /*state*/) {}

std::string GetFileContent(const std::string& path) {
    const CFile file(std::fopen(path.c_str(), "re"));
    if (file == nullptr) {
        return {};
    }
    char content[256] = {};
    [[maybe_unused]] const std::size_t count = std::fread(content, 1, sizeof content - 1, file.get());
    return content;
}

void GetSecurityWizardFilename(std::string& out) {
    out += "UPNP\\Website\\helper";
    out += "\\";
    out += "secwiz.js";
}

ObjResult GetSecurityWizardEnabled(int& out) {
    std::string name;
    GetSecurityWizardFilename(name);
    out = GetFileContent(name).find(WIZARD_ENABLED) != std::string::npos ? 1 : 0;
    return OBJ_E_NOERR;
}

ObjResult SetSecurityWizardEnabled(int enabled) {
    std::string name;
    GetSecurityWizardFilename(name);
    const ObjResult result = WriteFile(name, enabled != 0 ? WIZARD_ENABLED : WIZARD_DISABLED);
    if (result != OBJ_E_NOERR) {
        return result;
    }
    return enabled != 0 ? CreateSecurityWizardRegKey() : DeleteSecurityWizardRegKey();
}

ObjResult WriteFile(const std::string& path, const std::string& text) {
    const CFile file(std::fopen(path.c_str(), "we"));
    if (file == nullptr) {
        return OBJ_E_FAILED;
    }
    std::fputs(text.c_str(), file.get());
    return OBJ_E_NOERR;
}

ObjResult CreateSecurityWizardRegKey() {
    return OBJ_E_NOTSUPPORTED;
}

ObjResult DeleteSecurityWizardRegKey() {
    return OBJ_E_NOTSUPPORTED;
}

ObjResult UpdateDefaultPassword(const wchar_t* /*password*/) {
    return OBJ_E_NOTSUPPORTED;
}

} // namespace Misc
