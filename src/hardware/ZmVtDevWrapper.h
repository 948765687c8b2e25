#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "host/HardwareAccess.h"

// The one door to the board's hardware access driver: the node /dev/hwapi with its one control request.
namespace ZmVtDevWrapper {

// What a sensor measures, and where. Other values occur; these are the ones in use.
enum class TProbeType : std::uint32_t { TEMPERATURE = 1, VOLTAGE = 2, FAN = 3 };
enum class TLocationType : std::uint32_t { PROCESSOR = 2, MAINBOARD = 5 };

using Host::DeviceControlRecord;

// Results: 0, the codes of the object layer, or a platform status value.
inline constexpr std::uint32_t HW_E_NOERR = 0;
inline constexpr std::uint32_t HW_E_FAILED = 0xECA60001;
inline constexpr std::uint32_t HW_E_OS_BASE = 0xECA70000; // low half: errno value
inline constexpr std::uint32_t HW_E_UNSPECIFIED = 0x80004005;

inline constexpr unsigned long DEVICE_CONTROL_REQUEST = 0xC0385201; // both ways, group R, number 1, 56 bytes

// Readings: degrees Celsius, 10 mV, turns a minute.
struct TSensorInfo {
    TProbeType probe{};
    TLocationType location{};
    std::int32_t reading = 0;
    std::uint32_t reserved1 = 0;
    std::int32_t reference = 0;
    std::uint8_t reserved2[24] = {};
    char description[12] = {};
};

// An element of a sensor index list.
struct INDEX_INFO {
    std::uint32_t index = 0;
    char description[12] = {};
};

// The name is text that ends with a NUL or, where it has eight characters, runs on into the record.
struct TVtDevice_MBInfo {
    char name[8] = {};
    std::uint8_t revision = 0;
    std::uint8_t biosMajor = 0; // packed BCD
    std::uint8_t biosMinor = 0; // packed BCD
    std::uint8_t reserved = 0;
};

// The driver tells no day and no month.
struct TVDevice_Date {
    std::uint16_t day = 0;
    std::uint16_t month = 0;
    std::uint16_t year = 0; // since 2000
    std::uint16_t week = 0;
};

// Aligned so that it can be kept as one atomic value, as the next one.
struct alignas(4) TVtDevice_Version {
    std::uint8_t major = 0;
    std::uint8_t minor = 0;
    std::uint16_t build = 0;
};

struct alignas(8) TKUps_GpioInfo {
    std::uint16_t value1 = 0;
    std::uint8_t value2 = 0;
    std::uint8_t value3 = 0;
    std::uint32_t reserved = 0;
};

using TVtVersion = std::uint32_t;
using TKUps_State = std::uint32_t;
using TVtDevice_String = char[17];
struct TVtDevice_Mode;

static_assert(sizeof(DeviceControlRecord) == 56);
static_assert(offsetof(DeviceControlRecord, indexOffset) == 4);
static_assert(offsetof(DeviceControlRecord, in) == 8);
static_assert(offsetof(DeviceControlRecord, inSize) == 16);
static_assert(offsetof(DeviceControlRecord, out) == 24);
static_assert(offsetof(DeviceControlRecord, outSize) == 32);
static_assert(offsetof(DeviceControlRecord, returned) == 40);
static_assert(offsetof(DeviceControlRecord, mode) == 48);
static_assert(sizeof(TSensorInfo) == 56);
static_assert(offsetof(TSensorInfo, location) == 4);
static_assert(offsetof(TSensorInfo, reading) == 8);
static_assert(offsetof(TSensorInfo, reference) == 16);
static_assert(offsetof(TSensorInfo, description) == 44);
static_assert(sizeof(INDEX_INFO) == 16);
static_assert(sizeof(TVtDevice_MBInfo) == 12);
static_assert(offsetof(TVtDevice_MBInfo, revision) == 8);
static_assert(offsetof(TVtDevice_MBInfo, biosMinor) == 10);
static_assert(sizeof(TVDevice_Date) == 8);
static_assert(sizeof(TVtDevice_Version) == 4);
static_assert(offsetof(TVtDevice_Version, build) == 2);
static_assert(sizeof(TKUps_GpioInfo) == 8);
static_assert(offsetof(TKUps_GpioInfo, value3) == 3);
static_assert(sizeof(TVtDevice_String) == 17);

// Static only. Every user brackets its work by LoadDll and UnloadDll; the device is open, and the operation table
// full, in between. LoadDll and UnloadDll take a lock; an operation takes none and is one blocking request.
//
// Operations return true on success. After a failure the driver's error is in errno: nothing here changes it on the
// way back. They never throw, and each request is logged.
class CZmVtDevWrapper {
public:
    // Counts one user, and opens the device for the first. HW_E_OS_BASE and errno where that fails; the user counts all
    // the same, and later ones get 0 until the last has gone.
    static std::uint32_t LoadDll();
    // Gives one use back; the last one closes the device. HW_E_UNSPECIFIED where nothing was open or closing failed.
    static std::uint32_t UnloadDll();

