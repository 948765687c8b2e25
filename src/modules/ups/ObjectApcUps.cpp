#include "modules/ups/ObjectApcUps.h"

#include "dictionary/ItemTable.h"
#include "log/Logger.h"
#include "modules/ItemValues.h"
#include "modules/ups/UpsItems.h"

namespace UPS {

namespace {

// What all read triggers of this kind do: there is no value.
ObjResult RemoveBuffer(TInfoItem* item) {
    DeallocateBuffer(item);
    return OBJ_E_NOERR;
}

ObjResult rdPowerStatus(TInfoItem* item, unsigned short /*index*/, unsigned char /*subIndex*/) {
    return RemoveBuffer(item);
}

ObjResult rdComunicationStatus(TInfoItem* item, unsigned short /*index*/, unsigned char /*subIndex*/) {
    return RemoveBuffer(item);
}

ObjResult rdBatteryStatus(TInfoItem* item, unsigned short /*index*/, unsigned char /*subIndex*/) {
    return RemoveBuffer(item);
}

ObjResult rdBatteryCapacity(TInfoItem* item, unsigned short /*index*/, unsigned char /*subIndex*/) {
    return RemoveBuffer(item);
}

ObjResult rdBatteryRuntime(TInfoItem* item, unsigned short /*index*/, unsigned char /*subIndex*/) {
    return RemoveBuffer(item);
}

ObjResult rdPowerFailCounter(TInfoItem* item, unsigned short /*index*/, unsigned char /*subIndex*/) {
    return RemoveBuffer(item);
}

ObjResult rdFanError(TInfoItem* item, unsigned short /*index*/, unsigned char /*subIndex*/) {
    return RemoveBuffer(item);
}

ObjResult rdBatteryError(TInfoItem* item, unsigned short /*index*/, unsigned char /*subIndex*/) {
    return RemoveBuffer(item);
}

ObjResult rdIntervalServiceStatus(TInfoItem* item, unsigned short /*index*/, unsigned char /*subIndex*/) {
    return RemoveBuffer(item);
}

template <typename T>
ObjResult NoSource(T* number) {
    *number = 0;
    return OBJ_E_FAILED;
}

} // namespace

ObjResult CApcObj0x8nn1::getVendor(std::string* /*text*/) {
    return OBJ_E_FAILED;
}

ObjResult CApcObj0x8nn1::getModel(std::string* /*text*/) {
    return OBJ_E_FAILED;
}

ObjResult CApcObj0x8nn1::getFirmwareRev(std::string* /*text*/) {
    return OBJ_E_FAILED;
}

ObjResult CApcObj0x8nn1::getSerialNumber(std::string* /*text*/) {
    return OBJ_E_FAILED;
}

ObjResult CApcObj0x8nn1::getRegQuery(const std::string& /*name*/, std::string* /*text*/) {
    return OBJ_E_FAILED;
}

ObjResult CApcObj0x8nn1::getRegQuery(const std::string& /*name*/, std::uint32_t* number) {
    return NoSource(number);
}

ObjResult CApcObj0x8nn1::getBatteryReplaceDate(std::string* /*text*/) {
    return OBJ_E_FAILED;
}

ObjResult CApcObj0x8nn1::getPowerStatus(std::uint8_t* number) {
    return NoSource(number);
}

ObjResult CApcObj0x8nn1::getBatteryCapacity(std::uint8_t* number) {
    return NoSource(number);
}

ObjResult CApcObj0x8nn1::getTotalUPSRuntime(std::uint32_t* number) {
    return NoSource(number);
}

ObjResult CApcObj0x8nn1::getBatteryStatus(std::uint8_t* number) {
    return NoSource(number);
}

ObjResult CApcObj0x8nn1::getPowerFailCount(std::uint32_t* number) {
    return NoSource(number);
}

ObjResult CApcObj0x8nn1::getFanError(std::uint8_t* number) {
    return NoSource(number);
}

ObjResult CApcObj0x8nn1::getNoBattery(std::uint8_t* number) {
    return NoSource(number);
}

ObjResult CApcObj0x8nn1::getIntervalServiceStatus(std::uint8_t* number) {
    return NoSource(number);
}

ObjResult CApcObj0x8nn1::getCommunicationStatus(std::uint8_t* number) {
    return NoSource(number);
}

ObjResult CApcActivator::DoActivate() {
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "==>CApcActivator::DoActivate()");
    const unsigned short index = HeaderIndexOf(*header);
    const CRef<CApcObj0x8nn1> state(new CApcObj0x8nn1);
    state->Init(DataIndex(index, 1), OBJCODE_RECORD, TEXT_ID_STATE);
    AppendStateItems(*state, {{
                                 {},
                                 {},
                                 {},
                                 {},
                                 {},
                                 {},
                                 {rdPowerStatus},
                                 {rdComunicationStatus},
                                 {rdBatteryStatus},
                                 {rdBatteryCapacity},
                                 {rdBatteryRuntime},
                                 {nullptr, ItemValue(std::uint8_t{0})},
                                 {rdPowerFailCounter},
                                 {rdFanError},
                                 {rdBatteryError},
                                 WriteNotSupported(),
                                 {},
                                 {rdIntervalServiceStatus},
                             }});
    const CRef<CObjectRecord> gpio(new CObjectRecord);
    gpio->Init(DataIndex(index, 2), OBJCODE_RECORD, TEXT_ID_GPIO);
    AppendGpioItems(*gpio, {{NotSupported(), NotSupported(), NotSupported()}});
    if (CDictionaryRef dictionary; dictionary) {
        dictionary->AddObject(state.Get());
        dictionary->AddObject(gpio.Get());
    }
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "<==CApcActivator::DoActivate()");
    return OBJ_E_NOERR;
}

ObjResult CApcActivator::DoDeactivate() {
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "==>CApcActivator::DoDeactivate()");
    if (CDictionaryRef dictionary; dictionary) {
        dictionary->RemoveObject(DataIndex(HeaderIndexOf(*header), 1));
        dictionary->RemoveObject(DataIndex(HeaderIndexOf(*header), 2));
    }
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "<==CApcActivator::DoDeactivate()");
    return OBJ_E_NOERR;
}

} // namespace UPS
