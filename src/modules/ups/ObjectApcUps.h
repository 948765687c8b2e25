#pragma once

#include <cstdint>
#include <string>

#include "dictionary/ObjectRecord.h"
#include "modules/ups/ObjectUPS.h"

namespace UPS {

// An external supply. It has no source of values yet: every operation clears its number and gives OBJ_E_FAILED.
class CApcObj0x8nn1 : public CObjectRecord {
public:
    static ObjResult getVendor(std::string* text);
    static ObjResult getModel(std::string* text);
    static ObjResult getFirmwareRev(std::string* text);
    static ObjResult getSerialNumber(std::string* text);
    static ObjResult getRegQuery(const std::string& name, std::string* text);
    static ObjResult getRegQuery(const std::string& name, std::uint32_t* number);
    static ObjResult getBatteryReplaceDate(std::string* text);
    static ObjResult getPowerStatus(std::uint8_t* number);
    static ObjResult getBatteryCapacity(std::uint8_t* number);
    static ObjResult getTotalUPSRuntime(std::uint32_t* number);
    static ObjResult getBatteryStatus(std::uint8_t* number);
    static ObjResult getPowerFailCount(std::uint32_t* number);
    static ObjResult getFanError(std::uint8_t* number);
    static ObjResult getNoBattery(std::uint8_t* number);
    static ObjResult getIntervalServiceStatus(std::uint8_t* number);
    static ObjResult getCommunicationStatus(std::uint8_t* number);
};

// There is no timer.
class CApcActivator : public CUpsActivator {
public:
    ObjResult DoActivate() override;
    ObjResult DoDeactivate() override;
};

} // namespace UPS
