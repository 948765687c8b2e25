#include <pthread.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "log/Logger.h"
#include "modules/time/ObjectTime_BSD.h"
#include "modules/time/TimeItem.h"
#include "platform/CHandle.h"
#include "platform/OsUserThread.h"
#include "platform/StringHelper.h"
#include "sysconfig/CRCConfig.h"
#include "sysconfig/CSettingsLock.h"
#include "sysconfig/CSystem.h"
#include "sysconfig/ReplaceFile.h"

using ZMBSD::CRCConfig;
using ZMBSD::CSystem;

// The settings of the NTP daemon: the first pool line of its configuration, and whether it is enabled.
namespace Time {

namespace {

constexpr unsigned int MAX_SERVER = 1024;
constexpr const char* NO_SYNCHRONISATION = "NOSYNC";
constexpr const char* SERVER_CHARACTERS = "-_.:0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";

// As powers of two of seconds; the daemon takes no longer poll than the latter.
constexpr unsigned int LOWEST_MIN_POLL = 4;
constexpr unsigned int HIGHEST_MAX_POLL = 17;

constexpr double LN_2 = 0.6931471805599453;

constexpr std::uint32_t MAX_WAIT_MS = 30000;

// The thread that starts or stops the daemon, where one does. Never destroyed: a client's thread may outlive main.
struct TDaemonControl {
    CSection section;
    CHandle last;
    pthread_t lastIdentifier = {};
};

TDaemonControl& DaemonControl() {
    static TDaemonControl& control = *new TDaemonControl;
    return control;
}

// The new thread gets the handle of the one before it and waits for it: else the start of a daemon could overtake the
// stop that was to make it read its configuration anew.
void RunAfterLast(OsUserThreadRoutine routine) {
    TDaemonControl& control = DaemonControl();
    CSectionLock lock(control.section);
    pthread_t identifier = {};
    CHandle thread(OsUserCreateThread(nullptr, 0, routine, control.last.get(), 0, &identifier));
    if (thread != nullptr) {
        [[maybe_unused]] const _OsUserHandle* ownedByTheThread = control.last.release();
        control.last = std::move(thread);
        control.lastIdentifier = identifier;
    }
}

// The last thread leaves nothing behind, neither a handle nor a thread that nobody has joined.
void EndRun() {
    TDaemonControl& control = DaemonControl();
    CSectionLock lock(control.section);
    if (control.last != nullptr && pthread_equal(control.lastIdentifier, pthread_self()) != 0) {
        control.last.reset();
    }
}

void WaitFor(void* earlier) {
    const CHandle thread(static_cast<_OsUserHandle*>(earlier));
    if (thread != nullptr) {
        OsUserWaitForThread(thread.get(), MAX_WAIT_MS);
    }
}

// The first line that begins with the pool command, or the end.
std::vector<std::string>::iterator FindPoolLine(std::vector<std::string>& lines) {
    return std::find_if(lines.begin(), lines.end(),
                        [](const std::string& line) { return CStringHelper::StartsWith(line, NTP_CONFIG_POOL_CMD); });
}

std::string FirstWord(const std::string& text) {
    const std::vector<std::string> words = CStringHelper::Split(text, ' ');
    return words.empty() ? std::string() : words.front();
}

std::string PoolLine(const std::string& server, unsigned int minPoll) {
    const unsigned int maxPoll = std::min(minPoll + 1, HIGHEST_MAX_POLL);
    const int length = std::snprintf(nullptr, 0, NTP_CONFIG_POOL_CMD_TEMPLATE, server.c_str(), minPoll, maxPoll);
    std::string line(static_cast<std::size_t>(length) + 1, '\0');
    std::snprintf(line.data(), line.size(), NTP_CONFIG_POOL_CMD_TEMPLATE, server.c_str(), minPoll, maxPoll);
    line.pop_back();
    return line;
}

} // namespace

void StartNtpServerAsync() {
    RunAfterLast(StartNtpServer);
}

void StopNtpServerAsync() {
    RunAfterLast(StopNtpServer);
}

std::uint32_t StartNtpServer(void* earlier) {
    WaitFor(earlier);
    CSystem::ServiceStart(CSystem::SERVICE_NTPD);
    EndRun();
    return 0;
}

std::uint32_t StopNtpServer(void* earlier) {
    WaitFor(earlier);
    CSystem::ServiceStop(CSystem::SERVICE_NTPD);
    EndRun();
    return 0;
}

std::string CObj0x8nn1::ReadNtpConfigServerValue() {
    std::vector<std::string> lines;
    CSystem::ReadFile(NTP_CONFIG, lines);
    const auto line = FindPoolLine(lines);
    return line == lines.end() ? std::string() : CSystem::ParseValue(*line, NTP_CONFIG_POOL_CMD);
}

std::string CObj0x8nn1::GetNtpServer() {
    return FirstWord(ReadNtpConfigServerValue());
}

std::uint32_t CObj0x8nn1::GetNtpRefresh() {
    const std::string power = FirstWord(CSystem::ParseValue(ReadNtpConfigServerValue(), NTP_CONFIG_MINPOLL_CMD));
    const double seconds = std::exp2(static_cast<double>(std::strtol(power.c_str(), nullptr, 10)));
    constexpr std::uint32_t MOST = std::numeric_limits<std::uint32_t>::max();
    return seconds < MOST ? static_cast<std::uint32_t>(seconds) : MOST;
}

unsigned int CObj0x8nn1::CalculateMinPoll(unsigned int seconds) {
    return seconds == 0 ? 0 : static_cast<unsigned int>(std::log(seconds) / LN_2);
}

bool CObj0x8nn1::IsValidNtpServer(const std::string& server) {
    return server.find_first_not_of(SERVER_CHARACTERS) == std::string::npos;
}

std::uint32_t CObj0x8nn1::WriteNtpConfig(const std::string& server, unsigned int minPoll) {
    const ZMBSD::CSettingsLock lock;
    std::vector<std::string> lines;
    if (const std::uint32_t status = CSystem::ReadFile(NTP_CONFIG, lines); status != 0) {
        return status;
    }
    const auto line = FindPoolLine(lines);
    if (line == lines.end()) {
        return 0;
    }
    *line = PoolLine(server, minPoll);
    return ZMBSD::ReplaceFile(NTP_CONFIG, CSystem::JoinLines(lines));
}

ObjResult CObj0x8nn1::SetNtpServer(const std::string& server) {
    // Meant: the daemon stops before anything is looked at, also for a server that is refused.
    StopNtpServerAsync();
    if (server.empty()) {
        if (const std::uint32_t status = CRCConfig::SetNtpdEnabled(false); status != 0) {
            g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "rcconf disable ntpd failed");
            return OsResult(status);
        }
        return OBJ_E_NOERR;
    }
    if (!IsValidNtpServer(server)) {
        return OBJ_E_INVALIDARG;
    }
    const ZMBSD::CSettingsLock lock;
    const std::uint32_t refresh = GetNtpRefresh();
    if (refresh == 0) {
        return OBJ_E_INVALIDDATA;
    }
    if (const std::uint32_t status = WriteNtpConfig(server, CalculateMinPoll(refresh)); status != 0) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "write ntpconf failed");
        return OsResult(status);
    }
    if (const std::uint32_t status = CRCConfig::SetNtpdEnabled(true); status != 0) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "rcconf enable ntpd failed");
        return OsResult(status);
    }
    StartNtpServerAsync();
    return OBJ_E_NOERR;
}

