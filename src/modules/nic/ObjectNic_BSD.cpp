#include "modules/nic/ObjectNic_BSD.h"

#include <sys/types.h>

#include <sys/socket.h>

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <netdb.h>
#include <netinet/in.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <utility>

#include "dictionary/ItemTable.h"
#include "dictionary/ModuleObjects.h"
#include "dictionary/ObjHelper.h"
#include "host/NetworkInterfaces.h"
#include "log/Logger.h"
#include "modules/nic/NicRecord.h"
#include "platform/StringHelper.h"
#include "sysconfig/CRCConfigNic.h"
#include "sysconfig/CSystem.h"

using ZMBSD::CRCConfigNic;
using ZMBSD::CSystem;

namespace NIC {

namespace {

constexpr unsigned short LAST_SLOT = 0x8FF0;
constexpr unsigned short MODULE_TYPE = 2;
constexpr const char* MODULE_NAME = "Nic";
constexpr std::int64_t TEXT_ID_MODULE = 1070;
constexpr std::int64_t TEXT_ID_RECORD = 1071;
constexpr std::int64_t TEXT_ID_RENEW = 1072;
constexpr std::int64_t TEXT_ID_SET_ALL = 1073;

constexpr std::uint32_t TEXT_MARK = TypeAccess(TYPE_VISIBLE_STRING, ACCESS_READ | ACCESS_MARK);
constexpr std::uint32_t TEXT_WRITABLE = TypeAccess(TYPE_VISIBLE_STRING, ACCESS_READ | ACCESS_WRITE);
constexpr std::uint32_t BOOLEAN_WRITABLE = TypeAccess(TYPE_BOOLEAN, ACCESS_READ | ACCESS_WRITE);

constexpr std::string_view ADDRESS_KEY = "inet ";
constexpr std::string_view MASK_KEY = " netmask ";
constexpr std::string_view MASK_WORD = " netmask";

std::string MacText(const std::array<unsigned char, 6>& mac) {
    char text[18];
    std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2], mac[3], mac[4], mac[5]);
    return text;
}

// An empty text needs a value too, or the item would read as one without data.
ObjResult SetText(TInfoItem* item, std::string text) {
    if (text.empty()) {
        DeallocateBuffer(item);
        item->data = new unsigned char[1]();
        return OBJ_E_NOERR;
    }
    return CInfoItem(item).SetStringA(text.data(), static_cast<unsigned int>(text.size()));
}

int AddressText(const sockaddr* address, std::string& text) {
    char host[NI_MAXHOST] = {};
    const int result = getnameinfo(address, sizeof(sockaddr_in), host, sizeof host, nullptr, 0, NI_NUMERICHOST);
    if (result == 0) {
        text = host;
    }
    return result;
}

void AddAdapter(CObjDictionary& dictionary, const Host::TLinkInterface& adapter) {
    const unsigned short base =
        AddModuleHeader(dictionary, MODULE_NAME, adapter.name.c_str(), MODULE_TYPE, TEXT_ID_MODULE);
    AddModuleObject<CObject0x8nn1>(dictionary, TEXT_ID_RECORD, DataIndex(base, 1), adapter.name,
                                   MacText(adapter.hardwareAddress));
    AddModuleObject<CObj0xBnn0>(dictionary, TEXT_ID_RENEW, ServiceIndex(base, 0));
    AddModuleObject<CObj0xBnn1>(dictionary, TEXT_ID_SET_ALL, ServiceIndex(base, 1));
}

} // namespace

ObjResult Create() {
    CDictionaryRef dictionary;
    if (!dictionary) {
        return STATUS_UNSPECIFIED;
    }
    std::vector<Host::TLinkInterface> interfaces;
    if (const int result = Host::GetLinkInterfaces(interfaces); result != 0) {
        return static_cast<ObjResult>(result);
    }
    for (const Host::TLinkInterface& interface : interfaces) {
        // The indexes behind the last slot would lead to the objects of other adapters.
        if (dictionary->GetNextFree0x8nn0Slot() > LAST_SLOT) {
            break;
        }
        if (!interface.loopback) {
            AddAdapter(*dictionary.Get(), interface);
        }
    }
    return OBJ_E_NOERR;
}

CObject0x8nn1::CObject0x8nn1()
    : m_restart(*this, RestartNetwork, &m_adapter, "RestartNetwork"), m_renewal(*this, RenewIP, &m_adapter, "RenewIP"),
      m_resolverUpdate(*this, UpdateResolvConf, nullptr, "UpdateResolvConf") {}

