#pragma once

#include "hardware/drives/CPhysicalDrive.h"
#include "host/AtaDevice.h"

namespace PhysicalDrive {

// An ATA drive.
class CPhysicalDrive_Posix : public CPhysicalDrive {
public:
    using CPhysicalDrive::CPhysicalDrive;

    // Runs an ATA command that fills `length` bytes of `buffer`. The device must be open.
    bool IoCtrl(unsigned char command, unsigned char feature, void* buffer, unsigned int length);

protected:
    bool CreateDeviceHandle() override;
    void CloseDeviceHandle() override;

    bool CheckBusType() override { return true; }

    bool ReadIdentifyDeviceData() override;

    // A drive that has its health data switched off stays so.
    bool EnableSmart() override { return false; }

    bool ReadSmartAttributes() override;
    bool ReadSmartThresholds() override;
    void VerifyIdentifyDeviceData() override;

private:
    TBlock m_identifyBlock = {};
    Host::AtaDevice* m_camdev = nullptr; // stays set when it is closed: every pair of open and close sets it anew
};

} // namespace PhysicalDrive
