#include "modules/ups/ObjectUPS.h"

#include <string>

#include "dictionary/ModuleObjects.h"
#include "hardware/ZmVtDevWrapper.h"
#include "modules/ups/ObjectApcUps.h"
#include "modules/ups/ObjectKUps.h"
#include "modules/ups/ObjectQrUps.h"
#include "platform/OsUserSystem.h"

namespace UPS {

namespace {

constexpr unsigned short MODULE_TYPE = 30;
constexpr std::int64_t TEXT_ID_MODULE = 1280;

constexpr int BIOS_NOT_SUPPORTED = 0x20000701;

template <typename THeader>
CRef<CObj0x8nn0> MakeHeader(USV_TYPE kind) {
    auto* header = new THeader;
    header->kind = kind;
    return CRef<CObj0x8nn0>(header);
}

CRef<CUpsActivator> MakeActivator(USV_TYPE kind) {
    switch (kind) {
    case USV_TYPE_APC:
        return CRef<CUpsActivator>(new CApcActivator);
    case USV_TYPE_QR:
        return CRef<CUpsActivator>(new CQrActivator);
    default:
        return CRef<CUpsActivator>(new CKUpsActivator);
    }
}

} // namespace

ObjResult Create() {
    CDictionaryRef dictionary;
    if (!dictionary) {
        return OBJ_E_NOERR;
    }
    {
        const ZmVtDevWrapper::CDeviceUse device;
        ZmVtDevWrapper::TKUps_State state = 0;
        unsigned int percent = 0;
        if (device.Result() != OBJ_E_NOERR ||
            !CZmVtDevWrapper::Call(CZmVtDevWrapper::FKUpsGetState, &state, &percent)) {
            return OBJ_E_NOERR;
        }
    }
    CreateUps(dictionary.Get(), 0, USV_TYPE_KUPS);
    return OBJ_E_NOERR;
}

void CreateUps(CObjDictionary* dictionary, unsigned char number, USV_TYPE kind) {
    const std::string name = "UPS" + std::to_string(number);
    const CRef<CUpsActivator> activator = MakeActivator(kind);
    activator->header = kind == USV_TYPE_KUPS ? MakeHeader<CKUpsObj0x8nn0>(kind) : MakeHeader<CUpsObj0x8nn0>(kind);
    AddModuleHeader(*dictionary, *activator->header, "UPS", name.c_str(), MODULE_TYPE, TEXT_ID_MODULE);
    dictionary->SetModuleActivator(SlotOfIndex(activator->header->Index()), activator.Get());
}

ObjResult CheckKUps() {
    const ZmVtDevWrapper::CDeviceUse device;
    if (device.Result() != OBJ_E_NOERR) {
        return device.Result();
    }
    auto* const getState = CZmVtDevWrapper::FKUpsGetState.load();
    if (getState == nullptr) {
        return OBJ_E_FAILED;
    }
    ZmVtDevWrapper::TKUps_State state = 0;
    if (getState(&state, nullptr)) {
        return OBJ_E_NOERR;
    }
    const int error = OsUserGetLastError();
    return error == BIOS_NOT_SUPPORTED ? OBJ_E_NOTSUPPORTED : OsResult(static_cast<std::uint32_t>(error));
}

ObjResult CheckApcUps(unsigned char /*number*/) {
    return OBJ_E_NOTSUPPORTED; // there is no way yet to look for one
}

} // namespace UPS
