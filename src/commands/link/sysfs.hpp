#pragma once

#include <cstdint>
#include <string>

namespace kex::commands
{

/** Writes one bonding option of a bond. Only the open counts: a value refused is logged OK. */
void set_bonding_config(const std::string& bond, const std::string& option,
                        const std::string& value);

/**
 * Polls an interface's operational state, half a second apart.
 * @param seconds   four polls each, so that the wait is up to twice as long. Intended.
 * @param expected  the state, of which two characters count; with nullptr the first poll that can
 *                  open the state's file ends the wait
 * @return true when the state was read as expected
 */
bool wait_for_iface_ready(const std::string& ifname, uint32_t seconds, const char* expected);

} // namespace kex::commands
