#include "commands/command_handler.hpp"
#include "commands/link/sysfs.hpp"
#include "commands/log.hpp"
#include "commands/system/ipv6_settings.hpp"
#include "commands/validators/validators.hpp"
#include "core/number.hpp"
#include "dbus/keyword_sets.hpp"
#include "dbus/keywords.hpp"
#include "netlink/link.hpp"
#include "netlink/link_creation.hpp"

#include <algorithm>
#include <array>

namespace kex::commands
{
namespace
{

using namespace keyword;

// The steps of a kind log under the handler's name.
constexpr const char* add_interface = "add_network_interface";

constexpr size_t common_args = 5;
constexpr size_t bond_args = 8;

void refuse(int line)
{
    LOG_ERROR_AS(add_interface, line, "invalid parm list\n");
}

/** Gives a new link time to appear in sysfs and sets its IPv6, also when it was not created. */
void configure_new_link(const Args& args)
{
    wait_for_iface_ready(args[1], 1, nullptr);
    configure_ipv6(args[1], args[2] != toggle::disable, args[3] != toggle::disable, args[2]);
}

void add_vlan(const std::string& name, const std::string& lower, const std::string& id_text)
{
    const auto id = static_cast<unsigned>(leading_number(id_text));
    const int rc = netlink::create_vlan(netlink::netlink_command_socket(), name, lower, id);
    LOG_INFO_AT(952, "vlan %s lower %s id %s rc=%d\n", name.c_str(), lower.c_str(), id_text.c_str(),
                rc);
}

void add_macvlan(const std::string& name, const std::string& lower, const std::string& mac)
{
    const int rc = netlink::create_macvlan(netlink::netlink_command_socket(), name, lower, mac);
    LOG_INFO_AT(892, "mcvlan %s lower %s mode %s rc=%d\n", name.c_str(), lower.c_str(),
                mac.empty() ? "passthru" : "private", rc);
}

/**
 * The further lowers of a bond, whose count is at position 7. The count is read by strtoul: a text
 * without digits is 0, a negative one is huge.
 * @return false when the count does not fit the list or a name is refused
 */
bool read_further_lowers(const Args& args, std::vector<std::string>& lowers)
{
    const unsigned long count = leading_number(args[7]);
    if (count > args.size() - bond_args) { // count + 8 could wrap around
        refuse(1204);
        return false;
    }
    for (size_t i = bond_args; i < bond_args + count; ++i) {
        if (is_invalid_ifname(args[i])) {
            refuse(1211);
            return false;
        }
        lowers.push_back(args[i]);
    }
    return true;
}

void write_active_backup_options(const std::string& bond, const std::string& primary)
{
    const std::array<std::pair<const char*, std::string>, 4> options{{
        {"miimon", "1000"},    // ms between looks at a lower's carrier
        {"downdelay", "5000"}, // ms before a failed lower is given up
        {"primary", primary},
        {"all_slaves_active", "1"},
    }};
    for (const auto& [option, value] : options) {
        set_bonding_config(bond, option, value);
    }
}

} // namespace

void CommandHandler::add_vlan_interface(const Args& args)
{
    if (args.size() < 6 || is_invalid_ifname(args[4]) || leading_number(args[5]) == 0) {
        refuse(1179);
        return;
    }
    add_vlan(args[1], args[4], args[5]);
    configure_new_link(args);
}

void CommandHandler::add_macvlan_interface(const Args& args)
{
    if (is_invalid_ifname(args[4])) {
        refuse(1159);
        return;
    }
    const bool with_mac = args.size() == 6; // with surplus arguments no MAC address is taken
    if (with_mac && is_invalid_mac(args[5])) {
        refuse(1166);
        return;
    }
    add_macvlan(args[1], args[4], with_mac ? args[5] : std::string());
    configure_new_link(args);
}

void CommandHandler::add_bond_interface(const Args& args)
{
    if (args.size() < bond_args || !is_keyword(bond_modes, args[4]) || is_invalid_ifname(args[5]) ||
        (!args[6].empty() && is_invalid_mac(args[6]))) {
        refuse(1196);
        return;
    }
    std::vector<std::string> lowers{args[5]};
    if (!read_further_lowers(args, lowers)) {
        return;
    }
    LOG_INFO_AS(add_interface, 1218, "adding bond interface %s\n", args[1].c_str());
    for (const std::string& lower : lowers) {
        LOG_INFO_AS(add_interface, 1220, "lower interface %s\n", lower.c_str());
    }
    add_bond(args, lowers);
}

void CommandHandler::add_bond(const Args& args, const std::vector<std::string>& lowers)
{
    netlink::NetlinkCommandSocket& sock = netlink::netlink_command_socket();
    const std::string& name = args[1];
    const std::string& mode = args[4];
    const int created = netlink::create_bond(sock, name, args[6], mode);
    LOG_INFO_AT(905, "bond %s create rc=%d\n", name.c_str(), created);
    if (created == 0) {
        configure_new_link(args);
        link_control({link_state::up, name});
    }
    // A bond that exists already gets its lowers too, and one that fails does not stop the rest.
    for (const std::string& lower : lowers) {
        link_control({link_state::down, lower});
        const int rc = netlink::set_link_boss(sock, lower, name);
        LOG_INFO_AT(918, "bond %s enjoin %s rc=%d\n", name.c_str(), lower.c_str(), rc);
    }
    if (mode == bond_mode::active_backup) {
        write_active_backup_options(name, lowers.front());
    }
}

void CommandHandler::add_network_interface(const Args& args)
{
    struct Kind {
        std::string name;
        void (CommandHandler::*add)(const Args&);
    };
    static const std::array<Kind, 3> kinds{{
        {interface_kind::vlan, &CommandHandler::add_vlan_interface},
        {interface_kind::macvlan, &CommandHandler::add_macvlan_interface},
        {interface_kind::bond, &CommandHandler::add_bond_interface},
    }};
    if (args.size() < common_args || !is_keyword(interface_kinds, args[0]) ||
        is_invalid_ifname(args[1]) || !is_keyword(addr_gen_modes, args[2]) ||
        !is_keyword(enable_values, args[3])) {
        refuse(1147);
        return;
    }
    const auto* kind = std::ranges::find(kinds, args[0], &Kind::name);
    if (kind == kinds.end()) {
        refuse(1224); // a kind of the keyword set that has no row
        return;
    }
    (this->*kind->add)(args);
}

} // namespace kex::commands
