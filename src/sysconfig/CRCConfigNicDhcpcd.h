#pragma once

#include <functional>
#include <string>
#include <vector>

#include "sysconfig/CRCConfigNicDefault.h"

namespace ZMBSD {

// The set-up in which dhcpcd serves every adapter but those of the deny list in its flags: these have static addresses.
class CRCConfigNicDhcpcd : public CRCConfigNicDefault {
public:
    static constexpr const char* RC_DHCPCD_PATH = "/etc/rc.d/dhcpcd";
    static constexpr const char* RC_CONFIG_DHCPCD_FLAGS = "dhcpcd_flags";
    static constexpr const char* RC_CONFIG_DHCPCD_DENYIINTERFACE_OPT = "-Z";
    static constexpr const char* RC_CONFIG_DHCPCD_DENYIINTERFACE_OPT2 = "--denyinterfaces";
    static constexpr const char* RC_CONFIG_DHCPCD_NOGATEWAY_OPT = "-G";
    static constexpr const char* RC_CONFIG_DHCPCD_NOGATEWAY_OPT2 = "--nogateway";

    std::uint32_t SetNicSettings(const std::string& adapter, const std::string& address,
                                 const std::string& mask) override;
    bool GetDHCPState(const std::string& adapter) override;
    std::uint32_t SetDHCP(const std::string& adapter) override;
    std::uint32_t DeleteDefaultGateway() override;
    std::uint32_t SetGateway(const std::string& gateway) override;
    // Both always give 0, and wait for each other. RestartAdapter restarts all adapters; RenewIP does nothing for a
    // static one, nor where its name or one of the deny list must not reach the shell.
    std::uint32_t RestartAdapter(const std::string& adapter) override;
    std::uint32_t RenewIP(const std::string& adapter) override;

    // An option of the flags with its value, and its value alone; empty when the flags do not hold it.
    std::string GetFlagOption(const std::string& option);
    std::string GetFlagOptionValue(const std::string& option);
    std::vector<std::string> GetDeniedInterfaces();
    // The new value of the flags, with the adapter in or out of the deny list, and with or without the option that
    // keeps dhcpcd from setting a gateway.
    std::string GetDhcpcdDeniedInterfacesString(const std::string& adapter, bool add);
    std::string GetGatewayString(bool add);

private:
    // Writes the flags that the function makes of the present ones; nobody else changes them in between.
    static bool ChangeFlags(const std::function<std::string()>& newFlags);
    std::string GetFlag(const std::string& option, bool wantValue);
};

} // namespace ZMBSD
