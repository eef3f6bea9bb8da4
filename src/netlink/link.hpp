#pragma once

#include "netlink/command_socket.hpp"

#include <cstdint>
#include <string>

// Changes of existing links. Every operation sends one request and returns 0, -1 for a failure on
// this side (an unknown name, a text that does not parse: nothing is sent then), or the kernel's
// negative errno.
namespace kex::netlink
{

int set_link_state(NetlinkCommandSocket& sock, const std::string& link, bool up);

int delete_link(NetlinkCommandSocket& sock, const std::string& link);

int rename_link(NetlinkCommandSocket& sock, const std::string& link, const std::string& new_name);

/** @param mac  a text that ether_aton reads */
int set_link_address(NetlinkCommandSocket& sock, const std::string& link, const std::string& mac);

/** @param mtu  in bytes */
int set_link_mtu(NetlinkCommandSocket& sock, const std::string& link, uint32_t mtu);

/** Makes boss the master of link. */
int set_link_boss(NetlinkCommandSocket& sock, const std::string& link, const std::string& boss);

/** Releases link from its master. */
int clear_link_boss(NetlinkCommandSocket& sock, const std::string& link);

} // namespace kex::netlink
