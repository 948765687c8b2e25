#pragma once

namespace Host {

// The hardware access device of the board, through which its driver tells what the firmware knows.

// Opens the device at the path for reading and writing. A descriptor that close ends, or -1 with errno.
int OpenHardwareAccess(const char* path);

// One control request with its record, as ioctl: -1 with errno where it fails. May block as long as the device does.
int ControlHardwareAccess(int descriptor, unsigned long request, void* record);

} // namespace Host
