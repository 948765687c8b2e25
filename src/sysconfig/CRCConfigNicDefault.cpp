#include "sysconfig/CRCConfigNicDefault.h"

#include <cerrno>

#include "platform/StringHelper.h"
#include "sysconfig/CSettingsLock.h"
#include "sysconfig/CSystem.h"

namespace ZMBSD {

namespace {

// For a program that is given an adapter's name. The system's own are scripts of the shell, which evaluate it.
std::uint32_t RunWithAdapter(const std::string& adapter, const std::vector<std::string>& arguments) {
    return CSystem::IsShellSafe(adapter) ? CSystem::ExecuteSecureInternal(arguments) : std::uint32_t{EINVAL};
}

} // namespace

std::string CRCConfigNicDefault::GetNicSettings(const std::string& adapter) {
    return ReadValue("ifconfig_" + adapter);
}

std::uint32_t CRCConfigNicDefault::SetNicSettings(const std::string& adapter, const std::string& address,
                                                  const std::string& mask) {
    const std::string setting = "ifconfig_" + adapter + "=inet " + address + " netmask " + mask;
    const CSettingsLock lock;
    return RunWithAdapter(adapter, {RC_SYSRC_PATH, setting});
}

bool CRCConfigNicDefault::GetDHCPState(const std::string& adapter) {
    std::string setting = GetNicSettings(adapter);
    if (setting.empty()) {
        setting = GetNicDefault();
    }
    return CStringHelper::ToUpper(setting).find("DHCP") != std::string::npos;
}

std::uint32_t CRCConfigNicDefault::SetDHCP(const std::string& adapter) {
    const std::string setting = "ifconfig_" + adapter + "=DHCP";
    const CSettingsLock lock;
    return RunWithAdapter(adapter, {RC_SYSRC_PATH, setting});
}

std::string CRCConfigNicDefault::GetGateway() {
    return ReadValue("defaultrouter");
}

std::uint32_t CRCConfigNicDefault::DeleteDefaultGateway() {
    const CSettingsLock lock;
    return CSystem::ExecuteSecure(RC_SYSRC_PATH, "-x", "defaultrouter", nullptr);
}

std::uint32_t CRCConfigNicDefault::SetGateway(const std::string& gateway) {
    const std::string setting = "defaultrouter=" + gateway;
    const CSettingsLock lock;
    return CSystem::ExecuteSecure(RC_SYSRC_PATH, setting.c_str(), nullptr);
}

std::uint32_t CRCConfigNicDefault::RestartAdapter(const std::string& adapter) {
    return RunWithAdapter(adapter, {RC_NETIF_PATH, "restart", adapter});
}

std::uint32_t CRCConfigNicDefault::RenewIP(const std::string& adapter) {
    return RunWithAdapter(adapter, {DHCLIENT_PATH, "restart", adapter});
}

std::string CRCConfigNicDefault::GetNicDefault() {
    return ReadValue(RC_CONFIG_DHCP_DEFAULT);
}

} // namespace ZMBSD
