#pragma once

#include <cstddef>
#include <string>

// Checks of argument texts. Each returns true when the text is to be refused. They are loose on
// purpose: they keep out what could reach beyond an argument, and leave the judgement of names,
// numbers and addresses to the operation or the kernel. Only IPv6 addresses are parsed.
namespace kex::commands
{

/** Accepts 1 to 128 letters, digits, "_", "-" and "."; the kernel judges the length. */
bool is_invalid_ifname(const std::string& text);

/** Accepts 1 to max_len hexadecimal digits and ":". */
bool is_invalid_hex_colon(const std::string& text, size_t max_len);

/** Accepts up to 18 hexadecimal digits and ":". */
bool is_invalid_mac(const std::string& text);

/** Accepts 7 to 16 digits and ".". */
bool is_invalid_ipv4_text(const std::string& text);

/** Accepts what inet_pton reads as an IPv6 address. */
bool is_invalid_ipv6(const std::string& text);

/** Accepts an IPv6 address or, without ":", an IPv4 text. */
bool is_invalid_ip(const std::string& text);

/** Accepts "0.0.0.0" and what is_invalid_ip accepts. */
bool is_invalid_ip_or_any(const std::string& text);

/** Accepts 1 to 257 visible ASCII characters except "&", ";", "<", ">" and "|". */
bool is_invalid_text(const std::string& text);

/**
 * Accepts "default", an address, or anything with "/" and a prefix length from 1 to 32, or 128
 * with a ":" in the text; what stands before the "/" is not looked at.
 */
bool is_invalid_route_dest(const std::string& text);

} // namespace kex::commands
