#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "dictionary/ObjHelper.h"
#include "log/Logger.h"
#include "modules/nic/IpAddressCheck.h"
#include "modules/nic/NicRecord.h"
#include "modules/nic/ObjectNic_BSD.h"
#include "platform/StringHelper.h"
#include "sysconfig/CRCConfigNic.h"
#include "sysconfig/CSettingsLock.h"
#include "sysconfig/CSystem.h"
#include "sysconfig/ReplaceFile.h"

using ZMBSD::CRCConfigNic;
using ZMBSD::CSettingsLock;
using ZMBSD::CSystem;

// The writing of an adapter's settings.
namespace NIC {

namespace {

constexpr unsigned int MAX_TEXT = 255;
constexpr std::size_t MAX_SERVERS = 3;

bool IsUnchanged(const TInfoItem* item, const void* data, unsigned int size) {
    return item->data != nullptr && item->size == size && std::memcmp(item->data, data, size) == 0;
}

std::string TextOf(const void* data, unsigned int size) {
    return {static_cast<const char*>(data), size};
}

std::string UpToNul(const std::string& text) {
    return text.substr(0, text.find('\0'));
}

// An item's value without the NUL that a write stored behind it; empty where it has none.
std::string StoredText(TInfoItem* item) {
    std::string text;
    GetStringFromItem(item, text);
    return UpToNul(text);
}

// The mask that stays when an address is written, or the one that the address has by its class.
std::string MaskFor(CObject0x8nn1& record, const std::string& address) {
    std::string mask = StoredText(record.GetItem(CObject0x8nn1::SUB_MASK));
    if (!mask.empty() && IsValidNetmask(mask.c_str()) && mask != CObject0x8nn1::UNSET_ADDRESS) {
        return mask;
    }
    return CObject0x8nn1::GetDefaultSubnetMask(address);
}

// SetIPv4 of an address with a mask for it, and the restart that follows a success.
ObjResult WriteAddress(CObject0x8nn1& record, const std::string& address) {
    CSectionLock lock(record.Section());
    const ObjResult result = record.SetIPv4(address, MaskFor(record, address));
    if (result != OBJ_E_NOERR) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "CObject0x8nn1::OnWrite_IPv4 - SetIPv4 failed! Error: %X", result);
        return result;
    }
    record.RestartNetworkAsync();
    return result;
}

ObjResult WriteMask(CObject0x8nn1& record, const std::string& mask) {
    CSectionLock lock(record.Section());
    TInfoItem* item = record.GetItem(CObject0x8nn1::SUB_ADDRESS);
    if (item == nullptr || item->data == nullptr) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "CObject0x8nn1::OnWrite_SubnetMaskv4 - IP is not set yet!Error: %X",
                          OBJ_E_INVALACCESS);
        return OBJ_E_INVALACCESS;
    }
    const std::string address = StoredText(item);
    if (!IsValidIPAddress(address.c_str())) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS,
                          "CObject0x8nn1::OnWrite_SubnetMaskv4 - Configured IP is not valid! Error: %X",
                          OBJ_E_INVALIDDATA);
        return OBJ_E_INVALIDDATA;
    }
    // Meant: a mask with gaps is let pass here, as the form of an address is all that SetIPv4 looks at.
    const ObjResult result = record.SetIPv4(address, mask);
    if (result != OBJ_E_NOERR) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "CObject0x8nn1::OnWrite_SubnetMaskv4 - SetIPv4 failed! Error: %X",
                          result);
        return result;
    }
    record.RestartNetworkAsync();
    return result;
}

} // namespace

ObjResult CObject0x8nn1::SetIPv4(const std::string& address, const std::string& mask) {
    if (!IsValidIPv4(address) || !IsValidIPv4(mask)) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "CObject0x8nn1::SetIPv4 - IP or netmask format invalid! (%s, %s)",
                          address.c_str(), mask.c_str());
        return OBJ_E_INVALIDARG;
    }
    const CSettingsLock lock;
    const auto configuration = CRCConfigNic::Create();
    if (configuration == nullptr) {
        return OBJ_E_INVALIDDATA;
    }
    const std::uint32_t status = configuration->SetNicSettings(m_adapter, UpToNul(address), UpToNul(mask));
    if (status != 0) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "CObject0x8nn1::SetIPv4 - SetNicSettings failed! Error: %X",
                          OsResult(status));
        return OsResult(status);
    }
    return OBJ_E_NOERR;
}

