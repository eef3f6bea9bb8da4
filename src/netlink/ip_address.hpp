#pragma once

#include <sys/socket.h>

#include <array>
#include <cstdint>

namespace kex::netlink
{

/** An IPv4 or IPv6 address. */
struct IpAddress {
    sa_family_t family = AF_UNSPEC;
    std::array<uint8_t, 16> bytes{}; /**< in network byte order; IPv4 uses the first four */
};

/** Length in bytes of an address of a family: 4 for AF_INET, 16 for every other. */
constexpr uint32_t address_length(sa_family_t family)
{
    return family == AF_INET ? 4 : 16;
}

} // namespace kex::netlink
