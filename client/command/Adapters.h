#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Command.h"

// The network adapters of a machine, as the commands for them see them.

namespace MdpCommand {

// What the machine shows for an address that there is none of, and takes for none.
inline constexpr const char* s_noAddress = "0.0.0.0";

// More servers than this the machine drops without a word.
inline constexpr std::size_t s_mostDnsServers = 3;

struct Adapter {
    // Entries of its settings, which are the first data object of its module.
    static constexpr unsigned Settings = 1;
    static constexpr std::uint8_t SubMac = 1;
    static constexpr std::uint8_t SubAddress = 2;
    static constexpr std::uint8_t SubMask = 3;
    static constexpr std::uint8_t SubDhcp = 4;
    static constexpr std::uint8_t SubGateway = 5;
    static constexpr std::uint8_t SubDns = 6;
    static constexpr std::uint8_t SubDnsActive = 8;

    Mdp::Module module;
    std::string mac;
    std::string address;
    std::string mask;
    bool dhcp = false;
    std::string gateway; // the machine's: the one in force or, if there is none, the configured one
    std::string dns;     // the machine's, with commas between
    std::string dnsActive;
};

Mdp::Result<std::vector<Mdp::Module>> ListAdapters(const Mdp::Client& client);
Mdp::Result<Adapter> ReadAdapter(const Mdp::Client& client, const Mdp::Module& module);

// An entry of an adapter's settings that is a text. Empty where there is no data.
Mdp::Result<std::string> ReadAdapterText(const Mdp::Client& client, const Mdp::Module& module, std::uint8_t subIndex);
Mdp::Result<void> WriteAdapterText(const Mdp::Client& client, const Mdp::Module& module, std::uint8_t subIndex,
                                   const std::string& text);
Mdp::Result<void> WriteAdapterDhcp(const Mdp::Client& client, const Mdp::Module& module);

// Gives an adapter a fixed address and the machine a gateway, in one edit with one restart. Without a gateway, which
// can be s_noAddress, the configured one stays. Where both are set and one of them fails, the machine tells of a
// success.
Mdp::Result<void> SetAdapterAddress(const Context& context, const Mdp::Module& module, const std::string& address,
                                    const std::string& mask, const std::string& gateway);

std::optional<std::uint32_t> ParseIPv4(const std::string& text);
// Ones followed only by zeros, with at least one of them.
bool IsMask(const std::string& text);
// rc.conf sets variables of the shell, and the adapter's name is a part of theirs.
bool CanHaveSettings(std::string_view adapter);

} // namespace MdpCommand