std::string CObject0x8nn1::GetDefaultSubnetMask(const std::string& address) {
    if (!IsValidIPv4(address)) {
        return {};
    }
    const std::uint32_t octet = ParseIPv4Class(address);
    if (octet < 128) {
        return DEFAULT_MASK_CLASS_A;
    }
    if (octet < 192) {
        return DEFAULT_MASK_CLASS_B;
    }
    return octet < 224 ? DEFAULT_MASK_CLASS_C : "";
}

ObjResult CObject0x8nn1::SetDHCP(bool on) {
    if (!on) {
        return OBJ_E_NOTSUPPORTED;
    }
    const CSettingsLock lock;
    const auto configuration = CRCConfigNic::Create();
    if (configuration == nullptr) {
        return OBJ_E_INVALIDDATA;
    }
    const std::uint32_t status = configuration->SetDHCP(m_adapter);
    if (status != 0) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "CObject0x8nn1::SetDHCP - SetDHCP failed! Error: %X",
                          OsResult(status));
        return OsResult(status);
    }
    // The lease brings its own gateway; one that cannot be removed does not undo what was done.
    SetGateway("");
    return OBJ_E_NOERR;
}

ObjResult CObject0x8nn1::SetGateway(const std::string& gateway) {
    const CSettingsLock lock;
    const auto configuration = CRCConfigNic::Create();
    if (configuration == nullptr) {
        return OBJ_E_INVALIDDATA;
    }
    const bool isAddress = IsValidIPv4(gateway);
    if (!isAddress && !gateway.empty() && !CStringHelper::StartsWith(gateway, UNSET_ADDRESS)) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "CObject0x8nn1::SetGateway - Invalid gateway format! Error: %X",
                          OBJ_E_INVALIDARG);
        return OBJ_E_INVALIDARG;
    }
    const std::uint32_t status =
        isAddress ? configuration->SetGateway(UpToNul(gateway)) : configuration->DeleteDefaultGateway();
    if (status != 0) {
        // Meant: errno, whatever the status was.
        const ObjResult result = OsResult(static_cast<std::uint32_t>(errno));
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "CObject0x8nn1::SetGateway - %s failed! Error: %X",
                          isAddress ? "SetGateway" : "DeleteDefaultGateway", result);
        return result;
    }
    return OBJ_E_NOERR;
}

ObjResult CObject0x8nn1::SetDNS(const std::string& servers) {
    if (GetItem(SUB_DNS) == nullptr) {
        g_pLogger->LogMsg(LOG_SEVERITY_ERROR, "CObject0x8nn1::SetDNS - ItemDNS is nullptr");
        return OBJ_E_UNEXPECTED;
    }
    if (servers.empty() || servers == "no" || servers == "NO" || servers == UNSET_ADDRESS) {
        const CSettingsLock lock;
        std::remove(resolvConfBase);
        return OBJ_E_NOERR;
    }
    const std::vector<std::string> list = CStringHelper::Split(servers, ',');
    bool allValid = true;
    for (const std::string& server : list) {
        if (!IsValidIPv4(server)) {
            // The operation's name and the first code are meant: whoever filters the log relies on the text.
            g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS,
                              "CObject0x8nn1::SetGateway - Error: %X - Invalid DNS format \"%s\"",
                              allValid ? OBJ_E_UNEXPECTED : OBJ_E_INVALIDDATA, server.c_str());
            allValid = false;
        }
    }
    if (!allValid) {
        return OBJ_E_INVALIDDATA;
    }
    const ObjResult result = WriteDnsServersToResolvConfig(list);
    if (result != OBJ_E_NOERR) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS,
                          "CObject0x8nn1::SetGateway - WriteDnsServersToResolvConfig failed! Error: %X", result);
    }
    return result;
}

