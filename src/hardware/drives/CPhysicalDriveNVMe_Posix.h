#pragma once

#include "hardware/drives/CPhysicalDriveNVMe.h"

namespace PhysicalDrive {

// An NVMe drive, reached through the node of its controller.
class CPhysicalDriveNVMe_Posix : public CPhysicalDriveNVMe {
public:
    using CPhysicalDriveNVMe::CPhysicalDriveNVMe;

protected:
    bool CreateDeviceHandle() override;
    void CloseDeviceHandle() override;
    bool ReadIdentifyDeviceData() override;
    bool ReadSmartAttributes() override;

private:
    int m_descriptor = -1; // stays set when it is closed: every pair of open and close sets it anew
};

} // namespace PhysicalDrive
