#include "sysconfig/CRCConfigNicDhcpcd.h"

#include <algorithm>
#include <mutex>

#include "log/Logger.h"
#include "platform/StringHelper.h"
#include "sysconfig/CSettingsLock.h"
#include "sysconfig/CSystem.h"

namespace ZMBSD {

namespace {

constexpr std::uint32_t s_editFailed = 0xECA60001;

// Held while clients are stopped and started: one that is started while the daemon of all adapters is down would be one
// of its own, which that daemon's next restart does not end.
std::mutex s_clients;

// False when the flags no longer hold the option, which takes an editor without a lock between two reads.
bool ReplaceOption(std::string& flags, const std::string& option, const std::string& replacement) {
    const std::size_t position = flags.find(option);
    if (position == std::string::npos) {
        g_pLogger->LogMsg(LOG_SEVERITY_ERROR, "CRCConfigNicDhcpcd::SetDHCP -> Replace old dhcpcd option failed!");
        return false;
    }
    flags.replace(position, option.size(), replacement);
    return true;
}

} // namespace

std::uint32_t CRCConfigNicDhcpcd::SetNicSettings(const std::string& adapter, const std::string& address,
                                                 const std::string& mask) {
    const CSettingsLock lock;
    if (const std::uint32_t status = CRCConfigNicDefault::SetNicSettings(adapter, address, mask); status != 0) {
        g_pLogger->LogMsg(LOG_SEVERITY_ERROR,
                          "CRCConfigNicDhcpcd::SetNicSettings -> CRCConfigNicDefault::SetNicSettings failed: 0x%X",
                          status);
        return status;
    }
    if (!ChangeFlags([&] { return GetDhcpcdDeniedInterfacesString(adapter, true); })) {
        // The other operation's name and the two blanks are meant: whoever filters the log relies on the text.
        g_pLogger->LogMsg(LOG_SEVERITY_ERROR, "CRCConfigNicDhcpcd::SetDHCP -> WriteValue  failed: 0x%X", s_editFailed);
        return s_editFailed;
    }
    return 0;
}

bool CRCConfigNicDhcpcd::GetDHCPState(const std::string& adapter) {
    const std::vector<std::string> denied = GetDeniedInterfaces();
    return std::find(denied.begin(), denied.end(), adapter) == denied.end();
}

std::uint32_t CRCConfigNicDhcpcd::SetDHCP(const std::string& adapter) {
    const CSettingsLock lock;
    if (GetDHCPState(adapter)) {
        // "ifa_name" is meant literally.
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "DHCP already turned on for adapter ifa_name");
        return 0;
    }
    if (!ChangeFlags([&] { return GetDhcpcdDeniedInterfacesString(adapter, false); })) {
        g_pLogger->LogMsg(LOG_SEVERITY_ERROR, "CRCConfigNicDhcpcd::SetDHCP -> WriteValue  failed: 0x%X", s_editFailed);
        return s_editFailed;
    }
    if (!RemoveValue("ifconfig_" + adapter, "")) {
        g_pLogger->LogMsg(LOG_SEVERITY_ERROR, "CRCConfigNicDhcpcd::SetDHCP -> RemoveValue ifconfig_X failed: 0x%X",
                          s_editFailed);
        return s_editFailed;
    }
    return 0;
}

std::uint32_t CRCConfigNicDhcpcd::DeleteDefaultGateway() {
    const CSettingsLock lock;
    if (const std::uint32_t status = CRCConfigNicDefault::DeleteDefaultGateway(); status != 0) {
        g_pLogger->LogMsg(
            LOG_SEVERITY_ERROR,
            "CRCConfigNicDhcpcd::DeleteDefaultGateway -> CRCConfigNicDefault::DeleteDefaultGateway failed: 0x%X",
            status);
        return status;
    }
    if (!ChangeFlags([this] { return GetGatewayString(false); })) {
        g_pLogger->LogMsg(LOG_SEVERITY_ERROR, "CRCConfigNicDhcpcd::DeleteDefaultGateway -> WriteValue failed: 0x%X",
                          s_editFailed);
        return s_editFailed;
    }
    return 0;
}

std::uint32_t CRCConfigNicDhcpcd::SetGateway(const std::string& gateway) {
    const CSettingsLock lock;
    if (const std::uint32_t status = CRCConfigNicDefault::SetGateway(gateway); status != 0) {
        g_pLogger->LogMsg(LOG_SEVERITY_ERROR,
                          "CRCConfigNicDhcpcd::SetGateway -> CRCConfigNicDefault::SetGateway failed: 0x%X", status);
        return status;
    }
    if (!ChangeFlags([this] { return GetGatewayString(true); })) {
        g_pLogger->LogMsg(LOG_SEVERITY_ERROR, "CRCConfigNicDhcpcd::SetDHCP -> WriteValue failed: 0x%X", s_editFailed);
        return s_editFailed;
    }
    return 0;
}

