#include "netlink/route.hpp"

#include "support/operation_test.hpp"

namespace kex::netlink
{
namespace
{

using namespace test;

using Sock = NetlinkCommandSocket;

constexpr uint16_t newroute = 24;
constexpr uint16_t replacing = 0x0505;
constexpr uint16_t appending = 0x0C05;

constexpr uint16_t rta_dst = 1;
constexpr uint16_t rta_oif = 4;
constexpr uint16_t rta_gateway = 5;
constexpr uint16_t rta_table = 15;

constexpr uint8_t inet = 2;
constexpr uint8_t inet6 = 10;

constexpr uint8_t proto_static = 4;

constexpr uint32_t onlink = 4;

const IpAddress ipv4_net = {AF_INET, {10, 1, 2, 0}};
const IpAddress ipv4_gateway = {AF_INET, {10, 0, 0, 1}};
const IpAddress ipv6_net = {AF_INET6, {0xfd, 0, 0, 1}};
const IpAddress ipv6_gateway = {AF_INET6, {0xfe, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}};

const Bytes ipv4_net_bytes("\x0a\x01\x02\x00", 4);
const Bytes ipv4_gateway_bytes("\x0a\x00\x00\x01", 4);
const Bytes ipv6_net_bytes = Bytes("\xfd\x00\x00\x01", 4) + zeros(12);
const Bytes ipv6_gateway_bytes = Bytes("\xfe\x80", 2) + zeros(13) + u8(1);

/** Family, destination's length, table, protocol and flags; everything else is 0 or unicast. */
Bytes rtmsg_of(uint8_t family, uint8_t prefix, uint8_t table, uint8_t protocol, uint32_t flags = 0)
{
    constexpr uint8_t unicast = 1;
    return u8(family) + u8(prefix) + zeros(2) + u8(table) + u8(protocol) + zeros(1) + u8(unicast) +
           u32(flags);
}

/** To 10.1.2.0/24 by 10.0.0.1 on eth0. */
Route usual_route()
{
    Route route;
    route.family = AF_INET;
    route.link = "eth0";
    route.destination = ipv4_net;
    route.prefix_length = 24;
    route.gateway = ipv4_gateway;
    route.table = 254;
    route.replace = true;
    route.onlink = true;
    return route;
}

const Bytes usual_attributes = attribute(rta_dst, ipv4_net_bytes) +
                               attribute(rta_gateway, ipv4_gateway_bytes) +
                               attribute(rta_oif, u32(eth0_index)) + attribute(rta_table, u32(254));

class AddRoute : public NetlinkTest
{
  protected:
    AddRoute() { acknowledge(); }

