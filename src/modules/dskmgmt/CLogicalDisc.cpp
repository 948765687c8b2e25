#include "modules/dskmgmt/CLogicalDisc.h"

#include <mutex>
#include <stdexcept>

#include "host/MountTable.h"
#include "log/Logger.h"
#include "platform/StringHelper.h"
#include "sysconfig/CSystem.h"

using ZMBSD::CSystem;

namespace DiskManagement {

namespace {

constexpr std::size_t MAX_TEXT = 1023;

constexpr const char* LIST_POOLS = "zpool list -Ho name";
constexpr const char* POOL_AVAILABLE = "zfs list -p -Ho avail ";
constexpr const char* POOL_USED = "zfs list -p -Ho used ";
constexpr const char* POOL_PATH = "/"; // meant: whatever its mount points are
constexpr const char* POOL_FILE_SYSTEM = "ZFS";

constexpr const char* MEDIA = "/media/";

// Exit status of a shell that does not find the program, as a wait status.
constexpr std::uint32_t NOT_FOUND = 127 << 8;

// Asked by timers and by requests.
std::mutex s_zpoolLock;
CMissingProgram s_zpool;

bool MayRunZpool() {
    const std::lock_guard<std::mutex> lock(s_zpoolLock);
    return s_zpool.MayRun(std::chrono::steady_clock::now());
}

void NoteZpool(std::uint32_t status) {
    const std::lock_guard<std::mutex> lock(s_zpoolLock);
    if (s_zpool.Ran(status, std::chrono::steady_clock::now())) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "DiskManagement: there is no zpool, and so there are no pools");
    }
}

// Names of pools may have colons and blanks, but nothing else that the shell looks at.
bool IsPoolName(const std::string& name) {
    return name.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-.: ") ==
               std::string::npos &&
           !name.empty();
}

// False where the command fails or prints no number.
bool QueryNumber(const std::string& command, const std::string& pool, std::uint64_t& number) {
    if (!IsPoolName(pool)) {
        return false;
    }
    try {
        unsigned long value = 0;
        const bool isQuoted = pool.find(' ') != std::string::npos;
        if (CSystem::Execute(command + (isQuoted ? "'" + pool + "'" : pool), value) != 0) {
            return false;
        }
        number = value;
        return true;
    } catch (const std::logic_error&) { // "-" stands for a figure that there is not
        return false;
    }
}

} // namespace

std::string CLogicalDisc::Cut(const std::string& text) {
    return text.substr(0, MAX_TEXT);
}

CLogicalDiscBSD::CLogicalDiscBSD(const std::string& pool) {
    m_volumeName = Cut(pool);
}

ObjResult CLogicalDiscBSD::Update() {
    QueryNumber(POOL_AVAILABLE, m_volumeName, m_freeBytes);
    if (std::uint64_t used = 0; QueryNumber(POOL_USED, m_volumeName, used)) {
        m_totalBytes = used + m_freeBytes;
    }
    m_volumePath = POOL_PATH;
    m_fileSystem = POOL_FILE_SYSTEM;
    m_driveType = DRIVE_TYPE_POOL;
    return OBJ_E_NOERR;
}

CLogicalDiscMedia::CLogicalDiscMedia(const std::string& mountPoint) {
    m_volumePath = Cut(mountPoint);
}

ObjResult CLogicalDiscMedia::Update() {
    Host::TFileSystem system;
    if (Host::GetFileSystem(m_volumePath, system) != 0) {
        return STATUS_UNSPECIFIED;
    }
    m_volumeName = Cut(system.source);
    m_fileSystem = Cut(system.type);
    m_totalBytes = system.blocks * system.blockSize;
    m_freeBytes = system.blocksAvailable * system.blockSize;
    m_driveType = DRIVE_TYPE_MEDIUM;
    return OBJ_E_NOERR;
}

bool CLogicalDiscMedia::IsMediaDevice() const {
    return CStringHelper::StartsWith(m_volumePath, MEDIA);
}

bool CLogicalDiscEnumerator::Init() {
    m_index = 0;
    return true;
}

bool CLogicalDiscEnumerator::DeInit() {
    m_index = 0;
    return true;
}

bool CLogicalDiscEnumerator::Next(CLogicalDisc** disc) {
    if (!MayRunZpool()) {
        return false;
    }
    std::vector<std::string> pools;
    const std::uint32_t status = CSystem::Execute(LIST_POOLS, pools);
    NoteZpool(status);
    if (status != 0 || m_index >= pools.size()) {
        return false;
    }
    *disc = new CLogicalDiscBSD(pools[m_index]);
    InterlockedIncrement(&(*disc)->m_refCount);
    (*disc)->Update();
    ++m_index;
    return true;
}

bool CMissingProgram::Ran(std::uint32_t status, TTime now) {
    const bool wasMissing = m_missing;
    m_missing = status == NOT_FOUND;
    m_since = now;
    return m_missing && !wasMissing;
}

} // namespace DiskManagement
