#pragma once

#include "sysconfig/CRCConfigNic.h"

namespace ZMBSD {

// The set-up in which an adapter has a line of its own, ifconfig_DEFAULT speaks for those without one, and dhclient
// serves DHCP.
class CRCConfigNicDefault : public CRCConfigNic {
public:
    static constexpr const char* RC_NETIF_PATH = "/etc/rc.d/netif";
    static constexpr const char* DHCLIENT_PATH = "/etc/rc.d/dhclient";

    std::string GetNicSettings(const std::string& adapter) override;
    std::uint32_t SetNicSettings(const std::string& adapter, const std::string& address,
                                 const std::string& mask) override;
    // Whether the adapter's line, or failing one the default line, holds the letters DHCP anywhere.
    bool GetDHCPState(const std::string& adapter) override;
    std::uint32_t SetDHCP(const std::string& adapter) override;
    std::string GetGateway() override;
    std::uint32_t DeleteDefaultGateway() override;
    std::uint32_t SetGateway(const std::string& gateway) override;
    std::uint32_t RestartAdapter(const std::string& adapter) override;
    std::uint32_t RenewIP(const std::string& adapter) override;

    std::string GetNicDefault();
};

} // namespace ZMBSD
