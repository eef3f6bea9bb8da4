#include "tables.hpp"

#include <arpa/inet.h>
#include <linux/neighbour.h>
#include <net/if.h>
#include <sys/socket.h>

#include <cstring>

namespace kex::bench
{
namespace
{

constexpr uint32_t first_address = 0x0A000000; // 10.0.0.0
constexpr size_t read_size = 32768;

/** A request as the kernel lays it out; large enough for everything that is added here. */
template <typename Family>
struct Request {
    nlmsghdr header = {};
    Family family = {};
    std::array<char, 128> attributes = {};

    Request(uint16_t type, uint16_t flags)
    {
        header.nlmsg_len = NLMSG_LENGTH(sizeof(Family));
        header.nlmsg_type = type;
        header.nlmsg_flags = NLM_F_REQUEST | flags;
    }
    void add(uint16_t type, const void* data, uint16_t size)
    {
        char* const end = reinterpret_cast<char*>(this) + header.nlmsg_len;
        const rtattr head = {static_cast<uint16_t>(RTA_LENGTH(size)), type};
        std::memcpy(end, &head, sizeof(head));
        std::memcpy(end + sizeof(head), data, size);
        header.nlmsg_len += RTA_ALIGN(head.rta_len);
    }
};

const nlmsghdr& message_at(const std::vector<char>& messages, size_t at)
{
    return *reinterpret_cast<const nlmsghdr*>(messages.data() + at);
}

} // namespace

const std::array<Table, 3>& tables()
{
    static const std::array<Table, 3> all{{
        {"addresses",
         AF_INET,
         RTM_GETADDR,
         RTM_NEWADDR,
         RTM_DELADDR,
         {"INTERFACE_ADDR_FLUSH", "LINK", "ipv4", "all", "all"},
         {"-4", "address", "flush", "dev", "LINK"}},
        {"routes",
         AF_INET,
         RTM_GETROUTE,
         RTM_NEWROUTE,
         RTM_DELROUTE,
         {"SET_STATIC_ROUTE", "disable", "ipv4", "LINK", "static"},
         {"-4", "route", "flush", "dev", "LINK", "proto", "static"}},
        {"neighbours",
         AF_INET6,
         RTM_GETNEIGH,
         RTM_NEWNEIGH,
         RTM_DELNEIGH,
         {"SET_IP6_NEIGHBOR_CACHE", "disable"},
         {"-6", "neighbour", "flush", "dev", "LINK", "nud", "permanent"}},
    }};
    return all;
}

TableAccess::TableAccess(const Table& table, const std::string& link)
    : table_(table), index_(static_cast<int>(if_nametoindex(link.c_str()))),
      socket_(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE))
{
    check(index_ - 1, link);
}

void TableAccess::send(nlmsghdr& request)
{
    sockaddr_nl kernel = {};
    kernel.nl_family = AF_NETLINK;
    request.nlmsg_seq = ++seq_;
    check(static_cast<int>(sendto(socket_.get(), &request, request.nlmsg_len, 0,
                                  reinterpret_cast<const sockaddr*>(&kernel), sizeof(kernel))),
          "netlink");
}

void TableAccess::receive_ack()
{
    alignas(nlmsghdr) std::array<char, 4096> reply;
    check(static_cast<int>(recv(socket_.get(), reply.data(), reply.size(), 0)), "netlink");
    const auto* message = reinterpret_cast<const nlmsghdr*>(reply.data());
    check(static_cast<const nlmsgerr*>(NLMSG_DATA(message))->error, table_.label);
}

