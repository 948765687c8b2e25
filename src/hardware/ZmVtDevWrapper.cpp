#include "hardware/ZmVtDevWrapper.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "log/Logger.h"
#include "platform/OsUserCriticalSection.h"
#include "platform/OsUserSystem.h"

namespace ZmVtDevWrapper {

namespace {

static_assert(_IOWR('R', 1, DeviceControlRecord) == DEVICE_CONTROL_REQUEST);

constexpr const char* DEVICE = "/dev/hwapi";

constexpr std::uint32_t GROUP_GENERAL = 0x0000;
constexpr std::uint32_t GROUP_SENSORS = 0x2000;
constexpr std::uint32_t GROUP_GPIO = 0x3000;
constexpr std::uint32_t GROUP_POWER = 0x4000;
constexpr std::uint32_t GROUP_UPS = 0x5000;

constexpr std::uint8_t SECOND_CHANNEL = 0x80;
constexpr std::uint16_t SET_ON = 0x0100;
constexpr std::uint16_t SET_SECOND_CHANNEL = 0x8000;

// A driver that tells more is broken: no search may go on for hours.
constexpr unsigned int MAX_SENSORS = 0xFFFF;

// Guards LoadDll and UnloadDll. Never destroyed: a thread that no stop waits for may still come here.
CSection& LoadSection() {
    static auto* section = new CSection;
    return *section;
}

// One request without input that delivers a value of its own size.
template <typename T>
bool Read(std::uint32_t group, std::uint32_t offset, T* value) {
    if (value == nullptr) {
        return false;
    }
    T copy{};
    if (!CZmVtDevWrapper::mVtDeviceIoControlInternal(group, offset, nullptr, 0, &copy, sizeof copy, nullptr, nullptr)) {
        return false;
    }
    std::memcpy(value, &copy, sizeof copy);
    return true;
}

// One request that takes a value and delivers nothing.
template <typename T>
bool Write(std::uint32_t group, std::uint32_t offset, const T& value) {
    return CZmVtDevWrapper::mVtDeviceIoControlInternal(group, offset, &value, sizeof value, nullptr, 0, nullptr,
                                                       nullptr);
}

bool ReadMinMax(std::uint32_t offset, long* min, long* max) {
    if (min == nullptr || max == nullptr) {
        return false;
    }
    *min = 0;
    *max = 0;

    struct {
        std::int8_t min;
        std::int8_t max;
    } bytes;

    if (!Read(GROUP_POWER, offset, &bytes)) {
        return false;
    }
    // Numbers with a sign, not characters.
    *min = static_cast<long>(bytes.min); // NOLINT(bugprone-signed-char-misuse)
    *max = static_cast<long>(bytes.max); // NOLINT(bugprone-signed-char-misuse)
    return true;
}

std::string_view DescriptionOf(const TSensorInfo& sensor) {
    return {sensor.description, strnlen(sensor.description, sizeof sensor.description)};
}

// Shows every sensor from 0 to the count to `see`, which ends the search with true. A sensor that cannot be read is
// seen as a record of zeros.
template <typename TSee>
void SearchSensors(unsigned int count, TSee see) {
    for (unsigned int index = 0; index <= std::min(count, MAX_SENSORS); ++index) {
        auto* const getInfo = CZmVtDevWrapper::FVtSysGetSensorInfo.load();
        if (getInfo == nullptr) {
            continue;
        }
        TSensorInfo sensor;
        if (!getInfo(index, &sensor, 0)) {
            sensor = {};
        }
        if (see(index, sensor)) {
            return;
        }
    }
}

template <typename TMatch>
std::uint32_t FindSensor(unsigned int* found, TMatch matches) {
    unsigned int count = 0;
    if (!CZmVtDevWrapper::Call(CZmVtDevWrapper::FVtSysCountSensors, &count) ||
        CZmVtDevWrapper::FVtSysGetSensorInfo.load() == nullptr) {
        return HW_E_UNSPECIFIED;
    }
    std::uint32_t result = HW_E_UNSPECIFIED;
    SearchSensors(count, [&](unsigned int index, const TSensorInfo& sensor) {
        if (matches(sensor)) {
            *found = index;
            result = HW_E_NOERR;
        }
        return result == HW_E_NOERR;
    });
    return result;
}

template <typename TMatch>
std::uint32_t FindSensors(std::vector<INDEX_INFO>* indexes, bool needsCount, TMatch matches) {
    auto* const countSensors = CZmVtDevWrapper::FVtSysCountSensors.load();
    if (countSensors == nullptr || CZmVtDevWrapper::FVtSysGetSensorInfo.load() == nullptr) {
        return HW_E_UNSPECIFIED;
    }
    unsigned int count = 0;
    if (!countSensors(&count) && needsCount) {
        return HW_E_UNSPECIFIED;
    }
    std::uint32_t result = HW_E_UNSPECIFIED;
    SearchSensors(count, [&](unsigned int index, const TSensorInfo& sensor) {
        if (matches(sensor)) {
            INDEX_INFO info;
            info.index = index;
            std::memcpy(info.description, sensor.description, DescriptionOf(sensor).size());
            indexes->push_back(info);
            result = HW_E_NOERR;
        }
        return false;
    });
    return result;
}

// Shows every entry of the operation table with its operation to `visit`.
template <typename TVisit>
void VisitTable(TVisit visit) {
    using W = CZmVtDevWrapper;
    visit(W::FVtDeviceIoControl, &W::mVtDeviceIoControl);
    visit(W::FVtGenGetMainboardInfo, &W::mVtGenGetMainboardInfo);
    visit(W::FVtGenGetVersion, &W::mVtGenGetVersion);
    visit(W::FVtSysCountSensors, &W::mVtSysCountSensors);
    visit(W::FVtSysGetSensorInfo, &W::mVtSysGetSensorInfo);
    visit(W::FPwrCtrlGetOperationTime, &W::mPwrCtrlGetOperationTime);
    visit(W::FPwrCtrlGetMinMaxTemp, &W::mPwrCtrlGetMinMaxTemp);
    visit(W::FPwrCtrlGetMinMaxVolt, &W::mPwrCtrlGetMinMaxVolt);
    visit(W::FPwrCtrlGetSerialNumber, &W::mPwrCtrlGetSerialNumber);
    visit(W::FPwrCtrlGetBootCounter, &W::mPwrCtrlGetBootCounter);
    visit(W::FPwrCtrlGetProductionDate, &W::mPwrCtrlGetProductionDate);
    visit(W::FKUpsGetState, &W::mKUpsGetState);
    visit(W::FKUpsGetRevision, &W::mKUpsGetRevision);
    visit(W::FKUpsGetTestResult, &W::mKUpsGetTestResult);
    visit(W::FKUpsCountPowerFails, &W::mKUpsCountPowerFails);
    visit(W::FKUpsTestCapacity, &W::mKUpsTestCapacity);
    visit(W::FKUpsGetGpioInfo, &W::mKUpsGetGpioInfo);
    visit(W::FGpioReadMask1, &W::mGpioReadMask1);
    visit(W::FGpioWriteMask1, &W::mGpioWriteMask1);
    visit(W::FGpioReadIn1, &W::mGpioReadIn1);
    visit(W::FGpioReadOut1, &W::mGpioReadOut1);
    visit(W::FGpioWriteOut1, &W::mGpioWriteOut1);
    visit(W::FEtherCATPGetUxState, &W::mEtherCATPGetUxState);
    visit(W::FEtherCATPSetUxState, &W::mEtherCATPSetUxState);
}

} // namespace

std::atomic<std::int32_t> CZmVtDevWrapper::m_refCounter{0};
std::atomic<std::int64_t> CZmVtDevWrapper::m_hinstance{0};

std::uint32_t CZmVtDevWrapper::LoadDll() {
    CSectionLock lock(LoadSection());
    std::uint32_t result = HW_E_NOERR;
    if (m_refCounter == 0 && m_hinstance == 0) {
        const int descriptor = Host::OpenHardwareAccess(DEVICE);
        m_hinstance = descriptor;
        if (descriptor == -1) {
            result = HW_E_OS_BASE | (static_cast<std::uint32_t>(OsUserGetLastError()) & 0xFFFFU);
            g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "CZmVtDevWrapper::LoadDll - Open library failed!");
        } else {
            VisitTable([](auto& entry, auto* operation) { entry = operation; });
        }
    }
    ++m_refCounter; // also after a failed open
    return result;
}

