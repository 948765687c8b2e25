#pragma once

#include <string>

#include "runtime/KorSyncWrap.h"

// The runtime's registry, which is reached through the runtime alone: keys with backslashes, by the generation of the
// runtime.
namespace Zelmora {

inline constexpr std::size_t REGISTRY_PATH_SIZE = 64;

// Empty until the paths are selected. Written once, under the section of the module's activator, before any object of
// the module exists.
extern char REG_ZM[REGISTRY_PATH_SIZE];
extern char REG_ZELMORA_SYSTEM[REGISTRY_PATH_SIZE];
extern char REG_ZELMORA_PLC[REGISTRY_PATH_SIZE];
extern char REG_ZELMORA_RTIME[REGISTRY_PATH_SIZE];
extern char REG_ZMROUTEINFO[REGISTRY_PATH_SIZE];
extern bool bZmRegistryPathsInitialized;

// Selects the paths by the runtime's version; only the first call of the process counts.
void InitZmRegistryPaths(KorVersion version);

// The record that asks for a net id at the runtime's next start.
std::string NetIdRegistryRecord(const MirnNetId_& netId);

} // namespace Zelmora
