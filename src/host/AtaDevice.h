#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// ATA requests to one drive. A device is for one thread at a time.
namespace Host {

struct AtaDevice;

// A request that reads one block of 512 bytes.
struct TAtaRequest {
    std::uint8_t command;
    std::uint8_t features;
    std::uint8_t lbaMid;
    std::uint8_t lbaHigh;
    std::uint32_t timeoutMs;
};

inline constexpr std::size_t ATA_BLOCK_SIZE = 512;

// Opens "/dev/ada" and a number, for reading and writing. Null with errno where there is no such drive. Elsewhere than
// on FreeBSD the number counts the ATA drives in the order of their names.
AtaDevice* AtaOpen(const std::string& path);

// Null is let pass.
void AtaClose(AtaDevice* device);

// Runs the request and fills the first `size` bytes of `block` (a multiple of 512). 0, or -1 with errno.
int AtaRead(AtaDevice* device, const TAtaRequest& request, void* block, std::size_t size);

} // namespace Host
