#include "host/NvmeDevice.h"

#include <sys/types.h>

#include <sys/ioctl.h>

#include <dev/nvme/nvme.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstring>

namespace Host {

namespace {

static_assert(NVME_PASSTHROUGH_CMD == 0xC0686E00UL);
static_assert(sizeof(nvme_pt_command) == 0x68);

} // namespace

int NvmeOpen(const std::string& path) {
    return open(path.c_str(), O_RDONLY | O_CLOEXEC);
}

void NvmeClose(int descriptor) {
    close(descriptor);
}

int NvmeRead(int descriptor, const TNvmeCommand& command, void* buffer, std::size_t size, std::uint16_t& status) {
    nvme_pt_command request;
    std::memset(&request, 0, sizeof request);
    request.cmd.opc = command.opcode;
    request.cmd.nsid = command.nsid;
    request.cmd.cdw10 = command.cdw10; // meant: without a count of dwords, the length below tells it
    request.buf = buffer;
    request.len = static_cast<std::uint32_t>(size);
    request.is_read = 1;
    if (ioctl(descriptor, NVME_PASSTHROUGH_CMD, &request) < 0) {
        return -1;
    }
    status = request.cpl.status;
    return 0;
}

} // namespace Host
