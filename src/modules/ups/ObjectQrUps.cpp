#include "modules/ups/ObjectQrUps.h"

#include <utility>

#include "log/Logger.h"
#include "modules/ItemValues.h"
#include "modules/ups/UpsItems.h"

namespace UPS {

namespace {

constexpr std::int32_t TIMEOUT_MS = 500;
constexpr std::uint16_t PORT_DEVICES = 300;

constexpr std::uint32_t GROUP_DEVICES = 0x5000; // of one device: plus its number
constexpr std::uint32_t OFFSET_DEVICE_COUNT = 2;
constexpr std::uint32_t OFFSET_DEVICE_TYPE = 7;
constexpr std::uint32_t DEVICE_TYPE_SUPPLY = 65;

constexpr std::uint32_t GROUP_SUPPLY = 0x9000; // plus the number of the device
constexpr std::uint32_t OFFSET_POWER_STATUS = 0x1010;
constexpr std::uint32_t OFFSET_CHARGE = 0x1011;
constexpr std::uint8_t POWER_STATUS_NONE = 255;

ObjResult KorResult(std::int32_t error) {
    return error == 0 ? OBJ_E_NOERR : ExtResult(static_cast<std::uint32_t>(error));
}

CRef<CQrObj0x8nn1> RecordOf(unsigned short index) {
    CDictionaryRef dictionary;
    if (!dictionary) {
        return {};
    }
    return dictionary->GetObjectRef(index).As<CQrObj0x8nn1>();
}

std::uint8_t PowerStatusOf(std::uint8_t byte) {
    switch (byte >> 4) {
    case 1:
    case 2:
        return 1;
    case 3:
    case 4:
        return 2;
    default:
        return 0;
    }
}

// A byte becomes the item's value; without one the item has none.
ObjResult Publish(TInfoItem* item, bool isGood, std::uint8_t byte) {
    if (!isGood) {
        DeallocateBuffer(item);
    } else if (AllocateBuffer(item, 0) == OBJ_E_NOERR) {
        *item->data = byte;
    }
    return OBJ_E_NOERR;
}

ObjResult rdPowerStatus(TInfoItem* item, unsigned short index, unsigned char /*subIndex*/) {
    const auto record = RecordOf(index);
    if (!record || record->client.port == 0) {
        return OBJ_E_NOERR;
    }
    std::uint8_t byte = 0;
    const bool isGood = record->client.ReadSupply(record->supplier, OFFSET_POWER_STATUS, &byte);
    return Publish(item, isGood, PowerStatusOf(byte));
}

ObjResult rdBatteryCapacity(TInfoItem* item, unsigned short index, unsigned char /*subIndex*/) {
    const auto record = RecordOf(index);
    if (!record || record->client.port != 0) { // meant: the reverse of the status
        return OBJ_E_NOERR;
    }
    std::uint8_t byte = 0;
    const bool isGood = record->client.ReadSupply(record->supplier, OFFSET_CHARGE, &byte);
    return Publish(item, isGood, byte);
}

} // namespace

CZelmora::~CZelmora() {
    CloseKorPort();
    wrap.Unload();
}

bool CZelmora::IsZmInstalled() {
    return true;
}

ObjResult CZelmora::OpenKorPort() {
    if (port != 0) {
        return OBJ_E_NOERR;
    }
    address = {};
    port = wrap.KorPortOpen();
    if (port == 0) {
        return OBJ_E_PORTCLOSED;
    }
    wrap.KorSyncSetTimeout(TIMEOUT_MS);
    const std::int32_t error = wrap.KorGetLocalAddress(&address);
    if (error != 0) {
        port = 0; // meant: the port itself stays open
    }
    return KorResult(error);
}

ObjResult CZelmora::CloseKorPort() {
    return std::exchange(port, 0) == 0 ? OBJ_E_NOERR : KorResult(wrap.KorPortClose());
}

ObjResult CZelmora::GetQR3300PowerSupplierID(std::uint32_t* id) {
    std::uint32_t count = 0;
    std::int32_t error = wrap.KorSyncReadReq(&address, GROUP_DEVICES, OFFSET_DEVICE_COUNT, sizeof count, &count);
    if (error != 0) {
        return KorResult(error);
    }
    if (count == 0) {
        return OBJ_E_NOTSUPPORTED;
    }
    std::uint32_t device = 1;
    for (;; ++device) {
        std::uint32_t type = 0;
        error = wrap.KorSyncReadReq(&address, GROUP_DEVICES + device, OFFSET_DEVICE_TYPE, sizeof type, &type);
        if (error == 0 && type == DEVICE_TYPE_SUPPLY) {
            break;
        }
        if (device >= count) {
            return error != 0 ? KorResult(error) : OBJ_E_NOTSUPPORTED;
        }
    }
    std::uint8_t status = 0;
    std::uint8_t charge = 0;
    error = wrap.KorSyncReadReq(&address, GROUP_SUPPLY + device, OFFSET_POWER_STATUS, sizeof status, &status);
    if (error == 0) {
        error = wrap.KorSyncReadReq(&address, GROUP_SUPPLY + device, OFFSET_CHARGE, sizeof charge, &charge);
    }
    if (error != 0) {
        return KorResult(error);
    }
    if (status == POWER_STATUS_NONE) {
        return OBJ_E_NOTSUPPORTED;
    }
    *id = device;
    return OBJ_E_NOERR;
}

bool CZelmora::ReadSupply(std::uint32_t supplier, std::uint32_t offset, std::uint8_t* value) {
    return wrap.KorSyncReadReq(&address, GROUP_SUPPLY + supplier, offset, sizeof *value, value) == 0;
}

void CZelmora::Connect() {
    if (OpenKorPort() == OBJ_E_NOERR) {
        address.port = PORT_DEVICES;
    }
}

ObjResult CheckQrUps() {
    CZelmora client;
    client.wrap.LoadDll();
    client.Connect();
    if (client.port == 0) {
        return OBJ_E_NOERR;
    }
    std::uint32_t id = 0;
    return client.GetQR3300PowerSupplierID(&id);
}

ObjResult CQrActivator::DoActivate() {
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "==>CQrActivator::DoActivate()");
    const unsigned short index = HeaderIndexOf(*header);
    const CRef<CQrObj0x8nn1> state(new CQrObj0x8nn1);
    state->Init(DataIndex(index, 1), OBJCODE_RECORD, TEXT_ID_STATE);
    state->client.wrap.LoadDll();
    state->client.Connect();
    if (state->client.port != 0) {
        state->client.GetQR3300PowerSupplierID(&state->supplier);
    }
    // The texts keep their NUL.
    AppendStateItems(*state, {{
                                 {nullptr, std::string("QR4470-UPS\0", 11)},
                                 {nullptr, std::string("Vorthane\0", 9)},
                                 NotSupported(),
                                 NotSupported(),
                                 NotSupported(),
                                 NotSupported(),
                                 {rdPowerStatus},
                                 NotSupported(),
                                 NotSupported(),
                                 {rdBatteryCapacity},
                                 NotSupported(),
                                 NotSupported(),
                                 NotSupported(),
                                 NotSupported(),
                                 NotSupported(),
                                 WriteNotSupported(),
                                 NotSupported(),
                                 NotSupported(),
                             }});
    const CRef<CObjectRecord> gpio(new CObjectRecord);
    gpio->Init(DataIndex(index, 2), OBJCODE_RECORD, TEXT_ID_GPIO);
    AppendGpioItems(*gpio, {{NotSupported(), NotSupported(), NotSupported()}});
    if (CDictionaryRef dictionary; dictionary) {
        dictionary->AddObject(state.Get());
        dictionary->AddObject(gpio.Get());
    }
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "<==CQrActivator::DoActivate()");
    return OBJ_E_NOERR;
}

ObjResult CQrActivator::DoDeactivate() {
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "==>CQrActivator::DoDeactivate()");
    const unsigned short index = HeaderIndexOf(*header);
    if (const auto record = RecordOf(DataIndex(index, 1)); record) {
        record->client.CloseKorPort();
    }
    if (CDictionaryRef dictionary; dictionary) {
        dictionary->RemoveObject(DataIndex(index, 1));
        dictionary->RemoveObject(DataIndex(index, 2));
    }
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "<==CQrActivator::DoDeactivate()");
    return OBJ_E_NOERR;
}

} // namespace UPS
