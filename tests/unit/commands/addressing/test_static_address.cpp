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

const Bytes infinite = attribute(6, Bytes(8, '\xff') + zeros(8));

/** The request that adds an address; broadcast is empty for none. */
std::string addition(uint8_t family, uint8_t prefix, const Bytes& address, const Bytes& broadcast)
{
    return dump(message(20, 0x0505, 1,
                        u8(family) + u8(prefix) + zeros(2) + u32(eth0_index) +
                            attribute(2, address) + attribute(1, address) +
                            (broadcast.empty() ? "" : attribute(4, broadcast)) + infinite));
}

const Bytes ipv4_bytes("\xc0\xa8\x00\x05", 4);
const Bytes broadcast_bytes("\xc0\xa8\x00\xff", 4);
const Bytes ipv6_bytes = Bytes("\xfd\x00", 2) + zeros(13) + u8(5);

class StaticAddress : public CommandTest
{
  protected:
    StaticAddress() { acknowledge(); }
};

TEST_F(StaticAddress, Ipv4_SendsAddressPrefixAndBroadcast)
{
    handler.set_static_address({"eth0", "192.168.0.5", "255.255.255.0", "192.168.0.255"});
    EXPECT_EQ(requests(), Requests{addition(inet, 24, ipv4_bytes, broadcast_bytes)});
}

TEST_F(StaticAddress, Ipv4_LogsAddressAndPrefix)
{
    handler.set_static_address({"eth0", "192.168.0.5", "255.255.255.0", "192.168.0.255"});
    EXPECT_EQ(logged_without_numbers(),
              (Lines{exe_info("set_static_address", "adding eth0 static IP 192.168.0.5/24"),
                     "<4> nlc_add_address():# - added address on eth0\n"}));
}

TEST_F(StaticAddress, Ipv6_SendsAddressAndPrefix)
{
    handler.set_static_address({"eth0", "fd00::5", "64"});
    EXPECT_EQ(requests(), Requests{addition(inet6, 64, ipv6_bytes, "")});
}

TEST_F(StaticAddress, Ipv6_IgnoresAFourthArgument)
{
    handler.set_static_address({"eth0", "fd00::5", "128", "no address"});
    EXPECT_EQ(requests(), Requests{addition(inet6, 128, ipv6_bytes, "")});
}

TEST_F(StaticAddress, LogsAFailure)
{
    handler.set_static_address({"eth9", "fd00::5", "64"});
    EXPECT_EQ(logged_without_numbers().back(),
              exe_error("set_static_address", "failed to add static IP rc=-1"));
}

TEST_F(StaticAddress, LogsARefusalOfTheKernel)
{
    kernel.requests();
    handler.set_static_address({"eth0", "fd00::5", "64"}); // takes the acknowledgement
    refuse(-13);
    handler.set_static_address({"eth0", "fd00::5", "64"});
    EXPECT_EQ(logged_without_numbers().back(),
              exe_error("set_static_address", "failed to add static IP rc=-13"));
}

/** An argument list that is refused with one line of no fixed number. */
struct Refused {
    const char* name;
    Args args;
    const char* reason;
};

void PrintTo(const Refused& refused, std::ostream* out)
{
    *out << refused.name;
}

class RefusedAddress : public CommandTest, public testing::WithParamInterface<Refused>
{
};

TEST_P(RefusedAddress, IsLogged)
{
    handler.set_static_address(GetParam().args);
    EXPECT_EQ(logged_without_numbers(), Lines{exe_error("set_static_address", GetParam().reason)});
}

TEST_P(RefusedAddress, SendsNothing)
{
    handler.set_static_address(GetParam().args);
    EXPECT_EQ(requests(), Requests{});
}

constexpr const char* bad_list = "invalid parm list";

Refused of_prefix(const char* name, const char* address, const char* prefix, const char* reason)
{
    return {name, {"eth0", address, prefix, "192.168.0.255"}, reason};
}

INSTANTIATE_TEST_SUITE_P(
    Lists, RefusedAddress,
    testing::Values(Refused{"Empty", {}, bad_list},
                    Refused{"TwoArguments", {"eth0", "fd00::5"}, bad_list},
                    Refused{"BadName", {"eth:0", "fd00::5", "64"}, bad_list},
                    Refused{"NoName", {"", "fd00::5", "64"}, bad_list},
                    Refused{"BadIpv6", {"eth0", "fd00::5::", "64"}, bad_list},
                    Refused{"NoAddress", {"eth0", "", "24", "192.168.0.255"}, bad_list},
                    Refused{"BadIpv4", {"eth0", "192.168.0.5/24", "24", "192.168.0.255"}, bad_list},
                    Refused{"Ipv4WithoutBroadcast", {"eth0", "192.168.0.5", "24"}, bad_list},
                    Refused{"BadBroadcast", {"eth0", "192.168.0.5", "24", "none"}, bad_list},
                    Refused{"Ipv6Broadcast", {"eth0", "192.168.0.5", "24", "fd00::ff"}, bad_list},
                    Refused{"Ipv4ThatDoesNotParse",
                            {"eth0", "192.168.0", "24", "192.168.0.255"},
                            "failed to convert 192.168.0 to IPv4"},
                    Refused{"BroadcastThatDoesNotParse",
                            {"eth0", "192.168.0.5", "24", "1.2.3.4.5"},
                            "failed to convert 1.2.3.4.5 to IPv4"},
                    Refused{"NeitherParses",
                            {"eth0", "999.1.1.1", "x", "999.1.1.2"},
                            "failed to convert 999.1.1.1 to IPv4"}),
    case_name);

