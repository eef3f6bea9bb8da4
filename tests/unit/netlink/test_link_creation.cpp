#include "netlink/link_creation.hpp"

#include "support/link_requests.hpp"
#include "support/operation_test.hpp"

namespace kex::netlink
{
namespace
{

using namespace test;

using Sock = NetlinkCommandSocket;

constexpr const char* mac = "02:1a:2b:ff:00:9c";
const Bytes mac_bytes("\x02\x1a\x2b\xff\x00\x9c", 6);

constexpr uint16_t bond_mode = 1;
constexpr uint16_t vlan_id = 1;
constexpr uint16_t vlan_egress_qos = 3;
constexpr uint16_t vlan_qos_mapping = 1;
constexpr uint16_t macvlan_mode = 1;
constexpr uint16_t macvlan_flags = 2;

/** A request for a link that does not exist yet. */
Bytes creation(const std::string& name, const Bytes& attributes)
{
    return message(newlink, request_create, 1,
                   ifinfomsg(0) + attribute(ifla_ifname, text(name)) + attributes);
}

class LinkCreation : public NetlinkTest
{
  protected:
    LinkCreation() { acknowledge(); }
};

TEST_F(LinkCreation, CreateBond_ByteForByte)
{
    create_bond(sock, "bond7", mac, "active-backup");
    EXPECT_EQ(the_request(), "84 bytes\n"
                             "54 00 00 00\n"              // length
                             "10 00 05 06\n"              // new link; request, ack, excl, create
                             "01 00 00 00\n"              // sequence number
                             "00 00 00 00\n"              // sender
                             "00 00 00 00\n00 00 00 00\n" // no family, no type, no index
                             "00 00 00 00\n00 00 00 00\n" // no flags
                             "0a 00 03 00\n62 6f 6e 64\n37 00 00 00\n" // name bond7
                             "0a 00 01 00\n02 1a 2b ff\n00 9c 00 00\n" // address
                             "1c 00 12 00\n"                           // link info
                             "09 00 01 00\n62 6f 6e 64\n00 00 00 00\n" // kind bond
                             "0c 00 02 00\n"                           // its data, bond mode inside
                             "05 00 01 00\n01 00 00 00");
}

TEST_F(LinkCreation, CreateBond_SendsNameAddressKindAndMode)
{
    create_bond(sock, "bond7", mac, "broadcast");
    EXPECT_EQ(the_request(),
              dump(creation("bond7", attribute(ifla_address, mac_bytes) +
                                         link_info("bond", attribute(bond_mode, u8(3))))));
}

TEST_F(LinkCreation, CreateBond_DoesNotLookForTheName)
{
    EXPECT_EQ(create_bond(sock, "eth9", mac, "0"), 0);
}

struct Mode {
    const char* text;
    uint8_t number;
};

void PrintTo(const Mode& mode, std::ostream* out)
{
    *out << testing::PrintToString(mode.text);
}

class BondMode : public LinkCreation, public testing::WithParamInterface<Mode>
{
};

TEST_P(BondMode, IsSentAsANumber)
{
    create_bond(sock, "bond7", mac, GetParam().text);
    EXPECT_EQ(the_request(),
              dump(creation("bond7",
                            attribute(ifla_address, mac_bytes) +
                                link_info("bond", attribute(bond_mode, u8(GetParam().number))))));
}

TEST_P(BondMode, IsLoggedAsItWasGiven)
{
    create_bond(sock, "bond7", mac, GetParam().text);
    EXPECT_EQ(logged(), Lines{nlc_info("create_bond",
                                       std::string("bond bond7 create mode ") + GetParam().text)});
}

INSTANTIATE_TEST_SUITE_P(Names, BondMode,
                         testing::Values(Mode{"balance-rr", 0}, Mode{"active-backup", 1},
                                         Mode{"balance-xor", 2}, Mode{"broadcast", 3},
                                         Mode{"802.3ad", 4}, Mode{"balance-tlb", 5},
                                         Mode{"balance-alb", 6}));

// Read by strtoul; an empty text is consumed whole.
INSTANTIATE_TEST_SUITE_P(Numbers, BondMode,
                         testing::Values(Mode{"0", 0}, Mode{"1", 1}, Mode{"6", 6}, Mode{" 6", 6},
                                         Mode{"\t6", 6}, Mode{"+6", 6}, Mode{"006", 6},
                                         Mode{"-0", 0}, Mode{"", 0}));

class RefusedBondMode : public NetlinkTest, public testing::WithParamInterface<const char*>
{
  protected:
    int run() { return create_bond(sock, "bond7", mac, GetParam()); }
};

TEST_P(RefusedBondMode, IsMinusOne)
{
    EXPECT_EQ(run(), -1);
}

TEST_P(RefusedBondMode, SendsNothing)
{
    run();
    EXPECT_EQ(kernel.requests().size(), 0U);
}

TEST_P(RefusedBondMode, IsLogged)
{
    run();
    EXPECT_EQ(logged(),
              Lines{nlc_error("create_bond", std::string("invalid bond mode ") + GetParam())});
}

INSTANTIATE_TEST_SUITE_P(Texts, RefusedBondMode,
                         testing::Values("7", "-1", "4x", "4 ", "x4", " ", "+", "-", "0x1", "1.0",
                                         "256", "4294967296", "18446744073709551616", "Balance-rr",
                                         "ACTIVE-BACKUP", "balance-rr ", " balance-rr", "balance",
                                         "802.3AD", "802.3ad\n"));

TEST_F(LinkCreation, CreateVlan_SendsNameLowerKindAndId)
{
    create_vlan(sock, "eth0.100", "eth0", 100);
    EXPECT_EQ(the_request(),
              dump(creation("eth0.100", attribute(ifla_link, u32(eth0_index)) +
                                            link_info("vlan", attribute(vlan_id, u16(100))))));
}

TEST_F(LinkCreation, CreateVlan_ByteForByte)
{
    create_vlan(sock, "v", "bond0", 0x0123);
    EXPECT_EQ(the_request(), "76 bytes\n"
                             "4c 00 00 00\n10 00 05 06\n01 00 00 00\n00 00 00 00\n"
                             "00 00 00 00\n00 00 00 00\n00 00 00 00\n00 00 00 00\n"
                             "06 00 03 00\n76 00 00 00\n"              // name v
                             "08 00 05 00\n04 03 02 01\n"              // lower link
                             "1c 00 12 00\n"                           // link info
                             "09 00 01 00\n76 6c 61 6e\n00 00 00 00\n" // kind vlan
                             "0c 00 02 00\n"                           // its data, the id inside
                             "06 00 01 00\n23 01 00 00");
}

TEST_F(LinkCreation, CreateVlan_SendsTheLowSixteenBitsOfTheId)
{
    create_vlan(sock, "v", "eth0", 0x00051234);
    EXPECT_EQ(the_request(),
              dump(creation("v", attribute(ifla_link, u32(eth0_index)) +
                                     link_info("vlan", attribute(vlan_id, u16(0x1234))))));
}

TEST_F(LinkCreation, CreateVlan_LogsTheWholeId)
{
    create_vlan(sock, "v", "eth0", 0xFFFFFFFF);
    EXPECT_EQ(logged(), Lines{nlc_info("create_vlan", "vlan v lower eth0 id 4294967295")});
}

TEST_F(LinkCreation, CreateMacvlan_WithAddressIsPrivate)
{
    create_macvlan(sock, "m", "eth0", mac);
    EXPECT_EQ(the_request(),
              dump(creation("m", attribute(ifla_link, u32(eth0_index)) +
                                     attribute(ifla_address, mac_bytes) +
                                     link_info("macvlan", attribute(macvlan_mode, u32(1))))));
}

TEST_F(LinkCreation, CreateMacvlan_WithoutAddressPassesThrough)
{
    create_macvlan(sock, "m", "eth0", "");
    EXPECT_EQ(the_request(),
              dump(creation("m", attribute(ifla_link, u32(eth0_index)) +
                                     link_info("macvlan", attribute(macvlan_mode, u32(8)) +
                                                              attribute(macvlan_flags, u16(1))))));
}

TEST_F(LinkCreation, CreateMacvlan_ByteForByte)
{
    create_macvlan(sock, "m", "bond0", "");
    EXPECT_EQ(the_request(), "84 bytes\n"
                             "54 00 00 00\n10 00 05 06\n01 00 00 00\n00 00 00 00\n"
                             "00 00 00 00\n00 00 00 00\n00 00 00 00\n00 00 00 00\n"
                             "06 00 03 00\n6d 00 00 00\n"              // name m
                             "08 00 05 00\n04 03 02 01\n"              // lower link
                             "24 00 12 00\n"                           // link info
                             "0c 00 01 00\n6d 61 63 76\n6c 61 6e 00\n" // kind macvlan
                             "14 00 02 00\n"                           // its data: mode, flags
                             "08 00 01 00\n08 00 00 00\n"
                             "06 00 02 00\n01 00 00 00");
}

/** Mappings of the numbers from 0 on, each to one a hundred higher. */
std::vector<VlanQosMapping> mappings(uint32_t count)
{
    std::vector<VlanQosMapping> all;
    for (uint32_t from = 0; from < count; ++from) {
        all.push_back({from, from + 100});
    }
    return all;
}

Bytes egress_qos(uint32_t count)
{
    Bytes all;
    for (uint32_t from = 0; from < count; ++from) {
        all += attribute(vlan_qos_mapping, u32(from) + u32(from + 100));
    }
    return message(setlink, request_ack, 1,
                   ifinfomsg(eth0_index) + link_info("vlan", attribute(vlan_egress_qos, all)));
}

class EgressMap : public LinkCreation, public testing::WithParamInterface<uint32_t>
{
};

TEST_P(EgressMap, IsSentInTheListsOrder)
{
    set_vlan_egress_qos(sock, "eth0", mappings(GetParam()));
    EXPECT_EQ(the_request(), dump(egress_qos(GetParam())));
}

// 336 are the most that fit into 4096 bytes.
INSTANTIATE_TEST_SUITE_P(Mappings, EgressMap, testing::Values(0, 1, 2, 8, 336),
                         testing::PrintToStringParamName());

TEST_F(LinkCreation, SetVlanEgressQos_WithoutMappingsSendsAnEmptyNest)
{
    set_vlan_egress_qos(sock, "eth0", {});
    EXPECT_EQ(the_request(), "56 bytes\n"
                             "38 00 00 00\n13 00 05 00\n01 00 00 00\n00 00 00 00\n"
                             "00 00 00 00\n02 00 00 00\n00 00 00 00\n00 00 00 00\n"
                             "18 00 12 00\n"                           // link info
                             "09 00 01 00\n76 6c 61 6e\n00 00 00 00\n" // kind vlan
                             "08 00 02 00\n"                           // its data
                             "04 00 03 00");                           // the empty map
}

TEST_F(LinkCreation, SetVlanEgressQos_SendsAnyNumber)
{
    set_vlan_egress_qos(sock, "eth0", {{0xFFFFFFFF, 0x01020304}});
    EXPECT_EQ(the_request(),
              dump(message(
                  setlink, request_ack, 1,
                  ifinfomsg(eth0_index) +
                      link_info("vlan", attribute(vlan_egress_qos,
                                                  attribute(vlan_qos_mapping,
                                                            u32(0xFFFFFFFF) + u32(0x01020304)))))));
}

INSTANTIATE_TEST_SUITE_P(
    LinkCreation, Outcome,
    testing::Values(
        Operation{"create_bond",
                  [](Sock& sock) { return create_bond(sock, "bond7", mac, "active-backup"); },
                  "bond bond7 create mode active-backup", "failed to create bond bond7"},
        Operation{"create_vlan", [](Sock& sock) { return create_vlan(sock, "v", "eth0", 100); },
                  "vlan v lower eth0 id 100", "failed to create vlan v"},
        Operation{"create_macvlan",
                  [](Sock& sock) { return create_macvlan(sock, "m", "eth0", ""); },
                  "mcvlan m lower eth0 mode passthru", "failed to create mcvlan m"},
        Operation{"set_vlan_egress_qos",
                  [](Sock& sock) { return set_vlan_egress_qos(sock, "eth0", mappings(8)); },
                  "set eth0 vlan egress qos", "failed to set eth0 vlan egress qos"}),
    case_name);

INSTANTIATE_TEST_SUITE_P(PrivateMacvlan, Outcome,
                         testing::Values(Operation{
                             "create_macvlan",
                             [](Sock& sock) { return create_macvlan(sock, "m", "eth0", mac); },
                             "mcvlan m lower eth0 mode private", "failed to create mcvlan m"}),
                         case_name);

constexpr const char* unknown = "interface eth9 not found";

INSTANTIATE_TEST_SUITE_P(
    LinkCreation, Refused,
    testing::Values(
        Refusal{"CreateBondWithoutAddress",
                [](Sock& sock) { return create_bond(sock, "bond7", "", "active-backup"); },
                "create_bond", "invalid MAC address ", 1},
        Refusal{"CreateBondWithNoAddress",
                [](Sock& sock) { return create_bond(sock, "bond7", "02:1a", "no mode"); },
                "create_bond", "invalid MAC address 02:1a", 1},
        Refusal{"CreateBondOfNoMode",
                [](Sock& sock) { return create_bond(sock, "bond7", mac, "7"); }, "create_bond",
                "invalid bond mode 7", 1},
        // With a name of this length the nests end at the capacity, before the mode.
        Refusal{"CreateBondWhoseNameLeavesNoRoomForItsMode",
                [](Sock& sock) { return create_bond(sock, std::string(4027, 'x'), mac, "0"); },
                "add_rtattr", "rtattr overflow: need 4104, max 4096", 1},
        Refusal{"CreateBondWhoseNameDoesNotFit",
                [](Sock& sock) { return create_bond(sock, std::string(4096, 'x'), mac, "0"); },
                "add_rtattr", "rtattr overflow: need 4136, max 4096", 1},
        Refusal{"CreateVlanOnUnknown", [](Sock& sock) { return create_vlan(sock, "v", "eth9", 1); },
                "resolve_ifindex", unknown, 0},
        Refusal{"CreateVlanWhoseNameDoesNotFit",
                [](Sock& sock) { return create_vlan(sock, std::string(4096, 'x'), "eth0", 1); },
                "add_rtattr", "rtattr overflow: need 4136, max 4096", 1},
        Refusal{"CreateMacvlanOnUnknown",
                [](Sock& sock) { return create_macvlan(sock, "m", "eth9", "no address"); },
                "resolve_ifindex", unknown, 0},
        Refusal{"CreateMacvlanWithNoAddress",
                [](Sock& sock) { return create_macvlan(sock, "m", "eth0", "02:1a"); },
                "create_macvlan", "invalid MAC address 02:1a", 1},
        Refusal{"CreateMacvlanWhoseNameDoesNotFit",
                [](Sock& sock) { return create_macvlan(sock, std::string(4096, 'x'), "eth0", ""); },
                "add_rtattr", "rtattr overflow: need 4136, max 4096", 1},
        Refusal{"SetVlanEgressQosOfUnknown",
                [](Sock& sock) { return set_vlan_egress_qos(sock, "eth9", mappings(8)); },
                "resolve_ifindex", unknown, 0},
        Refusal{"SetVlanEgressQosOfOneMappingTooMany",
                [](Sock& sock) { return set_vlan_egress_qos(sock, "eth0", mappings(337)); },
                "add_rtattr", "rtattr overflow: need 4100, max 4096", 1},
        Refusal{"SetVlanEgressQosOfAMillionMappings",
                [](Sock& sock) { return set_vlan_egress_qos(sock, "eth0", mappings(1'000'000)); },
                "add_rtattr", "rtattr overflow: need 4100, max 4096", 1}),
    case_name);

} // namespace
} // namespace kex::netlink
