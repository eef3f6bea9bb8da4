#include "support/command_test.hpp"
#include "support/link_requests.hpp"

#include <unistd.h>

// Takes no time: the interfaces of these tests never come.
extern "C" int usleep(useconds_t /*microseconds*/)
{
    return 0;
}

namespace kex::commands
{
namespace
{

using namespace test;

using Requests = std::vector<std::string>;

constexpr const char* mac = "02:1a:2b:ff:00:9c";
const Bytes mac_bytes("\x02\x1a\x2b\xff\x00\x9c", 6);

/** No interface of the machine has this name: its settings are not there to be written. */
constexpr const char* fresh = "kex-unit-test-interface";

std::string creation(uint32_t seq, const Bytes& attributes)
{
    return dump(message(newlink, request_create, seq,
                        ifinfomsg(0) + attribute(ifla_ifname, text(fresh)) + attributes));
}

std::string down(uint32_t seq, uint32_t index)
{
    return dump(message(setlink, request_ack, seq, ifinfomsg(index, 0, 1)));
}

class InterfaceCreation : public CommandTest
{
  protected:
    /** The messages of the functions whose names begin so. */
    static Lines logged_by(const std::string& function)
    {
        Lines lines;
        for (const std::string& line : logged()) {
            if (line.substr(4).starts_with("exe_" + function)) {
                lines.push_back(line);
            }
        }
        return lines;
    }

