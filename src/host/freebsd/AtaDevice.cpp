#include "host/AtaDevice.h"

#include <cstdio> // camlib.h takes it for granted

#include <camlib.h>
#include <fcntl.h>

#include <cstring>

namespace Host {

namespace {

// The numbers that requests are told by.
static_assert(XPT_ATA_IO == 0x918);
static_assert(CAM_DIR_IN == 0x40);
static_assert(sizeof(ata_cmd) == 14);
static_assert(sizeof(ccb) == 1248);

cam_device* Device(AtaDevice* device) {
    return reinterpret_cast<cam_device*>(device);
}

} // namespace

AtaDevice* AtaOpen(const std::string& path) {
    cam_device* device = cam_open_device(path.c_str(), O_RDWR);
    // The library leaves the descriptor to the programs that the process runs.
    if (device != nullptr) {
        fcntl(device->fd, F_SETFD, FD_CLOEXEC);
    }
    return reinterpret_cast<AtaDevice*>(device);
}

void AtaClose(AtaDevice* device) {
    if (device != nullptr) {
        cam_close_device(Device(device));
    }
}

int AtaRead(AtaDevice* device, const TAtaRequest& request, void* block, std::size_t size) {
    ccb control;
    std::memset(&control, 0, sizeof control);
    control.ccb_h.func_code = XPT_ATA_IO;
    control.ccb_h.flags = CAM_DIR_IN;
    control.ccb_h.timeout = request.timeoutMs;
    control.ataio.data_ptr = static_cast<u_int8_t*>(block);
    control.ataio.dxfer_len = static_cast<u_int32_t>(size);
    control.ataio.cmd.command = request.command;
    control.ataio.cmd.features = request.features;
    control.ataio.cmd.lba_mid = request.lbaMid;
    control.ataio.cmd.lba_high = request.lbaHigh;
    // Meant: the block's own status is not looked at. What a drive refused leaves the data as it was.
    return cam_send_ccb(Device(device), &control) < 0 ? -1 : 0;
}

} // namespace Host
