#include "modules/ups/ObjectKUps.h"

#include <algorithm>
#include <cstring>

#include "dictionary/ItemTable.h"
#include "log/Logger.h"
#include "modules/ItemValues.h"
#include "modules/ups/UpsItems.h"

namespace UPS {

namespace {

using W = CZmVtDevWrapper;

constexpr unsigned int TICK_MS = 200;

constexpr std::uint32_t STATE_ON_MAINS = 0xC0;
constexpr std::uint32_t STATE_ON_BATTERY = 0xD0;

// The record that a trigger belongs to.
CRef<CKUpsObj0x8nn1> RecordOf(unsigned short index) {
    CDictionaryRef dictionary;
    if (!dictionary) {
        return {};
    }
    return dictionary->GetObjectRef(index).As<CKUpsObj0x8nn1>();
}

// The number becomes the item's value, or takes its buffer away where there is none.
template <typename T>
ObjResult Publish(TInfoItem* item, bool isAvailable, T number) {
    if (!isAvailable) {
        DeallocateBuffer(item);
    } else if (AllocateBuffer(item, 0) == OBJ_E_NOERR) {
        std::memcpy(item->data, &number, std::min<std::size_t>(item->size, sizeof number));
    }
    return OBJ_E_NOERR;
}

std::uint8_t PowerStatusOf(std::uint32_t state) {
    switch (state) {
    case STATE_ON_BATTERY:
        return 2;
    case STATE_ON_MAINS:
        return 1;
    default:
        return 0;
    }
}

ObjResult rdPowerStatus(TInfoItem* item, unsigned short index, unsigned char /*subIndex*/) {
    const auto record = RecordOf(index);
    std::uint32_t state = 0;
    const bool isAvailable = record && record->state.Get(state);
    return Publish(item, isAvailable, PowerStatusOf(state));
}

ObjResult rdBatteryCapacity(TInfoItem* item, unsigned short index, unsigned char /*subIndex*/) {
    const auto record = RecordOf(index);
    std::uint32_t percent = 0;
    const bool isAvailable = record && record->percent.Get(percent);
    return Publish(item, isAvailable, percent);
}

ObjResult rdBatteryRuntime(TInfoItem* item, unsigned short index, unsigned char /*subIndex*/) {
    const auto record = RecordOf(index);
    std::uint32_t percent = 0;
    std::uint32_t full = 0;
    const bool isAvailable = record && record->percent.Get(percent) && record->testResult.Get(full);
    return Publish(item, isAvailable, percent * full / 100);
}

ObjResult rdPowerFailCounter(TInfoItem* item, unsigned short /*index*/, unsigned char /*subIndex*/) {
    unsigned int count = 0;
    const bool isAvailable = W::Call(W::FKUpsCountPowerFails, &count);
    return Publish(item, isAvailable, count);
}

ObjResult wrTestCapacity(TInfoItem* /*item*/, unsigned short /*index*/, unsigned char /*subIndex*/, void* data,
                         unsigned int size) {
    // Meant: 32 bits count although the item has one byte. What the client did not send is 0.
    std::uint32_t number = 0;
    if (data != nullptr) {
        std::memcpy(&number, data, std::min<std::size_t>(size, sizeof number));
    }
    if (number != 0) {
        W::Call(W::FKUpsTestCapacity); // meant: nobody is told whether it started
    }
    return OBJ_E_NOERR;
}

template <typename T, typename TOperation>
void ReadOnce(TUpsValue<T>& value, const TOperation& operation) {
    T read{};
    if (W::Call(operation, &read)) {
        value.Set(read);
    }
}

} // namespace

void CKUpsObj0x8nn1::RefreshState() {
    ZmVtDevWrapper::TKUps_State newState = 0;
    unsigned int newPercent = 0;
    if (W::Call(W::FKUpsGetState, &newState, &newPercent)) {
        state.Set(newState);
        percent.Set(newPercent);
    } else {
        state.Clear();
        percent.Clear();
    }
}

void CKUpsObj0x8nn1::AppendAll(CObject& gpio) {
    ReadOnce(testResult, W::FKUpsGetTestResult);
    ReadOnce(revision, W::FKUpsGetRevision);
    RefreshState();
    ZmVtDevWrapper::TVtDevice_Version version;
    const bool hasVersion = revision.Get(version);
    const auto versionValue = [hasVersion](auto number) { return hasVersion ? ItemValue(number) : std::string(); };
    // The texts keep their NUL.
    AppendStateItems(*this, {{
                                {nullptr, std::string("K-UPS\0", 6)},
                                {nullptr, std::string("Vorthane\0", 9)},
                                {nullptr, versionValue(version.major)},
                                {nullptr, versionValue(version.minor)},
                                {nullptr, versionValue(version.build)},
                                NotSupported(),
                                {rdPowerStatus},
                                NotSupported(),
                                NotSupported(),
                                {rdBatteryCapacity},
                                {rdBatteryRuntime},
                                {nullptr, ItemValue(std::uint8_t{1})},
                                {rdPowerFailCounter},
                                NotSupported(),
                                NotSupported(),
                                {nullptr, ItemValue(std::uint8_t{0}), ACCESS_WRITE, wrTestCapacity},
                                NotSupported(),
                                NotSupported(),
                            }});

    ReadOnce(gpioInfo, W::FKUpsGetGpioInfo);
    ZmVtDevWrapper::TKUps_GpioInfo info;
    const bool hasInfo = gpioInfo.Get(info);
    const auto infoValue = [hasInfo](auto number) { return hasInfo ? ItemValue(number) : std::string(); };
    AppendGpioItems(
        gpio,
        {{{nullptr, infoValue(info.value1)}, {nullptr, infoValue(info.value2)}, {nullptr, infoValue(info.value3)}}});
}

ObjResult CKUpsActivator::DoActivate() {
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "==>CKUpsActivator::DoActivate()");
    W::LoadDll(); // until DoDeactivate
    const unsigned short index = HeaderIndexOf(*header);
    const CRef<CKUpsObj0x8nn1> state(new CKUpsObj0x8nn1);
    state->Init(DataIndex(index, 1), OBJCODE_RECORD, TEXT_ID_STATE);
    const CRef<CObjectRecord> gpio(new CObjectRecord);
    gpio->Init(DataIndex(index, 2), OBJCODE_RECORD, TEXT_ID_GPIO);
    state->AppendAll(*gpio);
    if (CDictionaryRef dictionary; dictionary) {
        dictionary->AddObject(state.Get());
        dictionary->AddObject(gpio.Get());
    }
    m_timer.Open();
    // NOLINTNEXTLINE(performance-no-int-to-ptr): a number in the place of a pointer, which is meant
    m_timer.Start(TICK_MS, index, reinterpret_cast<void*>(std::uintptr_t{index}));
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "<==CKUpsActivator::DoActivate()");
    return OBJ_E_NOERR;
}

