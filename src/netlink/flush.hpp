#pragma once

#include "netlink/command_socket.hpp"

#include <cstdint>

namespace kex::netlink
{

/** Refers to what is called for each dumped entry; owns nothing, so that a flush allocates nothing.
 */
class EntryVisitor
{
  public:
    /** @param visit  outlives this; may change the message, returns true when it deleted it */
    template <typename Visit>
    explicit EntryVisitor(Visit& visit)
        : visit_(&visit), call_([](void* object, nlmsghdr& message) {
              return (*static_cast<Visit*>(object))(message);
          })
    {
    }

    bool operator()(nlmsghdr& message) const { return call_(visit_, message); }

  private:
    void* visit_;
    bool (*call_)(void*, nlmsghdr&);
};

/** What sets one flush apart from the others. */
struct FlushRules {
    const char* function;     /**< name of the operation in log lines */
    const char* send_failure; /**< text for a dump request that cannot be sent */
    uint16_t entry_type;      /**< message type of a dumped entry */
    EntryVisitor delete_if_matching;
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
