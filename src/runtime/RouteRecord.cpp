#include "runtime/RouteRecord.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "platform/LittleEndian.h"

namespace Zelmora {

namespace {

constexpr std::size_t ROUTE_RESERVED = 16;
constexpr std::size_t SUB_ROUTE_UNUSED = 10;

MirnNetId_ TakeNetId(CRecordReader& reader) {
    MirnNetId_ netId{};
    const std::span<const unsigned char> bytes = reader.TakeBytes(sizeof netId.b);
    std::copy(bytes.begin(), bytes.end(), netId.b);
    return netId;
}

// A text whose length counts its end mark; one that would reach beyond the record ends with it.
std::string TakeText(CRecordReader& reader, std::uint32_t length) {
    return reader.TakeTextToNul(std::min<std::size_t>(length, reader.Left()));
}

} // namespace

std::vector<TRoute> ParseRouteRecord(std::span<const unsigned char> record) {
    CRecordReader reader(record);
    TRoute route;
    route.netId = TakeNetId(reader);
    route.transport = reader.Take<std::uint16_t>();
    route.flags = reader.Take<std::uint32_t>();
    route.timeout = reader.Take<std::uint32_t>();
    reader.TakeBytes(ROUTE_RESERVED);
    const auto addressLength = reader.Take<std::uint32_t>();
    const auto nameLength = reader.Take<std::uint32_t>();
    const auto subRoutes = reader.Take<std::uint32_t>();
    if (reader.Failed()) {
        return {};
    }
    route.address = TakeText(reader, addressLength);
    route.name = TakeText(reader, nameLength);

    std::vector<TRoute> routes{route};
    for (std::uint32_t i = 0; i < subRoutes; ++i) {
        TRoute sub = route;
        sub.netId = TakeNetId(reader);
        reader.TakeBytes(SUB_ROUTE_UNUSED);
        sub.flags = reader.Take<std::uint32_t>();
        const auto subNameLength = reader.Take<std::uint32_t>();
        if (reader.Failed()) {
            break;
        }
        sub.name = route.name + '/' + TakeText(reader, subNameLength);
        routes.push_back(std::move(sub));
    }
    return routes;
}

std::string RouteRecord(const TRoute& route) {
    const std::size_t addressSize = std::strlen(route.address.c_str()) + 1;
    const std::size_t nameSize = std::strlen(route.name.c_str()) + 1;
    constexpr char RESERVED[ROUTE_RESERVED] = {};
    CRecordWriter record;
    record.PutBytes(route.netId.b, sizeof route.netId.b);
    record.Put(route.transport);
    record.Put(route.flags);
    record.Put(route.timeout);
    record.PutBytes(RESERVED, sizeof RESERVED);
    record.Put(static_cast<std::uint32_t>(addressSize));
    record.Put(static_cast<std::uint32_t>(nameSize));
    record.Put(std::uint32_t{0}); // sub-routes
    record.PutBytes(route.address.c_str(), addressSize);
    record.PutBytes(route.name.c_str(), nameSize);
    return std::move(record.Bytes());
}

std::string NetIdText(const MirnNetId_& netId) {
    char text[24];
    std::snprintf(text, sizeof text, "%i.%i.%i.%i.%i.%i", netId.b[0], netId.b[1], netId.b[2], netId.b[3], netId.b[4],
                  netId.b[5]);
    return text;
}

} // namespace Zelmora
