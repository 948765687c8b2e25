#pragma once

#include <string>
#include <vector>

#include "Json.h"
#include "settings/MachineSettings.h"
#include "settings/SettingsDocument.h"

namespace MdpCommand {

// A setting that a machine has another value of. One change of the machine removes it.
struct Difference {
    Section section;
    std::string item;  // the group or the adapter, or the setting of Ntp
    std::string place; // in the document: "net.em0"
    Json from;
    Json to;
    std::string fromWords; // empty for one that is to be set again
    std::string toWords;
};

// Where the machine differs from what the settings speak of, in the order of the sections.
std::vector<Difference> CompareSettings(const Settings& wanted, const MachineSettings& machine);

// What keeps the machine from being changed to the settings, with what to do about it.
std::vector<Fault> FindObstacles(const Settings& wanted, const MachineSettings& machine);

// "zone: UTC -> Europe/Berlin"
std::string DifferenceWords(const Difference& difference);
Json DifferenceJson(const Difference& difference);

// The refresh that a machine makes of a number of seconds: the power of two that is not above it.
std::uint32_t RefreshOf(std::uint32_t seconds);

} // namespace MdpCommand
