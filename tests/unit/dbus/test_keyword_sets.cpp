#include "dbus/keyword_sets.hpp"

#include "support/case_name.hpp"

#include <gtest/gtest.h>

#include <set>

namespace kex
{
namespace
{

using Words = std::set<std::string>;

struct Whitelist {
    const char* name;
    const KeywordSet& set;
    Words members;
};

void PrintTo(const Whitelist& whitelist, std::ostream* out)
{
    *out << whitelist.name;
}

class KeywordSets : public testing::TestWithParam<Whitelist>
{
};

TEST_P(KeywordSets, HasItsMembersAlone)
{
    EXPECT_EQ(Words(GetParam().set.begin(), GetParam().set.end()), GetParam().members);
}

TEST_P(KeywordSets, AcceptsItsMembers)
{
    Words accepted;
    for (const std::string& word : GetParam().members) {
        if (is_keyword(GetParam().set, word)) {
            accepted.insert(word);
        }
    }
    EXPECT_EQ(accepted, GetParam().members);
}

TEST_P(KeywordSets, AcceptsNothingLikeAMember)
{
    Words accepted;
    for (const std::string& word : GetParam().members) {
        std::string capital = word;
        capital[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(capital[0])));
        for (const std::string& other :
             {capital, word + " ", " " + word, word + word, word + '\0', word.substr(1)}) {
            if (!GetParam().members.contains(other) && is_keyword(GetParam().set, other)) {
                accepted.insert(other);
            }
        }
    }
    EXPECT_EQ(accepted, Words{});
}

TEST_P(KeywordSets, DoesNotHaveTheEmptyText)
{
    EXPECT_FALSE(is_keyword(GetParam().set, ""));
}

INSTANTIATE_TEST_SUITE_P(
    Sets, KeywordSets,
    testing::Values(
        Whitelist{"bool_values", bool_values, {"false", "true"}},
        Whitelist{"usbnic_actions", usbnic_actions, {"init", "enable", "disable"}},
        Whitelist{"static_route_modes", static_route_modes, {"enable", "disable", "routerule"}},
        Whitelist{"link_states", link_states, {"down", "up"}},
        Whitelist{"addr_scopes", addr_scopes, {"global", "link", "all"}},
        Whitelist{"ip_versions", ip_versions, {"ipv4", "ipv6"}},
        Whitelist{"route_protocols", route_protocols, {"static", "kernel", "dhcp"}},
        Whitelist{"flush_kinds", flush_kinds, {"static", "all"}},
        Whitelist{"service_actions", service_actions, {"start", "stop", "restart"}},
        Whitelist{"service_names",
                  service_names,
                  {"systemd-networkd", "avahi-daemon", "network", "brisked", "lldpd-tarn",
                   "quorrit", "llmnrd", "radvd", "dhcpcd", "udhcpd", "felmbrowse", "wpa_supplicant",
                   "vemlod"}},
        Whitelist{"interface_kinds", interface_kinds, {"macvlan", "bond", "vlan"}},
        Whitelist{"addr_gen_modes", addr_gen_modes, {"disable", "eui64", "stable-privacy"}},
        Whitelist{"enable_values", enable_values, {"disable", "enable"}},
        Whitelist{"link_speeds", link_speeds, {"10", "100"}},
        Whitelist{"duplex_modes", duplex_modes, {"half", "full"}},
        Whitelist{"firewall_features", firewall_features, {"mdns", "dedipv4", "ping"}},
        Whitelist{"bond_modes", bond_modes, {"active-backup", "broadcast"}},
        Whitelist{"rule_directions", rule_directions, {"to", "from"}},
        Whitelist{"rule_keywords",
                  rule_keywords,
                  {"add", "del", "flush", "save", "restore", "not", "from", "to", "tos", "iif",
                   "oif", "all", "pref", "table", "lookup", "local", "main", "default"}},
        Whitelist{"arping_options",
                  arping_options,
                  {"f", "q", "b", "D", "U", "A", "c", "w", "i", "I", "s"}},
        Whitelist{"smartnic_operations",
                  smartnic_operations,
                  {"read", "write", "configvlan", "serdesread", "serdeswrite"}},
        Whitelist{"helper_programs", helper_programs, {"/tools/devmem", "/usr/sbin/switch_ntwk"}}),
    test::case_name);

} // namespace
} // namespace kex
