#include "netlink/rule.hpp"

#include "support/operation_test.hpp"

namespace kex::netlink
{
namespace
{

using namespace test;

using Sock = NetlinkCommandSocket;

constexpr uint16_t newrule = 32;
constexpr uint16_t delrule = 33;
constexpr uint16_t adding = 0x0605;
constexpr uint16_t deleting = 0x0005;

constexpr uint16_t fra_dst = 1;
constexpr uint16_t fra_src = 2;
constexpr uint16_t fra_table = 15;

constexpr uint8_t inet = 2;
constexpr uint8_t inet6 = 10;

const IpAddress ipv4 = {AF_INET, {10, 0, 0, 5}};
const IpAddress ipv6 = {AF_INET6, {0xfd, 0, 0, 1}};

const Bytes ipv4_bytes("\x0a\x00\x00\x05", 4);
const Bytes ipv6_bytes = Bytes("\xfd\x00\x00\x01", 4) + zeros(12);

Bytes fib_rule_hdr_of(uint8_t family, uint8_t dst_len, uint8_t src_len, uint8_t table)
{
    constexpr uint8_t to_table = 1;
    return u8(family) + u8(dst_len) + u8(src_len) + zeros(1) + u8(table) + zeros(2) + u8(to_table) +
           zeros(4);
}

class ModifyRule : public NetlinkTest
{
  protected:
    ModifyRule() { acknowledge(); }
};

TEST_F(ModifyRule, FromSendsTheSource)
{
    modify_rule(sock, true, "from", ipv4, 32, 100);
    EXPECT_EQ(the_request(),
              dump(message(newrule, adding, 1,
                           fib_rule_hdr_of(inet, 0, 32, 100) + attribute(fra_src, ipv4_bytes) +
                               attribute(fra_table, u32(100)))));
}

TEST_F(ModifyRule, ToSendsTheDestination)
{
    modify_rule(sock, true, "to", ipv4, 24, 100);
    EXPECT_EQ(the_request(),
              dump(message(newrule, adding, 1,
                           fib_rule_hdr_of(inet, 24, 0, 100) + attribute(fra_dst, ipv4_bytes) +
                               attribute(fra_table, u32(100)))));
}

TEST_F(ModifyRule, ByteForByte)
{
    modify_rule(sock, true, "from", ipv4, 32, 100);
    EXPECT_EQ(the_request(), "44 bytes\n"
                             "2c 00 00 00\n20 00 05 06\n01 00 00 00\n00 00 00 00\n"
                             "02 00 20 00\n" // family, destination, source, TOS
                             "64 00 00 01\n" // table, two reserved bytes, action
                             "00 00 00 00\n" // flags
                             "08 00 02 00\n0a 00 00 05\n"
                             "08 00 0f 00\n64 00 00 00");
}

class Selector : public ModifyRule, public testing::WithParamInterface<const char*>
{
};

TEST_P(Selector, OtherThanFromIsTheDestination)
{
    modify_rule(sock, true, GetParam(), ipv4, 32, 100);
    EXPECT_EQ(the_request(),
              dump(message(newrule, adding, 1,
                           fib_rule_hdr_of(inet, 32, 0, 100) + attribute(fra_dst, ipv4_bytes) +
                               attribute(fra_table, u32(100)))));
}

TEST_P(Selector, IsLoggedAsItIs)
{
    modify_rule(sock, true, GetParam(), ipv4, 32, 100);
    EXPECT_EQ(logged(), Lines{nlc_info("modify_rule",
                                       std::string("added rule ") + GetParam() + " table 100")});
}

INSTANTIATE_TEST_SUITE_P(Texts, Selector,
                         testing::Values("to", "From", "FROM", "from ", " from", "fro", "fromm", "",
                                         "anything"));

TEST_F(ModifyRule, DeleteSendsTheSameWithoutCreation)
{
    modify_rule(sock, false, "from", ipv4, 32, 100);
    EXPECT_EQ(the_request(),
              dump(message(delrule, deleting, 1,
                           fib_rule_hdr_of(inet, 0, 32, 100) + attribute(fra_src, ipv4_bytes) +
                               attribute(fra_table, u32(100)))));
}

TEST_F(ModifyRule, OfIpv6SendsSixteenBytes)
{
    modify_rule(sock, true, "from", ipv6, 64, 100);
    EXPECT_EQ(the_request(),
              dump(message(newrule, adding, 1,
                           fib_rule_hdr_of(inet6, 0, 64, 100) + attribute(fra_src, ipv6_bytes) +
                               attribute(fra_table, u32(100)))));
}

TEST_F(ModifyRule, PrefixZeroSendsTheAddressAllTheSame)
{
    modify_rule(sock, true, "from", ipv4, 0, 100);
    EXPECT_EQ(the_request(),
              dump(message(newrule, adding, 1,
                           fib_rule_hdr_of(inet, 0, 0, 100) + attribute(fra_src, ipv4_bytes) +
                               attribute(fra_table, u32(100)))));
}

TEST_F(ModifyRule, Table255IsInHeaderAndAttribute)
{
    modify_rule(sock, true, "from", ipv4, 32, 255);
    EXPECT_EQ(the_request(),
              dump(message(newrule, adding, 1,
                           fib_rule_hdr_of(inet, 0, 32, 255) + attribute(fra_src, ipv4_bytes) +
                               attribute(fra_table, u32(255)))));
}

TEST_F(ModifyRule, OnlyTheLow32BitsOfTheTableCount)
{
    modify_rule(sock, true, "from", ipv4, 32, 0x1'0000'0064);
    EXPECT_EQ(the_request(),
              dump(message(newrule, adding, 1,
                           fib_rule_hdr_of(inet, 0, 32, 100) + attribute(fra_src, ipv4_bytes) +
                               attribute(fra_table, u32(100)))));
}

INSTANTIATE_TEST_SUITE_P(
    AddedRule, Outcome,
    testing::Values(Operation{
        "modify_rule", [](Sock& sock) { return modify_rule(sock, true, "from", ipv4, 32, 100); },
        "added rule from table 100", "failed to add rule"}),
    case_name);

INSTANTIATE_TEST_SUITE_P(DeletedRule, Outcome,
                         testing::Values(Operation{
                             "modify_rule",
                             [](Sock& sock) { return modify_rule(sock, false, "to", ipv4, 32, 0); },
                             "deleted rule to table 0", "failed to delete rule"}),
                         case_name);

INSTANTIATE_TEST_SUITE_P(
    Rule, Refused,
    testing::Values(
        Refusal{"AddRuleToTable256",
                [](Sock& sock) { return modify_rule(sock, true, "from", ipv4, 32, 256); },
                "modify_rule", "invalid table ID: 256", 0},
        Refusal{"DeleteRuleOfTable256",
                [](Sock& sock) { return modify_rule(sock, false, "from", ipv4, 32, 256); },
                "modify_rule", "invalid table ID: 256", 0},
        Refusal{"AddRuleToTheLargestTable",
                [](Sock& sock) { return modify_rule(sock, true, "from", ipv4, 32, 0xFFFFFFFF); },
                "modify_rule", "invalid table ID: -1", 0}),
    case_name);

} // namespace
} // namespace kex::netlink
