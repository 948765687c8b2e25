#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "sysconfig/CRCConfig.h"

namespace ZMBSD {

// Where the settings of network adapters are kept, and what restarts them. A machine runs in one of two set-ups; an
// object of the one that the configuration states at this moment serves for one operation. Objects hold no data.
class CRCConfigNic : public CRCConfig {
public:
    static constexpr const char* RC_CONFIG_DHCPCD_ENABLE = "dhcpcd_enable";
    static constexpr const char* RC_CONFIG_DHCP_DEFAULT = "ifconfig_DEFAULT";

    // Null when the configuration states neither set-up, or both.
    static std::unique_ptr<CRCConfigNic> Create();

    virtual ~CRCConfigNic() = default;

    // Results are 0, the status of the program that was run, or 0xECA60001 for an edit that failed. Nothing is run for
    // an adapter whose name must not reach a shell: EINVAL.
    virtual std::string GetNicSettings(const std::string& adapter) = 0;
    virtual std::uint32_t SetNicSettings(const std::string& adapter, const std::string& address,
                                         const std::string& mask) = 0;
    virtual bool GetDHCPState(const std::string& adapter) = 0;
    virtual std::uint32_t SetDHCP(const std::string& adapter) = 0;
    virtual std::string GetGateway() = 0;
    virtual std::uint32_t DeleteDefaultGateway() = 0;
    virtual std::uint32_t SetGateway(const std::string& gateway) = 0;
    // Both block until the programs that do it end. The dhcpcd set-up tells no failure.
    virtual std::uint32_t RestartAdapter(const std::string& adapter) = 0;
    virtual std::uint32_t RenewIP(const std::string& adapter) = 0;
};

} // namespace ZMBSD