ObjResult CObject0x8nn1::WriteDnsServersToResolvConfig(const std::vector<std::string>& servers) {
    std::vector<std::string> lines;
    for (std::size_t i = 0; i < std::min(servers.size(), MAX_SERVERS); ++i) {
        lines.push_back("nameserver " + UpToNul(servers[i]));
    }
    const CSettingsLock lock;
    if (const int status = CSystem::CreateDirectories(resolvConfD); status != 0) {
        return OsResult(static_cast<std::uint32_t>(status));
    }
    if (const std::uint32_t status = ZMBSD::ReplaceFile(resolvConfBase, CSystem::JoinLines(lines)); status != 0) {
        return OsResult(status);
    }
    return OBJ_E_NOERR;
}

ObjResult OnWrite_IPv4(TInfoItem* item, unsigned short index, unsigned char /*subIndex*/, void* data,
                       unsigned int size) {
    if (data == nullptr || size > MAX_TEXT) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "CObject0x8nn1::OnWrite_IPv4 << (cbData > 255)");
        return OBJ_E_INVALIDARG;
    }
    if (IsUnchanged(item, data, size)) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "CObject0x8nn1::OnWrite_IPv4 << (memcmp == 0)");
        return OBJ_E_NOERR;
    }
    return WithRecord(index, [&](CObject0x8nn1& record) { return WriteAddress(record, TextOf(data, size)); });
}

ObjResult OnWrite_SubnetMaskv4(TInfoItem* item, unsigned short index, unsigned char /*subIndex*/, void* data,
                               unsigned int size) {
    if (data == nullptr || size > MAX_TEXT) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "CObject0x8nn1::OnWrite_SubnetMaskv4 << (cbData > 255)");
        return OBJ_E_INVALIDARG;
    }
    if (IsUnchanged(item, data, size)) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "CObject0x8nn1::OnWrite_SubnetMaskv4 << (memcmp == 0)");
        return OBJ_E_NOERR;
    }
    return WithRecord(index, [&](CObject0x8nn1& record) { return WriteMask(record, TextOf(data, size)); });
}

ObjResult OnWrite_DHCP(TInfoItem* item, unsigned short index, unsigned char /*subIndex*/, void* data,
                       unsigned int size) {
    if (data == nullptr || size == 0) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "CObject0x8nn1::OnWrite_DHCP << (cbData < 1byte)");
        return OBJ_E_INVALIDARG;
    }
    // Bytes behind the first are not stored, so they do not make another value.
    if (IsUnchanged(item, data, 1)) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "CObject0x8nn1::OnWrite_DHCP << (memcmp == 0)");
        return OBJ_E_NOERR;
    }
    return WithRecord(index, [&](CObject0x8nn1& record) {
        CSectionLock lock(record.Section());
        const ObjResult result = record.SetDHCP(*static_cast<const unsigned char*>(data) != 0);
        if (result != OBJ_E_NOERR) {
            g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "CObject0x8nn1::OnWrite_DHCP - SetDHCP failed! Error: %X", result);
        } else {
            record.RestartNetworkAsync();
        }
        return result;
    });
}

ObjResult OnWrite_Gateway(TInfoItem* item, unsigned short index, unsigned char /*subIndex*/, void* data,
                          unsigned int size) {
    if (data == nullptr || size > MAX_TEXT) {
        return OBJ_E_INVALIDARG;
    }
    if (IsUnchanged(item, data, size)) {
        return OBJ_E_NOERR;
    }
    return WithRecord(index, [&](CObject0x8nn1& record) {
        CSectionLock lock(record.Section());
        const ObjResult result = record.SetGateway(TextOf(data, size));
        if (result == OBJ_E_NOERR) {
            record.RestartNetworkAsync();
        }
        return result;
    });
}

ObjResult OnWrite_DNS(TInfoItem* item, unsigned short index, unsigned char /*subIndex*/, void* data,
                      unsigned int size) {
    if (data == nullptr || size > MAX_TEXT) {
        return OBJ_E_INVALIDARG;
    }
    if (IsUnchanged(item, data, size)) {
        return OBJ_E_NOERR;
    }
    return WithRecord(index, [&](CObject0x8nn1& record) {
        CSectionLock lock(record.Section());
        const ObjResult result = record.SetDNS(TextOf(data, size));
        if (result == OBJ_E_NOERR) {
            record.UpdateResolvConfAsync();
        }
        return result;
    });
}

} // namespace NIC
