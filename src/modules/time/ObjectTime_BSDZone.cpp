#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <system_error>

#include "log/Logger.h"
#include "modules/time/ObjectTime_BSD.h"
#include "modules/time/TimeItem.h"
#include "platform/OsUserSystem.h"
#include "platform/StringHelper.h"
#include "sysconfig/CSystem.h"

using ZMBSD::CSystem;

// The zones that there are, and the one that is active.
namespace Time {

namespace {

constexpr const char* FALLBACK_ZONE = "UTC";
constexpr std::size_t FIELD_ZONE = 2; // behind the countries and the coordinates

void AddZone(const std::string& name) {
    if (CObj0x8nn1::m_arrTimezones.size() < CObj0x8nn1::MAX_ZONES) {
        CObj0x8nn1::m_arrTimezones.push_back(name);
    }
}

// The name of the machine's zone; empty where the machine has a zone whose name it does not tell.
std::string ActiveZoneName() {
    std::vector<std::string> lines;
    if (CSystem::ReadFile(TIMEZONE_CURRENT_CONFIG_INFO, lines) == 0 && !lines.empty()) {
        return lines.front();
    }
    return CObj0x8nn1::FileExists(TIMEZONE_CURRENT_CONFIG) ? "" : FALLBACK_ZONE;
}

} // namespace

std::vector<std::string>& CObj0x8nn1::m_arrTimezones = *new std::vector<std::string>;
bool CObj0x8nn1::m_bTimeZonesLoaded = false;
std::uint16_t CObj0x8nn1::m_nActiveTz = UNKNOWN_ZONE;

void CObj0x8nn1::LoadTimezones() {
    if (m_bTimeZonesLoaded) {
        return;
    }
    m_arrTimezones.clear();
    m_nActiveTz = UNKNOWN_ZONE;
    ReadTimezoneDescriptionFile();
    IterateTimezoneRootDir();
    std::sort(m_arrTimezones.begin(), m_arrTimezones.end());
    m_bTimeZonesLoaded = true;
}

void CObj0x8nn1::FreeTimeZoneInfo() {
    m_arrTimezones.clear();
    m_bTimeZonesLoaded = false;
}

void CObj0x8nn1::ReadTimezoneDescriptionFile() {
    std::vector<std::string> lines;
    CSystem::ReadFile(
        std::string(TIMEZONE_FILES_LOCATION) + TIMEZONE_DESCRIPTION_FILE + TIMEZONE_DESCRIPTION_FILE_EXTENSION, lines);
    for (const std::string& line : lines) {
        const std::vector<std::string> fields = CStringHelper::Split(line, '\t');
        if (fields.size() > FIELD_ZONE && FileExists(TIMEZONE_FILES_LOCATION + fields[FIELD_ZONE])) {
            AddZone(fields[FIELD_ZONE]);
        }
    }
}

void CObj0x8nn1::IterateTimezoneRootDir() {
    std::error_code error;
    std::filesystem::directory_iterator entry(TIMEZONE_FILES_LOCATION, error);
    for (const std::filesystem::directory_iterator end; !error && entry != end; entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        if (FileExists(entry->path().string()) && !CStringHelper::EndsWith(name, TIMEZONE_DESCRIPTION_FILE_EXTENSION)) {
            AddZone(name);
        }
    }
}

bool CObj0x8nn1::FileExists(const std::string& path) {
    std::error_code error;
    return std::filesystem::is_regular_file(path, error);
}

ObjResult CObj0x8nn1::ReadTZ(TInfoItem* item, unsigned short /*index*/, unsigned char /*subIndex*/) {
    const std::string name = ActiveZoneName();
    const auto zone = std::find(m_arrTimezones.begin(), m_arrTimezones.end(), name);
    m_nActiveTz = name.empty() || zone == m_arrTimezones.end()
                      ? UNKNOWN_ZONE
                      : static_cast<std::uint16_t>(zone - m_arrTimezones.begin());
    SetNumber(item, m_nActiveTz);
    return OBJ_E_NOERR;
}

ObjResult CObj0x8nn1::WriteTZ(TInfoItem* item, unsigned short /*index*/, unsigned char /*subIndex*/, void* data,
                              unsigned int size) {
    if (size < sizeof(std::uint16_t)) {
        return OBJ_E_BUFFERTOOSMALL;
    }
    const auto zone = LoadLe<std::uint16_t>(data);
    if (zone == m_nActiveTz) {
        return OBJ_E_NOERR;
    }
    if (zone >= m_arrTimezones.size()) {
        return OBJ_E_FAILED;
    }
    const std::string& name = m_arrTimezones[zone];
    errno = 0;
    if (const std::uint32_t status = CSystem::SetTimeZone(name); status != 0) {
        const auto error = static_cast<std::uint32_t>(OsUserGetLastError());
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "SetTimeZone failed: %d", static_cast<int>(status));
        return OsResult(error);
    }
    if (const int status = setenv("TZ", name.c_str(), 1); status != 0) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "setenv TZ err: %d", status);
    }
    tzset();
    m_nActiveTz = zone;
    SetNumber(item, zone);
    return OBJ_E_NOERR;
}

} // namespace Time
