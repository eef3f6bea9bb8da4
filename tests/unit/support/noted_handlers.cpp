#include "support/noted_handlers.hpp"

#include "commands/command_handler.hpp"

#include <stdexcept>
#include <utility>

namespace
{

std::vector<std::string> calls;

void note(const std::string& name, const kex::commands::Args& args)
{
    std::string list;
    for (const std::string& arg : args) {
        if (arg == kex::test::thrown) {
            throw std::out_of_range(arg);
        }
        list += (list.empty() ? "" : ",") + arg;
    }
    calls.push_back(name + "(" + list + ")");
}

} // namespace

namespace kex::test
{

std::vector<std::string> handler_calls()
{
    return std::exchange(calls, {});
}

} // namespace kex::test

namespace kex::commands
{

#define NOTED_HANDLER(name)                                                                        \
    void CommandHandler::name(const Args& args)                                                    \
    {                                                                                              \
        note(#name, args);                                                                         \
    }

NOTED_HANDLER(add_network_interface)
NOTED_HANDLER(addr_flush)
NOTED_HANDLER(conjoin_in_an_inclusive_fashion)
NOTED_HANDLER(delete_network_interface)
NOTED_HANDLER(dhcp_release)
NOTED_HANDLER(firewall_control)
NOTED_HANDLER(journal_ctrl)
NOTED_HANDLER(link_control)
NOTED_HANDLER(rename_network_interface)
NOTED_HANDLER(send_network_pkt)
NOTED_HANDLER(server_autoconfig)
NOTED_HANDLER(service_control)
NOTED_HANDLER(set_domain_name)
NOTED_HANDLER(set_host_name)
NOTED_HANDLER(set_ip6_hop_limit)
NOTED_HANDLER(set_ip6_neighbor_cache)
NOTED_HANDLER(set_ipv6_settings)
NOTED_HANDLER(set_link_tuning)
NOTED_HANDLER(set_mac_address)
NOTED_HANDLER(set_stable_privacy)
NOTED_HANDLER(set_static_address)
NOTED_HANDLER(set_static_route)
NOTED_HANDLER(set_vlan_priority)
NOTED_HANDLER(update_hosts_file)
NOTED_HANDLER(usbnic_control)

int32_t CommandHandler::send_arping(const Args& args)
{
    note("send_arping", args);
    return test::arping_result;
}

} // namespace kex::commands