ObjResult CObject0x8nn1::Init(unsigned short index, const std::string& adapter, const std::string& mac) {
    m_adapter = adapter;
    m_mac = mac;
    const ObjResult result = CObjectRecord::Init(index, OBJCODE_RECORD, 0);
    AppendItems(*this, {
                           {SUB_MAC, TEXT_MARK, 10008, nullptr, nullptr, ItemValue(m_mac)},
                           {SUB_ADDRESS, TEXT_WRITABLE, 10009, OnRead_IPv4, OnWrite_IPv4},
                           {SUB_MASK, TEXT_WRITABLE, 10010, OnRead_IPv4, OnWrite_SubnetMaskv4},
                           {SUB_DHCP, BOOLEAN_WRITABLE, 10011, OnRead_DHCP, OnWrite_DHCP},
                           {SUB_GATEWAY, TEXT_WRITABLE, 20030, OnRead_Gateway, OnWrite_Gateway},
                           {SUB_DNS, TEXT_WRITABLE, 20031, OnRead_DNS, OnWrite_DNS},
                           {SUB_RESERVED, TEXT_WRITABLE, 20032, RdNotSupported, WrNotSupported},
                           // Meant: writable without a trigger, so a write lasts until the next read.
                           {SUB_DNS_ACTIVE, TEXT_WRITABLE, 20033, OnRead_DNSActive},
                       });
    return result;
}

ObjResult CObject0x8nn1::UpdateIPv4() {
    TInfoItem* addressItem = GetItem(SUB_ADDRESS);
    TInfoItem* maskItem = GetItem(SUB_MASK);
    if (addressItem == nullptr || maskItem == nullptr) {
        return OBJ_E_UNEXPECTED;
    }
    std::string address;
    std::string mask;
    ObjResult result = GetIPv4ByApi(address, mask);
    if (result == OBJ_E_NODATA) {
        if (const auto configuration = CRCConfigNic::Create(); configuration != nullptr) {
            const std::string setting = configuration->GetNicSettings(m_adapter);
            address = ParseIPv4(setting);
            // Meant: a prefix length never gets through, as there is no address in a setting without " netmask".
            mask = setting.find(MASK_KEY) != std::string::npos ? ParseIPv4Mask(setting) : ParseIPv4MaskCIDR(setting);
            result = !address.empty() && !mask.empty() ? OBJ_E_NOERR : OBJ_E_NODATA;
        }
    }
    if (result == OBJ_E_NODATA) {
        address = UNSET_ADDRESS;
        mask = UNSET_ADDRESS;
        result = OBJ_E_NOERR;
    }
    if (result == OBJ_E_NOERR) {
        CSectionLock lock(Section());
        SetText(addressItem, address);
        SetText(maskItem, mask);
    }
    return result;
}

ObjResult CObject0x8nn1::GetIPv4ByApi(std::string& address, std::string& mask) {
    address.clear();
    mask.clear();
    ifaddrs* list = nullptr;
    if (const int result = getifaddrs(&list); result != 0) {
        return static_cast<ObjResult>(result);
    }
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(list, &freeifaddrs);
    ObjResult result = OBJ_E_NODATA;
    for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET || entry->ifa_name != m_adapter) {
            continue;
        }
        int outcome = AddressText(entry->ifa_addr, address);
        if (outcome == 0) {
            outcome = AddressText(entry->ifa_netmask, mask);
        }
        result = static_cast<ObjResult>(outcome);
    }
    return result;
}

std::string CObject0x8nn1::ParseIPv4(const std::string& setting) {
    const std::string value = CSystem::ParseValue(setting, std::string(ADDRESS_KEY));
    const std::size_t end = value.find(MASK_WORD);
    return end == std::string::npos ? std::string() : value.substr(0, end);
}

std::string CObject0x8nn1::ParseIPv4Mask(const std::string& setting) {
    const std::size_t position = setting.find(MASK_KEY);
    return position == std::string::npos ? std::string() : setting.substr(position + MASK_KEY.size());
}

std::string CObject0x8nn1::ParseIPv4MaskCIDR(const std::string& setting) {
    const std::size_t slash = setting.find('/');
    if (slash == std::string::npos) {
        return {};
    }
    unsigned int ones = 0;
    try {
        ones = static_cast<unsigned int>(std::stoi(setting.substr(slash + 1)));
    } catch (const std::exception& exception) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "CObject0x8nn1::ParseIPv4MaskCIDR: %s", exception.what());
        return {};
    }
    if (ones > 32) {
        return {};
    }
    const std::uint32_t mask = ones == 0 ? 0 : 0xFFFFFFFFU << (32 - ones);
    char text[16];
    std::snprintf(text, sizeof text, "%u.%u.%u.%u", mask >> 24, mask >> 16 & 0xFFU, mask >> 8 & 0xFFU, mask & 0xFFU);
    return text;
}

std::uint32_t CObject0x8nn1::ParseIPv4Class(const std::string& address) {
    constexpr std::uint32_t noClass = 0xFFFFFFFF;
    const std::size_t dot = address.find('.');
    if (dot == std::string::npos) {
        return noClass;
    }
    try {
        return static_cast<std::uint32_t>(std::stoul(address.substr(0, dot)));
    } catch (const std::exception& exception) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "CObject0x8nn1::ParseIPv4Class: %s", exception.what());
        return noClass;
    }
}

