#pragma once

#include <atomic>
#include <cstdint>

#include "dictionary/ObjectRecord.h"
#include "hardware/ZmVtDevWrapper.h"
#include "modules/CPassTimer.h"
#include "modules/ups/ObjectUPS.h"

namespace UPS {

// A value that the timer writes while triggers read it. The pointer is null while the value is not available.
template <typename T>
class TUpsValue {
public:
    // The value comes first, and then the pointer to it.
    void Set(const T& value) {
        m_value.store(value, std::memory_order_relaxed);
        m_pointer.store(&m_value, std::memory_order_release);
    }

    void Clear() { m_pointer.store(nullptr, std::memory_order_release); }

    // False where the value is not available.
    bool Get(T& value) const {
        const std::atomic<T>* pointer = m_pointer.load(std::memory_order_acquire);
        if (pointer == nullptr) {
            return false;
        }
        value = pointer->load(std::memory_order_relaxed);
        return true;
    }

private:
    std::atomic<T> m_value{};
    std::atomic<const std::atomic<T>*> m_pointer{nullptr};
};

// The state of the integrated supply.
class CKUpsObj0x8nn1 : public CObjectRecord {
public:
    // Reads all values, and makes the items of 0x8nn1 and, into the other record, those of 0x8nn2. The device must be
    // loaded.
    void AppendAll(CObject& gpio);
    // Reads state and charge.
    void RefreshState();

    TUpsValue<std::uint32_t> testResult;
    TUpsValue<ZmVtDevWrapper::TVtDevice_Version> revision;
    TUpsValue<std::uint32_t> percent;
    TUpsValue<ZmVtDevWrapper::TKUps_State> state;
    TUpsValue<ZmVtDevWrapper::TKUps_GpioInfo> gpioInfo;
};

class CKUpsActivator : public CUpsActivator, public IMdpTimerCallback {
public:
    CKUpsActivator() : m_timer(*this, *this) {}

    ObjResult DoActivate() override;
    ObjResult DoDeactivate() override;
    // `pointer`: index of the header as a number.
    void MdpTimerproc(unsigned int timerId, unsigned int parameter, void* pointer) override;

protected:
    CPassTimer m_timer;
};

} // namespace UPS