std::uint32_t CRCConfigNicDhcpcd::RestartAdapter(const std::string& /*adapter*/) {
    const std::lock_guard lock(s_clients);
    CSystem::Execute("service netif restart");
    CSystem::Execute("service dhcpcd restart");
    return 0;
}

std::uint32_t CRCConfigNicDhcpcd::RenewIP(const std::string& adapter) {
    const std::lock_guard lock(s_clients);
    // A client that is started for an adapter which has become static would bring its leased address back.
    if (!CSystem::IsShellSafe(adapter) || !GetDHCPState(adapter)) {
        return 0;
    }
    // The daemon of all adapters takes up those that a command does not deny, whatever it was started with.
    const std::vector<std::string> denied = GetDeniedInterfaces();
    if (!std::all_of(denied.begin(), denied.end(), CSystem::IsShellSafe)) {
        return 0;
    }
    std::string arguments = adapter;
    if (!denied.empty()) {
        arguments =
            std::string(RC_CONFIG_DHCPCD_DENYIINTERFACE_OPT) + " " + CStringHelper::Join(denied, ",") + " " + adapter;
    }
    CSystem::Execute("dhcpcd -k " + adapter);
    CSystem::Execute("dhcpcd " + arguments);
    return 0;
}

std::string CRCConfigNicDhcpcd::GetFlagOption(const std::string& option) {
    return GetFlag(option, false);
}

std::string CRCConfigNicDhcpcd::GetFlagOptionValue(const std::string& option) {
    return GetFlag(option, true);
}

std::vector<std::string> CRCConfigNicDhcpcd::GetDeniedInterfaces() {
    std::string list = GetFlagOptionValue(RC_CONFIG_DHCPCD_DENYIINTERFACE_OPT);
    if (list.empty()) {
        list = GetFlagOptionValue(RC_CONFIG_DHCPCD_DENYIINTERFACE_OPT2);
    }
    return CStringHelper::Split(list, GetDelimiter(list));
}

std::string CRCConfigNicDhcpcd::GetDhcpcdDeniedInterfacesString(const std::string& adapter, bool add) {
    std::string flags = ReadValue(RC_CONFIG_DHCPCD_FLAGS);
    std::string option = RC_CONFIG_DHCPCD_DENYIINTERFACE_OPT;
    std::string old = GetFlagOption(option);
    if (old.empty()) {
        option = RC_CONFIG_DHCPCD_DENYIINTERFACE_OPT2;
        old = GetFlagOption(option);
    }

    std::vector<std::string> denied = GetDeniedInterfaces();
    const auto found = std::find(denied.begin(), denied.end(), adapter);
    if (!add) {
        denied.erase(std::remove(found, denied.end(), adapter), denied.end());
    } else if (found == denied.end()) {
        denied.push_back(adapter);
    }
    const std::string list = CStringHelper::Join(denied, ",");
    const std::string replacement = list.empty() ? "" : option + " " + list;

    if (old.empty()) {
        flags += " " + replacement;
    } else if (!ReplaceOption(flags, old, replacement)) {
        return {};
    }
    return CStringHelper::Trim(flags);
}

std::string CRCConfigNicDhcpcd::GetGatewayString(bool add) {
    std::string flags = ReadValue(RC_CONFIG_DHCPCD_FLAGS);
    std::string old = GetFlagOption(RC_CONFIG_DHCPCD_NOGATEWAY_OPT);
    if (old.empty()) {
        old = GetFlagOption(RC_CONFIG_DHCPCD_NOGATEWAY_OPT2);
    }
    if (old.empty() && add) {
        flags += std::string(" ") + RC_CONFIG_DHCPCD_NOGATEWAY_OPT2;
    } else if (!old.empty() && !add && !ReplaceOption(flags, old, "")) {
        return {};
    }
    return CStringHelper::Trim(flags);
}

bool CRCConfigNicDhcpcd::ChangeFlags(const std::function<std::string()>& newFlags) {
    CSettingsLock lock;
    return lock.ExcludeSysrc() && WriteValue(RC_CONFIG_DHCPCD_FLAGS, newFlags());
}

std::string CRCConfigNicDhcpcd::GetFlag(const std::string& option, bool wantValue) {
    const std::string flags = ReadValue(RC_CONFIG_DHCPCD_FLAGS);
    std::size_t start = GetOptionStartPos(flags, option);
    if (start == std::string::npos) {
        return {};
    }
    const std::size_t end = GetOptionEndPos(flags, start + option.size());
    if (end <= start) {
        return {};
    }
    if (wantValue) {
        start += option.size() + 1;
    }
    // An option at the very end has no blank behind it, and so no value.
    std::string result = start < end ? CStringHelper::Trim(flags.substr(start, end - start)) : std::string();
    g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "CRCConfigNicDhcpcd::GetFlagOptionValue %s=%s", option.c_str(),
                      result.c_str());
    return result;
}

} // namespace ZMBSD