INSTANTIATE_TEST_SUITE_P(
    Prefixes, RefusedAddress,
    testing::Values(
        of_prefix("None", "192.168.0.5", "", "invalid prefix length or subnet mask: "),
        of_prefix("Of33", "192.168.0.5", "33", "invalid prefix length or subnet mask: 33"),
        of_prefix("WithALetter", "192.168.0.5", "24x", "invalid prefix length or subnet mask: 24x"),
        of_prefix("MaskWithAGap", "192.168.0.5", "255.0.255.0",
                  "invalid prefix length or subnet mask: 255.0.255.0"),
        of_prefix("MaskForIpv6", "fd00::5", "255.255.255.0",
                  "invalid prefix length or subnet mask: 255.255.255.0"),
        of_prefix("Of129", "fd00::5", "129", "invalid prefix length or subnet mask: 129")),
    case_name);

class AddrFlush : public CommandTest
{
  protected:
    AddrFlush() { kernel.reply(end_of_dump()); }
};

TEST_F(AddrFlush, AsksForTheFamilyAndLink)
{
    handler.addr_flush({"eth0", "ipv6", "link", "static"});
    EXPECT_EQ(requests(),
              Requests{dump(message(22, dump_flags, 1, u8(inet6) + zeros(3) + u32(eth0_index)))});
}

TEST_F(AddrFlush, AsksForIpv4)
{
    handler.addr_flush({"eth0", "ipv4", "link", "static"});
    EXPECT_EQ(requests(),
              Requests{dump(message(22, dump_flags, 1, u8(inet) + zeros(3) + u32(eth0_index)))});
}

TEST_F(AddrFlush, LogsItsArguments)
{
    handler.addr_flush({"eth0", "ipv4", "all", "all", "surplus"});
    EXPECT_EQ(logged_without_numbers(),
              (Lines{exe_info("addr_flush", "flushing eth0 ipv4 all all addrs"),
                     "<4> nlc_flush_addresses():# - flushed 0 addresses on eth0\n"}));
}

TEST_F(AddrFlush, LogsAFailure)
{
    handler.addr_flush({"eth9", "ipv4", "all", "all"});
    EXPECT_EQ(logged_without_numbers().back(), exe_error("addr_flush", "failed to flush rc=-1"));
}

/** Whether the two words select an address of a scope and of these flags. */
struct Selection {
    const char* scope_word;
    const char* kind_word;
    std::string selected; /**< the letters of the addresses below */
};

void PrintTo(const Selection& selection, std::ostream* out)
{
    *out << selection.scope_word << ' ' << selection.kind_word;
}

class AddrFlushWords : public CommandTest, public testing::WithParamInterface<Selection>
{
  protected:
    static Bytes address(char letter, uint8_t flags, uint8_t scope)
    {
        return dumped(20, u8(inet) + u8(24) + u8(flags) + u8(scope) + u32(eth0_index) +
                              attribute(1, Bytes(4, letter)));
    }
};

TEST_P(AddrFlushWords, SelectScopeAndKind)
{
    constexpr uint8_t permanent = 0x80;
    kernel.reply(address('a', permanent, 0) + address('b', 0, 0) + address('c', permanent, 253) +
                 address('d', 0, 253) + address('e', permanent, 254) + address('f', 0, 254));
    for (int i = 0; i < 6; ++i) {
        kernel.reply(acknowledgement(0));
    }
    kernel.reply(end_of_dump());
    handler.addr_flush({"eth0", "ipv4", GetParam().scope_word, GetParam().kind_word});
    std::string deleted;
    for (const Bytes& request : kernel.requests()) {
        deleted += request.size() > 24 ? request.substr(28, 1) : "";
    }
    EXPECT_EQ(deleted, GetParam().selected);
}

INSTANTIATE_TEST_SUITE_P(
    Words, AddrFlushWords,
    testing::Values(Selection{"global", "static", "a"}, Selection{"global", "all", "ab"},
                    Selection{"link", "static", "c"}, Selection{"link", "all", "cd"},
                    Selection{"all", "static", "ace"}, Selection{"all", "all", "abcdef"}));

class RefusedFlush : public CommandTest, public testing::WithParamInterface<Refused>
{
};

TEST_P(RefusedFlush, IsLogged)
{
    handler.addr_flush(GetParam().args);
    EXPECT_EQ(logged_without_numbers(), Lines{exe_error("addr_flush", GetParam().reason)});
}

TEST_P(RefusedFlush, SendsNothing)
{
    handler.addr_flush(GetParam().args);
    EXPECT_EQ(requests(), Requests{});
}

INSTANTIATE_TEST_SUITE_P(
    Lists, RefusedFlush,
    testing::Values(Refused{"Empty", {}, bad_list},
                    Refused{"ThreeArguments", {"eth0", "ipv4", "all"}, bad_list},
                    Refused{"BadName", {"eth 0", "ipv4", "all", "all"}, bad_list},
                    Refused{"OtherCase", {"eth0", "IPv4", "all", "all"}, bad_list},
                    Refused{"BadScope", {"eth0", "ipv4", "host", "all"}, bad_list},
                    Refused{"BadKind", {"eth0", "ipv4", "all", "dhcp"}, bad_list},
                    Refused{"OtherOrder", {"eth0", "global", "ipv4", "all"}, bad_list}),
    case_name);

} // namespace
} // namespace kex::commands
