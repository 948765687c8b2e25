#include "modules/ups/UpsItems.h"

#include <span>

#include "dictionary/ItemTable.h"

namespace UPS {

namespace {

struct TPlace {
    std::uint16_t type;
    std::int64_t textId;
};

// The order of the items is the layout, not that of the text ids.
constexpr TPlace STATE[] = {
    {TYPE_VISIBLE_STRING, 10190}, {TYPE_VISIBLE_STRING, 10191}, {TYPE_UNSIGNED8, 10192},  {TYPE_UNSIGNED8, 10193},
    {TYPE_UNSIGNED16, 10194},     {TYPE_VISIBLE_STRING, 10195}, {TYPE_UNSIGNED8, 10196},  {TYPE_UNSIGNED8, 10197},
    {TYPE_UNSIGNED8, 10205},      {TYPE_UNSIGNED8, 10198},      {TYPE_UNSIGNED32, 10199}, {TYPE_BOOLEAN, 10200},
    {TYPE_UNSIGNED32, 10201},     {TYPE_BOOLEAN, 10202},        {TYPE_BOOLEAN, 10203},    {TYPE_BOOLEAN, 10204},
    {TYPE_VISIBLE_STRING, 10209}, {TYPE_BOOLEAN, 10210},
};

constexpr TPlace GPIO[] = {
    {TYPE_UNSIGNED16, 10206},
    {TYPE_UNSIGNED8, 10207},
    {TYPE_UNSIGNED8, 10208},
};

void Append(CObject& object, std::span<const TPlace> places, std::span<const TUpsItem> items) {
    for (std::size_t i = 0; i < places.size(); ++i) {
        const TUpsItem& item = items[i];
        AppendItems(object, {{static_cast<unsigned char>(i + 1), TypeAccess(places[i].type, item.access),
                              places[i].textId, item.onRead, item.onWrite, item.value}});
    }
}

} // namespace

void AppendStateItems(CObject& object, const std::array<TUpsItem, 18>& items) {
    static_assert(std::size(STATE) == std::tuple_size_v<std::array<TUpsItem, 18>>);
    Append(object, STATE, items);
}

void AppendGpioItems(CObject& object, const std::array<TUpsItem, 3>& items) {
    static_assert(std::size(GPIO) == std::tuple_size_v<std::array<TUpsItem, 3>>);
    Append(object, GPIO, items);
}

} // namespace UPS
