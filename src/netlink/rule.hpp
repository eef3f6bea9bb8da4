#pragma once

#include "netlink/command_socket.hpp"
#include "netlink/ip_address.hpp"

#include <cstdint>
#include <string>

namespace kex::netlink
{

/**
 * Adds or deletes the policy rule that sends traffic from or to an address to a table. The kernel
 * chooses the priority; a rule that exists gives -EEXIST.
 * @param selector  "from" for the source address; any other text for the destination
 * @param table     its low 32 bits, at most 255
 * @return 0, -1 for a failure on this side, or the kernel's negative errno
 */
int modify_rule(NetlinkCommandSocket& sock, bool add, const std::string& selector,
                const IpAddress& address, uint8_t prefix_length, unsigned long table);

} // namespace kex::netlink
