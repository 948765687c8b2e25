#include "sysconfig/CRCConfigNicDefault.h"

#include "platform/StringHelper.h"
#include "sysconfig/CSettingsLock.h"
#include "sysconfig/CSystem.h"

namespace ZMBSD {

std::string CRCConfigNicDefault::GetNicSettings(const std::string& adapter) {
    return ReadValue("ifconfig_" + adapter);
}

std::uint32_t CRCConfigNicDefault::SetNicSettings(const std::string& adapter, const std::string& address,
                                                  const std::string& mask) {
    const std::string setting = "ifconfig_" + adapter + "=inet " + address + " netmask " + mask;
    const CSettingsLock lock;
    return CSystem::ExecuteSecure(RC_SYSRC_PATH, setting.c_str(), nullptr);
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
    return CSystem::ExecuteSecure(RC_SYSRC_PATH, setting.c_str(), nullptr);
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
    return CSystem::ExecuteSecure(RC_NETIF_PATH, "restart", adapter.c_str(), nullptr);
}

std::uint32_t CRCConfigNicDefault::RenewIP(const std::string& adapter) {
    return CSystem::ExecuteSecure(DHCLIENT_PATH, "restart", adapter.c_str(), nullptr);
}

std::string CRCConfigNicDefault::GetNicDefault() {
    return ReadValue(RC_CONFIG_DHCP_DEFAULT);
}

} // namespace ZMBSD
