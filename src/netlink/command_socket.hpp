#pragma once

#include <linux/netlink.h>
#include <linux/rtnetlink.h>

#include <cstdint>
#include <string>

namespace kex::netlink
{

/** The process's one rtnetlink channel. */
struct NetlinkCommandSocket {
    int32_t fd = -1;  /**< -1 while the socket is not open */
    uint32_t seq = 0; /**< of the latest request; every request takes the next, wrapping silently */
};

/** The channel of this process; never closed while the process runs. */
NetlinkCommandSocket& netlink_command_socket();

/**
 * Opens the channel unless it is open.
 * @return 0, or -1 with fd still -1
 */
int init_socket(NetlinkCommandSocket& sock);

/** The interface's index; 0, and a log line, when there is none of that name. */
unsigned resolve_ifindex(const std::string& name);

/**
 * Appends an attribute, padded with zeros to a multiple of 4.
 * @param max_len   capacity of the buffer that begins with request
 * @param data      payload, or nullptr for zeros
 * @param data_len  payload length in bytes, without padding
 * @return 0, or -1 with a log line and the request unchanged when the capacity does not suffice
 */
int add_rtattr(NetlinkCommandSocket& sock, nlmsghdr& request, uint32_t max_len, uint16_t type,
               const void* data, uint32_t data_len);

/** Opens a nest. @return its attribute, or nullptr when the capacity does not suffice */
rtattr* begin_nested_rtattr(NetlinkCommandSocket& sock, nlmsghdr& request, uint32_t max_len,
                            uint16_t type);

/** Closes a nest at the current end of the request. Inner nests are closed before outer ones. */
void end_nested_rtattr(NetlinkCommandSocket& sock, nlmsghdr& request, rtattr& nest);

/**
 * Sends a request to the kernel without waiting for the answer.
 * @return false when it could not be sent
 */
bool send_request(const NetlinkCommandSocket& sock, const nlmsghdr& request);

/**
 * Sends a request and takes the next datagram of the socket as its acknowledgement: sequence
 * numbers are not compared, and any message but an error counts as success. Intended.
 * @return 0, -1 for a local failure, or the kernel's negative errno
 */
int send_and_recv_ack(NetlinkCommandSocket& sock, const nlmsghdr& request);

} // namespace kex::netlink
