#include "commands/command_handler.hpp"
#include "commands/link/exec.hpp"
#include "commands/log.hpp"
#include "commands/validators/validators.hpp"
#include "core/number.hpp"
#include "dbus/constants.hpp"
#include "dbus/keyword_sets.hpp"
#include "dbus/keywords.hpp"
#include "netlink/link.hpp"
#include "netlink/link_creation.hpp"

namespace kex::commands
{
namespace
{

using namespace keyword;

constexpr uint32_t priority_count = 8; // 802.1p priorities, and the socket priorities mapped

void set_mtu(const Args& args)
{
    if (args.size() < 3) {
        LOG_ERROR_AS("set_link_tuning", 1931, "invalid parm list\n");
        return;
    }
    const auto mtu = static_cast<uint32_t>(leading_number(args[2]));
    const int rc = netlink::set_link_mtu(netlink::netlink_command_socket(), args[0], mtu);
    if (rc != 0) {
        LOG_ERROR_AS("set_link_tuning", 1937, "failed to set link tuning mtu rc=%d\n", rc);
    }
}

bool is_valid_forced_mode(const Args& args)
{
    return args.size() >= 4 && is_keyword(link_speeds, args[2]) &&
           is_keyword(duplex_modes, args[3]);
}

} // namespace

void CommandHandler::link_control(const Args& args)
{
    LOG_INFO_AT(686, "\n"); // marks the entry
    if (args.size() != 2 || !is_keyword(link_states, args[0]) || is_invalid_ifname(args[1])) {
        LOG_ERROR_AT(691, "invalid parm list\n");
        return;
    }
    const int rc = netlink::set_link_state(netlink::netlink_command_socket(), args[1],
                                           args[0] == link_state::up);
    LOG_INFO_AT(697, "set %s %s rc=%d\n", args[1].c_str(), args[0].c_str(), rc);
}

void CommandHandler::set_mac_address(const Args& args)
{
    if (args.size() < 2 || is_invalid_ifname(args[0]) || is_invalid_mac(args[1])) {
        LOG_ERROR_AT(1268, "invalid parm list\n");
        return;
    }
    const std::string& link = args[0];
    const std::string& mac = args[1];
    LOG_INFO_AT(1272, "setting %s: %s\n", link.c_str(), mac.c_str());
    // The link stays down, whatever comes of the address: bringing it up is the caller's business.
    link_control({link_state::down, link});
    const int rc = netlink::set_link_address(netlink::netlink_command_socket(), link, mac);
    if (rc != 0) {
        LOG_ERROR_AT(1279, "failed to set %s %s rc=%d\n", link.c_str(), mac.c_str(), rc);
    }
}

void CommandHandler::set_link_tuning(const Args& args)
{
    if (args.size() < 2 || is_invalid_text(args[0])) {
        LOG_ERROR_AT(1919, "invalid parm list\n");
        return;
    }
    if (!is_keyword(enable_values, args[1]) && args[1] != link_tuning::mtu) {
        LOG_ERROR_AT(1924, "invalid parm list\n");
        return;
    }
    if (args[1] == link_tuning::mtu) {
        set_mtu(args);
        return;
    }
    const bool autonegotiate = args[1] == toggle::enable;
    if (!autonegotiate && !is_valid_forced_mode(args)) {
        LOG_ERROR_AT(1946, "invalid parm list\n");
        return;
    }
    const int rc =
        autonegotiate
            ? exec_cmd({constant::ethtool_program, "-s", args[0].c_str(), "autoneg", "on"})
            : exec_cmd({constant::ethtool_program, "-s", args[0].c_str(), "autoneg", "off", "speed",
                        args[2].c_str(), "duplex", args[3].c_str()});
    if (rc != 0) {
        LOG_ERROR_AT(1961, "failed to set link tuning rc=%d\n", rc);
    }
}

void CommandHandler::set_vlan_priority(const Args& args)
{
    if (args.size() < 2 || is_invalid_text(args[0])) {
        LOG_ERROR_AT(1977, "invalid parm list\n");
        return;
    }
    const auto priority = static_cast<uint32_t>(leading_number(args[1]));
    if (priority >= priority_count) {
        LOG_ERROR_AT(1983, "invalid parm list\n");
        return;
    }
    std::vector<netlink::VlanQosMapping> mappings;
    for (uint32_t from = 0; from < priority_count; ++from) {
        mappings.push_back({from, priority});
    }
    const int rc =
        netlink::set_vlan_egress_qos(netlink::netlink_command_socket(), args[0], mappings);
    if (rc != 0) {
        LOG_ERROR_AT(1993, "failed to set vlan priority rc=%d\n", rc);
    }
}

} // namespace kex::commands
