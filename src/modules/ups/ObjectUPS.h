#pragma once

#include <cstdint>

#include "dictionary/ModuleActivator.h"
#include "dictionary/ObjDictionary.h"

// An uninterruptible power supply, under one layout of items for all kinds of supplies; the kind decides where the
// values come from. At start-up the integrated one alone is looked for.
//
//   0x8nn1:1   model                    VISIBLE_STRING  read
//   0x8nn1:2   manufacturer             VISIBLE_STRING  read
//   0x8nn1:3   major revision           UNSIGNED8       read
//   0x8nn1:4   minor revision           UNSIGNED8       read
//   0x8nn1:5   build                    UNSIGNED16      read
//   0x8nn1:6   reserved                 VISIBLE_STRING  read
//   0x8nn1:7   power status             UNSIGNED8       read  1 mains, 2 battery, 0 anything else
//   0x8nn1:8   communication status     UNSIGNED8       read
//   0x8nn1:9   battery status           UNSIGNED8       read
//   0x8nn1:10  battery charge           UNSIGNED8       read  percent
//   0x8nn1:11  battery runtime          UNSIGNED32      read
//   0x8nn1:12  counts power failures    BOOLEAN         read
//   0x8nn1:13  power failures           UNSIGNED32      read
//   0x8nn1:14  fan error                BOOLEAN         read
//   0x8nn1:15  battery error            BOOLEAN         read
//   0x8nn1:16  start of a test          BOOLEAN         write; of the other kinds read, write, neither supported
//   0x8nn1:17  reserved                 VISIBLE_STRING  read
//   0x8nn1:18  interval service status  BOOLEAN         read
//   0x8nn2:1   GPIO value 1             UNSIGNED16      read
//   0x8nn2:2   GPIO value 2             UNSIGNED8       read
//   0x8nn2:3   GPIO value 3             UNSIGNED8       read
namespace UPS {

enum USV_TYPE : std::uint32_t {
    USV_TYPE_KUPS = 1, // the integrated one, behind the hardware access device
    USV_TYPE_APC = 2,
    USV_TYPE_QR = 3, // of one family of embedded computers, read over the runtime's protocol
};

// Makes the module of the integrated supply if there is one. Always 0.
ObjResult Create();

// Makes the header and the activator of a supply of the kind.
void CreateUps(CObjDictionary* dictionary, unsigned char number, USV_TYPE kind);

// Whether there is a supply of the kind: 0 or a code.
ObjResult CheckKUps();
ObjResult CheckApcUps(unsigned char number);
ObjResult CheckQrUps();

class CUpsObj0x8nn0 : public CObj0x8nn0 {
public:
    USV_TYPE kind{};
};

class CKUpsObj0x8nn0 : public CObj0x8nn0 {
public:
    USV_TYPE kind{};
};

class CUpsActivator : public CModuleActivator {
public:
    CRef<CObj0x8nn0> header;
};

} // namespace UPS
