#include "support/command_test.hpp"
#include "support/flush_test.hpp"

namespace kex::commands
{
namespace
{

using namespace test;

using Requests = std::vector<std::string>;

constexpr uint8_t inet = 2;
constexpr uint8_t inet6 = 10;

constexpr uint16_t replacing = 0x0505;
constexpr uint16_t appending = 0x0C05;

constexpr uint32_t onlink = 4;

const Bytes ipv4_gateway = attribute(5, Bytes("\x0a\x00\x00\x01", 4));
const Bytes ipv6_gateway = attribute(5, Bytes("\xfe\x80", 2) + zeros(13) + u8(1));
const Bytes ipv4_destination = attribute(1, Bytes("\x0a\x01\x00\x00", 4));
const Bytes ipv6_destination = attribute(1, Bytes("\xfd\x00", 2) + zeros(14));
const Bytes on_eth0 = attribute(4, u32(eth0_index));

/** The request that adds a static unicast route. */
std::string addition(uint16_t flags, uint8_t family, uint8_t prefix, uint8_t table,
                     uint32_t route_flags, const Bytes& attributes)
{
    return dump(message(24, flags, 1,
                        u8(family) + u8(prefix) + zeros(2) + u8(table) + u8(4) + zeros(1) + u8(1) +
                            u32(route_flags) + attributes + attribute(15, u32(table))));
}

/** Arguments of a route, and the request that they send. */
struct Added {
    const char* name;
    Args args;
    std::string request;
};

void PrintTo(const Added& added, std::ostream* out)
{
    *out << added.name;
}

class AddedRoute : public CommandTest, public testing::WithParamInterface<Added>
{
};

TEST_P(AddedRoute, IsSent)
{
    acknowledge();
    handler.set_static_route(GetParam().args);
    EXPECT_EQ(requests(), Requests{GetParam().request});
}

INSTANTIATE_TEST_SUITE_P(
    Routes, AddedRoute,
    testing::Values(Added{"Default",
                          {"enable", "ipv4", "eth0", "default", "10.0.0.1"},
                          addition(replacing, inet, 0, 254, onlink, ipv4_gateway + on_eth0)},
                    Added{"Ipv4Network",
                          {"enable", "ipv4", "eth0", "10.1.0.0/16", "10.0.0.1"},
                          addition(replacing, inet, 16, 254, onlink,
                                   ipv4_destination + ipv4_gateway + on_eth0)},
                    Added{"Ipv4Host",
                          {"enable", "ipv4", "eth0", "10.1.0.0", "10.0.0.1"},
                          addition(replacing, inet, 32, 254, onlink,
                                   ipv4_destination + ipv4_gateway + on_eth0)},
                    Added{"Ipv4PrefixWithMoreBehindIt",
                          {"enable", "ipv4", "eth0", "10.1.0.0/16x", "10.0.0.1"},
                          addition(replacing, inet, 16, 254, onlink,
                                   ipv4_destination + ipv4_gateway + on_eth0)},
                    Added{"Ipv4WithoutGateway",
                          {"enable", "ipv4", "eth0", "10.1.0.0/16", "0.0.0.0"},
                          addition(replacing, inet, 16, 254, 0, ipv4_destination + on_eth0)},
                    Added{"WithoutLink",
                          {"enable", "ipv4", "", "10.1.0.0/16", "10.0.0.1"},
                          addition(replacing, inet, 16, 254, onlink,
                                   ipv4_destination + ipv4_gateway)},
                    Added{"Ipv6WithoutGateway",
                          {"enable", "ipv6", "eth0", "fd00::/64", "0.0.0.0"},
                          addition(appending, inet6, 64, 254, 0, ipv6_destination + on_eth0)},
                    Added{"Ipv6Host",
                          {"enable", "ipv6", "eth0", "fd00::", "fe80::1"},
                          addition(appending, inet6, 128, 254, onlink,
                                   ipv6_destination + ipv6_gateway + on_eth0)},
                    Added{"AnyOtherFamilyIsIpv6",
                          {"enable", "IPv4", "eth0", "fd00::/64", "fe80::1"},
                          addition(appending, inet6, 64, 254, onlink,
                                   ipv6_destination + ipv6_gateway + on_eth0)},
                    Added{"Table255",
                          {"enable", "ipv4", "eth0", "default", "10.0.0.1", "255"},
                          addition(replacing, inet, 0, 255, onlink, ipv4_gateway + on_eth0)},
                    Added{"Table0",
                          {"enable", "ipv4", "eth0", "default", "10.0.0.1", "0"},
                          addition(replacing, inet, 0, 0, onlink, ipv4_gateway + on_eth0)},
                    Added{"SevenArgumentsSelectTheMainTable",
                          {"enable", "ipv4", "eth0", "default", "10.0.0.1", "100", "surplus"},
                          addition(replacing, inet, 0, 254, onlink, ipv4_gateway + on_eth0)}),
    case_name);

/** An argument list, and the messages of a handler that refuses it or fails. */
struct Outcome {
    const char* name;
    Args args;
    Lines lines;
};

void PrintTo(const Outcome& outcome, std::ostream* out)
{
    *out << outcome.name;
}

class RefusedRoute : public CommandTest, public testing::WithParamInterface<Outcome>
{
};

TEST_P(RefusedRoute, IsLogged)
{
    handler.set_static_route(GetParam().args);
    EXPECT_EQ(logged_without_numbers(), GetParam().lines);
}

TEST_P(RefusedRoute, SendsNothing)
{
    handler.set_static_route(GetParam().args);
    EXPECT_EQ(requests(), Requests{});
}

Outcome refused(const char* name, const Args& args, const char* reason,
                const char* function = "set_static_route")
{
    return {name, args, {exe_error(function, reason)}};
}

constexpr const char* bad_list = "invalid parm list";

INSTANTIATE_TEST_SUITE_P(
    Enable, RefusedRoute,
    testing::Values(
        refused("Empty", {}, bad_list), refused("OneArgument", {"enable"}, bad_list),
        refused("OtherWord", {"add", "ipv4", "eth0", "default", "10.0.0.1"}, bad_list),
        refused("OtherCase", {"Enable", "ipv4", "eth0", "default", "10.0.0.1"}, bad_list),
        refused("FourArguments", {"enable", "ipv4", "eth0", "default"}, bad_list),
        refused("BadDestination", {"enable", "ipv4", "eth0", "10.0.0.0/33", "10.0.0.1"}, bad_list),
        refused("NoDestination", {"enable", "ipv4", "eth0", "", "10.0.0.1"}, bad_list),
        refused("BadGateway", {"enable", "ipv4", "eth0", "default", "default"}, bad_list),
        refused("NoGateway", {"enable", "ipv4", "eth0", "default", ""}, bad_list),
        refused("BlankInTheTable", {"enable", "ipv4", "eth0", "default", "10.0.0.1", " 100"},
                bad_list),
        refused("NoTable", {"enable", "ipv4", "eth0", "default", "10.0.0.1", ""}, bad_list),
        refused("Table256", {"enable", "ipv4", "eth0", "default", "10.0.0.1", "256"},
                "invalid table ID: 256"),
        refused("TableWithALetter", {"enable", "ipv4", "eth0", "default", "10.0.0.1", "100x"},
                "invalid table ID: 100x"),
        // The table comes before the addresses.
        refused("TableBeforeAddress", {"enable", "ipv4", "eth0", "x.y/8", "10.0.0.1", "main"},
                "invalid table ID: main"),
        refused("DestinationThatDoesNotParse", {"enable", "ipv4", "eth0", "x.y/8", "10.0.0.1"},
                "failed to convert x.y to IPv4"),
        refused("Ipv6DestinationForIpv4", {"enable", "ipv4", "eth0", "fd00::/64", "10.0.0.1"},
                "failed to convert fd00:: to IPv4"),
        refused("Ipv4DestinationForIpv6", {"enable", "ipv6", "eth0", "10.1.0.0/16", "fe80::1"},
                "failed to convert 10.1.0.0 to IPv6"),
        refused("Ipv6GatewayForIpv4", {"enable", "ipv4", "eth0", "default", "fe80::1"},
                "failed to convert fe80::1 to IPv4"),
        refused("Ipv4GatewayForIpv6", {"enable", "ipv6", "eth0", "default", "10.0.0.1"},
                "failed to convert 10.0.0.1 to IPv6"),
        refused("GatewayThatDoesNotParse", {"enable", "ipv4", "eth0", "default", "1.2.3.4.5"},
                "failed to convert 1.2.3.4.5 to IPv4"),
        Outcome{"UnknownLink",
                {"enable", "ipv4", "eth9", "default", "10.0.0.1"},
                {"<2> nlc_resolve_ifindex():# - ERROR - interface eth9 not found\n",
                 exe_error("set_static_route", "failed to set static ipv4 routes rc=-1")}}),
    case_name);

INSTANTIATE_TEST_SUITE_P(
    Disable, RefusedRoute,
    testing::Values(refused("OtherFamily", {"disable", "ip"}, "invalid protocol parm",
                            "clear_route"),
                    refused("BadName", {"disable", "ipv4", "eth:0"}, bad_list, "clear_route"),
                    refused("NoName", {"disable", "ipv4", ""}, bad_list, "clear_route"),
                    refused("OtherProtocol", {"disable", "ipv4", "eth0", "boot"},
                            "invalid route proto", "clear_route"),
                    refused("Table256", {"disable", "ipv4", "eth0", "static", "256"},
                            "invalid table ID: 256", "clear_route"),
                    refused("NoTable", {"disable", "ipv4", "eth0", "static", ""},
                            "invalid table ID: ", "clear_route"),
                    Outcome{"UnknownLink",
                            {"disable", "ipv6", "eth9"},
                            {"<2> nlc_resolve_ifindex():# - ERROR - interface eth9 not found\n",
                             exe_error("clear_route", "failed to flush ipv6 routes rc=-1")}}),
    case_name);

constexpr const char* bad_count = "invalid parm count";

INSTANTIATE_TEST_SUITE_P(
    Rule, RefusedRoute,
    testing::Values(
        refused("ThreeArguments", {"routerule", "enable", "10.0.0.5"}, bad_count, "set_route_rule"),
        refused("OtherAction", {"routerule", "add", "10.0.0.5", "100"}, bad_count,
                "set_route_rule"),
        refused("Ipv6", {"routerule", "enable", "fd00::5", "100"}, bad_count, "set_route_rule"),
        refused("Prefix", {"routerule", "enable", "10.0.0.0/8", "100"}, bad_count,
                "set_route_rule"),
        refused("Table256", {"routerule", "enable", "10.0.0.5", "256"}, "invalid table ID: 256",
                "set_route_rule"),
        refused("TableWithALetter", {"routerule", "enable", "10.0.0.5", "1x"},
                "invalid table ID: 1x", "set_route_rule"),
        refused("AddressThatDoesNotParse", {"routerule", "enable", "1.2.3.4.5", "100"},
                "failed to convert 1.2.3.4.5 to IPv6", "set_route_rule")),
    case_name);

TEST_F(CommandTest, SetStaticRoute_LogsARefusalOfTheKernel)
{
    refuse(-101);
    handler.set_static_route({"enable", "ipv6", "eth0", "default", "fe80::1"});
    EXPECT_EQ(logged_without_numbers().back(),
              exe_error("set_static_route", "failed to set static ipv6 routes rc=-101"));
}

TEST_F(CommandTest, SetStaticRoute_LogsNoSuccessOfItsOwn)
{
    acknowledge();
    handler.set_static_route({"enable", "ipv4", "eth0", "default", "10.0.0.1"});
    EXPECT_EQ(logged_without_numbers(), Lines{"<4> nlc_add_route():# - added route on eth0\n"});
}

/** Arguments of a flush, and which of the routes below it takes. */
struct Cleared {
    const char* name;
    Args args;
    uint8_t family; /**< asked for */
    std::string selected;
};

void PrintTo(const Cleared& cleared, std::ostream* out)
{
    *out << cleared.name;
}

class ClearedRoutes : public CommandTest, public testing::WithParamInterface<Cleared>
{
  protected:
    ClearedRoutes()
    {
        constexpr uint8_t kernels = 2;
        constexpr uint8_t statics = 4;
        kernel.reply(route('a', statics, 254, eth0_index) + route('b', statics, 254, eth1_index) +
                     route('c', kernels, 254, eth0_index) + route('d', statics, 100, eth0_index) +
                     route('e', kernels, 100, eth0_index) + route('f', kernels, 100, eth1_index));
        acknowledge(6);
        kernel.reply(end_of_dump());
    }

