#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

// The settings of a machine, as a document holds them. What is missing is not spoken of.

namespace MdpCommand {

// The parts of a document, in the order in which a machine takes them.
enum class Section { Name, Zone, Ntp, Groups, Dns, Gateway, Net };

struct NtpSettings {
    std::string server;                   // empty for none
    std::optional<std::uint32_t> refresh; // seconds; only with a server
};

// Those that are members besides the users whose primary group it is; nothing for a group that is not to be there.
using GroupMembers = std::optional<std::vector<std::string>>;

struct AdapterSettings {
    std::string mac; // for information
    bool dhcp = false;
    std::string address; // with its mask; empty with DHCP, and where nothing is set
    std::string mask;

    bool SetsSomething() const { return dhcp || !address.empty(); }

    bool operator==(const AdapterSettings& other) const = default;
};

struct Settings {
    std::optional<std::string> name;
    std::optional<std::string> zone;
    std::optional<NtpSettings> ntp;
    std::optional<std::map<std::string, GroupMembers>> groups;
    std::optional<std::vector<std::string>> dns; // empty for none
    std::optional<std::string> gateway;          // empty for none
    std::optional<std::map<std::string, AdapterSettings>> net;
};

} // namespace MdpCommand
