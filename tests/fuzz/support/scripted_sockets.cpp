// The sockets of a scripted system: the kernel's routing tables and links.

#include "netlink/command_socket.hpp"
#include "support/request_check.hpp"
#include "support/require.hpp"
#include "support/scripted_system.hpp"
#include "support/wire.hpp"
#include "support/wrapped.hpp"

#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/if_packet.h>
#include <net/ethernet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace
{

using namespace kex::fuzz;

uint16_t dumped = 0; // type of the latest dump's entries

void take_request(const std::string& bytes)
{
    check_request(bytes, kex::netlink::netlink_command_socket().seq);
    const auto type = number_at<uint16_t>(bytes, 4);
    const bool dump = (number_at<uint16_t>(bytes, 6) & NLM_F_DUMP) == NLM_F_DUMP;
    if (dump) {
        dumped = static_cast<uint16_t>(type - 2);
    } else {
        ++scripted_system()->observed.effects;
    }
}

void take_frame(const void* data, size_t size, const sockaddr_ll& address)
{
    REQUIRE(size >= 64 && size <= 1522);
    REQUIRE(address.sll_halen == ETH_ALEN && address.sll_ifindex == 2);
    REQUIRE(std::equal(address.sll_addr, address.sll_addr + ETH_ALEN,
                       static_cast<const unsigned char*>(data)));
    ++scripted_system()->observed.effects;
}

std::string acknowledgement(int error)
{
    return message(NLMSG_ERROR, 0, 1, bytes_of(error) + std::string(16, '\0'));
}

/** An entry with a body of the script, which is behind the fields that a flush asks for. */
std::string entry()
{
    const uint8_t selector = scripted_system()->next();
    std::string body = dumped == RTM_NEWADDR ? std::string("\x0a\x40\x80\0\2\0\0\0", 8)
                                             : std::string("\x0a\0\0\0\xfe\4\0\1\x80\0\0\0", 12);
    body[dumped == RTM_NEWADDR ? 3 : 5] = static_cast<char>(selector);
    if (dumped == RTM_NEWADDR) {
        body += bytes_of(uint16_t{20}) + bytes_of(uint16_t{1}) + std::string(16, 'a');
    } else if (selector % 2 == 0) {
        body += bytes_of(uint16_t{8}) + bytes_of(uint16_t{RTA_OIF}) + bytes_of(uint32_t{2});
    }
    body += scripted_system()->content();
    std::string bytes = message(dumped, NLM_F_MULTI, 1, body);
    bytes.resize(aligned(bytes.size()));
    return bytes;
}

/** A datagram of the kernel's; without a script it is an acknowledgement. */
std::string datagram()
{
    switch (scripted_system()->next() % 8) {
    case 1:
        return acknowledgement(-scripted_system()->next());
    case 2:
        return message(NLMSG_DONE, NLM_F_MULTI, 1, std::string(4, '\0'));
    case 3:
        return entry();
    case 4:
        return entry() + entry() + message(NLMSG_DONE, NLM_F_MULTI, 1, std::string(4, '\0'));
    case 5:
        return scripted_system()->content();
    case 6:
        return {};
    default:
        return acknowledgement(0);
    }
}

} // namespace

WRAPPED(int, socket, int domain, int type, int protocol)
{
    if (scripted_system() == nullptr) {
        return __real_socket(domain, type, protocol);
    }
    REQUIRE(domain == AF_PACKET && type == (SOCK_RAW | SOCK_CLOEXEC));
    REQUIRE(protocol == htons(ETH_P_ALL));
    if (scripted_system()->next() % 2 != 0) {
        errno = EPERM;
        return -1;
    }
    return fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
}

WRAPPED(ssize_t, sendto, int descriptor, const void* data, size_t size, int flags,
        const sockaddr* address, socklen_t address_size)
{
    if (scripted_system() == nullptr) {
        return __real_sendto(descriptor, data, size, flags, address, address_size);
    }
    REQUIRE(flags == 0);
    if (descriptor == netlink_descriptor) {
        REQUIRE(address->sa_family == AF_NETLINK && address_size == sizeof(sockaddr_nl));
        take_request(std::string(static_cast<const char*>(data), size));
    } else {
        REQUIRE(address_size == sizeof(sockaddr_ll));
        take_frame(data, size, *reinterpret_cast<const sockaddr_ll*>(address));
    }
    if (scripted_system()->next() % 8 == 7) {
        errno = ENOBUFS;
        return -1;
    }
    return static_cast<ssize_t>(size);
}

WRAPPED(ssize_t, recv, int descriptor, void* buffer, size_t size, int flags)
{
    if (scripted_system() == nullptr) {
        return __real_recv(descriptor, buffer, size, flags);
    }
    REQUIRE(descriptor == netlink_descriptor && flags == 0);
    const std::string bytes = datagram();
    return static_cast<ssize_t>(bytes.copy(static_cast<char*>(buffer), size));
}
