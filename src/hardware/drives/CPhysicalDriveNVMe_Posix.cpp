#include "hardware/drives/CPhysicalDriveNVMe_Posix.h"

#include <cerrno>

#include "host/NvmeDevice.h"
#include "log/Logger.h"

namespace PhysicalDrive {

namespace {

constexpr std::uint32_t ALL_NAMESPACES = 0xFFFFFFFF;
constexpr std::uint32_t IDENTIFY_CONTROLLER = 1;
constexpr std::uint32_t HEALTH_LOG = 2;

// The bits of a completion's status that tell a failure.
constexpr std::uint16_t STATUS_MASK = 0xFFE;

} // namespace

bool CPhysicalDriveNVMe_Posix::CreateDeviceHandle() {
    m_descriptor = Host::NvmeOpen("/dev/nvme" + std::to_string(m_driveIndex));
    if (m_descriptor < 0) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "CPhysicalDriveNVMe_Posix::CreateDeviceHandle failed!");
        return false;
    }
    return true;
}

void CPhysicalDriveNVMe_Posix::CloseDeviceHandle() {
    Host::NvmeClose(m_descriptor);
}

bool CPhysicalDriveNVMe_Posix::ReadIdentifyDeviceData() {
    std::uint16_t status = 0;
    if (Host::NvmeRead(m_descriptor, {Host::NVME_IDENTIFY, 0, IDENTIFY_CONTROLLER}, m_identifyBlock.data(),
                       m_identifyBlock.size(), status) != 0) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS,
                          "CPhysicalDriveNVMe_Posix::ReadIdentifyDeviceData NVME_OPC_IDENTIFY failed: %d", errno);
        return false;
    }
    if ((status & STATUS_MASK) != 0) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS,
                          "CPhysicalDriveNVMe_Posix::ReadIdentifyDeviceData nvme_completion_is_error!");
        return false;
    }
    return true;
}

bool CPhysicalDriveNVMe_Posix::ReadSmartAttributes() {
    TBlock block = {};
    std::uint16_t status = 0;
    if (Host::NvmeRead(m_descriptor, {Host::NVME_GET_LOG_PAGE, ALL_NAMESPACES, HEALTH_LOG}, block.data(), block.size(),
                       status) != 0) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS,
                          "CPhysicalDriveNVMe_Posix::ReadSmartAttributes NVME_OPC_GET_LOG_PAGE failed: %d", errno);
        return false;
    }
    if ((status & STATUS_MASK) != 0) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS,
                          "CPhysicalDriveNVMe_Posix::ReadSmartAttributes nvme_completion_is_error!");
        return false;
    }
    m_attributeBlock = block;
    return true;
}

} // namespace PhysicalDrive
