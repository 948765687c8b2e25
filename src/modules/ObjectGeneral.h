#pragma once

#include <string>

#include "dictionary/InfoItem.h"
#include "dictionary/ObjectRecord.h"

// The objects that describe the device as a whole: type, name, versions, identity and serial number. They lie at fixed
// indexes and stay for the life of the dictionary.
//
//   0x1000    device type       UNSIGNED32      read
//   0x1008    device name       VISIBLE_STRING  read, write; the host name
//   0x1009    hardware version  VISIBLE_STRING  read
//   0x100A    software version  VISIBLE_STRING  read
//   0x1018:1  vendor            UNSIGNED32      read
//   0x1018:2  product code      UNSIGNED32      not supported
//   0x1018:3  revision          UNSIGNED32      not supported
//   0x1018:4  serial number     UNSIGNED32      not supported
//   0xF9F0    serial number     VISIBLE_STRING  read
namespace General {

// The identity of the device.
class CObj0x1018 : public CObjectRecord {
public:
    ObjResult Init();
};

// Makes the objects. Always 0.
ObjResult Create();

std::uint32_t GetDeviceType();

// Triggers of the device name.
ObjResult OnRead_DeviceName(TInfoItem* item, unsigned short index, unsigned char subIndex);
ObjResult OnWrite_DeviceName(TInfoItem* item, unsigned short index, unsigned char subIndex, void* data,
                             unsigned int size);

ObjResult GetDeviceName(std::string& name);
// Sets the running host name and keeps it in rc.conf.
ObjResult SetDeviceName(char* name);

// "product;vVersion;date", with placeholders for what the board does not tell. `out` has 256 bytes. Always 0.
ObjResult GetHardwareVersion(char* out);
// The build of the system image, in a new array that the caller owns.
ObjResult GetOsAndImageVersion(char** out);
// `out` has `size` bytes and is left alone where the board tells no serial number.
ObjResult GetSerialNumberEx(char* out, long size);
bool IsValidSerialNumber(const char* text, long size);

// The device has neither a product code nor a revision.
ObjResult GetProdCodeAndRevNo(unsigned int& productCode, unsigned int& revision);
// The device's serial number is a text: as a number there is none.
ObjResult GetSerialNumber(unsigned int* serial);

} // namespace General

// Whether the text may be a device name: letters, digits, "-", "." and "_", a letter or digit first, and none of the
// prefixes that are kept for other devices.
bool IsValidDeviceName(const char* name);
