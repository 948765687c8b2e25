#include "hardware/drives/CPhysicalDrive_Posix.h"

#include <cerrno>

#include "hardware/drives/DriveResult.h"
#include "log/Logger.h"

namespace PhysicalDrive {

namespace {

constexpr unsigned char IDENTIFY = 0xEC;
constexpr unsigned char SMART = 0xB0;
constexpr unsigned char READ_DATA = 0xD0;
constexpr unsigned char READ_THRESHOLDS = 0xD1;
// The signature of SMART commands. Meant: IDENTIFY carries it too.
constexpr unsigned char LBA_MID = 0x4F;
constexpr unsigned char LBA_HIGH = 0xC2;
constexpr std::uint32_t TIMEOUT_MS = 60000;

} // namespace

bool CPhysicalDrive_Posix::CreateDeviceHandle() {
    m_camdev = Host::AtaOpen("/dev/ada" + std::to_string(m_driveIndex));
    return m_camdev != nullptr;
}

void CPhysicalDrive_Posix::CloseDeviceHandle() {
    Host::AtaClose(m_camdev);
}

bool CPhysicalDrive_Posix::IoCtrl(unsigned char command, unsigned char feature, void* buffer, unsigned int length) {
    if (m_camdev == nullptr) {
        g_pLogger->LogMsg(LOG_SEVERITY_ERROR, "CPhysicalDrive_Posix::IoCtrl m_camdev is nullptr");
        return false;
    }
    if (Host::AtaRead(m_camdev, {command, feature, LBA_MID, LBA_HIGH, TIMEOUT_MS}, buffer, length) < 0) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "CPhysicalDrive_Posix::IoCtrl 0x%X failed: 0x%X", command,
                          DRIVE_E_OS_BASE | (static_cast<std::uint32_t>(errno) & 0xFFFFU));
        return false;
    }
    return true;
}

bool CPhysicalDrive_Posix::ReadIdentifyDeviceData() {
    return IoCtrl(IDENTIFY, 0, m_identifyBlock.data(), SMART_BLOCK_SIZE);
}

bool CPhysicalDrive_Posix::ReadSmartAttributes() {
    return IoCtrl(SMART, READ_DATA, m_attributeBlock.data(), SMART_BLOCK_SIZE);
}

bool CPhysicalDrive_Posix::ReadSmartThresholds() {
    return IoCtrl(SMART, READ_THRESHOLDS, m_thresholdBlock.data(), SMART_BLOCK_SIZE);
}

void CPhysicalDrive_Posix::VerifyIdentifyDeviceData() {
    VerifyAtaIdentity(m_identifyBlock.data());
}

} // namespace PhysicalDrive
