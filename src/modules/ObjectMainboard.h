#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "dictionary/Obj0x8nn0.h"
#include "hardware/ZmVtDevWrapper.h"
#include "modules/CPassTimer.h"

// What the hardware access device knows of the mainboard. Whatever it cannot tell is an item without a value.
//
//   0x8nn1:1   name                       VISIBLE_STRING  read
//   0x8nn1:2   serial number              VISIBLE_STRING  read
//   0x8nn1:3   production date            VISIBLE_STRING  read  year-00-00-week
//   0x8nn1:4   boot counter               UNSIGNED32      read
//   0x8nn1:5   operating time             UNSIGNED32      read  renewed every 30 seconds
//   0x8nn1:6   minimum temperature        INTEGER32       read  degrees Celsius
//   0x8nn1:7   maximum temperature        INTEGER32       read  degrees Celsius
//   0x8nn1:8   minimum voltage            INTEGER32       read  mV
//   0x8nn1:9   maximum voltage            INTEGER32       read  mV
//   0x8nn1:10  temperature                INTEGER16       read  degrees Celsius, renewed every 2 seconds
//   0x8nn2:1   revision                   UNSIGNED8       read
//   0x8nn2:2   BIOS major version         UNSIGNED8       read
//   0x8nn2:3   BIOS minor version         UNSIGNED8       read
//   0x8nn2:4   BIOS version               VISIBLE_STRING  read
//   0x8nn3     voltage sensor names       VISIBLE_STRING  read
//   0x8nn4     voltage sensor locations   INTEGER16       read
//   0x8nn5     voltages                   INTEGER16       read  mV, renewed every 2 seconds
//   0x8nn6     reference voltages         INTEGER16       read  mV
//   0x8nn7     GPIO pins                  UNSIGNED8       read, those of the output side write
//   0x8nn8     GPIO direction mask        UNSIGNED8       read  1: the pin is not writable
namespace Mainboard {

// Makes the header and the activator where the device can be opened. Always 0.
ObjResult Create();

class CMainboardObj0x8nn0 : public CObj0x8nn0 {
public:
    // Looked up once, before the header is registered.
    std::vector<ZmVtDevWrapper::INDEX_INFO> voltageSensors;
    unsigned int temperatureSensor = 0; // 0, which is refused, where there is none
    std::atomic<std::uint8_t> ticks{0}; // of the timer; wraps
};

// Identity and counters.
class CObj0x8nn1 : public CObjectRecord {
public:
    // Finds the temperature sensor in the header, which must be in the dictionary.
    ObjResult Init(unsigned short index);
};

// Versions.
class CObj0x8nn2 : public CObjectRecord {
public:
    ObjResult Init(unsigned short index);

    // The middle of a text "platform-version-rest" without blanks round it; empty where there is no such part.
    static std::string BiosVersionFullRemovePlatform(const std::string& text);
    // "major.minor"; empty where both are 0.
    static std::string BiosVersionFullGetFallback(unsigned char& major, unsigned char& minor);
};

// The names, locations and readings of the voltage sensors: empty until CObj0x8nn6 is made.
class CObj0x8nn3 : public CObjectRecord {
public:
    ObjResult Init(unsigned short index);
};

class CObj0x8nn4 : public CObjectRecord {
public:
    ObjResult Init(unsigned short index);
};

class CObj0x8nn5 : public CObjectRecord {
public:
    ObjResult Init(unsigned short index);
};

// The reference values.
class CObj0x8nn6 : public CObjectRecord {
public:
    // Fills the items of all four voltage objects. The header and the other three must be in the dictionary.
    ObjResult Init(unsigned short index);
};

// GPIO pins.
class CObj0x8nn7 : public CObjectRecord {
public:
    ObjResult Init(unsigned short index);
};

// GPIO direction mask.
class CObj0x8nn8 : public CObjectRecord {
public:
    ObjResult Init(unsigned short index);
};

class CMainboardActivator : public CModuleActivator, public IMdpTimerCallback {
public:
    explicit CMainboardActivator(CMainboardObj0x8nn0* header) : m_timer(*this, *this), m_header(header) {}

    ObjResult DoActivate() override;
    ObjResult DoDeactivate() override;
    // `parameter`: index of the header.
    void MdpTimerproc(unsigned int timerId, unsigned int parameter, void* pointer) override;

protected:
    CPassTimer m_timer;

private:
    CRef<CMainboardObj0x8nn0> m_header;
};

// Write trigger of a pin: one byte, 0 or 1.
ObjResult SetGPIO1_Out(TInfoItem* item, unsigned short index, unsigned char subIndex, void* data, unsigned int size);

// Eight bytes from array new, which the caller frees: element n is bit n. 0 or STATUS_UNSPECIFIED.
ObjResult GetGPIO1_In(unsigned char** bits);
ObjResult GetGPIO1_Mask(unsigned char** bits);

} // namespace Mainboard
