#pragma once

#include <string>

/**
 * The words of the command arguments, a namespace for each group. A text that means something in
 * several groups is a constant of each; some serve no command and belong to the vocabulary.
 */
namespace kex::keyword
{

namespace link_tuning
{
inline const std::string mtu = "mtu";
} // namespace link_tuning

namespace route_destination
{
inline const std::string default_ = "default";
} // namespace route_destination

namespace rule_direction
{
inline const std::string from = "from";
inline const std::string to = "to";
} // namespace rule_direction

namespace bond_mode
{
inline const std::string broadcast = "broadcast";
inline const std::string active_backup = "active-backup";
} // namespace bond_mode

namespace firewall_feature
{
inline const std::string ping = "ping";
inline const std::string dedipv4 = "dedipv4";
inline const std::string mdns = "mdns";
} // namespace firewall_feature

namespace duplex_mode
{
inline const std::string full = "full";
inline const std::string half = "half";
} // namespace duplex_mode

namespace link_speed
{
inline const std::string hundred = "100";
inline const std::string ten = "10";
} // namespace link_speed

namespace addr_gen_mode
{
inline const std::string stable_privacy = "stable-privacy";
inline const std::string eui64 = "eui64";
} // namespace addr_gen_mode

namespace interface_kind
{
inline const std::string vlan = "vlan";
inline const std::string bond = "bond";
inline const std::string macvlan = "macvlan";
} // namespace interface_kind

namespace service_action
{
inline const std::string restart = "restart";
inline const std::string stop = "stop";
inline const std::string start = "start";
} // namespace service_action

namespace service_name
{
inline const std::string vemlod = "vemlod";
inline const std::string wpa_supplicant = "wpa_supplicant";
inline const std::string udhcpd = "udhcpd";
inline const std::string dhcpcd = "dhcpcd";
inline const std::string radvd = "radvd";
inline const std::string llmnrd = "llmnrd";
inline const std::string quorrit = "quorrit";
inline const std::string lldpd_tarn = "lldpd-tarn";
inline const std::string brisked = "brisked";
inline const std::string network = "network";
inline const std::string avahi_daemon = "avahi-daemon";
} // namespace service_name

namespace flush_kind
{
inline const std::string all = "all";
inline const std::string static_ = "static";
} // namespace flush_kind

namespace route_protocol
{
inline const std::string dhcp = "dhcp";
inline const std::string kernel = "kernel";
inline const std::string static_ = "static";
} // namespace route_protocol

namespace ip_version
{
inline const std::string ipv6 = "ipv6";
inline const std::string ipv4 = "ipv4";
} // namespace ip_version

namespace addr_scope
{
inline const std::string all = "all";
inline const std::string link = "link";
inline const std::string global = "global";
} // namespace addr_scope

namespace link_state
{
inline const std::string up = "up";
inline const std::string down = "down";
} // namespace link_state

namespace arping_option
{
inline const std::string source = "s";
inline const std::string interface = "I";
inline const std::string interval = "i";
inline const std::string deadline = "w";
inline const std::string count = "c";
inline const std::string answer = "A";
inline const std::string unsolicited = "U";
inline const std::string duplicate = "D";
inline const std::string broadcast = "b";
inline const std::string quiet = "q";
inline const std::string first = "f";
} // namespace arping_option

namespace rule_word
{
inline const std::string default_ = "default";
inline const std::string main = "main";
inline const std::string local = "local";
inline const std::string lookup = "lookup";
inline const std::string table = "table";
inline const std::string pref = "pref";
inline const std::string all = "all";
inline const std::string oif = "oif";
inline const std::string iif = "iif";
inline const std::string tos = "tos";
inline const std::string to = "to";
inline const std::string from = "from";
inline const std::string not_ = "not";
inline const std::string restore = "restore";
inline const std::string save = "save";
inline const std::string flush = "flush";
inline const std::string del = "del";
inline const std::string add = "add";
} // namespace rule_word

namespace smartnic_operation
{
inline const std::string serdeswrite = "serdeswrite";
inline const std::string serdesread = "serdesread";
inline const std::string configvlan = "configvlan";
inline const std::string write = "write";
inline const std::string read = "read";
} // namespace smartnic_operation

namespace route_mode
{
inline const std::string routerule = "routerule";
inline const std::string routetableflush = "routetableflush";
} // namespace route_mode

namespace toggle
{
inline const std::string init = "init";
inline const std::string enable = "enable";
inline const std::string disable = "disable";
} // namespace toggle

namespace boolean
{
inline const std::string false_ = "false";
inline const std::string true_ = "true";
} // namespace boolean

namespace link_local
{
inline const std::string fixed_address = "fe80::1234";
} // namespace link_local

} // namespace kex::keyword
