#pragma once

#include "netlink/command_socket.hpp"
#include "netlink/ip_address.hpp"

#include <cstdint>
#include <optional>
#include <string>

namespace kex::netlink
{

/** The largest routing table identifier: the header field holds one byte. */
inline constexpr uint32_t max_table = 255;

/** A static unicast route. */
struct Route {
    sa_family_t family = AF_INET;
    std::string link;                     /**< output interface; empty for none */
    std::optional<IpAddress> destination; /**< none for a default route */
    uint8_t prefix_length = 0;
    std::optional<IpAddress> gateway;
    uint32_t table = 0;
    bool replace = false; /**< a route of the same key; otherwise the route is appended */
    bool onlink = false;  /**< take the gateway as reachable on the link; nothing without one */
};

/** @return 0, -1 for a failure on this side, or the kernel's negative errno */
int add_route(NetlinkCommandSocket& sock, const Route& route);

/**
 * Deletes routes of a table.
 * @param family    AF_UNSPEC for every family
 * @param link      output interface; empty for every one
 * @param protocol  RTPROT_..., or 0 for every one
 * @return 0, or -1 for an unknown link, a table above 255, or a table that could not be read
 */
int flush_routes(NetlinkCommandSocket& sock, sa_family_t family, const std::string& link,
                 uint8_t protocol, uint32_t table);

} // namespace kex::netlink
