#pragma once

#include <cstdint>

// Results of the drive classes: 0 is success.
namespace PhysicalDrive {

inline constexpr std::uint32_t DRIVE_E_FAILED = 0xECA60001;
inline constexpr std::uint32_t DRIVE_E_NODATA = 0xECA60105;
inline constexpr std::uint32_t DRIVE_E_INVALIDDATA = 0xECA60106;
inline constexpr std::uint32_t DRIVE_E_OS_BASE = 0xECA70000; // low half: errno

} // namespace PhysicalDrive
