#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// Admin requests to an NVMe controller. A device is for one thread at a time.
namespace Host {

// An admin command that reads.
struct TNvmeCommand {
    std::uint8_t opcode;
    std::uint32_t nsid;
    std::uint32_t cdw10;
};

inline constexpr std::uint8_t NVME_GET_LOG_PAGE = 0x02;
inline constexpr std::uint8_t NVME_IDENTIFY = 0x06;

// Opens the controller's node, "/dev/nvme" and a number, read-only. Its descriptor, or -1 with errno.
int NvmeOpen(const std::string& path);

void NvmeClose(int descriptor);

// Runs the command and fills `size` bytes of `buffer`. 0 with the completion's status as the controller gave it (bit 0
// is the phase, which tells nothing), or -1 with errno.
int NvmeRead(int descriptor, const TNvmeCommand& command, void* buffer, std::size_t size, std::uint16_t& status);

} // namespace Host