    static Args bond(const char* mode, const char* count, const std::vector<std::string>& further)
    {
        Args args{"bond", fresh, "eui64", "enable", mode, "eth0", mac, count};
        args.insert(args.end(), further.begin(), further.end());
        return args;
    }
};

TEST_F(InterfaceCreation, Vlan_SendsLowerAndId)
{
    acknowledge();
    handler.add_network_interface({"vlan", fresh, "eui64", "enable", "eth0", "100"});
    EXPECT_EQ(requests(), Requests{creation(1, attribute(ifla_link, u32(eth0_index)) +
                                                   link_info("vlan", attribute(1, u16(100))))});
}

TEST_F(InterfaceCreation, Vlan_LogsTheIdAsGiven)
{
    acknowledge();
    handler.add_network_interface({"vlan", fresh, "eui64", "enable", "eth0", " 100x"});
    EXPECT_EQ(logged_by("add_vlan"),
              Lines{exe_info("add_vlan", 952,
                             std::string("vlan ") + fresh + " lower eth0 id  100x rc=0")});
}

TEST_F(InterfaceCreation, Macvlan_WithoutAddressPassesThrough)
{
    acknowledge();
    handler.add_network_interface({"macvlan", fresh, "disable", "disable", "eth0"});
    EXPECT_EQ(requests(),
              Requests{creation(
                  1, attribute(ifla_link, u32(eth0_index)) +
                         link_info("macvlan", attribute(1, u32(8)) + attribute(2, u16(1))))});
}

TEST_F(InterfaceCreation, Macvlan_WithAddressIsPrivate)
{
    acknowledge();
    handler.add_network_interface({"macvlan", fresh, "disable", "disable", "eth0", mac});
    EXPECT_EQ(requests(), Requests{creation(1, attribute(ifla_link, u32(eth0_index)) +
                                                   attribute(ifla_address, mac_bytes) +
                                                   link_info("macvlan", attribute(1, u32(1))))});
}

TEST_F(InterfaceCreation, Macvlan_WithSurplusArgumentsTakesNoAddress)
{
    acknowledge();
    handler.add_network_interface({"macvlan", fresh, "disable", "disable", "eth0", mac, "surplus"});
    EXPECT_EQ(logged_by("add_macvlan"),
              Lines{exe_info("add_macvlan", 892,
                             std::string("mcvlan ") + fresh + " lower eth0 mode passthru rc=0")});
}

TEST_F(InterfaceCreation, Macvlan_LogsAPrivateOne)
{
    refuse(-17);
    handler.add_network_interface({"macvlan", fresh, "disable", "disable", "eth0", mac});
    EXPECT_EQ(logged_by("add_macvlan"),
              Lines{exe_info("add_macvlan", 892,
                             std::string("mcvlan ") + fresh + " lower eth0 mode private rc=-17")});
}

TEST_F(InterfaceCreation, Bond_LogsItsLowersInOrder)
{
    handler.add_network_interface(bond("broadcast", "2", {"eth1", "eth2", "surplus"}));
    EXPECT_EQ(logged_by("add_network_interface"),
              (Lines{exe_info("add_network_interface", 1218,
                              std::string("adding bond interface ") + fresh),
                     exe_info("add_network_interface", 1220, "lower interface eth0"),
                     exe_info("add_network_interface", 1220, "lower interface eth1"),
                     exe_info("add_network_interface", 1220, "lower interface eth2")}));
}

TEST_F(InterfaceCreation, Bond_SendsCreationAndSetsItsLowersDown)
{
    acknowledge(4);
    handler.add_network_interface(bond("broadcast", "1", {"eth1"}));
    // The bond has no index in this test: it is not set up, and no lower gets it as its boss.
    EXPECT_EQ(requests(), (Requests{creation(1, attribute(ifla_address, mac_bytes) +
                                                    link_info("bond", attribute(1, u8(3)))),
                                    down(2, eth0_index), down(3, eth1_index)}));
}

TEST_F(InterfaceCreation, Bond_ThatIsNotCreatedHasItsLowersProcessed)
{
    refuse(-17);
    acknowledge();
    handler.add_network_interface(bond("broadcast", "0", {}));
    EXPECT_EQ(
        logged_by("add_bond"),
        (Lines{exe_info("add_bond", 905, std::string("bond ") + fresh + " create rc=-17"),
               exe_info("add_bond", 918, std::string("bond ") + fresh + " enjoin eth0 rc=-1")}));
}

TEST_F(InterfaceCreation, Bond_ThatIsNotCreatedIsNotSetUp)
{
    refuse(-17);
    acknowledge();
    handler.add_network_interface(bond("broadcast", "0", {}));
    EXPECT_EQ(logged_by("link_control"),
              (Lines{exe_info("link_control", 686, ""),
                     exe_info("link_control", 697, "set eth0 down rc=0")}));
}

TEST_F(InterfaceCreation, Bond_WithoutAddressIsNotCreated)
{
    acknowledge();
    handler.add_network_interface({"bond", fresh, "eui64", "enable", "broadcast", "eth0", "", "0"});
    EXPECT_EQ(logged_by("add_bond").at(0),
              exe_info("add_bond", 905, std::string("bond ") + fresh + " create rc=-1"));
}

TEST_F(InterfaceCreation, ActiveBackup_WritesItsOptionsWhateverHappened)
{
    handler.add_network_interface(bond("active-backup", "1", {"eth1"}));
    Lines expected;
    for (const char* setting :
         {"miimon=1000", "downdelay=5000", "primary=eth0", "all_slaves_active=1"}) {
        const std::string text = setting;
        expected.push_back(exe_info("set_bonding_config", 934,
                                    std::string("setting /sys/class/net/") + fresh + "/bonding/" +
                                        text.substr(0, text.find('='))));
        expected.push_back(
            exe_error("set_bonding_config", 943, std::string(fresh) + " " + setting + " failed"));
    }
    EXPECT_EQ(logged_by("set_bonding_config"), expected);
}

TEST_F(InterfaceCreation, Broadcast_WritesNoOptions)
{
    handler.add_network_interface(bond("broadcast", "1", {"eth1"}));
    EXPECT_EQ(logged_by("set_bonding_config"), Lines{});
}

RefusedArgs creation_of(const char* name, const Args& args, int line)
{
    return {name,
            &CommandHandler::add_network_interface,
            args,
            {exe_error("add_network_interface", line, "invalid parm list")}};
}

INSTANTIATE_TEST_SUITE_P(
    AnyKind, RefusedList,
    testing::Values(creation_of("Empty", {}, 1147),
                    creation_of("FourArguments", {"vlan", fresh, "eui64", "enable"}, 1147),
                    creation_of("OtherKind", {"bridge", fresh, "eui64", "enable", "eth0"}, 1147),
                    creation_of("OtherCase", {"VLAN", fresh, "eui64", "enable", "eth0", "5"}, 1147),
                    creation_of("BadName", {"vlan", "v/0", "eui64", "enable", "eth0", "5"}, 1147),
                    creation_of("BadMode", {"vlan", fresh, "enable", "enable", "eth0", "5"}, 1147),
                    creation_of("BadAutoconf", {"vlan", fresh, "eui64", "yes", "eth0", "5"}, 1147)),
    case_name);

INSTANTIATE_TEST_SUITE_P(
    Vlan, RefusedList,
    testing::Values(creation_of("WithoutId", {"vlan", fresh, "eui64", "enable", "eth0"}, 1179),
                    creation_of("BadLower", {"vlan", fresh, "eui64", "enable", "e:0", "5"}, 1179),
                    creation_of("IdZero", {"vlan", fresh, "eui64", "enable", "eth0", "0"}, 1179),
                    creation_of("IdOfLetters", {"vlan", fresh, "eui64", "enable", "eth0", "abc"},
                                1179),
                    creation_of("NoId", {"vlan", fresh, "eui64", "enable", "eth0", ""}, 1179)),
    case_name);

INSTANTIATE_TEST_SUITE_P(
    Macvlan, RefusedList,
    testing::Values(
        creation_of("BadLower", {"macvlan", fresh, "eui64", "enable", ""}, 1159),
        creation_of("BadAddress", {"macvlan", fresh, "eui64", "enable", "eth0", "no"}, 1166),
        creation_of("EmptyAddress", {"macvlan", fresh, "eui64", "enable", "eth0", ""}, 1166)),
    case_name);

RefusedArgs bond_of(const char* name, const Args& from_mode_on, int line)
{
    Args args{"bond", fresh, "eui64", "enable"};
    args.insert(args.end(), from_mode_on.begin(), from_mode_on.end());
    return creation_of(name, args, line);
}

INSTANTIATE_TEST_SUITE_P(
    Bond, RefusedList,
    testing::Values(bond_of("SevenArguments", {"broadcast", "eth0", mac}, 1196),
                    bond_of("OtherMode", {"balance-rr", "eth0", mac, "0"}, 1196),
                    bond_of("BadLower", {"broadcast", "", mac, "0"}, 1196),
                    bond_of("BadAddress", {"broadcast", "eth0", "no", "0"}, 1196),
                    bond_of("OneLowerTooFew", {"broadcast", "eth0", mac, "1"}, 1204),
                    bond_of("TwoLowersWithOne", {"broadcast", "eth0", mac, "2", "eth1"}, 1204),
                    // Counts that run over when 8 is added to them.
                    bond_of("HugeCount", {"broadcast", "eth0", mac, "4294967295", "eth1"}, 1204),
                    bond_of("NegativeCount", {"broadcast", "eth0", mac, "-1", "eth1"}, 1204),
                    bond_of("MinusEight", {"broadcast", "eth0", mac, "-8", "eth1"}, 1204),
                    bond_of("BadFurtherLower", {"broadcast", "eth0", mac, "1", "e 1"}, 1211),
                    bond_of("BadSecondFurtherLower", {"broadcast", "eth0", mac, "2", "eth1", ""},
                            1211)),
    case_name);

} // namespace
} // namespace kex::commands