std::uint32_t CZmVtDevWrapper::UnloadDll() {
    CSectionLock lock(LoadSection());
    if (m_refCounter-- >= 2) {
        return HW_E_NOERR;
    }
    m_refCounter = 0;
    const std::int64_t instance = m_hinstance.exchange(0);
    std::uint32_t result = HW_E_NOERR;
    // After a failed open this closes -1, which fails too: meant.
    if (instance == 0 || close(static_cast<int>(instance)) != 0) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "CZmVtDevWrapper::UnloadDll - Close/FreeLibrary failed!");
        result = HW_E_UNSPECIFIED;
    }
    VisitTable([](auto& entry, auto* /*operation*/) { entry = nullptr; });
    return result;
}

int CZmVtDevWrapper::CheckVersion() {
    return 1;
}

int CZmVtDevWrapper::CheckVersionGreaterThanEqualTo(const TVtDevice_Version* a, const TVtDevice_Version* b) {
    if (a == nullptr || b == nullptr) {
        return 0;
    }
    const auto number = [](const TVtDevice_Version& version) {
        return std::uint32_t{version.major} << 24 | std::uint32_t{version.minor} << 16 | version.build;
    };
    return number(*a) >= number(*b) ? 1 : 0;
}

std::uint32_t CZmVtDevWrapper::mVtDeviceIoControl(std::uint32_t group, std::uint32_t offset, const void* in,
                                                  std::uint32_t inSize, void* out, std::uint32_t outSize,
                                                  std::uint32_t* returned, TVtDevice_Mode* /*mode*/) {
    const std::int64_t instance = m_hinstance;
    if (instance == 0) {
        return HW_E_NOERR;
    }
    DeviceControlRecord record;
    record.indexGroup = group;
    record.indexOffset = offset;
    record.in = in;
    record.inSize = inSize;
    record.out = out;
    record.outSize = outSize;
    record.returned = returned;
    return Host::ControlHardwareAccess(static_cast<int>(instance), DEVICE_CONTROL_REQUEST, &record) == -1 ? HW_E_FAILED
                                                                                                          : HW_E_NOERR;
}

