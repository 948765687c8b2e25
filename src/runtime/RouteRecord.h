#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "runtime/KorSyncWrap.h"

// Routes as the runtime's router tells and takes them.
namespace Zelmora {

// One row of the route tables.
struct TRoute {
    std::string name;
    std::string address; // as the router knows it: a host name or the text of an IP address
    MirnNetId_ netId{};
    std::uint32_t flags = 0;
    std::uint32_t timeout = 0; // of the router's own scale
    std::uint16_t transport = 0;
};

// What the router fills for one route.
inline constexpr unsigned int ROUTE_RECORD_SIZE = 2048;

// The route of a record, and behind it its sub-routes, named "route/sub". Nothing is read outside of the record: texts
// and lists of sub-routes that would reach beyond it end there. Nothing where the record is too short for a route.
std::vector<TRoute> ParseRouteRecord(std::span<const unsigned char> record);

// The record that adds a route. Texts end at their first NUL.
std::string RouteRecord(const TRoute& route);

// "1.2.3.4.5.6"
std::string NetIdText(const MirnNetId_& netId);

} // namespace Zelmora
