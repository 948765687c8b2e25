#pragma once

#include <string>

#include "dictionary/InfoItem.h"
#include "dictionary/ObjectRecord.h"
#include "platform/OsUserSystemInfo.h"

// The operating system: its version, told at the start, and the time since it was booted.
//
//   0x8nn1:1  major version  UNSIGNED32      read
//   0x8nn1:2  minor version  UNSIGNED32      read
//   0x8nn1:3  build          UNSIGNED32      read
//   0x8nn1:4  version text   VISIBLE_STRING  read
//   0x8nn2:1  uptime         UNSIGNED64      read; seconds
namespace MDPOperatingSystem {

// 0, or STATUS_UNSPECIFIED without a dictionary.
ObjResult Create();

// The version as a text. Always 0.
ObjResult GetWinVerName(const _OSVERSIONINFOA& version, std::string& name);

// The version, fixed at the start.
class COsObj0x8nn1 : public CObjectRecord {
public:
    ObjResult Init(unsigned short index, _OSVERSIONINFOA version, std::int64_t nameId);
};

// The state of the system.
class COsObj0x8nn2 : public CObjectRecord {
public:
    ObjResult Init(unsigned short index, std::int64_t nameId);

    static ObjResult OnRead_UptimeInSeconds(TInfoItem* item, unsigned short index, unsigned char subIndex);
};

} // namespace MDPOperatingSystem
