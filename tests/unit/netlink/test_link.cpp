#include "netlink/link.hpp"

#include "support/link_requests.hpp"
#include "support/operation_test.hpp"

namespace kex::netlink
{
namespace
{

using namespace test;

using Sock = NetlinkCommandSocket;

constexpr const char* mac = "02:1a:2B:ff:0:9c";
const Bytes mac_bytes("\x02\x1a\x2b\xff\x00\x9c", 6);

class Link : public NetlinkTest
{
  protected:
    Link() { acknowledge(); }
};

TEST_F(Link, SetLinkState_UpSetsTheFlag)
{
    set_link_state(sock, "eth0", true);
    EXPECT_EQ(the_request(), dump(message(setlink, request_ack, 1, ifinfomsg(eth0_index, 1, 1))));
}

TEST_F(Link, SetLinkState_DownClearsTheFlag)
{
    set_link_state(sock, "eth0", false);
    EXPECT_EQ(the_request(), dump(message(setlink, request_ack, 1, ifinfomsg(eth0_index, 0, 1))));
}

TEST_F(Link, SetLinkState_IsThirtyTwoBytes)
{
    set_link_state(sock, "eth0", true);
    EXPECT_EQ(kernel.requests().at(0).size(), 32U);
}

// Written out once, so that the other tests' way of putting bytes together is tested too. The
// numbers are those of a little-endian machine, which every machine of this system is.
TEST_F(Link, SetLinkState_ByteForByte)
{
    sock.seq = 0x01020303;
    set_link_state(sock, "bond0", true);
    EXPECT_EQ(the_request(), "32 bytes\n"
                             "20 00 00 00\n" // length
                             "13 00 05 00\n" // change of a link; request, acknowledge
                             "04 03 02 01\n" // sequence number
                             "00 00 00 00\n" // sender
                             "00 00 00 00\n" // family, padding, type
                             "04 03 02 01\n" // index
                             "01 00 00 00\n" // flags
                             "01 00 00 00"); // which flags change
}

TEST_F(Link, DeleteLink_SendsTheIndexAlone)
{
    delete_link(sock, "eth1");
    EXPECT_EQ(the_request(), dump(message(dellink, request_ack, 1, ifinfomsg(eth1_index))));
}

TEST_F(Link, RenameLink_SendsTheNewNameWithItsNul)
{
    rename_link(sock, "eth0", "lan");
    EXPECT_EQ(the_request(),
              dump(message(setlink, request_ack, 1,
                           ifinfomsg(eth0_index) + attribute(ifla_ifname, Bytes("lan\0", 4)))));
}

TEST_F(Link, RenameLink_ByteForByte)
{
    rename_link(sock, "eth0", "mgmt0");
    EXPECT_EQ(the_request(), "44 bytes\n"
                             "2c 00 00 00\n13 00 05 00\n01 00 00 00\n00 00 00 00\n"
                             "00 00 00 00\n02 00 00 00\n00 00 00 00\n00 00 00 00\n"
                             "0a 00 03 00\n" // name, without the padding
                             "6d 67 6d 74\n" // mgmt
                             "30 00 00 00"); // 0, NUL, two bytes of padding
}

TEST_F(Link, RenameLink_LeavesTheJudgementOfALongNameToTheKernel)
{
    const std::string name(475, 'x'); // fills the 512 bytes of the request
    rename_link(sock, "eth0", name);
    EXPECT_EQ(the_request(),
              dump(message(setlink, request_ack, 1,
                           ifinfomsg(eth0_index) + attribute(ifla_ifname, text(name)))));
}

TEST_F(Link, RenameLink_SendsAnEmptyName)
{
    rename_link(sock, "eth0", "");
    EXPECT_EQ(the_request(),
              dump(message(setlink, request_ack, 1,
                           ifinfomsg(eth0_index) + attribute(ifla_ifname, zeros(1)))));
}

TEST_F(Link, SetLinkAddress_SendsSixBytes)
{
    set_link_address(sock, "eth0", mac);
    EXPECT_EQ(the_request(),
              dump(message(setlink, request_ack, 1,
                           ifinfomsg(eth0_index) + attribute(ifla_address, mac_bytes))));
}

TEST_F(Link, SetLinkMtu_SendsMtuAsU32)
{
    set_link_mtu(sock, "eth0", 0x00012345);
    EXPECT_EQ(the_request(),
              dump(message(setlink, request_ack, 1,
                           ifinfomsg(eth0_index) + attribute(ifla_mtu, u32(0x00012345)))));
}

TEST_F(Link, SetLinkMtu_LeavesTheJudgementOfTheNumberToTheKernel)
{
    set_link_mtu(sock, "eth0", 0xFFFFFFFF);
    EXPECT_EQ(the_request(),
              dump(message(setlink, request_ack, 1,
                           ifinfomsg(eth0_index) + attribute(ifla_mtu, u32(0xFFFFFFFF)))));
}

TEST_F(Link, SetLinkMtu_LogsItUnsigned)
{
    set_link_mtu(sock, "eth0", 0xFFFFFFFF);
    EXPECT_EQ(logged(), Lines{nlc_info("set_link_mtu", "set eth0 mtu 4294967295")});
}

TEST_F(Link, SetLinkBoss_SendsTheIndexOfTheBoss)
{
    set_link_boss(sock, "eth0", "bond0");
    EXPECT_EQ(the_request(),
              dump(message(setlink, request_ack, 1,
                           ifinfomsg(eth0_index) + attribute(ifla_master, u32(bond0_index)))));
}

TEST_F(Link, ClearLinkBoss_SendsIndexZero)
{
    clear_link_boss(sock, "eth0");
    EXPECT_EQ(the_request(), dump(message(setlink, request_ack, 1,
                                          ifinfomsg(eth0_index) + attribute(ifla_master, u32(0)))));
}

INSTANTIATE_TEST_SUITE_P(
    Link, Outcome,
    testing::Values(
        Operation{"set_link_state", [](Sock& sock) { return set_link_state(sock, "eth0", true); },
                  "set eth0 up", "failed to set eth0 up"},
        Operation{"delete_link", [](Sock& sock) { return delete_link(sock, "eth0"); },
                  "deleted eth0", "failed to delete eth0"},
        Operation{"rename_link", [](Sock& sock) { return rename_link(sock, "eth0", "lan"); },
                  "renamed eth0 to lan", "failed to rename eth0 to lan"},
        Operation{
            "set_link_address", [](Sock& sock) { return set_link_address(sock, "eth0", mac); },
            "set eth0 address 02:1a:2B:ff:0:9c", "failed to set eth0 address 02:1a:2B:ff:0:9c"},
        Operation{"set_link_mtu", [](Sock& sock) { return set_link_mtu(sock, "eth0", 1500); },
                  "set eth0 mtu 1500", "failed to set eth0 mtu 1500"},
        Operation{"set_link_boss", [](Sock& sock) { return set_link_boss(sock, "eth0", "bond0"); },
                  "set eth0 boss bond0", "failed to set eth0 boss bond0"},
        Operation{"clear_link_boss", [](Sock& sock) { return clear_link_boss(sock, "eth0"); },
                  "cleared eth0 boss", "failed to clear eth0 boss"}),
    case_name);

INSTANTIATE_TEST_SUITE_P(LinkDown, Outcome,
                         testing::Values(Operation{
                             "set_link_state",
                             [](Sock& sock) { return set_link_state(sock, "eth0", false); },
                             "set eth0 down", "failed to set eth0 down"}),
                         case_name);

int without_socket(Sock& sock)
{
    sock.fd = -1;
    return set_link_state(sock, "eth9", true); // the socket is looked at before the name
}

constexpr const char* unknown = "interface eth9 not found";

INSTANTIATE_TEST_SUITE_P(
    Link, Refused,
    testing::Values(
        Refusal{"SetLinkStateWithoutSocket", without_socket, "set_link_state",
                "netlink command socket not initialized", 0},
        Refusal{"SetLinkStateOfUnknown",
                [](Sock& sock) { return set_link_state(sock, "eth9", true); }, "set_link_state",
                unknown, 0},
        Refusal{"DeleteLinkOfUnknown", [](Sock& sock) { return delete_link(sock, "eth9"); },
                "resolve_ifindex", unknown, 0},
        Refusal{"DeleteLinkWithoutName", [](Sock& sock) { return delete_link(sock, ""); },
                "resolve_ifindex", "interface  not found", 0},
        Refusal{"RenameLinkOfUnknown", [](Sock& sock) { return rename_link(sock, "eth9", "lan"); },
                "resolve_ifindex", unknown, 0},
        Refusal{"RenameLinkToANameThatDoesNotFit",
                [](Sock& sock) { return rename_link(sock, "eth0", std::string(476, 'x')); },
                "add_rtattr", "rtattr overflow: need 516, max 512", 1},
        Refusal{"SetLinkAddressOfUnknown",
                [](Sock& sock) { return set_link_address(sock, "eth9", "no address"); },
                "resolve_ifindex", unknown, 0},
        Refusal{"SetLinkAddressToNoAddress",
                [](Sock& sock) { return set_link_address(sock, "eth0", "02:1a:2b"); },
                "set_link_address", "invalid MAC address 02:1a:2b", 0},
        Refusal{"SetLinkAddressToNothing",
                [](Sock& sock) { return set_link_address(sock, "eth0", ""); }, "set_link_address",
                "invalid MAC address ", 0},
        Refusal{"SetLinkMtuOfUnknown", [](Sock& sock) { return set_link_mtu(sock, "eth9", 1500); },
                "resolve_ifindex", unknown, 0},
        Refusal{"SetLinkBossOfUnknown",
                [](Sock& sock) { return set_link_boss(sock, "eth9", "bond9"); }, "resolve_ifindex",
                unknown, 0},
        Refusal{"SetLinkBossToUnknown",
                [](Sock& sock) { return set_link_boss(sock, "eth0", "bond9"); }, "resolve_ifindex",
                "interface bond9 not found", 0},
        Refusal{"ClearLinkBossOfUnknown", [](Sock& sock) { return clear_link_boss(sock, "eth9"); },
                "resolve_ifindex", unknown, 0}),
    case_name);

} // namespace
} // namespace kex::netlink
