#pragma once

#include "netlink/command_socket.hpp"
#include "netlink/ip_address.hpp"

#include <cstdint>
#include <optional>
#include <string>

namespace kex::netlink
{

/**
 * Adds a permanent address to a link; one that it has already is refreshed.
 * @param broadcast  sent for IPv4 only
 * @return 0, -1 for a failure on this side, or the kernel's negative errno
 */
int add_address(NetlinkCommandSocket& sock, const std::string& link, const IpAddress& address,
                uint8_t prefix_length, const std::optional<IpAddress>& broadcast);

/** The scope value with which a flush takes addresses of every scope. */
inline constexpr uint8_t every_scope = 1;

/**
 * Deletes addresses of a link.
 * @param scope           RT_SCOPE_... of the addresses, or every_scope
 * @param permanent_only  keep those that have a lifetime
 * @return 0, or -1 when the link is unknown or the table could not be read
 */
int flush_addresses(NetlinkCommandSocket& sock, const std::string& link, sa_family_t family,
                    uint8_t scope, bool permanent_only);

} // namespace kex::netlink
