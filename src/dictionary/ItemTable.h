#pragma once

#include <cstring>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

#include "dictionary/Object.h"

// Text id of item 0 of every array and record.
inline constexpr std::int64_t TEXT_ID_COUNT = 104;

// Items of an object as a table: one row a sub-index, in rising order from the first.
struct TItemRow {
    unsigned char subIndex = 0;
    std::uint32_t typeAccess = 0; // TypeAccess(...) or the plain number type | access << 16
    std::int64_t nameId = 0;
    TOnRead onRead = nullptr;
    TOnWrite onWrite = nullptr;
    std::string value = {}; // the first value's bytes; none makes an item without a buffer
    void* context = nullptr;
};

// The bytes of a number as they lie on the wire: little-endian, which is what both systems' machines are.
template <typename T>

requires std::is_arithmetic_v<T> std::string ItemValue(T number) {
    std::string bytes(sizeof number, '\0');
    std::memcpy(bytes.data(), &number, sizeof number);
    return bytes;
}

inline std::string ItemValue(std::string_view text) {
    return std::string(text);
}

// Appends the rows. Stops with the first failure; OBJ_E_UNEXPECTED where a row's sub-index is not the position that it
// gets.
ObjResult AppendItems(CObject& object, std::span<const TItemRow> rows);

inline ObjResult AppendItems(CObject& object, std::initializer_list<TItemRow> rows) {
    return AppendItems(object, std::span<const TItemRow>(rows.begin(), rows.size()));
}
