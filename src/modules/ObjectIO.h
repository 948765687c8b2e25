#pragma once

#include <cstdint>

#include "dictionary/ModuleActivator.h"
#include "dictionary/Obj0x8nn0.h"

// The two supply voltages of EtherCAT P, each on two channels. There is no timer: every access goes straight to the
// device, which stays open while the module is in use.
//
//   0x8nn1:1  Us, channel 1  BOOLEAN  read, write
//   0x8nn1:2  Us, channel 2  BOOLEAN  read, write
//   0x8nn1:3  Up, channel 1  BOOLEAN  read, write
//   0x8nn1:4  Up, channel 2  BOOLEAN  read, write
namespace IO {

// Makes the header, the record and the activator. OBJ_E_NOTSUPPORTED where the hardware lacks the supplies.
ObjResult Create();

// Whether the hardware has the supplies; true also where the question failed for another reason.
bool GetIoSupported();

// 0 or a code; an error of the driver as MapBAPIErrorCode gives it.
ObjResult ReadVoltageState(unsigned char port, bool second, unsigned char* state);
ObjResult SetVoltageState(unsigned char port, bool second, unsigned char on);

// What a client is told of an error of the driver. One that is none of the BIOS interface stays as it is.
ObjResult MapBAPIErrorCode(std::uint32_t code);

ObjResult OnRead_Us(TInfoItem* item, unsigned short index, unsigned char subIndex);
ObjResult OnRead_Up(TInfoItem* item, unsigned short index, unsigned char subIndex);
ObjResult OnWrite_Us(TInfoItem* item, unsigned short index, unsigned char subIndex, void* data, unsigned int size);
ObjResult OnWrite_Up(TInfoItem* item, unsigned short index, unsigned char subIndex, void* data, unsigned int size);

class CObj0x8nn1 : public CObjectRecord {
public:
    ObjResult Init(unsigned short index);

    static bool IsSupported();
};

class CIOActivator : public CModuleActivator {
public:
    // Always 0, also where the device could not be opened, so that its use is given back when the module sleeps.
    ObjResult DoActivate() override;
    ObjResult DoDeactivate() override;
};

} // namespace IO