ObjResult CKUpsActivator::DoDeactivate() {
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "==>CKUpsActivator::DoDeactivate()");
    const CDictionaryRef dictionary;
    const ObjResult result = dictionary ? m_timer.Stop(*dictionary.Get()) : OBJ_E_UNEXPECTED;
    if (!IsError(result)) {
        dictionary->RemoveObject(DataIndex(HeaderIndexOf(*header), 1));
        dictionary->RemoveObject(DataIndex(HeaderIndexOf(*header), 2));
        W::UnloadDll();
    }
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "<==CKUpsActivator::DoDeactivate()");
    return result;
}

void CKUpsActivator::MdpTimerproc(unsigned int /*timerId*/, unsigned int /*parameter*/, void* pointer) {
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "==> UPS:timerproc()");
    const CDictionaryRef dictionary;
    if (const CPassTimer::CPass pass(m_timer); dictionary && pass) {
        const ZmVtDevWrapper::CDeviceUse device;
        const auto index = static_cast<unsigned short>(reinterpret_cast<std::uintptr_t>(pointer));
        if (dictionary->GetObjectRef(index)) {
            if (const auto record = RecordOf(DataIndex(index, 1)); record) {
                record->RefreshState();
            }
        }
    }
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "<== UPS:timerproc()");
}

} // namespace UPS
