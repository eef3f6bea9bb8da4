#include "netlink/flush.hpp"

#include "netlink/log.hpp"

#include <sys/socket.h>

#include <algorithm>
#include <array>

namespace kex::netlink
{
namespace
{

constexpr size_t dump_read_size = 8192;

/** Deletes the matching entries of one datagram. @return true when the flush has ended */
bool walk_datagram(char* data, size_t remaining, const FlushRules& rules, int& flushed)
{
    while (remaining >= sizeof(nlmsghdr)) {
        auto& message = *reinterpret_cast<nlmsghdr*>(data);
        const size_t length = message.nlmsg_len;
        if (length < sizeof(nlmsghdr) || length > remaining) {
            return false;
        }
        if (message.nlmsg_type == NLMSG_ERROR || message.nlmsg_type == NLMSG_DONE) {
            return true;
        }
        if (message.nlmsg_type == rules.entry_type && rules.delete_if_matching(message)) {
            ++flushed;
        }
        const size_t step = std::min<size_t>(NLMSG_ALIGN(length), remaining);
        data += step;
        remaining -= step;
    }
    return false;
}

} // namespace

int flush(NetlinkCommandSocket& sock, const nlmsghdr& request, const FlushRules& rules)
{
    if (!send_request(sock, request)) {
        LOG_ERROR_AS(rules.function, __LINE__, "%s\n", rules.send_failure);
        return -1;
    }
    int flushed = 0;
    alignas(nlmsghdr) std::array<char, dump_read_size> datagram;
    for (bool ended = false; !ended;) {
        const ssize_t received = recv(sock.fd, datagram.data(), datagram.size(), 0);
        if (received < 0) {
            LOG_ERROR_AS(rules.function, __LINE__,
                         "%s: forbidden by checkmarx to say way recv failed\n", rules.function);
            return -1;
        }
        ended = walk_datagram(datagram.data(), static_cast<size_t>(received), rules, flushed);
    }
    return flushed;
}

void delete_dumped(NetlinkCommandSocket& sock, nlmsghdr& entry, uint16_t delete_type)
{
    entry.nlmsg_type = delete_type;
    entry.nlmsg_flags = NLM_F_REQUEST | NLM_F_ACK;
    entry.nlmsg_seq = ++sock.seq;
    entry.nlmsg_pid = 0;
    send_and_recv_ack(sock, entry);
}

} // namespace kex::netlink
