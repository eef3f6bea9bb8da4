#pragma once

#include <net/ethernet.h>
#include <netinet/ether.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace kex::netlink
{

inline constexpr uint32_t mac_length = ETH_ALEN;

/** The six bytes in the order of the wire. */
using MacAddress = std::array<uint8_t, mac_length>;

/** What ether_aton reads in a text; none when it refuses the text. */
inline std::optional<MacAddress> parse_mac(const std::string& text)
{
    static_assert(sizeof(ether_addr) == sizeof(MacAddress));
    std::optional<MacAddress> address(std::in_place);
    // An ether_addr is its six bytes and nothing else.
    if (ether_aton_r(text.c_str(), reinterpret_cast<ether_addr*>(address->data())) == nullptr) {
        address.reset();
    }
    return address;
}

} // namespace kex::netlink
