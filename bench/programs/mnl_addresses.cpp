#include "mnl_message.hpp"
#include "mnl_requests.hpp"
#include "wire.hpp"

#include <linux/fib_rules.h>
#include <linux/if_addr.h>
#include <linux/neighbour.h>

namespace kex::bench::mnl
{
namespace
{

template <typename Bytes>
void put(uint16_t type, const Bytes& bytes)
{
    mnl_attr_put(header(), type, sizeof(bytes), bytes.data());
}

void begin_address(uint8_t family, uint8_t prefix_length)
{
    auto* address = begin<ifaddrmsg>(RTM_NEWADDR, NLM_F_ACK | NLM_F_REPLACE | NLM_F_CREATE);
    address->ifa_family = family;
    address->ifa_prefixlen = prefix_length;
    address->ifa_index = if_nametoindex("eth0");
}

void put_lifetimes()
{
    const ifa_cacheinfo for_ever = {0xFFFFFFFF, 0xFFFFFFFF, 0, 0};
    mnl_attr_put(header(), IFA_CACHEINFO, sizeof(for_ever), &for_ever);
}

} // namespace

void add_address_ipv4()
{
    begin_address(AF_INET, 24);
    put(IFA_LOCAL, ipv4_host);
    put(IFA_ADDRESS, ipv4_host);
    put(IFA_BROADCAST, ipv4_broadcast);
    put_lifetimes();
    send();
}

void add_address_ipv6()
{
    begin_address(AF_INET6, 64);
    put(IFA_LOCAL, ipv6_host);
    put(IFA_ADDRESS, ipv6_host);
    put_lifetimes();
    send();
}

void add_route()
{
    auto* route = begin<rtmsg>(RTM_NEWROUTE, NLM_F_ACK | NLM_F_CREATE | NLM_F_REPLACE);
    route->rtm_family = AF_INET;
    route->rtm_dst_len = 24;
    route->rtm_table = RT_TABLE_MAIN;
    route->rtm_protocol = RTPROT_STATIC;
    route->rtm_scope = RT_SCOPE_UNIVERSE;
    route->rtm_type = RTN_UNICAST;
    route->rtm_flags = RTNH_F_ONLINK;
    put(RTA_DST, ipv4_network);
    put(RTA_GATEWAY, ipv4_host);
    mnl_attr_put_u32(header(), RTA_OIF, if_nametoindex("eth0"));
    mnl_attr_put_u32(header(), RTA_TABLE, RT_TABLE_MAIN);
    send();
}

void modify_rule()
{
    auto* rule = begin<fib_rule_hdr>(RTM_NEWRULE, NLM_F_ACK | NLM_F_EXCL | NLM_F_CREATE);
    rule->family = AF_INET;
    rule->table = rule_table;
    rule->action = FR_ACT_TO_TBL;
    rule->src_len = 32;
    put(FRA_SRC, ipv4_host);
    mnl_attr_put_u32(header(), FRA_TABLE, rule_table);
    send();
}

void replace_neighbor()
{
    auto* neighbor = begin<ndmsg>(RTM_NEWNEIGH, NLM_F_ACK | NLM_F_REPLACE | NLM_F_CREATE);
    neighbor->ndm_family = AF_INET6;
    neighbor->ndm_ifindex = static_cast<int>(if_nametoindex("eth0"));
    neighbor->ndm_state = NUD_PERMANENT;
    put(NDA_DST, ipv6_host);
    put(NDA_LLADDR, mac_bytes);
    send();
}

void dump_addresses()
{
    auto* address = begin<ifaddrmsg>(RTM_GETADDR, NLM_F_DUMP);
    address->ifa_family = AF_INET;
    address->ifa_index = if_nametoindex("eth0");
    send();
}

void dump_routes()
{
    begin<rtmsg>(RTM_GETROUTE, NLM_F_DUMP)->rtm_family = AF_INET;
    send();
}

void dump_neighbors()
{
    begin<ndmsg>(RTM_GETNEIGH, NLM_F_DUMP);
    send();
}

} // namespace kex::bench::mnl
