#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>

#include "dictionary/Obj0x8nn0.h"
#include "modules/CPassTimer.h"

// The processor. Its record is there only while clients look at it, as measuring the load costs a program every two
// seconds.
//
//   0x8nn1:1  frequency    UNSIGNED32  read, mark  MHz, as of the activation
//   0x8nn1:2  load         UNSIGNED16  read        percent, never below 1
//   0x8nn1:3  temperature  INTEGER16   read        degrees Celsius
namespace CPU {

// Makes the header and the activator. Always 0.
ObjResult Create();

// MHz; 0 where the system does not tell.
std::uint32_t GetCpuFreq();

// The processor's sensor, and its reading. The device must be loaded.
ObjResult GetCpuSensorIndex(unsigned int* sensor);
ObjResult GetCpuTemp(const unsigned int* sensor, unsigned short* temperature);

class CCPUObj0x8nn0 : public CObj0x8nn0 {};

class CObj0x8nn1 : public CObjectRecord {
public:
    ~CObj0x8nn1() override;

    // Makes the record and reads its values for the first time.
    ObjResult Init(unsigned short index);

    // Makes this object the one whose load is measured, at first 1.
    void KeepLoad();

    unsigned int Sensor() const { return m_sensor; }

    // Starts a thread that measures the load for about two seconds and then keeps it.
    static void GetCpuLoad();
    static std::uint32_t GetCpuLoadThread(void* unused);

    // The load that was measured last; none while no object keeps it.
    static std::optional<std::uint16_t> Load();

private:
    using TLoad = std::shared_ptr<std::atomic<std::uint16_t>>;

    static TLoad CurrentLoad();

    static TLoad pCpuLoad; // under a section: threads that measure outlive the object
    TLoad m_load;
    unsigned int m_sensor = 0; // 0 until found
};

class CCPUActivator : public CModuleActivator, public IMdpTimerCallback {
public:
    explicit CCPUActivator(CCPUObj0x8nn0* header) : m_timer(*this, *this), m_header(header) {}

    ObjResult DoActivate() override;
    ObjResult DoDeactivate() override;
    // `parameter`: index of the header.
    void MdpTimerproc(unsigned int timerId, unsigned int parameter, void* pointer) override;

protected:
    CPassTimer m_timer;

private:
    CRef<CCPUObj0x8nn0> m_header;
};

} // namespace CPU
