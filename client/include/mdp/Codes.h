#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace Mdp {

/// A result code of the object layer. Bit 31 set means failure; 0 is OBJ_E_NOERR.
using Code = std::uint32_t;

inline constexpr Code OBJ_E_NOERR = 0;
inline constexpr Code OBJ_E_FAILED = 0xECA60001;
inline constexpr Code OBJ_E_INVALIDIDX = 0xECA60100;
inline constexpr Code OBJ_E_INVALACCESS = 0xECA60101;
inline constexpr Code OBJ_E_BUFFERTOOSMALL = 0xECA60102;
inline constexpr Code OBJ_E_INVALIDSIZE = 0xECA60103;
inline constexpr Code OBJ_E_OUTOFMEMORY = 0xECA60104;
inline constexpr Code OBJ_E_NODATA = 0xECA60105;
inline constexpr Code OBJ_E_INVALIDDATA = 0xECA60106;
inline constexpr Code OBJ_E_INVALIDARG = 0xECA60107;
inline constexpr Code OBJ_E_OUTOFRANGE = 0xECA60108;
inline constexpr Code OBJ_E_BUSY = 0xECA60200;
inline constexpr Code OBJ_E_NOTIMPL = 0xECA60F00;
inline constexpr Code OBJ_E_UNEXPECTED = 0xECA60FFF;
inline constexpr Code OBJ_E_NOTSUPPORTED = 0xECA61000;

/// Families: the low half holds an errno value or exit status, or an error of the hardware or protocol library.
inline constexpr Code OBJ_E_OS_BASE = 0xECA70000;
inline constexpr Code OBJ_E_EXT_BASE = 0xECA80000;

inline constexpr Code OBJ_E_USEREXISTS = 0xECAF0401;
inline constexpr Code OBJ_E_NOSUCHUSER = 0xECAF0402;
inline constexpr Code OBJ_E_GROUPEXISTS = 0xECAF0403;
inline constexpr Code OBJ_E_NOSUCHGROUP = 0xECAF0404;
inline constexpr Code OBJ_E_ROUTEPORT = 0xECAF0420;
inline constexpr Code OBJ_E_PORTCLOSED = 0xECAF0421;
inline constexpr Code OBJ_E_NOFLASHDATA = 0xECAF0701;
inline constexpr Code OBJ_E_NOHDDDATA = 0xECAF0702;

/// True when the code tells a failure.
constexpr bool IsError(Code code) {
    return (code & 0x80000000U) != 0;
}

/// True for a code of the operating system family, whose low half is what OsError gives.
constexpr bool IsOsError(Code code) {
    return (code & 0xFFFF0000U) == OBJ_E_OS_BASE;
}

/// The errno value or exit status in a code of the operating system family.
constexpr int OsError(Code code) {
    return static_cast<int>(code & 0xFFFFU);
}

/// The code's name, such as "OBJ_E_INVALIDIDX" or, in the two families, "OBJ_E_OS_BASE+2". A code without a name of its
/// own gives an empty text.
std::string CodeName(Code code);

/// What the code means, in one plain sentence without a full stop; never empty.
std::string CodeText(Code code);

/// Number, name and meaning in one line: "0xECA60100 OBJ_E_INVALIDIDX: the object or entry does not exist".
std::string DescribeCode(Code code);

} // namespace Mdp
