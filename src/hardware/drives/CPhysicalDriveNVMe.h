#pragma once

#include "hardware/drives/CPhysicalDrive.h"

namespace PhysicalDrive {

inline constexpr std::size_t NVME_IDENTIFY_SIZE = 4096;

// What is common to NVMe drives: the fields of their health log page become attributes of the ATA form.
class CPhysicalDriveNVMe : public CPhysicalDrive {
public:
    using CPhysicalDrive::CPhysicalDrive;

    // The drive of controller `index`. The caller owns it. The device is not touched.
    static CPhysicalDrive* Create(unsigned int index);
    // Always null: drives are told by one number on this system.
    static CPhysicalDrive* Create(unsigned char, unsigned char);

protected:
    bool CheckBusType() override { return true; }

    bool EnableSmart() override { return false; }

    // There are none to read.
    bool ReadSmartThresholds() override { return true; }

    void VerifyIdentifyDeviceData() override;
    void VerifySmartData() override;

    std::array<unsigned char, NVME_IDENTIFY_SIZE> m_identifyBlock = {};
};

} // namespace PhysicalDrive