bool CZmVtDevWrapper::mVtDeviceIoControlInternal(std::uint32_t group, std::uint32_t offset, const void* in,
                                                 std::uint32_t inSize, void* out, std::uint32_t outSize,
                                                 std::uint32_t* returned, TVtDevice_Mode* mode) {
    std::uint32_t count = 0;
    auto* const control = FVtDeviceIoControl.load();
    const std::uint32_t result =
        control != nullptr ? control(group, offset, in, inSize, out, outSize, &count, mode) : HW_E_FAILED;
    const int error = errno; // the log has calls of its own
    g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "FVtDeviceIoControl - IdxGrp: 0x%X IdxOff: 0x%X Result: 0x%X", group,
                      offset, result);
    errno = error;
    if (returned != nullptr) {
        *returned = count;
    }
    return result == HW_E_NOERR;
}

bool CZmVtDevWrapper::mVtGenGetMainboardInfo(TVtDevice_MBInfo* info) {
    return Read(GROUP_GENERAL, 0x02, info);
}

bool CZmVtDevWrapper::mVtGenGetVersion(TVtVersion* version) {
    return Read(GROUP_GENERAL, 0x00, version);
}

bool CZmVtDevWrapper::mVtSysCountSensors(unsigned int* count) {
    return Read(GROUP_SENSORS, 0x00, count);
}

bool CZmVtDevWrapper::mVtSysGetSensorInfo(unsigned int index, TSensorInfo* info, unsigned long /*size*/) {
    return index != 0 && Read(GROUP_SENSORS, index, info);
}

bool CZmVtDevWrapper::mPwrCtrlGetOperationTime(unsigned int* time) {
    return Read(GROUP_POWER, 0x03, time);
}

bool CZmVtDevWrapper::mPwrCtrlGetMinMaxTemp(long* min, long* max) {
    return ReadMinMax(0x04, min, max);
}

bool CZmVtDevWrapper::mPwrCtrlGetMinMaxVolt(long* min, long* max) {
    return ReadMinMax(0x05, min, max);
}

bool CZmVtDevWrapper::mPwrCtrlGetSerialNumber(TVtDevice_String* serial) {
    struct {
        TVtDevice_String text;
    } copy;

    if (serial == nullptr || !Read(GROUP_POWER, 0x06, &copy)) {
        return false;
    }
    std::memcpy(*serial, copy.text, sizeof copy.text);
    return true;
}

bool CZmVtDevWrapper::mPwrCtrlGetBootCounter(unsigned int* counter) {
    return Read(GROUP_POWER, 0x07, counter);
}

bool CZmVtDevWrapper::mPwrCtrlGetProductionDate(TVDevice_Date* date) {
    struct {
        std::uint8_t week;
        std::uint8_t year;
    } bytes;

    if (date == nullptr || !Read(GROUP_POWER, 0x08, &bytes)) {
        return false;
    }
    *date = {};
    date->week = bytes.week;
    date->year = bytes.year;
    return true;
}

