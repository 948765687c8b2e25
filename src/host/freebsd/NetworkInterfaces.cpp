#include "host/NetworkInterfaces.h"

#include <sys/types.h>

#include <sys/socket.h>

#include <ifaddrs.h>
#include <net/if.h>
#include <net/if_dl.h>

#include <algorithm>
#include <memory>

namespace Host {

int GetLinkInterfaces(std::vector<TLinkInterface>& interfaces) {
    interfaces.clear();
    ifaddrs* list = nullptr;
    if (const int result = getifaddrs(&list); result != 0) {
        return result;
    }
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(list, &freeifaddrs);
    for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_LINK) {
            continue;
        }
        const auto* address = reinterpret_cast<const sockaddr_dl*>(entry->ifa_addr);
        TLinkInterface interface { entry->ifa_name, {}, (entry->ifa_flags & IFF_LOOPBACK) != 0 };
        const std::size_t length = std::min<std::size_t>(address->sdl_alen, interface.hardwareAddress.size());
        std::copy_n(LLADDR(address), length, interface.hardwareAddress.begin());
        interfaces.push_back(interface);
    }
    return 0;
}

} // namespace Host
