#include "host/HardwareAccess.h"

#include <fcntl.h>
#include <sys/ioctl.h>

namespace Host {

int OpenHardwareAccess(const char* path) {
    return open(path, O_RDWR | O_CLOEXEC);
}

int ControlHardwareAccess(int descriptor, unsigned long request, DeviceControlRecord* record) {
    return ioctl(descriptor, request, record);
}

} // namespace Host
