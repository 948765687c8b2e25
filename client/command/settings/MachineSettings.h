#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Accounts.h"
#include "Adapters.h"
#include "Command.h"
#include "settings/SettingsChoice.h"

// The settings as a machine has them.

namespace MdpCommand {

// A user's part in a group. A machine tells the groups of a user in one text, in which a group whose name is the end of
// another's is hidden behind that one.
enum class Membership { None, Member, Primary, Hidden };

struct MachineSettings {
    // What a document can hold of the sections that were asked for.
    Settings settings;
    // What a document cannot hold, and why: "dns: ...".
    std::vector<std::string> leftOut;
    // Why there is nothing of a section, by the section: the machine does not offer it.
    std::map<Section, std::string> notOffered;

    // What the machine shows, whether a document can hold it or not.
    std::string name;
    std::string zone; // empty for one that the machine does not know by name
    std::vector<std::string> zones;
    NtpSettings ntp;
    std::map<std::string, Adapter> adapters;
    std::vector<std::string> dns;
    std::string gateway;          // the one in force or, if there is none, the configured one; empty for none
    bool gatewayIsLeased = false; // it lies in the net of an adapter with DHCP
    std::vector<Account> accounts;
    std::vector<std::string> groups;

    Membership MembershipOf(const std::string& user, const std::string& group) const;
    bool HasGroup(const std::string& group) const;
    bool HasUser(const std::string& user) const;
    // Those that are members besides the users whose primary group it is, in the order of the alphabet.
    std::vector<std::string> MembersOf(const std::string& group) const;
};

struct ReadFailure {
    std::string subject;
    Mdp::Error error;
};

// Reads what is chosen. Nothing where an answer is missing or is a code.
std::optional<MachineSettings> ReadMachineSettings(const Context& context, const SettingsChoice& choice,
                                                   ReadFailure& failure);

// Whether an address lies in the net of another.
bool IsInNet(const std::string& address, const std::string& ofAddress, const std::string& mask);

// The index of the device name, a variable.
inline constexpr std::uint16_t s_deviceName = 0x1008;

} // namespace MdpCommand
