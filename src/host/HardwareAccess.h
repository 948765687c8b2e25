#pragma once

#include <cstdint>

namespace Host {

// The hardware access device of the board, through which its driver tells what the firmware knows. A system whose
// driver is missing may answer the same requests from the board's own means; what those do not tell is "not supported".

// The record of the one control request.
struct DeviceControlRecord {
    std::uint32_t indexGroup = 0;
    std::uint32_t indexOffset = 0;
    const void* in = nullptr;
    std::uint32_t inSize = 0; // bytes
    std::uint32_t padding1 = 0;
    void* out = nullptr;
    std::uint32_t outSize = 0; // bytes
    std::uint32_t padding2 = 0;
    std::uint32_t* returned = nullptr; // number of bytes that came back
    void* mode = nullptr;              // always null
};

// Opens the device at the path for reading and writing. A descriptor that close ends, or -1 with errno.
int OpenHardwareAccess(const char* path);

// The control request, as ioctl: -1 with errno where it fails. May block as long as the device does.
int ControlHardwareAccess(int descriptor, unsigned long request, DeviceControlRecord* record);

} // namespace Host
