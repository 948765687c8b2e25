#pragma once

#include <cstdint>

#include "dictionary/InfoItem.h"
#include "dictionary/ObjectRecord.h"

// The machine's memory: how much there is, and how much of it is available at the moment of the read.
//
//   0x8nn1:1  total memory      UNSIGNED32  read; bytes, not supported where they do not fit
//   0x8nn1:2  available memory  UNSIGNED32  read; the same
//   0x8nn1:3  reserved          UNSIGNED32  not supported
//   0x8nn1:4  reserved          UNSIGNED32  not supported
//   0x8nn1:5  reserved          UNSIGNED32  not supported
//   0x8nn1:6  total memory      UNSIGNED64  read; bytes
//   0x8nn1:7  available memory  UNSIGNED64  read; bytes
namespace Memory {

// Makes the header and the record. Always 0.
ObjResult Create();

// The figures are the module's, not the object's: they are read and written under the section of the one object.
class CObj0x8nn1 : public CObjectRecord {
public:
    // Runs the calculation once: the totals keep its result. Returns 0.
    ObjResult Init(unsigned short index);

    // The calculation; after a failure the results stay as they were.
    static void UpdateAll();

    // Read triggers of the available memory in 32 and in 64 bits. OBJ_E_INVALACCESS where the item is too small.
    static ObjResult RdMemAvail(TInfoItem* item, unsigned short index, unsigned char subIndex);
    static ObjResult RdMemAvailEx(TInfoItem* item, unsigned short index, unsigned char subIndex);

    // Reads the page counters: 0, or the status of the first that could not be read, which is logged.
    static int UpdateVmStats();
    // The size of the ZFS file cache in pages; 0 where there is none or it cannot be told in 32 bits.
    static std::uint32_t GetZfsArcSizeCount();

    // Bytes and numbers of pages.
    static std::uint32_t v_page_size;
    static std::uint32_t v_active_count;
    static std::uint32_t v_wire_count;
    static std::uint32_t v_free_count;
    static std::uint32_t v_inactive_count;
    static std::uint32_t v_cache_count;

    // Bytes; the narrow ones are 0xFFFFFFFF where the memory does not fit 32 bits.
    static std::uint32_t ui32Total;
    static std::uint32_t ui32Available;
    static std::uint64_t ui64Total;
    static std::uint64_t ui64Available;
};

} // namespace Memory
