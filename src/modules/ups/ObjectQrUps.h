#pragma once

#include <cstdint>

#include "dictionary/ObjectRecord.h"
#include "modules/ups/ObjectUPS.h"
#include "runtime/KorSyncWrap.h"

namespace UPS {

// A client of the runtime on this machine, which knows the supplies of its devices. Not for several threads at once.
class CZelmora {
public:
    CZelmora() = default;
    // Closes the port and unloads the library.
    ~CZelmora();
    CZelmora(const CZelmora&) = delete;
    CZelmora& operator=(const CZelmora&) = delete;

    // Always true.
    static bool IsZmInstalled();

    // 0 also where it is open already. OBJ_E_PORTCLOSED where there is no port, ExtResult of an error of the protocol.
    ObjResult OpenKorPort();
    ObjResult CloseKorPort();

    // Finds the device that is the supply: its number, from 1. ExtResult of an error of the protocol,
    // OBJ_E_NOTSUPPORTED where there is none.
    ObjResult GetQR3300PowerSupplierID(std::uint32_t* id);

    // Reads one byte of the supply's own values. False where that fails.
    bool ReadSupply(std::uint32_t supplier, std::uint32_t offset, std::uint8_t* value);

    // Opens the port and makes the address that of the devices, without a word where that fails.
    void Connect();

    CKorSyncWrap wrap;
    MirnAddr address{};
    std::int32_t port = 0; // handle; 0 while closed
};

// The state of the supply of the embedded family.
class CQrObj0x8nn1 : public CObjectRecord {
public:
    CZelmora client;
    std::uint32_t supplier = 0;
};

// There is no timer: reads ask the runtime.
class CQrActivator : public CUpsActivator {
public:
    ObjResult DoActivate() override;
    ObjResult DoDeactivate() override;
};

} // namespace UPS
