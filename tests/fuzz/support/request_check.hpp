#pragma once

#include <cstdint>
#include <string>

namespace kex::fuzz
{

/**
 * Ends the run unless the bytes are one well-formed request of those that the daemon makes: header,
 * family header, known attributes of the right length, and nests that are filled exactly. What a
 * request for a dumped entry's deletion has in it is the kernel's, and not looked at.
 */
void check_request(const std::string& bytes, uint32_t seq);

} // namespace kex::fuzz
