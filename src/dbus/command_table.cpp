#include "dbus/command_table.hpp"

#include <algorithm>
#include <array>
#include <type_traits>

namespace kex::dbus
{
namespace
{

using commands::Args;
using commands::CommandHandler;

struct Row {
    CmdID command;
    CommandAction action;
};

/** The handler as an action: one that returns nothing answers 0. */
template <auto handler>
int32_t run(CommandHandler& commands, const Args& args)
{
    if constexpr (std::is_void_v<decltype((commands.*handler)(args))>) {
        (commands.*handler)(args);
        return 0;
    } else {
        return (commands.*handler)(args);
    }
}

/** Accepted and without effect. */
int32_t nothing(CommandHandler&, const Args&)
{
    return 0;
}

/** Part of the interface, without a handler in this system. */
constexpr CommandAction unknown = nullptr;

// clang-format off
constexpr std::array<Row, 32> command_table{{
    {CmdID::UNKNOWN,                         unknown},
    {CmdID::AUTOCONF,                        run<&CommandHandler::server_autoconfig>},
    {CmdID::USBNIC,                          run<&CommandHandler::usbnic_control>},
    {CmdID::SYSTEMD_SERVICE_CTRL,            run<&CommandHandler::service_control>},
    {CmdID::FIREWALL_CTRL,                   run<&CommandHandler::firewall_control>},
    {CmdID::CONJOIN_IN_AN_INCLUSIVE_FASHION, run<&CommandHandler::conjoin_in_an_inclusive_fashion>},
    {CmdID::LINK_CTRL,                       run<&CommandHandler::link_control>},
    {CmdID::SET_HOSTNAME,                    run<&CommandHandler::set_host_name>},
    {CmdID::SET_DOMAINNAME,                  run<&CommandHandler::set_domain_name>},
    {CmdID::SENDARPING,                      run<&CommandHandler::send_arping>},
    {CmdID::VLANPRI_SET,                     run<&CommandHandler::set_vlan_priority>},
    {CmdID::SEND_NTW_PKT,                    run<&CommandHandler::send_network_pkt>},
    {CmdID::UPDATE_HOSTS_FILE,               run<&CommandHandler::update_hosts_file>},
    {CmdID::IP4_DAD_START,                   nothing},
    {CmdID::SET_IP6_STABLE_PRIVACY,          run<&CommandHandler::set_stable_privacy>},
    {CmdID::ADD_NETWORK_INTERFACE,           run<&CommandHandler::add_network_interface>},
    {CmdID::RENAME_NETWORK_INTERFACE,        run<&CommandHandler::rename_network_interface>},
    {CmdID::DELETE_NETWORK_INTERFACE,        run<&CommandHandler::delete_network_interface>},
    {CmdID::SET_MAC_ADDRESS,                 run<&CommandHandler::set_mac_address>},
    {CmdID::SET_IPV6_SETTINGS,               run<&CommandHandler::set_ipv6_settings>},
    {CmdID::INTERFACE_ADDR_FLUSH,            run<&CommandHandler::addr_flush>},
    {CmdID::DHCP_RELEASE,                    run<&CommandHandler::dhcp_release>},
    {CmdID::SMARTNIC_INIT,                   unknown},
    {CmdID::INIT_FRONTDED,                   unknown},
    {CmdID::INIT_FLOP_USB_NIC,               unknown},
    {CmdID::LINK_TUNE,                       run<&CommandHandler::set_link_tuning>},
    {CmdID::SET_STATIC_ADDRESS,              run<&CommandHandler::set_static_address>},
    {CmdID::SET_STATIC_ROUTE,                run<&CommandHandler::set_static_route>},
    {CmdID::SET_IP6_HOP_LIMIT,               run<&CommandHandler::set_ip6_hop_limit>},
    {CmdID::SET_IP6_NEIGHBOR_CACHE,          run<&CommandHandler::set_ip6_neighbor_cache>},
    {CmdID::TERMINATE,                       nothing},
    {CmdID::JOURNAL_CTRL,                    run<&CommandHandler::journal_ctrl>},
}};
// clang-format on

} // namespace

CommandAction find_action(CmdID cmd)
{
    const auto* row = std::ranges::find(command_table, cmd, &Row::command);
    return row == command_table.end() ? unknown : row->action;
}

} // namespace kex::dbus
