#pragma once

#include <string>

/**
 * The words of the command arguments, a namespace for each group; their texts are in
 * keyword_sets.cpp. A text that means something in
 * several groups is a constant of each; some serve no command and belong to the vocabulary.
 */
namespace kex::keyword
{

namespace link_tuning
{
extern const std::string mtu;
} // namespace link_tuning

namespace route_destination
{
extern const std::string default_;
} // namespace route_destination

namespace rule_direction
{
extern const std::string from;
extern const std::string to;
} // namespace rule_direction

namespace bond_mode
{
extern const std::string broadcast;
extern const std::string active_backup;
} // namespace bond_mode

namespace firewall_feature
{
extern const std::string ping;
extern const std::string dedipv4;
extern const std::string mdns;
} // namespace firewall_feature

namespace duplex_mode
{
extern const std::string full;
extern const std::string half;
} // namespace duplex_mode

namespace link_speed
{
extern const std::string hundred;
extern const std::string ten;
} // namespace link_speed

namespace addr_gen_mode
{
extern const std::string stable_privacy;
extern const std::string eui64;
} // namespace addr_gen_mode

namespace interface_kind
{
extern const std::string vlan;
extern const std::string bond;
extern const std::string macvlan;
} // namespace interface_kind

namespace service_action
{
extern const std::string restart;
extern const std::string stop;
extern const std::string start;
} // namespace service_action

namespace service_name
{
extern const std::string vemlod;
extern const std::string wpa_supplicant;
extern const std::string udhcpd;
extern const std::string dhcpcd;
extern const std::string radvd;
extern const std::string llmnrd;
extern const std::string quorrit;
extern const std::string lldpd_tarn;
extern const std::string brisked;
extern const std::string network;
extern const std::string avahi_daemon;
} // namespace service_name

namespace flush_kind
{
extern const std::string all;
extern const std::string static_;
} // namespace flush_kind

namespace route_protocol
{
extern const std::string dhcp;
extern const std::string kernel;
extern const std::string static_;
} // namespace route_protocol

namespace ip_version
{
extern const std::string ipv6;
extern const std::string ipv4;
} // namespace ip_version

namespace addr_scope
{
extern const std::string all;
extern const std::string link;
extern const std::string global;
} // namespace addr_scope

namespace link_state
{
extern const std::string up;
extern const std::string down;
} // namespace link_state

namespace arping_option
{
extern const std::string source;
extern const std::string interface;
extern const std::string interval;
extern const std::string deadline;
extern const std::string count;
extern const std::string answer;
extern const std::string unsolicited;
extern const std::string duplicate;
extern const std::string broadcast;
extern const std::string quiet;
extern const std::string first;
} // namespace arping_option

namespace rule_word
{
extern const std::string default_;
extern const std::string main;
extern const std::string local;
extern const std::string lookup;
extern const std::string table;
extern const std::string pref;
extern const std::string all;
extern const std::string oif;
extern const std::string iif;
extern const std::string tos;
extern const std::string to;
extern const std::string from;
extern const std::string not_;
extern const std::string restore;
extern const std::string save;
extern const std::string flush;
extern const std::string del;
extern const std::string add;
} // namespace rule_word

namespace smartnic_operation
{
extern const std::string serdeswrite;
extern const std::string serdesread;
extern const std::string configvlan;
extern const std::string write;
extern const std::string read;
} // namespace smartnic_operation

namespace route_mode
{
extern const std::string routerule;
extern const std::string routetableflush;
} // namespace route_mode

namespace toggle
{
extern const std::string init;
extern const std::string enable;
extern const std::string disable;
} // namespace toggle

namespace boolean
{
extern const std::string false_;
extern const std::string true_;
} // namespace boolean

namespace link_local
{
extern const std::string fixed_address;
} // namespace link_local

} // namespace kex::keyword
