#pragma once

#include <libmnl/libmnl.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/socket.h>

#include <array>
#include <cstdint>

// A request as libmnl's examples build it: headers put into a buffer, attributes behind them.
namespace kex::bench::mnl
{

alignas(nlmsghdr) inline std::array<char, 4096> buffer;
inline uint32_t seq = 0;

inline nlmsghdr* header()
{
    return reinterpret_cast<nlmsghdr*>(buffer.data());
}

/** Starts a request. @return its family header, of zeros */
template <typename Family>
Family* begin(uint16_t type, uint16_t flags)
{
    nlmsghdr* request = mnl_nlmsg_put_header(buffer.data());
    request->nlmsg_type = type;
    request->nlmsg_flags = static_cast<uint16_t>(NLM_F_REQUEST | flags);
    request->nlmsg_seq = ++seq;
    return static_cast<Family*>(mnl_nlmsg_put_extra_header(request, sizeof(Family)));
}

inline void send()
{
    sockaddr_nl kernel = {};
    kernel.nl_family = AF_NETLINK;
    sendto(-1, buffer.data(), header()->nlmsg_len, 0, reinterpret_cast<const sockaddr*>(&kernel),
           sizeof(kernel));
}

} // namespace kex::bench::mnl