void TableAccess::add(uint32_t number)
{
    constexpr uint16_t create = NLM_F_ACK | NLM_F_CREATE;
    const uint32_t ipv4 = htonl(first_address + number);
    if (table_.new_type == RTM_NEWADDR) {
        // Each a network of its own: the secondary addresses of one would go with the first.
        Request<ifaddrmsg> request(RTM_NEWADDR, create);
        request.family = {AF_INET, 32, 0, 0, static_cast<uint32_t>(index_)};
        request.add(IFA_LOCAL, &ipv4, sizeof(ipv4));
        send(request.header);
    } else if (table_.new_type == RTM_NEWROUTE) {
        Request<rtmsg> request(RTM_NEWROUTE, create);
        request.family = {AF_INET,       32,          0, 0, RT_TABLE_MAIN, RTPROT_STATIC,
                          RT_SCOPE_LINK, RTN_UNICAST, 0};
        request.add(RTA_DST, &ipv4, sizeof(ipv4));
        request.add(RTA_OIF, &index_, sizeof(index_));
        send(request.header);
    } else {
        const std::array<uint8_t, 6> mac{2, 0, 0, 0, 0, 1};
        std::array<uint8_t, 16> ipv6{0xFD};
        std::memcpy(&ipv6[12], &ipv4, sizeof(ipv4));
        Request<ndmsg> request(RTM_NEWNEIGH, create);
        request.family = {AF_INET6, 0, 0, index_, NUD_PERMANENT, 0, 0};
        request.add(NDA_DST, ipv6.data(), ipv6.size());
        request.add(NDA_LLADDR, mac.data(), mac.size());
        send(request.header);
    }
    receive_ack();
}

void TableAccess::fill(unsigned entries)
{
    for (unsigned number = 1; number <= entries; ++number) {
        add(number);
    }
}

bool TableAccess::is_ours(const nlmsghdr& entry) const
{
    if (entry.nlmsg_type == RTM_NEWADDR) {
        return static_cast<const ifaddrmsg*>(NLMSG_DATA(&entry))->ifa_index ==
               static_cast<uint32_t>(index_);
    }
    if (entry.nlmsg_type == RTM_NEWROUTE) {
        const auto* route = static_cast<const rtmsg*>(NLMSG_DATA(&entry));
        return route->rtm_table == RT_TABLE_MAIN && route->rtm_protocol == RTPROT_STATIC;
    }
    const auto* neighbour = static_cast<const ndmsg*>(NLMSG_DATA(&entry));
    return neighbour->ndm_ifindex == index_ && (neighbour->ndm_state & NUD_PERMANENT) != 0;
}

std::vector<char> TableAccess::dump()
{
    Request<rtmsg> request(table_.get_type, NLM_F_DUMP); // the largest of the family headers
    request.family.rtm_family = table_.family;
    send(request.header);
    std::vector<char> kept;
    alignas(nlmsghdr) std::array<char, read_size> datagram;
    while (true) {
        const ssize_t received = recv(socket_.get(), datagram.data(), datagram.size(), 0);
        check(static_cast<int>(received), "netlink");
        auto left = static_cast<unsigned>(received);
        for (auto* message = reinterpret_cast<nlmsghdr*>(datagram.data()); NLMSG_OK(message, left);
             message = NLMSG_NEXT(message, left)) {
            if (message->nlmsg_type == NLMSG_DONE) {
                return kept;
            }
            check(message->nlmsg_type == NLMSG_ERROR ? -1 : 0, "dump");
            if (is_ours(*message)) {
                const char* const begin = reinterpret_cast<const char*>(message);
                kept.insert(kept.end(), begin, begin + NLMSG_ALIGN(message->nlmsg_len));
            }
        }
    }
}

size_t TableAccess::count()
{
    const std::vector<char> entries = dump();
    size_t number = 0;
    for (size_t at = 0; at < entries.size(); ++number) {
        at += NLMSG_ALIGN(message_at(entries, at).nlmsg_len);
    }
    return number;
}

void TableAccess::flush()
{
    for (std::vector<char> entries = dump(); !entries.empty(); entries = dump()) {
        for (size_t at = 0; at < entries.size();) {
            auto& entry = *reinterpret_cast<nlmsghdr*>(entries.data() + at);
            at += NLMSG_ALIGN(entry.nlmsg_len);
            entry.nlmsg_type = table_.delete_type;
            entry.nlmsg_flags = NLM_F_REQUEST | NLM_F_ACK;
            entry.nlmsg_pid = 0;
            send(entry);
            receive_ack();
        }
    }
}

} // namespace kex::bench
