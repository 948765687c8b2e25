#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "dictionary/ObjServiceTransfer.h"
#include "dictionary/ObjectRecord.h"
#include "modules/nic/NicJob.h"

// The network adapters: a module each, with a record of settings and two services. A read asks the machine at that
// moment, what runs first and what is configured failing that. A write edits the start-up configuration before it
// returns, and restarts the network on a thread that nobody waits for: the adapter that carries the client may go down.
//
//   0x8nn1:1  MAC address             VISIBLE_STRING  read
//   0x8nn1:2  IPv4 address            VISIBLE_STRING  read, write
//   0x8nn1:3  IPv4 subnet mask        VISIBLE_STRING  read, write
//   0x8nn1:4  DHCP                    BOOLEAN         read, write
//   0x8nn1:5  IPv4 default gateway    VISIBLE_STRING  read, write
//   0x8nn1:6  configured DNS servers  VISIBLE_STRING  read, write
//   0x8nn1:7  reserved                VISIBLE_STRING  not supported
//   0x8nn1:8  active DNS servers      VISIBLE_STRING  read, write; what is written lasts until the next read
//   0xBnn0    renew the address       service
//   0xBnn1    set all at once         service
namespace NIC {

inline constexpr const char* resolvConf = "/etc/resolv.conf";
inline constexpr const char* resolvConfD = "/etc/resolvconf/resolv.conf.d";
inline constexpr const char* resolvConfBase = "/etc/resolvconf/resolv.conf.d/base";

// Makes the objects of every adapter but the loopback. 0, STATUS_UNSPECIFIED without a dictionary, or getifaddrs'
// failure. Adapters that come later, or find no slot of a module left, get no objects.
ObjResult Create();

// The settings of one adapter. Lives as long as the dictionary.
class CObject0x8nn1 : public CObjectRecord {
public:
    static constexpr const char* DEFAULT_MASK_CLASS_A = "255.0.0.0";
    static constexpr const char* DEFAULT_MASK_CLASS_B = "255.255.0.0";
    static constexpr const char* DEFAULT_MASK_CLASS_C = "255.255.255.0";

    // What stands for an address, mask or gateway that there is not.
    static constexpr const char* UNSET_ADDRESS = "0.0.0.0";

    static constexpr unsigned char SUB_MAC = 1;
    static constexpr unsigned char SUB_ADDRESS = 2;
    static constexpr unsigned char SUB_MASK = 3;
    static constexpr unsigned char SUB_DHCP = 4;
    static constexpr unsigned char SUB_GATEWAY = 5;
    static constexpr unsigned char SUB_DNS = 6;
    static constexpr unsigned char SUB_RESERVED = 7;
    static constexpr unsigned char SUB_DNS_ACTIVE = 8;

    CObject0x8nn1();

    ObjResult Init(unsigned short index, const std::string& adapter, const std::string& mac);

    const std::string& Adapter() const { return m_adapter; }

    // Each asks the machine and refreshes items; only storing the values takes the section.
    ObjResult UpdateIPv4();
    ObjResult UpdateDHCP();
    ObjResult UpdateGateway();
    ObjResult UpdateDNS();
    ObjResult UpdateDNSActive();

    // What the running adapter has, the last one of several. OBJ_E_NODATA for none.
    ObjResult GetIPv4ByApi(std::string& address, std::string& mask);
    ObjResult ReadDnsServersFromResolvConfig(const std::string& path, std::vector<std::string>& servers);

    // Parts of a setting such as "inet 10.0.0.1 netmask 255.0.0.0"; empty where it has none.
    static std::string ParseIPv4(const std::string& setting);
    static std::string ParseIPv4Mask(const std::string& setting);
    static std::string ParseIPv4MaskCIDR(const std::string& setting);
    // The first octet, or 0xFFFFFFFF.
    static std::uint32_t ParseIPv4Class(const std::string& address);
    // An address other than those that begin with 0.0.0.0.
    static bool IsValidIPv4(const std::string& address);
    // By the address's class; empty for an address that has none.
    static std::string GetDefaultSubnetMask(const std::string& address);

    // Each edits the configuration.
    ObjResult SetIPv4(const std::string& address, const std::string& mask);
    // OBJ_E_NOTSUPPORTED for false: what ends DHCP is an address.
    ObjResult SetDHCP(bool on);
    // An empty text or one that begins with 0.0.0.0 removes the gateway.
    ObjResult SetGateway(const std::string& gateway);
    // Addresses separated by commas; an empty text, "no", "NO" or "0.0.0.0" removes them all.
    ObjResult SetDNS(const std::string& servers);
    // Keeps the first three.
    ObjResult WriteDnsServersToResolvConfig(const std::vector<std::string>& servers);

    // Each has its thread routine below run in the background; nobody learns how it ends. What is asked for while it
    // runs is done once more behind that run.
    void RestartNetworkAsync();
    void RenewIPAsync();
    void UpdateResolvConfAsync();

private:
    ObjResult UpdateServers(unsigned char subIndex, const char* path, const char* operation);

    std::string m_adapter;
    std::string m_mac;
    CNicJob m_restart;
    CNicJob m_renewal;
    CNicJob m_resolverUpdate;
};

// A service of an adapter: runs with its section held, and tells a failure's code as a number of eight bytes.
class CObjNicService : public CObjServiceTransfer {
public:
    CObjNicService() : CObjServiceTransfer(sizeof(std::uint64_t)) {} // meant: twice the bytes of a code

protected:
    void DoWork(void* argument) override;

private:
    virtual ObjResult Run() = 0;
};

// Renews the address that a DHCP adapter has; does nothing for another.
class CObj0xBnn0 : public CObjNicService {
    ObjResult Run() override;
};

// Sets address, mask and gateway together. Request, all numbers unsigned 32-bit little-endian: total size, the lengths
// of the three texts, the texts.
class CObj0xBnn1 : public CObjNicService {
    ObjResult Run() override;
};

// Triggers of the settings.
ObjResult OnRead_IPv4(TInfoItem* item, unsigned short index, unsigned char subIndex);
ObjResult OnRead_DHCP(TInfoItem* item, unsigned short index, unsigned char subIndex);
ObjResult OnRead_Gateway(TInfoItem* item, unsigned short index, unsigned char subIndex);
ObjResult OnRead_DNS(TInfoItem* item, unsigned short index, unsigned char subIndex);
ObjResult OnRead_DNSActive(TInfoItem* item, unsigned short index, unsigned char subIndex);
ObjResult OnWrite_IPv4(TInfoItem* item, unsigned short index, unsigned char subIndex, void* data, unsigned int size);
ObjResult OnWrite_SubnetMaskv4(TInfoItem* item, unsigned short index, unsigned char subIndex, void* data,
                               unsigned int size);
ObjResult OnWrite_DHCP(TInfoItem* item, unsigned short index, unsigned char subIndex, void* data, unsigned int size);
ObjResult OnWrite_Gateway(TInfoItem* item, unsigned short index, unsigned char subIndex, void* data, unsigned int size);
ObjResult OnWrite_DNS(TInfoItem* item, unsigned short index, unsigned char subIndex, void* data, unsigned int size);

// What runs in the background; all give 0. The first two take a std::string, the adapter's name, and throw what a lack
// of memory throws. RestartNetwork restarts routing first and the adapter then; where that has taken away the route to
// the configured default router, routing comes once more.
std::uint32_t RestartNetwork(void* adapterName);
std::uint32_t RenewIP(void* adapterName);
std::uint32_t UpdateResolvConf(void* parameter);

} // namespace NIC
