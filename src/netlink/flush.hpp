#pragma once

#include "netlink/command_socket.hpp"

#include <cstdint>
#include <functional>

namespace kex::netlink
{

/** What sets one flush apart from the others. */
struct FlushRules {
    const char* function;     /**< name of the operation in log lines */
    const char* send_failure; /**< text for a dump request that cannot be sent */
    uint16_t entry_type;      /**< message type of a dumped entry */

    /** Deletes the entry if it matches; true when it did. May change the message. */
    std::function<bool(nlmsghdr&)> delete_if_matching;
};

/**
 * Dumps a table and deletes the matching entries while the dump is being read, on the one socket:
 * a delete takes whatever comes next on it as its acknowledgement, a part of the dump included,
 * and an acknowledgement that the dump loop meets ends the flush. So one flush of a table that
 * does not fit into one datagram deletes a part of it. Intended; callers repeat the flush.
 * @param request  asks for the dump
 * @return the number of deletes sent, whether or not the kernel carried them out; -1 and a log
 *         line when sending or receiving fails
 */
int flush(NetlinkCommandSocket& sock, const nlmsghdr& request, const FlushRules& rules);

/**
 * Makes a dumped entry the request for its own deletion, attributes and all, and sends it. The
 * result is ignored: an entry that has gone meanwhile must not stop the flush.
 */
void delete_dumped(NetlinkCommandSocket& sock, nlmsghdr& entry, uint16_t delete_type);

} // namespace kex::netlink
