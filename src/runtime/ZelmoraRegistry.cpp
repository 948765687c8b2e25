#include "runtime/ZelmoraRegistry.h"

#include <cstdio>
#include <cstring>

#include "platform/LittleEndian.h"

namespace Zelmora {

namespace {

struct TPath {
    char* path;
    const char* key; // behind the root
};

constexpr TPath PATHS[] = {
    {REG_ZM, ""},
    {REG_ZELMORA_SYSTEM, "\\System"},
    {REG_ZELMORA_PLC, "\\Plc"},
    {REG_ZELMORA_RTIME, "\\RTime"},
    {REG_ZMROUTEINFO, "\\Remote"},
};

constexpr const char* ROOT = "SOFTWARE\\Vorthane\\Zelmora";
constexpr const char* ROOT_3 = "SOFTWARE\\Vorthane\\Zelmora3";
constexpr std::uint8_t GENERATION_3 = 3;

constexpr char REQUESTED_NET_ID[] = "RequestedMirnNetId";
constexpr std::uint32_t TYPE_BINARY = 3;

} // namespace

char REG_ZM[REGISTRY_PATH_SIZE];
char REG_ZELMORA_SYSTEM[REGISTRY_PATH_SIZE];
char REG_ZELMORA_PLC[REGISTRY_PATH_SIZE];
char REG_ZELMORA_RTIME[REGISTRY_PATH_SIZE];
char REG_ZMROUTEINFO[REGISTRY_PATH_SIZE];
bool bZmRegistryPathsInitialized = false;

void InitZmRegistryPaths(KorVersion version) {
    if (bZmRegistryPathsInitialized) {
        return;
    }
    bZmRegistryPathsInitialized = true;
    for (const TPath& path : PATHS) {
        std::snprintf(path.path, REGISTRY_PATH_SIZE, "%s%s", version.version < GENERATION_3 ? ROOT : ROOT_3, path.key);
    }
}

std::string NetIdRegistryRecord(const MirnNetId_& netId) {
    CRecordWriter record;
    record.PutBytes(REG_ZELMORA_SYSTEM, std::strlen(REG_ZELMORA_SYSTEM) + 1);
    record.PutBytes(REQUESTED_NET_ID, sizeof REQUESTED_NET_ID);
    record.Put(TYPE_BINARY);
    record.PutBytes(netId.b, sizeof netId.b);
    return std::move(record.Bytes());
}

} // namespace Zelmora
