#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kex::commands
{

/** The arguments of one command, counted from 0; surplus ones are ignored unless said otherwise. */
using Args = std::vector<std::string>;

/**
 * A handler for each command. A handler checks its arguments, logs one line and changes nothing
 * when it refuses them, and otherwise logs what came of its steps; no step is ever undone. What
 * the arguments mean is in docs/commands.md.
 */
class CommandHandler
{
  public:
    // Settings of links.
    void link_control(const Args& args);
    void set_mac_address(const Args& args);
    void set_link_tuning(const Args& args);
    void set_vlan_priority(const Args& args);

    void usbnic_control(const Args& args);

    // Interfaces as such.
    void add_network_interface(const Args& args);
    void rename_network_interface(const Args& args);
    void delete_network_interface(const Args& args);
    void conjoin_in_an_inclusive_fashion(const Args& args);

    // IPv6 settings of the kernel.
    void set_ipv6_settings(const Args& args);
    void set_stable_privacy(const Args& args);
    void set_ip6_hop_limit(const Args& args);

    // Addresses, routes, rules, neighbours and frames.
    void set_static_address(const Args& args);
    void addr_flush(const Args& args);
    void set_static_route(const Args& args);
    void set_ip6_neighbor_cache(const Args& args);
    void send_network_pkt(const Args& args);

    // Host identity, systemd units, scripts and tools.
    void set_host_name(const Args& args);
    void set_domain_name(const Args& args);
    void update_hosts_file(const Args& args);
    void service_control(const Args& args);
    void server_autoconfig(const Args& args);
    void firewall_control(const Args& args);
    void dhcp_release(const Args& args);

    /** @return arping's raw wait status, -1 for a wrong argument count, -2 for a refused argument
     */
    int32_t send_arping(const Args& args);

    /** @throws std::invalid_argument or std::out_of_range for a number that does not convert */
    void journal_ctrl(const Args& args);

  private:
    // The kinds of add_network_interface, called with its whole list.
    void add_vlan_interface(const Args& args);
    void add_macvlan_interface(const Args& args);
    void add_bond_interface(const Args& args);
    void add_bond(const Args& args, const std::vector<std::string>& lowers);
};

} // namespace kex::commands
