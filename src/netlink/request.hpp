#pragma once

#include "netlink/command_socket.hpp"

#include <array>
#include <cstring>
#include <string>

namespace kex::netlink
{

/** Capacity of link and neighbour requests without nests, in bytes. */
inline constexpr uint32_t small_request = 512;

/** Capacity of every other request, in bytes. */
inline constexpr uint32_t large_request = 4096;

/**
 * One rtnetlink request: message header, family header, attributes. Whatever of it is not set is
 * zero. It takes the channel's next sequence number when it is made, so that a request which is
 * refused before it is sent has used one too. Intended.
 */
template <typename Family, uint32_t capacity>
class Request
{
  public:
    /** @param flags  nlmsg_flags beside NLM_F_REQUEST */
    Request(NetlinkCommandSocket& sock, uint16_t type, uint16_t flags) : sock_(sock)
    {
        // The rest need not be: an attribute brings its own padding.
        std::memset(bytes_.data(), 0, NLMSG_SPACE(sizeof(Family)));
        header().nlmsg_len = NLMSG_LENGTH(sizeof(Family));
        header().nlmsg_type = type;
        header().nlmsg_flags = NLM_F_REQUEST | flags;
        header().nlmsg_seq = ++sock_.seq;
    }
    Request(const Request&) = delete;
    Request& operator=(const Request&) = delete;

    nlmsghdr& header() { return *reinterpret_cast<nlmsghdr*>(bytes_.data()); }
    Family& family() { return *reinterpret_cast<Family*>(bytes_.data() + NLMSG_HDRLEN); }

    // Each of these is false when the capacity does not suffice.
    bool add(uint16_t type, const void* data, uint32_t length)
    {
        return add_rtattr(sock_, header(), capacity, type, data, length) == 0;
    }
    bool add_u8(uint16_t type, uint8_t value) { return add(type, &value, sizeof(value)); }
    bool add_u16(uint16_t type, uint16_t value) { return add(type, &value, sizeof(value)); }
    bool add_u32(uint16_t type, uint32_t value) { return add(type, &value, sizeof(value)); }

    /** The text with its terminating NUL. */
    bool add_text(uint16_t type, const std::string& text)
    {
        return add(type, text.c_str(), static_cast<uint32_t>(text.size() + 1));
    }

    /** An open nest, or nullptr. */
    rtattr* begin(uint16_t type) { return begin_nested_rtattr(sock_, header(), capacity, type); }
    void end(rtattr* nest) { end_nested_rtattr(sock_, header(), *nest); }

    /** @return the result of send_and_recv_ack */
    int exchange() { return send_and_recv_ack(sock_, header()); }

  private:
    NetlinkCommandSocket& sock_;
    alignas(nlmsghdr) std::array<char, capacity> bytes_;
};

} // namespace kex::netlink
