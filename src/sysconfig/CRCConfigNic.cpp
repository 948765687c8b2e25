#include "sysconfig/CRCConfigNic.h"

#include "sysconfig/CRCConfigNicDefault.h"
#include "sysconfig/CRCConfigNicDhcpcd.h"

namespace ZMBSD {

std::unique_ptr<CRCConfigNic> CRCConfigNic::Create() {
    const bool hasDefault = !ReadValue(RC_CONFIG_DHCP_DEFAULT).empty();
    const bool hasDhcpcd = IsEnabled(ReadValue(RC_CONFIG_DHCPCD_ENABLE));
    if (hasDefault && !hasDhcpcd) {
        return std::make_unique<CRCConfigNicDefault>();
    }
    if (hasDhcpcd && !hasDefault) {
        return std::make_unique<CRCConfigNicDhcpcd>();
    }
    return nullptr;
}

} // namespace ZMBSD
