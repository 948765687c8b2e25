#pragma once

#include "dictionary/Obj0x8nn0.h"
#include "modules/CPassTimer.h"
#include "modules/dskmgmt/CLogicalDisc.h"

// The logical discs: the ZFS pools, and what is mounted below /media/. An array a figure; element i of every array
// belongs to the same disc.
//
//   0x8nn1  volume path                            VISIBLE_STRING  read
//   0x8nn2  volume name                            VISIBLE_STRING  read; writing is not supported
//   0x8nn3  file system                            VISIBLE_STRING  read
//   0x8nn4  drive type: 1 ZFS pool, 2 medium       UNSIGNED32      read
//   0x8nn5  total bytes                            UNSIGNED64      read
//   0x8nn6  free bytes, at the moment of the read  UNSIGNED64      read
//
// Discs are looked for every two seconds; the arrays are made anew when anything but the free space has changed.
namespace DiskManagement {

// Always 0.
ObjResult Create();

class CDiskMgmtActivator : public CModuleActivator, public IMdpTimerCallback {
public:
    explicit CDiskMgmtActivator(CObj0x8nn0* header) : m_timer(*this, *this), m_header(header) {}

    ObjResult DoActivate() override;
    // OBJ_E_BUSY while a pass is under way.
    ObjResult DoDeactivate() override;
    void MdpTimerproc(unsigned int timerId, unsigned int parameter, void* pointer) override;

    // One pass, of one thread at a time: see CPassTimer. Publishes the discs where they have changed or `force` is set.
    void UpdateDiscs(int force);
    int GetDiscsChanged();
    // Makes all arrays anew. Sorts the current discs by their paths.
    void PrintDiscs();

private:
    CPassTimer m_timer;
    CLogicalDiscs m_discs;     // of the current pass
    CLogicalDiscs m_lastDiscs; // as they were at the last change, in the order of the enumeration
    const CRef<CObj0x8nn0> m_header;
};

} // namespace DiskManagement
