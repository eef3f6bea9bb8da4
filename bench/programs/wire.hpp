#pragma once

#include <array>
#include <cstdint>
#include <string>

// What both sides put into the requests that they build.
namespace kex::bench
{

inline constexpr unsigned egress_mappings = 8;
inline constexpr uint8_t rule_table = 100;
inline constexpr std::array<uint8_t, 4> ipv4_host{192, 0, 2, 1};
inline constexpr std::array<uint8_t, 4> ipv4_broadcast{192, 0, 2, 255};
inline constexpr std::array<uint8_t, 4> ipv4_network{198, 51, 100, 0};
inline constexpr std::array<uint8_t, 16> ipv6_host{0x20, 0x01, 0x0D, 0xB8, 0, 0, 0, 0,
                                                   0,    0,    0,    0,    0, 0, 0, 1};
inline constexpr std::array<uint8_t, 6> mac_bytes{0x02, 0x11, 0x22, 0x33, 0x44, 0x55};

/** The bytes that build hands to sendto. */
std::string sent_by(void (*build)());

} // namespace kex::bench
