#pragma once

#include <string>
#include <vector>

#include "dictionary/Obj0x8nn0.h"
#include "hardware/drives/CPhysicalDrive.h"
#include "hardware/drives/CXmlSmartDescription.h"
#include "modules/CPassTimer.h"

// The physical drives and their health, an array a figure; element i of every array belongs to the same drive. All can
// only be read. Figures that a drive or its description does not give are not supported.
//
//   0x8nn1  serial number                     VISIBLE_STRING
//   0x8nn2  RAID drive identification         UNSIGNED8
//   0x8nn3  partition letters                 VISIBLE_STRING
//   0x8nn4  name                              VISIBLE_STRING
//   0x8nn5  kind: 1 hard disk, 2 flash drive  UNSIGNED8
//   0x8nn6  average erase count               UNSIGNED64, never supported
//   0x8nn7  specified erase count             UNSIGNED64, never supported
//   0x8nn8  life left in percent              INTEGER16
//   0x8nn9  spare blocks remaining            UNSIGNED64
//   0x8nnA  spare blocks in total             UNSIGNED64
//   0x8nnB  spare blocks left in percent      INTEGER16
//   0x8nnC  reallocated sectors               UNSIGNED64
//   0x8nnD  spin retries                      UNSIGNED64
//   0x8nnE  pending sectors                   UNSIGNED64
//   0x8nnF  Ultra DMA CRC errors              UNSIGNED64
//
// Drives are looked for every five seconds. The figures are read anew when the drives have changed, and once in 65
// seconds. While they are read, the arrays are locked.
namespace MassStorageMonitoring {

// Makes the header and its activator. 0, or OBJ_E_FAILED without a dictionary.
ObjResult Create();

// The header, and the look at the drives. One thread at a time: see CPassTimer.
class CMassStorageMonitoringObj0x8nn0 : public CObj0x8nn0 {
public:
    // Loads the description file. Without it there is no monitoring at all.
    CMassStorageMonitoringObj0x8nn0();
    ~CMassStorageMonitoringObj0x8nn0() override;

    // One pass: looks for drives, and publishes them where they have changed or `force` is set.
    void UpdateDrives(int force);
    void GetPhysicalDrives();
    void GetRaidDrives();
    // Whether the drives are others, or in another order, than at the last change.
    int GetDrivesChanged();
    // Makes all arrays anew.
    void PrintDrives();
    void ClearDrives();
    void ClearLastDrives();
    int GetDriveAlreadyExists(const std::string& serial) const;
    // Takes the drive over. 1 where it was kept, 0 where it is none or was seen before.
    int AddDrive(PhysicalDrive::CPhysicalDrive* drive);
    // Half away from zero.
    static int RoundPercent(double percent);

private:
    int m_loadStatus = 0;
    std::vector<std::string> m_lastDrives; // serial numbers
    std::vector<PhysicalDrive::CPhysicalDrive*> m_drives;
    CXmlSmartDescription m_descriptions;
};

class CMassStorageMonitoringActivator : public CModuleActivator, public IMdpTimerCallback {
public:
    explicit CMassStorageMonitoringActivator(CMassStorageMonitoringObj0x8nn0* header)
        : m_timer(*this, *this), m_header(header) {}

    ObjResult DoActivate() override;
    // OBJ_E_BUSY while a pass is under way.
    ObjResult DoDeactivate() override;
    void MdpTimerproc(unsigned int timerId, unsigned int parameter, void* pointer) override;

private:
    CPassTimer m_timer;
    int m_ticks = 0;
    const int m_republishLimit = 12;
    const CRef<CMassStorageMonitoringObj0x8nn0> m_header;
};

} // namespace MassStorageMonitoring
