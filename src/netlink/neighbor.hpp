#pragma once

#include "netlink/command_socket.hpp"
#include "netlink/ip_address.hpp"
#include "netlink/mac_address.hpp"

#include <string>

namespace kex::netlink
{

/**
 * Installs a permanent IPv6 neighbour entry in place of the one there may be.
 * @return 0, -1 for a failure on this side, or the kernel's negative errno
 */
int replace_neighbor(NetlinkCommandSocket& sock, const std::string& link, const IpAddress& address,
                     const MacAddress& mac);

/**
 * Deletes the permanent neighbour entries of every link and family, whoever made them.
 * @return 0, or -1 when the table could not be read
 */
int flush_neighbors(NetlinkCommandSocket& sock);

} // namespace kex::netlink
