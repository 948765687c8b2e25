#pragma once

#include <optional>
#include <string>
#include <vector>

#include "settings/SettingsDifference.h"

namespace MdpCommand {

// One change of a machine.
struct Step {
    std::vector<Difference> differences; // that it removes: one, and with an address perhaps that of the gateway
    std::optional<std::string> gateway;  // that it sets; empty for none
    std::string adapter;                 // through which it sets a gateway alone
};

// The changes in the order in which they cut off neither the machine nor each other: the adapter that carries the
// session comes last, with the gateway in the same edit where that lies in its net. Turning to DHCP takes the gateway
// away, so that one which is to stay is set again behind. The machine has all that the settings speak of.
std::vector<Step> PlanSteps(const Settings& wanted, const MachineSettings& machine, const std::string& sessionAddress);

// The address of this machine to which the ssh session has come in which this program runs; empty for none.
std::string SessionAddress();

} // namespace MdpCommand
