#pragma once

#include <array>
#include <string>

#include "dictionary/InfoItem.h"
#include "dictionary/ObjHelper.h"
#include "dictionary/ObjectRecord.h"

// The layout of items that all kinds of supplies share.
namespace UPS {

inline constexpr std::int64_t TEXT_ID_STATE = 1281;
inline constexpr std::int64_t TEXT_ID_GPIO = 1282;

// What a kind puts into one place of the layout.
struct TUpsItem {
    TOnRead onRead = nullptr;
    std::string value = {};
    std::uint16_t access = ACCESS_READ;
    TOnWrite onWrite = nullptr;
};

// An item of the layout that this kind has not.
inline TUpsItem NotSupported() {
    return {RdNotSupported};
}

// The one item that may be written, where the kind has it not.
inline TUpsItem WriteNotSupported() {
    return {RdNotSupported, {}, ACCESS_READ | ACCESS_WRITE, WrNotSupported};
}

// The items of 0x8nn1 and of 0x8nn2, from sub-index 1 on.
void AppendStateItems(CObject& object, const std::array<TUpsItem, 18>& items);
void AppendGpioItems(CObject& object, const std::array<TUpsItem, 3>& items);

} // namespace UPS
