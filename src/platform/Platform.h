#pragma once

#include <cstdint>
#include <string>

// What several modules ask of the system.
namespace Platform {

// Seconds since the start of the system: 0, or OBJ_E_NODATA with the argument left as it was.
std::uint32_t UptimeInSeconds(unsigned long& seconds);

// At most 254 bytes; empty where the firmware tells no version.
std::string GetBiosVersionFull();

// The partition letters of a drive: always empty, as there are no letters on this system.
std::string GetPartitionLettersByDriveIndex(unsigned int& driveIndex);

} // namespace Platform
