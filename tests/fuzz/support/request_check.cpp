#include "support/request_check.hpp"

#include "support/require.hpp"
#include "support/wire.hpp"

#include <linux/fib_rules.h>
#include <linux/if_addr.h>
#include <linux/if_link.h>
#include <linux/neighbour.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>

namespace kex::fuzz
{
namespace
{

/** Attributes with an address of the message's family, texts, and nests. */
constexpr size_t by_family = 1000;
constexpr size_t text = 1001;
constexpr size_t link_info = 1002;

struct AttributeRule {
    uint16_t type;
    size_t length; /**< of the payload, or one of the above */
};
using AttributeRules = std::vector<AttributeRule>;

struct RequestRule {
    uint16_t type;
    std::vector<uint16_t> flags;
    size_t family_header;
    AttributeRules attributes;
    bool dumped = false; /**< a dumped entry that was made a request */
};

const AttributeRules link_attributes{{IFLA_IFNAME, text}, {IFLA_ADDRESS, 6},
                                     {IFLA_MTU, 4},       {IFLA_LINK, 4},
                                     {IFLA_MASTER, 4},    {IFLA_LINKINFO, link_info}};
const AttributeRules rule_attributes{{FRA_SRC, by_family}, {FRA_DST, by_family}, {FRA_TABLE, 4}};

const std::vector<RequestRule> request_rules{
    {RTM_NEWLINK, {0x605}, 16, link_attributes},
    {RTM_DELLINK, {0x005}, 16, {}},
    {RTM_SETLINK, {0x005}, 16, link_attributes},
    {RTM_NEWADDR,
     {0x505},
     8,
     {{IFA_LOCAL, by_family}, {IFA_ADDRESS, by_family}, {IFA_BROADCAST, 4}, {IFA_CACHEINFO, 16}}},
    {RTM_DELADDR, {0x005}, 8, {{IFA_ADDRESS, by_family}}},
    {RTM_GETADDR, {0x301}, 8, {}},
    {RTM_NEWROUTE,
     {0x505, 0xC05},
     12,
     {{RTA_DST, by_family}, {RTA_GATEWAY, by_family}, {RTA_OIF, 4}, {RTA_TABLE, 4}}},
    {RTM_DELROUTE, {0x005}, 12, {}, true},
    {RTM_GETROUTE, {0x301}, 12, {}},
    {RTM_NEWNEIGH, {0x505}, 12, {{NDA_DST, 16}, {NDA_LLADDR, 6}}},
    {RTM_DELNEIGH, {0x005}, 12, {}, true},
    {RTM_GETNEIGH, {0x301}, 12, {}},
    {RTM_NEWRULE, {0x605}, 12, rule_attributes},
    {RTM_DELRULE, {0x005}, 12, rule_attributes},
};

/** The attributes that fill the bytes from begin on to their end, with zeros as padding. */
std::vector<Attribute> all_attributes(const std::string& bytes, size_t begin)
{
    const auto all = attributes(bytes, begin);
    size_t at = begin;
    for (const Attribute& attribute : all) {
        const size_t end = at + 4 + attribute.payload.size();
        at = aligned(end);
        REQUIRE(at <= bytes.size());
        REQUIRE(bytes.find_first_not_of('\0', end) >= at);
    }
    REQUIRE(at == bytes.size());
    return all;
}

bool is_text(const std::string& payload)
{
    return payload.size() >= 2 && payload.find('\0') == payload.size() - 1;
}

void check_link_data(const std::string& kind, const std::string& payload)
{
    for (const Attribute& attribute : all_attributes(payload, 0)) {
        const size_t length = attribute.payload.size();
        if (kind == std::string("bond", 5)) {
            REQUIRE(attribute.type == IFLA_BOND_MODE && length == 1 && attribute.payload[0] <= 6);
        } else if (kind == std::string("macvlan", 8)) {
            REQUIRE(attribute.type == IFLA_MACVLAN_MODE
                        ? length == 4
                        : attribute.type == IFLA_MACVLAN_FLAGS && length == 2);
        } else {
            REQUIRE(kind == std::string("vlan", 5));
            REQUIRE(attribute.type == IFLA_VLAN_EGRESS_QOS ||
                    (attribute.type == IFLA_VLAN_ID && length == 2));
        }
        if (attribute.type == IFLA_VLAN_EGRESS_QOS) {
            const auto mappings = all_attributes(attribute.payload, 0);
            REQUIRE(mappings.size() == 8);
            for (const Attribute& mapping : mappings) {
                REQUIRE(mapping.type == IFLA_VLAN_QOS_MAPPING && mapping.payload.size() == 8);
                REQUIRE(number_at<uint32_t>(mapping.payload, 4) < 8);
            }
        }
    }
}

void check_link_info(const std::string& payload)
{
    const auto info = all_attributes(payload, 0);
    REQUIRE(info.size() == 2);
    REQUIRE(info[0].type == IFLA_INFO_KIND && info[1].type == IFLA_INFO_DATA);
    check_link_data(info[0].payload, info[1].payload);
}

void check_attribute(const AttributeRules& rules, const Attribute& attribute, size_t address)
{
    const auto rule = std::ranges::find(rules, attribute.type, &AttributeRule::type);
    REQUIRE(rule != rules.end());
    if (rule->length == text) {
        REQUIRE(is_text(attribute.payload));
    } else if (rule->length == link_info) {
        check_link_info(attribute.payload);
    } else {
        REQUIRE(attribute.payload.size() == (rule->length == by_family ? address : rule->length));
    }
}

void check_prefix(const std::string& bytes, uint16_t type)
{
    const bool rule = type == RTM_NEWRULE || type == RTM_DELRULE;
    const auto first = number_at<uint8_t>(bytes, 17);
    const auto second = number_at<uint8_t>(bytes, 18);
    if (type == RTM_NEWADDR || rule) {
        const uint8_t full = bytes[16] == AF_INET ? 32 : 128;
        REQUIRE(first <= full && (!rule || second <= full));
    } else if (type == RTM_NEWROUTE) {
        // A ":" anywhere in a destination lets a prefix of IPv6 pass; the kernel refuses it.
        REQUIRE(first <= 128);
    }
}

} // namespace

void check_request(const std::string& bytes, uint32_t seq)
{
    const auto type = number_at<uint16_t>(bytes, 4);
    const auto rule = std::ranges::find(request_rules, type, &RequestRule::type);
    REQUIRE(rule != request_rules.end());
    REQUIRE(number_at<uint32_t>(bytes, 0) == bytes.size());
    REQUIRE(std::ranges::count(rule->flags, number_at<uint16_t>(bytes, 6)) == 1);
    REQUIRE(number_at<uint32_t>(bytes, 8) == seq && number_at<uint32_t>(bytes, 12) == 0);
    REQUIRE(bytes.size() >= 16 + rule->family_header);
    if (rule->dumped) {
        return;
    }
    check_prefix(bytes, type);
    std::vector<uint16_t> seen;
    for (const Attribute& attribute : all_attributes(bytes, 16 + rule->family_header)) {
        check_attribute(rule->attributes, attribute, bytes[16] == AF_INET ? 4 : 16);
        REQUIRE(std::ranges::count(seen, attribute.type) == 0);
        seen.push_back(attribute.type);
    }
}

} // namespace kex::fuzz
