#include "dbus/keyword_sets.hpp"

#include "dbus/constants.hpp"
#include "dbus/keywords.hpp"

namespace kex
{

using namespace keyword;

// No command consults rule_directions, rule_keywords, smartnic_operations or helper_programs: they
// belong to commands that have no handler here. Intended.
const KeywordSet bool_values{boolean::false_, boolean::true_};
const KeywordSet usbnic_actions{toggle::init, toggle::enable, toggle::disable};
const KeywordSet static_route_modes{toggle::enable, toggle::disable, route_mode::routerule};
const KeywordSet link_states{link_state::down, link_state::up};
const KeywordSet addr_scopes{addr_scope::global, addr_scope::link, addr_scope::all};
const KeywordSet ip_versions{ip_version::ipv4, ip_version::ipv6};
const KeywordSet route_protocols{route_protocol::static_, route_protocol::kernel,
                                 route_protocol::dhcp};
const KeywordSet flush_kinds{flush_kind::static_, flush_kind::all};
const KeywordSet service_actions{service_action::start, service_action::stop,
                                 service_action::restart};
const KeywordSet service_names{
    constant::networkd_service_name,
    service_name::avahi_daemon,
    service_name::network,
    service_name::brisked,
    service_name::lldpd_tarn,
    service_name::quorrit,
    service_name::llmnrd,
    service_name::radvd,
    service_name::dhcpcd,
    service_name::udhcpd,
    constant::felmbrowse_service_name,
    service_name::wpa_supplicant,
    service_name::vemlod,
};
const KeywordSet interface_kinds{interface_kind::macvlan, interface_kind::bond,
                                 interface_kind::vlan};
const KeywordSet addr_gen_modes{toggle::disable, addr_gen_mode::eui64,
                                addr_gen_mode::stable_privacy};
const KeywordSet enable_values{toggle::disable, toggle::enable};
const KeywordSet link_speeds{link_speed::ten, link_speed::hundred};
const KeywordSet duplex_modes{duplex_mode::half, duplex_mode::full};
const KeywordSet firewall_features{firewall_feature::mdns, firewall_feature::dedipv4,
                                   firewall_feature::ping};
const KeywordSet bond_modes{bond_mode::active_backup, bond_mode::broadcast};
const KeywordSet rule_directions{rule_direction::to, rule_direction::from};
const KeywordSet rule_keywords{
    rule_word::add,   rule_word::del,  rule_word::flush,    rule_word::save,  rule_word::restore,
    rule_word::not_,  rule_word::from, rule_word::to,       rule_word::tos,   rule_word::iif,
    rule_word::oif,   rule_word::all,  rule_word::pref,     rule_word::table, rule_word::lookup,
    rule_word::local, rule_word::main, rule_word::default_,
};
const KeywordSet arping_options{
    arping_option::first,     arping_option::quiet,       arping_option::broadcast,
    arping_option::duplicate, arping_option::unsolicited, arping_option::answer,
    arping_option::count,     arping_option::deadline,    arping_option::interval,
    arping_option::interface, arping_option::source,
};
const KeywordSet smartnic_operations{smartnic_operation::read, smartnic_operation::write,
                                     smartnic_operation::configvlan, smartnic_operation::serdesread,
                                     smartnic_operation::serdeswrite};
const KeywordSet helper_programs{"/tools/devmem", "/usr/sbin/switch_ntwk"};

bool is_keyword(const KeywordSet& set, const std::string& word)
{
    return set.contains(word);
}

} // namespace kex
