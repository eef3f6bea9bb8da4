#pragma once

#include <net/ethernet.h>
#include <netinet/ether.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>

namespace kex::netlink
{

inline constexpr uint32_t mac_length = ETH_ALEN;

/** The six bytes in the order of the wire. */
using MacAddress = std::array<uint8_t, mac_length>;

/** What ether_aton reads in a text; none when it refuses the text. */
inline std::optional<MacAddress> parse_mac(const std::string& text)
{
    ether_addr parsed = {};
    if (ether_aton_r(text.c_str(), &parsed) == nullptr) {
        return std::nullopt;
    }
    MacAddress address;
    std::memcpy(address.data(), parsed.ether_addr_octet, address.size());
    return address;
}

} // namespace kex::netlink
