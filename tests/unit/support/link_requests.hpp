#pragma once

#include "support/wire.hpp"

namespace kex::test
{

inline constexpr uint16_t newlink = 16;
inline constexpr uint16_t dellink = 17;
inline constexpr uint16_t setlink = 19;

inline constexpr uint16_t request_ack = 0x0005;
inline constexpr uint16_t request_create = 0x0605;

// Attributes of links.
inline constexpr uint16_t ifla_address = 1;
inline constexpr uint16_t ifla_ifname = 3;
inline constexpr uint16_t ifla_mtu = 4;
inline constexpr uint16_t ifla_link = 5;
inline constexpr uint16_t ifla_master = 10;
inline constexpr uint16_t ifla_linkinfo = 18;

inline Bytes ifinfomsg(uint32_t index, uint32_t flags = 0, uint32_t change = 0)
{
    return zeros(4) + u32(index) + u32(flags) + u32(change);
}

/** IFLA_LINKINFO of a kind around the attributes of its data. */
inline Bytes link_info(const std::string& kind, const Bytes& data)
{
    constexpr uint16_t info_kind = 1;
    constexpr uint16_t info_data = 2;
    return attribute(ifla_linkinfo, attribute(info_kind, text(kind)) + attribute(info_data, data));
}

} // namespace kex::test
