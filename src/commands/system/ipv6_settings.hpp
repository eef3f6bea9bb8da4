#pragma once

#include <string>

namespace kex::commands
{

/**
 * Switches IPv6 of an interface, and with it on sets how addresses are configured. When IPv6 is on
 * already and a setting changes, it is switched off first and on again at the end.
 * @param autoconf  let router advertisements configure the interface
 * @param mode      "eui64", "stable-privacy", or "disable" to leave the address generation alone
 */
void configure_ipv6(const std::string& ifname, bool enable, bool autoconf, const std::string& mode);

} // namespace kex::commands
