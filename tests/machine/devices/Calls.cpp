// Test equipment, preloaded into the service: lets devices be there that the machine has not. The calls that open, ask
// and close a device come here; those that mean no simulated device go on to the system.
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <map>
#include <mutex>

#include "Device.h"

namespace {

constexpr const TDeviceClass* CLASSES[] = {
    &DRIVES,
    &HARDWARE_ACCESS,
};

struct TDevice {
    const TDeviceClass* kind;
    std::string path;
};

// The devices behind the descriptors of the process. Without a lock: close also comes from a forked child.
constexpr int MAX_DESCRIPTORS = 65536;
std::array<std::atomic<const TDevice*>, MAX_DESCRIPTORS> s_open;

std::atomic<const TDevice*>* Slot(int descriptor) {
    return descriptor >= 0 && descriptor < MAX_DESCRIPTORS ? &s_open[static_cast<std::size_t>(descriptor)] : nullptr;
}

// One record a path, kept for good.
const TDevice* Device(const TDeviceClass* kind, const std::string& path) {
    static auto* mutex = new std::mutex;
    static auto* devices = new std::map<std::string, TDevice>;
    const std::lock_guard lock(*mutex);
    return &devices->try_emplace(path, TDevice{kind, path}).first->second;
}

// A descriptor of the process for the device; it needs one that the system knows too, so that numbers stay unique.
int OpenDevice(const TDevice* device, int flags) {
    const unsigned int closeOnExec = (flags & O_CLOEXEC) != 0 ? MFD_CLOEXEC : 0;
    const std::string name = device->path.substr(device->path.rfind('/') + 1);
    const int descriptor = static_cast<int>(syscall(SYS_memfd_create, name.c_str(), closeOnExec));
    if (auto* slot = Slot(descriptor); slot != nullptr) {
        slot->store(device);
    }
    return descriptor;
}

int Open(int directory, const char* path, int flags, mode_t mode) {
    if (path != nullptr && path[0] == '/') {
        for (const TDeviceClass* kind : CLASSES) {
            const int answer = kind->open(path);
            if (answer == 0) {
                return OpenDevice(Device(kind, path), flags);
            }
            if (answer != TDeviceClass::NOT_SIMULATED) {
                errno = answer;
                return -1;
            }
        }
    }
    return static_cast<int>(syscall(SYS_openat, directory, path, flags, mode));
}

mode_t ModeOf(int flags, va_list arguments) {
    return (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
}

} // namespace

extern "C" {

int open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = ModeOf(flags, arguments);
    va_end(arguments);
    return Open(AT_FDCWD, path, flags, mode);
}

int open64(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = ModeOf(flags, arguments);
    va_end(arguments);
    return Open(AT_FDCWD, path, flags, mode);
}

// What open becomes in programs that were compiled with the library's checks.
int __open_2(const char* path, int flags) { // NOLINT(bugprone-reserved-identifier)
    return Open(AT_FDCWD, path, flags, 0);
}

int __open64_2(const char* path, int flags) { // NOLINT(bugprone-reserved-identifier)
    return Open(AT_FDCWD, path, flags, 0);
}

int openat(int directory, const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = ModeOf(flags, arguments);
    va_end(arguments);
    return Open(directory, path, flags, mode);
}

int openat64(int directory, const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = ModeOf(flags, arguments);
    va_end(arguments);
    return Open(directory, path, flags, mode);
}

int close(int descriptor) {
    if (auto* slot = Slot(descriptor); slot != nullptr) {
        slot->store(nullptr, std::memory_order_relaxed);
    }
    return static_cast<int>(syscall(SYS_close, descriptor));
}

int ioctl(int descriptor, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    const auto* slot = Slot(descriptor);
    if (const TDevice* device = slot != nullptr ? slot->load() : nullptr; device != nullptr) {
        return device->kind->control(device->path, request, argument);
    }
    return static_cast<int>(syscall(SYS_ioctl, descriptor, request, argument));
}
}