    // Always 1.
    static int CheckVersion();
    // 0 where one is null.
    static int CheckVersionGreaterThanEqualTo(const TVtDevice_Version* a, const TVtDevice_Version* b);

    // The raw request. 0, also where nothing is open, or HW_E_FAILED with errno. `mode` is never handed on.
    static std::uint32_t mVtDeviceIoControl(std::uint32_t group, std::uint32_t offset, const void* in,
                                            std::uint32_t inSize, void* out, std::uint32_t outSize,
                                            std::uint32_t* returned, TVtDevice_Mode* mode);
    // The same through the operation table, with a log line. `returned` may be null.
    static bool mVtDeviceIoControlInternal(std::uint32_t group, std::uint32_t offset, const void* in,
                                           std::uint32_t inSize, void* out, std::uint32_t outSize,
                                           std::uint32_t* returned, TVtDevice_Mode* mode);

    static bool mVtGenGetMainboardInfo(TVtDevice_MBInfo* info);
    static bool mVtGenGetVersion(TVtVersion* version);
    static bool mVtSysCountSensors(unsigned int* count);
    // Sensors count from 1: index 0 fails without a request. `size` is ignored.
    static bool mVtSysGetSensorInfo(unsigned int index, TSensorInfo* info, unsigned long size);
    static bool mPwrCtrlGetOperationTime(unsigned int* time);
    // Degrees Celsius; both are zeroed first.
    static bool mPwrCtrlGetMinMaxTemp(long* min, long* max);
    // 100 mV, and signed as the temperatures are: meant.
    static bool mPwrCtrlGetMinMaxVolt(long* min, long* max);
    static bool mPwrCtrlGetSerialNumber(TVtDevice_String* serial);
    static bool mPwrCtrlGetBootCounter(unsigned int* counter);
    static bool mPwrCtrlGetProductionDate(TVDevice_Date* date);
    // 0xC0 and 0xD0 stand for themselves with the charge in steps of 10 percent; any other state has none. `percent`
    // may be null.
    static bool mKUpsGetState(TKUps_State* state, unsigned int* percent);
    static bool mKUpsGetRevision(TVtDevice_Version* revision);
    // The runtime with a full battery.
    static bool mKUpsGetTestResult(unsigned int* result);
    static bool mKUpsCountPowerFails(unsigned int* count);
    static bool mKUpsTestCapacity();
    static bool mKUpsGetGpioInfo(TKUps_GpioInfo* info);
    // A pin whose bit in the mask is set is not writable.
    static bool mGpioReadMask1(std::uint8_t* mask);
    static bool mGpioWriteMask1(std::uint8_t mask);
    static bool mGpioReadIn1(std::uint8_t* image);
    static bool mGpioReadOut1(std::uint8_t* image);
    static bool mGpioWriteOut1(std::uint8_t image);
    static bool mEtherCATPGetUxState(std::uint8_t port, bool second, std::uint8_t* state);
    static bool mEtherCATPSetUxState(std::uint8_t port, bool second, std::uint8_t on);

    // An entry of the operation table: null while the device is not loaded, which is how a module learns that there is
    // none. Take the pointer once and test it before the call, or use Call.
    template <typename F>
    using TOperation = std::atomic<F*>;

