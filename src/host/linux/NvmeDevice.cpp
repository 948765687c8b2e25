#include "host/NvmeDevice.h"

#include <fcntl.h>
#include <linux/nvme_ioctl.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace Host {

int NvmeOpen(const std::string& path) {
    return open(path.c_str(), O_RDONLY | O_CLOEXEC);
}

void NvmeClose(int descriptor) {
    close(descriptor);
}

int NvmeRead(int descriptor, const TNvmeCommand& command, void* buffer, std::size_t size, std::uint16_t& status) {
    nvme_admin_cmd request = {};
    request.opcode = command.opcode;
    request.nsid = command.nsid;
    request.cdw10 = command.cdw10;
    if (command.opcode == NVME_GET_LOG_PAGE) {
        // Drives return as many dwords as are counted here, from 0 on.
        request.cdw10 |= static_cast<std::uint32_t>(size / sizeof(std::uint32_t) - 1) << 16;
    }
    request.addr = reinterpret_cast<std::uintptr_t>(buffer);
    request.data_len = static_cast<std::uint32_t>(size);
    const int result = ioctl(descriptor, NVME_IOCTL_ADMIN_CMD, &request);
    if (result < 0) {
        return -1;
    }
    // The kernel tells the status without the phase bit.
    status = static_cast<std::uint16_t>(result << 1);
    return 0;
}

} // namespace Host
