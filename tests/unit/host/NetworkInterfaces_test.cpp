#include "host/NetworkInterfaces.h"

#include <gtest/gtest.h>

#include <net/if.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

namespace {

std::string HexOf(const std::array<unsigned char, 6>& address) {
    char text[18];
    std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", address[0], address[1], address[2], address[3],
                  address[4], address[5]);
    return text;
}

} // namespace

TEST(NetworkInterfaces, EveryInterfaceIsThereOnceInTheOrderOfItsNumber) {
    std::vector<Host::TLinkInterface> interfaces{{"old", {}, false}};
    ASSERT_EQ(Host::GetLinkInterfaces(interfaces), 0);
    std::set<std::string> names;
    unsigned int number = 0;
    for (const Host::TLinkInterface& interface : interfaces) {
        EXPECT_TRUE(names.insert(interface.name).second) << interface.name;
        EXPECT_GT(if_nametoindex(interface.name.c_str()), number) << interface.name;
        number = if_nametoindex(interface.name.c_str());
    }
    struct if_nameindex* all = if_nameindex();
    std::set<std::string> expected;
    for (const struct if_nameindex* entry = all; entry->if_index != 0; ++entry) {
        expected.insert(entry->if_name);
    }
    if_freenameindex(all);
    EXPECT_EQ(names, expected);
}

TEST(NetworkInterfaces, OnlyTheLoopbackIsMarkedAsOne) {
    std::vector<Host::TLinkInterface> interfaces;
    ASSERT_EQ(Host::GetLinkInterfaces(interfaces), 0);
    for (const Host::TLinkInterface& interface : interfaces) {
        EXPECT_EQ(interface.loopback, interface.name == "lo" || interface.name == "lo0") << interface.name;
    }
}

TEST(NetworkInterfaces, HardwareAddressesAreTheKernels) {
    std::vector<Host::TLinkInterface> interfaces;
    ASSERT_EQ(Host::GetLinkInterfaces(interfaces), 0);
    ASSERT_FALSE(interfaces.empty());
    for (const Host::TLinkInterface& interface : interfaces) {
        std::ifstream file("/sys/class/net/" + interface.name + "/address");
        std::string address;
        if (std::getline(file, address) && address.size() == 17) {
            EXPECT_EQ(HexOf(interface.hardwareAddress), address) << interface.name;
        }
    }
}
