#pragma once

#include <array>
#include <string>
#include <vector>

namespace Host {

// A network interface as the link level shows it: once each, whatever addresses it has.
struct TLinkInterface {
    std::string name;
    std::array<unsigned char, 6> hardwareAddress; // zeros where it has none
    bool loopback;
};

// The machine's interfaces in the system's order. Returns 0 or getifaddrs' failure, with errno set.
int GetLinkInterfaces(std::vector<TLinkInterface>& interfaces);

} // namespace Host
