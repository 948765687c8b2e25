#include "FakeDevice.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <mutex>
#include <utility>

#include "host/HardwareAccess.h"

namespace {

constexpr int NOT_SUPPORTED = 0x20000701;

struct TAnswer {
    int error = 0;
    std::string bytes;
};

struct TDevice {
    int openError = 0;
    int descriptor = -1;
    int opens = 0;
    std::map<std::pair<std::uint32_t, std::uint32_t>, TAnswer> answers;
    std::function<void(std::uint32_t, std::uint32_t)> beforeEach;
    std::vector<FakeDevice::TRequest> requests;
};

std::mutex s_mutex;
TDevice s_device;

} // namespace

void FakeDevice::Reset() {
    const std::lock_guard lock(s_mutex);
    s_device = {};
}

void FakeDevice::FailOpen(int error) {
    const std::lock_guard lock(s_mutex);
    s_device.openError = error;
}

void FakeDevice::HandOut(int descriptor) {
    const std::lock_guard lock(s_mutex);
    s_device.descriptor = descriptor;
}

void FakeDevice::Answer(std::uint32_t group, std::uint32_t offset, const std::string& bytes) {
    const std::lock_guard lock(s_mutex);
    s_device.answers[{group, offset}] = {0, bytes};
}

void FakeDevice::Fail(std::uint32_t group, std::uint32_t offset, int error) {
    const std::lock_guard lock(s_mutex);
    s_device.answers[{group, offset}] = {error, {}};
}

void FakeDevice::AddSensor(std::uint32_t index, std::uint32_t probe, std::uint32_t location, std::int32_t reading,
                           const std::string& description, std::int32_t reference) {
    std::string record = LittleEndian(probe, 4) + LittleEndian(location, 4) +
                         LittleEndian(static_cast<std::uint32_t>(reading), 4) + std::string(4, '\xEE') +
                         LittleEndian(static_cast<std::uint32_t>(reference), 4) + std::string(24, '\xEE') + description;
    record.resize(56);
    Answer(0x2000, index, record);
    const std::lock_guard lock(s_mutex);
    std::uint32_t highest = 0;
    for (const auto& [key, answer] : s_device.answers) {
        highest = key.first == 0x2000 ? std::max(highest, key.second) : highest;
    }
    s_device.answers[{0x2000, 0}] = {0, LittleEndian(highest, 4)};
}

void FakeDevice::BeforeEach(std::function<void(std::uint32_t, std::uint32_t)> action) {
    const std::lock_guard lock(s_mutex);
    s_device.beforeEach = std::move(action);
}

std::vector<FakeDevice::TRequest> FakeDevice::TakeRequests() {
    const std::lock_guard lock(s_mutex);
    return std::exchange(s_device.requests, {});
}

int FakeDevice::Opens() {
    const std::lock_guard lock(s_mutex);
    return s_device.opens;
}

std::string LittleEndian(std::uint64_t number, std::size_t width) {
    std::string bytes;
    for (std::size_t byte = 0; byte < width; ++byte) {
        bytes += static_cast<char>(number >> (8 * byte));
    }
    return bytes;
}

namespace Host {

int OpenHardwareAccess(const char* path) {
    const std::lock_guard lock(s_mutex);
    if (std::string(path) != "/dev/hwapi") {
        errno = ENODEV;
        return -1;
    }
    if (s_device.openError != 0) {
        errno = s_device.openError;
        return -1;
    }
    ++s_device.opens;
    return s_device.descriptor >= 0 ? s_device.descriptor : open("/dev/null", O_RDWR | O_CLOEXEC);
}

int ControlHardwareAccess(int /*descriptor*/, unsigned long request, DeviceControlRecord* record) {
    const DeviceControlRecord& asked = *record;
    std::function<void(std::uint32_t, std::uint32_t)> before;
    {
        const std::lock_guard lock(s_mutex);
        const auto* in = static_cast<const char*>(asked.in);
        s_device.requests.push_back(
            {asked.indexGroup, asked.indexOffset, in != nullptr ? std::string(in, asked.inSize) : std::string()});
        before = s_device.beforeEach;
    }
    if (before) {
        before(asked.indexGroup, asked.indexOffset);
    }
    const std::lock_guard lock(s_mutex);
    const auto answer = s_device.answers.find({asked.indexGroup, asked.indexOffset});
    if (request != 0xC0385201 || asked.mode != nullptr || asked.returned == nullptr) {
        errno = ENOTTY;
        return -1;
    }
    if (answer == s_device.answers.end() || answer->second.error != 0) {
        errno = answer == s_device.answers.end() ? NOT_SUPPORTED : answer->second.error;
        return -1;
    }
    const std::string& bytes = answer->second.bytes;
    if (bytes.size() != asked.outSize || (asked.out == nullptr) != bytes.empty()) {
        errno = EINVAL; // another size than the driver's
        return -1;
    }
    if (!bytes.empty()) {
        std::memcpy(asked.out, bytes.data(), bytes.size());
    }
    *asked.returned = static_cast<std::uint32_t>(bytes.size());
    errno = 0;
    return 0;
}

} // namespace Host