    std::string request_for(const Route& route)
    {
        add_route(sock, route);
        return the_request();
    }
};

TEST_F(AddRoute, SendsDestinationGatewayLinkAndTable)
{
    EXPECT_EQ(request_for(usual_route()),
              dump(message(newroute, replacing, 1,
                           rtmsg_of(inet, 24, 254, proto_static, onlink) + usual_attributes)));
}

TEST_F(AddRoute, ByteForByte)
{
    EXPECT_EQ(request_for(usual_route()), "60 bytes\n"
                                          "3c 00 00 00\n18 00 05 05\n01 00 00 00\n00 00 00 00\n"
                                          "02 18 00 00\n" // family, destination, source, TOS
                                          "fe 04 00 01\n" // table, protocol, scope, type
                                          "04 00 00 00\n" // on the link
                                          "08 00 01 00\n0a 01 02 00\n"
                                          "08 00 05 00\n0a 00 00 01\n"
                                          "08 00 04 00\n02 00 00 00\n"
                                          "08 00 0f 00\nfe 00 00 00");
}

TEST_F(AddRoute, AppendsWhenItDoesNotReplace)
{
    Route route = usual_route();
    route.replace = false;
    EXPECT_EQ(request_for(route),
              dump(message(newroute, appending, 1,
                           rtmsg_of(inet, 24, 254, proto_static, onlink) + usual_attributes)));
}

TEST_F(AddRoute, WithoutOnlinkHasNoFlag)
{
    Route route = usual_route();
    route.onlink = false;
    EXPECT_EQ(request_for(route),
              dump(message(newroute, replacing, 1,
                           rtmsg_of(inet, 24, 254, proto_static) + usual_attributes)));
}

TEST_F(AddRoute, WithoutGatewayOnlinkHasNoEffect)
{
    Route route = usual_route();
    route.gateway.reset();
    EXPECT_EQ(
        request_for(route),
        dump(message(newroute, replacing, 1,
                     rtmsg_of(inet, 24, 254, proto_static) + attribute(rta_dst, ipv4_net_bytes) +
                         attribute(rta_oif, u32(eth0_index)) + attribute(rta_table, u32(254)))));
}

TEST_F(AddRoute, OfPrefixZeroSendsNoDestination)
{
    Route route = usual_route();
    route.prefix_length = 0;
    EXPECT_EQ(request_for(route), dump(message(newroute, replacing, 1,
                                               rtmsg_of(inet, 0, 254, proto_static, onlink) +
                                                   attribute(rta_gateway, ipv4_gateway_bytes) +
                                                   attribute(rta_oif, u32(eth0_index)) +
                                                   attribute(rta_table, u32(254)))));
}

TEST_F(AddRoute, WithoutDestinationSendsNone)
{
    Route route = usual_route();
    route.destination.reset();
    EXPECT_EQ(request_for(route), dump(message(newroute, replacing, 1,
                                               rtmsg_of(inet, 24, 254, proto_static, onlink) +
                                                   attribute(rta_gateway, ipv4_gateway_bytes) +
                                                   attribute(rta_oif, u32(eth0_index)) +
                                                   attribute(rta_table, u32(254)))));
}

TEST_F(AddRoute, WithoutLinkSendsNoIndex)
{
    Route route = usual_route();
    route.link.clear();
    EXPECT_EQ(request_for(route), dump(message(newroute, replacing, 1,
                                               rtmsg_of(inet, 24, 254, proto_static, onlink) +
                                                   attribute(rta_dst, ipv4_net_bytes) +
                                                   attribute(rta_gateway, ipv4_gateway_bytes) +
                                                   attribute(rta_table, u32(254)))));
}

TEST_F(AddRoute, OfIpv6SendsSixteenBytes)
{
    Route route = usual_route();
    route.family = AF_INET6;
    route.destination = ipv6_net;
    route.prefix_length = 64;
    route.gateway = ipv6_gateway;
    EXPECT_EQ(request_for(route), dump(message(newroute, replacing, 1,
                                               rtmsg_of(inet6, 64, 254, proto_static, onlink) +
                                                   attribute(rta_dst, ipv6_net_bytes) +
                                                   attribute(rta_gateway, ipv6_gateway_bytes) +
                                                   attribute(rta_oif, u32(eth0_index)) +
                                                   attribute(rta_table, u32(254)))));
}

TEST_F(AddRoute, OfTheBareMinimumSendsTheTable)
{
    EXPECT_EQ(request_for({}),
              dump(message(newroute, appending, 1,
                           rtmsg_of(inet, 0, 0, proto_static) + attribute(rta_table, u32(0)))));
}

TEST_F(AddRoute, Table255IsInHeaderAndAttribute)
{
    Route route;
    route.table = 255;
    EXPECT_EQ(request_for(route),
              dump(message(newroute, appending, 1,
                           rtmsg_of(inet, 0, 255, proto_static) + attribute(rta_table, u32(255)))));
}

int add_to_table(Sock& sock, const char* link, uint32_t table)
{
    Route route = usual_route();
    route.link = link;
    route.table = table;
    return add_route(sock, route);
}

INSTANTIATE_TEST_SUITE_P(Route, Outcome,
                         testing::Values(Operation{
                             "add_route", [](Sock& sock) { return add_route(sock, usual_route()); },
                             "added route on eth0", "failed to add route on eth0"}),
                         case_name);

INSTANTIATE_TEST_SUITE_P(RouteWithoutLink, Outcome,
                         testing::Values(Operation{
                             "add_route", [](Sock& sock) { return add_to_table(sock, "", 254); },
                             "added route on ", "failed to add route on "}),
                         case_name);

INSTANTIATE_TEST_SUITE_P(
    Route, Refused,
    testing::Values(Refusal{"AddRouteOnUnknown",
                            [](Sock& sock) { return add_to_table(sock, "eth9", 256); },
                            "resolve_ifindex", "interface eth9 not found", 0},
                    Refusal{"AddRouteToTable256",
                            [](Sock& sock) { return add_to_table(sock, "eth0", 256); }, "add_route",
                            "invalid table ID: 256", 0},
                    Refusal{"AddRouteToTheLargestTable",
                            [](Sock& sock) { return add_to_table(sock, "eth0", 0xFFFFFFFF); },
                            "add_route", "invalid table ID: -1", 0},
                    Refusal{"FlushRoutesOfUnknown",
                            [](Sock& sock) { return flush_routes(sock, AF_INET, "eth9", 0, 256); },
                            "resolve_ifindex", "interface eth9 not found", 0},
                    Refusal{"FlushRoutesOfTable256",
                            [](Sock& sock) { return flush_routes(sock, AF_INET, "eth0", 0, 256); },
                            "flush_routes", "invalid table ID: 256", 0},
                    Refusal{"FlushRoutesOfTable256OnEveryLink",
                            [](Sock& sock) { return flush_routes(sock, AF_INET, "", 0, 256); },
                            "flush_routes", "invalid table ID: 256", 0}),
    case_name);

} // namespace
} // namespace kex::netlink
