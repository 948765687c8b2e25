#pragma once

#include <cstdint>

#include "dictionary/Obj0x8nn0.h"
#include "modules/CPassTimer.h"

// A module for each fan sensor of the board, named by the sensor's description. Each sleeps and wakes alone.
//
//   0x8nn1:1  speed  INTEGER16  read  in the driver's unit, turns a minute
namespace Fan {

// Makes a header and an activator for each sensor. Always 0.
ObjResult Create();

class CFanObj0x8nn0 : public CObj0x8nn0 {
public:
    std::uint16_t sensor = 0;
};

class CObj0x8nn1 : public CObjectRecord {
public:
    explicit CObj0x8nn1(const std::uint16_t* sensor) : m_sensor(sensor) {}

    // Makes the record and reads the speed for the first time. The device must be loaded.
    ObjResult Init(unsigned short index);

    unsigned int Sensor() const { return *m_sensor; }

private:
    const std::uint16_t* m_sensor; // the header's, which stays for good
};

class CFanActivator : public CModuleActivator, public IMdpTimerCallback {
public:
    explicit CFanActivator(CFanObj0x8nn0* header) : m_timer(*this, *this), m_header(header) {}

    ObjResult DoActivate() override;
    ObjResult DoDeactivate() override;
    // `parameter`: index of the header.
    void MdpTimerproc(unsigned int timerId, unsigned int parameter, void* pointer) override;

protected:
    CPassTimer m_timer;

private:
    CRef<CFanObj0x8nn0> m_header;
};

} // namespace Fan
