// flush_routes: which routes of a dump it deletes.

#include "netlink/route.hpp"

#include "support/case_name.hpp"
#include "support/flush_test.hpp"

namespace kex::netlink
{
namespace
{

using namespace test;

constexpr uint16_t newroute = 24;
constexpr uint16_t delroute = 25;
constexpr uint16_t getroute = 26;

constexpr uint16_t rta_dst = 1;
constexpr uint16_t rta_oif = 4;
constexpr uint16_t rta_priority = 6;
constexpr uint16_t rta_table = 15;

constexpr uint8_t inet = 2;
constexpr uint8_t inet6 = 10;

constexpr uint8_t proto_kernel = 2;
constexpr uint8_t proto_boot = 3;
constexpr uint8_t proto_static = 4;

/** Family, destination's length, table and protocol of a unicast route. */
Bytes rtmsg_of(uint8_t family, uint8_t prefix, uint8_t table, uint8_t protocol)
{
    constexpr uint8_t unicast = 1;
    return u8(family) + u8(prefix) + zeros(2) + u8(table) + u8(protocol) + zeros(1) + u8(unicast) +
           zeros(4);
}

const Bytes usual_body = rtmsg_of(inet, 24, 254, proto_static) +
                         attribute(rta_dst, Bytes("\x0a\x01\x02\x00", 4)) +
                         attribute(rta_oif, u32(eth0_index)) + attribute(rta_table, u32(254)) +
                         attribute(rta_priority, u32(100));

INSTANTIATE_TEST_SUITE_P(
    Routes, Flush,
    testing::Values(FlushOperation{
        "flush_routes",
        [](NetlinkCommandSocket& sock) {
            return flush_routes(sock, AF_INET, "eth0", proto_static, 254);
        },
        message(getroute, dump_flags, 1, u8(inet) + zeros(11)), dumped(newroute, usual_body),
        [](uint32_t seq) { return message(delroute, 0x0005, seq, usual_body); },
        "flush_routes: forbidden by checkmarx to say way sendto failed",
        "flush_routes: forbidden by checkmarx to say way recv failed",
        [](int count) { return "flushed " + std::to_string(count) + " routes"; }}),
    case_name);

TEST_F(NetlinkTest, FlushRoutes_OfEveryFamilyAsksForNone)
{
    kernel.reply(end_of_dump());
    flush_routes(sock, AF_UNSPEC, "", 0, 254);
    EXPECT_EQ(the_request(), dump(message(getroute, dump_flags, 1, zeros(12))));
}

TEST_F(NetlinkTest, FlushRoutes_OfALinkAsksForEveryLink)
{
    kernel.reply(end_of_dump());
    flush_routes(sock, AF_INET6, "eth0", proto_static, 255);
    EXPECT_EQ(the_request(), dump(message(getroute, dump_flags, 1, u8(inet6) + zeros(11))));
}

/** What a flush of a table makes of one dumped route. */
struct Candidate {
    const char* name;
    std::string link; /**< asked for */
    uint8_t protocol; /**< asked for */
    uint32_t table;   /**< asked for */
    Bytes body;
    bool deleted;
};

void PrintTo(const Candidate& candidate, std::ostream* out)
{
    *out << candidate.name;
}

class DumpedRoute : public NetlinkTest, public testing::WithParamInterface<Candidate>
{
};

TEST_P(DumpedRoute, IsDeletedWhenItMatches)
{
    kernel.reply(dumped(newroute, GetParam().body));
    kernel.reply(end_of_dump());
    flush_routes(sock, AF_INET, GetParam().link, GetParam().protocol, GetParam().table);
    auto requests = kernel.requests();
    requests.push_back({}); // what there is without a delete
    EXPECT_EQ(dump(requests.at(1)),
              dump(GetParam().deleted ? message(delroute, 0x0005, 2, GetParam().body) : ""));
}

Candidate of_protocol(const char* name, uint8_t asked, uint8_t protocol, bool deleted)
{
    return {name, "", asked, 254, rtmsg_of(inet, 24, 254, protocol), deleted};
}

INSTANTIATE_TEST_SUITE_P(
    Protocols, DumpedRoute,
    testing::Values(of_protocol("StaticAsked", proto_static, proto_static, true),
                    of_protocol("KernelWhenStaticAsked", proto_static, proto_kernel, false),
                    of_protocol("KernelAsked", proto_kernel, proto_kernel, true),
                    of_protocol("BootWhenKernelAsked", proto_kernel, proto_boot, false),
                    of_protocol("KernelWhenEveryAsked", 0, proto_kernel, true),
                    of_protocol("StaticWhenEveryAsked", 0, proto_static, true),
                    of_protocol("UnspecifiedWhenStaticAsked", proto_static, 0, false)),
    case_name);

Candidate in_table(const char* name, uint32_t asked, uint8_t table, const Bytes& attributes,
                   bool deleted)
{
    return {name, "", 0, asked, rtmsg_of(inet, 24, table, proto_static) + attributes, deleted};
}

Bytes table_attribute(uint32_t table)
{
    return attribute(rta_table, u32(table));
}

INSTANTIATE_TEST_SUITE_P(
    Tables, DumpedRoute,
    testing::Values(
        in_table("OfTheHeader", 254, 254, "", true),
        in_table("OtherOfTheHeader", 254, 255, "", false),
        in_table("ZeroOfTheHeader", 0, 0, "", true),
        in_table("OfTheAttribute", 100, 0, table_attribute(100), true),
        in_table("AttributeOverridesTheHeader", 254, 254, table_attribute(100), false),
        // The header has the low byte of a table that does not fit into it.
        in_table("BeyondAByte", 254, 254, table_attribute(0x1fe), false),
        in_table("LaterAttributeOverrides", 100, 0, table_attribute(99) + table_attribute(100),
                 true),
        in_table("EarlierAttributeIsOverridden", 99, 0, table_attribute(99) + table_attribute(100),
                 false),
        in_table("ShortAttributeIsNone", 254, 254, attribute(rta_table, "ab"), true),
        in_table("BehindALengthOfZero", 254, 254, u16(0) + u16(1) + table_attribute(100), true),
        in_table("BehindALengthOfThree", 254, 254, u16(3) + u16(1) + table_attribute(100), true),
        in_table("BehindALengthBeyondTheMessage", 254, 254,
                 u16(100) + u16(1) + table_attribute(100), true),
        in_table("CutShort", 254, 254, table_attribute(100).substr(0, 6), true)),
    case_name);

Candidate on_link(const char* name, const char* asked, const Bytes& attributes, bool deleted)
{
    return {name, asked, 0, 254, rtmsg_of(inet, 24, 254, proto_static) + attributes, deleted};
}

Bytes oif_attribute(uint32_t index)
{
    return attribute(rta_oif, u32(index));
}

INSTANTIATE_TEST_SUITE_P(
    Links, DumpedRoute,
    testing::Values(on_link("Asked", "bond0", oif_attribute(bond0_index), true),
                    on_link("Other", "eth0", oif_attribute(eth1_index), false),
                    on_link("AnyWhenNoneAsked", "", oif_attribute(eth1_index), true),
                    on_link("NoneWhenNoneAsked", "", "", true),
                    on_link("NoneWhenOneAsked", "eth0", "", false),
                    on_link("LaterAttributeOverrides", "eth0",
                            oif_attribute(eth1_index) + oif_attribute(eth0_index), true),
                    on_link("EarlierAttributeIsOverridden", "eth1",
                            oif_attribute(eth1_index) + oif_attribute(eth0_index), false)),
    case_name);

INSTANTIATE_TEST_SUITE_P(
    Entries, DumpedRoute,
    testing::Values(Candidate{"OfAnotherFamily", "", 0, 254, rtmsg_of(inet6, 24, 254, proto_boot),
                              true},
                    Candidate{"TooShortForItsHeader", "", 0, 254,
                              rtmsg_of(inet, 24, 254, proto_static).substr(0, 11), false}),
    case_name);

} // namespace
} // namespace kex::netlink
