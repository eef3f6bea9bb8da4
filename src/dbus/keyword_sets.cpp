#include "dbus/keyword_sets.hpp"

#include "dbus/constants.hpp"
#include "dbus/keywords.hpp"

// The words stand in the file of the sets that are made of them: across files the order of
// initialisation would be open.
namespace kex::keyword
{

namespace link_tuning
{
const std::string mtu = "mtu";
} // namespace link_tuning

namespace route_destination
{
const std::string default_ = "default";
} // namespace route_destination

namespace rule_direction
{
const std::string from = "from";
const std::string to = "to";
} // namespace rule_direction

namespace bond_mode
{
const std::string broadcast = "broadcast";
const std::string active_backup = "active-backup";
} // namespace bond_mode

namespace firewall_feature
{
const std::string ping = "ping";
const std::string dedipv4 = "dedipv4";
const std::string mdns = "mdns";
} // namespace firewall_feature

namespace duplex_mode
{
const std::string full = "full";
const std::string half = "half";
} // namespace duplex_mode

namespace link_speed
{
const std::string hundred = "100";
const std::string ten = "10";
} // namespace link_speed

namespace addr_gen_mode
{
const std::string stable_privacy = "stable-privacy";
const std::string eui64 = "eui64";
} // namespace addr_gen_mode

namespace interface_kind
{
const std::string vlan = "vlan";
const std::string bond = "bond";
const std::string macvlan = "macvlan";
} // namespace interface_kind

namespace service_action
{
const std::string restart = "restart";
const std::string stop = "stop";
const std::string start = "start";
} // namespace service_action

namespace service_name
{
const std::string vemlod = "vemlod";
const std::string wpa_supplicant = "wpa_supplicant";
const std::string udhcpd = "udhcpd";
const std::string dhcpcd = "dhcpcd";
const std::string radvd = "radvd";
const std::string llmnrd = "llmnrd";
const std::string quorrit = "quorrit";
const std::string lldpd_tarn = "lldpd-tarn";
const std::string brisked = "brisked";
const std::string network = "network";
const std::string avahi_daemon = "avahi-daemon";
} // namespace service_name

namespace flush_kind
{
const std::string all = "all";
const std::string static_ = "static";
} // namespace flush_kind

namespace route_protocol
{
const std::string dhcp = "dhcp";
const std::string kernel = "kernel";
const std::string static_ = "static";
} // namespace route_protocol

namespace ip_version
{
const std::string ipv6 = "ipv6";
const std::string ipv4 = "ipv4";
} // namespace ip_version

namespace addr_scope
{
const std::string all = "all";
const std::string link = "link";
const std::string global = "global";
} // namespace addr_scope

namespace link_state
{
const std::string up = "up";
const std::string down = "down";
} // namespace link_state

namespace arping_option
{
const std::string source = "s";
const std::string interface = "I";
const std::string interval = "i";
const std::string deadline = "w";
const std::string count = "c";
const std::string answer = "A";
const std::string unsolicited = "U";
const std::string duplicate = "D";
const std::string broadcast = "b";
const std::string quiet = "q";
const std::string first = "f";
} // namespace arping_option

namespace rule_word
{
const std::string default_ = "default";
const std::string main = "main";
const std::string local = "local";
const std::string lookup = "lookup";
const std::string table = "table";
const std::string pref = "pref";
const std::string all = "all";
const std::string oif = "oif";
const std::string iif = "iif";
const std::string tos = "tos";
const std::string to = "to";
const std::string from = "from";
const std::string not_ = "not";
const std::string restore = "restore";
const std::string save = "save";
const std::string flush = "flush";
const std::string del = "del";
const std::string add = "add";
} // namespace rule_word

namespace smartnic_operation
{
const std::string serdeswrite = "serdeswrite";
const std::string serdesread = "serdesread";
const std::string configvlan = "configvlan";
const std::string write = "write";
const std::string read = "read";
} // namespace smartnic_operation

namespace route_mode
{
const std::string routerule = "routerule";
const std::string routetableflush = "routetableflush";
} // namespace route_mode

namespace toggle
{
const std::string init = "init";
const std::string enable = "enable";
const std::string disable = "disable";
} // namespace toggle

namespace boolean
{
const std::string false_ = "false";
const std::string true_ = "true";
} // namespace boolean

namespace link_local
{
const std::string fixed_address = "fe80::1234";
} // namespace link_local

} // namespace kex::keyword

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
