#include "platform/Platform.h"

#include "host/KernelEnvironment.h"
#include "host/UptimeClock.h"

namespace Platform {

std::uint32_t UptimeInSeconds(unsigned long& seconds) {
    constexpr std::uint32_t NO_DATA = 0xECA60105;
    return Host::GetUptime(seconds) == 0 ? 0 : NO_DATA;
}

std::string GetBiosVersionFull() {
    return Host::GetKernelEnvironment("smbios.bios.version");
}

std::string GetPartitionLettersByDriveIndex(unsigned int&) {
    return {};
}

} // namespace Platform
