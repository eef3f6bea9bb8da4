// Building each netlink request with kex, with libmnl, and copying its finished bytes.

#include "cases.hpp"
#include "mnl_requests.hpp"
#include "netlink/address.hpp"
#include "netlink/link.hpp"
#include "netlink/link_creation.hpp"
#include "netlink/neighbor.hpp"
#include "netlink/route.hpp"
#include "netlink/rule.hpp"
#include "wire.hpp"

#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

namespace
{

using namespace kex::bench;
using namespace kex::netlink;

NetlinkCommandSocket sock = {0, 0};
const std::string link = "eth0";
const std::string no_link;
const std::string boss = "eth1";
const std::string mac = "02:11:22:33:44:55";

template <typename Bytes>
IpAddress ip_address(sa_family_t family, const Bytes& bytes)
{
    IpAddress address = {family, {}};
    std::ranges::copy(bytes, address.bytes.begin());
    return address;
}

const IpAddress ipv4 = ip_address(AF_INET, ipv4_host);
const IpAddress ipv6 = ip_address(AF_INET6, ipv6_host);
const IpAddress broadcast = ip_address(AF_INET, ipv4_broadcast);
const Route route = {AF_INET, link, ip_address(AF_INET, ipv4_network), 24, ipv4, RT_TABLE_MAIN,
                     true,    true};

std::vector<VlanQosMapping> make_egress_map()
{
    std::vector<VlanQosMapping> mappings;
    for (uint32_t priority = 0; priority < egress_mappings; ++priority) {
        mappings.push_back({priority, priority});
    }
    return mappings;
}
const std::vector<VlanQosMapping> egress_map = make_egress_map();

struct Builder {
    const char* name;
    void (*with_kex)();
    void (*with_libmnl)();
};

constexpr std::array<Builder, 19> builders{{
    {"set_link_state", [] { set_link_state(sock, link, true); }, mnl::set_link_state},
    {"delete_link", [] { delete_link(sock, link); }, mnl::delete_link},
    {"rename_link", [] { rename_link(sock, link, "lan0"); }, mnl::rename_link},
    {"set_link_address", [] { set_link_address(sock, link, mac); }, mnl::set_link_address},
    {"set_link_mtu", [] { set_link_mtu(sock, link, 1400); }, mnl::set_link_mtu},
    {"set_link_boss", [] { set_link_boss(sock, link, boss); }, mnl::set_link_boss},
    {"clear_link_boss", [] { clear_link_boss(sock, link); }, mnl::clear_link_boss},
    {"create_bond", [] { create_bond(sock, "bond0", mac, "active-backup"); }, mnl::create_bond},
    {"create_vlan", [] { create_vlan(sock, "eth0.5", link, 5); }, mnl::create_vlan},
    {"create_macvlan", [] { create_macvlan(sock, "mac0", link, mac); }, mnl::create_macvlan},
    {"set_vlan_egress_qos", [] { set_vlan_egress_qos(sock, link, egress_map); },
     mnl::set_vlan_egress_qos},
    {"add_address_ipv4", [] { add_address(sock, link, ipv4, 24, broadcast); },
     mnl::add_address_ipv4},
    {"add_address_ipv6", [] { add_address(sock, link, ipv6, 64, {}); }, mnl::add_address_ipv6},
    {"add_route", [] { add_route(sock, route); }, mnl::add_route},
    {"modify_rule", [] { modify_rule(sock, true, "from", ipv4, 32, rule_table); },
     mnl::modify_rule},
    {"replace_neighbor", [] { replace_neighbor(sock, link, ipv6, mac_bytes); },
     mnl::replace_neighbor},
    {"dump_addresses", [] { flush_addresses(sock, link, AF_INET, every_scope, false); },
     mnl::dump_addresses},
    {"dump_routes", [] { flush_routes(sock, AF_INET, no_link, 0, RT_TABLE_MAIN); },
     mnl::dump_routes},
    {"dump_neighbors", [] { flush_neighbors(sock); }, mnl::dump_neighbors},
}};

std::array<std::string, builders.size()> finished;
alignas(nlmsghdr) std::array<char, 4096> copy;

template <size_t index>
void send_copy()
{
    const std::string& bytes = finished[index];
    std::memcpy(copy.data(), bytes.data(), bytes.size());
    sockaddr_nl kernel = {};
    kernel.nl_family = AF_NETLINK;
    sendto(-1, copy.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&kernel),
           sizeof(kernel));
}

std::string without_seq(std::string request)
{
    std::memset(request.data() + offsetof(nlmsghdr, nlmsg_seq), 0, sizeof(uint32_t));
    return request;
}

/** Times of different requests would say nothing. */
bool agree(const Builder& builder, const std::string& bytes)
{
    mnl::clear();
    if (bytes.size() >= sizeof(nlmsghdr) &&
        without_seq(bytes) == without_seq(sent_by(builder.with_libmnl))) {
        return true;
    }
    std::fprintf(stderr, "libmnl builds another %s\n", builder.name);
    return false;
}

template <size_t... index>
std::vector<Case> make_cases(std::index_sequence<index...> /*unused*/)
{
    std::vector<Case> cases;
    const auto add = [&](const Builder& builder, void (*send)()) {
        const std::string name = builder.name;
        cases.push_back({name + "/kex", builder.with_kex});
        cases.push_back({name + "/copy", send});
        cases.push_back({name + "/libmnl", builder.with_libmnl});
    };
    (add(builders[index], send_copy<index>), ...);
    return cases;
}

} // namespace

int main(int argc, char** argv)
{
    for (size_t i = 0; i < builders.size(); ++i) {
        finished[i] = sent_by(builders[i].with_kex);
        if (!agree(builders[i], finished[i])) {
            return 1;
        }
    }
    return run_cases(argc, argv, make_cases(std::make_index_sequence<builders.size()>()));
}