ObjResult CObj0x8nn1::SetNtpRefresh(unsigned int seconds) {
    const unsigned int minPoll = CalculateMinPoll(seconds);
    if (minPoll < LOWEST_MIN_POLL) {
        return OBJ_E_OUTOFRANGE;
    }
    const ZMBSD::CSettingsLock lock;
    const std::string server = GetNtpServer();
    if (server.empty()) {
        return OBJ_E_UNEXPECTED;
    }
    StopNtpServerAsync();
    if (const std::uint32_t status = WriteNtpConfig(server, minPoll); status != 0) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "WriteNtpConfig failed: %x", OsResult(status));
        return OsResult(status);
    }
    if (const std::uint32_t status = CRCConfig::SetNtpdEnabled(true); status != 0) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "SetNtpdEnabled true failed: %x", OsResult(status));
        return OsResult(status);
    }
    StartNtpServerAsync();
    return OBJ_E_NOERR;
}

ObjResult CObj0x8nn1::ReadNTPServer(TInfoItem* item, unsigned short /*index*/, unsigned char /*subIndex*/) {
    if (!CRCConfig::GetNtpdEnabled()) {
        return OBJ_E_NODATA;
    }
    std::string server = GetNtpServer();
    if (server.empty()) {
        return OBJ_E_NODATA;
    }
    return CInfoItem(item).SetStringA(server.data(), static_cast<unsigned int>(server.size()));
}

ObjResult CObj0x8nn1::WriteNTPServer(TInfoItem* item, unsigned short /*index*/, unsigned char /*subIndex*/, void* data,
                                     unsigned int size) {
    std::string copy(static_cast<const char*>(data), std::min(size, MAX_SERVER));
    std::string server = copy.substr(0, copy.find('\0'));
    if (CStringHelper::ToUpper(server) == NO_SYNCHRONISATION) {
        server.clear();
    }
    const ObjResult result = SetNtpServer(server);
    if (IsError(result)) {
        return result;
    }
    CInfoItem(item).SetStringA(copy.data(), static_cast<unsigned int>(copy.size()));
    return result;
}

ObjResult CObj0x8nn1::ReadNTPRefresh(TInfoItem* item, unsigned short /*index*/, unsigned char /*subIndex*/) {
    return SetNumber(item, CRCConfig::GetNtpdEnabled() ? GetNtpRefresh() : std::uint32_t{0});
}

ObjResult CObj0x8nn1::WriteNTPRefresh(TInfoItem* item, unsigned short /*index*/, unsigned char /*subIndex*/, void* data,
                                      unsigned int size) {
    if (size != sizeof(std::uint32_t)) {
        return OBJ_E_BUFFERTOOSMALL;
    }
    const auto seconds = LoadLe<std::uint32_t>(data);
    const ObjResult result = SetNtpRefresh(seconds);
    if (IsError(result)) {
        return result;
    }
    return SetNumber(item, seconds);
}

} // namespace Time
