#include "mnl_message.hpp"
#include "mnl_requests.hpp"
#include "wire.hpp"

#include <linux/if_link.h>
#include <netinet/ether.h>

namespace kex::bench::mnl
{
namespace
{

constexpr uint16_t create = NLM_F_ACK | NLM_F_CREATE | NLM_F_EXCL;

ifinfomsg* change_link(uint16_t type = RTM_SETLINK)
{
    auto* link = begin<ifinfomsg>(type, NLM_F_ACK);
    link->ifi_index = static_cast<int>(if_nametoindex("eth0"));
    return link;
}

void put_mac(uint16_t type)
{
    ether_addr mac;
    ether_aton_r("02:11:22:33:44:55", &mac);
    mnl_attr_put(header(), type, sizeof(mac), &mac);
}

/** libmnl marks nests, which the kernel does not ask for here and kex does not do. */
void end_nest(nlattr* nest)
{
    mnl_attr_nest_end(header(), nest);
    nest->nla_type &= NLA_TYPE_MASK;
}

template <typename PutData>
void put_link_info(const char* kind, PutData put_data)
{
    nlattr* info = mnl_attr_nest_start(header(), IFLA_LINKINFO);
    mnl_attr_put_strz(header(), IFLA_INFO_KIND, kind);
    nlattr* data = mnl_attr_nest_start(header(), IFLA_INFO_DATA);
    put_data();
    end_nest(data);
    end_nest(info);
}

} // namespace

void clear()
{
    buffer.fill(0);
}

void set_link_state()
{
    ifinfomsg* link = change_link();
    link->ifi_flags = IFF_UP;
    link->ifi_change = IFF_UP;
    send();
}

void delete_link()
{
    change_link(RTM_DELLINK);
    send();
}

void rename_link()
{
    change_link();
    mnl_attr_put_strz(header(), IFLA_IFNAME, "lan0");
    send();
}

void set_link_address()
{
    change_link();
    put_mac(IFLA_ADDRESS);
    send();
}

void set_link_mtu()
{
    change_link();
    mnl_attr_put_u32(header(), IFLA_MTU, 1400);
    send();
}

void set_link_boss()
{
    change_link();
    mnl_attr_put_u32(header(), IFLA_MASTER, if_nametoindex("eth1"));
    send();
}

void clear_link_boss()
{
    change_link();
    mnl_attr_put_u32(header(), IFLA_MASTER, 0);
    send();
}

void create_bond()
{
    begin<ifinfomsg>(RTM_NEWLINK, create);
    mnl_attr_put_strz(header(), IFLA_IFNAME, "bond0");
    put_mac(IFLA_ADDRESS);
    put_link_info("bond", [] { mnl_attr_put_u8(header(), IFLA_BOND_MODE, 1); });
    send();
}

void create_vlan()
{
    begin<ifinfomsg>(RTM_NEWLINK, create);
    mnl_attr_put_strz(header(), IFLA_IFNAME, "eth0.5");
    mnl_attr_put_u32(header(), IFLA_LINK, if_nametoindex("eth0"));
    put_link_info("vlan", [] { mnl_attr_put_u16(header(), IFLA_VLAN_ID, 5); });
    send();
}

void create_macvlan()
{
    begin<ifinfomsg>(RTM_NEWLINK, create);
    mnl_attr_put_strz(header(), IFLA_IFNAME, "mac0");
    mnl_attr_put_u32(header(), IFLA_LINK, if_nametoindex("eth0"));
    put_mac(IFLA_ADDRESS);
    put_link_info("macvlan",
                  [] { mnl_attr_put_u32(header(), IFLA_MACVLAN_MODE, MACVLAN_MODE_PRIVATE); });
    send();
}

void set_vlan_egress_qos()
{
    change_link();
    put_link_info("vlan", [] {
        nlattr* egress = mnl_attr_nest_start(header(), IFLA_VLAN_EGRESS_QOS);
        for (uint32_t priority = 0; priority < egress_mappings; ++priority) {
            const std::array<uint32_t, 2> mapping{priority, priority};
            mnl_attr_put(header(), IFLA_VLAN_QOS_MAPPING, sizeof(mapping), mapping.data());
        }
        end_nest(egress);
    });
    send();
}

} // namespace kex::bench::mnl
