#pragma once

#include <cstdint>

// Result of every operation of the object layer: 0 is success, bit 31 marks a failure, anything else counts as success.
using ObjResult = std::uint32_t;

inline constexpr ObjResult OBJ_E_NOERR = 0;
inline constexpr ObjResult OBJ_E_FAILED = 0xECA60001;
inline constexpr ObjResult OBJ_E_INVALIDIDX = 0xECA60100;     // index or sub-index does not exist, or is taken
inline constexpr ObjResult OBJ_E_INVALACCESS = 0xECA60101;    // the item does not allow this access
inline constexpr ObjResult OBJ_E_BUFFERTOOSMALL = 0xECA60102; // destination smaller than the value
inline constexpr ObjResult OBJ_E_INVALIDSIZE = 0xECA60103;
inline constexpr ObjResult OBJ_E_OUTOFMEMORY = 0xECA60104; // also: the object holds 255 items
inline constexpr ObjResult OBJ_E_NODATA = 0xECA60105;      // the source of the value is not available
inline constexpr ObjResult OBJ_E_INVALIDDATA = 0xECA60106;
inline constexpr ObjResult OBJ_E_INVALIDARG = 0xECA60107;
inline constexpr ObjResult OBJ_E_OUTOFRANGE = 0xECA60108;
inline constexpr ObjResult OBJ_E_BUSY = 0xECA60200; // the service object is executing
inline constexpr ObjResult OBJ_E_NOTIMPL = 0xECA60F00;
inline constexpr ObjResult OBJ_E_UNEXPECTED = 0xECA60FFF;
inline constexpr ObjResult OBJ_E_NOTSUPPORTED = 0xECA61000;
inline constexpr ObjResult OBJ_E_OS_BASE = 0xECA70000;  // low half: errno value or exit status
inline constexpr ObjResult OBJ_E_EXT_BASE = 0xECA80000; // low half: error of the hardware or protocol library
inline constexpr ObjResult OBJ_E_USEREXISTS = 0xECAF0401;
inline constexpr ObjResult OBJ_E_NOSUCHUSER = 0xECAF0402;
inline constexpr ObjResult OBJ_E_GROUPEXISTS = 0xECAF0403;
inline constexpr ObjResult OBJ_E_NOSUCHGROUP = 0xECAF0404;
inline constexpr ObjResult OBJ_E_ROUTEPORT = 0xECAF0420;
inline constexpr ObjResult OBJ_E_PORTCLOSED = 0xECAF0421;
inline constexpr ObjResult OBJ_E_NOFLASHDATA = 0xECAF0701;
inline constexpr ObjResult OBJ_E_NOHDDDATA = 0xECAF0702;

// Platform status values that pass through the object layer unchanged.
inline constexpr ObjResult STATUS_NULL_POINTER = 0x80004003;
inline constexpr ObjResult STATUS_UNSPECIFIED = 0x80004005;
inline constexpr ObjResult STATUS_OUT_OF_MEMORY = 0x8007000E;
inline constexpr ObjResult STATUS_INVALID_ARGUMENT = 0x80070057;
// A malformed request record.
inline constexpr ObjResult STATUS_BAD_RECORD = 87;

constexpr bool IsError(ObjResult result) {
    return (result & 0x80000000U) != 0;
}

// An errno value or the exit status of a program as a code of the object layer.
constexpr ObjResult OsResult(std::uint32_t code) {
    return OBJ_E_OS_BASE | (code & 0xFFFFU);
}

// An error of the hardware access or protocol library as a code of the object layer.
constexpr ObjResult ExtResult(std::uint32_t code) {
    return OBJ_E_EXT_BASE | (code & 0xFFFFU);
}
