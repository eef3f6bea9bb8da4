#pragma once

#include "netlink/ip_address.hpp"

#include <cstdint>
#include <optional>
#include <string>

// Conversions of argument texts that have passed the validators' loose checks.
namespace kex::commands
{

/** What inet_pton reads as an address of family, AF_INET or AF_INET6. */
std::optional<netlink::IpAddress> parse_ip(const std::string& text, sa_family_t family);

/**
 * A prefix length from a decimal number or, for IPv4, from a dotted netmask of one bits followed
 * by zero bits.
 */
std::optional<uint8_t> parse_prefix(const std::string& text, sa_family_t family);

/** A routing table identifier from 0 to 255; the whole text has to be a number. */
std::optional<uint32_t> parse_table(const std::string& text);

/** An address text and the prefix length behind its first "/". */
struct Destination {
    std::string address;
    uint8_t prefix_length;
};

/**
 * Splits a destination that is_invalid_route_dest accepts. Without "/" the prefix covers the whole
 * address; what follows the digits of a prefix is ignored.
 */
Destination split_destination(const std::string& text, sa_family_t family);

} // namespace kex::commands