    static inline TOperation<decltype(mVtDeviceIoControl)> FVtDeviceIoControl{nullptr};
    static inline TOperation<decltype(mVtGenGetMainboardInfo)> FVtGenGetMainboardInfo{nullptr};
    static inline TOperation<decltype(mVtGenGetVersion)> FVtGenGetVersion{nullptr};
    static inline TOperation<decltype(mVtSysCountSensors)> FVtSysCountSensors{nullptr};
    static inline TOperation<decltype(mVtSysGetSensorInfo)> FVtSysGetSensorInfo{nullptr};
    static inline TOperation<decltype(mPwrCtrlGetOperationTime)> FPwrCtrlGetOperationTime{nullptr};
    static inline TOperation<decltype(mPwrCtrlGetMinMaxTemp)> FPwrCtrlGetMinMaxTemp{nullptr};
    static inline TOperation<decltype(mPwrCtrlGetMinMaxVolt)> FPwrCtrlGetMinMaxVolt{nullptr};
    static inline TOperation<decltype(mPwrCtrlGetSerialNumber)> FPwrCtrlGetSerialNumber{nullptr};
    static inline TOperation<decltype(mPwrCtrlGetBootCounter)> FPwrCtrlGetBootCounter{nullptr};
    static inline TOperation<decltype(mPwrCtrlGetProductionDate)> FPwrCtrlGetProductionDate{nullptr};
    static inline TOperation<decltype(mKUpsGetState)> FKUpsGetState{nullptr};
    static inline TOperation<decltype(mKUpsGetRevision)> FKUpsGetRevision{nullptr};
    static inline TOperation<decltype(mKUpsGetTestResult)> FKUpsGetTestResult{nullptr};
    static inline TOperation<decltype(mKUpsCountPowerFails)> FKUpsCountPowerFails{nullptr};
    static inline TOperation<decltype(mKUpsTestCapacity)> FKUpsTestCapacity{nullptr};
    static inline TOperation<decltype(mKUpsGetGpioInfo)> FKUpsGetGpioInfo{nullptr};
    static inline TOperation<decltype(mGpioReadMask1)> FGpioReadMask1{nullptr};
    static inline TOperation<decltype(mGpioWriteMask1)> FGpioWriteMask1{nullptr};
    static inline TOperation<decltype(mGpioReadIn1)> FGpioReadIn1{nullptr};
    static inline TOperation<decltype(mGpioReadOut1)> FGpioReadOut1{nullptr};
    static inline TOperation<decltype(mGpioWriteOut1)> FGpioWriteOut1{nullptr};
    static inline TOperation<decltype(mEtherCATPGetUxState)> FEtherCATPGetUxState{nullptr};
    static inline TOperation<decltype(mEtherCATPSetUxState)> FEtherCATPSetUxState{nullptr};

    // Runs an operation of the table; false also where it is absent.
    template <typename... TParameters, typename... TArguments>
    static bool Call(const std::atomic<bool (*)(TParameters...)>& operation, TArguments... arguments) {
        auto* const function = operation.load();
        return function != nullptr && function(arguments...);
    }

    // The first sensor of that kind, place and description: 0 or HW_E_UNSPECIFIED. Searches count from 0, whose
    // record stays all zero: meant.
    static std::uint32_t GetSensorIndex(TProbeType probe, TLocationType location, unsigned int* index);
    static std::uint32_t GetSensorIndex(TProbeType probe, TLocationType location, unsigned int* index,
                                        const char* description);
    // Append every match in rising order: 0 where there was one, else HW_E_UNSPECIFIED.
    static std::uint32_t GetSensorIndexes(std::vector<INDEX_INFO>* indexes, TProbeType probe);
    static std::uint32_t GetSensorIndexes(std::vector<INDEX_INFO>* indexes, TLocationType location);
    static std::uint32_t GetSensorIndexes(std::vector<INDEX_INFO>* indexes, TProbeType probe, TLocationType location);

    // Whether a code is an error of the BIOS interface.
    static bool IsBiosApiError(const int& code);

    // Users that have not given their use back.
    static std::int32_t RefCounter() { return m_refCounter.load(); }

private:
    static std::atomic<std::int32_t> m_refCounter;
    static std::atomic<std::int64_t> m_hinstance; // descriptor; 0: not open, -1: opening failed
};

// One use of the device for the length of a scope.
class CDeviceUse {
public:
    CDeviceUse() : m_result(CZmVtDevWrapper::LoadDll()) {}

    ~CDeviceUse() { CZmVtDevWrapper::UnloadDll(); }

    CDeviceUse(const CDeviceUse&) = delete;
    CDeviceUse& operator=(const CDeviceUse&) = delete;

    // That of LoadDll.
    std::uint32_t Result() const { return m_result; }

private:
    std::uint32_t m_result;
};

} // namespace ZmVtDevWrapper

using ZmVtDevWrapper::CZmVtDevWrapper;
