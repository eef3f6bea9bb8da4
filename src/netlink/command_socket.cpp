#include "netlink/command_socket.hpp"

#include "netlink/log.hpp"

#include <net/if.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstring>

namespace kex::netlink
{
namespace
{

constexpr size_t ack_size = 4096;

/** The kernel as a destination; as a local address, "choose a port for me, join no group". */
sockaddr_nl kernel_address()
{
    sockaddr_nl address = {};
    address.nl_family = AF_NETLINK;
    return address;
}

char* at_offset(nlmsghdr& request, uint32_t offset)
{
    return reinterpret_cast<char*>(&request) + offset;
}

/** The verdict of one received datagram, of which only the first message counts. */
int read_ack(const nlmsghdr& reply, size_t received)
{
    if (received < sizeof(nlmsghdr) || reply.nlmsg_len < sizeof(nlmsghdr) ||
        reply.nlmsg_len > received) {
        LOG_ERROR_AS("send_and_recv_ack", __LINE__, "netlink response invalid\n");
        return -1;
    }
    if (reply.nlmsg_type != NLMSG_ERROR) {
        return 0;
    }
    const auto& acknowledgement = *static_cast<const nlmsgerr*>(NLMSG_DATA(&reply));
    if (acknowledgement.error != 0) {
        // Wider than the field, whose smallest number has no opposite of its own size.
        LOG_ERROR_AS("send_and_recv_ack", __LINE__, "netlink error response: %ld\n",
                     -long{acknowledgement.error});
    }
    return acknowledgement.error;
}

} // namespace

NetlinkCommandSocket& netlink_command_socket()
{
    static NetlinkCommandSocket command_socket;
    return command_socket;
}

int init_socket(NetlinkCommandSocket& sock)
{
    if (sock.fd != -1) {
        return 0;
    }
    LOG_INFO("initializing netlink command socket\n");
    sock.fd = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
    if (sock.fd == -1) {
        LOG_ERROR("forbidden by checkmarx to say why unable to open netlink command socket\n");
        return -1;
    }
    const sockaddr_nl address = kernel_address();
    if (bind(sock.fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        LOG_ERROR("netlink command socket bind failed\n");
        close(sock.fd);
        sock.fd = -1;
        return -1;
    }
    LOG_INFO("netlink command socket initialized\n");
    return 0;
}

unsigned resolve_ifindex(const std::string& name)
{
    const unsigned index = if_nametoindex(name.c_str());
    if (index == 0) {
        LOG_ERROR("interface %s not found\n", name.c_str());
    }
    return index;
}

int add_rtattr(NetlinkCommandSocket& /*sock*/, nlmsghdr& request, uint32_t max_len, uint16_t type,
               const void* data, uint32_t data_len)
{
    const uint32_t offset = NLMSG_ALIGN(request.nlmsg_len);
    const uint32_t length = RTA_LENGTH(data_len);
    const uint32_t needed = offset + RTA_ALIGN(length);
    if (needed > max_len) {
        LOG_ERROR("rtattr overflow: need %u, max %u\n", needed, max_len);
        return -1;
    }
    // The padding, if there is any, is part of the last word.
    std::memset(at_offset(request, needed - RTA_ALIGNTO), 0, RTA_ALIGNTO);
    const rtattr header = {static_cast<uint16_t>(length), type};
    std::memcpy(at_offset(request, offset), &header, sizeof(header));
    char* payload = at_offset(request, offset + RTA_LENGTH(0));
    if (data == nullptr) {
        std::memset(payload, 0, data_len);
    } else if (data_len > 0) {
        std::memcpy(payload, data, data_len);
    }
    request.nlmsg_len = needed;
    return 0;
}

rtattr* begin_nested_rtattr(NetlinkCommandSocket& sock, nlmsghdr& request, uint32_t max_len,
                            uint16_t type)
{
    const uint32_t offset = NLMSG_ALIGN(request.nlmsg_len);
    if (add_rtattr(sock, request, max_len, type, nullptr, 0) != 0) {
        return nullptr;
    }
    return reinterpret_cast<rtattr*>(at_offset(request, offset));
}

void end_nested_rtattr(NetlinkCommandSocket& /*sock*/, nlmsghdr& request, rtattr& nest)
{
    const char* end = at_offset(request, NLMSG_ALIGN(request.nlmsg_len));
    nest.rta_len = static_cast<uint16_t>(end - reinterpret_cast<const char*>(&nest));
}

bool send_request(const NetlinkCommandSocket& sock, const nlmsghdr& request)
{
    const sockaddr_nl address = kernel_address();
    return sendto(sock.fd, &request, request.nlmsg_len, 0,
                  reinterpret_cast<const sockaddr*>(&address), sizeof(address)) >= 0;
}

int send_and_recv_ack(NetlinkCommandSocket& sock, const nlmsghdr& request)
{
    if (sock.fd == -1) {
        LOG_ERROR("netlink command socket not initialized\n");
        return -1;
    }
    if (!send_request(sock, request)) {
        LOG_ERROR("netlink sendto failed\n");
        return -1;
    }
    // Of zeros, so that an error message that ends before its number reads as none.
    alignas(nlmsghdr) std::array<char, ack_size> reply{};
    const ssize_t received = recv(sock.fd, reply.data(), reply.size(), 0);
    if (received < 0) {
        LOG_ERROR("netlink recv failed\n");
        return -1;
    }
    return read_ack(*reinterpret_cast<const nlmsghdr*>(reply.data()),
                    static_cast<size_t>(received));
}

} // namespace kex::netlink
