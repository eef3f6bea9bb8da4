#pragma once

#include "netlink/command_socket.hpp"

#include <cstdint>
#include <string>
#include <vector>

// Virtual links and the settings that need nested attributes. Results as for changes of links; a
// name that is taken gives -EEXIST.
namespace kex::netlink
{

/**
 * @param mac   a text that ether_aton reads; not empty
 * @param mode  a bonding mode's name, or its number from 0 to 6; an empty text is mode 0
 */
int create_bond(NetlinkCommandSocket& sock, const std::string& name, const std::string& mac,
                const std::string& mode);

/** @param id  VLAN id; its low 16 bits are sent and judged by the kernel */
int create_vlan(NetlinkCommandSocket& sock, const std::string& name, const std::string& lower,
                unsigned id);

/** @param mac  of a private macvlan; empty for one that passes through under lower's own address */
int create_macvlan(NetlinkCommandSocket& sock, const std::string& name, const std::string& lower,
                   const std::string& mac);

/** One entry of a VLAN's egress map. */
struct VlanQosMapping {
    uint32_t from; /**< socket buffer priority */
    uint32_t to;   /**< 802.1p priority */
};

/** @param mappings  sent in this order; at most 336 fit into a request */
int set_vlan_egress_qos(NetlinkCommandSocket& sock, const std::string& link,
                        const std::vector<VlanQosMapping>& mappings);

} // namespace kex::netlink
