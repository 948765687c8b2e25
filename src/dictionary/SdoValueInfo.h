#pragma once

#include <cstddef>
#include <cstdint>

#pragma pack(push, 1)

// An entry description as it lies in the answer area of a frame, at any alignment, the name behind it.
struct TMdpSDOValueInfo {
    std::uint64_t size; // in: bytes of this record, head and name
    std::uint16_t valueInfo;
    std::uint16_t dataType;
    std::uint16_t bitLength;
    std::uint16_t objectAccess;
    std::uint64_t offsetUnit;
    std::uint64_t offsetDefault;
    std::uint64_t offsetMinimum;
    std::uint64_t offsetMaximum;
    std::uint64_t offsetName;
    std::uint64_t lengthName; // bytes, no terminator counted
};

#pragma pack(pop)

static_assert(sizeof(TMdpSDOValueInfo) == 64);
static_assert(offsetof(TMdpSDOValueInfo, lengthName) == 56);
