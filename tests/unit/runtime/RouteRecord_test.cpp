#include "runtime/RouteRecord.h"

#include <gtest/gtest.h>

#include "../modules/ModuleTest.h"
#include "runtime/ZelmoraRegistry.h"

using namespace Zelmora;

namespace {

std::vector<TRoute> Parse(const std::string& record) {
    return ParseRouteRecord({reinterpret_cast<const unsigned char*>(record.data()), record.size()});
}

// A route to 1.2.3.4.5.6 by transport 7 with flags 8 and time-out 9; the lengths are those of the texts' fields.
std::string Head(const std::string& addressLength, const std::string& nameLength, const std::string& subRoutes) {
    return Bytes("01 02 03 04 05 06  07 00  08 00 00 00  09 00 00 00") + std::string(16, '\0') + Bytes(addressLength) +
           Bytes(nameLength) + Bytes(subRoutes);
}

} // namespace

TEST(RouteRecordTest, HoldsOneRoute) {
    const auto routes = Parse(Head("05 00 00 00", "03 00 00 00", "00 00 00 00") + Bytes("68 6f 73 74 00  6d 31 00"));
    ASSERT_EQ(routes.size(), 1U);
    EXPECT_EQ(routes[0].name, "m1");
    EXPECT_EQ(routes[0].address, "host");
    EXPECT_EQ(NetIdText(routes[0].netId), "1.2.3.4.5.6");
    EXPECT_EQ(routes[0].transport, 7);
    EXPECT_EQ(routes[0].flags, 8U);
    EXPECT_EQ(routes[0].timeout, 9U);
}

TEST(RouteRecordTest, HoldsSubRoutesWithTheNetIdAndFlagsOfTheirOwn) {
    const auto routes =
        Parse(Head("02 00 00 00", "02 00 00 00", "02 00 00 00") + Bytes("68 00 72 00") +
              Bytes("0a 0b 0c 0d 0e 0f  ff ff ff ff ff ff ff ff ff ff  21 00 00 00  02 00 00 00  61 00") +
              Bytes("14 15 16 17 18 19  00 00 00 00 00 00 00 00 00 00  22 00 00 00  03 00 00 00  62 63 00"));
    ASSERT_EQ(routes.size(), 3U);
    EXPECT_EQ(routes[1].name, "r/a");
    EXPECT_EQ(routes[1].address, "h");
    EXPECT_EQ(NetIdText(routes[1].netId), "10.11.12.13.14.15");
    EXPECT_EQ(routes[1].flags, 0x21U);
    EXPECT_EQ(routes[1].timeout, 9U);
    EXPECT_EQ(routes[1].transport, 7);
    EXPECT_EQ(routes[2].name, "r/bc");
    EXPECT_EQ(NetIdText(routes[2].netId), "20.21.22.23.24.25");
    EXPECT_EQ(routes[2].flags, 0x22U);
}

TEST(RouteRecordTest, IsCutWhereItsLengthsLie) {
    // An address that reaches beyond the record takes what is there, and leaves nothing behind it.
    auto routes = Parse(Head("ff ff ff ff", "ff ff ff ff", "ff ff ff ff") + Bytes("68 6f"));
    ASSERT_EQ(routes.size(), 1U);
    EXPECT_EQ(routes[0].address, "ho");
    EXPECT_EQ(routes[0].name, "");

    // Sub-routes that are not there are not made up.
    routes = Parse(Head("01 00 00 00", "01 00 00 00", "ff ff ff ff") + std::string(2, '\0') + std::string(23, 'x'));
    EXPECT_EQ(routes.size(), 1U);

    // The name of a sub-route that reaches beyond the record ends there, and so does the list.
    routes = Parse(Head("01 00 00 00", "01 00 00 00", "05 00 00 00") + std::string(2, '\0') + std::string(20, 'x') +
                   Bytes("ff ff 00 00 61 62"));
    ASSERT_EQ(routes.size(), 2U);
    EXPECT_EQ(routes[1].name, "/ab");

    EXPECT_TRUE(Parse(std::string(43, '\0')).empty());
}

TEST(RouteRecordTest, AsksForARouteWithTheAddressInFrontOfTheName) {
    const TRoute route{"m1", "host", {{1, 2, 3, 4, 5, 6}}, 8, 9, 7};
    EXPECT_EQ(RouteRecord(route), Bytes("01 02 03 04 05 06  07 00  08 00 00 00  09 00 00 00") + std::string(16, '\0') +
                                      Bytes("05 00 00 00  03 00 00 00  00 00 00 00  68 6f 73 74 00  6d 31 00"));
}

TEST(RouteRecordTest, NetIdsReadAsSixNumbers) {
    EXPECT_EQ(NetIdText({{255, 255, 255, 255, 255, 255}}), "255.255.255.255.255.255");
    EXPECT_EQ(NetIdText({}), "0.0.0.0.0.0");
}

TEST(ZelmoraRegistryTest, KeysFollowTheFirstVersionAlone) {
    InitZmRegistryPaths({2, 11, 0});
    EXPECT_STREQ(REG_ZM, "SOFTWARE\\Vorthane\\Zelmora");
    EXPECT_STREQ(REG_ZELMORA_SYSTEM, "SOFTWARE\\Vorthane\\Zelmora\\System");
    EXPECT_STREQ(REG_ZELMORA_PLC, "SOFTWARE\\Vorthane\\Zelmora\\Plc");
    EXPECT_STREQ(REG_ZELMORA_RTIME, "SOFTWARE\\Vorthane\\Zelmora\\RTime");
    EXPECT_STREQ(REG_ZMROUTEINFO, "SOFTWARE\\Vorthane\\Zelmora\\Remote");
    InitZmRegistryPaths({3, 1, 0});
    EXPECT_STREQ(REG_ZELMORA_SYSTEM, "SOFTWARE\\Vorthane\\Zelmora\\System");
}

TEST(ZelmoraRegistryTest, KeysOfTheThirdGenerationHaveItsNumber) {
    bZmRegistryPathsInitialized = false;
    InitZmRegistryPaths({3, 1, 4024});
    EXPECT_STREQ(REG_ZM, "SOFTWARE\\Vorthane\\Zelmora3");
    EXPECT_STREQ(REG_ZELMORA_SYSTEM, "SOFTWARE\\Vorthane\\Zelmora3\\System");
    EXPECT_STREQ(REG_ZELMORA_PLC, "SOFTWARE\\Vorthane\\Zelmora3\\Plc");
    EXPECT_STREQ(REG_ZELMORA_RTIME, "SOFTWARE\\Vorthane\\Zelmora3\\RTime");
    EXPECT_STREQ(REG_ZMROUTEINFO, "SOFTWARE\\Vorthane\\Zelmora3\\Remote");
    EXPECT_EQ(NetIdRegistryRecord({{1, 2, 3, 4, 5, 255}}), std::string("SOFTWARE\\Vorthane\\Zelmora3\\System") + '\0' +
                                                               "RequestedMirnNetId" + '\0' +
                                                               Bytes("03 00 00 00  01 02 03 04 05 ff"));
}
