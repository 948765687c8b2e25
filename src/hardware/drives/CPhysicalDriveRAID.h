#pragma once

#include <vector>

#include "hardware/drives/CPhysicalDrive.h"

namespace PhysicalDrive {

// A drive behind a RAID controller. There is no way to reach one on this system: none is ever found, and one that were
// made would not open.
class CPhysicalDriveRAID : public CPhysicalDrive {
public:
    using CPhysicalDrive::CPhysicalDrive;

    // Always empty.
    static std::vector<CPhysicalDrive*> GetDrives();

    // What the controller tells of the drive: 11 bytes of its own, then the drive's identify data.
    const unsigned char* IdentifyArea() const { return m_identifyArea.data(); }

protected:
    bool CreateDeviceHandle() override { return false; }

    void CloseDeviceHandle() override {}

    bool CheckBusType() override { return false; }

    bool ReadIdentifyDeviceData() override { return false; }

    bool EnableSmart() override { return false; }

    bool ReadSmartAttributes() override { return false; }

    bool ReadSmartThresholds() override { return false; }

    void VerifyIdentifyDeviceData() override;

    static constexpr std::size_t CONTROLLER_BYTES = 11;
    std::array<unsigned char, CONTROLLER_BYTES + SMART_BLOCK_SIZE> m_identifyArea = {};
};

} // namespace PhysicalDrive
