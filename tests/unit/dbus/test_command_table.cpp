#include "dbus/command_table.hpp"

#include "support/case_name.hpp"
#include "support/noted_handlers.hpp"
#include "support/recorded_log.hpp"

#include <gtest/gtest.h>

namespace kex::dbus
{
namespace
{

using Calls = std::vector<std::string>;

/** A command's number and name, and the handler's; empty for none. */
struct Command {
    int number;
    const char* name;
    const char* handler;
};

void PrintTo(const Command& command, std::ostream* out)
{
    *out << command.name;
}

class CommandTable : public testing::TestWithParam<Command>
{
  protected:
    CommandTable()
    {
        test::handler_calls();
        test::forget_log();
    }

    static CommandAction action() { return find_action(static_cast<CmdID>(GetParam().number)); }

    commands::CommandHandler handler_;
};

class HandledCommand : public CommandTable
{
};

TEST_P(HandledCommand, CallsItsHandler)
{
    action()(handler_, {"one", "two"});
    EXPECT_EQ(test::handler_calls(), Calls{std::string(GetParam().handler) + "(one,two)"});
}

TEST_P(HandledCommand, HasItsName)
{
    EXPECT_EQ(KEXBinding::convertCmdIDToString(static_cast<CmdID>(GetParam().number)),
              std::string("com.orvel.bmc.network.KEX.CmdID.") + GetParam().name);
}

TEST_P(HandledCommand, AnswersZeroOrTheResultOfArping)
{
    const int expected = GetParam().number == 9 ? test::arping_result : 0;
    EXPECT_EQ(action()(handler_, {}), expected);
}

INSTANTIATE_TEST_SUITE_P(
    Commands, HandledCommand,
    testing::Values(
        Command{1, "AUTOCONF", "server_autoconfig"}, Command{2, "USBNIC", "usbnic_control"},
        Command{3, "SYSTEMD_SERVICE_CTRL", "service_control"},
        Command{4, "FIREWALL_CTRL", "firewall_control"},
        Command{5, "CONJOIN_IN_AN_INCLUSIVE_FASHION", "conjoin_in_an_inclusive_fashion"},
        Command{6, "LINK_CTRL", "link_control"}, Command{7, "SET_HOSTNAME", "set_host_name"},
        Command{8, "SET_DOMAINNAME", "set_domain_name"}, Command{9, "SENDARPING", "send_arping"},
        Command{10, "VLANPRI_SET", "set_vlan_priority"},
        Command{11, "SEND_NTW_PKT", "send_network_pkt"},
        Command{12, "UPDATE_HOSTS_FILE", "update_hosts_file"},
        Command{14, "SET_IP6_STABLE_PRIVACY", "set_stable_privacy"},
        Command{15, "ADD_NETWORK_INTERFACE", "add_network_interface"},
        Command{16, "RENAME_NETWORK_INTERFACE", "rename_network_interface"},
        Command{17, "DELETE_NETWORK_INTERFACE", "delete_network_interface"},
        Command{18, "SET_MAC_ADDRESS", "set_mac_address"},
        Command{19, "SET_IPV6_SETTINGS", "set_ipv6_settings"},
        Command{20, "INTERFACE_ADDR_FLUSH", "addr_flush"},
        Command{21, "DHCP_RELEASE", "dhcp_release"}, Command{25, "LINK_TUNE", "set_link_tuning"},
        Command{26, "SET_STATIC_ADDRESS", "set_static_address"},
        Command{27, "SET_STATIC_ROUTE", "set_static_route"},
        Command{28, "SET_IP6_HOP_LIMIT", "set_ip6_hop_limit"},
        Command{29, "SET_IP6_NEIGHBOR_CACHE", "set_ip6_neighbor_cache"},
        Command{31, "JOURNAL_CTRL", "journal_ctrl"}),
    test::case_name);

/** Accepted and without effect. */
class IdleCommand : public CommandTable
{
};

TEST_P(IdleCommand, CallsNothing)
{
    action()(handler_, {"one"});
    EXPECT_EQ(test::handler_calls(), Calls{});
}

TEST_P(IdleCommand, LogsNothing)
{
    action()(handler_, {"one"});
    EXPECT_EQ(test::logged(), test::Lines{});
}

TEST_P(IdleCommand, AnswersZero)
{
    EXPECT_EQ(action()(handler_, {"one"}), 0);
}

INSTANTIATE_TEST_SUITE_P(Commands, IdleCommand,
                         testing::Values(Command{13, "IP4_DAD_START", ""},
                                         Command{30, "TERMINATE", ""}),
                         test::case_name);

class UnknownCommand : public CommandTable
{
};

TEST_P(UnknownCommand, HasNoAction)
{
    EXPECT_EQ(action(), nullptr);
}

INSTANTIATE_TEST_SUITE_P(
    Commands, UnknownCommand,
    testing::Values(Command{0, "UNKNOWN", ""}, Command{22, "SMARTNIC_INIT", ""},
                    Command{23, "INIT_FRONTDED", ""}, Command{24, "INIT_FLOP_USB_NIC", ""},
                    Command{32, "BeyondTheTable", ""}, Command{-1, "BeforeTheTable", ""}),
    test::case_name);

} // namespace
} // namespace kex::dbus
