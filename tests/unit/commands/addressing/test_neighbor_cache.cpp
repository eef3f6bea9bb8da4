#include "support/command_test.hpp"
#include "support/flush_test.hpp"

namespace kex::commands
{
namespace
{

using namespace test;

using Requests = std::vector<std::string>;

constexpr const char* mac = "02:1a:2b:ff:00:9c";

class NeighborCache : public CommandTest
{
};

TEST_F(NeighborCache, Enable_SendsAddressAndMac)
{
    acknowledge();
    handler.set_ip6_neighbor_cache({"enable", "fd00::5", mac, "eth0"});
    EXPECT_EQ(requests(),
              Requests{dump(message(28, 0x0505, 1,
                                    u8(10) + zeros(3) + u32(eth0_index) + u16(0x80) + zeros(2) +
                                        attribute(1, Bytes("\xfd\x00", 2) + zeros(13) + u8(5)) +
                                        attribute(2, Bytes("\x02\x1a\x2b\xff\x00\x9c", 6))))});
}

TEST_F(NeighborCache, Enable_LogsItsOutcome)
{
    acknowledge();
    handler.set_ip6_neighbor_cache({"enable", "fd00::5", mac, "eth0", "surplus"});
    EXPECT_EQ(logged_without_numbers(),
              (Lines{"<4> nlc_replace_neighbor():# - replaced neighbor on eth0\n",
                     exe_info("set_ip6_neighbor_cache", "update fd00::5 eth0 rc=0")}));
}

TEST_F(NeighborCache, Enable_LogsAFailureAtTheSameLevel)
{
    refuse(-19);
    handler.set_ip6_neighbor_cache({"enable", "fd00::5", mac, "eth0"});
    EXPECT_EQ(logged_without_numbers().back(),
              exe_info("set_ip6_neighbor_cache", "update fd00::5 eth0 rc=-19"));
}

TEST_F(NeighborCache, Enable_LogsAnUnknownLinkAtTheSameLevel)
{
    handler.set_ip6_neighbor_cache({"enable", "fd00::5", mac, "eth9"});
    EXPECT_EQ(logged_without_numbers().back(),
              exe_info("set_ip6_neighbor_cache", "update fd00::5 eth9 rc=-1"));
}

TEST_F(NeighborCache, Disable_AsksForTheWholeTable)
{
    kernel.reply(end_of_dump());
    handler.set_ip6_neighbor_cache({"disable"});
    EXPECT_EQ(requests(), Requests{dump(message(30, dump_flags, 1, zeros(12)))});
}

TEST_F(NeighborCache, Disable_LogsItsOutcome)
{
    kernel.reply(end_of_dump());
    handler.set_ip6_neighbor_cache({"disable", "fd00::5", mac, "eth0"});
    EXPECT_EQ(logged_without_numbers(),
              (Lines{"<4> nlc_flush_neighbors():# - flushed 0 permanent neighbors\n",
                     exe_info("set_ip6_neighbor_cache", "neighbor cache flush rc=0")}));
}

TEST_F(NeighborCache, Disable_LogsAFailureAtTheSameLevel)
{
    handler.set_ip6_neighbor_cache({"disable"});
    EXPECT_EQ(logged_without_numbers().back(),
              exe_info("set_ip6_neighbor_cache", "neighbor cache flush rc=-1"));
}

struct Refused {
    const char* name;
    Args args;
    const char* reason;
};

void PrintTo(const Refused& refused, std::ostream* out)
{
    *out << refused.name;
}

class RefusedNeighbor : public NeighborCache, public testing::WithParamInterface<Refused>
{
};

TEST_P(RefusedNeighbor, IsLogged)
{
    handler.set_ip6_neighbor_cache(GetParam().args);
    EXPECT_EQ(logged_without_numbers(),
              Lines{exe_error("set_ip6_neighbor_cache", GetParam().reason)});
}

TEST_P(RefusedNeighbor, SendsNothing)
{
    handler.set_ip6_neighbor_cache(GetParam().args);
    EXPECT_EQ(requests(), Requests{});
}

constexpr const char* bad_list = "invalid parm list";

INSTANTIATE_TEST_SUITE_P(
    Lists, RefusedNeighbor,
    testing::Values(Refused{"Empty", {}, bad_list}, Refused{"OtherWord", {"flush"}, bad_list},
                    Refused{"OtherCase", {"Disable"}, bad_list},
                    Refused{"ThreeArguments", {"enable", "fd00::5", mac}, bad_list},
                    Refused{"Ipv4", {"enable", "10.0.0.5", mac, "eth0"}, bad_list},
                    Refused{"NoAddress", {"enable", "", mac, "eth0"}, bad_list},
                    Refused{"BadMac", {"enable", "fd00::5", "02-1a", "eth0"}, bad_list},
                    Refused{"BadName", {"enable", "fd00::5", mac, "eth 0"}, bad_list},
                    Refused{"MacThatDoesNotParse",
                            {"enable", "fd00::5", "02:1a:2b:ff:00:9:", "eth9"},
                            "invalid MAC address 02:1a:2b:ff:00:9:"}),
    case_name);

} // namespace
} // namespace kex::commands