  private:
    static Bytes route(char letter, uint8_t protocol, uint8_t table, uint32_t index)
    {
        return dumped(24, u8(inet) + zeros(3) + u8(table) + u8(protocol) + zeros(6) +
                              attribute(1, Bytes(4, letter)) + attribute(4, u32(index)));
    }
};

TEST_P(ClearedRoutes, AreOfProtocolTableAndLink)
{
    handler.set_static_route(GetParam().args);
    std::string deleted;
    for (const Bytes& request : kernel.requests()) {
        deleted += request.size() > 28 ? request.substr(32, 1) : "";
    }
    EXPECT_EQ(deleted, GetParam().selected);
}

TEST_P(ClearedRoutes, AreAskedForByFamily)
{
    handler.set_static_route(GetParam().args);
    EXPECT_EQ(dump(kernel.requests().at(0)),
              dump(message(26, dump_flags, 1, u8(GetParam().family) + zeros(11))));
}

INSTANTIATE_TEST_SUITE_P(
    Routes, ClearedRoutes,
    testing::Values(Cleared{"StaticOfTheMainTable", {"disable", "ipv4"}, inet, "ab"},
                    Cleared{"OfIpv6", {"disable", "ipv6"}, inet6, "ab"},
                    Cleared{"OfALink", {"disable", "ipv4", "eth0"}, inet, "a"},
                    Cleared{"StaticNamed", {"disable", "ipv4", "eth0", "static"}, inet, "a"},
                    Cleared{"Kernel", {"disable", "ipv4", "eth0", "kernel"}, inet, "c"},
                    // Those of a lease are static too.
                    Cleared{"Dhcp", {"disable", "ipv4", "eth0", "dhcp"}, inet, "a"},
                    Cleared{"OfATable", {"disable", "ipv4", "eth0", "kernel", "100"}, inet, "e"},
                    Cleared{"StaticOfATable",
                            {"disable", "ipv4", "eth0", "dhcp", "100", "surplus"},
                            inet,
                            "d"}),
    case_name);

/** The request that adds or deletes the rule for 10.0.0.5. */
std::string rule(uint16_t type, uint16_t flags, uint8_t dst_len, uint8_t src_len, uint16_t selector)
{
    constexpr uint8_t to_table = 1;
    return dump(message(type, flags, 1,
                        u8(inet) + u8(dst_len) + u8(src_len) + zeros(1) + u8(100) + zeros(2) +
                            u8(to_table) + zeros(4) +
                            attribute(selector, Bytes("\x0a\x00\x00\x05", 4)) +
                            attribute(15, u32(100))));
}

const std::string from_rule = rule(32, 0x0605, 0, 32, 2);
const std::string to_rule = rule(32, 0x0605, 32, 0, 1);
const std::string deleted_rule = rule(33, 0x0005, 0, 32, 2);

INSTANTIATE_TEST_SUITE_P(
    Rules, AddedRoute,
    testing::Values(
        Added{"FromIsTheUsualSelector", {"routerule", "enable", "10.0.0.5", "100"}, from_rule},
        Added{"From", {"routerule", "enable", "10.0.0.5", "100", "from"}, from_rule},
        Added{"To", {"routerule", "enable", "10.0.0.5", "100", "to"}, to_rule},
        Added{"AnyOtherSelectorIsTo", {"routerule", "enable", "10.0.0.5", "100", "x"}, to_rule},
        Added{"SixArgumentsSelectFrom",
              {"routerule", "enable", "10.0.0.5", "100", "to", "surplus"},
              from_rule},
        Added{"Delete", {"routerule", "disable", "10.0.0.5", " 100"}, deleted_rule}),
    case_name);

TEST_F(CommandTest, SetRouteRule_LogsARefusalOfTheKernel)
{
    refuse(-17);
    handler.set_static_route({"routerule", "enable", "10.0.0.5", "100", "to"});
    EXPECT_EQ(logged_without_numbers().back(),
              exe_error("set_route_rule",
                        "failed to set route rule enable from 10.0.0.5 table 100 rc=-17"));
}

} // namespace
} // namespace kex::commands
