#include "hardware/drives/CPhysicalDriveRAID.h"

namespace PhysicalDrive {

std::vector<CPhysicalDrive*> CPhysicalDriveRAID::GetDrives() {
    return {};
}

void CPhysicalDriveRAID::VerifyIdentifyDeviceData() {
    VerifyAtaIdentity(m_identifyArea.data() + CONTROLLER_BYTES);
}

} // namespace PhysicalDrive