bool CObject0x8nn1::IsValidIPv4(const std::string& address) {
    if (CStringHelper::StartsWith(address, UNSET_ADDRESS)) {
        return false;
    }
    // The client may have sent the terminator too. Anything else behind it would be hidden from inet_pton.
    if (address.find_first_not_of('\0', std::strlen(address.c_str())) != std::string::npos) {
        return false;
    }
    in_addr parsed{};
    return inet_pton(AF_INET, address.c_str(), &parsed) == 1;
}

ObjResult CObject0x8nn1::UpdateDHCP() {
    TInfoItem* item = GetItem(SUB_DHCP);
    if (item == nullptr) {
        return OBJ_E_UNEXPECTED;
    }
    const auto configuration = CRCConfigNic::Create();
    if (configuration == nullptr) {
        return OBJ_E_INVALIDDATA;
    }
    const bool on = configuration->GetDHCPState(m_adapter);
    CSectionLock lock(Section());
    const ObjResult result = AllocateBuffer(item, sizeof on);
    if (result == OBJ_E_NOERR) {
        item->data[0] = on ? 1 : 0;
    }
    return result;
}

ObjResult CObject0x8nn1::UpdateGateway() {
    TInfoItem* item = GetItem(SUB_GATEWAY);
    if (item == nullptr) {
        return OBJ_E_UNEXPECTED;
    }
    std::string gateway = CSystem::NetstatGetDefaultGateway(m_adapter);
    if (gateway.empty()) {
        if (const auto configuration = CRCConfigNic::Create(); configuration != nullptr) {
            gateway = configuration->GetGateway();
        }
    }
    CSectionLock lock(Section());
    return SetText(item, gateway.empty() ? UNSET_ADDRESS : std::move(gateway));
}

ObjResult CObject0x8nn1::UpdateDNS() {
    return UpdateServers(SUB_DNS, resolvConfBase, "UpdateDNS");
}

ObjResult CObject0x8nn1::UpdateDNSActive() {
    return UpdateServers(SUB_DNS_ACTIVE, resolvConf, "UpdateDNSActive");
}

ObjResult CObject0x8nn1::UpdateServers(unsigned char subIndex, const char* path, const char* operation) {
    TInfoItem* item = GetItem(subIndex);
    if (item == nullptr) {
        g_pLogger->LogMsg(LOG_SEVERITY_ERROR, "CObject0x8nn1::%s - ItemDNS is nullptr", operation);
        return OBJ_E_UNEXPECTED;
    }
    // Empty when the file cannot be read, which is no failure here.
    std::vector<std::string> servers;
    ReadDnsServersFromResolvConfig(path, servers);
    CSectionLock lock(Section());
    SetText(item, CStringHelper::Join(servers, ","));
    return OBJ_E_NOERR;
}

ObjResult CObject0x8nn1::ReadDnsServersFromResolvConfig(const std::string& path, std::vector<std::string>& servers) {
    servers.clear();
    std::vector<std::string> lines;
    if (const std::uint32_t status = CSystem::ReadFile(path, lines); status != 0) {
        return OsResult(status);
    }
    for (const std::string& line : lines) {
        const std::string server = CSystem::ParseValue(line, "nameserver ");
        if (!server.empty()) {
            servers.push_back(server);
        }
    }
    return OBJ_E_NOERR;
}

ObjResult OnRead_IPv4(TInfoItem* /*item*/, unsigned short index, unsigned char /*subIndex*/) {
    return WithRecord(index, [](CObject0x8nn1& record) { return record.UpdateIPv4(); });
}

ObjResult OnRead_DHCP(TInfoItem* /*item*/, unsigned short index, unsigned char /*subIndex*/) {
    return WithRecord(index, [](CObject0x8nn1& record) {
        const ObjResult result = record.UpdateDHCP();
        if (result != OBJ_E_NOERR) {
            g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "CObject0x8nn1::OnRead_DHCP - UpdateDHCP failed! Error: %X",
                              result);
        }
        return result;
    });
}

ObjResult OnRead_Gateway(TInfoItem* /*item*/, unsigned short index, unsigned char /*subIndex*/) {
    return WithRecord(index, [](CObject0x8nn1& record) { return record.UpdateGateway(); });
}

ObjResult OnRead_DNS(TInfoItem* /*item*/, unsigned short index, unsigned char /*subIndex*/) {
    return WithRecord(index, [](CObject0x8nn1& record) { return record.UpdateDNS(); });
}

ObjResult OnRead_DNSActive(TInfoItem* /*item*/, unsigned short index, unsigned char /*subIndex*/) {
    return WithRecord(index, [](CObject0x8nn1& record) { return record.UpdateDNSActive(); });
}

} // namespace NIC
