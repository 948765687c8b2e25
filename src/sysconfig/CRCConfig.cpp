#include "sysconfig/CRCConfig.h"

#include <algorithm>
#include <vector>

#include "log/Logger.h"
#include "platform/StringHelper.h"
#include "sysconfig/CSettingsLock.h"
#include "sysconfig/CSystem.h"
#include "sysconfig/ReplaceFile.h"

namespace ZMBSD {

std::string CRCConfig::ReadValue(const std::string& key) {
    std::vector<std::string> lines;
    if (CSystem::ReadFile(RC_CONFIG_FILE, lines) != 0) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "RcConfig::ReadValue: Could not read rc.conf file!");
        return {};
    }
    for (const std::string& line : lines) {
        const std::size_t first = line.find('"');
        if (first == std::string::npos || !CStringHelper::StartsWith(line, key)) {
            continue;
        }
        // With a single quote in the line the value runs to the line's end: meant so.
        const std::size_t last = line.rfind('"');
        std::string value = line.substr(first + 1, last == first ? std::string::npos : last - first - 1);
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "RcConfig::ReadValue \"%s\"=%s", key.c_str(), value.c_str());
        return value;
    }
    return {};
}

bool CRCConfig::WriteValue(const std::string& key, const std::string& value) {
    CSettingsLock lock;
    std::vector<std::string> lines;
    if (!lock.ExcludeSysrc() || CSystem::ReadFile(RC_CONFIG_FILE, lines) != 0) {
        return false;
    }
    const std::string newLine = key + "=\"" + value + "\"";
    const auto line = std::find_if(lines.begin(), lines.end(), [&key](const std::string& candidate) {
        return CStringHelper::StartsWith(candidate, key);
    });
    if (line != lines.end()) {
        *line = newLine;
    } else {
        lines.push_back(newLine);
    }
    return ReplaceFile(RC_CONFIG_FILE, CSystem::JoinLines(lines)) == 0;
}

bool CRCConfig::RemoveValue(const std::string& key, const std::string& filter) {
    CSettingsLock lock;
    std::vector<std::string> lines;
    if (!lock.ExcludeSysrc() || CSystem::ReadFile(RC_CONFIG_FILE, lines) != 0) {
        return false;
    }
    // An empty filter is found in every line.
    const auto line = std::find_if(lines.begin(), lines.end(), [&](const std::string& candidate) {
        return CStringHelper::StartsWith(candidate, key) && candidate.find(filter) != std::string::npos;
    });
    if (line == lines.end()) {
        return true;
    }
    lines.erase(line);
    return ReplaceFile(RC_CONFIG_FILE, CSystem::JoinLines(lines)) == 0;
}

bool CRCConfig::IsEnabled(const std::string& value) {
    return CStringHelper::ToUpper(value) == RC_CONFIG_ENABLED;
}

bool CRCConfig::GetNtpdEnabled() {
    return IsEnabled(ReadValue(RC_CONFIG_NTPD));
}

std::uint32_t CRCConfig::SetNtpdEnabled(bool enabled) {
    const std::string setting = std::string(RC_CONFIG_NTPD) + "=" + (enabled ? RC_CONFIG_ENABLED : RC_CONFIG_DISABLED);
    const CSettingsLock lock;
    return CSystem::ExecuteSecure(RC_SYSRC_PATH, setting.c_str(), nullptr);
}

std::size_t CRCConfig::GetOptionStartPos(const std::string& text, const std::string& option) {
    return text.find(option);
}

std::size_t CRCConfig::GetOptionEndPos(const std::string& text, std::size_t start) {
    return std::min(text.find('-', start), text.size());
}

char CRCConfig::GetDelimiter(const std::string& text) {
    if (text.find(',') != std::string::npos) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "CRCConfig::GetDelimiter -> comma-separated list");
        return ',';
    }
    g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "CRCConfig::GetDelimiter -> space-separated list");
    return ' ';
}

} // namespace ZMBSD
