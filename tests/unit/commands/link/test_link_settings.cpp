#include "support/command_test.hpp"
#include "support/link_requests.hpp"

namespace kex::commands
{
namespace
{

using namespace test;

using Requests = std::vector<std::string>;

constexpr const char* mac = "02:1a:2b:ff:00:9c";
const Bytes mac_bytes("\x02\x1a\x2b\xff\x00\x9c", 6);

std::string change(uint32_t seq, const Bytes& body)
{
    return dump(message(setlink, request_ack, seq, body));
}

class LinkSettings : public CommandTest
{
};

TEST_F(LinkSettings, LinkControl_UpSetsTheLinkUp)
{
    acknowledge();
    handler.link_control({"up", "eth0"});
    EXPECT_EQ(requests(), Requests{change(1, ifinfomsg(eth0_index, 1, 1))});
}

TEST_F(LinkSettings, LinkControl_DownSetsTheLinkDown)
{
    acknowledge();
    handler.link_control({"down", "eth0"});
    EXPECT_EQ(requests(), Requests{change(1, ifinfomsg(eth0_index, 0, 1))});
}

TEST_F(LinkSettings, LinkControl_LogsEntryAndOutcome)
{
    acknowledge();
    handler.link_control({"up", "eth0"});
    EXPECT_EQ(logged(),
              (Lines{exe_info("link_control", 686, ""), nlc_info("set_link_state", "set eth0 up"),
                     exe_info("link_control", 697, "set eth0 up rc=0")}));
}

TEST_F(LinkSettings, LinkControl_LogsAFailureAtTheSameLevel)
{
    refuse(-1);
    handler.link_control({"down", "eth0"});
    EXPECT_EQ(logged().back(), exe_info("link_control", 697, "set eth0 down rc=-1"));
}

Lines link_control_refusal()
{
    return {exe_info("link_control", 686, ""), exe_error("link_control", 691, "invalid parm list")};
}

INSTANTIATE_TEST_SUITE_P(
    LinkControl, RefusedList,
    testing::Values(
        RefusedArgs{"Empty", &CommandHandler::link_control, {}, link_control_refusal()},
        RefusedArgs{"OneArgument", &CommandHandler::link_control, {"up"}, link_control_refusal()},
        RefusedArgs{"ThreeArguments",
                    &CommandHandler::link_control,
                    {"up", "eth0", "eth1"},
                    link_control_refusal()},
        RefusedArgs{
            "OtherCase", &CommandHandler::link_control, {"UP", "eth0"}, link_control_refusal()},
        RefusedArgs{
            "OtherOrder", &CommandHandler::link_control, {"eth0", "up"}, link_control_refusal()},
        RefusedArgs{"NoState", &CommandHandler::link_control, {"", "eth0"}, link_control_refusal()},
        RefusedArgs{"NoName", &CommandHandler::link_control, {"up", ""}, link_control_refusal()},
        RefusedArgs{"BlankInTheName",
                    &CommandHandler::link_control,
                    {"up", "eth 0"},
                    link_control_refusal()}),
    case_name);

TEST_F(LinkSettings, SetMacAddress_SetsTheLinkDownFirstAndLeavesItDown)
{
    acknowledge(2);
    handler.set_mac_address({"eth0", mac});
    EXPECT_EQ(requests(),
              (Requests{change(1, ifinfomsg(eth0_index, 0, 1)),
                        change(2, ifinfomsg(eth0_index) + attribute(ifla_address, mac_bytes))}));
}

TEST_F(LinkSettings, SetMacAddress_LogsItsSteps)
{
    acknowledge(2);
    handler.set_mac_address({"eth0", mac, "surplus"});
    EXPECT_EQ(logged(),
              (Lines{exe_info("set_mac_address", 1272, "setting eth0: 02:1a:2b:ff:00:9c"),
                     exe_info("link_control", 686, ""), nlc_info("set_link_state", "set eth0 down"),
                     exe_info("link_control", 697, "set eth0 down rc=0"),
                     nlc_info("set_link_address", "set eth0 address 02:1a:2b:ff:00:9c")}));
}

TEST_F(LinkSettings, SetMacAddress_LogsARefusalOfTheKernel)
{
    acknowledge();
    refuse(-22);
    handler.set_mac_address({"eth0", mac});
    EXPECT_EQ(logged().back(),
              exe_error("set_mac_address", 1279, "failed to set eth0 02:1a:2b:ff:00:9c rc=-22"));
}

TEST_F(LinkSettings, SetMacAddress_GoesOnWhenTheLinkCannotBeSetDown)
{
    refuse(-1);
    acknowledge();
    handler.set_mac_address({"eth0", mac});
    EXPECT_EQ(requests().size(), 2U);
}

TEST_F(LinkSettings, SetMacAddress_LogsATextThatIsNoAddress)
{
    acknowledge();
    handler.set_mac_address({"eth0", "abc"});
    EXPECT_EQ(logged().back(), exe_error("set_mac_address", 1279, "failed to set eth0 abc rc=-1"));
}

Lines set_mac_address_refusal()
{
    return {exe_error("set_mac_address", 1268, "invalid parm list")};
}

INSTANTIATE_TEST_SUITE_P(
    SetMacAddress, RefusedList,
    testing::Values(
        RefusedArgs{"Empty", &CommandHandler::set_mac_address, {}, set_mac_address_refusal()},
        RefusedArgs{
            "OneArgument", &CommandHandler::set_mac_address, {"eth0"}, set_mac_address_refusal()},
        RefusedArgs{"BadName",
                    &CommandHandler::set_mac_address,
                    {"eth0:1", mac},
                    set_mac_address_refusal()},
        RefusedArgs{
            "NoAddress", &CommandHandler::set_mac_address, {"eth0", ""}, set_mac_address_refusal()},
        RefusedArgs{"AddressWithOtherSigns",
                    &CommandHandler::set_mac_address,
                    {"eth0", "02-1a-2b-ff-00-9c"},
                    set_mac_address_refusal()},
        RefusedArgs{"AddressOf19Characters",
                    &CommandHandler::set_mac_address,
                    {"eth0", "02:1a:2b:ff:00:9c:0"},
                    set_mac_address_refusal()}),
    case_name);

std::string egress_to(uint32_t priority)
{
    Bytes mappings;
    for (uint32_t from = 0; from < 8; ++from) {
        mappings += attribute(1, u32(from) + u32(priority));
    }
    return change(1, ifinfomsg(eth0_index) + link_info("vlan", attribute(3, mappings)));
}

struct Priority {
    const char* text;
    uint32_t sent;
};

class PriorityText : public LinkSettings, public testing::WithParamInterface<Priority>
{
};

TEST_P(PriorityText, IsThatOfEverySocketPriority)
{
    acknowledge();
    handler.set_vlan_priority({"eth0", GetParam().text});
    EXPECT_EQ(requests(), Requests{egress_to(GetParam().sent)});
}

// Read by strtoul, of which 32 bits count.
INSTANTIATE_TEST_SUITE_P(Texts, PriorityText,
                         testing::Values(Priority{"0", 0}, Priority{"7", 7}, Priority{" 5", 5},
                                         Priority{"5x", 5}, Priority{"abc", 0}, Priority{"", 0},
                                         Priority{"4294967299", 3}),
                         [](const auto& text) { return "Text" + std::to_string(text.index); });

TEST_F(LinkSettings, SetVlanPriority_LogsNoSuccessOfItsOwn)
{
    acknowledge();
    handler.set_vlan_priority({"eth0", "7", "surplus"});
    EXPECT_EQ(logged(), Lines{nlc_info("set_vlan_egress_qos", "set eth0 vlan egress qos")});
}

TEST_F(LinkSettings, SetVlanPriority_LogsARefusalOfTheKernel)
{
    refuse(-95);
    handler.set_vlan_priority({"eth0", "7"});
    EXPECT_EQ(logged().back(),
              exe_error("set_vlan_priority", 1993, "failed to set vlan priority rc=-95"));
}

RefusedArgs priority_of(const char* name, const Args& args, int line)
{
    return {name,
            &CommandHandler::set_vlan_priority,
            args,
            {exe_error("set_vlan_priority", line, "invalid parm list")}};
}

INSTANTIATE_TEST_SUITE_P(SetVlanPriority, RefusedList,
                         testing::Values(priority_of("Empty", {}, 1977),
                                         priority_of("OneArgument", {"eth0.5"}, 1977),
                                         priority_of("NoName", {"", "7"}, 1977),
                                         priority_of("PipeInTheName", {"eth0|x", "7"}, 1977),
                                         priority_of("Eight", {"eth0.5", "8"}, 1983),
                                         priority_of("MinusOne", {"eth0.5", "-1"}, 1983),
                                         priority_of("Huge", {"eth0.5", "4294967295"}, 1983)),
                         case_name);

} // namespace
} // namespace kex::commands
