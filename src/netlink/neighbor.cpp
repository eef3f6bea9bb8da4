#include "netlink/neighbor.hpp"

#include "netlink/attributes.hpp"
#include "netlink/flush.hpp"
#include "netlink/log.hpp"
#include "netlink/request.hpp"

#include <linux/neighbour.h>

namespace kex::netlink
{

int replace_neighbor(NetlinkCommandSocket& sock, const std::string& link, const IpAddress& address,
                     const MacAddress& mac)
{
    const unsigned index = resolve_ifindex(link);
    if (index == 0) {
        return -1;
    }
    Request<ndmsg, small_request> request(sock, RTM_NEWNEIGH,
                                          NLM_F_ACK | NLM_F_REPLACE | NLM_F_CREATE);
    request.family().ndm_family = AF_INET6;
    request.family().ndm_ifindex = static_cast<int>(index);
    request.family().ndm_state = NUD_PERMANENT;
    if (!request.add(NDA_DST, address.bytes.data(), address_length(AF_INET6)) ||
        !request.add(NDA_LLADDR, mac.data(), mac_length)) {
        return -1;
    }
    const int result = request.exchange();
    LOG_OUTCOME(result, ("replaced neighbor on %s\n", link.c_str()),
                ("failed to replace neighbor on %s\n", link.c_str()));
    return result;
}

int flush_neighbors(NetlinkCommandSocket& sock)
{
    auto delete_if_permanent = [&](nlmsghdr& message) {
        const auto* entry = family_header<ndmsg>(message);
        if (entry == nullptr || (entry->ndm_state & NUD_PERMANENT) == 0) {
            return false;
        }
        delete_dumped(sock, message, RTM_DELNEIGH);
        return true;
    };

    Request<ndmsg, small_request> request(sock, RTM_GETNEIGH, NLM_F_DUMP);
    const int flushed = flush(sock, request.header(),
                              {__func__, "flush_neighbors: sendto failed", RTM_NEWNEIGH,
                               EntryVisitor(delete_if_permanent)});
    if (flushed < 0) {
        return -1;
    }
    LOG_INFO("flushed %d permanent neighbors\n", flushed);
    return 0;
}

} // namespace kex::netlink