bool CZmVtDevWrapper::mKUpsGetState(TKUps_State* state, unsigned int* percent) {
    if (state == nullptr) {
        return false;
    }
    if (percent != nullptr) {
        *percent = 0;
    }
    std::uint8_t byte = 0;
    if (!Read(GROUP_UPS, 0x01, &byte)) {
        return false;
    }
    const unsigned int kind = byte & 0xF0U;
    if (kind != 0xC0 && kind != 0xD0) {
        *state = byte;
        return true;
    }
    *state = kind;
    if (percent != nullptr) {
        *percent = (byte & 0x0FU) * 10;
    }
    return true;
}

bool CZmVtDevWrapper::mKUpsGetRevision(TVtDevice_Version* revision) {
    return Read(GROUP_UPS, 0x02, revision);
}

bool CZmVtDevWrapper::mKUpsGetTestResult(unsigned int* result) {
    return Read(GROUP_UPS, 0x0A, result);
}

bool CZmVtDevWrapper::mKUpsCountPowerFails(unsigned int* count) {
    return Read(GROUP_UPS, 0x03, count);
}

bool CZmVtDevWrapper::mKUpsTestCapacity() {
    return mVtDeviceIoControlInternal(GROUP_UPS, 0x09, nullptr, 0, nullptr, 0, nullptr, nullptr);
}

bool CZmVtDevWrapper::mKUpsGetGpioInfo(TKUps_GpioInfo* info) {
    return Read(GROUP_UPS, 0xA0, info);
}

bool CZmVtDevWrapper::mGpioReadMask1(std::uint8_t* mask) {
    return Read(GROUP_GPIO, 0x05, mask);
}

bool CZmVtDevWrapper::mGpioWriteMask1(std::uint8_t mask) {
    return Write(GROUP_GPIO, 0x09, mask);
}

bool CZmVtDevWrapper::mGpioReadIn1(std::uint8_t* image) {
    return Read(GROUP_GPIO, 0x01, image);
}

bool CZmVtDevWrapper::mGpioReadOut1(std::uint8_t* image) {
    return Read(GROUP_GPIO, 0x03, image);
}

bool CZmVtDevWrapper::mGpioWriteOut1(std::uint8_t image) {
    return Write(GROUP_GPIO, 0x07, image);
}

bool CZmVtDevWrapper::mEtherCATPGetUxState(std::uint8_t port, bool second, std::uint8_t* state) {
    const auto in = static_cast<std::uint8_t>(port | (second ? SECOND_CHANNEL : 0));
    std::uint8_t out = 0;
    if (state == nullptr ||
        !mVtDeviceIoControlInternal(GROUP_POWER, 0x21, &in, sizeof in, &out, sizeof out, nullptr, nullptr)) {
        return false;
    }
    *state = out;
    return true;
}

bool CZmVtDevWrapper::mEtherCATPSetUxState(std::uint8_t port, bool second, std::uint8_t on) {
    return Write(GROUP_POWER, 0x22,
                 static_cast<std::uint16_t>(port + (on != 0 ? SET_ON : 0) + (second ? SET_SECOND_CHANNEL : 0)));
}

std::uint32_t CZmVtDevWrapper::GetSensorIndex(TProbeType probe, TLocationType location, unsigned int* index) {
    return FindSensor(index,
                      [=](const TSensorInfo& sensor) { return sensor.probe == probe && sensor.location == location; });
}

std::uint32_t CZmVtDevWrapper::GetSensorIndex(TProbeType probe, TLocationType location, unsigned int* index,
                                              const char* description) {
    return FindSensor(index, [=](const TSensorInfo& sensor) {
        return sensor.probe == probe && sensor.location == location && DescriptionOf(sensor) == description;
    });
}

std::uint32_t CZmVtDevWrapper::GetSensorIndexes(std::vector<INDEX_INFO>* indexes, TProbeType probe) {
    return FindSensors(indexes, true, [=](const TSensorInfo& sensor) { return sensor.probe == probe; });
}

std::uint32_t CZmVtDevWrapper::GetSensorIndexes(std::vector<INDEX_INFO>* indexes, TLocationType location) {
    return FindSensors(indexes, false, [=](const TSensorInfo& sensor) { return sensor.location == location; });
}

std::uint32_t CZmVtDevWrapper::GetSensorIndexes(std::vector<INDEX_INFO>* indexes, TProbeType probe,
                                                TLocationType location) {
    return FindSensors(indexes, false,
                       [=](const TSensorInfo& sensor) { return sensor.probe == probe && sensor.location == location; });
}

bool CZmVtDevWrapper::IsBiosApiError(const int& code) {
    return static_cast<unsigned int>(code) >> 16 == 0x2000;
}

} // namespace ZmVtDevWrapper
