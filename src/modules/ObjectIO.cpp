#include "modules/ObjectIO.h"

#include "dictionary/ItemTable.h"
#include "dictionary/ModuleObjects.h"
#include "dictionary/ObjHelper.h"
#include "hardware/ZmVtDevWrapper.h"
#include "platform/OsUserSystem.h"

namespace IO {

namespace {

constexpr unsigned short MODULE_TYPE = 34;
constexpr const char* MODULE_NAME = "IO";
constexpr std::int64_t TEXT_ID_MODULE = 1360;
constexpr std::int64_t TEXT_ID_NEW_RECORD = 1041;
constexpr std::int64_t TEXT_ID_RECORD = 1361;

constexpr unsigned char PORT_UP = 1;
constexpr unsigned char PORT_US = 2;
constexpr unsigned char SUB_SECOND_US = 2;
constexpr unsigned char SUB_SECOND_UP = 4;

constexpr std::uint32_t BIOS_NOT_SUPPORTED_FIRST = 0x20000701;
constexpr std::uint32_t BIOS_NOT_SUPPORTED_LAST = 0x20000703;

ObjResult MappedLastError() {
    return MapBAPIErrorCode(static_cast<std::uint32_t>(OsUserGetLastError()));
}

// Asks whether the supplies are there: 0 or a code.
ObjResult Probe() {
    unsigned char state = 0;
    return ReadVoltageState(PORT_US, false, &state);
}

ObjResult ReadItem(TInfoItem* item, unsigned char port, bool second) {
    if (item == nullptr) {
        return OBJ_E_INVALIDARG;
    }
    unsigned char state = 0;
    if (const ObjResult result = ReadVoltageState(port, second, &state); result != OBJ_E_NOERR) {
        return result;
    }
    if (AllocateBuffer(item, 0) != OBJ_E_NOERR) {
        return OBJ_E_OUTOFMEMORY;
    }
    *item->data = state;
    return OBJ_E_NOERR;
}

ObjResult WriteItem(unsigned char port, bool second, const void* data, unsigned int size) {
    return size == 0 ? OBJ_E_INVALIDARG : SetVoltageState(port, second, *static_cast<const unsigned char*>(data));
}

} // namespace

ObjResult MapBAPIErrorCode(std::uint32_t code) {
    if (code >= BIOS_NOT_SUPPORTED_FIRST && code <= BIOS_NOT_SUPPORTED_LAST) {
        code = OBJ_E_NOTSUPPORTED;
    }
    return CZmVtDevWrapper::IsBiosApiError(static_cast<int>(code)) ? ExtResult(code) : code;
}

ObjResult ReadVoltageState(unsigned char port, bool second, unsigned char* state) {
    auto* const getState = CZmVtDevWrapper::FEtherCATPGetUxState.load();
    if (getState == nullptr) {
        return OBJ_E_NOTSUPPORTED;
    }
    return getState(port, second, state) ? OBJ_E_NOERR : MappedLastError();
}

ObjResult SetVoltageState(unsigned char port, bool second, unsigned char on) {
    auto* const setState = CZmVtDevWrapper::FEtherCATPSetUxState.load();
    if (setState == nullptr) {
        return OBJ_E_NOTSUPPORTED;
    }
    return setState(port, second, on) ? OBJ_E_NOERR : MappedLastError();
}

ObjResult Create() {
    {
        const ZmVtDevWrapper::CDeviceUse device;
        if (Probe() == OBJ_E_NOTSUPPORTED) { // any other error does not stop the creation
            return OBJ_E_NOTSUPPORTED;
        }
    }
    CDictionaryRef dictionary;
    if (!dictionary) {
        return OBJ_E_FAILED;
    }
    const unsigned short header =
        AddModuleHeader(*dictionary.Get(), MODULE_NAME, MODULE_NAME, MODULE_TYPE, TEXT_ID_MODULE);
    AddModuleObject<CObj0x8nn1>(*dictionary.Get(), TEXT_ID_RECORD, DataIndex(header, 1));
    const CRef<CIOActivator> activator(new CIOActivator);
    dictionary->SetModuleActivator(SlotOfIndex(header), activator.Get());
    return OBJ_E_NOERR;
}

bool GetIoSupported() {
    return CObj0x8nn1::IsSupported();
}

bool CObj0x8nn1::IsSupported() {
    const ZmVtDevWrapper::CDeviceUse device;
    return Probe() != OBJ_E_NOTSUPPORTED;
}

ObjResult CObj0x8nn1::Init(unsigned short index) {
    constexpr std::uint32_t supply = TypeAccess(TYPE_BOOLEAN, ACCESS_READ | ACCESS_WRITE);
    const ObjResult result = CObjectRecord::Init(index, OBJCODE_RECORD, TEXT_ID_NEW_RECORD);
    AppendItems(*this, {
                           {1, supply, 10300, OnRead_Us, OnWrite_Us},
                           {2, supply, 10301, OnRead_Us, OnWrite_Us},
                           {3, supply, 10302, OnRead_Up, OnWrite_Up},
                           {4, supply, 10303, OnRead_Up, OnWrite_Up},
                       });
    return result;
}

ObjResult CIOActivator::DoActivate() {
    CZmVtDevWrapper::LoadDll();
    return OBJ_E_NOERR;
}

ObjResult CIOActivator::DoDeactivate() {
    CZmVtDevWrapper::UnloadDll();
    return OBJ_E_NOERR;
}

ObjResult OnRead_Us(TInfoItem* item, unsigned short /*index*/, unsigned char subIndex) {
    return ReadItem(item, PORT_US, subIndex == SUB_SECOND_US);
}

ObjResult OnRead_Up(TInfoItem* item, unsigned short /*index*/, unsigned char subIndex) {
    return ReadItem(item, PORT_UP, subIndex == SUB_SECOND_UP);
}

ObjResult OnWrite_Us(TInfoItem* /*item*/, unsigned short /*index*/, unsigned char subIndex, void* data,
                     unsigned int size) {
    return WriteItem(PORT_US, subIndex == SUB_SECOND_US, data, size);
}

ObjResult OnWrite_Up(TInfoItem* /*item*/, unsigned short /*index*/, unsigned char subIndex, void* data,
                     unsigned int size) {
    return WriteItem(PORT_UP, subIndex == SUB_SECOND_UP, data, size);
}

} // namespace IO
