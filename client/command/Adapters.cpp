#include "Adapters.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <utility>

#include "mdp/Value.h"

namespace MdpCommand {
namespace {

constexpr std::uint16_t s_moduleTypeNic = 2;

// The service object that sets address, mask and gateway in one edit with one restart.
constexpr unsigned s_serviceSetAddress = 1;
constexpr std::size_t s_setAddressHead = 16;

// What the service refuses as a gateway: it then leaves the configured one, the route in force having no place there,
// and answers with the outcome for address and mask. An empty text would remove the gateway.
constexpr const char* s_keepGateway = "unchanged";

// The record of s_serviceSetAddress: its size, the lengths of the three texts, the texts.
Mdp::Bytes SetAddressRecord(const std::array<std::string, 3>& texts) {
    Mdp::Bytes record;
    const auto put = [&](std::size_t number) {
        for (unsigned shift = 0; shift < 32; shift += 8) {
            record.push_back(static_cast<std::uint8_t>(number >> shift));
        }
    };
    put(s_setAddressHead + texts[0].size() + texts[1].size() + texts[2].size());
    for (const std::string& text : texts) {
        put(text.size());
    }
    for (const std::string& text : texts) {
        record.insert(record.end(), text.begin(), text.end());
    }
    return record;
}

} // namespace

Mdp::Result<std::vector<Mdp::Module>> ListAdapters(const Mdp::Client& client) {
    return client.ListModules(s_moduleTypeNic);
}

Mdp::Result<std::string> ReadAdapterText(const Mdp::Client& client, const Mdp::Module& module, std::uint8_t subIndex) {
    const auto bytes = client.Read(module.Data(Adapter::Settings), subIndex);
    if (!bytes) {
        // An entry that is empty has no data.
        return bytes.Error().code == Mdp::OBJ_E_NODATA ? Mdp::Result<std::string>(std::string()) : bytes.Error();
    }
    return Mdp::DecodeValue(Mdp::TypeVisibleString, *bytes).text;
}

Mdp::Result<Adapter> ReadAdapter(const Mdp::Client& client, const Mdp::Module& module) {
    Adapter adapter;
    adapter.module = module;
    const std::pair<std::uint8_t, std::string*> texts[] = {
        {Adapter::SubMac, &adapter.mac},   {Adapter::SubAddress, &adapter.address},
        {Adapter::SubMask, &adapter.mask}, {Adapter::SubGateway, &adapter.gateway},
        {Adapter::SubDns, &adapter.dns},   {Adapter::SubDnsActive, &adapter.dnsActive},
    };
    for (const auto& [subIndex, text] : texts) {
        auto value = ReadAdapterText(client, module, subIndex);
        if (!value) {
            return value.Error();
        }
        *text = std::move(*value);
    }
    const auto dhcp = client.Read(module.Data(Adapter::Settings), Adapter::SubDhcp);
    if (!dhcp) {
        return dhcp.Error();
    }
    adapter.dhcp = Mdp::DecodeValue(Mdp::TypeBoolean, *dhcp).boolean;
    return adapter;
}

Mdp::Result<void> WriteAdapterText(const Mdp::Client& client, const Mdp::Module& module, std::uint8_t subIndex,
                                   const std::string& text) {
    return client.Write(module.Data(Adapter::Settings), subIndex, Mdp::Bytes(text.begin(), text.end()));
}

Mdp::Result<void> WriteAdapterDhcp(const Mdp::Client& client, const Mdp::Module& module) {
    return client.Write(module.Data(Adapter::Settings), Adapter::SubDhcp, Mdp::Bytes{1});
}

Mdp::Result<void> SetAdapterAddress(const Context& context, const Mdp::Module& module, const std::string& address,
                                    const std::string& mask, const std::string& gateway) {
    const auto response = context.client.CallService(
        module.Service(s_serviceSetAddress),
        SetAddressRecord({address, mask, gateway.empty() ? s_keepGateway : gateway}), context.JobOptions(module.name));
    if (!response) {
        return response.Error();
    }
    if (response->status.Failed()) {
        return Mdp::Error{Mdp::ErrorKind::Object, response->FailureCode(), 0, {}};
    }
    return {};
}

std::optional<std::uint32_t> ParseIPv4(const std::string& text) {
    in_addr address{};
    if (inet_pton(AF_INET, text.c_str(), &address) != 1) {
        return std::nullopt;
    }
    return ntohl(address.s_addr);
}

bool IsMask(const std::string& text) {
    const auto mask = ParseIPv4(text);
    return mask && *mask != 0 && ((~*mask + 1) & ~*mask) == 0;
}

bool CanHaveSettings(std::string_view adapter) {
    return std::all_of(adapter.begin(), adapter.end(), [](char c) {
        return c == '_' || (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    });
}

} // namespace MdpCommand
